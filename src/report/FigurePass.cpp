#include "report/FigurePass.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "base/Threads.h"
#include "records/UnknownLayout.h"
#include "report/FileFrame.h"
#include "report/PassedPoint.h"

namespace orvo::report {
namespace {

/// Below this many points a thread costs more than it saves.
constexpr int64_t kPointsPerThread = 1000;
/// Every thread has sums of all images.
constexpr int kMostThreads = 16;
/// Squares of the ground along the longest side of the box of the projection centres, in the beginning.
constexpr double kFirstCells = 1024;
/// Points farther off than this many times the longest side of the box are no ground. Few images see far
/// beyond their box.
constexpr double kMargin = 1, kMarginOfFew = 4;
constexpr size_t kFew = 20;
constexpr double kReach = 4;  ///< of the histograms, in RMSE

/// Where the RMSE is not known, it is taken to be a pixel.
double ReachOf(double rmse) { return kReach * (rmse > 0 && std::isfinite(kReach * rmse) ? rmse : 1); }

template <size_t N>
void CountIn(std::array<int64_t, N>& bins, double value, double reach) {
  const double bin = std::floor((value + reach) / (2 * reach) * static_cast<double>(N - 2));
  ++bins[bin < 0 ? 0 : bin < static_cast<double>(N - 2) ? static_cast<size_t>(bin) + 1 : N - 1];
}

/// The ground that counts, from the box of the projection centres.
struct Bounds {
  static constexpr double kEndless = std::numeric_limits<double>::infinity();
  double fLow[2] = {-kEndless, -kEndless}, fHigh[2] = {kEndless, kEndless};
  int nLevel = 0;  ///< of the first squares

  bool Hold(const Triple& P) const {
    return P.X >= fLow[0] && P.X <= fHigh[0] && P.Y >= fLow[1] && P.Y <= fHigh[1];
  }
};

Bounds BoundsOf(std::span<const EopRecord> images, const ObjectFrame& frame) {
  Bounds bounds;
  double low[2] = {Bounds::kEndless, Bounds::kEndless}, high[2] = {-Bounds::kEndless, -Bounds::kEndless};
  for (const EopRecord& image : images) {
    const Triple P = InFileFrame(frame, image.X, image.Y, image.Z);
    if (!std::isfinite(P.X + P.Y)) continue;
    low[0] = std::min(low[0], P.X);
    low[1] = std::min(low[1], P.Y);
    high[0] = std::max(high[0], P.X);
    high[1] = std::max(high[1], P.Y);
  }
  const double side = std::max(high[0] - low[0], high[1] - low[1]);
  if (!(side > 0) || !std::isfinite(side)) return bounds;
  bounds.nLevel = std::ilogb(side / kFirstCells);
  const double margin = side * (images.size() < kFew ? kMarginOfFew : kMargin);
  for (int k = 0; k < 2; ++k) {
    bounds.fLow[k] = low[k] - margin;
    bounds.fHigh[k] = high[k] + margin;
  }
  return bounds;
}

/// The place of each camera's field.
std::vector<int32_t> FieldsOf(size_t cameraNum, std::span<const int64_t> imageNums) {
  std::vector<size_t> order(cameraNum);
  std::iota(order.begin(), order.end(), size_t{0});
  const auto imageNum = [&](size_t camera) { return camera < imageNums.size() ? imageNums[camera] : 0; };
  std::ranges::stable_sort(order, [&](size_t a, size_t b) { return imageNum(a) > imageNum(b); });
  std::vector<int32_t> fields(cameraNum, -1);
  for (size_t i = 0; i < std::min(order.size(), kMostFields); ++i) fields[order[i]] = static_cast<int32_t>(i);
  return fields;
}

}  // namespace

struct FigurePass::State {
  std::vector<ImageFrame> vFrames;
  std::vector<IopRecord> Iop;
  PassViews Views;
  std::span<const uint8_t> LeftOut;
  std::vector<FieldScale> vScales;
  std::vector<int32_t> vFieldOf;
  ObjectFrame Frame;
  Bounds Ground;
  Pair Reach;
  double fPerUnit = 1;  ///< pixels of a working unit
  int nThreads = 1;
  std::vector<std::unique_ptr<FigureSums>> vSums;  ///< of each thread

  FigureSums EmptySums() const;
  void AddRange(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
                FigureSums& sums) const;
  void Count(const PassedPoint& point, FigureSums& sums) const;
  void CountTie(const PassedPoint& point, FigureSums& sums) const;
  void CountKept(const PassedPoint& point, FigureSums& sums) const;
};

FigurePass::FigurePass(const FigurePassInput& input, int threads) : pState(std::make_unique<State>()) {
  State& state = *pState;
  state.vFrames = MakeImageFrames(input.Pass.Eop);
  state.Iop.assign(input.Pass.Iop.begin(), input.Pass.Iop.end());
  state.Views = {state.vFrames, state.Iop, input.Pass.fGrossX, input.Pass.fGrossY};
  state.LeftOut = input.Pass.LeftOut;
  for (const IopRecord& camera : state.Iop) state.vScales.emplace_back(camera, input.fImageScale);
  state.vFieldOf = FieldsOf(state.Iop.size(), input.vCameraImages);
  state.Frame = input.Frame;
  state.Ground = BoundsOf(input.Pass.Eop, input.Frame);
  state.Reach = {ReachOf(input.Rmse.x), ReachOf(input.Rmse.y)};
  state.fPerUnit = 1 / input.fImageScale;
  state.nThreads = std::clamp(threads, 1, kMostThreads);
  state.vSums.resize(static_cast<size_t>(state.nThreads));
}

FigurePass::~FigurePass() = default;
FigurePass::FigurePass(FigurePass&&) noexcept = default;
FigurePass& FigurePass::operator=(FigurePass&&) noexcept = default;

FigureSums FigurePass::State::EmptySums() const {
  FigureSums sums;
  sums.vImages.resize(vFrames.size());
  sums.vCameras.resize(Iop.size());
  sums.vFields.resize(std::min(Iop.size(), kMostFields));
  sums.Cells = CellMap(Ground.nLevel);
  return sums;
}

void FigurePass::Add(std::span<const ObjectPointRecord> points,
                     std::span<const ImagePointRecord> imagePoints) {
  pState->Views.Show(pState->LeftOut, imagePoints);
  const auto count = static_cast<int64_t>(points.size());
  const int64_t parts = std::clamp<int64_t>(count / kPointsPerThread, 1, pState->nThreads);
  ParallelFor(parts, pState->nThreads, [&](int64_t part) {
    const int64_t first = count * part / parts, end = count * (part + 1) / parts;
    std::unique_ptr<FigureSums>& sums = pState->vSums[static_cast<size_t>(part)];
    if (!sums) sums = std::make_unique<FigureSums>(pState->EmptySums());
    pState->AddRange(points.subspan(static_cast<size_t>(first), static_cast<size_t>(end - first)),
                     imagePoints, *sums);
  });
}

void FigurePass::State::AddRange(std::span<const ObjectPointRecord> points,
                                 std::span<const ImagePointRecord> imagePoints, FigureSums& sums) const {
  PassedPoint passed;
  for (const ObjectPointRecord& point : points) {
    const std::span<const ImagePointRecord> rays = MeasurementsOf(point, imagePoints);
    const bool tie = point.nType == 0;
    ++sums.nPoints;
    sums.nMeasurements += std::ssize(rays);
    sums.nTie += tie ? 1 : 0;
    passed.Take(point, rays, Views);
    if (!passed.bSolved) {
      ++sums.nNotSolved;
      sums.nTieNotSolved += tie ? 1 : 0;
      continue;
    }
    Count(passed, sums);
    if (tie) CountTie(passed, sums);
  }
}

void FigurePass::State::Count(const PassedPoint& point, FigureSums& sums) const {
  const double height = InFileFrame(Frame, point.P[0], point.P[1], point.P[2]).Z;
  if (!point.bInFront) ++sums.nNotInFront;
  sums.nGross += point.nGross;
  sums.nUsed += std::ssize(point.vRays) - point.nGross;
  for (size_t i = 0; i < point.vRays.size(); ++i) {
    FigureImageSums& image = sums.vImages[static_cast<size_t>(point.vMeasurements[i]->nImage)];
    FigureCameraSums& camera = sums.vCameras[static_cast<size_t>(point.vMeasurements[i]->nCamera)];
    image.fHeights += height;
    ++(point.vGross[i] != 0 ? image.nGross : image.nUsed);
    ++(point.vGross[i] != 0 ? camera.nGross : camera.nUsed);
  }
}

void FigurePass::State::CountTie(const PassedPoint& point, FigureSums& sums) const {
  const int64_t kept = std::ssize(point.vKept);
  if (!point.bInFront) ++sums.nTieNotInFront;
  sums.nTieRays += kept;
  if (kept < 3) ++sums.nTieBelow3;
  ++sums.vRays[static_cast<size_t>(std::clamp<int64_t>(kept - 1, 0, kRayBins + 1))];
  if (point.bAll) {
    for (const StrictRay& ray : point.vRays) {
      const ImageCoordinates v = StrictResidual(ray, point.All);
      sums.StrictAll.Add(v.x * fPerUnit, v.y * fPerUnit);
    }
  }
  if (!point.bKept) return;
  const double bin = std::clamp(point.LargestAngle() * 10, 0.0, kAngleBins - 1.0);
  ++sums.vAngles[static_cast<size_t>(bin)];
  CountKept(point, sums);
  const Triple ground = InFileFrame(Frame, point.Kept[0], point.Kept[1], point.Kept[2]);
  if (point.bInFront && Ground.Hold(ground)) sums.Cells.Add(ground.X, ground.Y, ground.Z, kept);
}

void FigurePass::State::CountKept(const PassedPoint& point, FigureSums& sums) const {
  for (size_t i = 0; i < point.vRays.size(); ++i) {
    if (point.vGross[i] != 0) continue;
    const ImagePointRecord& measurement = *point.vMeasurements[i];
    const auto camera = static_cast<size_t>(measurement.nCamera);
    const ImageCoordinates working = StrictResidual(point.vRays[i], point.Kept);
    const Pair v = {working.x * fPerUnit, working.y * fPerUnit};
    sums.StrictKept.Add(v.x, v.y);
    sums.vImages[static_cast<size_t>(measurement.nImage)].Strict.Add(v.x, v.y);
    sums.vCameras[camera].Strict.Add(v.x, v.y);
    CountIn(sums.vX, v.x, Reach.x);
    CountIn(sums.vY, v.y, Reach.y);
    if (vFieldOf[camera] < 0 || !vScales[camera].IsKnown()) continue;
    vScales[camera].Add(static_cast<double>(measurement.x), static_cast<double>(measurement.y), v,
                        sums.vFields[static_cast<size_t>(vFieldOf[camera])]);
  }
}

FigureSums FigurePass::Sums() const {
  FigureSums total = pState->EmptySums();
  for (const std::unique_ptr<FigureSums>& sums : pState->vSums) {
    if (sums) total.Add(*sums);
  }
  return total;
}

int32_t FigurePass::FieldOf(size_t camera) const {
  return camera < pState->vScales.size() && pState->vScales[camera].IsKnown() ? pState->vFieldOf[camera] : -1;
}

double FigurePass::RingWidth(size_t camera) const {
  return camera < pState->vScales.size() ? pState->vScales[camera].RingWidth() : 0;
}

Pair FigurePass::HistogramReach() const { return pState->Reach; }

}  // namespace orvo::report
