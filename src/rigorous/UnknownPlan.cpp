#include "rigorous/UnknownPlan.h"

#include <numeric>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

/// Gives out the columns of one node, one group of unknowns after the other.
struct ColumnCounter {
  int32_t nNext = 0;

  int32_t Take(bool unknown, int32_t count) {
    if (!unknown) return -1;
    nNext += count;
    return nNext - count;
  }
};

void PlanImages(const Problem& problem, UnknownPlan& plan) {
  plan.vImageNode.reserve(problem.vImages.size());
  for (const ImageModel& image : problem.vImages) {
    plan.vImageNode.push_back(image.bUnknown ? plan.NodeNum() : -1);
    if (image.bUnknown) plan.vSizes.push_back(6);
  }
}

void PlanStrips(const Problem& problem, UnknownPlan& plan) {
  plan.vStrips.reserve(problem.vStrips.size());
  for (const StripModel& strip : problem.vStrips) {
    ColumnCounter columns;
    StripColumns planned;
    planned.nGpsConstant = columns.Take(strip.bGpsConstant, 3);
    planned.nGpsLinear = columns.Take(strip.bGpsLinear, 3);
    planned.nImuConstant = columns.Take(strip.bImuConstant, 3);
    planned.nImuLinear = columns.Take(strip.bImuLinear, 3);
    if (columns.nNext > 0) {
      planned.nNode = plan.NodeNum();
      plan.vSizes.push_back(columns.nNext);
    }
    plan.vStrips.push_back(planned);
  }
}

/// By camera the node of its single unknown image; -1 where it has none or more than one.
std::vector<int32_t> NodesOfSingleImages(const Problem& problem, const UnknownPlan& plan) {
  constexpr int32_t kNone = -1, kSeveral = -2;
  std::vector<int32_t> nodes(problem.vCameras.size(), kNone);
  for (size_t i = 0; i < problem.vImages.size(); ++i) {
    if (plan.vImageNode[i] < 0) continue;
    int32_t& node = nodes[problem.vImages[i].nCamera];
    node = node == kNone ? plan.vImageNode[i] : kSeveral;
  }
  for (int32_t& node : nodes) {
    if (node == kSeveral) node = kNone;
  }
  return nodes;
}

void PlanCameras(const Problem& problem, UnknownPlan& plan) {
  const std::vector<int32_t> single = NodesOfSingleImages(problem, plan);
  plan.vCameras.reserve(problem.vCameras.size());
  for (size_t c = 0; c < problem.vCameras.size(); ++c) {
    const CameraModel& camera = problem.vCameras[c];
    const int32_t first = single[c] < 0 ? 0 : plan.vSizes[single[c]];
    ColumnCounter columns{first};
    CameraColumns planned;
    planned.Layout = LayoutOf(camera.nLensUnknowns);
    planned.nLens = columns.Take(planned.Layout.Num > 0, planned.Layout.Num);
    planned.nLeverArm = columns.Take(camera.bLeverArm, 3);
    planned.nBoresight = columns.Take(camera.bBoresight, 3);
    if (columns.nNext > first) {
      planned.nNode = single[c] < 0 ? plan.NodeNum() : single[c];
      if (single[c] < 0) plan.vSizes.push_back(0);
      plan.vSizes[planned.nNode] = columns.nNext;
    }
    plan.vCameras.push_back(planned);
  }
}

Vector3 At(std::span<const double> corrections, int64_t place) {
  return {corrections[place], corrections[place + 1], corrections[place + 2]};
}

/// `column` of a node that begins at `first`; -1: held.
void AddAt(std::span<const double> corrections, int64_t first, int32_t column, Vector3& value) {
  if (column >= 0) value = value + At(corrections, first + column);
}

void ApplyToCamera(const CameraColumns& columns, int64_t first, std::span<const double> corrections,
                   CameraEstimate& camera) {
  for (int k = 0; k < columns.Layout.Num; ++k) {
    ParameterOf(camera.LensNow, columns.Layout.Columns[k]) += corrections[first + columns.nLens + k];
  }
  AddAt(corrections, first, columns.nLeverArm, camera.LeverArm);
  if (columns.nBoresight >= 0) {
    camera.Boresight = RotationUpdatedBy(camera.Boresight, At(corrections, first + columns.nBoresight));
  }
}

void ApplyToStrip(const StripColumns& columns, int64_t first, std::span<const double> corrections,
                  StripEstimate& strip) {
  AddAt(corrections, first, columns.nGpsConstant, strip.Gps.Constant);
  AddAt(corrections, first, columns.nGpsLinear, strip.Gps.Linear);
  AddAt(corrections, first, columns.nImuConstant, strip.Imu.Constant);
  AddAt(corrections, first, columns.nImuLinear, strip.Imu.Linear);
}

}  // namespace

std::vector<int32_t> UnknownPlan::Border() const {
  std::vector<int32_t> nodes(static_cast<size_t>(NodeNum() - nFirstBorder));
  std::iota(nodes.begin(), nodes.end(), nFirstBorder);
  return nodes;
}

UnknownPlan PlanUnknowns(const Problem& problem) {
  UnknownPlan plan;
  PlanImages(problem, plan);
  PlanStrips(problem, plan);
  plan.nFirstBorder = plan.NodeNum();
  PlanCameras(problem, plan);
  plan.vFirstUnknown.reserve(plan.vSizes.size() + 1);
  plan.vFirstUnknown.push_back(0);
  for (const int32_t size : plan.vSizes) plan.vFirstUnknown.push_back(plan.vFirstUnknown.back() + size);
  return plan;
}

void ApplyCorrections(const Problem& problem, const UnknownPlan& plan, std::span<const double> corrections,
                      Estimate& estimate) {
  for (size_t i = 0; i < problem.vImages.size(); ++i) {
    const int32_t node = plan.vImageNode[i];
    if (node < 0) continue;
    ImagePose& pose = estimate.vPoses[i];
    const int64_t first = plan.vFirstUnknown[node];
    pose.Centre = pose.Centre + At(corrections, first);
    pose.R = RotationUpdatedBy(pose.R, At(corrections, first + 3));
  }
  for (size_t s = 0; s < plan.vStrips.size(); ++s) {
    const int32_t node = plan.vStrips[s].nNode;
    if (node >= 0) ApplyToStrip(plan.vStrips[s], plan.vFirstUnknown[node], corrections, estimate.vStrips[s]);
  }
  for (size_t c = 0; c < plan.vCameras.size(); ++c) {
    const int32_t node = plan.vCameras[c].nNode;
    if (node >= 0)
      ApplyToCamera(plan.vCameras[c], plan.vFirstUnknown[node], corrections, estimate.vCameras[c]);
  }
}

}  // namespace orvo::rigorous
