#include "results/ResultLines.h"

#include <gtest/gtest.h>

#include <cmath>

#include "results/MeasuredPoint.h"
#include "results/Print.h"
#include "results/SlowModel.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

using test::Print;

std::string CopyOf(const std::string& content, int lines) {
  test::ScratchFolder folder;
  test::WriteFile(folder / "in", content);
  TextReader reader;
  EXPECT_TRUE(reader.Open(folder / "in"));
  std::string copy;
  for (int i = 0; i < lines; ++i) copy += TakeLine(reader);
  return copy;
}

std::vector<std::string> PiecesOf(const std::string& content) {
  test::ScratchFolder folder;
  test::WriteFile(folder / "in", content);
  TextReader reader;
  EXPECT_TRUE(reader.Open(folder / "in"));
  std::vector<std::string> pieces;
  std::string_view piece;
  while (reader.Next(piece)) pieces.emplace_back(piece);
  return pieces;
}

TEST(ResultLines, CopiedLinesEndInLf) {
  const struct {
    const char* input;
    int lines;
    const char* copy;
  } rows[] = {
      {"a\nb\n", 2, "a\nb\n"},
      {"a\r\nb\r\n", 2, "a\nb\n"},
      {"a\nb", 2, "a\nb\n"},
      {"a\n", 3, "a\n\n\n"},
      {"", 1, "\n"},
      {"\n\n", 2, "\n\n"},
      {"a\r", 1, "a\r\n"},
      {" a \t\nb", 1, " a \t\n"},
      {"1 2%d %s\n", 1, "1 2%d %s\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(CopyOf(row.input, row.lines), row.copy) << row.input;
}

TEST(ResultLines, LongLinesAreCopiedWhole) {
  for (const size_t length : {509, 510, 511, 512, 513, 1021, 1022, 1023, 1200, 100000}) {
    for (const char* end : {"\n", "\r\n", ""}) {
      std::string line(length, 'x');
      for (size_t i = 0; i < length; ++i) line[i] = static_cast<char>('a' + i % 23);
      const std::string input = "first\n" + line + end;
      const std::string expected = "first\n" + line + "\n";
      const auto pieces = PiecesOf(input);
      const std::string copy = CopyOf(input, static_cast<int>(pieces.size()));
      EXPECT_TRUE(copy == expected) << length;
      // A line of 511 characters without its end is one piece, and gains the empty one behind it with the
      // end.
      const bool gains = *end == '\0' && length % 511 == 0;
      EXPECT_EQ(PiecesOf(copy) == pieces, !gains) << length;
    }
  }
}

TEST(ResultLines, CameraLine) {
  const IopRecord camera{6000, 8000, 100.0, 0.012, -0.007, 2e-7, -3e-12};
  std::string line;
  AppendCameraLine(line, 3, {8000, 6000, 12.5, 1, 2, 3, 4, 5}, camera, 0.001);
  EXPECT_EQ(
      line,
      Print("%8d\t%8d\t%8d\t%20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e "
            "%20.10e %20.10e\n",
            3, 8000, 6000, 12.5, 100.0 / 0.001, 0.012 / 0.001, -0.007 / 0.001, 0.0, 2e-7 * 1e-6,
            -3e-12 * 1e-12, 0.0, 0.0, 0.0, 0.0, 0.0));
}

TEST(ResultLines, FurtherTermsOfAStrictCamera) {
  IopRecord camera{6000, 8000, 100.0, 0.012, -0.007, 2e-7, -3e-12};
  camera.Further = {5e-3, 2e-5, -3e-5, 4e-4, -5e-4};
  std::string classic, strict;
  AppendCameraLine(classic, 3, {8000, 6000, 12.5, 1, 2, 3, 4, 5}, camera, 0.001);
  camera.bStrict = true;
  AppendCameraLine(strict, 3, {8000, 6000, 12.5, 1, 2, 3, 4, 5}, camera, 0.001);
  EXPECT_TRUE(ParseCameraLine(classic).Further.IsNone()) << classic;
  const CameraLine read = ParseCameraLine(strict);
  EXPECT_EQ(read.fMark, kFurtherTerms) << strict;
  EXPECT_NEAR(read.Further.fK3, 5e-21, 1e-31);
  EXPECT_NEAR(read.Further.fP1, 2e-8, 1e-18);
  EXPECT_NEAR(read.Further.fP2, -3e-8, 1e-18);
  EXPECT_NEAR(read.Further.fB1, 4e-4, 1e-14);
  EXPECT_NEAR(read.Further.fB2, -5e-4, 1e-14);
  std::string none;
  camera.Further = {};
  AppendCameraLine(none, 3, {8000, 6000, 12.5, 1, 2, 3, 4, 5}, camera, 0.001);
  EXPECT_EQ(none, classic);
}

TEST(ResultLines, ImageLines) {
  const EopRecord image{0, 0, 1234.5, -2.25, 1e6, 0.25, -0.5, 3.0};
  const double R[9] = {1, -0.5, 0.25, 0.125, 1, 2, 3, 4, -1e-7};
  std::string line;
  AppendRotationLine(line, R);
  EXPECT_EQ(line, Print("%20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e\n", R[0],
                        R[1], R[2], R[3], R[4], R[5], R[6], R[7], R[8]));
  line.clear();
  AppendPositionLine(line, image, 10.0);
  EXPECT_EQ(line, Print("%20.10e %20.10e %20.10e\n", 123.45, -0.225, 1e5));
  line.clear();
  AppendOrientationLine(line, image, 10.0);
  EXPECT_EQ(line, Print("%20.10lf %20.10lf %20.10lf %15.10lf %15.10lf %15.10lf\n", 123.45, -0.225, 1e5, 0.25,
                        -0.5, 3.0));
}

TEST(ResultLines, PointLines) {
  ObjectPointRecord point{"P1", 1.5, -2e9, 0.1, 2, 3, 0};
  std::string line;
  AppendPointLine(line, point);
  EXPECT_EQ(line, Print("%8s\t%20.10e\t%20.10e\t%20.10e\t%d\n", "P1", 1.5, -2e9, 0.1, 2));
  line.clear();
  const float x = 1.2345678f, y = -0.001f;
  AppendMeasurementLine(line, 7, x, y, {-0.0004, 1e-12}, 0.001);
  EXPECT_EQ(line, Print("%8d\t%12.6lf\t%12.6lf\t%12.6lf\t%12.6lf\n", 7, x / 0.001, y / 0.001, -0.4, 1e-9));
}

TEST(ResultLines, NumbersThatAreNonePrintAsInC) {
  ObjectPointRecord point;
  point.X = std::nan("");
  point.Y = -INFINITY;
  std::string line;
  AppendPointLine(line, point);
  EXPECT_EQ(line, Print("%8s\t%20.10e\t%20.10e\t%20.10e\t%d\n", "", point.X, point.Y, 0.0, 0));
}

TEST(ListingResidual, IsTheCameraModelWithoutDistortion) {
  const EopRecord image{0, 0, 10, 20, 1000, 0.1, -0.2, 0.3};
  const IopRecord camera{0, 0, 100, 0.5, -0.25, 0, 0};
  const test::Vector3 P{300, -100, 20};
  const auto b = test::SlowCameraFrame(image, P);
  const test::Matrix3 R = test::SlowRotation(image.fPhi, image.fOmega, image.fKappa);
  // The measurement of the point itself has no residual but the rounding to single precision.
  const auto x = static_cast<float>(0.5 - 100 * b[0] / b[2]),
             y = static_cast<float>(-0.25 - 100 * b[1] / b[2]);
  const ImageResidual v = ComputeListingResidual(R[0].data(), image, camera, x, y, P.data());
  EXPECT_NEAR(v.x, 0, 1e-5);
  EXPECT_NEAR(v.y, 0, 1e-5);
  EXPECT_NEAR(ComputeListingResidual(R[0].data(), image, camera, x + 1, y, P.data()).x, 1, 1e-5);
}

TEST(ListingResidual, RadiusIsThatOfTheRawMeasurementInSinglePrecision) {
  const EopRecord image{0, 0, 0, 0, 1000, 0, 0, 0};
  const IopRecord camera{0, 0, 100, 3, -2, 1e-4, 1e-8};
  const test::Vector3 P{0, 0, 0};
  const double R[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const float x = 20.1f, y = -30.3f;
  const ImageResidual v = ComputeListingResidual(R, image, camera, x, y, P.data());
  const float r2 = x * x + y * y;
  const double D = 1e-8 * double{r2} * double{r2} + 1e-4 * double{r2};
  EXPECT_DOUBLE_EQ(v.x, (double{x} - 3) - (double{x} - 3) * D);
  EXPECT_DOUBLE_EQ(v.y, (double{y} + 2) - (double{y} + 2) * D);
  const double u = double{x} - 3, w = double{y} + 2;
  const double ofModel = u - u * (1e-4 * (u * u + w * w) + 1e-8 * (u * u + w * w) * (u * u + w * w));
  EXPECT_GT(std::abs(v.x - ofModel), 0.1);
  const double wide = double{x} * x + double{y} * y;
  EXPECT_NE(v.x, u - u * (1e-8 * wide * wide + 1e-4 * wide));
}

/// A kept image and camera, a deleted image, an image with a deleted camera.
const std::vector<ImageReference> kReferences{{0, 0}, {-1, -1}, {-1, -1}};

MeasuredPoint ReadPoint(const std::string& content) {
  test::ScratchFolder folder;
  test::WriteFile(folder / "in", content);
  TextReader reader;
  EXPECT_TRUE(reader.Open(folder / "in"));
  MeasuredPoint point;
  point.Record.nType = 99;  // of an earlier point; nothing of it may stay
  const int32_t count = point.ReadHead(reader);
  point.ReadMeasurements(reader, count, kReferences, 0.5);
  return point;
}

TEST(MeasuredPoint, ReadsPointAndMeasurements) {
  const MeasuredPoint point = ReadPoint("P 1 2 3 2\n1\n0 4 -6\n5 5 5\n");
  EXPECT_STREQ(point.Record.szName, "P");
  EXPECT_EQ(point.Record.Z, 3);
  EXPECT_EQ(point.Record.nType, 2);
  ASSERT_EQ(point.Measurements.size(), 1u);
  EXPECT_EQ(point.Record.nImagePointNum, 1);
  EXPECT_EQ(point.Measurements[0].nImage, 0);
  EXPECT_EQ(point.Measurements[0].nCamera, 0);
  EXPECT_EQ(point.Measurements[0].x, 2.0f);
  EXPECT_EQ(point.Measurements[0].y, -3.0f);
}

TEST(MeasuredPoint, WhatCannotTakePartIsMarked) {
  const struct {
    const char* measure;
    int32_t image, ordinal;
  } rows[] = {
      {"0 1 1", 0, 0},    {"1 1 1", -1, 1},   {"2 1 1", -1, 2},   {"3 1 1", -1, 3},
      {"-1 1 1", -1, -1}, {"0 nan 1", -1, 0}, {"0 1 inf", -1, 0}, {"0 1e40 1", -1, 0},
      {"0 1", -1, 0},     {"", -1, 0},        {"x 1 1", -1, 0},   {"2147483647 1 1", -1, 2147483647},
  };
  for (const auto& row : rows) {
    const MeasuredPoint point = ReadPoint(std::string("P 1 2 3 0\n1\n") + row.measure + "\n");
    ASSERT_EQ(point.Measurements.size(), 1u) << row.measure;
    EXPECT_EQ(point.Measurements[0].nImage, row.image) << row.measure;
    EXPECT_EQ(point.ImageOrdinals[0], row.ordinal) << row.measure;
  }
}

TEST(MeasuredPoint, SurveyedPointWithoutAPlaceHasNoRays) {
  EXPECT_EQ(ReadPoint("P 1 nan 3 1\n1\n0 1 1\n").Measurements[0].nImage, -1);
  EXPECT_EQ(ReadPoint("P 1 inf 3 2\n1\n0 1 1\n").Measurements[0].nImage, -1);
  EXPECT_EQ(ReadPoint("P 1 nan 3 0\n1\n0 1 1\n").Measurements[0].nImage, 0);
}

TEST(MeasuredPoint, ShortAndBrokenRecords) {
  const struct {
    const char* content;
    size_t measurements;
  } rows[] = {{"", 0},
              {"P", 0},
              {"P 1 2 3 1\n", 0},
              {"P 1 2 3 1\n3\n", 0},
              {"P 1 2 3 1\n3\n0 1 1\n", 1},
              {"P\n-4\n0 1 1", 0},
              {"P\nmany\n0 1 1", 0},
              {"P\n2000000000\n0 1 1\n\n", 2}};
  for (const auto& row : rows) {
    const MeasuredPoint point = ReadPoint(row.content);
    EXPECT_EQ(point.Measurements.size(), row.measurements) << row.content;
    EXPECT_NE(point.Record.nType, 99) << row.content;
  }
}

}  // namespace
}  // namespace orvo
