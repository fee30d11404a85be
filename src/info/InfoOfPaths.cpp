#include "info/InfoOfPaths.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>

#include "base/PrintableName.h"
#include "block/OvtFile.h"
#include "check/OvtCheck.h"
#include "check/SurveyReading.h"
#include "exchange/ExchangeFault.h"
#include "exchange/Forms.h"
#include "exchange/LensModels.h"
#include "exchange/ResultModel.h"
#include "exchange/ResultReading.h"
#include "exchange/Sidecar.h"
#include "exchange/survey/GcpSource.h"
#include "exchange/survey/PosSource.h"

namespace orvo::info {
namespace {

constexpr char kCheckRemedy[] = "Run orvo check on it";

/// Files named beside the blocks.
struct Beside {
  std::string szGcp, szPos;
};

std::string FrameText(const exchange::ModelFrame& frame) {
  if (frame.Kind == exchange::FrameKind::Topocentric) {
    return fmt::format("topocentric at latitude {}, longitude {}, height {}", frame.Origin[0],
                       frame.Origin[1], frame.Origin[2]) +
           (frame.szCrs.empty() ? "" : ", from " + frame.szCrs);
  }
  return frame.szCrs;
}

void TellBlock(const SurveyBlock& block, int threads, PathInfo& info) {
  info.Figures = FiguresOf(block);
  info.Memory = MemoryOf(block, threads);
}

void TellDiagnosis(const Diagnosis& diagnosis, PathInfo& info) {
  info.nErrors += diagnosis.ErrorNum();
  info.nWarnings += diagnosis.WarningNum();
}

Finding FirstError(const Diagnosis& diagnosis, const std::string& path) {
  for (const Finding& finding : diagnosis.Findings()) {
    if (finding.Weight == Severity::Error) return finding;
  }
  return {Severity::Error, path, 0, -1, "it can't be read", kCheckRemedy};
}

void TellSidecar(const std::string& project, PathInfo& info) {
  const auto sidecar = exchange::ReadSidecar(exchange::SidecarPathOf(project));
  if (sidecar) info.szFrame = FrameText(sidecar->Frame);
}

void TellProject(const Beside& beside, int threads, PathInfo& info) {
  SurveyFiles files;
  files.szProject = info.szPath;
  files.szGcp = beside.szGcp;
  files.szPos = beside.szPos;
  SurveyBlock block;
  Diagnosis diagnosis;
  const bool usable = ReadSurvey(files, block, diagnosis);
  TellDiagnosis(diagnosis, info);
  if (!usable) {
    info.Fault = FirstError(diagnosis, info.szPath);
    return;
  }
  info.Left = exchange::LeaveOut(block, exchange::BlockOrigin::Project);
  TellBlock(block, threads, info);
  TellSidecar(info.szPath, info);
}

void TellResult(const Beside& beside, int threads, PathInfo& info) {
  const exchange::ResultBlock result = exchange::ReadResult(info.szPath, {}, beside.szGcp, beside.szPos);
  info.Left = result.Left;
  TellBlock(result.Block, threads, info);
  exchange::ExchangeLog silent;
  const auto sidecar = exchange::SidecarOf(result, {}, silent);
  if (sidecar) info.szFrame = FrameText(sidecar->Frame);
}

SurveyCamera WithoutDistortion(const exchange::ForeignCamera& camera) {
  SurveyCamera plain;
  plain.nWidth = camera.nWidth;
  plain.nHeight = camera.nHeight;
  plain.dFocal = camera.dFx;
  return plain;
}

/// The model with measurements that are freed of the distortion; those that no ray leads to are left out.
SurveyBlock BlockOf(exchange::ForeignModel& model) {
  SurveyBlock block;
  for (const exchange::ForeignCamera& camera : model.Cameras)
    block.Cameras.push_back(WithoutDistortion(camera));
  block.Images = std::move(model.Images);
  exchange::StreamPoint read;
  while (model.Points != nullptr && model.Points->Next(read)) {
    SurveyPoint point;
    read.szName.copy(point.szName.data(), point.szName.size() - 1);
    point.P = read.P;
    point.nFirstMeasurement = std::ssize(block.Tie.Measurements);
    for (const SurveyMeasurement& measured : read.Measurements) {
      if (measured.nImage < 0 || measured.nImage >= std::ssize(block.Images)) continue;
      const int32_t ordinal = block.Images[static_cast<size_t>(measured.nImage)].nCamera;
      if (ordinal < 0 || ordinal >= std::ssize(model.Cameras)) continue;
      const exchange::ForeignCamera& camera = model.Cameras[static_cast<size_t>(ordinal)];
      const auto ideal = exchange::DirectionOf(
          camera, exchange::LensPoint{0.5 * camera.nWidth + measured.x, 0.5 * camera.nHeight - measured.y});
      if (!ideal) continue;
      block.Tie.Measurements.push_back({measured.nImage, camera.dFx * ideal->u, -camera.dFx * ideal->v});
    }
    point.nMeasurementNum =
        static_cast<int32_t>(std::ssize(block.Tie.Measurements) - point.nFirstMeasurement);
    block.Tie.Points.push_back(point);
  }
  return block;
}

void TellModel(int threads, PathInfo& info) {
  const exchange::Form* form = exchange::FindForm(info.Kind.szForm);
  if (form == nullptr || form->ReadModel == nullptr) {
    exchange::Refuse(info.szPath, 0, "this version does not read " + info.Kind.szForm + " models", "");
  }
  exchange::ImportOptions options;
  options.szForm = info.Kind.szForm;
  options.szSource = info.szPath;
  exchange::ExchangeLog silent;
  exchange::ForeignModel model = form->ReadModel(options, silent);
  info.szFrame = FrameText(model.Frame);
  info.Cameras = model.Cameras;
  TellBlock(BlockOf(model), threads, info);
}

void SetMeanRays(PointFigures& figures) {
  if (figures.nPoints == 0) return;
  figures.dMeanRays = static_cast<double>(figures.nMeasurements) / static_cast<double>(figures.nPoints);
}

PointFigures CountsOf(const SurveyPoints& points, bool control) {
  PointFigures figures;
  for (const SurveyPoint& point : points.Points) {
    if (control ? point.nType != 1 : point.nType < 2) continue;
    ++figures.nPoints;
    figures.nMeasurements += point.nMeasurementNum;
    ++figures.PointsOfRays[point.nMeasurementNum];
  }
  SetMeanRays(figures);
  return figures;
}

/// A GCP or a POS file without a project.
void TellAlone(PathInfo& info) {
  SurveyFiles files;
  (info.Kind.Kind == PathKind::Gcp ? files.szGcp : files.szPos) = info.szPath;
  SurveyBlock block;
  Diagnosis diagnosis;
  const bool usable = ReadSurveyAlone(files, block, diagnosis);
  TellDiagnosis(diagnosis, info);
  if (!usable) {
    info.Fault = FirstError(diagnosis, info.szPath);
    return;
  }
  info.Control = CountsOf(block.Control, true);
  info.Check = CountsOf(block.Control, false);
  info.nPosLines = std::ssize(block.Pos);
  std::set<int64_t> strips;
  for (const SurveyPos& line : block.Pos) strips.insert(line.nStrip);
  info.PosStrips.assign(strips.begin(), strips.end());
}

/// Alone it has no images, so that any ordinal may be one.
void TellOvt(PathInfo& info) {
  if (const auto fault = FindFaultOfOvt(info.szPath, std::numeric_limits<int32_t>::max())) {
    info.nErrors = 1;
    info.Fault = *fault;
  }
  OvtReader file;
  if (!file.Open(info.szPath)) return;
  info.nPoints = file.PointNum();
  info.nMeasurements = file.MeasureNum();
}

void Enlarge(std::optional<Extent>& extent, const std::array<double, 3>& place) {
  if (!extent) extent = Extent{place, place};
  for (size_t c = 0; c < 3; ++c) {
    extent->Least[c] = std::min(extent->Least[c], place[c]);
    extent->Most[c] = std::max(extent->Most[c], place[c]);
  }
}

void TellGcpTable(PathInfo& info) {
  const exchange::GcpSource source = exchange::ReadGcpSource(info.szPath);
  info.szFrame = source.szCrs;
  for (const exchange::SourcePoint& point : source.Points) {
    PointFigures& figures = point.Check.value_or(false) ? info.Check : info.Control;
    ++figures.nPoints;
    figures.nMeasurements += std::ssize(point.Marks);
    ++figures.PointsOfRays[static_cast<int32_t>(point.Marks.size())];
    Enlarge(info.Places, point.P);
  }
  for (PointFigures* figures : {&info.Control, &info.Check}) SetMeanRays(*figures);
}

const char* TextOfAngles(exchange::AngleWords angles) {
  switch (angles) {
    case exchange::AngleWords::None:
      return "without angles";
    case exchange::AngleWords::OmegaPhiKappa:
      return "with omega, phi, kappa";
    case exchange::AngleWords::YawPitchRoll:
      return "with yaw, pitch, roll";
    case exchange::AngleWords::Flight:
      return "with yaw, pitch, roll of the aircraft";
    case exchange::AngleWords::Gimbal:
      return "with yaw, pitch, roll of the gimbal";
  }
  return "";
}

void TellPosTable(PathInfo& info) {
  const exchange::PosSource source = exchange::ReadPosSource(info.szPath);
  info.szFrame = source.szCrs;
  info.szAngles = TextOfAngles(source.Angles);
  info.nPosLines = std::ssize(source.Poses);
  std::set<int64_t> strips;
  for (const exchange::SourcePose& pose : source.Poses) {
    if (pose.Strip) strips.insert(*pose.Strip);
    Enlarge(info.Places, pose.P);
  }
  info.PosStrips.assign(strips.begin(), strips.end());
}

void TellPath(const Beside& beside, int threads, PathInfo& info) {
  switch (info.Kind.Kind) {
    case PathKind::TextProject:
    case PathKind::OvcProject:
      return TellProject(beside, threads, info);
    case PathKind::Result:
      return TellResult(beside, threads, info);
    case PathKind::Model:
      return TellModel(threads, info);
    case PathKind::Gcp:
    case PathKind::Pos:
      return TellAlone(info);
    case PathKind::Ovt:
      return TellOvt(info);
    case PathKind::GcpTable:
      return TellGcpTable(info);
    case PathKind::PosTable:
      return TellPosTable(info);
    case PathKind::Settings:
      return;
    case PathKind::Missing:
      exchange::Refuse(info.szPath, 0, info.Kind.szWhy, "Check its path and permissions");
    case PathKind::Unknown:
      exchange::Refuse(
          info.szPath, 0, info.Kind.szWhy.empty() ? "this is nothing that Orvo knows" : info.Kind.szWhy,
          "It knows projects, GCP and POS files, result folders, and the forms of orvo import --help");
  }
}

bool TakesSurvey(const PathInfo& info) {
  return info.Kind.Kind == PathKind::TextProject || info.Kind.Kind == PathKind::OvcProject ||
         info.Kind.Kind == PathKind::Result;
}

/// The GCP and the POS file among the paths. Beside a block a second one is at fault.
Beside FindBeside(std::vector<PathInfo>& infos) {
  Beside beside;
  const bool blocks = std::ranges::any_of(infos, TakesSurvey);
  for (PathInfo& info : infos) {
    if (info.Kind.Kind != PathKind::Gcp && info.Kind.Kind != PathKind::Pos) continue;
    std::string& taken = info.Kind.Kind == PathKind::Gcp ? beside.szGcp : beside.szPos;
    if (taken.empty()) {
      taken = info.szPath;
    } else if (blocks) {
      info.Fault = {Severity::Error,
                    info.szPath,
                    0,
                    -1,
                    "it is the second " + TextOf(info.Kind) +
                        ", and a block has one: " + PrintableName(taken) + " is taken",
                    "Leave one of the two out"};
    }
  }
  return beside;
}

}  // namespace

std::vector<PathInfo> InfoOf(std::span<const std::string> paths, int threads) {
  std::vector<PathInfo> infos;
  for (const std::string& path : paths) {
    PathInfo info;
    info.szPath = path;
    info.Kind = LookAt(path);
    infos.push_back(std::move(info));
  }
  const Beside beside = FindBeside(infos);
  for (PathInfo& info : infos) {
    if (info.Fault) continue;
    try {
      TellPath(beside, threads, info);
    } catch (const exchange::ExchangeFault& fault) {
      info.Fault = fault.What;
    }
  }
  return infos;
}

}  // namespace orvo::info
