#include "base/OutputFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "base/CommitProcess.h"
#include "base/FolderList.h"
#include "base/MemoryEnd.h"
#include "base/OutputNames.h"

namespace orvo {
namespace {

constexpr char kJournal[] = "journal", kNewJournal[] = "journal.new", kOld[] = "old";

/// Whole contents of a small file; empty where it can't be read.
std::string ReadSmallFile(const std::string& path) {
  std::string text;
  const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (handle < 0) return text;
  char piece[4096];
  while (true) {
    const ssize_t got = ::read(handle, piece, sizeof piece);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    text.append(piece, static_cast<size_t>(got));
  }
  ::close(handle);
  return text;
}

bool IsFolder(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void RemoveStagingFolder(const std::string& staging) {
  // A file that is just being made keeps its folder; whoever makes it is about to end.
  for (int i = 0; i < 10; ++i) {
    RemoveFlatFolder(staging + "/" + kOld);
    if (RemoveFlatFolder(staging) != ENOTEMPTY) return;
  }
}

CommitTarget TargetOfFate(OutputFate fate) {
  if (fate == OutputFate::Unusable) return CommitTarget::Unusable;
  return fate == OutputFate::Failed ? CommitTarget::Failed : CommitTarget::Results;
}

/// Why a final path is no place for a file; 0 when it is one.
int LackOfTarget(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return errno == ENOENT ? 0 : errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  return ::access(path.c_str(), W_OK) == 0 ? 0 : errno;
}

}  // namespace

OutputFolder::~OutputFolder() { End(OutputFate::Discard); }

std::string OutputFolder::Begin(const std::string& folder) {
  End(OutputFate::Discard);
  First = {};
  bBarred = false;
  szFolder = folder;
  szStaging = folder + "/" + kStagingPrefix + std::to_string(::getpid());
  bKeepStaging = false;
  pInterruptible = std::make_unique<Interruptible>([this](const char* signal) { TidyUp(signal); });
  std::string refusal = Take();
  bActive = refusal.empty();
  if (!bActive) pInterruptible.reset();
  return refusal;
}

std::string OutputFolder::Take() {
  // A signal finds the folder taken and staged, or neither.
  const auto gate = Interruptible::Hold();
  switch (Lock.Take(szFolder)) {
    case FolderLock::Result::Busy:
      return "the output folder " + szFolder + " is in use: " + Lock.Holder();
    case FolderLock::Result::Failed:
      return "cannot " + OutputFault{szFolder + "/" + kLockName, "create", errno}.Text();
    case FolderLock::Result::Taken:
      break;
  }
  std::string wrong;
  if (!Recover()) {
    wrong = Fault().Text();
  } else if (::mkdir(szStaging.c_str(), 0777) != 0) {
    wrong = OutputFault{szStaging, "create", errno}.Text();
  }
  if (wrong.empty()) return {};
  Lock.Release();
  return "cannot " + wrong;
}

bool OutputFolder::Recover() {
  for (const std::string& name : NamesInFolder(szFolder)) {
    const std::string staging = szFolder + "/" + name;
    if (!IsStagingName(name) || !IsFolder(staging)) continue;
    const std::string journal = staging + "/" + kJournal;
    if (const auto plan = CommitPlan::Parse(ReadSmallFile(journal))) {
      const std::string target = TargetOf(plan->Target);
      ::mkdir(target.c_str(), 0777);
      ::mkdir((staging + "/" + kOld).c_str(), 0777);
      const OpenFolders folders(staging, staging + "/" + kOld, target);
      if (folders.Error() != 0 || !FinishPlan(*plan, folders.Handles())) {
        return FailWith(target, "finish an earlier run in", folders.Error() != 0 ? folders.Error() : errno);
      }
      if (const int error = SyncPath(target); error != 0) return FailWith(target, "synchronize", error);
      ::unlink(journal.c_str());
    }
    RemoveStagingFolder(staging);
  }
  return true;
}

std::string OutputFolder::TargetOf(CommitTarget target) const {
  if (target == CommitTarget::Results) return szFolder;
  return szFolder + "/" + (target == CommitTarget::Failed ? kFailedFolder : kUnusableFolder);
}

bool OutputFolder::IsWithin(const std::string& path) const {
  return path.size() > szFolder.size() + 1 && path.starts_with(szFolder) && path[szFolder.size()] == '/' &&
         path.find_first_not_of('/', szFolder.size()) != std::string::npos &&
         path.find('/', path.find_first_not_of('/', szFolder.size())) == std::string::npos;
}

std::string OutputFolder::PlaceOf(const std::string& path) {
  if (bBarred) {
    FailWith(path, "create", errno = ENOENT);
    return {};
  }
  if (!bActive || !IsWithin(path)) return path;
  if (const int error = LackOfTarget(path); error != 0) {
    FailWith(path, "create", error);
    errno = error;
    return {};
  }
  return szStaging + "/" + path.substr(path.rfind('/') + 1);
}

void OutputFolder::Written(const std::string& place, const std::string& path) {
  if (!bActive || !place.starts_with(szStaging)) return;
  {
    const std::lock_guard lock(Mutex);
    Whole.insert(place.substr(place.rfind('/') + 1));
  }
  Sync.Add(place, path);
}

// Where it can't be removed now it goes with the staging folder.
void OutputFolder::Drop(const std::string& path) {
  const std::string place = PlaceOf(path);
  if (place.empty()) return;
  if (bActive && place != path) Dropped.insert(place.substr(place.rfind('/') + 1));
  ::unlink(place.c_str());
}

void OutputFolder::Fail(const OutputFault& fault) {
  const std::lock_guard lock(Mutex);
  if (!First.Any()) First = fault;
}

bool OutputFolder::FailWith(const std::string& path, const char* action, int error) {
  Fail({path, action, error});
  return false;
}

OutputFault OutputFolder::Fault() const {
  const std::lock_guard lock(Mutex);
  return First;
}

bool OutputFolder::End(OutputFate fate) {
  if (!bActive) return true;
  CommitPlan plan;
  if (fate != OutputFate::Discard && !Fault().Any()) Prepare(fate, plan);
  if (const OutputFault fault = Sync.Finish(); fault.Any()) Fail(fault);
  if (!Fault().Any() && !plan.Steps.empty()) Rename(plan);
  // Goes only where it is empty: made for files that did not come.
  const CommitTarget target = TargetOfFate(fate);
  if (Fault().Any() && target != CommitTarget::Results && !bKeepStaging) ::rmdir(TargetOf(target).c_str());
  RemoveStaging();
  Lock.Release();
  pInterruptible.reset();
  Whole.clear();
  Dropped.clear();
  bActive = false;
  return !Fault().Any();
}

void OutputFolder::RemoveStaging() {
  if (!bKeepStaging) RemoveStagingFolder(szStaging);
}

bool OutputFolder::MakePlan(OutputFate fate, const std::vector<std::string>& staged,
                            const std::string& target, CommitPlan& plan) {
  int error = 0;
  const std::vector<std::string> present = NamesInFolder(target, &error);
  if (error != 0) return FailWith(target, "read", error);
  plan.Target = TargetOfFate(fate);
  for (const std::string& name : present) {
    const bool renewed = std::ranges::binary_search(staged, name);
    const bool stale = fate != OutputFate::Add && IsOutputName(name);
    if ((renewed || stale) && !IsFolder(target + "/" + name)) plan.Steps.push_back({true, name});
  }
  for (const std::string& name : staged) plan.Steps.push_back({false, name});
  return true;
}

bool OutputFolder::WriteJournal(const CommitPlan& plan) {
  const std::string path = szStaging + "/" + kNewJournal, text = plan.Text();
  const int handle = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (handle < 0) return FailWith(path, "create", errno);
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = ::write(handle, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = n < 0 ? errno : EIO;
      ::close(handle);
      return FailWith(path, "write", error);
    }
    done += static_cast<size_t>(n);
  }
  if (::close(handle) != 0 && errno != EINTR) return FailWith(path, "write", errno);
  Sync.Add(path, path);
  return true;
}

bool OutputFolder::Prepare(OutputFate fate, CommitPlan& plan) {
  int error = 0;
  std::vector<std::string> staged = NamesInFolder(szStaging, &error);
  if (error != 0) return FailWith(szStaging, "read", error);
  std::erase_if(staged, [this](const std::string& name) { return Dropped.contains(name); });
  // What a failed run has computed until then stays behind.
  if (fate == OutputFate::Failed) {
    std::erase_if(staged,
                  [](const std::string& name) { return name != kSummaryName && name != kReportPageName; });
  }
  if (staged.empty() && (fate == OutputFate::Add || fate == OutputFate::Failed)) return true;
  const std::string target = TargetOf(TargetOfFate(fate));
  for (const std::string& name : staged) {
    if (!Whole.contains(name)) Sync.Add(szStaging + "/" + name, target + "/" + name);
  }
  if (TargetOfFate(fate) != CommitTarget::Results && ::mkdir(target.c_str(), 0777) != 0 && errno != EEXIST) {
    return FailWith(target, "create", errno);
  }
  const std::string old = szStaging + "/" + kOld;
  if (::mkdir(old.c_str(), 0777) != 0) return FailWith(old, "create", errno);
  return MakePlan(fate, staged, target, plan) && WriteJournal(plan);
}

// The journal gets its name when everything that it speaks of is on the disk. No folder is synchronized in
// between: a file system that keeps a journal of its own keeps renames in their order.
bool OutputFolder::Rename(const CommitPlan& plan) {
  const std::string target = TargetOf(plan.Target);
  const OpenFolders folders(szStaging, szStaging + "/" + kOld, target);
  if (folders.Error() != 0) return FailWith(target, "open", folders.Error());
  const auto gate = Interruptible::Hold();
  const CommitResult result = RunCommitProcess(plan, folders.Handles(), {kNewJournal, kJournal});
  if (result.nError == 0) {
    const bool results = plan.Target == CommitTarget::Results;
    pInterruptible->Settle(results);
    // What little is left to do needs no memory that could fail these results.
    if (results) SetMemoryEndExitCode(0);
    return true;
  }
  bKeepStaging = !result.bUndone;
  if (result.nStep < 0) return FailWith(target, "put files in", result.nError);
  return FailWith(target + "/" + plan.Steps[static_cast<size_t>(result.nStep)].szName, "rename",
                  result.nError);
}

void OutputFolder::TidyUp(const char* signal) {
  RemoveStaging();
  Lock.Release();
  if (szLogPath.empty()) return;
  const int handle = ::open(szLogPath.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (handle < 0) return;
  char line[128];
  const int length = std::snprintf(line, sizeof line,
                                   "Error!Interrupted by %s: the results are as they were before!\n", signal);
  // A log that can't take the line is no reason to stay.
  if (::write(handle, line, static_cast<size_t>(length)) < 0) errno = 0;
  ::close(handle);
}

}  // namespace orvo
