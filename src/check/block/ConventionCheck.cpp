#include <fmt/format.h>

#include <cmath>

#include "check/BlockCheck.h"
#include "check/block/ConventionTrial.h"
#include "check/block/CoordinateRange.h"
#include "check/block/FindingPlaces.h"
#include "check/block/FindingTexts.h"
#include "check/block/RotationDefects.h"

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

std::string WriteMeasurements(const ImageAxes& axes, const SurveyBlock& block) {
  const bool down = axes.bDown && axes.fOriginX == 0;
  if (down && HasPrincipalPointInCorner(block)) {
    // The cameras name the centre in the same axes, so that the origin makes no difference to the rays.
    for (const ImageAxes& corner : AllImageAxes()) {
      if (corner.bDown && corner.fOriginX < 0)
        return "Write " + WriteInstead(corner, block.Cameras) + ", and the principal point in the same axes";
    }
  }
  const bool principal =
      block.Cameras.size() > 0 && (block.Cameras.front().dX0 != 0 || block.Cameras.front().dY0 != 0);
  return "Write " + WriteInstead(axes, block.Cameras) +
         (principal ? ", and the principal point of the cameras likewise, from the centre" : "");
}

std::string Figures(const ConventionVerdict& verdict) {
  return fmt::format("rays of {} points meet to {} px that way, to {} px as written", verdict.nPoints,
                     Figure(verdict.Best.dRms), Figure(verdict.Written.dRms));
}

void TellReading(const BlockCheckInput& input, const ConventionVerdict& verdict, Diagnosis& diagnosis) {
  const ImageAxes& axes = *verdict.Best.pAxes;
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

}  // namespace

bool CheckConventions(const BlockCheckInput& input, Diagnosis& diagnosis) {
  if (TellRotationDefects(input, diagnosis)) return true;
  const ConventionVerdict verdict = TryConventions(input.Block);
  if (verdict.bWrong) {
    TellReading(input, verdict, diagnosis);
    return true;
  }
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
