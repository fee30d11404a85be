// The other programs of the benchmarks, which are built beside this one where their libraries are found.
#pragma once

#include <string>
#include <vector>

#include "report/Results.h"

namespace orvo::bench {

/// The path of a program in this one's folder; empty after a message where there is none.
std::string ProgramBeside(const std::string& name);

/// Runs a program with its output on the terminal, and reads the results that it writes to `json`, a file
/// that is removed again. False after a message where one of the two fails.
bool TakeResultsOf(const std::vector<std::string>& command, const std::string& json, Results& results);

/// The commit of a source folder, with -changed where tracked files are; "unknown" without git.
std::string CommitLabel(const std::string& sourceFolder);

MachineFacts ThisMachine();

}  // namespace orvo::bench
