#include "exchange/SidecarFinding.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>

#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "block/OvtFile.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

namespace fs = std::filesystem;

/// What the block has, with what was left out of it.
bool BelongsTo(const Sidecar& sidecar, const ResultBlock& result) {
  const SurveyBlock& block = result.Block;
  const LeftOut& left = result.Left;
  if (sidecar.Cameras.size() != block.Cameras.size() + left.Cameras.size() ||
      sidecar.Images.size() != block.Images.size() + left.Images.size()) {
    return false;
  }
  size_t kept = 0, lost = 0;
  for (size_t k = 0; k < sidecar.Images.size(); ++k) {
    const bool isLost = lost < left.Images.size() && left.Images[lost].nImage == k;
    if (!isLost && kept == block.Images.size()) return false;
    const std::string& path = isLost ? left.Images[lost++].szPath : block.Images[kept++].szPath;
    if (path != sidecar.Images[k].szAlias) return false;
  }
  return true;
}

/// The sidecar of what was not left out.
Sidecar Narrowed(Sidecar sidecar, const LeftOut& left) {
  EraseAt(sidecar.Cameras, left.Cameras);
  EraseAt(sidecar.Written, left.Cameras);
  EraseAt(sidecar.Images, ImageOrdinalsOf(left));
  return sidecar;
}

/// Sidecars in the folder of a result and the one above it.
std::vector<std::string> SidecarsNear(const std::string& project) {
  std::vector<std::string> found;
  std::error_code error;
  const fs::path folder = fs::absolute(project, error).lexically_normal().parent_path();
  for (const fs::path& place : {folder.parent_path(), folder}) {
    for (const auto& entry : fs::directory_iterator(place, error)) {
      const std::string path = entry.path().string();
      if (path.ends_with(".orvo.json")) found.push_back(path);
    }
  }
  std::ranges::sort(found);
  // Of several that are alike, the one whose block the folder of the result is named for.
  const auto length = [&](const std::string& path) {
    const std::string file = fs::path(path).filename().string();
    const std::string block = file.substr(0, file.size() - std::string(".orvo.json").size());
    return folder.filename().string().find(block) == std::string::npos ? 0 : block.size();
  };
  std::ranges::stable_sort(found, std::greater<>(), length);
  return found;
}

/// How many of the sidecar's measurements the block has, and how many of them as they were.
struct FoundSamples {
  int64_t nFound = 0, nAlike = 0;
};
FoundSamples FindSamples(const Sidecar& sidecar, const SurveyBlock& block) {
  std::map<std::string, int32_t> images;
  for (size_t k = 0; k < block.Images.size(); ++k) {
    images.emplace(block.Images[k].szPath, static_cast<int32_t>(k));
  }
  struct Sample {
    int32_t nImage;
    float x, y;  // an .ovt holds single precision
    bool bFound = false, bAlike = false;
  };
  // Where several points share a name, one of them is enough.
  std::map<std::string, Sample> samples;
  for (const SidecarSample& sample : sidecar.Samples) {
    if (sample.nImage >= sidecar.Images.size()) continue;
    const auto image = images.find(sidecar.Images[sample.nImage].szAlias);
    if (image == images.end()) continue;
    samples.emplace(sample.szPoint,
                    Sample{image->second, static_cast<float>(sample.x), static_cast<float>(sample.y)});
  }
  for (const SurveyPoint& point : block.Tie.Points) {
    const auto known = samples.find(point.szName.data());
    if (known == samples.end()) continue;
    Sample& sample = known->second;
    for (const SurveyMeasurement& measurement : block.Tie.Of(point)) {
      if (measurement.nImage != sample.nImage) continue;
      sample.bFound = true;
      sample.bAlike = sample.bAlike || (static_cast<float>(measurement.x) == sample.x &&
                                        static_cast<float>(measurement.y) == sample.y);
    }
  }
  FoundSamples found;
  for (const auto& [name, sample] : samples) {
    found.nFound += sample.bFound ? 1 : 0;
    found.nAlike += sample.bAlike ? 1 : 0;
  }
  return found;
}

/// The tie points beside a sidecar are not those of the result, to the byte. False also where there are none
/// to compare.
bool HasOtherTiePoints(const std::string& sidecar, const ResultBlock& result) {
  const std::string suffix = ".orvo.json";
  InputFile before, after;
  if (result.Files.szOvt.empty() || !sidecar.ends_with(suffix) ||
      !before.Open(sidecar.substr(0, sidecar.size() - suffix.size()) + ".ovt") ||
      !after.Open(result.Files.szOvt)) {
    return false;
  }
  if (before.Size() != after.Size()) return true;
  constexpr int64_t kCompared = int64_t{1} << 16;
  const int64_t bytes = std::min<int64_t>(
      kCompared, kOvtMeasureBytes * static_cast<int64_t>(result.Block.Tie.Measurements.size()));
  std::string one(static_cast<size_t>(bytes), '\0'), other = one;
  before.ReadAt(before.Size() - bytes, one.data(), bytes);
  after.ReadAt(after.Size() - bytes, other.data(), bytes);
  return one != other;
}

/// A result keeps the measurements of its project. Points may have been taken out since the import, so that
/// half of what the sidecar tells is enough. Sidecars of before tell none.
bool HasOtherMeasurements(const Sidecar& sidecar, const std::string& path, const ResultBlock& result) {
  const FoundSamples found = FindSamples(sidecar, result.Block);
  return found.nFound > 0 ? 2 * found.nAlike < found.nFound : HasOtherTiePoints(path, result);
}

void RefuseForeign(const std::string& path, const Sidecar& sidecar, const ResultBlock& result) {
  if (!BelongsTo(sidecar, result)) {
    Refuse(path, 0, "it belongs to a block with other images or cameras",
           "Name BLOCK.orvo.json of the import with --sidecar");
  }
  if (HasOtherMeasurements(sidecar, path, result)) {
    Refuse(path, 0, "it belongs to a block with other measurements than those of the tie points",
           "Name BLOCK.orvo.json of the import with --sidecar");
  }
}

/// Wherever they come from, an export by either is the same.
bool TellTheSame(Sidecar one, Sidecar other) {
  for (Sidecar* sidecar : {&one, &other}) {
    sidecar->szForm.clear();
    sidecar->szSource.clear();
    sidecar->szChecksum.clear();
    sidecar->Samples.clear();
  }
  return SidecarText(one) == SidecarText(other);
}

/// Beside the project where it is known, else near the result.
std::vector<std::string> PlacesOf(const ResultBlock& result) {
  if (result.szOrigin.empty() && result.bResult) return SidecarsNear(result.Files.szProject);
  std::vector<std::string> places;
  for (const std::string* project : {&result.szOrigin, &result.Files.szProject}) {
    if (!project->empty()) places.push_back(SidecarPathOf(*project));
  }
  return places;
}

/// The one sidecar near the result that belongs to it.
std::optional<Sidecar> FindSidecar(const ResultBlock& result, ExchangeLog& log) {
  const std::vector<std::string> places = PlacesOf(result);
  const bool named = !result.szOrigin.empty();
  std::optional<Sidecar> found;
  std::string where;
  for (const std::string& place : places) {
    auto sidecar = ReadSidecar(place);
    if (!sidecar) continue;
    if (named) RefuseForeign(place, *sidecar, result);
    if (!BelongsTo(*sidecar, result) || HasOtherMeasurements(*sidecar, place, result)) continue;
    if (found && !named && !TellTheSame(*found, *sidecar)) {
      Refuse(place, 0, "both it and " + PrintableName(where) + " may belong to the result",
             "Name the right one with --sidecar");
    }
    if (found) continue;
    found = std::move(sidecar);
    where = place;
  }
  log.Say(found ? "Sidecar: " + PrintableName(where)
                : "Sidecar: none, so names and cameras are those of the block");
  return found;
}

}  // namespace

std::optional<Sidecar> SidecarOf(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  if (!options.szSidecar.empty()) {
    auto named = ReadSidecar(options.szSidecar);
    if (!named) Refuse(options.szSidecar, 0, "there is no such file", "Name BLOCK.orvo.json of the import");
    RefuseForeign(options.szSidecar, *named, result);
    return Narrowed(std::move(*named), result.Left);
  }
  auto found = FindSidecar(result, log);
  if (found) found = Narrowed(std::move(*found), result.Left);
  return found;
}

std::vector<Sidecar> SidecarsOfImages(const ResultBlock& result, const ExportOptions& options) {
  std::vector<Sidecar> sidecars;
  const auto places = options.szSidecar.empty() ? PlacesOf(result) : std::vector{options.szSidecar};
  for (const std::string& place : places) {
    try {
      auto sidecar = ReadSidecar(place);
      if (sidecar && BelongsTo(*sidecar, result)) sidecars.push_back(std::move(*sidecar));
    } catch (const ExchangeFault&) {
      // Who needs what is in it will tell what is wrong with it.
    }
  }
  return sidecars;
}

}  // namespace orvo::exchange
