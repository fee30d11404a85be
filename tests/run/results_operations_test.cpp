// The operations of geometry and results by their names: what they return, and which parts they use.
#include <gtest/gtest.h>

#include "results/GpuResidualLines.h"
#include "results/TinyBlock.h"
#include "run/BundleAdjustment.h"

namespace orvo::test {
namespace {

struct NamedRun : TinyBlock {
  NamedRun() : Object(MadeUpPlatform(int64_t{1} << 30, 2), fConsole.get()) {
    WriteFiles("block.prj");
    Object.Settings = Run.Settings;
    Object.Paths = Run.Paths;
    Object.Images = Run.Images;
    Object.Cameras = Run.Cameras;
  }
  CBundleAdjustment Object;
};

TEST(ResultsOperations, WriteTheirFiles) {
  NamedRun r;
  EXPECT_EQ(r.Object.WriteResultForm(r.szProject, r.szGcp, 0), 1);
  EXPECT_TRUE(Exists(r.folder / "out/OrvoResult.rst"));
  EXPECT_FALSE(Exists(r.folder / "out/OrvoResult_gcp.rst"));
  EXPECT_EQ(r.Object.WriteResultForm(r.szProject, r.szGcp, 1), 1);
  EXPECT_TRUE(Exists(r.folder / "out/OrvoResult_gcp.rst"));
  EXPECT_EQ(r.Object.WriteResultForm(r.szProject + "x", r.szGcp, 1), 0);
  EXPECT_EQ(r.Object.WriteResultFiles(r.szProject, r.szGcp), 1);
  EXPECT_EQ(r.Object.WriteReport(), 1);
  EXPECT_TRUE(Exists(r.folder / "out/OrvoAdjustReport.txt"));
  r.Object.Unknowns.nUnknownNum = 2;
  const double x[] = {0.5, -0.25, 7};
  EXPECT_EQ(r.Object.WriteCorrections(4, x), 1);
  EXPECT_EQ(r.Output("Corrections_4.txt"), "     5.000000000e-01\n    -2.500000000e-01\n");
  r.Object.Outputs.nOutputFailureNum = 0;
  EXPECT_EQ(r.Object.WriteCorrections(4, nullptr), 0);
  r.Object.Paths.szOutputPath = r.folder / "absent";
  EXPECT_EQ(r.Object.WriteCorrections(4, x), 0);
  EXPECT_EQ(r.Object.WriteReport(), 0);
  EXPECT_EQ(r.Object.WriteResidualsCpu(0, 0), 0);
  EXPECT_EQ(r.Object.WriteResidualsGpu(0, 0, {}), 0);
  EXPECT_EQ(r.Object.Outputs.nOutputFailureNum, 5);
}

TEST(ResultsOperations, ResidualsOfTheThreadBuffersAreLeftInFileUnits) {
  for (const bool beside : {false, true}) {
    NamedRun r;
    if (beside) r.Object.WriteResidualsBesideTheRun();
    r.Object.Normal.pThreadBuffers = std::make_unique<ThreadBuffers>();
    ThreadBuffers& buffers = *r.Object.Normal.pThreadBuffers;
    buffers.pThreadPointNum = {1, -3};
    buffers.pThreadGrossFlags = {{0}, {}};
    buffers.pThreadResiduals = {{0.0003f, -0.0004f}, {}};
    EXPECT_EQ(r.Object.WriteResidualsCpu(2, 7), 1);
    r.Object.FinishResidualFiles();
    EXPECT_TRUE(r.Output("Residuals_2_7.res").starts_with("    0.300000\t   -0.400000\t 0\n\nMEAN:"));
    // The writer beside the run keeps what it was given.
    ASSERT_EQ(buffers.pThreadResiduals[0].empty(), beside);
    if (beside) continue;
    EXPECT_EQ(buffers.pThreadResiduals[0][0], static_cast<float>(double{0.0003f} / 0.001));
    EXPECT_EQ(buffers.pThreadResiduals[0][1], static_cast<float>(double{-0.0004f} / 0.001));
  }
}

TEST(GeometryOperations, ReturnTheirResults) {
  NamedRun r;
  r.Object.Points.Sections.ObjectPoints = {{0, 0}};
  r.Object.Points.pObjectPoints.resize(1);
  EXPECT_EQ(r.Object.ComputeTiePoints(0), 1);
  EXPECT_EQ(r.Object.ComputeTiePointsThreaded(0), 1);
  EXPECT_EQ(r.Object.ComputeNormalization(), 1);
  const double X = r.Object.Images.pEop[0].X;
  EXPECT_EQ(r.Object.NormalizeData(), 1);
  EXPECT_NE(r.Object.Images.pEop[0].X, X);
  EXPECT_EQ(r.Object.RestoreData(), 1);
  EXPECT_NEAR(r.Object.Images.pEop[0].X, X, 1e-9);
  r.Object.Limits.Coor_Normalization = false;
  EXPECT_EQ(r.Object.NormalizeData(), 0);
  EXPECT_EQ(r.Object.RestoreData(), 0);
  EXPECT_EQ(r.Object.ApplySevenParameters(), 1);
}

}  // namespace
}  // namespace orvo::test
