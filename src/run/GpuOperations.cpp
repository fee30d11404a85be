// The device path.
#include "geometry/TiePoints.h"
#include "gpu/DetectDevices.h"
#include "gpu/DeviceMemory.h"
#include "gpu/PosUpdates.h"
#include "gpu/SectionTable.h"
#include "run/BundleAdjustment.h"

namespace orvo {

gpu::GpuState& CBundleAdjustment::Gpu() {
  if (!pGpu) pGpu = std::make_unique<gpu::GpuState>();
  return *pGpu;
}

int CBundleAdjustment::DetectCudaDevices() { return gpu::DetectCudaDevices(Gpu(), Log) ? 1 : 0; }

int CBundleAdjustment::ComputeGpuSections(int32_t section) {
  const gpu::FixedSizes sizes{Unknowns.nUnknownNum, Unknowns.nDiagUpperSize, Images.nImageNum,
                              Cameras.UsableNum()};
  const bool done =
      gpu::ComputeGpuSections(Points.InMemory(section), std::ssize(Points.pImagePoints), sizes, Gpu(), Log);
  return done ? 1 : 0;
}

int CBundleAdjustment::AllocFixedDeviceMemory() {
  return gpu::AllocFixedDeviceMemory(Images.Kept(), Cameras.Usable(), Unknowns, Residuals, Gpu(), Log) ? 1
                                                                                                       : 0;
}

int CBundleAdjustment::AllocPointDeviceMemory(int32_t gpuSection) {
  const gpu::SectionUpload from{Settings, Images, Cameras, Points, Unknowns};
  return gpu::AllocPointDeviceMemory(from, gpuSection, System.ProcessorCount(), Gpu(), Log) ? 1 : 0;
}

int CBundleAdjustment::RefreshObjectArray(int32_t gpuSection) {
  const gpu::SectionPoints section =
      gpu::PointsOfGpuSection(Gpu().Sections, gpuSection, Points, Images.nImageNum, Cameras.UsableNum());
  return gpu::RefreshObjectArray(section, System.ProcessorCount(), Gpu()) ? 1 : 0;
}

int CBundleAdjustment::RefreshOrientationArrays() {
  return gpu::RefreshOrientationArrays(Images.Kept(), Cameras.Usable(), Residuals, Gpu()) ? 1 : 0;
}

int CBundleAdjustment::FreeFixedDeviceMemory() {
  gpu::FreeFixedDeviceMemory(Gpu());
  return 1;
}

int CBundleAdjustment::UpdatePosPreconditioner(std::vector<double>& M) {
  const gpu::PosSource source{Limits, Images, Cameras, Unknowns, Normal.pPosParams, Settings.Set_IOP_Unknown};
  gpu::UpdatePosPreconditioner(source, Log, M);
  return 1;
}

int CBundleAdjustment::UpdatePosConstVector(std::vector<double>& r) {
  const gpu::PosSource source{Limits, Images, Cameras, Unknowns, Normal.pPosParams, Settings.Set_IOP_Unknown};
  gpu::UpdatePosConstVector(source, Log, r);
  return 1;
}

int CBundleAdjustment::UpdatePosNormalEquation(const std::vector<float>& d, std::vector<double>& Ad) {
  const gpu::PosSource source{Limits, Images, Cameras, Unknowns, Normal.pPosParams, Settings.Set_IOP_Unknown};
  return gpu::UpdatePosNormalEquation(source, Log, d, Ad) ? 1 : 0;
}

}  // namespace orvo
