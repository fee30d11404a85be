#include "base/FolderLock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "base/OutputNames.h"

namespace orvo {
namespace {

/// The second line of a lock file is for the file systems without locks: a process number that is in use
/// again belongs to another run when that process has another start.
struct LockStamp {
  long nProcess = 0;
  std::string szHost, szSince, szStart;
};

std::string ReadStart(const std::string& path) {
  const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return {};
  char text[1024];
  const ssize_t got = ::read(handle, text, sizeof text);
  ::close(handle);
  return got > 0 ? std::string(text, static_cast<size_t>(got)) : std::string();
}

/// Clock ticks from the start of the system to that of the process; empty where it can't be told.
std::string StartOfProcess(long process) {
  const std::string status = ReadStart("/proc/" + std::to_string(process) + "/stat");
  size_t at = status.rfind(')');  // the name before it may hold anything
  for (int field = 2; field < 22 && at != std::string::npos; ++field) at = status.find(' ', at + 1);
  return at == std::string::npos ? std::string() : status.substr(at + 1, status.find(' ', at + 1) - at - 1);
}

std::string HostName() {
  char name[256] = {};
  ::gethostname(name, sizeof name - 1);
  return name;
}

std::string TimeText() {
  const std::time_t now = std::time(nullptr);
  std::tm tm{};
  ::localtime_r(&now, &tm);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &tm);
  return text;
}

std::string OwnStamp() {
  const long process = ::getpid();
  return std::to_string(process) + "\n" + HostName() + "\n" + TimeText() + "\n" + StartOfProcess(process) +
         "\n";
}

LockStamp ParseStamp(const std::string& text) {
  LockStamp stamp;
  std::string* fields[] = {nullptr, &stamp.szHost, &stamp.szSince, &stamp.szStart};
  size_t at = 0;
  for (std::string* field : fields) {
    const size_t end = text.find('\n', at);
    if (end == std::string::npos) break;
    const std::string line = text.substr(at, end - at);
    if (field == nullptr) {
      stamp.nProcess = std::atol(line.c_str());
    } else {
      *field = line;
    }
    at = end + 1;
  }
  return stamp;
}

std::string HolderText(const LockStamp& stamp) {
  if (stamp.nProcess <= 0 || stamp.szSince.empty()) return "another run is writing there";
  const std::string host = stamp.szHost == HostName() ? "" : " on " + stamp.szHost;
  return "run " + std::to_string(stamp.nProcess) + host + " is writing there since " + stamp.szSince;
}

/// Without locks: is the process that wrote the stamp still there? One on another machine counts as there.
bool IsAlive(const LockStamp& stamp) {
  if (stamp.nProcess <= 0) return false;
  if (stamp.szHost != HostName()) return true;
  if (::kill(static_cast<pid_t>(stamp.nProcess), 0) != 0 && errno == ESRCH) return false;
  const std::string start = StartOfProcess(stamp.nProcess);
  return start.empty() || stamp.szStart.empty() || start == stamp.szStart;
}

int LockWhole(int handle) {
  int result;
  do {
    result = ::flock(handle, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

bool IsThatFile(int handle, const std::string& path) {
  struct stat held {
  }, named{};
  return ::fstat(handle, &held) == 0 && ::stat(path.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
         held.st_ino == named.st_ino;
}

}  // namespace

FolderLock::Result FolderLock::Take(const std::string& folder) {
  Release();
  szHolder.clear();
  szPath = folder + "/" + kLockName;
  while (true) {
    const int handle = ::open(szPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (handle < 0 && errno == EINTR) continue;
    if (handle < 0) return Result::Failed;
    const int error = LockWhole(handle);
    const LockStamp stamp = ParseStamp(ReadStart(szPath));
    if (error == EWOULDBLOCK || (error != 0 && IsAlive(stamp))) {
      szHolder = HolderText(stamp);
      ::close(handle);
      return Result::Busy;
    }
    // The run that had the lock may have removed the file since it was opened here.
    if (!IsThatFile(handle, szPath)) {
      ::close(handle);
      continue;
    }
    const std::string own = OwnStamp();
    // On a full disk the lock is as good without its stamp.
    if (::ftruncate(handle, 0) == 0 && ::pwrite(handle, own.data(), own.size(), 0) < 0) errno = 0;
    nHandle = handle;
    return Result::Taken;
  }
}

void FolderLock::Release() {
  if (nHandle < 0) return;
  // In this order: who opens the file in between finds that it has no name any more.
  if (IsThatFile(nHandle, szPath)) ::unlink(szPath.c_str());
  ::close(nHandle);
  nHandle = -1;
}

}  // namespace orvo
