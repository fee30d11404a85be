// Models made up for tests: images above a field of points, measured through any camera.
#pragma once

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "exchange/ExchangeFault.h"
#include "exchange/ExchangeLog.h"
#include "exchange/ForeignModel.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LensModels.h"
#include "exchange/StrictResiduals.h"
#include "geometry/camera/Rotation.h"

namespace orvo::exchange {

struct NamedCamera {
  const char* szName;
  LensModel Lens;
  std::vector<double> Parameters;
  bool bOneFocal = true;
};

/// One of every model of COLMAP, with distortions of the size that real cameras have.
inline std::vector<NamedCamera> EveryCamera() {
  return {{"SIMPLE_PINHOLE", LensModel::Pinhole, {}},
          {"PINHOLE", LensModel::Pinhole, {}, false},
          {"SIMPLE_RADIAL", LensModel::SimpleRadial, {-0.16}},
          {"RADIAL", LensModel::Radial, {0.0885, -0.232}},
          {"OPENCV", LensModel::Brown, {-0.26, 0.09, 0.0011, -0.0007, 0}, false},
          {"OPENCV_FISHEYE", LensModel::OpenCvFisheye, {-0.02, 0.003, -0.001, 0.0002}, false},
          {"FULL_OPENCV", LensModel::FullOpenCv, {0.3, 0.1, 0.0005, -0.0004, 0.01, 0.45, 0.12, 0.01}, false},
          {"FOV", LensModel::Fov, {0.8}, false},
          {"SIMPLE_RADIAL_FISHEYE", LensModel::SimpleFisheye, {-0.03}},
          {"RADIAL_FISHEYE", LensModel::RadialFisheye, {-0.03, 0.004}},
          {"THIN_PRISM_FISHEYE",
           LensModel::ThinPrism,
           {-0.02, 0.003, 0.0006, -0.0005, 0.001, 0.0002, 0.0003, -0.0002},
           false}};
}

inline ForeignCamera CameraLike(const NamedCamera& named) {
  ForeignCamera camera;
  camera.nId = 7;
  camera.szName = "7";
  camera.szModel = named.szName;
  camera.Lens = named.Lens;
  camera.nWidth = 3000;
  camera.nHeight = 2000;
  camera.dFx = 2400;
  camera.dFy = named.bOneFocal ? 2400 : 2403.5;
  camera.dCx = 1503.25;
  camera.dCy = 996.5;
  camera.Parameters = named.Parameters;
  return camera;
}

/// Points that stay alive with their stream.
class HeldPoints : public PointStream {
 public:
  explicit HeldPoints(std::vector<StreamPoint> points) : Points(std::move(points)) {}
  bool Next(StreamPoint& point) override {
    if (nNext == Points.size()) return false;
    point = Points[nNext++];
    return true;
  }
  void Rewind() override { nNext = 0; }
  std::vector<StreamPoint> Points;

 private:
  size_t nNext = 0;
};

/// Six images in two strips from 100 m, a point for every other metre; measurements differ from projections
/// by up to half a pixel, the same in every run.
inline ForeignModel MakeModel(const ForeignCamera& camera) {
  ForeignModel model;
  model.szForm = "colmap";
  model.Cameras = {camera};
  for (int i = 0; i < 6; ++i) {
    SurveyImage& image = model.Images.emplace_back();
    image.nId = 10 + i;
    image.nCamera = 0;
    image.szPath = "flight/IMG_" + std::to_string(100 + i) + ".JPG";
    ComputeRotationMatrix(0.03 * i - 0.05, 0.02 * i - 0.04, 0.4 * i, image.R.data());
    image.S = {20.0 * (i % 3), 25.0 * (i / 3), 100.0 + i};
  }
  std::vector<StreamPoint> points;
  unsigned state = 1;
  const auto noise = [&state] {
    state = state * 1664525u + 1013904223u;
    return (state >> 8) / double(1u << 24) - 0.5;
  };
  for (int k = 0; k < 400; ++k) {
    StreamPoint point;
    point.szName = std::to_string(1000 + 3 * k);
    point.P = {4.0 * (k % 20) - 18, 4.0 * (k / 20) - 25, 3 * noise()};
    for (int i = 0; i < 6; ++i) {
      const ImageVector place = StrictResidual(model.Images[static_cast<size_t>(i)], 1, {0, 0}, point.P);
      const LensPoint pixel = PixelOf(camera, {-place.x, place.y});
      if (pixel.u < 0 || pixel.u > camera.nWidth || pixel.v < 0 || pixel.v > camera.nHeight) continue;
      point.Measurements.push_back(
          {i, pixel.u - camera.nWidth / 2.0 + noise(), camera.nHeight / 2.0 - pixel.v + noise()});
    }
    if (point.Measurements.size() >= 2) points.push_back(std::move(point));
  }
  model.Points = std::make_unique<HeldPoints>(std::move(points));
  return model;
}

inline std::vector<StreamPoint> AllPoints(ForeignModel& model) {
  std::vector<StreamPoint> points;
  StreamPoint point;
  model.Points->Rewind();
  while (model.Points->Next(point)) points.push_back(point);
  return points;
}

/// How far two models are from each other; infinite where they do not hold the same things.
struct ModelDifference {
  double dMeasurement = 0, dPoint = 0, dCentre = 0, dRotation = 0, dCamera = 0;
};
inline ModelDifference DifferenceOf(ForeignModel& one, ForeignModel& other) {
  ModelDifference most;
  const auto take = [](double& largest, double difference) {
    largest = std::max(largest, std::isfinite(difference) ? std::abs(difference) : HUGE_VAL);
  };
  const auto first = AllPoints(one), second = AllPoints(other);
  if (first.size() != second.size() || one.Images.size() != other.Images.size() ||
      one.Cameras.size() != other.Cameras.size()) {
    return {HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL};
  }
  for (size_t i = 0; i < first.size(); ++i) {
    if (first[i].Measurements.size() != second[i].Measurements.size() ||
        first[i].szName != second[i].szName) {
      return {HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL};
    }
    for (size_t k = 0; k < 3; ++k) take(most.dPoint, first[i].P[k] - second[i].P[k]);
    for (size_t k = 0; k < first[i].Measurements.size(); ++k) {
      const SurveyMeasurement &a = first[i].Measurements[k], &b = second[i].Measurements[k];
      take(most.dMeasurement, a.nImage == b.nImage ? 0 : HUGE_VAL);
      take(most.dMeasurement, a.x - b.x);
      take(most.dMeasurement, a.y - b.y);
    }
  }
  for (size_t i = 0; i < one.Images.size(); ++i) {
    for (size_t k = 0; k < 3; ++k) take(most.dCentre, one.Images[i].S[k] - other.Images[i].S[k]);
    for (size_t k = 0; k < 9; ++k) take(most.dRotation, one.Images[i].R[k] - other.Images[i].R[k]);
  }
  for (size_t i = 0; i < one.Cameras.size(); ++i) {
    const ForeignCamera &a = one.Cameras[i], &b = other.Cameras[i];
    take(most.dCamera, a.Lens == b.Lens && a.Parameters.size() == b.Parameters.size() ? 0 : HUGE_VAL);
    take(most.dCamera, std::hypot(a.dFx - b.dFx, a.dFy - b.dFy, std::hypot(a.dCx - b.dCx, a.dCy - b.dCy)));
    for (size_t k = 0; k < std::min(a.Parameters.size(), b.Parameters.size()); ++k) {
      take(most.dCamera, a.Parameters[k] - b.Parameters[k]);
    }
  }
  return most;
}

/// A log that says nothing and outlives every model.
inline ExchangeLog& Silent() {
  static ExchangeLog log;
  return log;
}

/// What is thrown by `work`; no file and no words where nothing is.
template <class Work>
Finding FaultOf(const Work& work) {
  try {
    work();
  } catch (const ExchangeFault& fault) {
    return fault.What;
  }
  return {};
}

}  // namespace orvo::exchange
