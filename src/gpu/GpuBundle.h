// The iteration of the device path: constant vector and preconditioner of each GPU section from the device,
// summed in double, and conjugate gradients on the host whose products are passes over all points.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/RunLog.h"
#include "gpu/GpuState.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"
#include "results/GpuResidualLines.h"

namespace orvo::gpu {

/// What the iteration reads, and, in the last four, what it writes.
struct GpuBundleParts {
  const AdjustmentSettings& Settings;
  const ObjectFrame& Frame;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const PointStore& Points;
  const UnknownCounts& Unknowns;
  const std::vector<double>& pPosParams;
  RunLimits& Limits;              ///< of the conjugate gradients
  ResidualStatistics& Residuals;  ///< means and RMS, after each pass over all points
  GpuState& State;                ///< has a device
  RunLog& Log;
};

/// What others do for the iteration, on the same parts.
struct GpuBundleCalls {
  std::function<bool(int32_t section)> ReadSection;       ///< its points into memory; false on failure
  std::function<void()> ReleaseSection;                   ///< out of memory again
  std::function<bool()> InputsHold;                       ///< false: a file that was read failed
  std::function<bool()> PointsHold;                       ///< the same, and over what is in points just read
  std::function<void(int32_t section)> ComputeTiePoints;  ///< of the section in memory
  /// The residual file of a GPU section; `number` stands for the section in its name.
  std::function<void(int32_t iteration, int32_t number, const GpuResidualTable& table)> WriteResiduals;
  std::function<void(int32_t iteration, const double* x)> WriteCorrections;
  std::function<void(const double* x)> UpdateUnknowns;
};

/// What one iteration did.
struct GpuStepNote {
  double fLargest = 0;  ///< correction; not finite where it was not applied
  int32_t nPcgSteps = 0;
  double fMu = 0;  ///< damping
};

/// What the verdict of a guarded run gives and takes.
struct GpuBundleVerdict {
  double fLeastMeanSquare = 0;  ///< smaller ones of the residuals (working units) count as this
  double fEnoughShare = 0;      ///< of the sum of squares: the prediction ends above it
  std::function<void(double meanSquareX, double meanSquareY)> NoteIteration;
  std::function<void(double share)> Advance;  ///< how much of the iteration in hand is done, 0 to 1
  std::function<void(const GpuStepNote& note)> NoteStep;
  /// Takes out of a vector of the unknowns what lies along the ways in which a free block moves as a whole.
  std::function<void(std::vector<double>& r)> RemoveDatum;
  bool& bSingular;                         ///< the last step was no number
  std::optional<double>& fPredictedShare;  ///< see solver/PredictedDecrease.h; of the last iteration
};

struct GpuBundleOutcome {
  bool bDone = false;  ///< false: the run ends without results, as it does at the device's first fault
  int32_t nIterationNum = 0;
};

/// All iterations, on the host with up to `threads` threads. A section that stayed on the device is released.
/// `verdict` is null in a classic run.
GpuBundleOutcome IterateOnDevice(const GpuBundleParts& parts, const GpuBundleCalls& calls, int threads,
                                 const GpuBundleVerdict* verdict);

}  // namespace orvo::gpu
