// The process that puts the files of a run in place.
#pragma once

#include "base/CommitPlan.h"

namespace orvo {

/// Three folders held open.
class OpenFolders {
 public:
  OpenFolders(const std::string& staging, const std::string& old, const std::string& target);
  ~OpenFolders();
  OpenFolders(const OpenFolders&) = delete;
  OpenFolders& operator=(const OpenFolders&) = delete;

  const CommitFolders& Handles() const { return Folders; }
  /// errno of the first that can't be opened; 0 when all are.
  int Error() const { return nError; }

 private:
  CommitFolders Folders;
  int nError = 0;
};

/// The journal of a plan in the staging folder: as it was written, and when it holds.
struct JournalNames {
  const char* szNew;
  const char* szFinal;
};

/// Gives the journal its final name, takes every step of the plan, or none, brings the target to the disk and
/// removes the journal. A process in a session of its own does it, and holds what locks are open: neither
/// Control-C nor a kill of this process stops it half way. Where no process can be made, this one does it.
CommitResult RunCommitProcess(const CommitPlan& plan, const CommitFolders& folders,
                              const JournalNames& journal);

}  // namespace orvo
