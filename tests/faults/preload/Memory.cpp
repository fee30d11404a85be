// Allocation that fails.
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "faults/preload/Plan.h"

using orvo::faults::Kind;
using orvo::faults::Strikes;

// The C library's own names for its allocator: looking them up would allocate.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

void* malloc(size_t size) noexcept { return Strikes(Kind::Memory) ? nullptr : __libc_malloc(size); }

void* calloc(size_t count, size_t size) noexcept {
  return Strikes(Kind::Memory) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) noexcept {
  return Strikes(Kind::Memory) ? nullptr : __libc_realloc(block, size);
}

void* memalign(size_t alignment, size_t size) noexcept {
  return Strikes(Kind::Memory) ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return Strikes(Kind::Memory) ? nullptr : __libc_memalign(alignment, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  if (Strikes(Kind::Memory)) return ENOMEM;
  void* const memory = __libc_memalign(alignment, size);
  if (memory == nullptr) return ENOMEM;
  *block = memory;
  return 0;
}

void* mmap(void* address, size_t size, int protection, int flags, int file, off_t offset) noexcept {
  ORVO_NEXT(mmap);
  if (((flags & MAP_ANONYMOUS) != 0 || orvo::faults::IsWatched(file)) && Strikes(Kind::Memory))
    return MAP_FAILED;
  return next(address, size, protection, flags, file, offset);
}
}
