// Elementary functions of basic operations only, so that their results are the same on every machine.
#pragma once

namespace orvo {

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr double kRadiansPerDegree = kPi / 180.0;

struct SineCosine {
  double fSin, fCos;
};

/// Both to about 2e-16, for magnitudes up to 1e5 (reduction by pi/2 in three parts, Taylor series).
SineCosine PortableSineCosine(double x);

/// Natural logarithm of a positive normal number, to about 2e-16 relative (series in (m - 1) / (m + 1)).
double PortableLog(double x);

}  // namespace orvo
