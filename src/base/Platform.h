// Everything that is asked of the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "base/FileCalls.h"

namespace orvo {

struct LocalTime {
  int nYear, nMonth, nDay, nHour, nMinute, nSecond;
};

/// Of this process; 0 where the system doesn't tell.
int64_t NativePeakBytes();

/// One function per need, so that tests and the front end can put in their own figures.
struct Platform {
  std::function<double()> TickMilliseconds;  ///< monotonic
  std::function<LocalTime()> Now;
  std::function<bool(const std::string&)> MakeFolder;        ///< one level; true when it was made
  std::function<bool(const std::string&)> FolderIsWritable;  ///< a folder that can be read and written
  std::function<int64_t()> FreePhysicalBytes;
  std::function<int()> ProcessorCount;  ///< at least 1
  FileCalls Files = NativeFileCalls();  ///< of every file that a run reads
  /// The most memory that the process had until now.
  std::function<int64_t()> PeakBytes = NativePeakBytes;
};

/// The machine as it is: memory bounded by the process's control group, processors by its affinity mask.
Platform NativePlatform();

/// Asks for large pages behind memory that nobody has touched yet: what is filled from end to end is backed
/// in few steps then. Nothing but time depends on it.
void PreferLargePages(const void* data, size_t bytes);

/// Separator of new paths.
inline constexpr char kPathSeparator = '/';

/// Folder and name joined by the platform's separator; the folder is not looked at.
std::string JoinPath(const std::string& folder, const std::string& name);

/// The path up to its last separator of either kind, or the whole path where there is none.
std::string CutAtLastSeparator(const std::string& path);

/// The text from the last '.' of the path on (with the dot), wherever that dot stands; empty without one.
std::string TextFromLastDot(const std::string& path);

}  // namespace orvo
