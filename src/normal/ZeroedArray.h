// A large array of zeros that costs memory only where it is touched.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace orvo {

/// Doubles, zero at first. Throws std::bad_alloc.
class ZeroedArray {
 public:
  ZeroedArray() = default;
  explicit ZeroedArray(size_t size) : nSize(size) {
    if (size == 0) return;
    // The C library hands out untouched pages of the system for large sizes: what no one writes is never
    // backed.
    pData.reset(static_cast<double*>(std::calloc(size, sizeof(double))));
    if (!pData) throw std::bad_alloc();
  }
  double* get() const { return pData.get(); }
  size_t size() const { return nSize; }
  double& operator[](size_t index) { return pData.get()[index]; }
  double operator[](size_t index) const { return pData.get()[index]; }
  explicit operator bool() const { return pData != nullptr; }

 private:
  struct Free {
    void operator()(double* data) const { std::free(data); }
  };
  size_t nSize = 0;
  std::unique_ptr<double[], Free> pData;
};

}  // namespace orvo
