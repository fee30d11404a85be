// Vectors of many megabytes that are filled from end to end.
#pragma once

#include <cstddef>
#include <vector>

#include "base/Platform.h"

namespace orvo {

/// vector.reserve, in large pages where the system has them.
template <typename T, typename Allocator>
void ReserveLarge(std::vector<T, Allocator>& vector, size_t size) {
  if (vector.capacity() >= size) return;
  vector.reserve(size);
  PreferLargePages(vector.data(), vector.capacity() * sizeof(T));
}

/// `size` zeros in the place of everything before.
template <typename T, typename Allocator>
void AssignZerosLarge(std::vector<T, Allocator>& vector, size_t size) {
  vector.clear();
  ReserveLarge(vector, size);
  vector.resize(size);
}

}  // namespace orvo
