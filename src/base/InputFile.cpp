#include "base/InputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace orvo {
namespace {

constexpr int kPatienceMilliseconds = 30000;
constexpr const char* kOpen = "open";
constexpr const char* kRead = "read";
constexpr const char* kLookAt = "look at";
constexpr const char* kClose = "close";

const std::string kChanged = "it changed while the run was reading it";

std::string Reason(int code) { return std::system_category().message(code); }

bool SaysMissing(int code) { return code == ENOENT || code == ENOTDIR; }

std::string SizeReason(int64_t maxBytes) {
  return "it is larger than " + std::to_string(maxBytes >> 20) + " MB";
}

/// What keeps a file of that kind from being read, empty where nothing does.
std::string KindObstacle(const struct stat& status, const InputUse& use) {
  if (S_ISDIR(status.st_mode)) return "it is a folder";
  if (S_ISREG(status.st_mode)) return status.st_size > use.nMaxBytes ? SizeReason(use.nMaxBytes) : "";
  return use.bOnce ? "" : "it is no file on a disk, and the run reads it more than once";
}

}  // namespace

InputFile::InputFile(InputFiles* run)
    : pOwn(run == nullptr ? std::make_unique<InputFiles>() : nullptr),
      pRun(run == nullptr ? pOwn.get() : run) {}

InputFile::InputFile(InputFile&& other) noexcept
    : pOwn(std::move(other.pOwn)),
      pRun(other.pRun),
      szPath(std::move(other.szPath)),
      nHandle(std::exchange(other.nHandle, -1)),
      nSize(other.nSize),
      nMaxBytes(other.nMaxBytes),
      bRegular(other.bRegular),
      Identity(other.Identity),
      nStreamPlace(other.nStreamPlace),
      bFailed(other.bFailed.load()) {}

void InputFile::Fail(const char* action, const std::string& reason) const {
  pRun->Report({szPath, action, reason});
  bFailed.store(true, std::memory_order_release);
}

/// Without waiting for the other end of a pipe.
int InputFile::OpenHandle() const {
  const FileCalls& system = pRun->System();
  int handle = -1;
  do {
    handle = system.Open(szPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  } while (handle < 0 && errno == EINTR);
  // Another program has a lease on the file, which ends when this one waits for it.
  if (handle < 0 && errno == EWOULDBLOCK) handle = system.Open(szPath.c_str(), O_RDONLY | O_CLOEXEC);
  return handle;
}

bool InputFile::Open(const std::string& path, const InputUse& use) {
  Close();
  szPath = path;
  bFailed = false;
  nMaxBytes = use.nMaxBytes;
  nStreamPlace = 0;
  nHandle = OpenHandle();
  if (nHandle < 0) {
    const int code = errno;
    if (!SaysMissing(code) || pRun->IsExpected(path)) Fail(kOpen, Reason(code));
    return false;
  }
  if (LookAt(use)) return true;
  Close();
  return false;
}

bool InputFile::LookAt(const InputUse& use) {
  struct stat status {};
  bRegular = false;
  if (pRun->System().Status(nHandle, status) != 0) {
    Fail(kLookAt, Reason(errno));
    return false;
  }
  if (const std::string obstacle = KindObstacle(status, use); !obstacle.empty()) {
    Fail(kRead, obstacle);
    return false;
  }
  bRegular = S_ISREG(status.st_mode);
  nSize = bRegular ? static_cast<int64_t>(status.st_size) : 0;
  Identity = IdentityOf(status);
  if (bRegular && !pRun->IsAsBefore(szPath, Identity)) Fail(kRead, kChanged);
  return true;
}

void InputFile::Close() {
  if (nHandle < 0) return;
  const FileCalls& system = pRun->System();
  if (bRegular && !Failed()) {
    struct stat status {};
    if (system.Status(nHandle, status) != 0) {
      Fail(kLookAt, Reason(errno));
    } else if (!(IdentityOf(status) == Identity)) {
      Fail(kRead, kChanged);
    }
  }
  if (system.Close(std::exchange(nHandle, -1)) != 0 && errno != EINTR) Fail(kClose, Reason(errno));
  nSize = 0;
}

int64_t InputFile::ReadAt(int64_t offset, void* data, int64_t bytes) const {
  if (!IsOpen()) return 0;
  if (!bRegular) return ReadStream(offset, static_cast<char*>(data), bytes);
  const FileCalls& system = pRun->System();
  int64_t done = 0;
  while (done < bytes) {
    const ssize_t got = system.ReadAt(nHandle, static_cast<char*>(data) + done,
                                      static_cast<size_t>(bytes - done), offset + done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      Fail(kRead, Reason(errno));
      break;
    }
    if (got == 0) {
      if (offset + done < nSize) {
        Fail(kRead, "it ends at byte " + std::to_string(offset + done) + " of " + std::to_string(nSize));
      }
      break;
    }
    done += got;
  }
  return done;
}

int64_t InputFile::ReadStream(int64_t offset, char* data, int64_t bytes) const {
  if (offset != nStreamPlace) {
    Fail(kRead, "it is no file on a disk, and can't be read twice");
    return 0;
  }
  int64_t done = 0;
  while (done < bytes && AwaitStream()) {
    const ssize_t got = pRun->System().Read(nHandle, data + done, static_cast<size_t>(bytes - done));
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got < 0) Fail(kRead, Reason(errno));
    if (got <= 0) break;
    done += got;
    nStreamPlace += got;
    if (nStreamPlace > nMaxBytes) {
      Fail(kRead, SizeReason(nMaxBytes));
      break;
    }
  }
  return done;
}

bool InputFile::AwaitStream() const {
  const FileCalls& system = pRun->System();
  int ready = -1;
  do {
    ready = system.Wait(nHandle, kPatienceMilliseconds);
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) Fail(kRead, Reason(errno));
  if (ready == 0) {
    Fail(kRead, "nothing came from it for " + std::to_string(kPatienceMilliseconds / 1000) + " s");
  }
  return ready > 0;
}

bool ReadWholeFile(const std::string& path, const InputUse& use, InputFiles* run, std::string& text) {
  constexpr int64_t kLeastPiece = int64_t{1} << 16;
  InputFile file(run);
  text.clear();
  if (!file.Open(path, use)) return false;
  int64_t done = 0;
  // One byte more than there should be, to see the end.
  for (int64_t piece = std::max(file.Size() + 1, kLeastPiece);; piece = std::max(done, kLeastPiece)) {
    text.resize(static_cast<size_t>(done + piece));
    const int64_t got = file.ReadAt(done, text.data() + done, piece);
    done += got;
    if (got < piece || file.Failed()) break;
  }
  text.resize(static_cast<size_t>(done));
  file.Close();
  return !file.Failed();
}

std::string FindReadingObstacle(const std::string& path, const InputUse& use, const FileCalls& calls) {
  struct stat status {};
  if (calls.PathStatus(path.c_str(), status) != 0) return Reason(errno);
  if (std::string obstacle = KindObstacle(status, use); !obstacle.empty()) return obstacle;
  // To open a pipe and to close it again would take from its writer what it has to say.
  if (!S_ISREG(status.st_mode)) return ::access(path.c_str(), R_OK) == 0 ? "" : Reason(errno);
  const int handle = calls.Open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (handle < 0) return Reason(errno);
  return calls.Close(handle) == 0 ? "" : Reason(errno);
}

bool IsMissing(const std::string& path, const FileCalls& calls) {
  struct stat status {};
  return calls.PathStatus(path.c_str(), status) != 0 && SaysMissing(errno);
}

}  // namespace orvo
