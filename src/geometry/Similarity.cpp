#include "geometry/Similarity.h"

#include <algorithm>
#include <cmath>

#include "geometry/OrvoMatrix.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

constexpr int kUnknownNum = 7;
constexpr int kMaxIterationNum = 20;
constexpr double kConvergeThreshold = 1e-5;
/// An unknown whose column of the design matrix is a combination of the others up to this part of its squared
/// length is known from rounding errors only: points within a millionth of their extent from a line.
constexpr double kLeastIndependence = 1e-12;

Position Centroid(std::span<const Position> points) {
  Position sum{};
  for (const Position& p : points) {
    for (size_t axis = 0; axis < 3; ++axis) sum[axis] += p[axis];
  }
  for (double& value : sum) value /= static_cast<double>(points.size());
  return sum;
}

double SizeAbout(const Position& centroid, std::span<const Position> points) {
  double sum = 0;
  for (const Position& p : points) {
    for (size_t axis = 0; axis < 3; ++axis) sum += (p[axis] - centroid[axis]) * (p[axis] - centroid[axis]);
  }
  return std::sqrt(sum / static_cast<double>(points.size()));
}

Position Rotate(const double* R, const Position& a) {
  return {R[0] * a[0] + R[1] * a[1] + R[2] * a[2], R[3] * a[0] + R[4] * a[1] + R[5] * a[2],
          R[6] * a[0] + R[7] * a[1] + R[8] * a[2]};
}

/// q (p - c)
Position Reduced(const Position& p, const double* parameters, double q) {
  const double* c = parameters + SevenSourceCentroid;
  return {q * (p[0] - c[0]), q * (p[1] - c[1]), q * (p[2] - c[2])};
}

/// N = A'A and W = A'l at the current parameters.
void BuildNormalEquation(std::span<const Position> source, std::span<const Position> target,
                         const double* parameters, double* N, double* W) {
  const double* T = parameters + SevenTranslation;
  const double* d = parameters + SevenTargetCentroid;
  const double lambda = parameters[SevenScale];
  const double phi = parameters[SevenAngles], omega = parameters[SevenAngles + 1];
  const double sinPhi = std::sin(phi), cosPhi = std::cos(phi);
  const double sinOmega = std::sin(omega), cosOmega = std::cos(omega);
  const double q = parameters[SevenTargetSize] / parameters[SevenSourceSize];
  double R[9];
  ComputeRotationMatrix(phi, omega, parameters[SevenAngles + 2], R);

  std::fill_n(N, kUnknownNum * kUnknownNum, 0.0);
  std::fill_n(W, kUnknownNum, 0.0);
  for (size_t i = 0; i < source.size(); ++i) {
    const Position r = Rotate(R, Reduced(source[i], parameters, q));
    const double U = lambda * r[0], V = lambda * r[1], W3 = lambda * r[2];
    const double A[3][kUnknownNum] = {
        {1, 0, 0, r[0], -W3, -V * sinPhi, -V * cosPhi * cosOmega - W3 * sinOmega},
        {0, 1, 0, r[1], 0, U * sinPhi - W3 * cosPhi, U * cosPhi * cosOmega + W3 * sinPhi * cosOmega},
        {0, 0, 1, r[2], U, V * cosPhi, U * sinOmega - V * sinPhi * cosOmega}};
    const double l[3] = {target[i][0] - d[0] - T[0] - U, target[i][1] - d[1] - T[1] - V,
                         target[i][2] - d[2] - T[2] - W3};
    for (int row = 0; row < 3; ++row) {
      for (int j = 0; j < kUnknownNum; ++j) {
        for (int k = j; k < kUnknownNum; ++k) N[kUnknownNum * j + k] += A[row][j] * A[row][k];
        W[j] += A[row][j] * l[row];
      }
    }
  }
  for (int j = 1; j < kUnknownNum; ++j) {
    for (int k = 0; k < j; ++k) N[kUnknownNum * j + k] = N[kUnknownNum * k + j];
  }
}

/// x = inverse of N times W; false where N is singular. The inverse alone can't tell: its tolerance is
/// absolute, and rounding lifts the pivots of a singular matrix of large numbers far above it.
bool SolveStep(double* N, const double* W, double* x) {
  double diagonal[kUnknownNum];
  for (int j = 0; j < kUnknownNum; ++j) diagonal[j] = N[(kUnknownNum + 1) * j];
  if (InvertGaussJordan(N, kUnknownNum) != 1) return false;
  for (int j = 0; j < kUnknownNum; ++j) {
    // 1 / (N_jj Q_jj) is the part of column j's squared length that the other columns do not explain.
    const double dependence = diagonal[j] * N[(kUnknownNum + 1) * j];
    if (!(dependence > 0 && dependence * kLeastIndependence < 1)) return false;
    x[j] = 0;
    for (int k = 0; k < kUnknownNum; ++k) x[j] += N[kUnknownNum * j + k] * W[k];
    if (!std::isfinite(x[j])) return false;
  }
  return true;
}

}  // namespace

int SolveSevenParameters(std::span<const Position> source, std::span<const Position> target,
                         double* parameters) {
  const Position c = Centroid(source), d = Centroid(target);
  std::copy(c.begin(), c.end(), parameters + SevenSourceCentroid);
  std::copy(d.begin(), d.end(), parameters + SevenTargetCentroid);
  parameters[SevenSourceSize] = SizeAbout(c, source);
  parameters[SevenTargetSize] = SizeAbout(d, target);
  // Also false for the not-a-number of an empty set.
  if (!HoldsTransform(parameters)) return 0;

  int iteration = 0;
  while (iteration < kMaxIterationNum) {
    double N[kUnknownNum * kUnknownNum], W[kUnknownNum], x[kUnknownNum];
    BuildNormalEquation(source, target, parameters, N, W);
    if (!SolveStep(N, W, x)) return 0;
    for (int j = 0; j < 3; ++j) {
      parameters[SevenTranslation + j] += x[j];
      parameters[SevenAngles + j] += x[4 + j];
    }
    parameters[SevenScale] *= 1 + x[3];
    ++iteration;
    if (std::fabs(MaxMagnitude(x, kUnknownNum, 1)) <= kConvergeThreshold) break;
  }
  // Deliberate: only the count decides, so a solve that converges in the last iteration has failed too.
  if (iteration == kMaxIterationNum) return 0;
  // From a start more than 90 degrees off, the scale runs through zero and a flat block converges to its
  // mirror image: positions fit, rotations and heights are wrong. A later start has the true solution.
  return parameters[SevenScale] > 0 ? 1 : 0;
}

int SolveSevenParametersFromAnyKappa(std::span<const Position> source, std::span<const Position> target,
                                     double* parameters) {
  for (int k = 0; k < 16; k += 2) {
    std::fill_n(parameters, SevenParameterNum, 0.0);
    parameters[SevenScale] = 1.0;
    parameters[SevenAngles + 2] = k * 3.1415926535 * 0.125;
    if (SolveSevenParameters(source, target, parameters) == 1) return 1;
  }
  return 0;
}

bool HoldsTransform(const double* parameters) {
  const double source = parameters[SevenSourceSize], target = parameters[SevenTargetSize];
  return source > 0 && std::isfinite(source) && target > 0 && std::isfinite(target);
}

int TransformPoints(std::span<const Position> source, const double* parameters, std::span<Position> result) {
  const double* T = parameters + SevenTranslation;
  const double* d = parameters + SevenTargetCentroid;
  const double lambda = parameters[SevenScale];
  const double q = parameters[SevenTargetSize] / parameters[SevenSourceSize];
  double R[9];
  ComputeRotationMatrix(parameters[SevenAngles], parameters[SevenAngles + 1], parameters[SevenAngles + 2], R);
  for (size_t i = 0; i < source.size(); ++i) {
    const Position r = Rotate(R, Reduced(source[i], parameters, q));
    for (size_t axis = 0; axis < 3; ++axis) result[i][axis] = r[axis] * lambda + T[axis] + d[axis];
  }
  return 1;
}

int RotateEop(const double* parameters, double& phi, double& omega, double& kappa) {
  double R1[9], R2[9], M[9];
  ComputeRotationMatrix(parameters[SevenAngles], parameters[SevenAngles + 1], parameters[SevenAngles + 2],
                        R1);
  ComputeRotationMatrix(phi, omega, kappa, R2);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j)
      M[3 * i + j] = R1[3 * i] * R2[j] + R1[3 * i + 1] * R2[3 + j] + R1[3 * i + 2] * R2[6 + j];
  }
  ComputeAngles(M, phi, omega, kappa);
  return 1;
}

}  // namespace orvo
