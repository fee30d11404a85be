// Positions and angles of images as other programs and cameras have them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "exchange/Angles.h"
#include "exchange/survey/CoordinateColumns.h"

namespace orvo::exchange {

struct SourcePose {
  std::string szImage;
  std::array<double, 3> P{};                    ///< east, north, height, as written
  std::optional<std::array<double, 3>> Angles;  ///< degrees, in the order of the system
  std::optional<double> Seconds;
  std::optional<int64_t> Strip;
  int64_t nLine = 0;
};

/// What the headings or the form say of the angles.
enum class AngleWords {
  None,
  OmegaPhiKappa,  ///< Orvo's or the standard ones
  YawPitchRoll,   ///< of body or gimbal
  Flight,         ///< of the body
  Gimbal
};

struct PosSource {
  std::string szCrs;  ///< that the file or its form names; empty where it names none
  bool bHeights = true;
  bool bEastFirst = false;  ///< the form says itself that coordinates come east first
  CoordinateWords Words = CoordinateWords::Map;
  CoordinateUnits Units;  ///< of coordinates, which are not converted yet
  AngleWords Angles = AngleWords::None;
  std::vector<SourcePose> Poses;
  int64_t nWithoutPlace = 0;   ///< lines without a position, left out
  int64_t nWithoutAngles = 0;  ///< lines that have none, of a file that has angles
};

/// A CSV file with headings, also as exiftool writes it, or a list that begins with a coordinate system, then
/// image, X, Y, Z, yaw, pitch, roll and accuracies by blanks, of which all behind Y may be missing. Of
/// several angles in a table those are read that go with `system`, the first of them where none do. Throws
/// ExchangeFault.
PosSource ReadPosSource(const std::string& path, std::optional<AngleSystem> system = std::nullopt);

/// Whether columns of that kind may hold angles of the system.
bool GoesWith(AngleWords words, AngleSystem system);

}  // namespace orvo::exchange
