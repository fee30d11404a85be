#include <gtest/gtest.h>

#include <string>

#include "gpu/ReducedSystem.h"
#include "gpu/kernels/RayModel.h"
#include "normal/NormalBuilders.h"
#include "normal/SlowAssembly.h"
#include "run/BundleAdjustment.h"

namespace orvo::test {
namespace {

/// The section as a block of the CPU path.
void FillCpuBlock(CBundleAdjustment& block, const KernelBlock& section) {
  SetLayout(block, static_cast<int32_t>(section.Para.nMode), static_cast<int32_t>(section.Para.nImageCount),
            static_cast<int32_t>(section.Para.nCameraCount));
  block.Settings.GCP_Weight = static_cast<double>(section.Para.nControlWeight);
  block.Settings.Gross_Point_Threshold = static_cast<double>(section.Para.nGrossFactor100) / 100;
  block.Residuals.fRmsResidualX = section.Rms[2];
  block.Residuals.fRmsResidualY = section.Rms[3];
  for (size_t i = 0; i < section.Images(); ++i) {
    const float* e = &section.Eop[6 * i];
    block.Images.pEop.push_back({0, 0, e[0], e[1], e[2], e[3], e[4], e[5]});
  }
  for (size_t c = 0; c < section.Iop.size() / 5; ++c) {
    const float* p = &section.Iop[5 * c];
    block.Cameras.pIop.push_back({0, 0, p[0], p[1], p[2], p[3], p[4]});
  }
  for (size_t o = 0; o < section.ObjIdx.size() / 3; ++o) {
    const float* X = &section.ObjPt[12 * o];
    AppendPoint(block, X[0], X[1], X[2], static_cast<int32_t>(section.Type(o)));
    for (size_t j = section.FirstRay(o); j < section.FirstRay(o) + section.RayCount(o); ++j) {
      AppendMeasurement(block, static_cast<int32_t>(section.ImgIdx[4 * j]),
                        static_cast<int32_t>(section.ImgIdx[4 * j + 1]), section.ImgPt[4 * j],
                        section.ImgPt[4 * j + 1]);
    }
  }
  CloseSection(block);
}

class KernelBlockOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, KernelBlockOfLayout, testing::ValuesIn(kAllLayouts),
                         [](const auto& of) { return LayoutNameOf(of.param); });

TEST_P(KernelBlockOfLayout, TheReferenceIsTheSystemOfTheCpuPath) {
  for (const double gross : {0.0, 0.2}) {
    const KernelBlock section =
        MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = gross, .fLeftOutShare = 0.1});
    CBundleAdjustment block(MadeUpPlatform(1 << 30, 2), nullptr);
    FillCpuBlock(block, section);
    const SlowEquations slow = SlowAssembly(block).Run();
    // The CPU path takes the gross weight in double precision.
    const ReducedSystem system =
        MakeReducedSystem(section, {.bBoundaries = false, .bDeviceRules = false, .fGrossWeight = 0.000001});
    ASSERT_EQ(system.n, slow.n);
    EXPECT_LE(LargestDifference(slow, system.S, system.b), 1e-10);
    int64_t grossRays = 0, leftOut = 0;
    for (size_t j = 0; j < system.Flags.size(); ++j) {
      EXPECT_EQ(system.Flags[j] == gpu::kRayIsGross, slow.Flags[j] != 0);
      grossRays += system.Flags[j] == gpu::kRayIsGross;
      leftOut += system.Flags[j] == gpu::kRayIsLeftOut;
    }
    EXPECT_EQ(grossRays > 20, gross > 0);
    EXPECT_GT(leftOut, 20);
    EXPECT_NEAR(system.fSums[0], slow.fSumX, 1e-9);
    EXPECT_NEAR(system.fSums[1], slow.fSumY, 1e-9);
    EXPECT_NEAR(system.fSums[2], slow.fSquareSumX, 1e-9);
    EXPECT_NEAR(system.fSums[3], slow.fSquareSumY, 1e-9);
  }
}

TEST_P(KernelBlockOfLayout, DiagonalBlocksOfTheReferenceAreThoseOfItsMatrix) {
  // No point stands in an image twice, so an image's block holds all there is.
  const KernelBlock section = MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = 0.2});
  const ReducedSystem system = MakeReducedSystem(section);
  const UnknownLayout layout = {GetParam(), system.nImages, system.nCameras, 0};
  size_t element = 0;
  for (int32_t row = 0; row < layout.PointRows(); ++row) {
    const auto top = static_cast<size_t>(layout.Position(row)),
               end = static_cast<size_t>(layout.Position(row + 1));
    for (size_t p = top; p < end; ++p) {
      for (size_t q = p; q < end; ++q, ++element) {
        EXPECT_NEAR(system.Precond[element], system.S[p * static_cast<size_t>(system.n) + q],
                    1e-12 * system.Scale[p] * system.Scale[q]);
      }
    }
  }
  EXPECT_EQ(element, system.Precond.size());
}

TEST_P(KernelBlockOfLayout, PointsTakeLittleOfTheDiagonalAway) {
  const KernelBlock section = MakeKernelBlock({.nLayoutMode = GetParam()});
  KernelBlock fixed = section;
  for (size_t o = 0; o < fixed.ObjIdx.size() / 3; ++o) fixed.ObjIdx[3 * o] = 1;
  fixed.Para.nControlWeight = 1;
  const ReducedSystem system = MakeReducedSystem(section), full = MakeReducedSystem(fixed);
  for (size_t k = 0; k < system.Scale.size(); ++k) EXPECT_GT(system.Scale[k], 0.3 * full.Scale[k]) << k;
}

}  // namespace
}  // namespace orvo::test
