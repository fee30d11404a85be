#include "base/Platform.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fstream>
#include <limits>
#include <sstream>

namespace orvo {
namespace {

double TickMilliseconds() {
  using namespace std::chrono;
  return static_cast<double>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

LocalTime Now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm tm{};
  localtime_r(&seconds, &tm);
  return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

bool MakeFolder(const std::string& path) { return ::mkdir(path.c_str(), 0777) == 0; }

bool FolderIsWritable(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         ::access(path.c_str(), R_OK | W_OK) == 0;
}

/// A number alone in a file; `absent` when there is none ("max" in a control group file, say).
int64_t ReadNumber(const std::string& path, int64_t absent) {
  std::ifstream file(path);
  int64_t value = 0;
  return file >> value ? value : absent;
}

/// The number behind a name in a file of names and numbers; 0 without it.
int64_t ReadStatistic(const std::string& path, const std::string& name) {
  std::ifstream file(path);
  std::string key;
  int64_t value = 0;
  while (file >> key >> value) {
    if (key == name) return value;
  }
  return 0;
}

int64_t AvailableBytesOfKernel() {
  std::ifstream file("/proc/meminfo");
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string key;
    int64_t kibibytes = 0;
    if (fields >> key >> kibibytes && key == "MemAvailable:") return kibibytes * 1024;
  }
  return static_cast<int64_t>(::sysconf(_SC_AVPHYS_PAGES)) * ::sysconf(_SC_PAGESIZE);
}

/// What the process's control group still allows, over every group from its own up to the root.
int64_t AvailableBytesOfControlGroup() {
  constexpr int64_t kNoLimit = std::numeric_limits<int64_t>::max();
  std::ifstream membership("/proc/self/cgroup");
  std::string line, group;
  while (std::getline(membership, line)) {
    if (line.rfind("0::", 0) == 0) group = line.substr(3);
  }
  int64_t available = kNoLimit;
  while (true) {
    const std::string folder = "/sys/fs/cgroup" + group;
    const int64_t limit = ReadNumber(folder + "/memory.max", kNoLimit);
    if (limit != kNoLimit) {
      // File pages that nobody has open are counted as used and given back on demand.
      const int64_t used = ReadNumber(folder + "/memory.current", 0);
      const int64_t cached = ReadStatistic(folder + "/memory.stat", "inactive_file");
      available = std::min(available, std::clamp<int64_t>(limit - used + cached, 0, limit));
    }
    if (group.empty()) return available;
    const size_t slash = group.find_last_of('/');
    group.resize(slash == std::string::npos ? 0 : slash);
  }
}

int ProcessorCount() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (::sched_getaffinity(0, sizeof set, &set) == 0) return std::max(CPU_COUNT(&set), 1);
  return static_cast<int>(std::max<long>(::sysconf(_SC_NPROCESSORS_ONLN), 1));
}

}  // namespace

int64_t NativePeakBytes() {
  struct rusage usage {};
  return ::getrusage(RUSAGE_SELF, &usage) == 0 ? int64_t{usage.ru_maxrss} * 1024 : 0;
}

Platform NativePlatform() {
  return {TickMilliseconds,
          Now,
          MakeFolder,
          FolderIsWritable,
          [] { return std::min(AvailableBytesOfKernel(), AvailableBytesOfControlGroup()); },
          ProcessorCount,
          NativeFileCalls(),
          NativePeakBytes};
}

void PreferLargePages(const void* data, size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr size_t kWorthwhile = size_t{4} << 20;
  if (bytes < kWorthwhile) return;
  const auto page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
  const uintptr_t begin = (reinterpret_cast<uintptr_t>(data) + page - 1) / page * page;
  const uintptr_t end = (reinterpret_cast<uintptr_t>(data) + bytes) / page * page;
  ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
  static_cast<void>(data);
  static_cast<void>(bytes);
#endif
}

std::string JoinPath(const std::string& folder, const std::string& name) {
  return folder + kPathSeparator + name;
}

std::string CutAtLastSeparator(const std::string& path) { return path.substr(0, path.find_last_of("/\\")); }

std::string TextFromLastDot(const std::string& path) {
  const size_t dot = path.rfind('.');
  return dot == std::string::npos ? std::string() : path.substr(dot);
}

}  // namespace orvo
