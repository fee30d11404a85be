#include <algorithm>
#include <cmath>

#include "geometry/Intersection.h"
#include "geometry/OrvoMatrix.h"
#include "geometry/RaySums.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

/// Beyond this condition number no digit of a solution is left: rays that are parallel but for rounding.
constexpr double kSingularCondition = 1e14;
/// Pivots above this part of the trace, and above this size, leave no doubt that a matrix is regular.
constexpr double kRegularPivot = 1e-9;
constexpr double kLeastRegularPivot = 1e-20;

double Square(double value) { return value * value; }

double SquaredResiduals(std::span<const Ray> rays, const double* P) {
  double sum = 0.0;
  for (const Ray& ray : rays) {
    RayEquation a, b;
    FormRayEquations(*ray.pFrame, *ray.pCamera, ray.x, ray.y, a, b);
    sum += Square(a.l12[0] * P[0] + a.l12[1] * P[1] + a.l3x[0] * P[2] - a.l3x[1]);
    sum += Square(b.l12[0] * P[0] + b.l12[1] * P[1] + b.l3x[0] * P[2] - b.l3x[1]);
  }
  return sum;
}

/// P = Q W with Q the inverse of N, as the general kit inverts. False with P untouched when there is no
/// solution.
bool SolveWithFullPivot(const RaySums& sums, double* P, double* Q) {
  double N[9], W[3], solution[3];
  for (int i = 0; i < 3; ++i) {
    N[3 * i] = sums.N[i].l12[0];
    N[3 * i + 1] = sums.N[i].l12[1];
    N[3 * i + 2] = sums.N[i].l3x[0];
    W[i] = sums.N[i].l3x[1];
  }
  std::copy(N, N + 9, Q);
  if (InvertGaussJordan(Q, 3) != 1) return false;
  if (!(std::fabs(MaxMagnitude(N, 3, 3) * MaxMagnitude(Q, 3, 3)) < kSingularCondition)) return false;
  for (int i = 0; i < 3; ++i) {
    solution[i] = Q[3 * i] * W[0] + Q[3 * i + 1] * W[1] + Q[3 * i + 2] * W[2];
    if (!std::isfinite(solution[i])) return false;
  }
  std::copy(solution, solution + 3, P);
  return true;
}

}  // namespace

ImageFrame MakeImageFrame(const EopRecord& eop) {
  ImageFrame frame;
  double R[9];
  ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, R);
  for (int k = 0; k < 3; ++k) {
    double* C = frame.C[k];
    C[0] = R[k];
    C[1] = R[3 + k];
    C[2] = R[6 + k];
    C[3] = C[0] * eop.X + C[1] * eop.Y + C[2] * eop.Z;
  }
  return frame;
}

std::vector<ImageFrame> MakeImageFrames(std::span<const EopRecord> eop) {
  std::vector<ImageFrame> frames(eop.size());
  std::transform(eop.begin(), eop.end(), frames.begin(), MakeImageFrame);
  return frames;
}

bool SolveRaySums(const RaySums& sums, double* P) {
  // Cholesky's elimination without roots, for the well conditioned points, which are nearly all.
  const double N00 = sums.N[0].l12[0], N01 = sums.N[0].l12[1], N02 = sums.N[0].l3x[0];
  const double N11 = sums.N[1].l12[1], N12 = sums.N[1].l3x[0], N22 = sums.N[2].l3x[0];
  const double W0 = sums.N[0].l3x[1];
  const double r0 = 1.0 / N00;
  const double l10 = N01 * r0, l20 = N02 * r0;
  const double d1 = N11 - l10 * N01;
  const double n21 = N12 - l20 * N01;
  const double r1 = 1.0 / d1;
  const double l21 = n21 * r1;
  const double d2 = N22 - l20 * N02 - l21 * n21;
  const double floor = kRegularPivot * (N00 + N11 + N22);
  // Written so that not-a-number goes the slow way too.
  if (!(floor > kLeastRegularPivot && N00 > floor && d1 > floor && d2 > floor)) {
    double Q[9];
    return SolveWithFullPivot(sums, P, Q);
  }
  const double w1 = sums.N[1].l3x[1] - l10 * W0;
  const double w2 = sums.N[2].l3x[1] - l20 * W0 - l21 * w1;
  const double Z = w2 / d2;
  const double Y = w1 * r1 - l21 * Z;
  const double X = W0 * r0 - l10 * Y - l20 * Z;
  if (!(std::isfinite(X) && std::isfinite(Y) && std::isfinite(Z))) return false;
  P[0] = X;
  P[1] = Y;
  P[2] = Z;
  return true;
}

int IntersectRays(std::span<const Ray> rays, double* P, double* deviation) {
  if (rays.size() < 2) return 0;
  RaySums sums;
  for (const Ray& ray : rays) sums.Add(*ray.pFrame, *ray.pCamera, ray.x, ray.y);
  if (deviation == nullptr) return SolveRaySums(sums, P) ? 1 : 0;
  double Q[9];
  if (!SolveWithFullPivot(sums, P, Q)) return 0;
  const double freedom = 2.0 * static_cast<double>(rays.size()) - 3.0;
  const double sigma0 = std::sqrt(SquaredResiduals(rays, P) / freedom);
  for (int i = 0; i < 3; ++i) deviation[i] = sigma0 * std::sqrt(Q[4 * i]);
  return 1;
}

}  // namespace orvo
