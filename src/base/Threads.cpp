#include "base/Threads.h"

#include <system_error>
#include <thread>
#include <vector>

namespace orvo {

void RunTasks(int32_t count, const std::function<void(int32_t)>& work,
              const std::function<void(int32_t)>& finished) {
  std::vector<std::thread> threads(count > 0 ? static_cast<size_t>(count) : 0);
  for (int32_t i = 0; i < count; ++i) {
    if (count > 1) {
      try {
        threads[static_cast<size_t>(i)] = std::thread(work, i);
        continue;
      } catch (const std::system_error&) {
      }
    }
    work(i);
  }
  for (int32_t i = 0; i < count; ++i) {
    if (std::thread& thread = threads[static_cast<size_t>(i)]; thread.joinable()) thread.join();
    finished(i);
  }
}

}  // namespace orvo
