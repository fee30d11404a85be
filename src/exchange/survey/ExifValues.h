// Values as cameras and their tools print them.
#pragma once

#include <optional>
#include <string_view>

namespace orvo::exchange {

/// Degrees: "41.0365", "-41.0365", `41 deg 2' 11.40" N`, "41 2 11.40 N", "41.0365 S". `reference`: the value
/// of a column that holds the hemisphere alone (S, South, W, West), which counts where the text has none and
/// no sign. Nothing for anything else.
std::optional<double> DegreesIn(std::string_view text, std::string_view reference = {}, bool commas = false);

/// Metres: "123.4", "123.4 m", "123.4 m Above Sea Level", "12 m Below Sea Level"; `reference`: 1 or Below Sea
/// Level turns the sign.
std::optional<double> MetresIn(std::string_view text, std::string_view reference = {}, bool commas = false);

/// Seconds since 1970 of "2023:05:01 10:11:12.34", "2023-05-01T10:11:12Z", "2023:05:01 10:11:12+02:00"; a
/// plain number is taken as seconds. Times without a zone are taken as UTC.
std::optional<double> SecondsIn(std::string_view text);

}  // namespace orvo::exchange
