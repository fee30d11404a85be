#include "faults/preload/Plan.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace orvo::faults {
namespace {

constexpr int kMostDescriptors = 4096;

struct Plan {
  Counts* pCounts = nullptr;
  char szRoot[PATH_MAX] = {};
  size_t nRootLength = 0;
  bool bFails = false, bStays = false;
  Kind Which = Kind::Count;
  Manner How = Manner::Error;
  int nError = 0;
  uint64_t nAt = 0;
};

Plan ThePlan;
std::atomic<bool> bArmed;
std::atomic<bool> Watched[kMostDescriptors];

void ReadPlan() {
  if (const char* root = std::getenv("ORVO_FAULT_ROOT")) {
    std::snprintf(ThePlan.szRoot, sizeof ThePlan.szRoot, "%s", root);
    ThePlan.nRootLength = std::strlen(ThePlan.szRoot);
  }
  int kind = 0, how = 0, stays = 0;
  unsigned long long at = 0;
  const char* fault = std::getenv("ORVO_FAULT");
  if (fault != nullptr &&
      std::sscanf(fault, "%d %d %d %llu %d", &kind, &how, &ThePlan.nError, &at, &stays) == 5) {
    ThePlan.bFails = true;
    ThePlan.Which = static_cast<Kind>(kind);
    ThePlan.How = static_cast<Manner>(how);
    ThePlan.nAt = at;
    ThePlan.bStays = stays != 0;
  }
  const char* counts = std::getenv("ORVO_FAULT_COUNTS");
  if (counts == nullptr) return;
  const long file = ::syscall(SYS_openat, AT_FDCWD, counts, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  const long map = ::syscall(SYS_mmap, nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::syscall(SYS_close, file);
  if (map != -1) ThePlan.pCounts = reinterpret_cast<Counts*>(map);
}

int (*ProgramMain)(int, char**, char**);

// What is done before main is the system's affair.
int ArmedMain(int argc, char** argv, char** environment) {
  ReadPlan();
  bArmed = ThePlan.pCounts != nullptr;
  return ProgramMain(argc, argv, environment);
}

}  // namespace

bool Strikes(Kind kind) {
  if (!bArmed.load(std::memory_order_relaxed)) return false;
  const uint64_t call = ++ThePlan.pCounts->nCalls[static_cast<size_t>(kind)];
  if (!ThePlan.bFails || kind != ThePlan.Which) return false;
  if (ThePlan.bStays ? call < ThePlan.nAt : call != ThePlan.nAt) return false;
  ++ThePlan.pCounts->nStruck;
  errno = ThePlan.How == Manner::Interrupted ? EINTR : ThePlan.nError;
  return true;
}

Manner HowToFail() { return ThePlan.How; }

bool IsBelowRoot(const char* path) {
  if (path == nullptr || ThePlan.nRootLength == 0) return false;
  char whole[2 * PATH_MAX];
  if (path[0] != '/') {
    if (::syscall(SYS_getcwd, whole, PATH_MAX) < 0) return false;
    std::strncat(whole, "/", 2);
    std::strncat(whole, path, PATH_MAX - 2);
    path = whole;
  }
  const char next =
      std::strncmp(path, ThePlan.szRoot, ThePlan.nRootLength) == 0 ? path[ThePlan.nRootLength] : 'x';
  return next == '/' || next == '\0';
}

bool IsBelowRoot(int folder, const char* path) {
  if (path != nullptr && path[0] != '/' && folder != AT_FDCWD) return IsWatched(folder);
  return IsBelowRoot(path);
}

bool IsWatched(int descriptor) {
  return descriptor >= 0 && descriptor < kMostDescriptors &&
         Watched[descriptor].load(std::memory_order_relaxed);
}

bool IsWatched(std::FILE* stream) { return stream != nullptr && IsWatched(::fileno(stream)); }

void Watch(int descriptor) {
  if (descriptor >= 0 && descriptor < kMostDescriptors) Watched[descriptor] = true;
}

void Forget(int descriptor) {
  if (descriptor >= 0 && descriptor < kMostDescriptors) Watched[descriptor] = false;
}

}  // namespace orvo::faults

extern "C" int __libc_start_main(int (*program)(int, char**, char**), int argc, char** argv, void (*init)(),
                                 void (*fini)(), void (*loader)(), void* stackEnd) {
  using Start = int(int (*)(int, char**, char**), int, char**, void (*)(), void (*)(), void (*)(), void*);
  auto* const next = reinterpret_cast<Start*>(::dlsym(RTLD_NEXT, "__libc_start_main"));
  orvo::faults::ProgramMain = program;
  return next(orvo::faults::ArmedMain, argc, argv, init, fini, loader, stackEnd);
}
