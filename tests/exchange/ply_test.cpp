// Bytes of PLY files.
#include "exchange/views/Ply.h"

#include <gtest/gtest.h>

#include "exchange/VerticalBlock.h"
#include "exchange/WrittenText.h"

namespace orvo::test {
namespace {

using namespace exchange;

SurveyBlock TwoImages() {
  VerticalLayout layout;
  layout.nStrips = 1;
  layout.nImages = 2;
  SurveyBlock block = MakeVerticalBlock(layout);
  block.Tie = {};
  AddPoint(block, block.Tie, "A", {100, 0, 50}, 0);
  AddPoint(block, block.Tie, "once", {-290, 0, 50}, 0);
  AddPoint(block, block.Tie, "B", {120, -30, 60}, 0);
  AddPoint(block, block.Control, "C", {80, 20, 40}, 1);
  AddPoint(block, block.Control, "D", {90, 20, 40}, 2);
  return block;
}

TEST(Ply, PointsHaveTheirHeaderAndRecords) {
  const SurveyBlock block = TwoImages();
  const ViewBlock view = ViewOf(block);
  const std::string bytes = Written([&](TextWriter& file) { WritePointsPly(view, file); });
  const std::string header =
      "ply\nformat binary_little_endian 1.0\n"
      "comment Orvo: points by least squares; rms in image units; type 0 tie, 1 control, 2 check\n"
      "element vertex 4\n"
      "property double x\nproperty double y\nproperty double z\n"
      "property float rms\nproperty ushort rays\nproperty uchar type\nend_header\n";
  constexpr size_t kRecord = 3 * 8 + 4 + 2 + 1;
  ASSERT_EQ(bytes.size(), header.size() + 4 * kRecord);
  EXPECT_EQ(bytes.substr(0, header.size()), header);
  const double expected[4][3] = {{100, 0, 50}, {120, -30, 60}, {80, 20, 40}, {90, 20, 40}};
  const uint8_t types[] = {0, 0, 1, 2};
  for (size_t k = 0; k < 4; ++k) {
    const size_t at = header.size() + k * kRecord;
    for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(NumberAt<double>(bytes, at + 8 * c), expected[k][c], 1e-8);
    EXPECT_NEAR(NumberAt<float>(bytes, at + 24), 0, 1e-6);
    EXPECT_EQ(NumberAt<uint16_t>(bytes, at + 28), 2);
    EXPECT_EQ(NumberAt<uint8_t>(bytes, at + 30), types[k]);
  }
}

TEST(Ply, CamerasArePyramids) {
  const SurveyBlock block = TwoImages();
  EXPECT_DOUBLE_EQ(PyramidDepth(block), 200.0 / 3);
  const std::string bytes = Written([&](TextWriter& file) { WriteCamerasPly(block, 100, file); });
  const size_t body = bytes.find("end_header\n") + 11;
  EXPECT_NE(bytes.find("element vertex 10\n"), std::string::npos);
  EXPECT_NE(bytes.find("element face 8\n"), std::string::npos);
  constexpr size_t kVertex = 28, kFace = 13;
  ASSERT_EQ(bytes.size(), body + 10 * kVertex + 8 * kFace);
  // The lower left corner of the second image: half of 3000 x 4000 at a focal length of 5000, 100 below.
  const double expected[] = {200 - 30, -40, 1050 - 100};
  for (size_t c = 0; c < 3; ++c) {
    EXPECT_DOUBLE_EQ(NumberAt<double>(bytes, body + 6 * kVertex + 8 * c), expected[c]);
  }
  EXPECT_EQ(NumberAt<int32_t>(bytes, body + 6 * kVertex + 24), 1);
  // The last triangle goes from the top of the second image over its last corner to its first.
  const size_t last = body + 10 * kVertex + 7 * kFace;
  EXPECT_EQ(NumberAt<uint8_t>(bytes, last), 3);
  EXPECT_EQ(NumberAt<int32_t>(bytes, last + 1), 5);
  EXPECT_EQ(NumberAt<int32_t>(bytes, last + 5), 9);
  EXPECT_EQ(NumberAt<int32_t>(bytes, last + 9), 6);
}

TEST(Ply, AnEmptyBlockIsAnEmptyFile) {
  const SurveyBlock block;
  const std::string bytes = Written([&](TextWriter& file) { WritePointsPly(ViewOf(block), file); });
  EXPECT_NE(bytes.find("element vertex 0\n"), std::string::npos);
  EXPECT_EQ(bytes.substr(bytes.size() - 11), "end_header\n");
  EXPECT_EQ(PyramidDepth(block), 1);
}

}  // namespace
}  // namespace orvo::test
