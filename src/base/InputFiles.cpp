#include "base/InputFiles.h"

#include <utility>

#include "base/PrintableName.h"

namespace orvo {

std::string FaultText(const FileFault& fault) {
  return "can't " + fault.szAction + " " + PrintableName(fault.szPath) + ": " + fault.szReason;
}

FileIdentity IdentityOf(const struct stat& status) {
  return {static_cast<uint64_t>(status.st_dev), static_cast<uint64_t>(status.st_ino),
          static_cast<int64_t>(status.st_size), static_cast<int64_t>(status.st_mtim.tv_sec),
          static_cast<int64_t>(status.st_mtim.tv_nsec)};
}

void InputFiles::Report(FileFault fault) {
  const std::lock_guard hold(Lock);
  if (Any()) return;
  Fault = std::move(fault);
  bUntold = true;
  bAny.store(true, std::memory_order_release);
}

FileFault InputFiles::First() const {
  const std::lock_guard hold(Lock);
  return Fault;
}

bool InputFiles::TakeUntold() {
  const std::lock_guard hold(Lock);
  return std::exchange(bUntold, false);
}

void InputFiles::Forget() {
  const std::lock_guard hold(Lock);
  bAny.store(false, std::memory_order_release);
  bUntold = false;
  Fault = {};
  Known.clear();
  Expected.clear();
}

void InputFiles::Expect(const std::string& path) {
  const std::lock_guard hold(Lock);
  Expected.insert(path);
}

bool InputFiles::IsExpected(const std::string& path) const {
  const std::lock_guard hold(Lock);
  return Expected.contains(path) || Known.contains(path);
}

bool InputFiles::IsAsBefore(const std::string& path, const FileIdentity& identity) {
  const std::lock_guard hold(Lock);
  return Known.try_emplace(path, identity).first->second == identity;
}

}  // namespace orvo
