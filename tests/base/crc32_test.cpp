#include "base/Crc32.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace orvo::test {
namespace {

std::string SumOf(std::string_view text) {
  Crc32 sum;
  sum.Add(text.data(), text.size());
  return sum.Text();
}

/// Published check values.
TEST(Crc32, OfKnownTexts) {
  EXPECT_EQ(SumOf(""), "crc32:00000000");
  EXPECT_EQ(SumOf("a"), "crc32:e8b7be43");
  EXPECT_EQ(SumOf("123456789"), "crc32:cbf43926");
  EXPECT_EQ(SumOf("The quick brown fox jumps over the lazy dog"), "crc32:414fa339");
}

TEST(Crc32, PiecesMakeTheSameSum) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += static_cast<char>(i * 37);
  const std::string whole = SumOf(text);
  for (size_t cut = 0; cut <= text.size(); ++cut) {
    Crc32 sum;
    sum.Add(text.data(), cut);
    sum.Add(text.data() + cut, text.size() - cut);
    EXPECT_EQ(sum.Text(), whole) << cut;
  }
}

}  // namespace
}  // namespace orvo::test
