// reconstruction.json as it stands.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orvo::exchange {

struct SfmCamera {
  std::string szName, szProjection;
  int64_t nLine = 0;
  std::map<std::string, double> Numbers;  ///< of the fields that are read
};

struct SfmShot {
  std::string szName, szCamera;
  std::array<double, 3> Rotation{}, Translation{};
  int64_t nLine = 0;
};

struct SfmPoint {
  std::string szName;
  std::array<double, 3> P{};
};

/// One of the reconstructions in the file.
struct SfmReconstruction {
  std::string szPath;  ///< of the file
  std::vector<SfmCamera> Cameras;
  std::vector<SfmShot> Shots;
  std::vector<SfmPoint> Points;
  std::optional<std::array<double, 3>> Reference;  ///< latitude, longitude, altitude
};

struct SfmFile {
  SfmReconstruction Largest;  ///< the one with the most shots; of equal ones the first
  int64_t nReconstructions = 0;
};

/// Reads by events: what is kept is what is returned. Throws ExchangeFault.
SfmFile ReadReconstructions(const std::string& path);

/// reference_lla.json; nothing where there is no such file. Throws ExchangeFault.
std::optional<std::array<double, 3>> ReadReference(const std::string& path);

}  // namespace orvo::exchange
