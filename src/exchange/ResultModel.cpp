#include "exchange/ResultModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ExportCameras.h"
#include "exchange/FilesRead.h"

namespace orvo::exchange {
namespace {

namespace fs = std::filesystem;

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
    if (sidecar) model.ImageIds.push_back(sidecar->Images[i].nId);
  }
  if (sidecar) {
    // A project that was not adjusted is not in the frame of its control yet.
    if (result.bResult || !sidecar->Frame.bOfControl) model.Frame = sidecar->Frame;
    model.szPixelOrigin = sidecar->szPixelOrigin;
  }
  std::vector<ExportCamera> cameras = CamerasForExport(block, sidecar, options.Camera, log);
  for (const ExportCamera& camera : cameras) model.Cameras.push_back(camera.Foreign);
  const ResidualSums sums = StrictResidualsOf(block, block.Tie);
  log.Say(fmt::format("Residuals of the block: RMS x {:.6f}, y {:.6f} px, corrected, points {}", sums.RmsX(),
                      sums.RmsY(), result.bResult ? "by plain least squares" : "as they stand"));
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
