#include "base/Crc32.h"

#include <array>
#include <cstdio>

namespace orvo {
namespace {

/// Table k: what a byte comes to with k more behind it.
constexpr std::array<std::array<uint32_t, 256>, 8> MakeTables() {
  std::array<std::array<uint32_t, 256>, 8> tables{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1u) != 0 ? 0xedb88320u : 0u);
    tables[0][i] = value;
  }
  for (size_t k = 1; k < tables.size(); ++k) {
    for (size_t i = 0; i < 256; ++i) {
      const uint32_t before = tables[k - 1][i];
      tables[k][i] = (before >> 8) ^ tables[0][before & 0xffu];
    }
  }
  return tables;
}

constexpr std::array<std::array<uint32_t, 256>, 8> kTables = MakeTables();

/// Eight bytes in one step.
uint32_t AddEight(uint32_t sum, const unsigned char* bytes) {
  uint32_t result = 0;
  for (size_t i = 0; i < 8; ++i) {
    const uint32_t byte = bytes[i] ^ (i < 4 ? (sum >> (8 * i)) & 0xffu : 0u);
    result ^= kTables[7 - i][byte];
  }
  return result;
}

}  // namespace

void Crc32::Add(const void* data, size_t bytes) {
  const auto* at = static_cast<const unsigned char*>(data);
  for (; bytes >= 8; bytes -= 8, at += 8) nSum = AddEight(nSum, at);
  for (; bytes > 0; --bytes, ++at) nSum = (nSum >> 8) ^ kTables[0][(nSum ^ *at) & 0xffu];
}

std::string Crc32::Text() const {
  char text[16];
  std::snprintf(text, sizeof text, "crc32:%08x", Value());
  return text;
}

}  // namespace orvo
