// The iteration of the device path over parts in memory: what it asks of others, and how it ends.
#include "gpu/GpuBundle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "DeviceParts.h"
#include "RecordingDevice.h"
#include "geometry/Intersection.h"

namespace orvo::test {
namespace {

using Calls = std::vector<std::string>;

/// Four images above a grid of points, each a little off its place, and the calls of the iteration.
struct SmallRun : DeviceParts {
  AdjustmentSettings Settings;
  ObjectFrame Frame;
  RunLimits Limits;
  ResidualStatistics Residuals;
  std::vector<double> vPosParams;
  std::vector<ObjectPointRecord> vPoints;
  std::vector<ImagePointRecord> vImagePoints;
  DeviceRecord Record;
  Calls vCalls;
  std::string szFailing;  ///< the call that fails
  std::vector<double> vRms, vShares;
  std::vector<gpu::GpuStepNote> vSteps;

  bool bSingular = true;
  std::optional<double> fShare;
  int nDatum = 0;

  explicit SmallRun(int32_t sections) {
    IopRecord camera;
    camera.fFocal = 0.1;
    Cameras.pIop = {camera};
    Cameras.nCameraNum = 1;
    Images.nImageNum = Images.nUnknownImageNum = 4;
    for (int32_t i = 0; i < 4; ++i) {
      EopRecord image;
      image.X = 40 * i;
      image.Y = i % 2;
      image.Z = 100;
      Images.pEop.push_back(image);
    }
    for (int32_t k = 0; k < 60; ++k) Measure(k, 12.0 * (k % 10), 15.0 * (k / 10) - 40, k % 7);
    for (int32_t i = 0; i < 4; ++i) Images.pEop[static_cast<size_t>(i)].fPhi += 0.0004 * (i - 1);
    Unknowns = {LayoutEop, 24, 0, 0, 4, 144, 84, 24};
    const int32_t share = 60 / sections;
    for (int32_t s = 0; s < sections; ++s) {
      Points.Sections.ObjectPoints.push_back({s * share, (s + 1) * share - 1});
      Points.Sections.ImagePoints.push_back({4 * s * share, 4 * (s + 1) * share - 1});
    }
    Points.nObjectPointNum = 60;
    Points.nImagePointNum = 240;
    Settings.Resampling_Points = false;
    Settings.Set_IOP_Unknown = false;
    Settings.LM_Converge_Threshold = 0;
    State.pDevice = gpu::GuardDevice(std::make_unique<RecordingDevice>(Record), State.Fault);
    State.pDeviceProps = {GoodDevice()};
  }

  gpu::GpuBundleOutcome Run(int32_t iterations) {
    Settings.Max_LM_Iteration_Num = iterations;
    const gpu::GpuBundleVerdict verdict{1e-20,
                                        1,
                                        [this](double x, double y) { vRms.push_back(std::sqrt(x + y)); },
                                        [this](double share) { vShares.push_back(share); },
                                        [this](const gpu::GpuStepNote& note) { vSteps.push_back(note); },
                                        [this](std::vector<double>&) { ++nDatum; },
                                        bSingular,
                                        fShare};
    return gpu::IterateOnDevice(
        {Settings, Frame, Images, Cameras, Points, Unknowns, vPosParams, Limits, Residuals, State, Log},
        Others(), 2, &verdict);
  }

 private:
  void Measure(int32_t number, double X, double Y, double Z) {
    ObjectPointRecord point;
    point.X = X;
    point.Y = Y;
    point.Z = Z;
    point.nImagePointNum = 4;
    for (int32_t i = 0; i < 4; ++i) {
      const EopRecord& image = Images.pEop[static_cast<size_t>(i)];
      const double scale = -Cameras.pIop[0].fFocal / (Z - image.Z);
      vImagePoints.push_back({i, 0, number, static_cast<float>(scale * (X - image.X)),
                              static_cast<float>(scale * (Y - image.Y))});
    }
    vPoints.push_back(point);
  }
  bool Note(const std::string& call) {
    vCalls.push_back(call);
    return call != szFailing;
  }
  void Load(int32_t section) {
    const auto& range = Points.Sections.ObjectPoints[static_cast<size_t>(section)];
    Points.pObjectPoints.assign(vPoints.begin() + range.nFirst, vPoints.begin() + range.nLast + 1);
    Points.pImagePoints.assign(vImagePoints.begin() + 4 * range.nFirst,
                               vImagePoints.begin() + 4 * (range.nLast + 1));
    for (size_t k = 0; k < Points.pObjectPoints.size(); ++k)
      Points.pObjectPoints[k].nFirstImagePoint = static_cast<int64_t>(4 * k);
  }
  gpu::GpuBundleCalls Others() {
    gpu::GpuBundleCalls calls;
    calls.ReadSection = [this](int32_t section) {
      Load(section);
      return Note("read " + std::to_string(section));
    };
    calls.ReleaseSection = [this] {
      Points.pObjectPoints.clear();
      Points.pImagePoints.clear();
      Note("release");
    };
    calls.InputsHold = [this] { return Note("inputs"); };
    calls.PointsHold = [this] { return Note("points"); };
    calls.ComputeTiePoints = [this](int32_t section) {
      IntersectPoints(std::ssize(Points.pObjectPoints), Points.pObjectPoints.data(), Points.pImagePoints,
                      Images.Kept(), Cameras.Usable());
      Note("tie " + std::to_string(section));
    };
    calls.WriteResiduals = [this](int32_t iteration, int32_t number, const gpu::GpuResidualTable& table) {
      Note("residuals " + std::to_string(iteration) + " " + std::to_string(number) + " " +
           std::to_string(table.nPointNum));
    };
    calls.WriteCorrections = [this](int32_t iteration, const double*) {
      Note("corrections " + std::to_string(iteration));
    };
    calls.UpdateUnknowns = [this](const double* x) {
      for (EopRecord& image : Images.pEop) {
        for (double EopRecord::*field : {&EopRecord::X, &EopRecord::Y, &EopRecord::Z, &EopRecord::fPhi,
                                         &EopRecord::fOmega, &EopRecord::fKappa}) {
          image.*field += *x++;
        }
      }
      Note("update");
    };
    return calls;
  }
};

TEST(GpuBundle, OneSectionIsReadOnceAndTheResidualsFall) {
  SmallRun run(1);
  const gpu::GpuBundleOutcome outcome = run.Run(4);
  EXPECT_TRUE(outcome.bDone) << run.console.Text();
  EXPECT_EQ(outcome.nIterationNum, 4);
  Calls expected{"read 0", "points"};
  for (int k = 0; k < 4; ++k) {
    const std::string number = std::to_string(k);
    for (const std::string& call : {std::string("tie 0"), "residuals " + number + " 0 240",
                                    "corrections " + number, std::string("update")})
      expected.push_back(call);
  }
  EXPECT_EQ(run.vCalls, expected);
  ASSERT_EQ(run.vRms.size(), 4u);
  ASSERT_EQ(run.vSteps.size(), 4u);
  EXPECT_LT(run.vSteps[3].fLargest, run.vSteps[0].fLargest);
  for (const gpu::GpuStepNote& note : run.vSteps) {
    EXPECT_GT(note.nPcgSteps, 0);
    EXPECT_GT(note.fMu, 0);
  }
  EXPECT_EQ(std::ranges::count(run.vShares, 0.0), 4);
  for (const double share : run.vShares) EXPECT_TRUE(share >= 0 && share <= 1) << share;
  EXPECT_LT(run.vRms[3], 0.1 * run.vRms[0]) << run.vRms[0];
  EXPECT_DOUBLE_EQ(run.Residuals.fRmsResidualX * run.Residuals.fRmsResidualX +
                       run.Residuals.fRmsResidualY * run.Residuals.fRmsResidualY,
                   run.vRms[3] * run.vRms[3]);
  EXPECT_FALSE(run.bSingular);
  ASSERT_TRUE(run.fShare.has_value());
  EXPECT_GE(*run.fShare, 0);
  EXPECT_EQ(run.nDatum, 1) << "in the last iteration alone";
  EXPECT_EQ(run.Limits.Max_PCG_Iteration_Num, 10) << "of iteration 3";
  EXPECT_EQ(run.State.Arrays.cupImgPt, nullptr) << "the section is released";
}

TEST(GpuBundle, SeveralSectionsAreReadForEveryProduct) {
  SmallRun run(2);
  run.Settings.Output_Image_Point_RMSE = false;
  const gpu::GpuBundleOutcome outcome = run.Run(1);
  EXPECT_TRUE(outcome.bDone) << run.console.Text();
  // Behind the conjugate gradients come the products of the prediction.
  const int products = static_cast<int>(run.Record.Count("Launch MatrixVectorAd")) / 2;
  EXPECT_GT(products, run.console.Count("Forcing sequence"));
  EXPECT_LE(products, run.console.Count("Forcing sequence") + 1 + 4);
  Calls expected{"read 0", "points", "tie 0", "release", "read 1", "points", "tie 1", "release"};
  for (int k = 0; k < products; ++k) {
    for (const char* call : {"read 0", "inputs", "tie 0", "release", "read 1", "inputs", "tie 1", "release"})
      expected.emplace_back(call);
  }
  expected.insert(expected.end(), {"corrections 0", "update"});
  EXPECT_EQ(run.vCalls, expected);
}

TEST(GpuBundle, SectionsOfOneBlockGiveItsResiduals) {
  SmallRun whole(1), halves(2);
  ASSERT_TRUE(whole.Run(2).bDone);
  ASSERT_TRUE(halves.Run(2).bDone);
  EXPECT_NEAR(halves.vRms[0], whole.vRms[0], 1e-4 * whole.vRms[0]);
  // Behind a step they differ by what the conjugate gradients leave undone.
  EXPECT_LT(whole.vRms[1], 0.3 * whole.vRms[0]);
  EXPECT_NEAR(halves.vRms[1], whole.vRms[1], 0.1 * whole.vRms[1]);
}

TEST(GpuBundle, WhatFailsEndsIt) {
  const struct {
    const char* szCall;
    int32_t nSections;
    const char* szLastMessage;
  } rows[] = {{"read 0", 1, ">>>>Read points data failed!\n"},
              {"points", 1, ">>>>Read points data 0....\n"},
              {"read 1", 2, ">>>>Read points data failed!\n"},
              {"points", 2, ">>>>Read points data 0....\n"},
              {"inputs", 2, ">>>>Start PCG iteration 0\n"}};
  for (const auto& row : rows) {
    SmallRun run(row.nSections);
    run.szFailing = row.szCall;
    const gpu::GpuBundleOutcome outcome = run.Run(3);
    EXPECT_FALSE(outcome.bDone) << row.szCall;
    EXPECT_EQ(outcome.nIterationNum, 0) << row.szCall;
    EXPECT_EQ(run.vCalls.back(), row.szCall);
    EXPECT_TRUE(run.console.Text().ends_with(row.szLastMessage)) << run.console.Text();
  }
}

TEST(GpuBundle, AFaultOfTheDeviceEndsIt) {
  for (const std::string call : {"Launch ConstVector", "Launch MatrixVectorAd", "ToDevice 96", "Free"}) {
    SmallRun run(1);
    run.Record.Fail = [&](const std::string& text, size_t) { return text == call ? 719 : 0; };
    EXPECT_FALSE(run.Run(2).bDone) << call;
    EXPECT_EQ(run.State.Fault.nCode, 719) << call;
  }
}

}  // namespace
}  // namespace orvo::test
