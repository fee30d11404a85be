#include "rigorous/WeakDirections.h"

#include <algorithm>
#include <cmath>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

constexpr double kNamedShare = 0.15;
constexpr double kStripWidth = 0.2;  ///< of its length
/// Of a motion's own sum of squares: below this the others make it up.
constexpr double kLeastPivot = 1e-10;

using Axes = std::array<Vector3, 3>;
using Motions = std::array<double, kBlockMotionNum>;

constexpr Axes kObjectAxes = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

/// Of an image: of its centre, and as the rotation vector on the right of R.
struct ImageMotion {
  Vector3 Centre{}, Turn{};
};

Vector3 Cross(const Vector3& a, const Vector3& b) { return Multiply(CrossMatrix(a), b); }

double Dot(const Vector3& a, const Vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

/// By one of the seven, with turns about `axes`.
ImageMotion MotionOfImage(const ImagePose& pose, const Vector3& middle, const Axes& axes, int motion) {
  const Vector3 arm = pose.Centre - middle;
  if (motion < 3) return {kObjectAxes[motion], {}};
  if (motion == kBlockMotionNum - 1) return {arm, {}};
  const Vector3& w = axes[motion - 3];
  return {Cross(w, arm), MultiplyTransposed(pose.R, w)};
}

std::vector<size_t> UnknownImages(const UnknownPlan& plan) {
  std::vector<size_t> images;
  for (size_t i = 0; i < plan.vImageNode.size(); ++i) {
    if (plan.vImageNode[i] >= 0) images.push_back(i);
  }
  return images;
}

Vector3 MiddleOf(const std::vector<size_t>& images, const Estimate& estimate) {
  Vector3 sum{};
  for (const size_t i : images) sum = sum + estimate.vPoses[i].Centre;
  return images.empty() ? sum : 1.0 / static_cast<double>(images.size()) * sum;
}

void PutAt(const Vector3& value, int64_t place, std::span<double> direction) {
  for (int k = 0; k < 3; ++k) direction[static_cast<size_t>(place + k)] = value[k];
}

/// Least squares of constant + time * linear to what the images of a strip ask for.
class DriftFit {
 public:
  void Add(double time, const Vector3& wanted) {
    nNum += 1;
    fTimes += time;
    fSquares += time * time;
    Sum = Sum + wanted;
    Moment = Moment + time * wanted;
  }

  /// Of the terms that are unknown (a column other than -1); where the times do not tell them apart the
  /// constant.
  void Put(int64_t first, int32_t constant, int32_t linear, std::span<double> direction) const {
    if (nNum == 0) return;
    const bool isBoth = constant >= 0 && linear >= 0;
    const double mean = isBoth ? fTimes / nNum : 0;
    const double spread = fSquares - nNum * mean * mean;
    const bool hasSlope = linear >= 0 && spread > kLeastPivot * fSquares;
    const Vector3 slope = hasSlope ? 1 / spread * (Moment - mean * Sum) : Vector3{};
    if (linear >= 0) PutAt(slope, first + linear, direction);
    if (constant >= 0) PutAt(1 / nNum * Sum - mean * slope, first + constant, direction);
  }

 private:
  double nNum = 0, fTimes = 0, fSquares = 0;
  Vector3 Sum{}, Moment{};
};

bool IsObserved(const Vector3& sigma) {
  return std::any_of(sigma.begin(), sigma.end(), [](double s) { return std::isfinite(s); });
}

/// Of the drifts of one strip that take an image's motion out of its observations.
struct StripFit {
  DriftFit Gps, Imu;

  void Add(const ImageModel& image, const ImagePose& pose, const CameraEstimate& camera,
           const StripEstimate& strip, const ImageMotion& motion) {
    if (!std::isfinite(image.fTime)) return;
    if (IsObserved(image.GpsSigma)) {
      const Vector3 antenna = motion.Centre + Multiply(pose.R, Cross(motion.Turn, camera.LeverArm));
      Gps.Add(image.fTime, -1.0 * antenna);
    }
    if (IsObserved(image.ImuSigma)) {
      // exp([c + dc]x) = exp(-[B'w]x) exp([c]x): by the inverse left Jacobian of the drift.
      const Vector3 turn = strip.Imu.Constant + image.fTime * strip.Imu.Linear;
      const Vector3 inImu = MultiplyTransposed(camera.Boresight, motion.Turn);
      Imu.Add(image.fTime, -1.0 * MultiplyTransposed(InverseRightJacobian(turn), inImu));
    }
  }
};

void PutMotion(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
               const std::vector<size_t>& images, int motion, std::span<double> direction) {
  const Vector3 middle = MiddleOf(images, estimate);
  std::vector<StripFit> fits(plan.vStrips.size());
  for (const size_t i : images) {
    const ImageModel& image = problem.vImages[i];
    const ImagePose& pose = estimate.vPoses[i];
    const ImageMotion moved = MotionOfImage(pose, middle, kObjectAxes, motion);
    const int64_t first = plan.vFirstUnknown[plan.vImageNode[i]];
    PutAt(moved.Centre, first, direction);
    PutAt(moved.Turn, first + 3, direction);
    if (image.nStrip < 0) continue;
    fits[image.nStrip].Add(image, pose, estimate.vCameras[image.nCamera], estimate.vStrips[image.nStrip],
                           moved);
  }
  for (size_t s = 0; s < fits.size(); ++s) {
    const StripColumns& columns = plan.vStrips[s];
    if (columns.nNode < 0) continue;
    const int64_t first = plan.vFirstUnknown[columns.nNode];
    fits[s].Gps.Put(first, columns.nGpsConstant, columns.nGpsLinear, direction);
    fits[s].Imu.Put(first, columns.nImuConstant, columns.nImuLinear, direction);
  }
}

/// Along the largest extent of the centres as seen from above, and across it; else X and Y.
bool FindStrip(const std::vector<size_t>& images, const Estimate& estimate, const Vector3& middle,
               Axes& axes) {
  double xx = 0, xy = 0, yy = 0;
  for (const size_t i : images) {
    const Vector3 arm = estimate.vPoses[i].Centre - middle;
    xx += arm[0] * arm[0], xy += arm[0] * arm[1], yy += arm[1] * arm[1];
  }
  const double half = std::hypot(xx - yy, 2 * xy) / 2, mean = (xx + yy) / 2;
  const bool isStrip = mean > 0 && mean - half < kStripWidth * kStripWidth * (mean + half);
  if (!isStrip) return false;
  const double angle = std::atan2(2 * xy, xx - yy) / 2;
  axes[0] = {std::cos(angle), std::sin(angle), 0};
  axes[1] = {-std::sin(angle), std::cos(angle), 0};
  return true;
}

/// Mean distance of the points from the images that see them; 1 where there are none.
double MeanDistance(const Problem& problem, const Estimate& estimate) {
  double sum = 0, count = 0;
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    for (const Ray& ray : problem.RaysOf(p)) {
      if (ray.nImage < 0) continue;
      const double distance = Norm(estimate.vPoints[p] - estimate.vPoses[ray.nImage].Centre);
      if (!std::isfinite(distance)) continue;
      sum += distance;
      count += 1;
    }
  }
  return sum > 0 && std::isfinite(sum) ? sum / count : 1;
}

/// Normal equations of the seven motions against a direction.
struct MotionEquations {
  std::array<Motions, kBlockMotionNum> N{};
  Motions n{};
  double fSquares = 0;  ///< of the direction

  void Add(const std::array<ImageMotion, kBlockMotionNum>& motions, const ImageMotion& moved,
           double distance) {
    const double d2 = distance * distance;
    const auto product = [d2](const ImageMotion& a, const ImageMotion& b) {
      return Dot(a.Centre, b.Centre) + d2 * Dot(a.Turn, b.Turn);
    };
    for (int i = 0; i < kBlockMotionNum; ++i) {
      for (int k = 0; k < kBlockMotionNum; ++k) N[i][k] += product(motions[i], motions[k]);
      n[i] += product(motions[i], moved);
    }
    fSquares += product(moved, moved);
  }

  /// By elimination; motions that others make up are left at 0.
  Motions Solve() const {
    auto A = N;
    Motions x = n;
    std::array<bool, kBlockMotionNum> used{};
    for (int i = 0; i < kBlockMotionNum; ++i) {
      used[i] = A[i][i] > kLeastPivot * N[i][i];
      if (!used[i]) x[i] = 0;
      if (!used[i]) continue;
      for (int row = 0; row < kBlockMotionNum; ++row) {
        if (row == i) continue;
        const double factor = A[row][i] / A[i][i];
        for (int k = 0; k < kBlockMotionNum; ++k) A[row][k] -= factor * A[i][k];
        x[row] -= factor * x[i];
      }
    }
    for (int i = 0; i < kBlockMotionNum; ++i) x[i] = used[i] ? x[i] / A[i][i] : 0;
    return x;
  }
};

double LargestOf(std::span<const double> direction) {
  double largest = 0;
  for (const double d : direction) {
    if (!std::isfinite(d)) return kNotObserved;
    largest = std::max(largest, std::fabs(d));
  }
  return largest;
}

std::string NameOf(int motion, bool strip) {
  static constexpr const char* kNames[] = {"shift in X",   "shift in Y",   "height",
                                           "turn about X", "turn about Y", "turn about the vertical",
                                           "scale"};
  if (strip && motion == 3) return "turn about the strip's axis";
  if (strip && motion == 4) return "turn across the strip";
  return kNames[motion];
}

}  // namespace

std::vector<double> FreeDirections(const Problem& problem, const UnknownPlan& plan,
                                   const Estimate& estimate) {
  const auto unknownNum = static_cast<size_t>(plan.UnknownNum());
  std::vector<double> directions(kBlockMotionNum * unknownNum);
  const std::vector<size_t> images = UnknownImages(plan);
  for (int k = 0; k < kBlockMotionNum; ++k) {
    PutMotion(problem, plan, estimate, images, k, std::span(directions).subspan(k * unknownNum, unknownNum));
  }
  return directions;
}

BlockMotion MotionOf(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                     std::span<const double> direction) {
  const std::vector<size_t> images = UnknownImages(plan);
  const Vector3 middle = MiddleOf(images, estimate);
  Axes axes = kObjectAxes;
  BlockMotion found;
  found.bStrip = FindStrip(images, estimate, middle, axes);
  const double distance = MeanDistance(problem, estimate), scale = LargestOf(direction);
  MotionEquations equations;
  for (const size_t i : images) {
    const auto first = static_cast<size_t>(plan.vFirstUnknown[plan.vImageNode[i]]);
    const auto at = [&](size_t k) { return scale > 0 ? direction[first + k] / scale : 0; };
    std::array<ImageMotion, kBlockMotionNum> motions;
    for (int k = 0; k < kBlockMotionNum; ++k) motions[k] = MotionOfImage(estimate.vPoses[i], middle, axes, k);
    equations.Add(motions, {{at(0), at(1), at(2)}, {at(3), at(4), at(5)}}, distance);
  }
  found.bFinite = std::isfinite(scale) && std::isfinite(equations.fSquares);
  if (!found.bFinite || equations.fSquares == 0) return found;
  const Motions x = equations.Solve();
  found.fRest = 1;
  for (int k = 0; k < kBlockMotionNum; ++k) {
    found.Shares[k] = x[k] * equations.n[k] / equations.fSquares;
    found.fRest -= found.Shares[k];
  }
  found.bFinite = std::isfinite(found.fRest);
  return found;
}

std::string WordsOf(const BlockMotion& motion) {
  if (!motion.bFinite) return "not finite";
  if (motion.fRest > 0.5) return "deformation of the block";
  std::vector<std::string> names;
  for (const int k : {6, 2, 0, 1, 3, 4, 5}) {
    if (motion.Shares[k] > kNamedShare) names.push_back(NameOf(k, motion.bStrip));
  }
  if (names.empty()) {
    const bool isStill = motion.fRest == 0 && motion.Shares == Motions{};
    return isStill ? "no motion of the images" : "motion of the block";
  }
  std::string words = names[0];
  for (size_t i = 1; i < names.size(); ++i) words += (i + 1 < names.size() ? ", " : " and ") + names[i];
  if (names.size() > 1) words += " of the block";
  return motion.fRest > kNamedShare ? words + " with deformation" : words;
}

}  // namespace orvo::rigorous
