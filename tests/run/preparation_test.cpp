// The preparation of an adjustment as a whole: layout, memory, transform.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "geometry/GeometryBuilders.h"
#include "run/BundleAdjustment.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

using test::CapturedLog;
using test::MadeUpPlatform;

constexpr int64_t kGibibyte = 1LL << 30;
constexpr const char* kTooLarge = "Error!Not enough memory for normal matrix!\n";

/// A run with these counts and nothing read.
void Count(CBundleAdjustment& run, int32_t images, int32_t cameras, int32_t groups = 0) {
  run.Images.nUnknownImageNum = images;
  run.Cameras.nCameraNum = cameras;
  run.Images.nGroupNum = groups;
}

TEST(PrepareAdjustment, AllocatesItsTablesZeroed) {
  const struct {
    const char* what;
    bool eop, iop, gps;
    int32_t images, cameras, groups;
    int32_t posSize, blockRows, unknowns;
  } table[] = {{"EOP", true, false, false, 4, 2, 0, 0, 4, 24},
               {"IOP", false, true, false, 4, 2, 0, 0, 2, 10},
               {"one camera per image", true, true, false, 4, 4, 0, 0, 4, 44},
               {"two images, one camera", true, true, false, 2, 1, 0, 0, 3, 17},
               {"EOP, GPS", true, false, true, 4, 2, 2, 6, 6, 36},
               {"no group", true, false, true, 4, 2, 0, 3, 4, 24},
               {"groups without POS", true, false, false, 4, 2, 3, 0, 4, 24}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.what);
    CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), nullptr);
    Count(run, row.images, row.cameras, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Settings.Set_IOP_Unknown = row.iop;
    run.Limits.Apply_GPS_Data = row.gps;
    EXPECT_EQ(run.PrepareAdjustment(), 1);
    EXPECT_EQ(run.Unknowns.nPosSize, row.posSize);
    EXPECT_EQ(run.Normal.pPosParams, std::vector<double>(static_cast<size_t>(row.groups * row.posSize), 0.0));
    EXPECT_EQ(run.Normal.pConstVector, std::vector<double>(static_cast<size_t>(row.unknowns), 0.0));
    EXPECT_EQ(run.Normal.pSubMatrixRows.size(), static_cast<size_t>(row.blockRows));
    ASSERT_TRUE(run.Normal.pDenseNormal);
    const double* dense = run.Normal.pDenseNormal.get();
    EXPECT_TRUE(
        std::all_of(dense, dense + row.unknowns * row.unknowns, [](double value) { return value == 0; }));
  }
}

TEST(PrepareAdjustment, RefusesWithoutAnyUnknownAndCountsBeyondThirtyTwoBits) {
  CapturedLog console;
  CBundleAdjustment none(MadeUpPlatform(kGibibyte, 1), console.Console());
  Count(none, 4, 2);
  none.Settings.Set_EOP_Unknown = none.Settings.Set_IOP_Unknown = false;
  EXPECT_EQ(none.PrepareAdjustment(), 0);
  EXPECT_EQ(console.Text(), "Error!No unknown parameter is defined!\n");
  CapturedLog large;
  CBundleAdjustment run(MadeUpPlatform(std::numeric_limits<int64_t>::max(), 1), large.Console());
  Count(run, std::numeric_limits<int32_t>::max(), 1);
  run.Limits.Apply_PCG_Model = true;
  EXPECT_EQ(run.PrepareAdjustment(), 0);
  EXPECT_EQ(large.Text(), kTooLarge);
  EXPECT_TRUE(run.Normal.pSubMatrixRows.empty());
  EXPECT_TRUE(run.Normal.pConstVector.empty());
}

TEST(PrepareAdjustment, ComparesElementsOfTheDenseMatrixWithBytes) {
  // Quirk: 30 unknowns are 900 elements and pass with 1000 bytes free, although they need 7200.
  const struct {
    int64_t freeBytes;
    bool gpu, pcg;
    int result;
    bool dense;
  } table[] = {{1000, false, false, 1, true}, {999, false, false, 0, false}, {0, false, false, 0, false},
               {-5, false, false, 0, false},  {999, false, true, 1, false},  {999, true, false, 1, false},
               {999, true, true, 1, false}};
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.freeBytes << " bytes, GPU " << row.gpu << ", PCG " << row.pcg);
    CapturedLog console;
    CBundleAdjustment run(MadeUpPlatform(row.freeBytes, 1), console.Console());
    Count(run, 5, 1);
    run.Settings.Set_IOP_Unknown = false;
    run.Limits.Apply_GPU = row.gpu;
    run.Limits.Apply_PCG_Model = row.pcg;
    EXPECT_EQ(run.PrepareAdjustment(), row.result);
    EXPECT_EQ(static_cast<bool>(run.Normal.pDenseNormal), row.dense);
    EXPECT_EQ(console.Text(), row.result == 1 ? "" : kTooLarge);
  }
}

TEST(PrepareAdjustment, RefusesAMatrixThatTheAllocatorRefuses) {
#ifdef ORVO_SANITIZED
  GTEST_SKIP() << "the sanitizers' allocators end the program instead";
#else
  CapturedLog console;
  CBundleAdjustment run(MadeUpPlatform(std::numeric_limits<int64_t>::max(), 1), console.Console());
  Count(run, 1, 1000000);
  run.Settings.Set_EOP_Unknown = false;  // 5 million unknowns: 200 terabytes
  EXPECT_EQ(run.PrepareAdjustment(), 0);
  EXPECT_EQ(console.Text(), kTooLarge);
#endif
}

TEST(PrepareAdjustment, TransformsFromFourControlPointsOn) {
  CapturedLog console;
  CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), console.Console());
  Count(run, 4, 1);
  run.Paths.szGcpPath = "/nonexistent/points.gcp";
  run.Points.nControlPointNum = 4;
  EXPECT_EQ(run.PrepareAdjustment(), -1);
  EXPECT_TRUE(console.Text().ends_with("Error! Compute Seven Parameters with GCP failed!\n"));
  EXPECT_FALSE(run.Frame.bSevenParamApplied);
}

TEST(PrepareAdjustment, LeavesTheOrientationsAloneWithThreeControlPoints) {
  CapturedLog console;
  CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), console.Console());
  test::TestBlock block = test::ExactStrip();
  block.MoveInto(run);
  run.Paths.szGcpPath = "/nonexistent/points.gcp";
  run.Points.nControlPointNum = 3;
  EXPECT_EQ(run.PrepareAdjustment(), 1);
  EXPECT_EQ(console.Text(), "");
  EXPECT_FALSE(run.Frame.bSevenParamApplied);
  EXPECT_EQ(run.Images.pEop[1].X, 256);
}

}  // namespace
}  // namespace orvo
