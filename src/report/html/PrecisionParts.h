// The parts of the section on precision. Each is HTML, and empty where the run has nothing for it. `unit` is
// that of lengths on the ground (LengthUnit.h).
#pragma once

#include <cmath>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "report/RunFigures.h"

namespace orvo::report {

/// Of test values: one of 1,000 that are sound is above it either way.
inline constexpr double kCriticalTest = 3.29;

/// False of what is no number.
inline bool IsBeyondTest(double test) { return std::fabs(test) > kCriticalTest; }
inline bool IsBeyondTest(const Triple& test) {
  return IsBeyondTest(test.X) || IsBeyondTest(test.Y) || IsBeyondTest(test.Z);
}

/// The largest of the three whatever its sign; -1 where none is a number.
double LargestOf(const Triple& test);

/// "m" of object units, "1/px²" of "px^-2"; other units as they are.
std::string UnitText(std::string_view unit, const char* lengths);

/// Decimals that show the median of these standard deviations with two digits, from 1 to 6.
int DecimalsFor(std::vector<double> deviations);

/// Unknowns of cameras: values, standard deviations, what is not significant, what is correlated.
std::string CameraPrecisionPart(const std::vector<CameraPrecisionFigure>& cameras, const char* unit);

/// Control and check points: standard deviations, test values, reliability.
std::string GroundPrecisionPart(const std::vector<GroundPrecisionFigure>& points, const char* unit);

/// Test values by point against the critical value: control to the left, check points to the right.
std::string TestPicture(std::span<const GroundPrecisionFigure* const> points);

/// The least known heights as bars.
std::string HeightPicture(std::span<const GroundPrecisionFigure* const> points, const char* unit);

/// Observations that the others contradict: the first ones.
std::string SuspectPart(const PrecisionFigures& precision, const char* unit);

/// Variance factors by group of observations.
std::string VariancePart(const std::vector<VarianceFigure>& variances);

}  // namespace orvo::report
