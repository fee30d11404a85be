// The iteration of the device path: constant vector and preconditioner of each GPU section from the device,
// summed in double, and conjugate gradients on the host whose products are passes over all points.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gpu/GpuState.h"
#include "gpu/PackedBlocks.h"
#include "run/BundleAdjustment.h"

namespace orvo::gpu {

class GpuBundle {
 public:
  explicit GpuBundle(CBundleAdjustment& block);
  /// All iterations; false where the run ends without results, which it does at the device's first fault.
  bool Iterate();
  /// Frees a GPU section that stayed on the device; false at the device's first fault.
  bool ReleaseResident();
  int32_t IterationNum() const { return nIteration; }

 private:
  // Sum phase: residual statistics, constant vector r and preconditioner M.
  bool ComputeSums();
  bool SumPointSection(int32_t section);
  bool ReadPointSection(int32_t section);
  bool SumGpuSection(int32_t section, int32_t group, int32_t device);
  bool AllocateRun();
  bool ClearSums();
  bool Fails(const char* array, int code);
  bool DownloadStatistics(int32_t group);
  bool DownloadVector(const float* from, int64_t count, std::vector<double>& sum, int& code);
  bool WriteResiduals(int32_t number, int32_t gpuSection);

  // Conjugate gradients.
  void AddPosAndDamping();
  bool SolvePcg();
  bool Multiply();
  bool MultiplyPointSection(int32_t section);
  bool MultiplyGpuSection(int32_t group, int32_t device);

  bool Predict();
  bool Step();
  /// GPU sections for each device.
  int32_t GroupNum() const;
  void Launch(Kernel kernel);
  bool HasFault() const { return State.Fault.IsThere(); }
  void ForgetPointSection();
  bool HasSeveralSections() const { return Block.Points.Sections.Count() > 1; }
  /// One of several point sections may have lost all of its points; it has nothing to add then.
  bool IsSkipped() const { return HasSeveralSections() && Block.Points.pImagePoints.empty(); }

  CBundleAdjustment& Block;
  GpuState& State;
  Device& Target;
  PackedBlocks Blocks;
  int32_t nIteration = 0;
  int32_t nPassDone = 0, nUploadDone = 0, nPcgDone = 0;
  bool bResident = false;
  bool bHasPoints = false;  ///< a point section of this iteration had points
  float fStatistics[4] = {};
  double fMaxCorrection = 0;
  std::vector<double> x, r, M, z, Ad, damp, xBest;
  std::vector<double> vUndamped, vRightSide;  ///< of the iteration, for the verdict
  std::vector<float> d, fStaging;
};

}  // namespace orvo::gpu
