// Conjugate gradients with a given product: the equations of the device path, whose points stay on the
// device.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace orvo::gpu {

/// The product A d of the equations before their damping. All vectors have one element an unknown.
struct PackedProduct {
  /// Takes the direction of the products to come; also the last one, which none follows.
  std::function<void(const std::vector<float>& d)> SetDirection;
  /// Ad = the product of the points with the direction taken last; false where it can't be had.
  std::function<bool(std::vector<double>& Ad)> Multiply;
  /// Ad += the product of all other observations with d.
  std::function<void(const std::vector<float>& d, std::vector<double>& Ad)> AddOthers;
};

/// z += M^-1 r
using PackedInverse = std::function<void(const std::vector<double>& r, std::vector<double>& z)>;

/// out += the damping times v
using PackedDampingProduct = std::function<void(const std::vector<double>& v, std::vector<double>& out)>;

struct PackedPcgLimits {
  int32_t nMaxStepNum = 0;  ///< one step is taken whatever this says
  double fForcing = 0;      ///< the steps end at a relative residual not above this
};

/// The figures of one step.
struct PackedPcgStep {
  double fResidualNorm = 0;      ///< of the recurrence for the remainder
  double fDirectionProduct = 0;  ///< next direction times Ad of this one, damping included
  double fAlpha = 0, fBeta = 0;
  double fEta = 0;  ///< residual norm over that of the right side
};

struct PackedPcgOutcome {
  bool bDone = true;  ///< false: a product failed, and x is of no use
  int32_t nStepNum = 0;
  double fBestEta = 100.0;  ///< the smallest of all steps
  /// The limit, 2 at least, was reached: x is the solution of the smallest eta, and 0 without one below 100.
  bool bExhausted = false;
};

/// Adds the solution of (A + damping) x = r to x, and leaves the remainder in r. The damping deliberately
/// acts on the preconditioned remainder: from the second step on another vector than the direction, which A
/// acts on. Where d . Ad or r . z is exactly 0, the step keeps the alpha or beta of the one before. A right
/// side of zeros ends the steps after the first. `onStep` is called at the end of each, before the next
/// direction is taken.
PackedPcgOutcome SolvePackedPcg(const PackedProduct& product, const PackedInverse& precondition,
                                const PackedDampingProduct& addDamping, std::vector<double>& r,
                                std::vector<double>& x, const PackedPcgLimits& limits,
                                const std::function<void(const PackedPcgStep&)>& onStep);

}  // namespace orvo::gpu
