// GPS and IMU observations on the device path, which has no matrix to put them into.
#pragma once

#include <vector>

#include "base/RunLog.h"
#include "gpu/PosTerms.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"

namespace orvo::gpu {

/// What the observations are made of.
struct PosSource {
  const RunLimits& Limits;  ///< what is observed, how it weighs, and how it drifts
  const ImageTable& Images;
  const CameraTable& Cameras;
  const UnknownCounts& Unknowns;
  const std::vector<double>& pPosParams;  ///< nPosSize drift parameters a group
  bool bCamerasAreUnknown = false;
};

/// The observations that take part, with a message for each index that fails.
std::vector<PosTerm> GatherPosTerms(const PosSource& source, RunLog& log);

// Their shares of the packed preconditioner, the constant vector and the product with the direction d, with a
// message each; false without POS data, which leaves all as it is.
bool UpdatePosPreconditioner(const PosSource& source, RunLog& log, std::vector<double>& M);
bool UpdatePosConstVector(const PosSource& source, RunLog& log, std::vector<double>& r);
bool UpdatePosNormalEquation(const PosSource& source, RunLog& log, const std::vector<float>& d,
                             std::vector<double>& Ad);

}  // namespace orvo::gpu
