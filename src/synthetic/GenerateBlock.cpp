#include "synthetic/GenerateBlock.h"

#include <algorithm>
#include <cerrno>

#include "base/MemoryPurpose.h"
#include "base/OutputFolder.h"
#include "base/Platform.h"
#include "synthetic/SyntheticFiles.h"

namespace orvo {
namespace {

/// Counts the tie points and, while they are few, keeps their true coordinates.
void CountTiePoints(const TiePointField& field, SyntheticTruth& truth) {
  SyntheticCounts& counts = truth.Counts;
  field.VisitPoints([&](int64_t ordinal, const SyntheticTiePoint& point,
                        std::span<const SyntheticMeasurement> measurements) {
    ++counts.nTiePoints;
    counts.nTieMeasurements += static_cast<int64_t>(measurements.size());
    counts.nMaxRays = std::max(counts.nMaxRays, static_cast<int32_t>(measurements.size()));
    counts.nOutliers += std::count_if(measurements.begin(), measurements.end(),
                                      [](const SyntheticMeasurement& m) { return m.bOutlier; });
    if (ordinal < truth.Options.nTruthPointLimit) {
      truth.pTiePoints.push_back({TiePointName(ordinal), point.X, point.Y, point.Z});
    }
  });
  if (counts.nTiePoints > truth.Options.nTruthPointLimit) truth.pTiePoints = {};
  if (counts.nTiePoints > 0) {
    counts.fMeanRays = static_cast<double>(counts.nTieMeasurements) / static_cast<double>(counts.nTiePoints);
  }
}

SyntheticTruth MakeTruth(const SyntheticScene& scene, const TiePointField& field) {
  SyntheticTruth truth;
  truth.Options = scene.Options();
  truth.pCameras = scene.Cameras();
  truth.pStartCameras = MakeStartCameras(scene);
  truth.pImages = scene.Images();
  truth.pStarts = MakeStarts(scene);
  truth.pStripErrors = MakeStripErrors(scene);
  truth.pGroundPoints = MakeGroundPoints(scene);
  truth.Counts.nImages = static_cast<int64_t>(truth.pImages.size());
  truth.Counts.nCameras = static_cast<int64_t>(truth.pCameras.size());
  truth.Counts.nStrips = scene.Flight().StripNum();
  for (const SyntheticGroundPoint& point : truth.pGroundPoints) {
    ++(point.nType == 1 ? truth.Counts.nControlPoints : truth.Counts.nCheckPoints);
    truth.Counts.nGroundMeasurements += static_cast<int64_t>(point.pMeasurements.size());
  }
  CountTiePoints(field, truth);
  return truth;
}

}  // namespace

SyntheticBlock GenerateBlock(const SyntheticOptions& options, const std::string& folder,
                             const std::string& name, const SyntheticForms& forms) {
  const MemoryPurpose purpose("the generated block");
  SyntheticBlock block;
  block.szError = CheckSyntheticOptions(options);
  if (!block.szError.empty()) return block;
  const SyntheticScene scene(options);
  const TiePointField field(scene);
  if (!field.HasGround()) {
    block.szError = "no two images see the same ground: raise --forward-overlap or --side-overlap";
    return block;
  }
  OutputFolder outputs;
  block.szError = outputs.Begin(folder);
  if (!block.szError.empty()) return block;
  block.Truth = MakeTruth(scene, field);

  SyntheticPaths& paths = block.Paths;
  const SyntheticTruth& truth = block.Truth;
  const auto write = [&](std::string& path, const std::string& fileName, const auto& writer) {
    if (!block.szError.empty()) return;
    path = JoinPath(folder, fileName);
    const std::string place = outputs.PlaceOf(path);
    if (place.empty() || !writer(place)) {
      outputs.Fail({path, "write", errno});
      block.szError = "cannot " + outputs.Fault().Text();
    } else {
      outputs.Written(place, path);
    }
  };
  if (forms.bText) {
    write(paths.szText, name + ".prj",
          [&](const std::string& path) { return WriteSyntheticProject(path, truth, &field); });
  }
  if (forms.bBinary) {
    write(paths.szOvt, name + ".ovt",
          [&](const std::string& path) { return WriteSyntheticOvt(path, truth, field); });
    write(paths.szOvc, name + ".ovc",
          [&](const std::string& path) { return WriteSyntheticProject(path, truth, nullptr); });
  }
  if (forms.bGcp) {
    write(paths.szGcp, name + "_gcp.txt",
          [&](const std::string& path) { return WriteSyntheticGcp(path, truth); });
  }
  if (forms.bPos) {
    write(paths.szPos, name + "_pos.txt",
          [&](const std::string& path) { return WriteSyntheticPos(path, truth); });
  }
  if (forms.bSettings) {
    write(paths.szXml, "AdjPara.xml",
          [&](const std::string& path) { return WriteSyntheticXml(path, truth); });
    write(paths.szIni, "AdjPara.ini",
          [&](const std::string& path) { return WriteSyntheticIni(path, truth); });
  }
  if (forms.bTruth) {
    write(paths.szTruth, "truth.json",
          [&](const std::string& path) { return WriteSyntheticTruth(path, truth); });
  }
  if (!outputs.End(block.szError.empty() ? OutputFate::Add : OutputFate::Discard) && block.szError.empty()) {
    block.szError = "cannot " + outputs.Fault().Text();
  }
  block.bDone = block.szError.empty();
  return block;
}

}  // namespace orvo
