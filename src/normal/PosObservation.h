// The GPS/IMU observation of one image and its share of the normal equations.
#pragma once

#include <array>
#include <cstdint>

#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// What is observed of every image and how its drift is modelled.
struct PosModel {
  bool bGps = false;     ///< X, Y, Z are observed
  bool bImu = false;     ///< phi, omega, kappa are observed
  bool bConst = false;   ///< a constant offset of each observed component
  bool bLinear = false;  ///< a drift of each observed component, linear in time
  double fWeightXY = 1, fWeightZ = 1;

  /// Observation rows of an image: 3 or 6.
  int32_t RowNum() const { return (bGps ? 3 : 0) + (bImu ? 3 : 0); }
  /// Drift parameters of a group: the constant terms first, then the linear ones, each in the order of the
  /// rows.
  int32_t ParameterNum() const { return RowNum() * ((bConst ? 1 : 0) + (bLinear ? 1 : 0)); }
};

/// Normal equations of one image. With E the rows of the image's unknowns (X, Y, Z, phi, omega, kappa) that
/// are observed, D the derivatives by the group's d = ParameterNum() parameters, P the weights and L the
/// misclosure:
///   Aee = E'PE (6 x 6)   Aed = E'PD (6 x d)   be = E'PL (6)
///   Ade = Aed' (d x 6)   Add = D'PD (d x d)   bd = D'PL (d)
/// All row-major and densely packed; rows of Aee, Aed and be that nothing observes are zero.
struct PosEquations {
  static constexpr int32_t kMaxParameterNum = 12;
  std::array<double, kEopSize * kEopSize> Aee;
  std::array<double, kEopSize * kMaxParameterNum> Aed, Ade;
  std::array<double, kMaxParameterNum * kMaxParameterNum> Add;
  std::array<double, kEopSize> be;
  std::array<double, kMaxParameterNum> bd;
};

/// Weights of the rows of an observation: the first two fWeightXY, the third fWeightZ, the others 1.
std::array<double, 6> PosWeights(const PosModel& model);

/// Misclosure of each of the model.RowNum() rows: observed minus orientation minus drift, and 0 where the
/// model has neither kind of drift. False when a number of the equations would not be finite.
bool ComputePosMisclosure(const PosModel& model, const EopRecord& image, const PosRecord& observed,
                          const double* parameters, double* L);

/// Equations of: observed value = orientation + constant term + t times linear term, t being image.fTime.
/// `parameters`: the group's ParameterNum() drift parameters. Differences of angles are taken the short way
/// round. The first two rows weigh fWeightXY, the third fWeightZ, the others 1.
/// False, with `equations` undefined, when a number of them would not be finite.
bool ComputePosEquations(const PosModel& model, const EopRecord& image, const PosRecord& observed,
                         const double* parameters, PosEquations& equations);

}  // namespace orvo
