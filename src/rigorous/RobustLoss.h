// Loss of a squared normalised residual s = v'Pv, instead of s itself, so that gross errors lose their pull.
//   none    s
//   Huber   s up to c^2, then 2 c sqrt(s) - c^2: its pull never grows beyond that of c
//   Welsch  c^2 (1 - exp(-s / c^2)): bounded by c^2, its pull goes to nothing
// The weight is the derivative by s, 1 at s = 0: that of the observation in the next step of reweighted least
// squares. Huber, Robust estimation of a location parameter, Annals of Mathematical Statistics 35 (1964);
// Holland and Welsch, Robust regression using iteratively reweighted least-squares, Communications in
// Statistics 6 (1977); losses of squares as in Triggs et al., Bundle adjustment, a modern synthesis (2000),
// section 3.3.
#pragma once

#include <cstdint>

namespace orvo::rigorous {

enum class LossForm : uint8_t { None, Huber, Welsch };

struct RobustLoss {
  LossForm Form = LossForm::None;
  double Scale =
      1;  ///< c above 0, in standard deviations; one with an infinite square is the same as no loss
};

struct LossValue {
  double Value;   ///< the loss, at most s
  double Weight;  ///< its derivative by s, within 0 and 1
};

/// `s` is not negative, and may be infinite; what is no number stays so.
LossValue LossOf(const RobustLoss& loss, double s);

}  // namespace orvo::rigorous
