// Independent pieces of work on several threads.
#pragma once

#include <cstdint>
#include <functional>

namespace orvo {

/// Calls task(i) once for each i in [0, count), in no particular order, on up to `threads` threads of which
/// the calling one is the first, and returns when all are done. Runs with fewer threads where the system
/// grants no more. `task` must not throw.
void ParallelFor(int64_t count, int threads, const std::function<void(int64_t)>& task);

/// How many of `threads` threads find something to do among `count` pieces; at least 1.
int ParallelThreadNum(int64_t count, int threads);

/// The same for work whose results are taken one after the other. Calls make(i, k) for each i in [0, count),
/// on up to `threads` threads, and behind it, on the same thread, take(i, k): that in the order of i and
/// never two at a time. k, below `threads`, numbers the threads, so that each can have a place of its own for
/// what it makes.
void ParallelInOrder(int64_t count, int threads, const std::function<void(int64_t, int)>& make,
                     const std::function<void(int64_t, int)>& take);

}  // namespace orvo
