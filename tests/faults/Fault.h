// One call that fails, and what becomes of the run.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "faults/FaultKinds.h"
#include "faults/Scenario.h"

namespace orvo::faults {

/// A kind of call, how it fails, and whether the later ones fail, too.
struct Mode {
  const char* szName;
  Kind Which;
  Manner How;
  int nError;
  bool bStays;
};

const std::vector<Mode>& Modes();

/// What a run without faults leaves, over earlier results.
struct Truth {
  FolderState Inputs, Earlier, Results;
  std::string szConsole;
  uint64_t nCalls[static_cast<size_t>(Kind::Count)] = {};
};

/// Runs the scenario twice without faults. Stops the program where the two differ.
Truth FindTruth(const Scenario& scenario, const Place& place, const FolderState& inputs);

enum class Ending { Unaffected, Failed, NotStruck, Bad };

struct Outcome {
  Ending How = Ending::Bad;
  std::string szWhy;  ///< what is bad
};

/// Puts the folder back to the earlier results, runs with the `at`-th call failing, and judges.
Outcome TryFault(const Scenario& scenario, const Truth& truth, const Mode& mode, uint64_t at,
                 const Place& place);

}  // namespace orvo::faults
