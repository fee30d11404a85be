// Arrays of points and measurements, which may be larger than the memory of the machine.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "base/ScratchMemory.h"

namespace orvo {

/// In a file where a ScratchMemory lives and the array is large, else on the heap.
template <typename T>
struct ScratchAllocator {
  using value_type = T;

  ScratchAllocator() = default;
  template <typename Other>
  ScratchAllocator(const ScratchAllocator<Other>& /*other*/) noexcept {}

  T* allocate(size_t count) {
    // The vector asks for no more than fits into a size.
    void* const scratch = TakeScratch(count * sizeof(T));
    return scratch != nullptr ? static_cast<T*>(scratch) : std::allocator<T>().allocate(count);
  }
  void deallocate(T* memory, size_t count) noexcept {
    if (!GiveScratchBack(memory, count * sizeof(T))) std::allocator<T>().deallocate(memory, count);
  }
  friend bool operator==(const ScratchAllocator&, const ScratchAllocator&) = default;
};

template <typename T>
using ScratchVector = std::vector<T, ScratchAllocator<T>>;

}  // namespace orvo
