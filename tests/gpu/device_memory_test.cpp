// Device arrays of a run and of a GPU section.
#include "gpu/DeviceMemory.h"

#include <gtest/gtest.h>

#include "DeviceParts.h"
#include "RecordingDevice.h"
#include "gpu/SectionTable.h"

namespace orvo::test {
namespace {

using gpu::KernelForm;

/// Many points of every type, so that the refresh is done in several pieces.
TEST(RefreshObjectArray, UploadsWhatTheFirstUploadDid) {
  for (const KernelForm form : {KernelForm::Literal, KernelForm::Fast}) {
    DeviceParts block;
    gpu::GpuState& state = block.State;
    state.pDevice = gpu::MakeHostDevice(int64_t{1} << 30, 2);
    state.pDeviceProps = {GoodDevice()};
    state.Form = form;
    block.Images.nImageNum = block.Images.nUnknownImageNum = 2;
    block.Cameras.nCameraNum = 1;
    block.Unknowns.nUnknownNum = 17;
    block.Unknowns.nDiagUpperSize = 57;
    block.Images.pEop.resize(2);
    block.Cameras.pIop.resize(1);
    for (int32_t i = 0; i < 50000; ++i) {
      ObjectPointRecord point;
      point.X = 0.5 * i;
      point.Y = -i;
      point.Z = 3.25;
      point.nType = i % 7 == 3 ? 4 : i % 11 == 0 ? 1 : 0;
      point.nImagePointNum = 1;
      point.nFirstImagePoint = i;
      block.Points.pObjectPoints.push_back(point);
      block.Points.pImagePoints.push_back({i % 2, 0, i, 0.0f, 0.0f});
      if (point.nType != 0 && i < 40000) {
        point.Z = 0.125 * i;
        block.Points.pGcpTable.push_back(point);
      }
    }
    const AdjustmentSettings settings;
    const ResidualStatistics residuals;
    const auto refresh = [&] {
      return gpu::RefreshObjectArray(gpu::PointsOfGpuSection(state.Sections, 0, block.Points, 2, 1), 3,
                                     state);
    };
    EXPECT_FALSE(refresh()) << "not on the device yet";
    ASSERT_TRUE(gpu::ComputeGpuSections(block.Points.pObjectPoints, 50000, {17, 57, 2, 1}, state, block.Log));
    ASSERT_TRUE(gpu::AllocFixedDeviceMemory(block.Images.Kept(), block.Cameras.Usable(), block.Unknowns,
                                            residuals, state, block.Log));
    ASSERT_TRUE(gpu::AllocPointDeviceMemory(
        {settings, block.Images, block.Cameras, block.Points, block.Unknowns}, 0, 3, state, block.Log));
    const auto download = [&] {
      std::vector<float> points(12 * 50000);
      EXPECT_EQ(state.pDevice->CopyToHost(points.data(), state.Arrays.cupObjPt, points.size() * 4), 0);
      return points;
    };
    const std::vector<float> first = download();
    ASSERT_EQ(state.pDevice->Clear(state.Arrays.cupObjPt, first.size() * 4), 0);
    EXPECT_TRUE(refresh());
    EXPECT_EQ(download(), first);
    block.Points.pObjectPoints[49998].X = 7;
    EXPECT_TRUE(refresh());
    EXPECT_NE(download(), first);
    gpu::FreePointDeviceMemory(state);
    EXPECT_FALSE(refresh()) << "nor any more";
    gpu::FreeFixedDeviceMemory(state);
    EXPECT_EQ(state.Arrays.cupEop, nullptr);
  }
}

}  // namespace
}  // namespace orvo::test
