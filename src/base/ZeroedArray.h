// A large array of zeros that costs memory only where it is touched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

#include "base/MemoryPurpose.h"
#include "base/Platform.h"

namespace orvo {

/// Doubles, zero at first, the first one at the start of a cache line. Large pages make random access faster,
/// but back more than is touched. Without memory: LackMemory.
class ZeroedArray {
 public:
  ZeroedArray() = default;
  ZeroedArray(ZeroedArray&& other) noexcept { *this = std::move(other); }
  ZeroedArray& operator=(ZeroedArray&& other) noexcept {
    pMemory = std::move(other.pMemory);
    pData = std::exchange(other.pData, nullptr);
    nSize = std::exchange(other.nSize, 0);
    return *this;
  }
  explicit ZeroedArray(size_t size, bool largePages = true) : nSize(size) {
    if (size == 0) return;
    // The C library hands out untouched pages of the system for large sizes: what no one writes is never
    // backed.
    pMemory.reset(std::calloc(size + kLine, sizeof(double)));
    if (!pMemory) LackMemory((size + kLine) * sizeof(double));
    if (largePages) PreferLargePages(pMemory.get(), (size + kLine) * sizeof(double));
    const auto address = reinterpret_cast<uintptr_t>(pMemory.get());
    const uintptr_t line = kLine * sizeof(double);
    pData = reinterpret_cast<double*>((address + line - 1) / line * line);
  }
  double* get() const { return pData; }
  size_t size() const { return nSize; }
  double& operator[](size_t index) { return pData[index]; }
  double operator[](size_t index) const { return pData[index]; }
  explicit operator bool() const { return pData != nullptr; }

 private:
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };
  static constexpr size_t kLine = 8;  ///< doubles of a cache line
  size_t nSize = 0;
  std::unique_ptr<void, Free> pMemory;
  double* pData = nullptr;
};

}  // namespace orvo
