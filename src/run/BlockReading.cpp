#include "run/BlockReading.h"

#include <cmath>

#include "base/TextReader.h"
#include "geometry/Preparation.h"
#include "geometry/SevenParameters.h"
#include "run/BundleAdjustment.h"
#include "run/RunDiagnosis.h"

namespace orvo {
namespace {

/// A block as a run has it before its first iteration.
class BlockOfRun {
 public:
  BlockOfRun(const RunPaths& paths, const AdjustmentSettings& settings, const Platform& system)
      : Paths(paths), Run(system, nullptr) {
    Run.Settings = settings;
    Run.Settings.Apply_GPS_Data = !paths.szPos.empty();
    Run.Limits = LimitsOf(Run.Settings);
  }

  bool Read();
  void TakeIntoFrame();
  BlockFacts Facts();

 private:
  void MeasureControl(BlockFacts& facts);

  const RunPaths& Paths;
  CBundleAdjustment Run;
};

bool BlockOfRun::Read() {
  if (Run.PreReadData(Paths.szProject, Paths.szGcp) == 0) return false;
  if (Run.ReadProject(Paths.szProject, Paths.szGcp) != 1) return false;
  if (!Paths.szPos.empty()) Run.ReadPosData(Paths.szPos);
  return !Run.Inputs.Any();
}

void BlockOfRun::TakeIntoFrame() {
  if (Run.Points.nControlPointNum >= kControlPointsForTransform) {
    Run.ComputeSevenParametersFromGcp(Paths.szGcp);
  } else if (Run.Limits.Apply_GPS_Data) {
    PositionPairs pairs;
    ComputeSevenParametersFromGps(Run.Images, Run.Frame, pairs, Run.Log);
  }
  Run.ApplySevenParameters();
}

void BlockOfRun::MeasureControl(BlockFacts& facts) {
  TextReader file(&Run.Inputs);
  ObjectPointArray points;
  ImagePointArray measurements;
  if (Paths.szGcp.empty() || !file.Open(Paths.szGcp) || Run.ReadGcpList(points, measurements, file) != 1)
    return;
  double sum = 0;
  int64_t rays = 0, control = 0;
  for (const ObjectPointRecord& point : points) {
    if (point.nType != 1) continue;
    ++control;
    for (int32_t i = 0; i < point.nImagePointNum; ++i) {
      const ImagePointRecord& one = measurements[static_cast<size_t>(point.nFirstImagePoint + i)];
      if (one.nImage < 0 || one.nCamera < 0) continue;
      const EopRecord& image = Run.Images.pEop[static_cast<size_t>(one.nImage)];
      const IopRecord& camera = Run.Cameras.pIop[static_cast<size_t>(one.nCamera)];
      const double pixels = camera.fFocal / Run.Settings.Image_Coor_Scale;
      sum += std::hypot(image.X - point.X, image.Y - point.Y, image.Z - point.Z) / pixels;
      ++rays;
    }
  }
  if (rays == 0 || !std::isfinite(sum)) return;
  facts.fGroundPixel = sum / static_cast<double>(rays);
  facts.fControlRays = static_cast<double>(rays) / static_cast<double>(control);
}

BlockFacts BlockOfRun::Facts() {
  BlockFacts facts;
  facts.nImages = Run.Images.nImageNum;
  facts.nCameras = Run.Cameras.nCameraNum;
  facts.nControl = Run.Points.nControlPointNum;
  facts.nStrips = Run.Images.nGroupNum;
  MeasureControl(facts);
  Run.ComputeNormalization();
  Run.NormalizeData();
  // Working object units are those of the files times the scale.
  facts.fObjectScale =
      (Run.Settings.Coor_Normalization ? Run.Frame.dCoorScale : 1.0) * Run.Settings.Object_Coor_Scale;
  return facts;
}

}  // namespace

std::optional<BlockFacts> ReadBlockFacts(const RunPaths& paths, const AdjustmentSettings& settings,
                                         const Platform& system, Diagnosis& diagnosis) {
  DiagnoseRun(paths, DiagnosisScope::BeforeRun, system, diagnosis);
  if (diagnosis.ErrorNum() > 0) return std::nullopt;
  BlockOfRun block(paths, settings, system);
  if (!block.Read()) {
    diagnosis.Add("S001", {paths.szProject}, "the block can't be read", "See orvo check");
    return std::nullopt;
  }
  block.TakeIntoFrame();
  return block.Facts();
}

}  // namespace orvo
