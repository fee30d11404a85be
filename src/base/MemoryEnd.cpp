#include "base/MemoryEnd.h"

#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

#include "base/MemoryPurpose.h"

namespace orvo {
namespace {

std::atomic<const char*> szProgram{nullptr};
std::atomic<int> nExitCode{1};
std::atomic<int> nLog{-1};
std::atomic<bool> bEnding{false};

constexpr size_t kLastBytes = size_t{1} << 18;
alignas(64) char LastBytes[kLastBytes];
std::atomic<size_t> nLastUsed{0};

/// A line put together without allocating.
class Line {
 public:
  Line& Add(const char* text) {
    const size_t length = std::strlen(text);
    const size_t fits = length < sizeof Text - 1 - nLength ? length : sizeof Text - 1 - nLength;
    std::memcpy(Text + nLength, text, fits);
    nLength += fits;
    return *this;
  }
  Line& Add(size_t number) {
    char digits[24] = {};
    std::to_chars(digits, digits + sizeof digits - 1, number);
    return Add(digits);
  }
  void WriteTo(int descriptor) const {
    // Nothing is left to be done about a failure.
    if (::write(descriptor, Text, nLength) < 0) return;
  }

 private:
  char Text[512];
  size_t nLength = 0;
};

[[noreturn]] void End(size_t bytes) {
  // Other threads may find nothing, too; one of them ends the program.
  if (bEnding.exchange(true)) {
    while (true) ::pause();
  }
  Line message;
  message.Add("not enough memory");
  if (bytes > 0) message.Add(": ").Add(bytes).Add(" bytes");
  message.Add(" for ").Add(MemoryPurpose::Current()).Add("\n");
  std::fflush(stdout);
  Line prefix;
  prefix.Add(szProgram.load()).Add(": ");
  prefix.WriteTo(STDERR_FILENO);
  message.WriteTo(STDERR_FILENO);
  if (nLog >= 0) message.WriteTo(nLog);
  ::_exit(nExitCode);
}

[[noreturn]] void EndOfUncaught() {
  try {
    if (const std::exception_ptr thrown = std::current_exception()) std::rethrow_exception(thrown);
  } catch (const std::bad_alloc&) {
    End(0);
  } catch (const std::length_error&) {
    End(0);
  } catch (...) {
  }
  std::abort();
}

}  // namespace

void LackMemory(size_t bytes) {
  if (szProgram.load() == nullptr || AnswersLackOfMemory::Here()) throw std::bad_alloc();
  End(bytes);
}

void EndOnLackOfMemory(const char* program, int exitCode) {
  nExitCode = exitCode;
  szProgram = program;
  std::set_terminate(EndOfUncaught);
}

void SetMemoryEndExitCode(int exitCode) { nExitCode = exitCode; }

void SetMemoryEndLog(int descriptor) { nLog = descriptor; }

void* LastMemory(size_t bytes, size_t alignment) {
  if (!bEnding || bytes > kLastBytes || alignment > kLastBytes) return nullptr;
  const size_t begin = nLastUsed.fetch_add(bytes + alignment);
  if (begin > kLastBytes - bytes) return nullptr;
  const size_t aligned = (begin + alignment - 1) / alignment * alignment;
  return aligned <= kLastBytes - bytes ? LastBytes + aligned : nullptr;
}

bool IsLastMemory(const void* memory) {
  const auto address = reinterpret_cast<uintptr_t>(memory);
  const auto begin = reinterpret_cast<uintptr_t>(LastBytes);
  return address >= begin && address < begin + kLastBytes;
}

}  // namespace orvo
