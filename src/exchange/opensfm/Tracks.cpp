#include "exchange/opensfm/Tracks.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <unordered_map>

#include "base/PrintableName.h"
#include "check/StrictLines.h"
#include "exchange/ExchangeFault.h"
#include "exchange/LongLines.h"

namespace orvo::exchange {
namespace {

constexpr std::string_view kVersion = "OPENSFM_TRACKS_VERSION_v";
constexpr const char* kRemedy = "Give the tracks.csv that belongs to the reconstruction, with --tracks";

using Ordinals = std::unordered_map<std::string_view, int32_t>;

struct TrackLine {
  std::string_view szImage, szTrack;
  double u = 0, v = 0;
};

/// The first fields of a line, by tabs: image, track, feature, x, y.
bool ParseTrackLine(std::string_view line, TrackLine& parsed) {
  std::array<std::string_view, 5> fields;
  for (std::string_view& field : fields) {
    const size_t end = line.find('\t');
    field = line.substr(0, end);
    if (end == std::string_view::npos && &field != &fields.back()) return false;
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
  }
  parsed.szImage = fields[0];
  parsed.szTrack = fields[1];
  for (const auto& [text, value] : {std::pair(fields[3], &parsed.u), std::pair(fields[4], &parsed.v)}) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(*value)) return false;
  }
  return !parsed.szImage.empty();
}

void CheckVersion(const std::string& path, std::string_view line) {
  const std::string_view version = line.substr(kVersion.size());
  if (version == "1" || version == "2") return;
  Refuse(path, 1, "version " + PrintableName(version) + " of tracks is not known", "Versions are 1 and 2");
}

template <class Range>
Ordinals OrdinalsOf(const Range& range, const char* kind, const std::string& path) {
  Ordinals ordinals;
  ordinals.reserve(range.size());
  for (const auto& entry : range) {
    if (!ordinals.emplace(entry.szName, static_cast<int32_t>(ordinals.size())).second) {
      Refuse(path, 0, std::string(kind) + " '" + PrintableName(entry.szName) + "' comes twice",
             "Names are unique in a reconstruction");
    }
  }
  return ordinals;
}

struct Observation {
  int32_t nPoint = 0;
  SfmMeasurement Measured;
};

std::vector<Observation> ReadObservations(const std::string& path, const SfmReconstruction& reconstruction,
                                          SfmTracks& tracks) {
  const Ordinals shots = OrdinalsOf(reconstruction.Shots, "shot", reconstruction.szPath),
                 points = OrdinalsOf(reconstruction.Points, "point", reconstruction.szPath);
  std::vector<Observation> observations;
  LongLines lines(path);
  for (std::string_view line; lines.NextMeant(line, '\0');) {
    if (lines.LineNumber() == 1 && line.starts_with(kVersion)) {
      CheckVersion(path, line);
      continue;
    }
    TrackLine parsed;
    if (!ParseTrackLine(line, parsed)) {
      lines.Refuse(Quoted(line) + " is no line of a track",
                   "Fields are separated by tabs: image, track, feature, x, y and more");
    }
    const auto shot = shots.find(parsed.szImage);
    const auto point = points.find(parsed.szTrack);
    if (shot == shots.end()) {
      ++tracks.nWithoutShot;
    } else if (point == points.end()) {
      ++tracks.nWithoutPoint;
    } else {
      observations.push_back({point->second, {shot->second, parsed.u, parsed.v}});
    }
  }
  if (observations.empty()) {
    Refuse(path, 0, "no track belongs to a point and an image of the reconstruction", kRemedy);
  }
  return observations;
}

}  // namespace

SfmTracks ReadTracks(const std::string& path, const SfmReconstruction& reconstruction) {
  SfmTracks tracks;
  const std::vector<Observation> observations = ReadObservations(path, reconstruction, tracks);
  tracks.First.assign(reconstruction.Points.size() + 1, 0);
  for (const Observation& observation : observations)
    ++tracks.First[static_cast<size_t>(observation.nPoint) + 1];
  for (size_t i = 1; i < tracks.First.size(); ++i) tracks.First[i] += tracks.First[i - 1];
  std::vector<int64_t> next(tracks.First.begin(), tracks.First.end() - 1);
  tracks.Measurements.resize(observations.size());
  for (const Observation& observation : observations) {
    const int64_t place = next[static_cast<size_t>(observation.nPoint)]++;
    tracks.Measurements[static_cast<size_t>(place)] = observation.Measured;
  }
  return tracks;
}

}  // namespace orvo::exchange
