#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "gpu/Device.h"
#include "gpu/kernels/fast/FastFill.h"

namespace orvo::test {
namespace {

using gpu::kNoImage;

/// Host images of a section, filled.
class Filled {
 public:
  Filled(std::vector<ObjectPointRecord> objectPoints, std::vector<ImagePointRecord> imagePoints,
         int32_t images, int32_t cameras, int64_t firstImagePoint = 0,
         std::vector<ObjectPointRecord> gcpTable = {}, int threads = 1)
      : nImages(static_cast<size_t>(images)), nCameras(static_cast<size_t>(cameras)) {
    const size_t n = imagePoints.size(), m = objectPoints.size();
    ImgIdx.assign(4 * n, 0xcdcdcdcd);
    ObjIdx.assign(3 * m, 0xcdcdcdcd);
    ImgPt.assign(4 * n, 1e30f);
    ObjPt.assign(12 * m, 1e30f);
    Index.assign(static_cast<size_t>(gpu::FastIndexWords(images, cameras)), 0xcdcdcdcd);
    gpu::DeviceArrays arrays;
    arrays.cupImgIdx = ImgIdx.data();
    arrays.cupObjIdx = ObjIdx.data();
    arrays.cupImgPt = ImgPt.data();
    arrays.cupObjPt = ObjPt.data();
    Section = gpu::FastSectionOf(arrays, static_cast<int64_t>(n), static_cast<int64_t>(m));
    gpu::FillFastSection({objectPoints, imagePoints, firstImagePoint, gcpTable, images, cameras}, Section,
                         Index.data(), threads);
  }

  using Words = std::vector<uint32_t>;
  Words RayImages() const { return {ImgIdx.begin(), ImgIdx.begin() + Section.n}; }
  Words ImageRayPoints() const { return {ImgIdx.begin() + Section.n, ImgIdx.begin() + 2 * Section.n}; }
  Words FirstRays() const { return {ObjIdx.begin() + 2 * Section.m, ObjIdx.end()}; }
  Words ImageFirstRays() const { return Part(0, nImages + 1); }
  Words ImageCameras() const { return Part(nImages + 1, nImages); }
  Words CameraImages() const { return Part(2 * nImages + 1, nImages); }
  Words CameraFirsts() const { return Part(3 * nImages + 1, nCameras + 1); }

  std::vector<uint32_t> ImgIdx, ObjIdx, Index;
  std::vector<float> ImgPt, ObjPt;
  gpu::FastSection Section;

 private:
  Words Part(size_t from, size_t count) const {
    const auto begin = Index.begin() + static_cast<ptrdiff_t>(from);
    return {begin, begin + static_cast<ptrdiff_t>(count)};
  }
  size_t nImages, nCameras;
};

ObjectPointRecord Point(int32_t type, int64_t first, int32_t count) {
  ObjectPointRecord point;
  point.nType = type;
  point.nFirstImagePoint = first;
  point.nImagePointNum = count;
  return point;
}
ObjectPointRecord PointAt(int32_t type, double X, double Y, double Z) {
  ObjectPointRecord point = Point(type, 0, 0);
  point.X = X;
  point.Y = Y;
  point.Z = Z;
  return point;
}
ImagePointRecord Ray(int32_t image, int32_t camera, float x = 0, float y = 0) {
  return {image, camera, 0, x, y};
}

using Words = std::vector<uint32_t>;

TEST(FastFill, PutsRaysInBothOrders) {
  const Filled filled({Point(0, 0, 3), Point(0, 3, 1), Point(0, 4, 2)},
                      {Ray(2, 0, 1, 2), Ray(0, 1, 3, 4), Ray(1, 0, 5, 6), Ray(0, 1, 7, 8), Ray(1, 0, 9, 10),
                       Ray(0, 1, 11, 12)},
                      4, 2);
  EXPECT_EQ(filled.RayImages(), (Words{2, 0, 1, 0, 1, 0}));
  EXPECT_EQ(filled.FirstRays(), (Words{0, 3, 4}));
  EXPECT_EQ(filled.ImageFirstRays(), (Words{0, 3, 5, 6, 6}));
  EXPECT_EQ(filled.ImageRayPoints(), (Words{0, 1, 2, 0, 2, 0}));
  EXPECT_EQ(filled.ImageCameras(), (Words{1, 0, 0, 0}));
  EXPECT_EQ(filled.CameraImages(), (Words{1, 2, 3, 0}));
  EXPECT_EQ(filled.CameraFirsts(), (Words{0, 3, 4}));
  const float* xy = filled.Section.pImageRayXy;
  EXPECT_EQ(std::vector<float>(xy, xy + 12), (std::vector<float>{3, 4, 7, 8, 11, 12, 5, 6, 9, 10, 1, 2}));
  EXPECT_EQ(std::vector<float>(filled.ImgPt.begin(), filled.ImgPt.begin() + 12),
            (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
  EXPECT_EQ(std::vector<float>(filled.ImgPt.begin() + 12, filled.ImgPt.end()), std::vector<float>(12, 0.0f));
}

TEST(FastFill, CountsFromTheSectionsFirstRay) {
  const Filled filled({Point(0, 100, 2), Point(0, 102, 1)}, {Ray(0, 0), Ray(1, 0), Ray(1, 0)}, 2, 1, 100);
  EXPECT_EQ(filled.FirstRays(), (Words{0, 2}));
  EXPECT_EQ(filled.RayImages(), (Words{0, 1, 1}));
  EXPECT_EQ(filled.ImageRayPoints(), (Words{0, 0, 1}));
}

TEST(FastFill, LeavesOutRaysOnNoImageOrCamera) {
  const Filled filled({Point(0, 0, 7)},
                      {Ray(-1, -1), Ray(2, 0), Ray(0, -1), Ray(0, 1), Ray(1, 0), Ray(0, 0), Ray(-7, 0)}, 2,
                      1);
  EXPECT_EQ(filled.RayImages(), (Words{kNoImage, kNoImage, kNoImage, kNoImage, 1, 0, kNoImage}));
  EXPECT_EQ(filled.ImageFirstRays(), (Words{0, 1, 2}));
  EXPECT_EQ(filled.ImageRayPoints(), (Words{0, 0, 0, 0, 0, 0, 0}));
}

TEST(FastFill, LeavesOutRaysThatContradictTheCameraOfTheirImage) {
  const Filled filled({Point(0, 0, 3)}, {Ray(0, 1), Ray(0, 0), Ray(0, 1)}, 1, 2);
  EXPECT_EQ(filled.RayImages(), (Words{0, kNoImage, 0}));
  EXPECT_EQ(filled.ImageCameras(), (Words{1}));
}

TEST(FastFill, CutsPointsThatLeaveTheSectionOrOverlap) {
  struct Case {
    const char* szName;
    std::vector<ObjectPointRecord> Points;
    Words FirstRays, ImageRayPoints, RayImages;
  };
  const uint32_t none = kNoImage;
  const Case cases[] = {
      {"too many rays", {Point(0, 0, 2), Point(0, 2, 900)}, {0, 2}, {0, 0, 1, 1}, {0, 0, 0, 0}},
      {"negative number", {Point(0, 0, -3), Point(0, 0, 4)}, {0, 0}, {1, 1, 1, 1}, {0, 0, 0, 0}},
      {"overlap", {Point(0, 0, 3), Point(0, 1, 3)}, {0, 3}, {0, 0, 0, 1}, {0, 0, 0, 0}},
      {"gap", {Point(0, 0, 1), Point(0, 3, 1)}, {0, 3}, {0, 1, 0, 0}, {0, none, none, 0}},
      {"gap in front", {Point(0, 2, 1), Point(0, 3, 1)}, {0, 3}, {0, 1, 0, 0}, {none, none, 0, 0}},
      {"rays behind all points", {Point(0, 0, 1), Point(0, 1, 1)}, {0, 1}, {0, 1, 0, 0}, {0, 0, none, none}},
      {"outside", {Point(0, 50, 2), Point(0, 60, 2)}, {0, 4}, {0, 0, 0, 0}, {none, none, none, none}},
      {"before the section", {Point(0, -9, 2), Point(0, 0, 4)}, {0, 0}, {1, 1, 1, 1}, {0, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.szName);
    const Filled filled(c.Points, std::vector<ImagePointRecord>(4, Ray(0, 0)), 1, 1);
    EXPECT_EQ(filled.FirstRays(), c.FirstRays);
    EXPECT_EQ(filled.ImageRayPoints(), c.ImageRayPoints);
    EXPECT_EQ(filled.RayImages(), c.RayImages);
  }
}

TEST(FastFill, GivesPointsOfType4TheirControlDifference) {
  // A row of the table for each point whose type is not 0; none is left for the last.
  const Filled filled({PointAt(0, 1, 2, 3), PointAt(1, 4, 5, 6), PointAt(4, 7, 8, 9), PointAt(4, 1, 1, 1)},
                      {}, 1, 1, 0, {PointAt(1, 0, 0, 0), PointAt(4, 7.5, 8.25, 8.0)});
  const float expected[4][8] = {{1, 2, 3, 0, 0, 0, 0, 0},
                                {4, 5, 6, 0, 0, 0, 0, 0},
                                {7, 8, 9, 0, 0, 0, 0, -1},
                                {1, 1, 1, 0, 0, 0, 0, 0}};
  const uint32_t types[] = {0, 1, 4, 4};
  const float differences[4][4] = {{}, {}, {0.5f, 0.25f, -1, 0}, {}};
  for (size_t o = 0; o < 4; ++o) {
    for (size_t k = 0; k < 8; ++k) {
      if (k == gpu::kPointType) continue;
      EXPECT_EQ(filled.ObjPt[8 * o + k], expected[o][k]) << o << " " << k;
    }
    uint32_t type;
    std::memcpy(&type, &filled.ObjPt[8 * o + gpu::kPointType], sizeof(type));
    EXPECT_EQ(type, types[o]);
    for (size_t k = 0; k < 4; ++k) EXPECT_EQ(filled.Section.pInverse[4 * o + k], differences[o][k]);
    EXPECT_EQ(filled.Section.pInverseEnd[2 * o], 0);
    EXPECT_EQ(filled.Section.pInverseEnd[2 * o + 1], 0);
  }
}

TEST(FastFill, TakesTheDifferenceBeforeItRounds) {
  const Filled filled({PointAt(4, 0, 0, 1e6)}, {}, 1, 1, 0, {PointAt(4, 0, 0, 1e6 + 0.001)});
  EXPECT_NEAR(filled.ObjPt[gpu::kPointHeightDifference], 0.001, 1e-9);
}

TEST(FastFill, FillsNothingOfNothing) {
  const Filled filled({}, {}, 3, 2);
  EXPECT_EQ(filled.ImageFirstRays(), (Words{0, 0, 0, 0}));
  EXPECT_EQ(filled.CameraImages(), (Words{0, 1, 2}));
  EXPECT_EQ(filled.CameraFirsts(), (Words{0, 3, 3}));
  const Filled noPoint({}, {Ray(0, 0), Ray(1, 0)}, 3, 2);
  EXPECT_EQ(noPoint.RayImages(), (Words{kNoImage, kNoImage}));
}

TEST(FastFill, DoesNotDependOnTheNumberOfThreads) {
  std::mt19937 random(9);
  std::vector<ObjectPointRecord> points;
  std::vector<ImagePointRecord> rays;
  while (rays.size() < 400000) {
    const auto count = static_cast<int32_t>(random() % 9);
    points.push_back(Point(static_cast<int32_t>(random() % 5), static_cast<int64_t>(rays.size()), count));
    for (int32_t k = 0; k < count; ++k) {
      const auto image = static_cast<int32_t>(random() % 50);
      rays.push_back(Ray(random() % 10 == 0 ? -1 : image, image % 3, static_cast<float>(random() % 1000),
                         static_cast<float>(random() % 1000)));
    }
  }
  const Filled one(points, rays, 50, 3);
  for (const int threads : {2, 3, 6}) {
    const Filled filled(points, rays, 50, 3, 0, {}, threads);
    EXPECT_TRUE(filled.ImgIdx == one.ImgIdx) << threads;
    EXPECT_TRUE(filled.ObjIdx == one.ObjIdx) << threads;
    EXPECT_TRUE(filled.ImgPt == one.ImgPt) << threads;
    EXPECT_TRUE(filled.Index == one.Index) << threads;
  }
}

TEST(FastLayout, FitsInWhatThePlanCounts) {
  // Bytes of the 64 copies that the fast form does without, by images and cameras.
  struct Case {
    int64_t nImages, nCameras, nUnknowns, nElements;
  };
  const Case cases[] = {
      {1, 1, 6, 21},                   // LayoutEop
      {10000, 1, 60000, 210000},       //
      {10000, 10000, 60000, 210000},   //
      {7, 7, 77, 7 * 66},              // LayoutMergedEopIop
      {1, 1, 11, 36},                  // LayoutEopIop
      {10000, 3, 60015, 210045},       //
      {10000, 10000, 110000, 360000},  //
  };
  for (const Case& c : cases) {
    const int64_t copies = 4 * gpu::kLaunchBlocks * (2 * c.nUnknowns + c.nElements);
    EXPECT_LE(4 * gpu::FastWorkWords(c.nImages, c.nCameras), copies) << c.nImages << " " << c.nCameras;
  }
  // LayoutIop: 10,000 images with 600 rays each, 4.2 rays a point.
  const int64_t rays = 6000000, points = rays * 10 / 42;
  const int64_t counted = 4 * gpu::kLaunchBlocks * (2 * 5 + 15) + 4 * points + 4 * gpu::TailFloats(rays);
  EXPECT_LE(4 * gpu::FastWorkWords(10000, 1), counted);
}

TEST(HostDevice, AllocatesOnCacheLines) {
  const auto device = gpu::MakeHostDevice(1 << 30, 1);
  for (const size_t bytes : {1u, 63u, 64u, 5000u, 3000000u}) {
    void* address = nullptr;
    ASSERT_EQ(device->Malloc(address, bytes), 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(address) % 64, 0u);
    EXPECT_EQ(static_cast<const char*>(address)[bytes - 1], 0);
    std::memset(address, 1, bytes);
    EXPECT_EQ(device->Free(address), 0);
  }
  void* address = &address;
  EXPECT_EQ(device->Malloc(address, 0), 0);
  EXPECT_EQ(address, nullptr);
  EXPECT_NE(device->Malloc(address, SIZE_MAX - 10), 0);
  EXPECT_EQ(address, nullptr);
  EXPECT_EQ(device->Free(nullptr), 0);
}

}  // namespace
}  // namespace orvo::test
