#include "exchange/JsonBytes.h"

#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr size_t kBlock = size_t{1} << 16;

}  // namespace

JsonBytes::JsonBytes(const std::string& path) {
  if (!File.Open(path)) {
    Refuse(path, 0, File.Failed() ? "cannot be read: " + File.Fault().szReason : "there is no such file",
           "Look at the path");
  }
  Fill();
}

void JsonBytes::Fill() {
  Buffer.resize(kBlock);
  const int64_t count = File.ReadAt(nOffset, Buffer.data(), static_cast<int64_t>(kBlock));
  Buffer.resize(count > 0 ? static_cast<size_t>(count) : 0);
  nOffset += count;
  nPlace = 0;
}

void JsonBytes::CheckRead() const {
  if (File.Failed()) Refuse(File.Path(), 0, "cannot be read: " + File.Fault().szReason, "Look at the disk");
}

}  // namespace orvo::exchange
