#include "geometry/Normalization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "geometry/GeometryBuilders.h"

namespace orvo {
namespace {

using test::BlockParts;
using test::Image;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void SetImages(BlockParts& run, const std::vector<EopRecord>& eop) {
  run.Images.pEop = eop;
  run.Images.nImageNum = run.Images.nImageFileNum = static_cast<int32_t>(eop.size());
}

bool Normalize(BlockParts& run) { return NormalizeData(run.Limits, run.Images, run.Points, run.Frame); }
bool Restore(BlockParts& run) { return RestoreData(run.Limits, run.Images, run.Frame, run.Log); }

ObjectPointRecord Point(const char* name, int32_t type, double X, double Y, double Z) {
  ObjectPointRecord point;
  std::strncpy(point.szName, name, sizeof point.szName - 1);
  point.nType = type;
  point.X = X;
  point.Y = Y;
  point.Z = Z;
  return point;
}

template <typename Record>
void ExpectAt(const Record& record, double X, double Y, double Z) {
  EXPECT_DOUBLE_EQ(record.X, X);
  EXPECT_DOUBLE_EQ(record.Y, Y);
  EXPECT_DOUBLE_EQ(record.Z, Z);
}

TEST(ComputeNormalization, MakesTheLongestExtentAThousand) {
  const struct {
    const char* what;
    EopRecord a, b;
    double scale, meanX, meanY, meanZ;
  } table[] = {
      {"X", Image(1000, 0, 0), Image(2000, 500, 100), 1.0, 1500, 250, 50},
      {"Y", Image(0, -4000, 0), Image(10, 0, 0), 0.25, 5, -2000, 0},
      {"Z", Image(0, 0, 100), Image(10, 20, 350), 4.0, 5, 10, 225},
      {"no extent", Image(7, 8, 9), Image(7, 8, 9), 1.0, 7, 8, 9},
      {"infinite scale", Image(0, 0, 0), Image(1e-310, 0, 0), 1.0, 0.5e-310, 0, 0},
      {"infinite extent", Image(-1.7e308, 0, 0), Image(1.7e308, 2, 0), 1.0, 0, 1, 0},
      {"NaN", Image(kNan, 0, 0), Image(5, 2000, 0), 0.5, 0, 1000, 0},
      {"infinite", Image(kInfinity, 0, 0), Image(5, 2000, 0), 1.0, 0, 1000, 0},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.what);
    BlockParts run;
    SetImages(run, {row.a, row.b});
    ComputeNormalization(run.Images, run.Frame);
    EXPECT_DOUBLE_EQ(run.Frame.dCoorScale, row.scale);
    EXPECT_DOUBLE_EQ(run.Frame.dCoorMean[0], row.meanX);
    EXPECT_DOUBLE_EQ(run.Frame.dCoorMean[1], row.meanY);
    EXPECT_DOUBLE_EQ(run.Frame.dCoorMean[2], row.meanZ);
  }
}

TEST(ComputeNormalization, TakesKeptImagesOnly) {
  BlockParts run;
  SetImages(run, {Image(0, 0, 0), Image(500, 0, 0), Image(1e6, 1e6, 1e6)});
  run.Images.nImageNum = 2;
  ComputeNormalization(run.Images, run.Frame);
  EXPECT_EQ(run.Frame.dCoorScale, 2.0);
  EXPECT_EQ(run.Frame.dCoorMean[0], 250.0);
}

TEST(ComputeNormalization, OfNoImageChangesNothing) {
  BlockParts run;
  ComputeNormalization(run.Images, run.Frame);
  EXPECT_EQ(run.Frame.dCoorScale, 1.0);
  EXPECT_EQ(run.Frame.dCoorMean[0], 0.0);
}

/// Shift (1000, 2000, 100), scale 0.5.
void SetShiftAndScale(BlockParts& run) {
  run.Frame.dCoorMean[0] = 1000;
  run.Frame.dCoorMean[1] = 2000;
  run.Frame.dCoorMean[2] = 100;
  run.Frame.dCoorScale = 0.5;
}

TEST(NormalizeData, ShiftsAndScalesPositionsOnly) {
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130, 0.1, 0.2, 0.3)});
  run.Cameras.pIop = {test::Camera(4, 0.1, 0.2, 0.3, 0.4)};
  run.Points.pGcpTable = {Point("g1", 1, 1002, 2004, 106), Point("g2", 2, 1000, 2000, 100)};
  run.Images.pPos = {Image(1012, 2024, 136, 0.1, 0.2, 0.3)};
  run.Limits.Apply_GPS_Data = true;
  EXPECT_TRUE(Normalize(run));
  ExpectAt(run.Images.pEop[0], 5, 10, 15);
  EXPECT_EQ(run.Images.pEop[0].fPhi, 0.1);
  EXPECT_EQ(run.Images.pEop[0].fOmega, 0.2);
  EXPECT_EQ(run.Images.pEop[0].fKappa, 0.3);
  EXPECT_EQ(run.Cameras.pIop[0].fFocal, 4);
  EXPECT_EQ(run.Cameras.pIop[0].fK2, 0.4);
  ExpectAt(run.Points.pGcpTable[0], 1, 2, 3);
  ExpectAt(run.Points.pGcpTable[1], 0, 0, 0);
  ExpectAt(run.Images.pPos[0], 6, 12, 18);
}

TEST(NormalizeData, LeavesPosDataAloneWithoutGps) {
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130)});
  run.Images.pPos = {Image(1012, 2024, 136)};
  run.Limits.Apply_IMU_Data = true;
  EXPECT_TRUE(Normalize(run));
  ExpectAt(run.Images.pPos[0], 1012, 2024, 136);
  EXPECT_TRUE(Restore(run));
  ExpectAt(run.Images.pPos[0], 1012, 2024, 136);
}

TEST(NormalizeData, CarriesTheTableIntoThePointsInMemory) {
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130)});
  run.Points.pGcpTable = {Point("g1", 1, 1002, 2004, 106), Point("g2", 2, 1004, 2000, 100)};
  run.Points.pObjectPoints = {Point("t1", 0, 7, 8, 9), Point("g1", 1, 0, 0, 0), Point("g2", 2, 0, 0, 0)};
  run.Points.nObjectPointNum = 3;
  EXPECT_TRUE(Normalize(run));
  ExpectAt(run.Points.pObjectPoints[0], 7, 8, 9);
  ExpectAt(run.Points.pObjectPoints[1], 1, 2, 3);
  ExpectAt(run.Points.pObjectPoints[2], 2, 0, 0);
}

TEST(NormalizeData, NormalizesControlPointsOfTheProjectItself) {
  // They are in no table, and must not take the coordinates of another point.
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130)});
  run.Points.pGcpTable = {Point("untyped", 0, 1000, 2000, 100), Point("g1", 1, 1002, 2004, 106),
                          ObjectPointRecord()};
  run.Points.pObjectPoints = {Point("p1", 1, 1020, 2040, 160), Point("untyped", 0, 7, 8, 9),
                              Point("g1", 1, 1002, 2004, 106), Point("p2", 2, 1040, 2000, 100)};
  run.Points.nObjectPointNum = 4;
  EXPECT_TRUE(Normalize(run));
  ExpectAt(run.Points.pObjectPoints[0], 10, 20, 30);
  ExpectAt(run.Points.pObjectPoints[1], 7, 8, 9);
  ExpectAt(run.Points.pObjectPoints[2], 1, 2, 3);
  ExpectAt(run.Points.pObjectPoints[3], 20, 0, 0);
}

TEST(NormalizeData, TakesNoMorePointsThanThereAre) {
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130)});
  run.Points.nObjectPointNum = 1000000;
  EXPECT_TRUE(Normalize(run));
  run.Points.pObjectPoints = {Point("p1", 1, 1020, 2040, 160), Point("p2", 1, 1020, 2040, 160)};
  run.Points.nObjectPointNum = 1;
  EXPECT_TRUE(Normalize(run));
  ExpectAt(run.Points.pObjectPoints[0], 10, 20, 30);
  ExpectAt(run.Points.pObjectPoints[1], 1020, 2040, 160);
}

TEST(NormalizeData, DoesNothingWhenSwitchedOff) {
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130)});
  run.Limits.Coor_Normalization = false;
  EXPECT_FALSE(Normalize(run));
  EXPECT_FALSE(Restore(run));
  ExpectAt(run.Images.pEop[0], 1010, 2020, 130);
  EXPECT_EQ(run.Frame.dCoorScale, 0.5);
}

TEST(NormalizeData, LeavesDataThatIsSmallAndCentredAsItIs) {
  const struct {
    double halfExtent, shift;
    bool result;
  } table[] = {{500, 0, false}, {500, 0.9e-5, false}, {500, 1.1e-5, true},
               {250, 0, false}, {555, 0, false},      {556, 0, true}};
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << "+-" << row.halfExtent << " around " << row.shift);
    BlockParts run;
    const std::vector<EopRecord> eop = {Image(row.shift - row.halfExtent, 1, 0),
                                        Image(row.shift + row.halfExtent, -1, 0)};
    SetImages(run, eop);
    ComputeNormalization(run.Images, run.Frame);
    EXPECT_EQ(Normalize(run), row.result);
    if (!row.result) {
      EXPECT_EQ(run.Images.pEop[1].X, eop[1].X);
      EXPECT_EQ(run.Frame.dCoorScale, 1.0);
    } else {
      EXPECT_NEAR(run.Images.pEop[1].X, 500, 1e-9);
    }
    // Restoring must not divide what was never multiplied.
    EXPECT_TRUE(Restore(run));
    EXPECT_NEAR(run.Images.pEop[1].X, eop[1].X, 1e-9);
    EXPECT_NEAR(run.Images.pEop[0].X, eop[0].X, 1e-9);
  }
}

TEST(RestoreData, UndoesTheNormalization) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> position(-5e6, 5e6);
  std::vector<EopRecord> eop;
  for (int i = 0; i < 100; ++i) {
    eop.push_back(Image(position(random), position(random), 1e-3 * position(random), 0.1, 0.2, 0.3));
  }
  BlockParts run;
  SetImages(run, eop);
  run.Images.pPos = eop;
  run.Limits.Apply_GPS_Data = true;
  ComputeNormalization(run.Images, run.Frame);
  EXPECT_TRUE(Normalize(run));
  double sum = 0, most = 0;
  for (const EopRecord& image : run.Images.pEop) {
    sum += image.X;
    most = std::max({most, std::fabs(image.X), std::fabs(image.Y), std::fabs(image.Z)});
  }
  EXPECT_NEAR(sum, 0, 1e-8);
  EXPECT_LT(most, 1000);
  EXPECT_TRUE(Restore(run));
  for (size_t i = 0; i < eop.size(); ++i) {
    EXPECT_NEAR(run.Images.pEop[i].X, eop[i].X, 1e-8);
    EXPECT_NEAR(run.Images.pEop[i].Y, eop[i].Y, 1e-8);
    EXPECT_NEAR(run.Images.pEop[i].Z, eop[i].Z, 1e-8);
    EXPECT_EQ(run.Images.pPos[i].X, run.Images.pEop[i].X);
    EXPECT_EQ(run.Images.pEop[i].fKappa, 0.3);
  }
}

TEST(RestoreData, LeavesTheTableOfControlPointsNormalized) {
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(1010, 2020, 130)});
  run.Points.pGcpTable = {Point("g1", 1, 1002, 2004, 106)};
  Normalize(run);
  Restore(run);
  ExpectAt(run.Points.pGcpTable[0], 1, 2, 3);
  EXPECT_EQ(run.Frame.dCoorScale, 0.5);
  EXPECT_EQ(run.Frame.dCoorMean[0], 1000);
}

TEST(RestoreData, LogsALineForEachPosRecordFrom49345On) {
  // Quirk: the records are restored all the same.
  BlockParts run;
  SetShiftAndScale(run);
  SetImages(run, {Image(5, 10, 15)});
  run.Images.pPos.assign(49347, Image(6, 12, 18));
  run.Limits.Apply_GPS_Data = true;
  EXPECT_TRUE(Restore(run));
  EXPECT_EQ(run.Console.Text(), "Error!===================\nError!===================\n");
  ExpectAt(run.Images.pEop[0], 1010, 2020, 130);
  ExpectAt(run.Images.pPos[0], 1012, 2024, 136);
  ExpectAt(run.Images.pPos[49346], 1012, 2024, 136);
}

}  // namespace
}  // namespace orvo
