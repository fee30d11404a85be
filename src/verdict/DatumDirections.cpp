#include "verdict/DatumDirections.h"

#include <array>
#include <cmath>
#include <numbers>

#include "geometry/OrvoMatrix.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

constexpr size_t kDirections = 7;

/// Changes of X, Y, Z, phi, omega, kappa of one image for a unit of each direction: three shifts, three turns
/// about the axes, the scale.
std::array<std::array<double, 6>, kDirections> MovesOf(const EopRecord& image) {
  constexpr double kTurn = 1e-6;
  std::array<std::array<double, 6>, kDirections> moves{};
  const double P[3] = {image.X, image.Y, image.Z};
  double R[9];
  ComputeRotationMatrix(image.fPhi, image.fOmega, image.fKappa, R);
  for (size_t k = 0; k < 3; ++k) {
    moves[k][k] = 1;
    moves[6][k] = P[k];
    // A small turn about axis k: row a gains row c's, row b loses, as the cross product has it.
    const size_t a = (k + 1) % 3, b = (k + 2) % 3;
    moves[3 + k][a] = -P[b];
    moves[3 + k][b] = P[a];
    double turned[9];
    for (size_t i = 0; i < 9; ++i) turned[i] = R[i];
    for (size_t j = 0; j < 3; ++j) {
      turned[3 * a + j] = std::cos(kTurn) * R[3 * a + j] - std::sin(kTurn) * R[3 * b + j];
      turned[3 * b + j] = std::sin(kTurn) * R[3 * a + j] + std::cos(kTurn) * R[3 * b + j];
    }
    double before[3], after[3];
    ComputeAngles(R, before[0], before[1], before[2]);
    ComputeAngles(turned, after[0], after[1], after[2]);
    for (size_t j = 0; j < 3; ++j) {
      moves[3 + k][3 + j] = std::remainder(after[j] - before[j], 2 * std::numbers::pi) / kTurn;
    }
  }
  return moves;
}

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

}  // namespace

void RemoveDatum(const UnknownLayout& layout, std::span<const EopRecord> images, std::vector<double>& r) {
  if (layout.nLayoutMode == LayoutIop) return;
  std::vector<std::vector<double>> directions(kDirections, std::vector<double>(r.size()));
  int32_t row = 0;
  for (const EopRecord& image : images) {
    if (image.nStatus == 1) continue;
    const auto first = static_cast<size_t>(layout.Position(row++));
    if (first + 6 > r.size()) break;
    const auto moves = MovesOf(image);
    for (size_t d = 0; d < kDirections; ++d) {
      for (size_t k = 0; k < 6; ++k) directions[d][first + k] = moves[d][k];
    }
  }
  for (size_t d = 0; d < kDirections; ++d) {
    std::vector<double>& own = directions[d];
    const double before = Dot(own, own);
    for (size_t e = 0; e < d; ++e) {
      const double share = Dot(own, directions[e]);
      for (size_t i = 0; i < own.size(); ++i) own[i] -= share * directions[e][i];
    }
    const double length = std::sqrt(Dot(own, own));
    // What the directions before it have all of, or what is no number, is none.
    const double scale = length * length > 1e-12 * before ? 1 / length : 0;
    for (double& element : own) element *= scale;
    const double along = Dot(own, r);
    for (size_t i = 0; i < r.size(); ++i) r[i] -= along * own[i];
  }
}

}  // namespace orvo
