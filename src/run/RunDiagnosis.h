// Everything that can be told of the files of a run before it starts.
#pragma once

#include "base/Platform.h"
#include "check/Diagnosis.h"
#include "run/EntryPoint.h"

namespace orvo {

enum class DiagnosisScope {
  BeforeRun,  ///< what a run is refused for besides CheckRunInputs: syntax, references, conventions
  Everything
};

/// Reads the files that `paths` names, and notes what is wrong with them. The output folder is of no account,
/// and settings are the built-in ones where no file is named; `overrides` count more than either. Of a block
/// whose files have faults, nothing is told that depends on what stands in them.
void DiagnoseRun(const RunPaths& paths, DiagnosisScope scope, const Platform& system, Diagnosis& diagnosis,
                 std::span<const SettingOverride> overrides = {});

/// How many files the paths name, an .ovt counted.
int64_t FileNumOf(const RunPaths& paths);

}  // namespace orvo
