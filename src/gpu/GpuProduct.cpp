// The product of an iteration on the device path: a pass over all points.
#include <algorithm>

#include "gpu/GpuIteration.h"

namespace orvo::gpu {

PackedProduct GpuIteration::Product() {
  PackedProduct product;
  // A failure shows in the next copy: the device is guarded.
  product.SetDirection = [this](const std::vector<float>& d) {
    Target.CopyToDevice(State.Arrays.cupD, d.data(), d.size() * sizeof(float));
  };
  product.Multiply = [this](std::vector<double>& Ad) { return Multiply(Ad); };
  product.AddOthers = [this](const std::vector<float>& d, std::vector<double>& Ad) {
    UpdatePosNormalEquation(Pos(), Log, d, Ad);
  };
  return product;
}

bool GpuIteration::Multiply(std::vector<double>& Ad) {
  std::fill(Ad.begin(), Ad.end(), 0.0);
  for (int32_t section = 0; section < Parts.Points.Sections.Count(); ++section) {
    if (!MultiplyPointSection(section, Ad)) return false;
  }
  return true;
}

bool GpuIteration::MultiplyPointSection(int32_t section, std::vector<double>& Ad) {
  if (HasSeveralSections()) {
    // Not told in advance as in the first half: it happens in every step.
    if (!Calls.ReadSection(section)) {
      Log.Print(">>>>Read points data failed!\n");
      return false;
    }
    if (!Calls.InputsHold()) return false;
    Calls.ComputeTiePoints(section);
    if (!IsSkipped() && !CutIntoGpuSections(section)) return false;
  }
  for (int32_t group = 0; group < GroupNum(); ++group) {
    for (int32_t device = 0; device < State.nEnabledDeviceNum; ++device) {
      if (!MultiplyGpuSection(group, device, Ad)) return false;
    }
  }
  ForgetPointSection();
  return true;
}

bool GpuIteration::MultiplyGpuSection(int32_t group, int32_t device, std::vector<double>& Ad) {
  const auto n = static_cast<size_t>(Parts.Unknowns.nUnknownNum) * sizeof(float);
  if (State.Form == KernelForm::Literal) Target.Clear(State.Arrays.cuptAd, kLaunchBlocks * n);
  if (Target.Clear(State.Arrays.cupAd, n) != 0) {
    Log.Print("Cuda memset failed!\n");
    return false;
  }
  if (!bResident) {
    State.Para.nSkipStatistics = 1;
    if (!Upload(State.nEnabledDeviceNum * group + device)) return false;
    Launch(Kernel::SumMatrix);
    float sums[4] = {};
    if (const int code = Target.CopyToHost(sums, State.Arrays.cupRms, sizeof(sums)); code != 0) {
      Log.Print("Cuda device %d:%d Compute sum matrix failed!\n", group, code);
      return false;
    }
  }
  Launch(Kernel::MatrixVectorAd);
  int code = 0;
  if (!DownloadVector(State.Arrays.cupAd, Parts.Unknowns.nUnknownNum, Ad, code)) {
    Log.Print("Compute matrix-vector Ad failed:%d!\n", code);
    return false;
  }
  if (!bResident) FreePointDeviceMemory(State);
  return true;
}

}  // namespace orvo::gpu
