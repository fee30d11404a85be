// Files brought safely to the disk while a run goes on.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "base/OutputFault.h"
#include "base/Threads.h"

namespace orvo {

/// Waits until a file or folder is on the disk; 0 or errno. 0 also where its file system can't tell.
int SyncPath(const std::string& path);

/// Synchronizes files in threads of its own: each takes milliseconds of waiting, in which a run can work.
class FileSync {
 public:
  FileSync() = default;
  ~FileSync() { Finish(); }
  FileSync(const FileSync&) = delete;
  FileSync& operator=(const FileSync&) = delete;

  /// `shown`: the name of the file in a fault.
  void Add(std::string path, std::string shown);
  /// Waits for all of them; the first fault since the last call.
  OutputFault Finish();

 private:
  struct Job {
    std::string szPath, szShown;
  };
  void Work();
  bool DoOne(std::unique_lock<std::mutex>& lock);

  std::mutex Mutex;
  std::condition_variable Changed;
  std::deque<Job> Jobs;
  std::vector<HelperThread> Threads;
  size_t nIdle = 0;
  bool bLast = false;
  OutputFault First;
};

}  // namespace orvo
