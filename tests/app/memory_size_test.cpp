#include "orvo/MemorySize.h"

#include <gtest/gtest.h>

namespace orvo {
namespace {

TEST(MemorySize, ReadsBytesAndBinaryUnits) {
  const struct {
    const char* szText;
    int64_t nBytes;  ///< 0: refused
  } rows[] = {
      {"200K", 200 * 1024},
      {"1.5G", 1536ll << 20},
      {"64M", 64ll << 20},
      {"64m", 64ll << 20},
      {"2T", 2ll << 40},
      {"4096", 4096},
      {"1", 1},
      {"0.5K", 512},
      {"", 0},
      {"0", 0},
      {"0.2", 0},
      {"K", 0},
      {".5K", 0},
      {"-1", 0},
      {"+1", 0},
      {"1 K", 0},
      {" 1K", 0},
      {"1KB", 0},
      {"1KiB", 0},
      {"1e3", 0},
      {"0x10", 0},
      {"inf", 0},
      {"nan", 0},
      {"1,5G", 0},
      {"5000000T", 0},
      {"99999999999999999999999999999999999999", 0},
  };
  for (const auto& row : rows) EXPECT_EQ(ParseMemorySize(row.szText).value_or(0), row.nBytes) << row.szText;
}

}  // namespace
}  // namespace orvo
