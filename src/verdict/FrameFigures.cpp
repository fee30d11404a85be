#include "verdict/FrameFigures.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

constexpr size_t kLeastPairs = 5;
/// Pairs that triples are made of, and triples that are tried, at most.
constexpr size_t kMaxCandidates = 24, kMaxTriples = 200;

Position Minus(const Position& a, const Position& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
double Dot(const Position& a, const Position& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double Length(const Position& a) { return std::sqrt(Dot(a, a)); }
Position Cross(const Position& a, const Position& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Position Scaled(const Position& a, double factor) { return {factor * a[0], factor * a[1], factor * a[2]}; }

/// Axes of the plane of three points; false where they lie on a line.
bool AxesOf(const Position& a, const Position& b, const Position& c, std::array<Position, 3>& axes) {
  const Position ab = Minus(b, a), ac = Minus(c, a), normal = Cross(ab, ac);
  const double longest = std::max({Dot(ab, ab), Dot(ac, ac), Dot(Minus(c, b), Minus(c, b))});
  if (!(Length(normal) > 1e-3 * longest)) return false;
  axes[0] = Scaled(ab, 1 / Length(ab));
  axes[2] = Scaled(normal, 1 / Length(normal));
  axes[1] = Cross(axes[2], axes[0]);
  return true;
}

/// The similarity transform that takes three source points onto three target points.
class TripleTransform {
 public:
  bool Make(std::span<const Position> source, std::span<const Position> target,
            const std::array<size_t, 3>& i) {
    const auto perimeter = [&](std::span<const Position> p) {
      return Length(Minus(p[i[1]], p[i[0]])) + Length(Minus(p[i[2]], p[i[1]])) +
             Length(Minus(p[i[0]], p[i[2]]));
    };
    for (size_t k = 0; k < 3; ++k) {
      for (int axis = 0; axis < 3; ++axis) {
        From[static_cast<size_t>(axis)] += source[i[k]][static_cast<size_t>(axis)] / 3;
        To[static_cast<size_t>(axis)] += target[i[k]][static_cast<size_t>(axis)] / 3;
      }
    }
    fScale = perimeter(target) / perimeter(source);
    return AxesOf(source[i[0]], source[i[1]], source[i[2]], SourceAxes) &&
           AxesOf(target[i[0]], target[i[1]], target[i[2]], TargetAxes) && std::isfinite(fScale);
  }
  double Misfit(const Position& source, const Position& target) const {
    const Position d = Minus(source, From);
    Position off = Minus(To, target);
    for (size_t axis = 0; axis < 3; ++axis) {
      const double along = fScale * Dot(SourceAxes[axis], d);
      for (size_t k = 0; k < 3; ++k) off[k] += along * TargetAxes[axis][k];
    }
    return Length(off);
  }

 private:
  std::array<Position, 3> SourceAxes{}, TargetAxes{};
  Position From{}, To{};
  double fScale = 1;
};

}  // namespace

double WidthOverLength(std::span<const Position> points) {
  if (points.size() < 3) return 0;
  Position mean{};
  for (const Position& p : points) {
    for (size_t k = 0; k < 3; ++k) mean[k] += p[k] / static_cast<double>(points.size());
  }
  // The longest direction by repeated multiplication with the scatter, then what is left across it.
  const auto scatterTimes = [&](const Position& v) {
    Position sum{};
    for (const Position& p : points) {
      const Position d = Minus(p, mean);
      const double along = Dot(d, v);
      for (size_t k = 0; k < 3; ++k) sum[k] += along * d[k];
    }
    return sum;
  };
  Position direction = {1, 0.7, 0.3};
  for (int i = 0; i < 50; ++i) {
    const Position next = scatterTimes(direction);
    if (!(Length(next) > 0)) return 0;
    direction = Scaled(next, 1 / Length(next));
  }
  const double along = Dot(direction, scatterTimes(direction));
  // Of the two directions across, the wider one counts: a flat set is no line.
  Position seed = std::fabs(direction[0]) < 0.9 ? Position{1, 0, 0} : Position{0, 1, 0};
  const Position u = Cross(direction, seed), v = Cross(direction, u);
  const Position e = Scaled(u, 1 / Length(u)), f = Scaled(v, 1 / Length(v));
  const Position Se = scatterTimes(e), Sf = scatterTimes(f);
  const double a = Dot(e, Se), b = Dot(e, Sf), c = Dot(f, Sf);
  const double across = (a + c) / 2 + std::hypot((a - c) / 2, b);
  return std::sqrt(std::max(across, 0.0) / along);
}

MeanView ViewOf(std::span<const EopRecord> images) {
  MeanView view;
  for (const EopRecord& image : images) {
    double R[9];
    ComputeRotationMatrix(image.fPhi, image.fOmega, image.fKappa, R);
    for (size_t k = 0; k < 3; ++k) view.Up[k] += R[3 * k + 2] / static_cast<double>(images.size());
  }
  view.fAgreement = Length(view.Up);
  if (view.fAgreement > 0) view.Up = Scaled(view.Up, 1 / view.fAgreement);
  return view;
}

double AngleBetween(const Position& a, const Position& b) {
  if (!(Length(a) > 0 && Length(b) > 0)) return 0;
  return std::atan2(Length(Cross(a, b)), Dot(a, b)) * 180 / std::numbers::pi;
}

std::vector<double> RobustMisfits(std::span<const Position> source, std::span<const Position> target) {
  const size_t n = source.size();
  std::vector<double> best;
  if (n < kLeastPairs || target.size() != n) return best;
  const size_t rank = std::max<size_t>(4, n / 2 + 1) - 1;
  const size_t m = std::min(n, kMaxCandidates);
  const size_t all = m * (m - 1) * (m - 2) / 6, stride = (all + kMaxTriples - 1) / kMaxTriples;
  const auto candidate = [&](size_t i) { return i * n / m; };
  double bestScore = HUGE_VAL;
  size_t number = 0;
  std::vector<double> misfits(n), sorted;
  for (size_t a = 0; a < m; ++a) {
    for (size_t b = a + 1; b < m; ++b) {
      for (size_t c = b + 1; c < m; ++c) {
        if (number++ % stride != 0) continue;
        TripleTransform transform;
        if (!transform.Make(source, target, {candidate(a), candidate(b), candidate(c)})) continue;
        for (size_t i = 0; i < n; ++i) misfits[i] = transform.Misfit(source[i], target[i]);
        sorted = misfits;
        std::ranges::nth_element(sorted, sorted.begin() + static_cast<ptrdiff_t>(rank));
        if (!(sorted[rank] < bestScore)) continue;
        bestScore = sorted[rank];
        best = misfits;
      }
    }
  }
  return best;
}

}  // namespace orvo
