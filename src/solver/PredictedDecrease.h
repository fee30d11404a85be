// What a step without damping would gain, without taking it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace orvo {

struct DecreaseLimits {
  double fEnough = 0;        ///< no need to go on above this
  int32_t nMaxStepNum = 40;  ///< products with N at most
};

/// r' N^+ r, by which the sum of squares falls in a step that solves N x = r, from below: by conjugate
/// gradients, whose sum grows from step to step. N may be singular as long as r is in its range, as the
/// equations of a free block are. Ends when `fEnough` is passed, or when the last steps together add
/// nothing that matters.
/// `multiply(p, q)` makes q = N p, `precondition(r, z)` z = M^-1 r, for vectors of r.size().
double PredictedDecrease(std::vector<double> r, const DecreaseLimits& limits,
                         const std::function<void(const double* p, double* q)>& multiply,
                         const std::function<void(const double* r, double* z)>& precondition);

}  // namespace orvo
