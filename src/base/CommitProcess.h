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

/// Takes every step of the plan, or none, brings the target to the disk and removes the journal, which stands
/// in the staging folder. A process in a session of its own does it, and holds what locks are open: neither
/// Control-C nor a kill of this process stops it half way. Where no process can be made, this one does it.
CommitResult RunCommitProcess(const CommitPlan& plan, const CommitFolders& folders, const char* journal);

}  // namespace orvo
