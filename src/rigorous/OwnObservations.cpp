#include "rigorous/OwnObservations.h"

#include <array>
#include <cmath>
#include <span>
#include <utility>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

/// Derivatives of three residuals by three unknowns. Held unknowns have no column.
struct Term {
  int32_t nNode = -1, nColumn = -1;
  Matrix3 Rows{};

  bool IsHeld() const { return nNode < 0 || nColumn < 0; }
};

bool IsObserved(double sigma) { return std::isfinite(sigma); }

int64_t ObservedNum(const Vector3& sigma) {
  int64_t count = 0;
  for (const double s : sigma) count += IsObserved(s) ? 1 : 0;
  return count;
}

/// Row-major blocks, `width` unknowns wide: adds J'K at a place.
void AddProduct(std::span<double> block, int32_t width, const Term& rows, const Term& columns) {
  for (int i = 0; i < 3; ++i) {
    for (int k = 0; k < 3; ++k) {
      double sum = 0;
      for (int c = 0; c < 3; ++c) sum += rows.Rows[3 * c + i] * columns.Rows[3 * c + k];
      block[(rows.nColumn + i) * width + columns.nColumn + k] += sum;
    }
  }
}

/// Takes observations, one kind after the other, into sums and equations.
class Collector {
 public:
  /// Both or none: without them there are sums alone.
  Collector(const UnknownPlan* plan, ReducedEquations* equations) : pPlan(plan), pEquations(equations) {}

  const OwnSums& Sums() const { return Total; }

  void AddImages(const Problem& problem, const Estimate& estimate) {
    for (size_t i = 0; i < problem.vImages.size(); ++i) {
      const ImageModel& image = problem.vImages[i];
      if (ObservedNum(image.GpsSigma) > 0) AddGps(image, i, estimate);
      if (ObservedNum(image.ImuSigma) > 0) AddImu(image, i, estimate);
    }
  }

  void AddCameras(const Problem& problem, const Estimate& estimate) {
    for (size_t c = 0; c < problem.vCameras.size(); ++c) {
      const CameraModel& camera = problem.vCameras[c];
      const CameraEstimate& now = estimate.vCameras[c];
      AddLens(camera, c, now.LensNow);
      AddPrior(camera.LeverArmPrior - now.LeverArm, camera.LeverArmSigma,
               ColumnOf(c, &CameraColumns::nLeverArm));
      AddBoresight(camera, c, now.Boresight);
    }
  }

  void AddStrips(const Problem& problem, const Estimate& estimate) {
    for (size_t s = 0; s < problem.vStrips.size(); ++s) {
      const StripModel& strip = problem.vStrips[s];
      const StripEstimate& now = estimate.vStrips[s];
      const auto add = [&](const Vector3& drift, const Vector3& sigma, int32_t StripColumns::*column) {
        AddPrior(-1.0 * drift, sigma, StripColumnOf(static_cast<int32_t>(s), column));
      };
      add(now.Gps.Constant, strip.GpsConstantSigma, &StripColumns::nGpsConstant);
      add(now.Gps.Linear, strip.GpsLinearSigma, &StripColumns::nGpsLinear);
      add(now.Imu.Constant, strip.ImuConstantSigma, &StripColumns::nImuConstant);
      add(now.Imu.Linear, strip.ImuLinearSigma, &StripColumns::nImuLinear);
    }
  }

 private:
  static constexpr int32_t kCentreColumn = 0, kRotationColumn = 3;

  Term ImageColumn(size_t image, int32_t column, const Matrix3& rows) const {
    return {pPlan ? pPlan->vImageNode[image] : -1, column, rows};
  }
  Term ColumnOf(size_t camera, int32_t CameraColumns::*column, const Matrix3& rows = -1 * kIdentity3) const {
    if (!pPlan) return {-1, -1, rows};
    return {pPlan->vCameras[camera].nNode, pPlan->vCameras[camera].*column, rows};
  }
  /// Of no strip (-1) held.
  Term StripColumnOf(int32_t strip, int32_t StripColumns::*column,
                     const Matrix3& rows = -1 * kIdentity3) const {
    if (!pPlan || strip < 0) return {-1, -1, rows};
    return {pPlan->vStrips[strip].nNode, pPlan->vStrips[strip].*column, rows};
  }

  void AddGps(const ImageModel& image, size_t i, const Estimate& estimate) {
    const ImagePose& pose = estimate.vPoses[i];
    // What is not observed may be no number.
    Vector3 observed = pose.Centre;
    for (int c = 0; c < 3; ++c) {
      if (IsObserved(image.GpsSigma[c])) observed[c] = image.GpsObserved[c];
    }
    const StripDrift drift = image.nStrip < 0 ? StripDrift{} : estimate.vStrips[image.nStrip].Gps;
    const double time = image.nStrip < 0 ? 0 : image.fTime;
    GpsRows rows;
    if (!LinearizeGps(pose, estimate.vCameras[image.nCamera].LeverArm, drift, time, observed, rows)) {
      Total.nNotFinite += ObservedNum(image.GpsSigma);
      return;
    }
    std::array terms = {ImageColumn(i, kCentreColumn, rows.ByCentre),
                        ImageColumn(i, kRotationColumn, rows.ByRotation),
                        ColumnOf(image.nCamera, &CameraColumns::nLeverArm, rows.ByLeverArm),
                        StripColumnOf(image.nStrip, &StripColumns::nGpsConstant, rows.ByConstant),
                        StripColumnOf(image.nStrip, &StripColumns::nGpsLinear, rows.ByLinear)};
    Add(rows.Residual, image.GpsSigma, terms);
  }

  void AddImu(const ImageModel& image, size_t i, const Estimate& estimate) {
    const StripDrift drift = image.nStrip < 0 ? StripDrift{} : estimate.vStrips[image.nStrip].Imu;
    const double time = image.nStrip < 0 ? 0 : image.fTime;
    ImuRows rows;
    if (!LinearizeImu(estimate.vPoses[i], estimate.vCameras[image.nCamera].Boresight, drift, time,
                      image.ImuObserved, rows)) {
      Total.nNotFinite += ObservedNum(image.ImuSigma);
      return;
    }
    std::array terms = {ImageColumn(i, kRotationColumn, rows.ByRotation),
                        ColumnOf(image.nCamera, &CameraColumns::nBoresight, rows.ByBoresight),
                        StripColumnOf(image.nStrip, &StripColumns::nImuConstant, rows.ByConstant),
                        StripColumnOf(image.nStrip, &StripColumns::nImuLinear, rows.ByLinear)};
    Add(rows.Residual, image.ImuSigma, terms);
  }

  void AddPrior(const Vector3& residual, const Vector3& sigma, const Term& term) {
    std::array terms = {term};
    Add(residual, sigma, terms);
  }

  /// The residual is the rotation vector from the estimated to the observed boresight.
  void AddBoresight(const CameraModel& camera, size_t c, const Matrix3& boresight) {
    if (ObservedNum(camera.BoresightSigma) == 0) return;
    const Vector3 residual = VectorOfRotation(Multiply(Transposed(boresight), camera.BoresightPrior));
    const Matrix3 rows = -1 * Transposed(InverseRightJacobian(residual));
    AddPrior(residual, camera.BoresightSigma, ColumnOf(c, &CameraColumns::nBoresight, rows));
  }

  void AddLens(const CameraModel& camera, size_t c, Lens now) {
    const CameraColumns columns = pPlan ? pPlan->vCameras[c] : CameraColumns{};
    Lens prior = camera.Prior;
    for (int k = 0, column = 0; k < kLensParameterNum; ++k) {
      const auto parameter = static_cast<LensParameter>(k);
      const bool isUnknown = column < columns.Layout.Num && columns.Layout.Columns[column] == parameter;
      const double residual = ParameterOf(prior, parameter) - ParameterOf(now, parameter);
      AddSingle(residual, camera.PriorSigma[k], columns.nNode, isUnknown ? columns.nLens + column : -1);
      if (isUnknown) ++column;
    }
  }

  /// Observation of an unknown itself; a column of -1: held.
  void AddSingle(double residual, double sigma, int32_t node, int32_t column) {
    if (!IsObserved(sigma)) return;
    const double weight = 1 / (sigma * sigma);
    if (!Count(residual / sigma, weight) || node < 0 || column < 0) return;
    const int64_t size = pPlan->vSizes[node];
    pEquations->N.Diagonal(node)[static_cast<size_t>(column * (size + 1))] += weight;
    pEquations->n[static_cast<size_t>(pPlan->vFirstUnknown[node] + column)] += weight * residual;
  }

  /// Whether a normalised residual is a number whose square is one, and so is `rowSquares`, what its
  /// equation has on the diagonal.
  bool Count(double normalised, double rowSquares) {
    const double square = normalised * normalised;
    if (!std::isfinite(square) || !std::isfinite(rowSquares)) {
      ++Total.nNotFinite;
      return false;
    }
    Total.fSquares += square;
    ++Total.nObservations;
    return true;
  }

  /// Divides residual and rows by the standard deviations, counts, and adds. Rows of what is not observed, or
  /// no number, become 0.
  void Add(Vector3 residual, const Vector3& sigma, std::span<Term> terms) {
    for (int c = 0; c < 3; ++c) {
      const double weight = IsObserved(sigma[c]) ? 1 / sigma[c] : 0;
      double rowSquares = 0;
      for (const Term& term : terms) {
        for (int k = 3 * c; k < 3 * c + 3; ++k) {
          rowSquares += weight * term.Rows[k] * (weight * term.Rows[k]);
        }
      }
      const bool isCounted = IsObserved(sigma[c]) && Count(weight * residual[c], rowSquares);
      residual[c] = isCounted ? weight * residual[c] : 0;
      for (Term& term : terms) {
        for (int k = 3 * c; k < 3 * c + 3; ++k) term.Rows[k] = isCounted ? weight * term.Rows[k] : 0;
      }
    }
    for (size_t a = 0; a < terms.size(); ++a) {
      if (terms[a].IsHeld()) continue;
      AddConstants(terms[a], residual);
      for (size_t b = 0; b <= a; ++b) {
        if (!terms[b].IsHeld()) AddPair(terms[a], terms[b]);
      }
    }
  }

  /// -J'r.
  void AddConstants(const Term& term, const Vector3& residual) {
    const int64_t first = pPlan->vFirstUnknown[term.nNode] + term.nColumn;
    const Vector3 product = MultiplyTransposed(term.Rows, residual);
    for (int k = 0; k < 3; ++k) pEquations->n[static_cast<size_t>(first + k)] -= product[k];
  }

  void AddPair(const Term& a, const Term& b) {
    const bool inOrder = std::pair(a.nNode, a.nColumn) <= std::pair(b.nNode, b.nColumn);
    const Term& rows = inOrder ? a : b;
    const Term& columns = inOrder ? b : a;
    AddProduct(pEquations->N.Find(rows.nNode, columns.nNode), pPlan->vSizes[columns.nNode], rows, columns);
  }

  const UnknownPlan* pPlan;
  ReducedEquations* pEquations;
  OwnSums Total;
};

OwnSums Collect(const Problem& problem, const Estimate& estimate, Collector collector) {
  collector.AddImages(problem, estimate);
  collector.AddCameras(problem, estimate);
  collector.AddStrips(problem, estimate);
  return collector.Sums();
}

}  // namespace

OwnSums SumOwnObservations(const Problem& problem, const Estimate& estimate) {
  return Collect(problem, estimate, {nullptr, nullptr});
}

OwnSums AddOwnObservations(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                           ReducedEquations& equations) {
  return Collect(problem, estimate, {&plan, &equations});
}

}  // namespace orvo::rigorous
