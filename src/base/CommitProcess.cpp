#include "base/CommitProcess.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace orvo {
namespace {

/// The folder is on the disk, or its file system can't tell.
int SyncFolder(int folder) noexcept {
  int result;
  do {
    result = ::fsync(folder);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS ? 0 : errno;
}

/// The end of a commit whose steps are all taken.
CommitResult DoneBefore(const CommitFolders& folders, const JournalNames& journal) noexcept {
  if (const int error = SyncFolder(folders.nTarget); error != 0) return {error, -1, false};
  ::unlinkat(folders.nStaging, journal.szFinal, 0);
  return {};
}

/// Everything of the commit, with nothing in it that a child of a process with threads may not do.
CommitResult DoCommit(const CommitPlan& plan, const CommitFolders& folders,
                      const JournalNames& journal) noexcept {
  // Only now, and where no kill of the run reaches: a run that dies before has changed nothing, not even
  // later.
  if (::renameat(folders.nStaging, journal.szNew, folders.nStaging, journal.szFinal) != 0) {
    return {errno, -1, true};
  }
  CommitResult result = ApplyPlan(plan, folders);
  if (result.nError == 0) {
    // If this fails, nobody knows whether the renames will outlive a loss of power.
    const int error = SyncFolder(folders.nTarget);
    if (error != 0) result = {error, -1, TakeBackPlan(plan, folders)};
  }
  if (result.nError == 0 || result.bUndone) ::unlinkat(folders.nStaging, journal.szFinal, 0);
  return result;
}

}  // namespace

OpenFolders::OpenFolders(const std::string& staging, const std::string& old, const std::string& target) {
  const std::string* paths[] = {&staging, &old, &target};
  int* handles[] = {&Folders.nStaging, &Folders.nOld, &Folders.nTarget};
  for (int i = 0; i < 3; ++i) {
    do {
      *handles[i] = ::open(paths[i]->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (*handles[i] < 0 && errno == EINTR);
    if (*handles[i] < 0 && nError == 0) nError = errno;
  }
}

OpenFolders::~OpenFolders() {
  for (const int handle : {Folders.nStaging, Folders.nOld, Folders.nTarget}) {
    if (handle >= 0) ::close(handle);
  }
}

CommitResult RunCommitProcess(const CommitPlan& plan, const CommitFolders& folders,
                              const JournalNames& journal) {
  void* const shared =
      ::mmap(nullptr, sizeof(CommitResult), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return DoCommit(plan, folders, journal);
  auto* const told = new (shared) CommitResult{EINTR, -1, false};
  const pid_t child = ::fork();
  if (child == 0) {
    ::setsid();
    *told = DoCommit(plan, folders, journal);
    ::_exit(0);
  }
  CommitResult result;
  if (child < 0) {
    result = DoCommit(plan, folders, journal);
  } else {
    int status = 0;
    pid_t ended;
    do {
      ended = ::waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    // What a child that was killed has left to do is done here.
    const bool finished = told->nError != EINTR || told->bUndone;
    result = finished ? *told : CommitResult{EINTR, -1, false};
    if (!finished) {
      ::renameat(folders.nStaging, journal.szNew, folders.nStaging, journal.szFinal);
      if (FinishPlan(plan, folders)) result = DoneBefore(folders, journal);
    }
  }
  ::munmap(shared, sizeof(CommitResult));
  return result;
}

}  // namespace orvo
