// One finding, one line.
#include "check/Finding.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

TEST(Finding, OneLineForm) {
  const struct {
    Finding finding;
    const char* text;
  } rows[] = {
      {{Severity::Error, "a.prj", 7, -1, "it is wrong", "Mend it"}, "a.prj:7: error: it is wrong. Mend it."},
      {{Severity::Error, "a.prj", 0, -1, "it is wrong", ""}, "a.prj: error: it is wrong."},
      {{Severity::Note, "a.ovt", 0, 76, "it is odd", "Look"}, "a.ovt: byte 76: note: it is odd. Look."},
      {{Severity::Error, "", 0, -1, "it is wrong", ""}, "error: it is wrong."},
      {{Severity::Error, "a\x1b[2J", 1, -1, "name 'x\ny'", ""}, "a\\x1b[2J:1: error: name 'x\\x0ay'."},
  };
  for (const auto& row : rows) EXPECT_EQ(TextOf(row.finding), row.text);
}

TEST(Finding, Counts) {
  EXPECT_EQ(CountOf(0, "image", {}), "0 images");
  EXPECT_EQ(CountOf(1, "image", {"A"}), "1 image: A");
  EXPECT_EQ(CountOf(2, "image", {"A", "B"}), "2 images: A and B");
  EXPECT_EQ(CountOf(3, "image", {"A", "B", "C"}), "3 images: A, B and C");
  EXPECT_EQ(CountOf(4, "image", {"A", "B", "C"}), "4 images: A, B, C ...");
}

}  // namespace
}  // namespace orvo::test
