// The stages of an iteration on the device path; for GpuBundle.cpp, GpuSums.cpp and GpuProduct.cpp alone.
#pragma once

#include <cstdint>
#include <vector>

#include "gpu/DeviceMemory.h"
#include "gpu/GpuBundle.h"
#include "gpu/PackedBlocks.h"
#include "gpu/PackedPcg.h"
#include "gpu/PosUpdates.h"

namespace orvo::gpu {

class GpuIteration {
 public:
  GpuIteration(const GpuBundleParts& parts, const GpuBundleCalls& calls, int threads,
               const GpuBundleVerdict* verdict);
  /// All iterations; false where the run ends without results.
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
  bool WriteResiduals(int32_t number, int32_t gpuSection);

  // The product with the direction that is on the device.
  PackedProduct Product();
  bool Multiply(std::vector<double>& Ad);
  bool MultiplyPointSection(int32_t section, std::vector<double>& Ad);
  bool MultiplyGpuSection(int32_t group, int32_t device, std::vector<double>& Ad);

  void AddPosAndDamping();
  bool SolvePcg();
  bool Predict();
  bool IsLastStep() const;
  void Advance(double share) const;
  bool Step();

  // Steps that both phases take.
  bool CutIntoGpuSections(int32_t section);
  bool Upload(int32_t gpuSection);
  SectionPoints PointsOf(int32_t gpuSection) const;
  void Launch(Kernel kernel);
  bool DownloadVector(const float* from, int64_t count, std::vector<double>& sum, int& code);
  void ForgetPointSection();
  /// GPU sections for each device.
  int32_t GroupNum() const;
  PosSource Pos() const;
  bool HasFault() const { return State.Fault.IsThere(); }
  bool HasSeveralSections() const { return Parts.Points.Sections.Count() > 1; }
  /// One of several point sections may have lost all of its points; it has nothing to add then.
  bool IsSkipped() const { return HasSeveralSections() && Parts.Points.pImagePoints.empty(); }

  const GpuBundleParts& Parts;
  const GpuBundleCalls& Calls;
  const GpuBundleVerdict* pVerdict;
  GpuState& State;
  RunLog& Log;
  Device& Target;
  int nThreads;
  PackedBlocks Blocks;
  int32_t nIteration = 0;
  int32_t nPassDone = 0, nUploadDone = 0, nPcgDone = 0;
  bool bResident = false;
  bool bHasPoints = false;  ///< a point section of this iteration had points
  float fStatistics[4] = {};
  double fMeanSquares = 0;  ///< of the residuals, x and y together
  double fMaxCorrection = 0;
  double fMu = 0;  ///< damping of the iteration
  std::vector<double> x, r, M, damp;
  std::vector<double> vUndamped, vRightSide;  ///< of the iteration, for the verdict
  std::vector<float> fStaging;
};

}  // namespace orvo::gpu
