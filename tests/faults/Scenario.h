// The runs that are tried.
#pragma once

#include <string>
#include <vector>

#include "faults/Child.h"
#include "faults/Folder.h"

namespace orvo::faults {

enum class Program { Orvo, OrvoAdjust, Generate, Check };

/// A run in a folder with the inputs in in/ and the results in out/.
struct Scenario {
  std::string szName;
  Program Which;
  std::vector<std::string> Arguments;  ///< behind the program's name
};

const std::vector<Scenario>& Scenarios();

/// Command and folder of a run. The environment, and all else, is the caller's.
ChildRun MakeRun(const Scenario& scenario, const std::string& folder, const std::string& console);

/// Where cases are tried one after the other: DIR/in, DIR/out; console and counts lie beside them, out of the
/// reach of faults.
struct Place {
  std::string szFolder, szConsole, szCounts;

  explicit Place(const std::string& base);
  std::string In() const { return szFolder + "/in"; }
  std::string Out() const { return szFolder + "/out"; }
};

/// The inputs of all runs, made by the program under test.
FolderState MakeInputs(const Place& place);

/// Results of another run of the same kind, with more files than the scenario's own.
FolderState MakeEarlierResults(const Scenario& scenario, const Place& place);

/// Ends this program: what it needs is not there.
[[noreturn]] void Stop(const std::string& why);

}  // namespace orvo::faults
