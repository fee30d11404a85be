// Small generated blocks with their truth, and plans of their unknowns filled by hand, for the tests of the
// equations of points.
#pragma once

#include <cmath>
#include <vector>

#include "rigorous/PointChunks.h"
#include "rigorous/Problem.h"
#include "rigorous/RigorousBuilders.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous::test {

inline constexpr double kPixelSize = 1e-3;

struct BlockForm {
  int32_t nImageRows = 3, nImageColumns = 4, nCameras = 1;
  int32_t nPoints = 60;
  double fNoise = 0.5;      ///< pixels
  double fDisturbance = 0;  ///< of the points and poses at the start: metres at a depth of 100, and 1e-2 rad
  uint32_t nLensUnknowns = kLensFocal | kLensRadial;
  ResidualForm Form = ResidualForm::Measured;
};

struct Block {
  Problem Of;
  Estimate Start, Truth;
};

inline bool IsOnImage(const Vector2& m) { return std::fabs(m[0]) < 3 && std::fabs(m[1]) < 3; }

/// Image i has camera i modulo their number; images 30 apart at a height of 100 look down on 120 x 120.
inline void AddImages(Random& random, const BlockForm& form, Block& block) {
  for (int32_t c = 0; c < form.nCameras; ++c) {
    CameraModel camera;
    camera.fSigma = (0.5 + 0.1 * c) * kPixelSize;
    camera.nLensUnknowns = form.nLensUnknowns;
    block.Of.vCameras.push_back(camera);
    block.Truth.vCameras.push_back({AnyLens(random)});
  }
  for (int32_t i = 0; i < form.nImageRows * form.nImageColumns; ++i) {
    ImageModel image;
    image.nCamera = i % form.nCameras;
    block.Of.vImages.push_back(image);
    const Vector3 centre = {30.0 * (i % form.nImageColumns), 30.0 * (i / form.nImageColumns), 100};
    block.Truth.vPoses.push_back({centre + random.Vector(3), RotationOfVector(random.Vector(0.1))});
  }
}

inline void AddPoint(Random& random, const BlockForm& form, Block& block) {
  const Vector3 point = {random.Within(-20, 30.0 * form.nImageColumns - 10),
                         random.Within(-20, 30.0 * form.nImageRows - 10), random.Within(-10, 10)};
  for (int32_t i = 0; i < std::ssize(block.Of.vImages); ++i) {
    const Lens& lens = block.Truth.vCameras[block.Of.vImages[i].nCamera].LensNow;
    Vector2 m;
    if (PredictMeasured(block.Truth.vPoses[i], lens, point, m) != RayStatus::Good || !IsOnImage(m)) continue;
    const double noise = form.fNoise * kPixelSize;
    block.Of.vRays.push_back({i, static_cast<float>(m[0] + random.Within(-noise, noise)),
                              static_cast<float>(m[1] + random.Within(-noise, noise))});
  }
  block.Of.vFirstRay.push_back(std::ssize(block.Of.vRays));
  block.Truth.vPoints.push_back(point);
}

inline Block MakeBlock(unsigned seed, const BlockForm& form) {
  Random random(seed);
  Block block;
  block.Of.Form = form.Form;
  AddImages(random, form, block);
  for (int32_t p = 0; p < form.nPoints; ++p) AddPoint(random, form, block);
  block.Start = block.Truth;
  for (Vector3& point : block.Start.vPoints) point = point + random.Vector(form.fDisturbance);
  for (ImagePose& pose : block.Start.vPoses) {
    pose.Centre = pose.Centre + random.Vector(form.fDisturbance);
    pose.R = RotationUpdatedBy(pose.R, random.Vector(0.01 * form.fDisturbance));
  }
  return block;
}

/// Unknown images of each camera.
inline std::vector<int32_t> UnknownImagesByCamera(const Problem& problem) {
  std::vector<int32_t> num(problem.vCameras.size(), 0);
  for (const ImageModel& image : problem.vImages) num[image.nCamera] += image.bUnknown;
  return num;
}

/// The columns of a camera in the node `node` from `first` on; the first column behind them.
inline int32_t PlaceCamera(const CameraModel& model, int32_t node, int32_t first, CameraColumns& columns) {
  columns.Layout = LayoutOf(model.nLensUnknowns);
  int32_t next = first;
  const auto take = [&next](bool isUnknown, int32_t num) {
    if (!isUnknown) return -1;
    next += num;
    return next - num;
  };
  columns.nLens = take(columns.Layout.Num > 0, columns.Layout.Num);
  columns.nLeverArm = take(model.bLeverArm, 3);
  columns.nBoresight = take(model.bBoresight, 3);
  if (next > first) columns.nNode = node;
  return next;
}

inline UnknownPlan PlanByHand(const Problem& problem) {
  UnknownPlan plan;
  const std::vector<int32_t> unknownImages = UnknownImagesByCamera(problem);
  plan.vCameras.resize(problem.vCameras.size());
  plan.vStrips.resize(problem.vStrips.size());
  for (const ImageModel& image : problem.vImages) {
    const int32_t node = image.bUnknown ? plan.NodeNum() : -1;
    plan.vImageNode.push_back(node);
    if (node < 0) continue;
    const auto c = static_cast<size_t>(image.nCamera);
    const bool isOwn = unknownImages[c] == 1;
    plan.vSizes.push_back(isOwn ? PlaceCamera(problem.vCameras[c], node, 6, plan.vCameras[c]) : 6);
  }
  for (size_t s = 0; s < problem.vStrips.size(); ++s) {
    if (!problem.vStrips[s].bGpsConstant) continue;
    plan.vStrips[s].nNode = plan.NodeNum();
    plan.vStrips[s].nGpsConstant = 0;
    plan.vSizes.push_back(3);
  }
  plan.nFirstBorder = plan.NodeNum();
  for (size_t c = 0; c < problem.vCameras.size(); ++c) {
    if (unknownImages[c] == 1) continue;
    const int32_t size = PlaceCamera(problem.vCameras[c], plan.NodeNum(), 0, plan.vCameras[c]);
    if (size > 0) plan.vSizes.push_back(size);
  }
  plan.vFirstUnknown = {0};
  for (const int32_t size : plan.vSizes) plan.vFirstUnknown.push_back(plan.vFirstUnknown.back() + size);
  return plan;
}

}  // namespace orvo::rigorous::test
