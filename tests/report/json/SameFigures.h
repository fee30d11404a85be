// Comparing figures field by field. Bindings name every field, so that one that is new does not compile
// before it is compared.
#pragma once

#include <cmath>
#include <concepts>
#include <string>
#include <tuple>
#include <type_traits>

#include "report/RunFigures.h"

namespace orvo::test {

#define ORVO_TIE(Part, ...)             \
  inline auto TieOf(const Part& part) { \
    const auto& [__VA_ARGS__] = part;   \
    return std::tie(__VA_ARGS__);       \
  }

ORVO_TIE(report::Pair, a, b)
ORVO_TIE(report::Triple, a, b, c)
ORVO_TIE(report::InputFigure, a, b, c, d)
ORVO_TIE(report::SettingFigure, a, b, c)
ORVO_TIE(report::ProgramFigure, a, b, c, d, e)
ORVO_TIE(report::BlockCounts, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p)
ORVO_TIE(report::IterationFigure, a, b, c, d, e, f, g, h)
ORVO_TIE(report::PhaseFigure, a, b)
ORVO_TIE(report::ResidualFigure, a, b, c)
ORVO_TIE(report::Histogram, a, b, c, d, e)
ORVO_TIE(report::ResidualFigures, a, b, c, d, e, f, g)
ORVO_TIE(report::ImageFigure, a, b, c, d, e, f, g, h, i, j)
ORVO_TIE(LensTerms, a, b, c, d, e)
ORVO_TIE(report::CameraParameters, a, b, c, d, e, f, g)
ORVO_TIE(report::ResidualCell, a, b)
ORVO_TIE(report::CameraFigure, a, b, c, d, e, f, g, h, i, j, k, l, m, n)
ORVO_TIE(report::CameraFigure::Ring, a, b, c)
ORVO_TIE(report::GroundPointFigure, a, b, c, d, e, f, g, h, i)
ORVO_TIE(report::GroundStatistics, a, b, c, d, e)
ORVO_TIE(report::GroundFigures, a, b, c, d, e, f, g)
ORVO_TIE(report::DriftFigure, a, b, c, d, e)
ORVO_TIE(report::PosImageFigure, a, b, c, d)
ORVO_TIE(report::PosFigures, a, b, c, d, e, f, g, h, i, j, k)
ORVO_TIE(report::GroundCell, a, b, c, d, e)
ORVO_TIE(report::PointFigures, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p)
ORVO_TIE(report::CameraQuantityFigure, a, b, c, d)
ORVO_TIE(report::CorrelationFigure, a, b, c)
ORVO_TIE(report::CameraPrecisionFigure, a, b, c)
ORVO_TIE(report::DeviationRange, a, b, c)
ORVO_TIE(report::GroundPrecisionFigure, a, b, c, d, e, f, g, h)
ORVO_TIE(report::SuspectFigure, a, b, c, d, e, f, g, h, i, j, k)
ORVO_TIE(report::VarianceFigure, a, b, c, d, e, f, g)
ORVO_TIE(report::PrecisionFigures, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r)
ORVO_TIE(report::MemoryFigure, a, b)
ORVO_TIE(Finding, a, b, c, d, e, f, g, h)
ORVO_TIE(VerdictReason, a, b, c, d)
ORVO_TIE(Verdict, a, b, c)
ORVO_TIE(report::RunFigures, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y)

#undef ORVO_TIE

/// Numbers that are none are the same.
template <class Part>
bool Same(const Part& one, const Part& other) {
  if constexpr (std::floating_point<Part>) {
    return one == other || (std::isnan(one) && std::isnan(other));
  } else if constexpr (std::is_arithmetic_v<Part> || std::is_enum_v<Part> ||
                       std::same_as<Part, std::string>) {
    return one == other;
  } else if constexpr (requires { one.has_value(); }) {
    return one.has_value() == other.has_value() && (!one.has_value() || Same(*one, *other));
  } else if constexpr (requires { one.begin(); }) {
    bool same = one.size() == other.size();
    for (size_t k = 0; same && k < one.size(); ++k) same = Same(one[k], other[k]);
    return same;
  } else {
    return std::apply(
        [&](const auto&... ones) {
          return std::apply([&](const auto&... others) { return (Same(ones, others) && ...); }, TieOf(other));
        },
        TieOf(one));
  }
}

}  // namespace orvo::test
