#include "exchange/Checksum.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <vector>

#include "base/InputFile.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1u) != 0 ? 0xedb88320u : 0u);
    table[i] = value;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

}  // namespace

std::string ChecksumOf(std::span<const std::string> files) {
  std::vector<unsigned char> buffer(size_t{1} << 20);
  uint32_t sum = ~0u;
  for (const std::string& path : files) {
    InputFile file;
    if (!file.Open(path)) Refuse(path, 0, "the file can't be read", "Check its path and permissions");
    for (int64_t place = 0; place < file.Size();) {
      const int64_t got = file.ReadAt(place, buffer.data(), static_cast<int64_t>(buffer.size()));
      if (got <= 0) Refuse(path, 0, "the file can't be read on", "Check the disk");
      for (int64_t i = 0; i < got; ++i)
        sum = (sum >> 8) ^ kTable[(sum ^ buffer[static_cast<size_t>(i)]) & 0xffu];
      place += got;
    }
  }
  return fmt::format("crc32:{:08x}", ~sum);
}

}  // namespace orvo::exchange
