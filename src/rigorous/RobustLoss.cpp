#include "rigorous/RobustLoss.h"

#include <cmath>

namespace orvo::rigorous {

LossValue LossOf(const RobustLoss& loss, double s) {
  const double c = loss.Scale;
  if (loss.Form == LossForm::None || std::isinf(c * c)) return {s, 1};
  const double residual = std::sqrt(s);
  if (loss.Form == LossForm::Huber) {
    if (residual <= c) return {s, 1};
    return {c * (2 * residual - c), c / residual};
  }
  const double ratio = residual / c;
  return {-c * c * std::expm1(-ratio * ratio), std::exp(-ratio * ratio)};
}

}  // namespace orvo::rigorous
