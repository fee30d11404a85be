// POS observations beside the device, against matrices that are formed in full.
#include "gpu/PosTerms.h"

#include <gtest/gtest.h>

#include <random>

#include "DeviceParts.h"
#include "gpu/PosUpdates.h"
#include "support/PosReference.h"

namespace orvo::test {
namespace {

struct PosCase {
  LayoutMode layout;
  bool bGps, bImu, bConst, bLinear;
};

std::string NameOf(const PosCase& c) {
  static const char* const layouts[] = {"Eop", "Iop", "Merged", "EopIop"};
  return std::string(layouts[c.layout]) + (c.bGps ? "Gps" : "") + (c.bImu ? "Imu" : "") +
         (c.bConst ? "Const" : "") + (c.bLinear ? "Linear" : "");
}

void PrintTo(const PosCase& c, std::ostream* out) { *out << NameOf(c); }

/// Images with their records and groups; nothing deleted.
struct PosBlock : DeviceParts {
  RunLimits Limits;
  std::vector<double> vParams;
  bool bCamerasAreUnknown;
  std::vector<double> M, r, Ad;
  std::vector<float> d;

  PosBlock(const PosCase& c, int32_t images, int32_t groups, int32_t cameras = 2)
      : bCamerasAreUnknown(c.layout != LayoutEop) {
    Limits.Apply_GPS_Data = c.bGps;
    Limits.Apply_IMU_Data = c.bImu;
    Limits.Correct_Const_Error = c.bConst;
    Limits.Correct_LinearError = c.bLinear;
    Limits.GPS_WeightXY = 0.5;
    Limits.GPS_WeightZ = 3;
    Unknowns.nLayoutMode = c.layout;
    Images.nImageNum = Images.nUnknownImageNum = Images.nImageFileNum = images;
    Cameras.nCameraNum = c.layout == LayoutMergedEopIop ? images : cameras;
    Images.nGroupNum = groups;
    Unknowns.nPosSize = c.layout == LayoutIop ? 0 : (3 * c.bGps + 3 * c.bImu) * (c.bConst + c.bLinear);
    std::mt19937 random(5);
    std::normal_distribution<double> normal;
    for (int32_t i = 0; i < images; ++i) {
      Images.pImageIndex.push_back(i);
      Images.pImageGroup.push_back(i % (groups + 1) - 1);
      EopRecord image, observed;
      image.fTime = 10 * normal(random);
      for (double EopRecord::*field : {&EopRecord::X, &EopRecord::Y, &EopRecord::Z, &EopRecord::fPhi,
                                       &EopRecord::fOmega, &EopRecord::fKappa}) {
        image.*field = normal(random);
        observed.*field = normal(random);
      }
      Images.pEop.push_back(image);
      Images.pPos.push_back(observed);
    }
    for (int32_t k = 0; k < groups * Unknowns.nPosSize; ++k) vParams.push_back(normal(random));
    const UnknownLayout layout{c.layout, images, Cameras.nCameraNum, Unknowns.nPosSize};
    const int32_t first = layout.Position(layout.PointRows());
    Unknowns.nUnknownNum = first + groups * Unknowns.nPosSize;
    const auto n = static_cast<size_t>(Unknowns.nUnknownNum);
    r.assign(n, 0);
    Ad.assign(n, 0);
    for (size_t k = 0; k < n; ++k) d.push_back(static_cast<float>(normal(random)));
    M.assign(static_cast<size_t>(36 * images + 25 * Cameras.nCameraNum + 121 * images +
                                 Unknowns.nPosSize * Unknowns.nPosSize * groups),
             0);
  }
  gpu::PosSource Source() const { return {Limits, Images, Cameras, Unknowns, vParams, bCamerasAreUnknown}; }
  std::vector<gpu::PosTerm> Terms() { return gpu::GatherPosTerms(Source(), Log); }
  bool Preconditioner() { return gpu::UpdatePosPreconditioner(Source(), Log, M); }
  bool ConstVector() { return gpu::UpdatePosConstVector(Source(), Log, r); }
  bool Product() { return gpu::UpdatePosNormalEquation(Source(), Log, d, Ad); }
  PosModel Model() const {
    return {Limits.Apply_GPS_Data,      Limits.Apply_IMU_Data, Limits.Correct_Const_Error,
            Limits.Correct_LinearError, Limits.GPS_WeightXY,   Limits.GPS_WeightZ};
  }
};

std::vector<PosCase> AllCases() {
  std::vector<PosCase> cases;
  for (const LayoutMode layout : {LayoutEop, LayoutMergedEopIop, LayoutEopIop}) {
    for (int bits = 0; bits < 16; ++bits) {
      const PosCase c{layout, (bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0};
      if (c.bGps || c.bImu) cases.push_back(c);
    }
  }
  return cases;
}

class PosShares : public ::testing::TestWithParam<PosCase> {};

TEST_P(PosShares, EqualTheFullMatrices) {
  constexpr int32_t kImages = 7, kGroups = 3;
  PosBlock block(GetParam(), kImages, kGroups);
  EXPECT_TRUE(block.ConstVector());
  EXPECT_TRUE(block.Preconditioner());
  EXPECT_TRUE(block.Product());
  EXPECT_EQ(block.console.Text(),
            ">>>>Update POS constant vector....\n>>>>Update POS preconditioner....\n"
            ">>>>Update POS normal equation....\n");

  // At 6 i and 21 i in every layout; groups behind 21 elements an image and 15 a camera.
  const auto size = static_cast<size_t>(block.Unknowns.nPosSize), upper = size * (size + 1) / 2;
  const size_t firstUnknown =
      6 * kImages + (block.bCamerasAreUnknown ? 5 * static_cast<size_t>(block.Cameras.nCameraNum) : 0);
  const size_t firstPacked = 21 * kImages + 15 * static_cast<size_t>(block.Cameras.nCameraNum);
  std::vector<double> M(block.M.size()), r(block.r.size()), Ad(block.Ad.size());
  for (size_t i = 0; i < kImages; ++i) {
    if (block.Images.pImageGroup[i] < 0) continue;
    const auto g = static_cast<size_t>(block.Images.pImageGroup[i]);
    const PosReference e(block.Model(), block.Images.pEop[i], block.Images.pPos[i],
                         block.vParams.data() + g * size);
    const size_t q = firstUnknown + g * size;
    size_t element = 21 * i;
    for (size_t a = 0; a < 6; ++a) {
      for (size_t b = a; b < 6; ++b) M[element++] += e.Aee.data[6 * a + b];
      r[6 * i + a] += e.be.data[a];
      for (size_t b = 0; b < 6; ++b)
        Ad[6 * i + a] += e.Aee.data[6 * a + b] * static_cast<double>(block.d[6 * i + b]);
      for (size_t b = 0; b < size; ++b)
        Ad[6 * i + a] += e.Aed.data[size * a + b] * static_cast<double>(block.d[q + b]);
    }
    element = firstPacked + g * upper;
    for (size_t a = 0; a < size; ++a) {
      for (size_t b = a; b < size; ++b) M[element++] += e.Add.data[size * a + b];
      r[q + a] += e.bd.data[a];
      for (size_t b = 0; b < 6; ++b)
        Ad[q + a] += e.Ade.data[6 * a + b] * static_cast<double>(block.d[6 * i + b]);
      for (size_t b = 0; b < size; ++b)
        Ad[q + a] += e.Add.data[size * a + b] * static_cast<double>(block.d[q + b]);
    }
  }
  for (size_t k = 0; k < M.size(); ++k) EXPECT_NEAR(block.M[k], M[k], 1e-9) << k;
  for (size_t k = 0; k < r.size(); ++k) {
    EXPECT_NEAR(block.r[k], r[k], 1e-9) << k;
    EXPECT_NEAR(block.Ad[k], Ad[k], 1e-8) << k;
  }
}

INSTANTIATE_TEST_SUITE_P(Models, PosShares, ::testing::ValuesIn(AllCases()),
                         [](const auto& parameter) { return NameOf(parameter.param); });

constexpr PosCase kGps{LayoutEopIop, true, false, true, false};

TEST(PosUpdates, WithoutPosDataNothingIsSaid) {
  PosBlock block(kGps, 4, 1);
  block.Limits.Apply_GPS_Data = false;
  EXPECT_FALSE(block.Preconditioner());
  EXPECT_FALSE(block.ConstVector());
  EXPECT_FALSE(block.Product());
  EXPECT_EQ(block.console.Text(), "");
}

TEST(PosUpdates, CamerasAloneGetTheirLinesAndNothingElse) {
  PosBlock block({LayoutIop, true, false, true, false}, 4, 1);
  block.Preconditioner();
  block.ConstVector();
  block.Product();
  EXPECT_EQ(block.console.Count(">>>>Update POS "), 3);
  for (const auto* vector : {&block.M, &block.r, &block.Ad}) {
    for (const double value : *vector) EXPECT_EQ(value, 0);
  }
}

TEST(PosUpdates, TheRecordIsTakenAtTheOrdinal) {
  PosBlock block(kGps, 3, 1);
  // Project image 1 is deleted: images 0 and 2 are kept as 0 and 1.
  block.Images.pImageIndex = {0, -1, 1};
  block.Images.nImageNum = block.Images.nUnknownImageNum = 2;
  block.Images.pImageGroup = {0, 0};
  block.Images.pPos[1].X = 1000;
  block.Images.pPos[2].X = 2000;
  const auto terms = block.Terms();
  ASSERT_EQ(terms.size(), 2u);
  EXPECT_EQ(terms[1].nImage, 1);
  EXPECT_DOUBLE_EQ(terms[1].L[0], 2000 - block.Images.pEop[1].X - block.vParams[0]);
}

TEST(PosUpdates, ImagesThatObserveNothing) {
  PosBlock block(kGps, 5, 1);
  block.Images.pImageGroup = {0, -1, 0, 0, 0};
  block.Images.pPos[2].nStatus = kPosNotObserved;
  block.Images.pPos[3].Y = std::nan("");
  block.Images.pEop[4].nStatus = 1;
  const auto terms = block.Terms();
  ASSERT_EQ(terms.size(), 2u);
  EXPECT_EQ(terms[0].nImage, 0);
  EXPECT_EQ(terms[1].nImage, 4) << "a fixed image is treated like any other";
  EXPECT_EQ(block.console.Text(), "");
}

TEST(PosUpdates, FailingIndices) {
  PosBlock block({LayoutEopIop, true, false, true, true}, 3, 1);
  block.Images.pImageGroup = {0, 7, 0};
  block.Images.pImageIndex[2] = 40;
  EXPECT_EQ(block.Terms().size(), 1u);
  // Three constant and three linear parameters of the group, then the image.
  std::string expected;
  for (int i = 0; i < 6; ++i) expected += "Error!=======================\n";
  EXPECT_EQ(block.console.Text(), expected + "==========================Error!\n");
}

TEST(PosTerms, WhatLeavesTheVectorsIsDropped) {
  const PosModel model{true, false, true, false, 1, 1};
  const std::vector<gpu::PosTerm> terms{{9, 0, 0, {1, 1, 1}}, {0, 9, 0, {1, 1, 1}}};
  const gpu::PosPlaces places = gpu::MakePosPlaces(1, 0, false);
  std::vector<double> M(21 + 6), r(9), Ad(9);
  const std::vector<float> d(9, 1.0f);
  gpu::AddPosPreconditioner(model, places, terms, M);
  gpu::AddPosConstVector(model, places, terms, r);
  gpu::AddPosProduct(model, places, terms, d, Ad);
  EXPECT_EQ(r, (std::vector<double>{1, 1, 1, 0, 0, 0, 1, 1, 1}));
  EXPECT_EQ(Ad, r);
  EXPECT_EQ(M[0], 1);
  EXPECT_EQ(M[21], 1);
}

}  // namespace
}  // namespace orvo::test
