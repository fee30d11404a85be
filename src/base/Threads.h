// Starting of threads.
#pragma once

#include <cstdint>
#include <functional>

namespace orvo {

/// Calls work(i) once for each i in [0, count), each on a thread of its own, and finished(i) on the calling
/// thread as soon as work(i) and all before it are done, in the order of i. A single task needs no thread,
/// and where the system grants none the work is done by the calling thread. Neither may throw.
void RunTasks(int32_t count, const std::function<void(int32_t)>& work,
              const std::function<void(int32_t)>& finished);

}  // namespace orvo
