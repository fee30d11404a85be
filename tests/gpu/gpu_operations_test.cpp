// The operations of the device path on the object of a run: their results.
#include <gtest/gtest.h>

#include "RecordingDevice.h"
#include "gpu/GpuState.h"
#include "run/BundleAdjustment.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(GpuOperations, AnswerWithTheirResults) {
  DeviceRecord record;
  CBundleAdjustment run(MadeUpPlatform(1 << 30, 3), nullptr);
  run.Gpu().pDevice = std::make_unique<RecordingDevice>(record);
  EXPECT_EQ(run.DetectCudaDevices(), 1);
  run.Images.nImageNum = run.Images.nUnknownImageNum = 2;
  run.Images.pEop.resize(2);
  run.Cameras.nCameraNum = 1;
  run.Cameras.pIop.resize(1);
  run.Unknowns.nUnknownNum = 12;
  run.Unknowns.nDiagUpperSize = 42;
  run.Points.pObjectPoints.resize(1);
  run.Points.pObjectPoints[0].nImagePointNum = 2;
  run.Points.pImagePoints = {{0, 0, 0, 0.0f, 0.0f}, {1, 0, 0, 0.0f, 0.0f}};
  run.Points.Sections.ObjectPoints = {{0, 0}};
  run.Points.Sections.ImagePoints = {{0, 1}};
  EXPECT_EQ(run.ComputeGpuSections(5), 0) << "no such section";
  EXPECT_EQ(run.ComputeGpuSections(0), 1);
  EXPECT_EQ(run.RefreshObjectArray(0), 0) << "not on the device yet";
  EXPECT_EQ(run.AllocFixedDeviceMemory(), 1);
  EXPECT_EQ(run.AllocPointDeviceMemory(0), 1);
  EXPECT_EQ(run.RefreshObjectArray(0), 1);
  EXPECT_EQ(run.RefreshOrientationArrays(), 1);
  record.Fail = [](const std::string& call, size_t) { return call == "ToDevice 1040" ? 2 : 0; };
  EXPECT_EQ(run.AllocPointDeviceMemory(0), 0);
  record.Fail = nullptr;
  EXPECT_EQ(run.FreeFixedDeviceMemory(), 1);
  record.Devices.clear();
  EXPECT_EQ(run.DetectCudaDevices(), 0);
}

TEST(GpuOperations, PosShares) {
  for (const bool gps : {true, false}) {
    CBundleAdjustment run(MadeUpPlatform(1 << 30, 3), nullptr);
    run.Limits.Apply_GPS_Data = gps;
    std::vector<double> M(21), r(6), Ad(6);
    const std::vector<float> d(6);
    EXPECT_EQ(run.UpdatePosPreconditioner(M), 1);
    EXPECT_EQ(run.UpdatePosConstVector(r), 1);
    EXPECT_EQ(run.UpdatePosNormalEquation(d, Ad), gps ? 1 : 0);
  }
}

TEST(GpuOperations, WithoutADeviceThereIsNothingToRun) {
  CBundleAdjustment run(MadeUpPlatform(1 << 30, 3), nullptr);
  std::string output;
  EXPECT_EQ(run.RunGpuBundle("", "", output), 0);
  EXPECT_EQ(run.FreeFixedDeviceMemory(), 1);
}

}  // namespace
}  // namespace orvo::test
