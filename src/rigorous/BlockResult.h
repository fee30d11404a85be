// The way back: from an estimate to the records of its block.
#pragma once

#include <vector>

#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "rigorous/BlockProblem.h"

namespace orvo::rigorous {

/// Centres and angles of the images that are unknown, and the lenses of the cameras that are; the rest stays
/// bit by bit. A camera record has no place for more than k1 and k2.
void StorePoses(const BlockProblem& problem, const Estimate& estimate, ImageTable& images);
void StoreCameras(const BlockProblem& problem, const Estimate& estimate, CameraTable& cameras);

/// The points of the problem. Of control points the coordinates that are observed stay as they were given.
void StorePoints(const BlockProblem& problem, const Estimate& estimate, PointStore& points);

/// Takes lever arm and boresight off the observed positions and attitudes, so that they stand beside the
/// centres and rotations of their images.
void ReducePos(const BlockProblem& problem, const Estimate& estimate, ImageTable& images);

/// Drift by strip in the form of the records, `rows` GPS before IMU: constants, then rates where `linear`.
/// That of an attitude is a rotation vector in the frame of the IMU, in radians.
std::vector<double> DriftParametersOf(const Estimate& estimate, bool gps, bool imu, bool linear);

}  // namespace orvo::rigorous
