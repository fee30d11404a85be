// Flight lines from the places and times of images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvo::exchange {

struct StripImage {
  std::string szName;
  double dEast = 0, dNorth = 0;  ///< metres
  std::optional<double> Seconds;
};

struct Strip {
  std::vector<size_t> Images;  ///< in the order of flight
  double dHeading = 0;         ///< degrees from north, clockwise, from the first to the last image
};

/// Strips in the order of flight. Images are taken in the order of their times, or where one has none, as
/// they come. A new strip begins behind a gap of more than three times the median distance or five times the
/// median interval, and where the flight turns by more than 45 degrees; images on the way from one strip to
/// the next are strips of their own.
std::vector<Strip> FindStrips(std::span<const StripImage> images);

/// Strips that a file numbers itself, in the order in which their numbers come first.
std::vector<Strip> StripsByNumber(std::span<const StripImage> images, std::span<const int64_t> numbers);

/// "Strip 3: 23 images, A to B, heading 92 degrees": `number` from 1.
std::string LineOf(const Strip& strip, size_t number, std::span<const StripImage> images);

}  // namespace orvo::exchange
