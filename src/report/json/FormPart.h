// Which part of the figures a description of summary.json is of.
#pragma once

#include <concepts>
#include <type_traits>

namespace orvo::report {

/// A part for writing or for reading.
template <class P, class Part>
concept Of = std::same_as<std::remove_const_t<P>, Part>;

}  // namespace orvo::report
