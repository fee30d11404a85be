// A small block as readers leave it: records by hand, whose values are easy to follow.
#pragma once

#include <cstring>
#include <vector>

#include "rigorous/BlockProblem.h"

namespace orvo::rigorous::test {

/// Four images over six points. Pixels are 0.001 working units. The project has five images, the second of
/// them deleted, and two cameras, the first of them deleted.
class RecordBlock {
 public:
  RecordBlock();

  BlockParts Parts() const {
    return {Settings, Limits, Rigorous, Images, Cameras, Points, Sigmas, PosSigmas};
  }
  BlockProblem Make() const { return MakeBlockProblem(Parts()); }

  /// A point at (place, 2 place, 3 place) off the first image, measured on these images; its place.
  int64_t AddPoint(const char* name, int32_t type, const std::vector<int32_t>& images);
  /// GPS and IMU of an image: 0.5 off its centre, its angles.
  void Observe(int32_t image, int32_t group, double time);

  AdjustmentSettings Settings;
  RunLimits Limits;
  RigorousSettings Rigorous;
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  std::vector<GcpSigma> Sigmas;
  std::vector<PosSigma> PosSigmas;
};

inline constexpr double kEast = 400000, kNorth = 5000000;

inline RecordBlock::RecordBlock() {
  Images.nImageFileNum = 5;
  Images.nImageNum = Images.nUnknownImageNum = 4;
  Images.pImageIndex = {0, -1, 1, 2, 3};
  Images.pImageOrdinal = {0, 2, 3, 4};
  Images.pImageCamera = {1, 1, 1, 1, 1};
  for (int i = 0; i < 4; ++i)
    Images.pEop.push_back({0, 0, kEast + 100 * i, kNorth, 500, 0.01 * i, 0.02, 3 - 0.1 * i});
  Images.pEop.resize(5);
  Cameras.nCameraFileNum = 2;
  Cameras.nCameraNum = Cameras.nCameraRowNum = 1;
  Cameras.pCameraIndex = {-1, 0};
  Cameras.pIop = {{4000, 6000, 5.0, 0.01, -0.02, 1e-4, -2e-6}, {}};
}

inline int64_t RecordBlock::AddPoint(const char* name, int32_t type, const std::vector<int32_t>& images) {
  const auto place = static_cast<int32_t>(Points.pObjectPoints.size());
  ObjectPointRecord point;
  std::strncpy(point.szName, name, sizeof point.szName - 1);
  point.X = kEast + place;
  point.Y = kNorth + 2 * place;
  point.Z = 3 * place;
  point.nType = type;
  point.nImagePointNum = static_cast<int32_t>(images.size());
  point.nFirstImagePoint = static_cast<int64_t>(Points.pImagePoints.size());
  for (const int32_t image : images) {
    const auto number = static_cast<float>(Points.pImagePoints.size());
    Points.pImagePoints.push_back({image, image < 0 ? -1 : 0, place, number, -number});
  }
  Points.pObjectPoints.push_back(point);
  return place;
}

inline void RecordBlock::Observe(int32_t image, int32_t group, double time) {
  PosRecord none;
  none.nStatus = kPosNotObserved;
  Images.pPos.resize(5, none);
  Images.pImageGroup.resize(4, -1);
  EopRecord& eop = Images.pEop[static_cast<size_t>(image)];
  eop.fTime = time;
  PosRecord pos = eop;
  pos.X += 0.5;
  Images.pPos[static_cast<size_t>(image)] = pos;
  Images.pImageGroup[static_cast<size_t>(image)] = group;
  Images.nGroupNum = std::max(Images.nGroupNum, group + 1);
}

}  // namespace orvo::rigorous::test
