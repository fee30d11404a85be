// What lies in a folder, to the byte.
#pragma once

#include <map>
#include <string>

namespace orvo::faults {

/// Contents of the files by their paths in the folder; folders have a '/' at the end, and no content.
using FolderState = std::map<std::string, std::string>;

std::string ReadWhole(const std::string& path);
void WriteWhole(const std::string& path, const std::string& content);

FolderState ReadFolder(const std::string& folder);
/// Makes the folder hold just this, touching only what differs from `present`.
void RestoreFolder(const std::string& folder, const FolderState& state, const FolderState& present);

/// The results: without the log, and without what a run keeps there for itself under names like .orvo-run-1.
FolderState ResultsOf(const FolderState& state);
/// What a run keeps for itself, the lock file apart, which may stay.
FolderState LeftoversOf(const FolderState& state);
/// The same with the times of day and the run times in results taken out.
FolderState WithoutTimes(FolderState state);

/// The first difference in words; empty where there is none.
std::string Difference(const FolderState& expected, const FolderState& actual);

}  // namespace orvo::faults
