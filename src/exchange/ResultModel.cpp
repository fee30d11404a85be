#include "exchange/ResultModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>

#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "block/OvtFile.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ExportCameras.h"
#include "exchange/FilesRead.h"

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

/// The tie points beside a sidecar are not those of the result: a result keeps the measurements of its
/// project to the byte. False also where there are none to compare.
bool HasOtherMeasurements(const std::string& sidecar, const ResultBlock& result) {
  const std::string suffix = ".orvo.json";
  InputFile before, after;
  if (result.Files.szOvt.empty() ||
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

void RefuseForeign(const std::string& path, const Sidecar& sidecar, const ResultBlock& result) {
  if (!BelongsTo(sidecar, result)) {
    Refuse(path, 0, "it belongs to a block with other images or cameras",
           "Name BLOCK.orvo.json of the import with --sidecar");
  }
  if (HasOtherMeasurements(path, result)) {
    Refuse(path, 0,
           "it belongs to a block with other measurements: the tie points beside it are not those of "
           "the result",
           "Name BLOCK.orvo.json of the import with --sidecar");
  }
}

/// Wherever they come from, an export by either is the same.
bool TellTheSame(Sidecar one, Sidecar other) {
  for (Sidecar* sidecar : {&one, &other}) {
    sidecar->szForm.clear();
    sidecar->szSource.clear();
    sidecar->szChecksum.clear();
  }
  return SidecarText(one) == SidecarText(other);
}

/// The one sidecar near the result that belongs to it.
std::optional<Sidecar> FindSidecar(const ResultBlock& result, ExchangeLog& log) {
  std::vector<std::string> places;
  for (const std::string* project : {&result.szOrigin, &result.Files.szProject}) {
    if (!project->empty()) places.push_back(SidecarPathOf(*project));
  }
  const bool named = !result.szOrigin.empty();
  if (!named && result.bResult) places = SidecarsNear(result.Files.szProject);
  std::optional<Sidecar> found;
  std::string where;
  for (const std::string& place : places) {
    auto sidecar = ReadSidecar(place);
    if (!sidecar) continue;
    if (named) RefuseForeign(place, *sidecar, result);
    if (!BelongsTo(*sidecar, result) || HasOtherMeasurements(place, result)) continue;
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

/// Points of the result with measurements as the foreign cameras have them.
class ResultPoints : public PointStream {
 public:
  ResultPoints(const SurveyBlock& block, std::vector<ExportCamera> cameras)
      : Block(block), Cameras(std::move(cameras)), Points(block.Tie) {}

  bool Next(StreamPoint& point) override {
    if (!Points.Next(point)) return false;
    for (SurveyMeasurement& measurement : point.Measurements) {
      const SurveyImage& image = Block.Images[static_cast<size_t>(measurement.nImage)];
      const ImageVector moved =
          Cameras[static_cast<size_t>(image.nCamera)].ToForeign({measurement.x, measurement.y});
      measurement.x = moved.x;
      measurement.y = moved.y;
    }
    return true;
  }
  void Rewind() override { Points.Rewind(); }

 private:
  const SurveyBlock& Block;
  std::vector<ExportCamera> Cameras;
  SurveyPointStream Points;
};

/// A path in our files as a name: what "./" stands for is not part of it.
std::string NameOfPath(const std::string& path) { return path.starts_with("./") ? path.substr(2) : path; }

void AddPoint(const StreamPoint& from, const std::vector<ProjectCamera>& cameras, SurveyBlock& block) {
  SurveyPoint point;
  const std::string name = from.szName.substr(0, point.szName.size() - 1);
  std::memcpy(point.szName.data(), name.data(), name.size());
  point.P = from.P;
  point.nFirstMeasurement = static_cast<int64_t>(block.Tie.Measurements.size());
  for (const SurveyMeasurement& measurement : from.Measurements) {
    const SurveyImage& image = block.Images[static_cast<size_t>(measurement.nImage)];
    const auto ready =
        cameras[static_cast<size_t>(image.nCamera)].FromMeasured({measurement.x, measurement.y});
    if (ready) block.Tie.Measurements.push_back({measurement.nImage, ready->x, ready->y});
  }
  point.nMeasurementNum =
      static_cast<int32_t>(static_cast<int64_t>(block.Tie.Measurements.size()) - point.nFirstMeasurement);
  block.Tie.Points.push_back(point);
}

void CheckReferences(const SurveyBlock& block, const std::string& path) {
  for (const SurveyImage& image : block.Images) {
    if (image.nCamera < 0 || static_cast<size_t>(image.nCamera) >= block.Cameras.size()) {
      Refuse(path, image.nLine, "image " + PrintableName(image.szPath) + " has no camera",
             "Run orvo check on the block");
    }
  }
  for (const SurveyMeasurement& measurement : block.Tie.Measurements) {
    if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= block.Images.size()) {
      Refuse(path, 0, fmt::format("a measurement names image {}, which is not there", measurement.nImage),
             "Run orvo check on the block");
    }
  }
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

ForeignModel ModelOfResult(const ResultBlock& result, const std::optional<Sidecar>& sidecar,
                           const ExportOptions& options, ExchangeLog& log) {
  const SurveyBlock& block = result.Block;
  CheckReferences(block, result.Files.szProject);
  ForeignModel model;
  model.szForm = sidecar ? sidecar->szForm : "orvo";
  model.Files = FilesRead(result, options);
  model.Images = block.Images;
  for (size_t i = 0; i < model.Images.size(); ++i) {
    model.Images[i].szPath = sidecar ? sidecar->Images[i].szName : NameOfPath(block.Images[i].szPath);
    if (sidecar) model.Images[i].nId = static_cast<int32_t>(sidecar->Images[i].nId);
  }
  if (sidecar) {
    // A project that was not adjusted is not in the frame of its control yet.
    if (result.bResult || !sidecar->Frame.bOfControl) model.Frame = sidecar->Frame;
    model.szPixelOrigin = sidecar->szPixelOrigin;
  }
  std::vector<ExportCamera> cameras = CamerasForExport(block, sidecar, options.Camera, log);
  for (const ExportCamera& camera : cameras) model.Cameras.push_back(camera.Foreign);
  const ResidualSums sums = StrictResidualsOf(block, block.Tie);
  log.Say(fmt::format("Residuals of the block: RMS x {:.6f}, y {:.6f} px, corrected, by plain least squares",
                      sums.RmsX(), sums.RmsY()));
  model.Points = std::make_unique<ResultPoints>(block, std::move(cameras));
  return model;
}

ResultBlock ResultOfModel(ForeignModel& model, const ImportOptions& options, ExchangeLog& log) {
  ResultBlock result;
  result.Files.szProject = options.szSource;
  result.Inputs = FilesRead(options);
  result.Inputs.insert(result.Inputs.end(), model.Files.begin(), model.Files.end());
  const std::vector<ProjectCamera> cameras = CamerasForProject(model.Cameras, options, log);
  for (const ProjectCamera& camera : cameras) result.Block.Cameras.push_back(camera.Ours);
  result.Block.Images = model.Images;
  for (SurveyImage& image : result.Block.Images) {
    image.szName = fs::path(image.szPath).stem().string();
  }
  StreamPoint point;
  model.Points->Rewind();
  while (model.Points->Next(point)) AddPoint(point, cameras, result.Block);
  return result;
}

}  // namespace orvo::exchange
