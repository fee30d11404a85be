// The front end: `orvo adjust`, `orvo check`, `orvo generate`, `orvo help`.
#pragma once

#include <cstdio>
#include <functional>
#include <span>

#include "base/Platform.h"
#include "run/EntryPoint.h"
#include "run/InputCheck.h"
#include "run/RunDiagnosis.h"

namespace orvo {

/// Exit codes of the front end.
enum ExitCode : int { ExitDone = 0, ExitFailed = 1, ExitUsage = 2, ExitUnusable = 3 };

using AdjustRunner = std::function<RunOutcome(RunPaths paths, const Platform& platform, std::FILE* console,
                                              const RunOptions& options)>;

using Overrides = std::span<const SettingOverride>;

/// What a subcommand works with.
struct FrontEnd {
  std::string szProgram = {};  ///< argv[0]
  Platform System = NativePlatform();
  std::FILE* fOut = stdout;
  std::FILE* fErr = stderr;
  AdjustRunner Adjust = RunAdjustment;
  /// What is wrong with the files of a run, as CheckRunInputs tells it.
  std::function<std::vector<Finding>(const RunPaths& paths, bool ignoreUnused, Overrides overrides)> Check =
      CheckRunInputs;
  /// What else is wrong with them, as DiagnoseRun tells it.
  std::function<void(const RunPaths& paths, DiagnosisScope scope, const Platform& system,
                     Diagnosis& diagnosis, Overrides overrides)>
      Diagnose = DiagnoseRun;
  /// The device platform of every choice; empty for that of the machine.
  std::function<std::unique_ptr<gpu::Device>()> MakeDevice = {};
};

/// Parses the command line and runs its subcommand. Help and version go to fOut, whatever is wrong to fErr.
int OrvoMain(int argc, const char* const* argv, FrontEnd frontEnd);

}  // namespace orvo
