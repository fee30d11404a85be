#include "rigorous/TruthBlock.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
#include <random>
#include <tuple>
#include <utility>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous::test {
namespace {

constexpr double kWidth = 4000, kLength = 3000, kFocal = 3600;  ///< pixels; the length lies along the flight
constexpr double kCorner = 2500;                                ///< pixels from the middle
constexpr double kRadians = std::numbers::pi / 180;

/// Numbers that no standard library chooses.
class Chance {
 public:
  explicit Chance(uint64_t seed) : Engine(seed) {}
  /// Below 1.
  double Uniform() { return static_cast<double>(Engine() >> 11) * 0x1p-53; }
  /// Box and Muller.
  double Normal() {
    const double radius = std::sqrt(-2 * std::log(1 - Uniform()));
    return radius * std::cos(2 * std::numbers::pi * Uniform());
  }
  Vector3 Normal3(double sigma) {
    const double x = Normal(), y = Normal(), z = Normal();
    return {sigma * x, sigma * y, sigma * z};
  }

 private:
  std::mt19937_64 Engine;
};

struct PlantedPoint {
  Vector3 Place;
  std::vector<Ray> vRays;  ///< ascending by image, without errors
};

class Maker {
 public:
  explicit Maker(const TruthOptions& options) : O(options), Random(options.nSeed) {}

  TruthBlock Make() {
    Fly();
    MakeCameras();
    Plant();
    if (O.nNoiseSeed != 0) Random = Chance(O.nNoiseSeed);
    Measure();
    Control(O.nControl, O.ControlSigma);
    Control(O.nHeightControl, {kNotObserved, kNotObserved, O.ControlSigma[2]});
    SortControl();
    ObserveSensors();
    Begin();
    return std::move(Block);
  }

 private:
  double GroundSize() const { return O.fHeight / kFocal; }
  double Base() const { return (1 - O.fForwardOverlap) * kLength * GroundSize(); }
  double Spacing() const { return (1 - O.fSideOverlap) * kWidth * GroundSize(); }

  void Fly() {
    const double lengthX = (O.nImages - 1) * Base(), lengthY = (O.nStrips - 1) * Spacing();
    for (int32_t s = 0; s < O.nStrips; ++s) {
      FlyStrip({0, s * Spacing() - lengthY / 2, O.fHeight}, {s % 2 == 0 ? 1.0 : -1.0, 0, 0}, O.nImages);
    }
    const auto crossImages = static_cast<int32_t>(std::ceil(lengthY / Base())) + 1;
    for (int32_t s = 0; s < O.nCrossStrips; ++s) {
      const double x = lengthX * ((s + 1.0) / (O.nCrossStrips + 1) - 0.5);
      FlyStrip({x, 0, 1.1 * O.fHeight}, {0, s % 2 == 0 ? 1.0 : -1.0, 0}, crossImages);
    }
  }

  void FlyStrip(const Vector3& middle, const Vector3& heading, int32_t count) {
    Block.Given.vStrips.push_back({.bGpsConstant = O.fGpsConstant > 0,
                                   .bGpsLinear = O.fGpsLinear > 0,
                                   .bImuConstant = O.fImuConstant > 0,
                                   .bImuLinear = O.fImuLinear > 0});
    Block.Truth.vStrips.push_back({{Random.Normal3(O.fGpsConstant), Random.Normal3(O.fGpsLinear)},
                                   {Random.Normal3(O.fImuConstant), Random.Normal3(O.fImuLinear)}});
    // Columns: the camera's axes to the right, ahead and up.
    const Matrix3 level = {heading[1], heading[0], 0, -heading[0], heading[1], 0, 0, 0, 1};
    for (int32_t i = 0; i < count; ++i) {
      const double ahead = (i - (count - 1) / 2.0) * Base();
      const Vector3 centre = middle + ahead * heading + Random.Normal3(0.01 * O.fHeight);
      Block.Truth.vPoses.push_back({centre, RotationUpdatedBy(level, Random.Normal3(O.fTilt * kRadians))});
      ImageModel image;
      image.nStrip = static_cast<int32_t>(Block.Given.vStrips.size()) - 1;
      image.fTime = count > 1 ? 2.0 * i / (count - 1) - 1 : 0;
      image.bUnknown = std::ssize(Block.Given.vImages) >= O.nHeldImages;
      image.nCamera = O.Cameras == TruthCameras::One ? 0
                      : O.Cameras == TruthCameras::EachStrip
                          ? image.nStrip
                          : static_cast<int32_t>(Block.Given.vImages.size());
      Block.Given.vImages.push_back(image);
    }
  }

  void MakeCameras() {
    Block.Given.Form = O.Form;
    const size_t count = Block.Given.vImages.empty() ? 1 : Block.Given.vImages.back().nCamera + size_t{1};
    for (size_t c = 0; c < count; ++c) {
      CameraModel& camera = Block.Given.vCameras.emplace_back();
      camera.fSigma = (O.fNoise > 0 ? O.fNoise : 1) * O.fPixel;
      camera.nLensUnknowns = O.nLensUnknowns;
      camera.bLeverArm = O.bLeverArm;
      camera.bBoresight = O.bBoresight;
      Block.Truth.vCameras.push_back({MakeLens(), O.LeverArm, RotationOfVector(O.Boresight)});
    }
  }

  /// Some percent of distortion in the corner, a little different for each camera.
  Lens MakeLens() {
    const auto about = [this](double value) { return value * (1 + 0.1 * Random.Normal()); };
    const double r = kCorner * O.fPixel, r2 = r * r;
    Lens lens;
    lens.f = kFocal * O.fPixel * (1 + 0.002 * Random.Normal());
    lens.x0 = about(12 * O.fPixel), lens.y0 = about(-8 * O.fPixel);
    lens.k1 = about(-0.03 / r2), lens.k2 = about(0.01 / (r2 * r2)), lens.k3 = about(-0.003 / (r2 * r2 * r2));
    lens.p1 = about(1e-3 / r), lens.p2 = about(-5e-4 / r);
    lens.b1 = about(4e-4), lens.b2 = about(-2e-4);
    for (int k = 1; k < kLensParameterNum; ++k) {
      if ((O.nLensTerms >> k & 1) == 0) ParameterOf(lens, static_cast<LensParameter>(k)) = 0;
    }
    return lens;
  }

  double GroundAt(double x, double y) const {
    const double wave = 2 * std::numbers::pi / (1.7 * kWidth * GroundSize());
    return 0.5 * O.fRelief * O.fHeight * std::sin(wave * x) * std::cos(0.8 * wave * y);
  }

  /// As many points as fill an image, over all that the images see.
  void Plant() {
    if (Block.Truth.vPoses.empty()) return;
    Vector3 low = Block.Truth.vPoses[0].Centre, high = low;
    for (const ImagePose& pose : Block.Truth.vPoses) {
      for (int k = 0; k < 2; ++k) {
        low[k] = std::min(low[k], pose.Centre[k] - kCorner * GroundSize());
        high[k] = std::max(high[k], pose.Centre[k] + kCorner * GroundSize());
      }
    }
    const double shareOfImage =
        kWidth * kLength * GroundSize() * GroundSize() / ((high[0] - low[0]) * (high[1] - low[1]));
    const auto count = static_cast<int64_t>(O.fPointsPerImage / shareOfImage);
    SortImages();
    std::vector<PlantedPoint> points;
    for (int64_t p = 0; p < count; ++p) {
      const double x = low[0] + (high[0] - low[0]) * Random.Uniform();
      const double y = low[1] + (high[1] - low[1]) * Random.Uniform();
      PlantedPoint point = {{x, y, GroundAt(x, y)}, {}};
      See(point);
      if (point.vRays.size() >= 2) points.push_back(std::move(point));
    }
    TakePoints(points);
  }

  /// Farther away from its centre no image sees anything.
  double Reach() const {
    const double tilt = std::min(4 * O.fTilt, 60.0) * kRadians;
    return 1.1 * (1 + O.fRelief) * (kCorner * GroundSize() + O.fHeight * std::tan(tilt));
  }

  std::pair<int64_t, int64_t> CellOf(const Vector3& place) const {
    const double size = Reach();
    return {static_cast<int64_t>(std::floor(place[0] / size)),
            static_cast<int64_t>(std::floor(place[1] / size))};
  }
  void SortImages() {
    for (size_t i = 0; i < Block.Truth.vPoses.size(); ++i) {
      Cells[CellOf(Block.Truth.vPoses[i].Centre)].push_back(static_cast<int32_t>(i));
    }
  }

  void See(PlantedPoint& point) const {
    const auto [column, row] = CellOf(point.Place);
    std::vector<int32_t> images;
    for (int64_t c = column - 1; c <= column + 1; ++c) {
      for (int64_t r = row - 1; r <= row + 1; ++r) {
        const auto cell = Cells.find({c, r});
        if (cell != Cells.end()) images.insert(images.end(), cell->second.begin(), cell->second.end());
      }
    }
    std::sort(images.begin(), images.end());
    for (const int32_t i : images) {
      const Lens& lens = Block.Truth.vCameras[Block.Given.vImages[i].nCamera].LensNow;
      const Vector3 apart = point.Place - Block.Truth.vPoses[i].Centre;
      if (std::hypot(apart[0], apart[1]) > Reach()) continue;
      Vector2 at;
      if (PredictMeasured(Block.Truth.vPoses[i], lens, point.Place, at) != RayStatus::Good) continue;
      if (std::fabs(at[0]) > kWidth / 2 * O.fPixel || std::fabs(at[1]) > kLength / 2 * O.fPixel) continue;
      point.vRays.push_back({i, static_cast<float>(at[0]), static_cast<float>(at[1])});
    }
  }

  /// In an order in which neighbours share images.
  void TakePoints(std::vector<PlantedPoint>& points) {
    const auto key = [](const PlantedPoint& p) {
      return std::tuple(p.vRays[0].nImage, p.vRays[1].nImage, p.vRays.back().nImage);
    };
    std::stable_sort(points.begin(), points.end(),
                     [&](const PlantedPoint& a, const PlantedPoint& b) { return key(a) < key(b); });
    Problem& given = Block.Given;
    for (const PlantedPoint& point : points) {
      Block.Truth.vPoints.push_back(point.Place);
      given.vRays.insert(given.vRays.end(), point.vRays.begin(), point.vRays.end());
      given.vFirstRay.push_back(std::ssize(given.vRays));
    }
  }

  void Measure() {
    for (size_t r = 0; r < Block.Given.vRays.size(); ++r) {
      Ray& ray = Block.Given.vRays[r];
      double dx = O.fNoise * Random.Normal(), dy = O.fNoise * Random.Normal();
      const bool isGross = Random.Uniform() < O.fGrossShare;
      const double direction = 2 * std::numbers::pi * Random.Uniform();
      if (isGross) {
        dx += O.fGrossPixels * std::cos(direction);
        dy += O.fGrossPixels * std::sin(direction);
        Block.vGrossRays.push_back(static_cast<int64_t>(r));
      }
      ray.x = static_cast<float>(ray.x + dx * O.fPixel);
      ray.y = static_cast<float>(ray.y + dy * O.fPixel);
    }
  }

  /// Of the points nearest to places on an even net over the block those that are none yet.
  void Control(int32_t count, const Vector3& sigma) {
    const auto columns = static_cast<int32_t>(std::ceil(std::sqrt(count)));
    const int32_t rows = columns > 0 ? (count + columns - 1) / columns : 0;
    const double sizeX = (O.nImages - 1) * Base() / 2, sizeY = (O.nStrips - 1) * Spacing() / 2;
    const auto along = [](int32_t k, int32_t n) { return n > 1 ? 2.0 * k / (n - 1) - 1 : 0; };
    for (int32_t k = 0; k < count; ++k) {
      const double x = sizeX * along(k % columns, columns), y = sizeY * along(k / columns, rows);
      const int64_t point = NearestFreePoint(x, y);
      if (point < 0) return;
      ControlObservation control = {point, Block.Truth.vPoints[point], sigma};
      for (int c = 0; c < 3; ++c) {
        if (std::isfinite(sigma[c])) control.Observed[c] += sigma[c] * Random.Normal();
      }
      Block.Given.vControl.push_back(control);
    }
  }

  int64_t NearestFreePoint(double x, double y) const {
    int64_t nearest = -1;
    double least = kNotObserved;
    for (int64_t p = 0; p < Block.Given.PointNum(); ++p) {
      const double distance = std::hypot(Block.Truth.vPoints[p][0] - x, Block.Truth.vPoints[p][1] - y);
      const auto isIt = [p](const ControlObservation& c) { return c.nPoint == p; };
      if (distance >= least || std::ranges::any_of(Block.Given.vControl, isIt)) continue;
      nearest = p;
      least = distance;
    }
    return nearest;
  }

  void SortControl() {
    std::sort(Block.Given.vControl.begin(), Block.Given.vControl.end(),
              [](const ControlObservation& a, const ControlObservation& b) { return a.nPoint < b.nPoint; });
  }

  void ObserveSensors() {
    for (size_t i = 0; i < Block.Given.vImages.size(); ++i) {
      ImageModel& image = Block.Given.vImages[i];
      const ImagePose& pose = Block.Truth.vPoses[i];
      const CameraEstimate& camera = Block.Truth.vCameras[image.nCamera];
      const StripEstimate& drift = Block.Truth.vStrips[image.nStrip];
      image.GpsSigma = O.GpsSigma;
      image.ImuSigma = O.ImuSigma;
      image.GpsObserved = pose.Centre + Multiply(pose.R, camera.LeverArm) + drift.Gps.Constant +
                          image.fTime * drift.Gps.Linear + ErrorOf(O.GpsSigma);
      const Vector3 turn = drift.Imu.Constant + image.fTime * drift.Imu.Linear;
      image.ImuObserved = RotationUpdatedBy(
          Multiply(Multiply(pose.R, camera.Boresight), RotationOfVector(turn)), ErrorOf(O.ImuSigma));
    }
  }

  Vector3 ErrorOf(const Vector3& sigma) {
    Vector3 error{};
    for (int k = 0; k < 3; ++k) error[k] = std::isfinite(sigma[k]) ? sigma[k] * Random.Normal() : 0;
    return error;
  }

  void Begin() {
    Block.Start = Block.Truth;
    for (size_t i = 0; i < Block.Given.vImages.size(); ++i) {
      if (!Block.Given.vImages[i].bUnknown) continue;
      ImagePose& pose = Block.Start.vPoses[i];
      pose.Centre = pose.Centre + Random.Normal3(O.fStartCentre);
      pose.R = RotationUpdatedBy(pose.R, Random.Normal3(O.fStartDegrees * kRadians));
    }
    for (Vector3& point : Block.Start.vPoints) point = point + Random.Normal3(O.fStartPoint);
    for (const ControlObservation& control : Block.Given.vControl) {
      for (int k = 0; k < 3; ++k) {
        if (control.Sigma[k] == 0) Block.Start.vPoints[control.nPoint][k] = control.Observed[k];
      }
    }
    for (CameraEstimate& camera : Block.Start.vCameras) BeginCamera(camera);
    for (StripEstimate& strip : Block.Start.vStrips) strip = {};
  }

  void BeginCamera(CameraEstimate& camera) {
    if ((O.nLensUnknowns & kLensFocal) != 0) camera.LensNow.f += O.fStartFocal * O.fPixel * Random.Normal();
    for (int k = 1; k < kLensParameterNum && O.bStartWithoutTerms; ++k) {
      if ((O.nLensUnknowns >> k & 1) != 0) ParameterOf(camera.LensNow, static_cast<LensParameter>(k)) = 0;
    }
    if (O.bLeverArm) camera.LeverArm = {};
    if (O.bBoresight) camera.Boresight = kIdentity3;
  }

  const TruthOptions& O;
  Chance Random;
  TruthBlock Block;
  std::map<std::pair<int64_t, int64_t>, std::vector<int32_t>> Cells;
};

}  // namespace

TruthBlock MakeTruthBlock(const TruthOptions& options) { return Maker(options).Make(); }

}  // namespace orvo::rigorous::test
