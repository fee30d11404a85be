#include <fmt/format.h>

#include <cmath>

#include "check/BlockCheck.h"
#include "check/block/ConventionTrial.h"
#include "check/block/CoordinateRange.h"
#include "check/block/FindingPlaces.h"
#include "check/block/FindingTexts.h"
#include "check/block/RotationDefects.h"
#include "check/block/SightRays.h"

namespace orvo {
namespace {

/// True where a matrix is no rotation: then there is nothing to be tried.
bool TellRotationDefects(const BlockCheckInput& input, Diagnosis& diagnosis) {
  const RotationDefects defects = FindRotationDefects(input.Block.Images);
  if (defects.nSkewed + defects.nMirrored == 0) return false;
  const std::string name = NameOfImage(input.Block.Images[defects.nFirst]);
  const FindingPlace place = PlaceOfImage(input, defects.nFirst, 2);
  if (defects.nSkewed > 0) {
    diagnosis.Add("C011", place,
                  fmt::format("{} of {} matrices are no rotations, the first of them that of {}",
                              defects.nSkewed + defects.nMirrored, input.Block.Images.size(), name),
                  "Write three rows of length 1 at right angles to each other, with six decimals and more");
  } else {
    diagnosis.Add(
        "C012", place,
        fmt::format("{} of {} matrices are mirrored (their determinant is -1), the first of them that of {}",
                    defects.nMirrored, input.Block.Images.size(), name),
        "One axis has the wrong sign, or two are exchanged, on one side of the matrix: camera axes are x "
        "right, y up, z back, object axes are right-handed with Z up");
  }
  return true;
}

bool HasPrincipalPointInCorner(const SurveyBlock& block) {
  if (block.Cameras.empty()) return false;
  const SurveyCamera& camera = block.Cameras.front();
  return std::fabs(camera.dX0) > 0.25 * camera.nWidth && std::fabs(camera.dY0) > 0.25 * camera.nHeight;
}

/// Where cameras name the centre in the same axes, the origin makes no difference to the rays: y down is told
/// as what it most probably is.
const ImageAxes& ToldAxes(const ImageAxes& axes, const SurveyBlock& block) {
  const bool down = axes.bDown && axes.fOriginX == 0;
  if (!down || !HasPrincipalPointInCorner(block)) return axes;
  for (const ImageAxes& corner : AllImageAxes()) {
    if (corner.bDown && corner.fOriginX < 0) return corner;
  }
  return axes;
}

std::string WriteMeasurements(const ImageAxes& axes, const SurveyBlock& block) {
  std::string write = "Write " + WriteInstead(axes, block.Cameras);
  const SurveyCamera camera = block.Cameras.empty() ? SurveyCamera{} : block.Cameras.front();
  if (camera.dX0 == 0 && camera.dY0 == 0) return write;
  if (axes.fOriginX == 0) return write + ", and the principal point of the cameras likewise, from the centre";
  return write + (HasPrincipalPointInCorner(block)
                      ? ", and the principal point in the same axes"
                      : ", and keep the principal point, which counts from the centre");
}

std::string Figures(const ConventionVerdict& verdict) {
  return fmt::format("rays of {} points meet to {} px that way, to {} px as written", verdict.nPoints,
                     Figure(verdict.Best.dRms), Figure(verdict.Written.dRms));
}

void TellReading(const BlockCheckInput& input, const ConventionVerdict& verdict, Diagnosis& diagnosis) {
  const ImageAxes& axes = ToldAxes(*verdict.Best.pAxes, input.Block);
  const MatrixReading& matrix = *verdict.Best.pMatrix;
  if (!matrix.szCode) {
    diagnosis.Add(axes.szCode, PlaceOfMeasurements(input),
                  fmt::format("{}: {}", axes.szWhat, Figures(verdict)), WriteMeasurements(axes, input.Block));
  } else if (!axes.szCode) {
    diagnosis.Add(matrix.szCode, PlaceOfImage(input, 0, 2),
                  fmt::format("{}: {}", matrix.szWhat, Figures(verdict)), Sentence(matrix.szWrite));
  } else {
    diagnosis.Add(
        "C010", PlaceOfImage(input, 0, 2),
        fmt::format("{}, and {}: {}", axes.szWhat, matrix.szWhat, Figures(verdict)),
        fmt::format("{}; of orientations, {}", WriteMeasurements(axes, input.Block), matrix.szWrite));
  }
}

/// A slip of its own: measurements count from the centre, and only the camera line from the corner.
bool TellPrincipalPoints(const BlockCheckInput& input, Diagnosis& diagnosis) {
  constexpr double kNearCorner = 0.15;  // of the half extent
  bool any = false;
  for (size_t i = 0; i < input.Block.Cameras.size(); ++i) {
    const SurveyCamera& camera = input.Block.Cameras[i];
    const double w = camera.nWidth / 2.0, h = camera.nHeight / 2.0;
    if (!(w > 0 && h > 0) || !IsUsable(camera)) continue;
    if (std::fabs(camera.dX0 / w - 1) > kNearCorner || std::fabs(std::fabs(camera.dY0 / h) - 1) > kNearCorner)
      continue;
    any = true;
    diagnosis.Add("G015", PlaceOfCamera(input, i),
                  fmt::format("x0 = {:.6g}, y0 = {:.6g} is a corner of the image", camera.dX0, camera.dY0),
                  fmt::format("The principal point counts from the image centre, y up: write {:.6g}, {:.6g}",
                              camera.dX0 - w, camera.dY0 > 0 ? h - camera.dY0 : camera.dY0 + h));
  }
  return any;
}

}  // namespace

bool CheckConventions(const BlockCheckInput& input, Diagnosis& diagnosis) {
  if (TellRotationDefects(input, diagnosis)) return true;
  const ConventionVerdict verdict = TryConventions(input.Block);
  if (verdict.bWrong) {
    TellReading(input, verdict, diagnosis);
    return true;
  }
  if (TellPrincipalPoints(input, diagnosis)) return true;
  const bool decided = verdict.nPoints >= kFewestTrialPoints && verdict.Written.dRms < kTrialLimit;
  if (!decided && IsFromCorner(FindCoordinateRange(input.Block, input.Block.Tie))) {
    diagnosis.Add("C013", PlaceOfMeasurements(input),
                  "coordinates run from 0 to the extent of the images: their origin is a corner",
                  "Count from the image centre with y up: write " +
                      WriteInstead(AllImageAxes()[2], input.Block.Cameras) + " where y points down, " +
                      WriteInstead(AllImageAxes()[3], input.Block.Cameras) + " where it points up");
    return true;
  }
  if (decided && verdict.Written.dBehind > 0.5) {
    diagnosis.Add(
        "C014", PlaceOfImage(input, 0, 2),
        fmt::format("{:.0f} % of the points lie behind their cameras", 100 * verdict.Written.dBehind),
        "The rays meet, but cameras look away from them: write matrices for camera axes with x right, y up "
        "and z back, and a positive focal length");
    return true;
  }
  return false;
}

}  // namespace orvo
