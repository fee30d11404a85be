// The names of the files in an output folder.
#pragma once

#include <string_view>

namespace orvo {

inline constexpr char kLogName[] = "log.txt";
inline constexpr char kLockName[] = ".orvo.lock";
inline constexpr char kUnusableFolder[] = "unusable", kFailedFolder[] = "failed";
inline constexpr char kSummaryName[] = "summary.json", kReportPageName[] = "report.html";
/// Staging folders are named so, with the number of their process behind.
inline constexpr char kStagingPrefix[] = ".orvo-run-";

/// True for the name of a file that some run writes as a result or a side file: OrvoResult.*, the report,
/// the files of iterations of whatever number. False for the log and the lock, which outlive their runs.
bool IsOutputName(std::string_view name);

/// True for the name of a staging folder.
bool IsStagingName(std::string_view name);

}  // namespace orvo
