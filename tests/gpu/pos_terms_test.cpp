// POS observations beside the device, against matrices that are formed in full.
#include "gpu/PosTerms.h"

#include <gtest/gtest.h>

#include <random>

#include "run/BundleAdjustment.h"
#include "support/CapturedLog.h"
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

/// A block in memory with images, their records and groups; nothing deleted.
struct PosBlock {
  CapturedLog log;
  CBundleAdjustment own{NativePlatform(), log.Console()};
  std::vector<double> M, r, Ad;
  std::vector<float> d;

  PosBlock(const PosCase& c, int32_t images, int32_t groups, int32_t cameras = 2) {
    own.Limits.Apply_GPS_Data = c.bGps;
    own.Limits.Apply_IMU_Data = c.bImu;
    own.Limits.Correct_Const_Error = c.bConst;
    own.Limits.Correct_LinearError = c.bLinear;
    own.Settings.Set_IOP_Unknown = c.layout != LayoutEop;
    own.Settings.Set_EOP_Unknown = c.layout != LayoutIop;
    own.Limits.GPS_WeightXY = 0.5;
    own.Limits.GPS_WeightZ = 3;
    own.Unknowns.nLayoutMode = c.layout;
    own.Images.nImageNum = own.Images.nUnknownImageNum = own.Images.nImageFileNum = images;
    own.Cameras.nCameraNum = c.layout == LayoutMergedEopIop ? images : cameras;
    own.Images.nGroupNum = groups;
    own.Unknowns.nPosSize = c.layout == LayoutIop ? 0 : (3 * c.bGps + 3 * c.bImu) * (c.bConst + c.bLinear);
    std::mt19937 random(5);
    std::normal_distribution<double> normal;
    for (int32_t i = 0; i < images; ++i) {
      own.Images.pImageIndex.push_back(i);
      own.Images.pImageGroup.push_back(i % (groups + 1) - 1);
      EopRecord image, observed;
      image.fTime = 10 * normal(random);
      for (double EopRecord::*field : {&EopRecord::X, &EopRecord::Y, &EopRecord::Z, &EopRecord::fPhi,
                                       &EopRecord::fOmega, &EopRecord::fKappa}) {
        image.*field = normal(random);
        observed.*field = normal(random);
      }
      own.Images.pEop.push_back(image);
      own.Images.pPos.push_back(observed);
    }
    for (int32_t k = 0; k < groups * own.Unknowns.nPosSize; ++k)
      own.Normal.pPosParams.push_back(normal(random));
    const int32_t first = own.Layout().Position(own.Layout().PointRows());
    own.Unknowns.nUnknownNum = first + groups * own.Unknowns.nPosSize;
    const auto n = static_cast<size_t>(own.Unknowns.nUnknownNum);
    r.assign(n, 0);
    Ad.assign(n, 0);
    for (size_t k = 0; k < n; ++k) d.push_back(static_cast<float>(normal(random)));
    M.assign(static_cast<size_t>(36 * images + 25 * own.Cameras.nCameraNum + 121 * images +
                                 own.Unknowns.nPosSize * own.Unknowns.nPosSize * groups),
             0);
  }
  PosModel Model() const {
    return {own.Limits.Apply_GPS_Data,      own.Limits.Apply_IMU_Data, own.Limits.Correct_Const_Error,
            own.Limits.Correct_LinearError, own.Limits.GPS_WeightXY,   own.Limits.GPS_WeightZ};
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
  CBundleAdjustment& own = block.own;
  EXPECT_EQ(own.UpdatePosConstVector(block.r), 1);
  EXPECT_EQ(own.UpdatePosPreconditioner(block.M), 1);
  EXPECT_EQ(own.UpdatePosNormalEquation(block.d, block.Ad), 1);
  EXPECT_EQ(block.log.Text(),
            ">>>>Update POS constant vector....\n>>>>Update POS preconditioner....\n"
            ">>>>Update POS normal equation....\n");

  // At 6 i and 21 i in every layout; groups behind 21 elements an image and 15 a camera.
  const auto size = static_cast<size_t>(own.Unknowns.nPosSize), upper = size * (size + 1) / 2;
  const size_t firstUnknown =
      6 * kImages + (own.Settings.Set_IOP_Unknown ? 5 * static_cast<size_t>(own.Cameras.nCameraNum) : 0);
  const size_t firstPacked = 21 * kImages + 15 * static_cast<size_t>(own.Cameras.nCameraNum);
  std::vector<double> M(block.M.size()), r(block.r.size()), Ad(block.Ad.size());
  for (size_t i = 0; i < kImages; ++i) {
    if (own.Images.pImageGroup[i] < 0) continue;
    const auto g = static_cast<size_t>(own.Images.pImageGroup[i]);
    const PosReference e(block.Model(), own.Images.pEop[i], own.Images.pPos[i],
                         own.Normal.pPosParams.data() + g * size);
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
  block.own.Limits.Apply_GPS_Data = false;
  EXPECT_EQ(block.own.UpdatePosPreconditioner(block.M), 1);
  EXPECT_EQ(block.own.UpdatePosConstVector(block.r), 1);
  EXPECT_EQ(block.own.UpdatePosNormalEquation(block.d, block.Ad), 0);
  EXPECT_EQ(block.log.Text(), "");
}

TEST(PosUpdates, CamerasAloneGetTheirLinesAndNothingElse) {
  PosBlock block({LayoutIop, true, false, true, false}, 4, 1);
  block.own.UpdatePosPreconditioner(block.M);
  block.own.UpdatePosConstVector(block.r);
  block.own.UpdatePosNormalEquation(block.d, block.Ad);
  EXPECT_EQ(block.log.Count(">>>>Update POS "), 3);
  for (const auto* vector : {&block.M, &block.r, &block.Ad}) {
    for (const double value : *vector) EXPECT_EQ(value, 0);
  }
}

TEST(PosUpdates, TheRecordIsTakenAtTheOrdinal) {
  PosBlock block(kGps, 3, 1);
  CBundleAdjustment& own = block.own;
  // Project image 1 is deleted: images 0 and 2 are kept as 0 and 1.
  own.Images.pImageIndex = {0, -1, 1};
  own.Images.nImageNum = own.Images.nUnknownImageNum = 2;
  own.Images.pImageGroup = {0, 0};
  own.Images.pPos[1].X = 1000;
  own.Images.pPos[2].X = 2000;
  const auto terms = own.GatherPosTerms();
  ASSERT_EQ(terms.size(), 2u);
  EXPECT_EQ(terms[1].nImage, 1);
  EXPECT_DOUBLE_EQ(terms[1].L[0], 2000 - own.Images.pEop[1].X - own.Normal.pPosParams[0]);
}

TEST(PosUpdates, ImagesThatObserveNothing) {
  PosBlock block(kGps, 5, 1);
  CBundleAdjustment& own = block.own;
  own.Images.pImageGroup = {0, -1, 0, 0, 0};
  own.Images.pPos[2].nStatus = kPosNotObserved;
  own.Images.pPos[3].Y = std::nan("");
  own.Images.pEop[4].nStatus = 1;
  const auto terms = own.GatherPosTerms();
  ASSERT_EQ(terms.size(), 2u);
  EXPECT_EQ(terms[0].nImage, 0);
  EXPECT_EQ(terms[1].nImage, 4) << "a fixed image is treated like any other";
  EXPECT_EQ(block.log.Text(), "");
}

TEST(PosUpdates, FailingIndices) {
  PosBlock block({LayoutEopIop, true, false, true, true}, 3, 1);
  CBundleAdjustment& own = block.own;
  own.Images.pImageGroup = {0, 7, 0};
  own.Images.pImageIndex[2] = 40;
  EXPECT_EQ(own.GatherPosTerms().size(), 1u);
  // Three constant and three linear parameters of the group, then the image.
  std::string expected;
  for (int i = 0; i < 6; ++i) expected += "Error!=======================\n";
  EXPECT_EQ(block.log.Text(), expected + "==========================Error!\n");
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
