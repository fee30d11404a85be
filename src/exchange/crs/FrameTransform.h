// Coordinates of a file to those of a block's frame, and back.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "exchange/crs/CoordinateSystems.h"

namespace orvo::exchange {

/// Coordinates of a source are always in the order east, north, height (longitude, latitude, height;
/// geocentric X, Y, Z), whatever order its code defines, in its own units; those of a frame in metres.
class FrameTransform {
 public:
  /// `heights`: whether the file has any. Throws CrsFault: an unknown system, heights of no known meaning, an
  /// operation that is only a ballpark one, or needs a grid that is missing.
  FrameTransform(const SourceSystem& source, const BlockFrame& frame, bool heights = true);
  ~FrameTransform();
  FrameTransform(FrameTransform&&) noexcept;
  FrameTransform& operator=(FrameTransform&&) noexcept;

  /// Throw CrsFault where a coordinate is not finite or lies where the operation has no result.
  std::array<double, 3> ToFrame(const std::array<double, 3>& place) const;
  std::array<double, 3> FromFrame(const std::array<double, 3>& place) const;

  /// Row-major rotation from the axes east, north (true) and up at a place of the frame to the frame's own
  /// ones: turned by the meridian convergence in a projected frame, tilted in a topocentric one, none as is.
  std::array<double, 9> LocalAxesOfFrame(const std::array<double, 3>& place) const;
  /// The same from true axes to those of the source, where it is projected; none otherwise.
  std::array<double, 9> LocalAxesOfSource(const std::array<double, 3>& place) const;

  /// What PROJ does, with its accuracy, and what was taken for granted: sentences.
  const std::vector<std::string>& Notes() const;

 private:
  struct Stages;
  std::unique_ptr<Stages> pStages;
};

/// The topocentric frame in the middle of the places, which are coordinates of the source: rounded to 0.001
/// degrees.
BlockFrame TopocentricFrameOf(const SourceSystem& source, std::span<const std::array<double, 3>> places);

}  // namespace orvo::exchange
