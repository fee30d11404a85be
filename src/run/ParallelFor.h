// Independent pieces of work on several threads.
#pragma once

#include <cstdint>
#include <functional>

namespace orvo {

/// Calls task(i) once for each i in [0, count), in no particular order, on up to `threads` threads of which
/// the calling one is the first, and returns when all are done. Runs with fewer threads where the system
/// grants no more. `task` must not throw.
void ParallelFor(int64_t count, int threads, const std::function<void(int64_t)>& task);

}  // namespace orvo
