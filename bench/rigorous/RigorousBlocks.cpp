#include "rigorous/RigorousBlocks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace orvo::bench {
namespace {

struct Flight {
  int64_t nImages;
  int32_t nStrips, nImagesPerStrip, nCrossStrips;
  double fForwardOverlap, fSideOverlap;
  int32_t nControlPoints;
  double fMeasurements;  ///< of an image
};

/// Those of the classic cases, with control of 20 to 50 points.
constexpr Flight kFlights[] = {{30, 3, 10, 0, 60, 41, 6, 300},
                               {100, 5, 18, 1, 60, 41.33, 20, 600},
                               {1000, 20, 48, 1, 58, 42.6, 40, 600},
                               {10000, 50, 190, 5, 58, 43.44, 50, 600},
                               {100000, 158, 620, 7, 58, 43.5, 50, 100}};

BenchCase CaseOf(const Flight& flight) {
  BenchCase bench;
  bench.szName = fmt::format("{}/rigorous", flight.nImages);
  bench.szBlock = fmt::format("block-{}-rigorous", flight.nImages);
  bench.Options.nStrips = flight.nStrips;
  bench.Options.nImagesPerStrip = flight.nImagesPerStrip;
  bench.Options.nCrossStrips = flight.nCrossStrips;
  bench.Options.fForwardOverlap = flight.fForwardOverlap;
  bench.Options.fSideOverlap = flight.fSideOverlap;
  bench.Options.nControlPoints = flight.nControlPoints;
  bench.Options.fMeasurementsPerImage = flight.fMeasurements;
  bench.Options.fStartAngle = 0.13;
  return bench;
}

}  // namespace

std::vector<int64_t> RigorousSizes() {
  std::vector<int64_t> sizes;
  for (const Flight& flight : kFlights) sizes.push_back(flight.nImages);
  return sizes;
}

std::optional<CaseFiles> PrepareRigorousBlock(int64_t images, const std::string& workFolder) {
  const auto* flight = std::ranges::find(kFlights, images, &Flight::nImages);
  if (flight == std::end(kFlights)) {
    std::fprintf(stderr, "orvo_bench: there is no block of %lld images\n", static_cast<long long>(images));
    return std::nullopt;
  }
  std::error_code error;
  std::filesystem::create_directories(workFolder, error);
  return PrepareCase(CaseOf(*flight), workFolder);
}

std::vector<std::string> RigorousSettingsOfBlocks() {
  return {"Corrected_Image=true", "Robust=none", "Sigma_GCP_XY=0", "Sigma_GCP_Z=0"};
}

}  // namespace orvo::bench
