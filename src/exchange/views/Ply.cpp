#include "exchange/views/Ply.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/LittleEndian.h"
#include "exchange/views/Footprint.h"

namespace orvo::exchange {
namespace {

constexpr size_t kPieceBytes = 1 << 16;

void WritePoints(const SurveyPoints& points, const std::vector<StrictPoint>& solved, TextWriter& file) {
  std::string piece;
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    for (const double value : solved[k].P) AppendLittle(piece, value);
    AppendLittle(piece, static_cast<float>(solved[k].Rms()));
    AppendLittle(piece, static_cast<uint16_t>(
                            std::min<int32_t>(solved[k].nRays, std::numeric_limits<uint16_t>::max())));
    AppendLittle(piece, static_cast<uint8_t>(std::clamp(points.Points[k].nType, 0, 2)));
    if (piece.size() < kPieceBytes) continue;
    file.Write(piece);
    piece.clear();
  }
  file.Write(piece);
}

/// Top and corners of the pyramid of one image.
void AppendPyramid(std::string& out, const SurveyBlock& block, size_t ordinal, double depth) {
  const SurveyImage& image = block.Images[ordinal];
  std::array<double, 2> half{0.5, 0.5};  // in units of the focal length, where the camera does not tell
  if (image.nCamera >= 0 && image.nCamera < std::ssize(block.Cameras)) {
    const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
    if (camera.dFocal > 0) half = {0.5 * camera.nWidth / camera.dFocal, 0.5 * camera.nHeight / camera.dFocal};
  }
  const double corners[5][3] = {{0, 0, 0},
                                {-half[0], -half[1], -1},
                                {half[0], -half[1], -1},
                                {half[0], half[1], -1},
                                {-half[0], half[1], -1}};
  for (const auto& corner : corners) {
    for (size_t row = 0; row < 3; ++row) {
      double value = image.S[row];
      for (size_t k = 0; k < 3; ++k) value += depth * image.R[3 * row + k] * corner[k];
      AppendLittle(out, value);
    }
    AppendLittle(out, static_cast<int32_t>(ordinal));
  }
}

}  // namespace

double PyramidDepth(const SurveyBlock& block) {
  std::vector<double> steps;
  for (size_t k = 1; k < block.Images.size(); ++k) {
    const auto &p = block.Images[k - 1].S, &q = block.Images[k].S;
    const double step = std::hypot(q[0] - p[0], q[1] - p[1], q[2] - p[2]);
    if (std::isfinite(step)) steps.push_back(step);
  }
  const double depth = MedianOf(steps) / 3;
  return depth > 0 ? depth : 1;
}

void WritePointsPly(const ViewBlock& view, TextWriter& file) {
  file.Write(fmt::format(
      "ply\n"
      "format binary_little_endian 1.0\n"
      "comment Orvo: points by least squares; rms in image units; type 0 tie, 1 control, 2 check\n"
      "element vertex {}\n"
      "property double x\nproperty double y\nproperty double z\n"
      "property float rms\nproperty ushort rays\nproperty uchar type\n"
      "end_header\n",
      SolvedNum(view.Tie) + SolvedNum(view.Control)));
  WritePoints(view.Block.Tie, view.Tie, file);
  WritePoints(view.Block.Control, view.Control, file);
}

void WriteCamerasPly(const SurveyBlock& block, double depth, TextWriter& file) {
  const size_t images = block.Images.size();
  file.Write(
      fmt::format("ply\n"
                  "format binary_little_endian 1.0\n"
                  "comment Orvo: a pyramid for each image, its top in the projection centre\n"
                  "element vertex {}\n"
                  "property double x\nproperty double y\nproperty double z\nproperty int image\n"
                  "element face {}\n"
                  "property list uchar int vertex_indices\n"
                  "end_header\n",
                  5 * images, 4 * images));
  std::string piece;
  for (size_t k = 0; k < images; ++k) {
    piece.clear();
    AppendPyramid(piece, block, k, depth);
    file.Write(piece);
  }
  for (size_t k = 0; k < images; ++k) {
    piece.clear();
    const auto top = static_cast<int32_t>(5 * k);
    for (int32_t side = 0; side < 4; ++side) {
      AppendLittle(piece, uint8_t{3});
      for (const int32_t vertex : {top, top + 1 + side, top + 1 + (side + 1) % 4})
        AppendLittle(piece, vertex);
    }
    file.Write(piece);
  }
}

}  // namespace orvo::exchange
