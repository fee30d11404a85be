// A block of vertical images over flat ground whose figures are known by hand.
#pragma once

#include <cmath>
#include <string>

#include "records/SurveyBlock.h"

namespace orvo::test {

/// Strips along X, one behind the other along Y.
struct VerticalLayout {
  int nStrips = 3, nImages = 6;  ///< images of a strip
  double dBase = 200, dSpacing = 480;
  double dHeight = 1000, dGround = 50;
  double dFocal = 5000;
  int nWidth = 3000, nHeight = 4000;
  double dPointStep = 60;  ///< of a grid of tie points
};

inline SurveyMeasurement Measure(const SurveyBlock& block, int image, const std::array<double, 3>& P) {
  const SurveyImage& from = block.Images[static_cast<size_t>(image)];
  const SurveyCamera& camera = block.Cameras[static_cast<size_t>(from.nCamera)];
  std::array<double, 3> b{};
  for (size_t k = 0; k < 3; ++k) {
    for (size_t row = 0; row < 3; ++row) b[k] += from.R[3 * row + k] * (P[row] - from.S[row]);
  }
  return {image, camera.dX0 - camera.dFocal * b[0] / b[2], camera.dY0 - camera.dFocal * b[1] / b[2]};
}

inline bool IsInside(const SurveyBlock& block, const SurveyMeasurement& m) {
  const SurveyCamera& camera =
      block.Cameras[static_cast<size_t>(block.Images[static_cast<size_t>(m.nImage)].nCamera)];
  return std::abs(m.x) <= 0.5 * camera.nWidth && std::abs(m.y) <= 0.5 * camera.nHeight;
}

inline SurveyPoint NamedPoint(const std::string& name, const std::array<double, 3>& P, int type) {
  SurveyPoint point;
  name.copy(point.szName.data(), point.szName.size() - 1);
  point.P = P;
  point.nType = type;
  return point;
}

/// Adds the point with all images that see it; false where there are none.
inline bool AddPoint(const SurveyBlock& block, SurveyPoints& points, const std::string& name,
                     const std::array<double, 3>& P, int type) {
  SurveyPoint point = NamedPoint(name, P, type);
  point.nFirstMeasurement = std::ssize(points.Measurements);
  for (int image = 0; image < std::ssize(block.Images); ++image) {
    const SurveyMeasurement m = Measure(block, image, P);
    if (IsInside(block, m)) points.Measurements.push_back(m);
  }
  point.nMeasurementNum = static_cast<int32_t>(std::ssize(points.Measurements) - point.nFirstMeasurement);
  if (point.nMeasurementNum == 0) return false;
  points.Points.push_back(point);
  return true;
}

inline SurveyBlock MakeVerticalBlock(const VerticalLayout& layout = {}) {
  SurveyBlock block;
  block.Cameras.push_back({7, layout.nWidth, layout.nHeight, layout.dFocal, 0, 0, 0, 0, 2});
  for (int strip = 0; strip < layout.nStrips; ++strip) {
    for (int k = 0; k < layout.nImages; ++k) {
      SurveyImage image;
      image.nId = 100 * (strip + 1) + k;
      image.nCamera = 0;
      image.szName = "IMG_" + std::to_string(image.nId);
      image.szPath = "images/" + image.szName + ".jpg";
      image.R = {1, 0, 0, 0, 1, 0, 0, 0, 1};
      // Every second strip is flown back.
      const int place = strip % 2 == 0 ? k : layout.nImages - 1 - k;
      image.S = {place * layout.dBase, strip * layout.dSpacing, layout.dGround + layout.dHeight};
      block.Images.push_back(image);
    }
  }
  const double reachX = 0.5 * layout.nWidth * layout.dHeight / layout.dFocal;
  const double reachY = 0.5 * layout.nHeight * layout.dHeight / layout.dFocal;
  int number = 0;
  for (double X = -reachX + 1; X < (layout.nImages - 1) * layout.dBase + reachX; X += layout.dPointStep) {
    for (double Y = -reachY + 1; Y < (layout.nStrips - 1) * layout.dSpacing + reachY;
         Y += layout.dPointStep) {
      AddPoint(block, block.Tie, "T" + std::to_string(number++), {X, Y, layout.dGround}, 0);
    }
  }
  return block;
}

}  // namespace orvo::test
