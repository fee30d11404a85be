// Where the programs get memory from: allocations that fail end them, see base/MemoryEnd.h.
#include <algorithm>
#include <cstdlib>
#include <new>
#include <pugixml.hpp>

#include "Allocation.h"
#include "base/MemoryEnd.h"
#include "base/MemoryPurpose.h"

namespace {

constexpr size_t kUsual = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void* Allocate(size_t bytes, size_t alignment) noexcept {
  bytes = std::max<size_t>(bytes, 1);
  if (alignment <= kUsual) return std::malloc(bytes);
  // A size beyond all memory has no next multiple.
  if (bytes > SIZE_MAX - alignment) return nullptr;
  return std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
}

void* AllocateOrEnd(size_t bytes, size_t alignment) {
  if (void* const memory = Allocate(bytes, alignment)) return memory;
  if (void* const memory = orvo::LastMemory(bytes, alignment)) return memory;
  orvo::LackMemory(bytes);
}

void Release(void* memory) noexcept {
  if (!orvo::IsLastMemory(memory)) std::free(memory);
}

void* AllocateForXml(size_t bytes) { return AllocateOrEnd(bytes, kUsual); }
void ReleaseOfXml(void* memory) { Release(memory); }

size_t Number(std::align_val_t alignment) { return static_cast<size_t>(alignment); }

}  // namespace

namespace orvo {

void EndOnFailedAllocation(const char* program, int exitCode) {
  pugi::set_memory_management_functions(AllocateForXml, ReleaseOfXml);
  EndOnLackOfMemory(program, exitCode);
}

}  // namespace orvo

void* operator new(size_t bytes) { return AllocateOrEnd(bytes, kUsual); }
void* operator new[](size_t bytes) { return AllocateOrEnd(bytes, kUsual); }
void* operator new(size_t bytes, std::align_val_t alignment) {
  return AllocateOrEnd(bytes, Number(alignment));
}
void* operator new[](size_t bytes, std::align_val_t alignment) {
  return AllocateOrEnd(bytes, Number(alignment));
}

// Who asks this way has another way without.
void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes, kUsual); }
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes, kUsual); }
void* operator new(size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(bytes, Number(alignment));
}
void* operator new[](size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(bytes, Number(alignment));
}

void operator delete(void* memory) noexcept { Release(memory); }
void operator delete[](void* memory) noexcept { Release(memory); }
void operator delete(void* memory, size_t) noexcept { Release(memory); }
void operator delete[](void* memory, size_t) noexcept { Release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { Release(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { Release(memory); }
void operator delete[](void* memory, size_t, std::align_val_t) noexcept { Release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { Release(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept { Release(memory); }
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept { Release(memory); }
