#include "info/BlockFigures.h"

#include <limits>
#include <numbers>
#include <unordered_set>

#include "exchange/views/ViewBlock.h"

namespace orvo::info {
namespace {

using exchange::StrictPoint;

constexpr double kSteepest = 60;  ///< tilt in degrees of images that still look down

void Enlarge(std::optional<Extent>& extent, const std::array<double, 3>& place) {
  if (!extent) extent = Extent{place, place};
  for (size_t c = 0; c < 3; ++c) {
    extent->Least[c] = std::min(extent->Least[c], place[c]);
    extent->Most[c] = std::max(extent->Most[c], place[c]);
  }
}

/// Points of the table that `takes` wants.
template <typename Takes>
PointFigures FiguresOfPoints(const SurveyBlock& block, const SurveyPoints& points,
                             const std::vector<StrictPoint>& solved, const Takes& takes) {
  PointFigures figures;
  double squareX = 0, squareY = 0;
  int64_t residuals = 0;
  for (size_t k = 0; k < points.Points.size(); ++k) {
    const SurveyPoint& point = points.Points[k];
    if (!takes(point)) continue;
    ++figures.nPoints;
    figures.nMeasurements += point.nMeasurementNum;
    ++figures.PointsOfRays[point.nMeasurementNum];
    if (!solved[k].bSolved) continue;
    ++figures.nSolved;
    for (const SurveyMeasurement& measurement : points.Of(point)) {
      const auto residual = exchange::ResidualOf(block, measurement, solved[k].P);
      if (!residual) continue;
      ++residuals;
      squareX += residual->x * residual->x;
      squareY += residual->y * residual->y;
    }
  }
  if (figures.nPoints > 0) {
    figures.dMeanRays = static_cast<double>(figures.nMeasurements) / static_cast<double>(figures.nPoints);
  }
  if (residuals > 0) {
    const auto count = static_cast<double>(residuals);
    figures.Rms = {std::sqrt(squareX / count), std::sqrt(squareY / count)};
  }
  return figures;
}

/// How far a place lies ahead of an image, along its axis.
double DepthOf(const SurveyImage& image, const std::array<double, 3>& P) {
  double depth = 0;
  for (size_t row = 0; row < 3; ++row) depth -= image.R[3 * row + 2] * (P[row] - image.S[row]);
  return depth;
}

/// Longest base of a point over its mean depth. Of very many rays the first ones stand for all.
double BaseToHeightOf(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements,
                      const std::array<double, 3>& P) {
  constexpr size_t kMostRays = 64;
  std::vector<const SurveyImage*> images;
  double depth = 0;
  for (const SurveyMeasurement& measurement : measurements) {
    if (measurement.nImage < 0 || measurement.nImage >= std::ssize(block.Images)) continue;
    images.push_back(&block.Images[static_cast<size_t>(measurement.nImage)]);
    depth += DepthOf(*images.back(), P);
    if (images.size() == kMostRays) break;
  }
  double longest = 0;
  for (size_t k = 0; k < images.size(); ++k) {
    for (size_t j = 0; j < k; ++j) {
      longest =
          std::max(longest, std::hypot(images[k]->S[0] - images[j]->S[0], images[k]->S[1] - images[j]->S[1],
                                       images[k]->S[2] - images[j]->S[2]));
    }
  }
  return longest * static_cast<double>(images.size()) / depth;
}

void AddGround(const SurveyBlock& block, const std::vector<StrictPoint>& solved, BlockFigures& figures) {
  std::vector<double> heights, bases;
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    Enlarge(figures.Ground, solved[k].P);
    heights.push_back(solved[k].P[2]);
    bases.push_back(BaseToHeightOf(block, block.Tie.Of(block.Tie.Points[k]), solved[k].P));
  }
  figures.BaseToHeight = SpreadOf(std::move(bases));
  if (heights.empty()) return;
  const auto at = [&](double share) {
    const auto place =
        heights.begin() + static_cast<int64_t>(share * static_cast<double>(heights.size() - 1));
    std::nth_element(heights.begin(), place, heights.end());
    return *place;
  };
  figures.dRelief = at(0.95) - at(0.05);
}

/// The median depth of the tie points in each image; NaN without one.
std::vector<double> DepthsOf(const SurveyBlock& block, const std::vector<StrictPoint>& solved) {
  std::vector<std::vector<double>> ofImage(block.Images.size());
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    for (const SurveyMeasurement& measurement : block.Tie.Of(block.Tie.Points[k])) {
      if (measurement.nImage < 0 || measurement.nImage >= std::ssize(ofImage)) continue;
      const auto image = static_cast<size_t>(measurement.nImage);
      ofImage[image].push_back(DepthOf(block.Images[image], solved[k].P));
    }
  }
  std::vector<double> depths;
  depths.reserve(ofImage.size());
  for (std::vector<double>& values : ofImage) {
    depths.push_back(values.empty() ? std::numeric_limits<double>::quiet_NaN() : exchange::MedianOf(values));
  }
  return depths;
}

void AddImages(const SurveyBlock& block, const std::vector<double>& depths,
               const std::optional<std::vector<double>>& ground, BlockFigures& figures) {
  std::vector<int64_t> measurements(block.Images.size());
  for (const SurveyMeasurement& measurement : block.Tie.Measurements) {
    if (measurement.nImage < 0 || measurement.nImage >= std::ssize(measurements)) continue;
    ++measurements[static_cast<size_t>(measurement.nImage)];
  }
  std::vector<std::vector<double>> gsdOfCamera(block.Cameras.size());
  std::vector<double> heights, gsd, tilts, counts;
  std::optional<Extent> centres;
  for (size_t k = 0; k < block.Images.size(); ++k) {
    const SurveyImage& image = block.Images[k];
    Enlarge(centres, image.S);
    tilts.push_back(std::acos(std::clamp(image.R[8], -1.0, 1.0)) * 180 / std::numbers::pi);
    counts.push_back(static_cast<double>(measurements[k]));
    if (measurements[k] == 0) ++figures.nImagesWithoutPoint;
    const bool known = image.nCamera >= 0 && image.nCamera < std::ssize(block.Cameras);
    if (known) ++figures.Cameras[static_cast<size_t>(image.nCamera)].nImages;
    if (ground) heights.push_back(image.S[2] - (*ground)[k]);
    if (!known) continue;
    gsd.push_back(depths[k] / block.Cameras[static_cast<size_t>(image.nCamera)].dFocal);
    gsdOfCamera[static_cast<size_t>(image.nCamera)].push_back(gsd.back());
  }
  if (centres) figures.Centres = *centres;
  figures.Gsd = SpreadOf(std::move(gsd));
  figures.Tilt = SpreadOf(std::move(tilts));
  figures.bLooksDown = figures.Tilt.nNum > 0 && figures.Tilt.dMedian < kSteepest;
  if (figures.bLooksDown) figures.Height = SpreadOf(std::move(heights));
  figures.MeasurementsOfImage = SpreadOf(std::move(counts));
  for (size_t k = 0; k < gsdOfCamera.size(); ++k)
    figures.Cameras[k].Gsd = SpreadOf(std::move(gsdOfCamera[k]));
}

}  // namespace

BlockFigures FiguresOf(const SurveyBlock& block) {
  BlockFigures figures;
  figures.nImages = std::ssize(block.Images);
  for (const SurveyCamera& camera : block.Cameras) figures.Cameras.push_back({camera, 0, {}});
  const exchange::ViewBlock view = exchange::ViewOf(block);
  const auto any = [](const SurveyPoint&) { return true; };
  figures.Tie = FiguresOfPoints(block, block.Tie, view.Tie, any);
  figures.Control = FiguresOfPoints(block, block.Control, view.Control,
                                    [](const SurveyPoint& point) { return point.nType == 1; });
  figures.Check = FiguresOfPoints(block, block.Control, view.Control,
                                  [](const SurveyPoint& point) { return point.nType > 1; });
  AddGround(block, view.Tie, figures);
  const auto ground = exchange::GroundHeights(block, block.Tie, view.Tie);
  AddImages(block, DepthsOf(block, view.Tie), ground, figures);

  std::vector<exchange::Polygon> footprints(block.Images.size());
  for (size_t k = 0; ground && figures.bLooksDown && k < footprints.size(); ++k) {
    footprints[k] = exchange::FootprintOf(block, block.Images[k], (*ground)[k]);
  }
  figures.Strips = StripsOf(block);
  figures.OfStrips = FiguresOfStrips(block, figures.Strips, footprints);

  std::unordered_set<std::string> names;
  for (const SurveyImage& image : block.Images) names.insert(image.szName);
  figures.nPosLines = std::ssize(block.Pos);
  for (const SurveyPos& line : block.Pos) figures.nPosOfImages += names.contains(line.szName) ? 1 : 0;
  return figures;
}

}  // namespace orvo::info
