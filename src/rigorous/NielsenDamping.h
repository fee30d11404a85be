// How the damping of the iterations follows the quality of their steps.
// K. Madsen, H. B. Nielsen and O. Tingleff, Methods for non-linear least squares problems (2004),
// section 2.2.
#pragma once

#include <algorithm>

namespace orvo::rigorous {

/// lambda times the diagonal of N is added to it.
class NielsenDamping {
 public:
  explicit NielsenDamping(double first) : fLambda(first) {}

  double Lambda() const { return fLambda; }
  /// After a step that lessened the cost, `gain` times as much as the model said.
  void Accept(double gain) {
    const double miss = 2 * gain - 1;
    fLambda = std::max(fLambda * std::max(1.0 / 3, 1 - miss * miss * miss), kLeast);
    fGrowth = 2;
  }
  /// After a step that did not.
  void Reject() {
    fLambda *= fGrowth;
    fGrowth *= 2;
  }
  /// No step worth the name is left.
  bool IsExhausted() const { return fLambda > kMost; }

 private:
  /// Below the first, rounding of free nets would be all that is left of a pivot.
  static constexpr double kLeast = 1e-10, kMost = 1e12;

  double fLambda, fGrowth = 2;
};

}  // namespace orvo::rigorous
