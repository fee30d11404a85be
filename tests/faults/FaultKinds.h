// What the preloaded library and the programs that use it agree on.
#pragma once

#include <atomic>
#include <cstdint>
#include <iterator>

namespace orvo::faults {

/// Kinds of calls that can fail, each counted on its own.
enum class Kind {
  Memory,     ///< malloc and its family, anonymous mmap
  Thread,     ///< pthread_create
  OpenRead,   ///< opening for reading only
  OpenWrite,  ///< opening for anything else
  Read,
  Seek,
  Write,
  Flush,  ///< fflush
  Close,
  Sync,
  Rename,  ///< and links
  MakeFolder,
  Remove,
  Status,  ///< stat and its family, access
  List,    ///< opening a folder's list and reading on in it
  Fork,
  Lock,
  Count
};

inline constexpr const char* kKindNames[] = {"memory", "thread", "open-read", "open-write", "read",   "seek",
                                             "write",  "flush",  "close",     "sync",       "rename", "mkdir",
                                             "remove", "status", "list",      "fork",       "lock"};
static_assert(std::size(kKindNames) == static_cast<size_t>(Kind::Count));

/// How a call fails.
enum class Manner {
  Error,       ///< nothing done, error number set
  Short,       ///< half done; a stream is in error then, a descriptor is not
  Interrupted  ///< nothing done, EINTR
};

/// The file that ORVO_FAULT_COUNTS names, mapped by the process and all its children.
struct Counts {
  std::atomic<uint64_t> nCalls[static_cast<size_t>(Kind::Count)];
  std::atomic<uint64_t> nStruck;  ///< calls that were made to fail
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

// The environment of a run:
//   ORVO_FAULT_ROOT    absolute folder; calls on files fail and count below it only
//   ORVO_FAULT_COUNTS  file of a Counts
//   ORVO_FAULT         "KIND MANNER ERRNO AT STAYS" as numbers; without it calls are counted only. AT counts
//                      from 1; with STAYS 1 all later calls of the kind fail, too.

}  // namespace orvo::faults
