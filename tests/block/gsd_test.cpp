// Ground sample distance.
#include "block/Gsd.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvo {
namespace {

/// `n` measurements on one image, each of its own point, 2 ground units apart where they are 1 working unit
/// apart.
struct Sample {
  std::vector<ObjectPointRecord> points;
  std::vector<ImagePointRecord> images;
  explicit Sample(int n) {
    for (int i = 0; i < n; ++i) {
      ObjectPointRecord point;
      point.X = 2.0 * i;
      points.push_back(point);
      images.push_back({0, 0, i, static_cast<float>(i), 0.0f});
    }
  }
  float Gsd() const { return ComputeGsd(points, images, 0.001); }
};

TEST(Gsd, GroundUnitsPerFileUnit) { EXPECT_NEAR(0.002, Sample(25).Gsd(), 1e-9); }

TEST(Gsd, NotANumberWithoutAPair) {
  EXPECT_TRUE(std::isnan(Sample(0).Gsd()));
  EXPECT_TRUE(std::isnan(Sample(1).Gsd()));
  EXPECT_TRUE(std::isnan(Sample(10).Gsd()));
  EXPECT_FALSE(std::isnan(Sample(11).Gsd()));
}

TEST(Gsd, OnlyEveryTenthMeasurementCounts) {
  Sample sample(31);
  for (size_t i = 1; i < 31; ++i) {
    if (i % 10 != 0) sample.points[i].X = 1e6;
  }
  EXPECT_NEAR(0.002, sample.Gsd(), 1e-9);
  sample.points[20].X = 100;  // 100 over 20 units
  EXPECT_NEAR((0.002 + 0.005 + 0.002) / 3, sample.Gsd(), 1e-9);
}

TEST(Gsd, WhatDoesNotCount) {
  Sample sample(31);
  sample.images[20].nImage = 1;
  sample.points[20].X = 1e6;
  EXPECT_NEAR(0.002, sample.Gsd(), 1e-9);
  sample.points[30].X = 0;  // no distance on the ground
  EXPECT_NEAR(0.002, sample.Gsd(), 1e-9);
  sample.points[10].nType = 1;
  EXPECT_TRUE(std::isnan(sample.Gsd()));
  sample.points[10].nType = 0;
  sample.images[10].x = 0;  // no distance in the image
  EXPECT_TRUE(std::isnan(sample.Gsd()));
}

TEST(Gsd, AMeasurementOnADeletedImageIsNoStart) {
  Sample sample(31);
  sample.images[0].nImage = -1;
  sample.images[10].nImage = -1;
  sample.points[10].X = 1e6;
  EXPECT_NEAR(0.002, sample.Gsd(), 1e-9);
  for (ImagePointRecord& image : sample.images) image.nImage = -1;
  EXPECT_TRUE(std::isnan(sample.Gsd()));
}

TEST(Gsd, TheFirstPointIsRoundedToSingle) {
  Sample sample(11);
  sample.points[0].X = 5000000.2;  // 5000000 as a single
  sample.points[10].X = 5000010.0;
  EXPECT_NEAR(0.001, sample.Gsd(), 1e-9);
}

}  // namespace
}  // namespace orvo
