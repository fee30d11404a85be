// The output folder of one run: its files come into it together, at the end, or not at all.
#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "base/CommitPlan.h"
#include "base/FileSync.h"
#include "base/FolderLock.h"
#include "base/Interruption.h"
#include "base/OutputFault.h"

namespace orvo {

/// What becomes of the files of a run.
enum class OutputFate {
  Replace,   ///< they come in place, and outputs of earlier runs that were not renewed go
  Add,       ///< they come in place, and everything else stays: a run that ended early
  Unusable,  ///< they come into the folder of unusable results, whose earlier outputs go
  Failed,    ///< summary and report come into the folder of failed runs; the others are thrown away
  Discard    ///< they are thrown away
};

/// Files are written in a staging folder within the output folder under their final names. Until Begin has
/// succeeded paths are taken as they are, for parts of a run that work alone.
///
///  - Begin takes the lock, finishes what a dead run has left half done, and makes the staging folder.
///  - PlaceOf tells where to write, Written has a whole file brought to the disk while the run goes on, Fail
///    notes what went wrong; these three may be called from any thread. Drop takes a file back.
///  - End puts the files in place by renames. They are done by a process of its own that outlives a kill of
///    this one, and are taken back when one fails. Whenever the lock is free, the folder holds one whole run.
class OutputFolder {
 public:
  OutputFolder() = default;
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  /// Empty, or why the run can't write there: another run does, or the system's reason. `folder` exists.
  std::string Begin(const std::string& folder);
  bool IsActive() const { return bActive; }
  /// Nothing can be written until the next Begin.
  void Bar() { bBarred = true; }

  /// Where the file with this final path is written. Paths outside of the folder are their own places. Notes
  /// a fault and gives an empty path where the final one is no place for a file (a folder, or
  /// write-protected).
  std::string PlaceOf(const std::string& path);
  /// The file at that place is whole: brings it to the disk meanwhile.
  void Written(const std::string& place, const std::string& path);
  /// The file with this final path does not come in place, for another one took its part. It has not been
  /// told to be Written.
  void Drop(const std::string& path);
  void Fail(const OutputFault& fault);
  /// The first of all faults.
  OutputFault Fault() const;
  /// A line for the log when a signal ends the run; the path of the log. Before the work begins.
  void SetLogPath(const std::string& path) { szLogPath = path; }

  /// Ends the run and frees the lock. False when the files could not be put in place (see Fault): then none
  /// is, and the folder is as it was before. A fault noted earlier makes every fate Discard.
  bool End(OutputFate fate);

 private:
  bool IsWithin(const std::string& path) const;
  std::string Take();
  bool Recover();
  bool Prepare(OutputFate fate, CommitPlan& plan);
  bool MakePlan(OutputFate fate, const std::vector<std::string>& staged, const std::string& target,
                CommitPlan& plan);
  bool WriteJournal(const CommitPlan& plan);
  bool Rename(const CommitPlan& plan);
  std::string TargetOf(CommitTarget target) const;
  bool FailWith(const std::string& path, const char* action, int error);
  void RemoveStaging();
  void TidyUp(const char* signal);

  std::string szFolder, szStaging, szLogPath;
  bool bActive = false;
  bool bBarred = false;
  bool bKeepStaging = false;  ///< renames could not be taken back: the next run finishes them
  FolderLock Lock;
  FileSync Sync;
  mutable std::mutex Mutex;  ///< of the two below
  OutputFault First;
  std::set<std::string> Whole;  ///< names of files that are being brought to the disk
  std::set<std::string> Dropped;
  std::unique_ptr<Interruptible> pInterruptible;
};

}  // namespace orvo
