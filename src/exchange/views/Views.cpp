#include "exchange/views/Views.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>
#include <filesystem>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/FilesRead.h"
#include "exchange/UnusedOptions.h"
#include "exchange/WholeFiles.h"
#include "exchange/crs/AreaCheck.h"
#include "exchange/crs/WktText.h"
#include "exchange/views/CameraFile.h"
#include "exchange/views/GeoJson.h"
#include "exchange/views/Las.h"
#include "exchange/views/MapOfBlock.h"
#include "exchange/views/Ply.h"
#include "exchange/views/Tables.h"

namespace orvo::exchange {
namespace {

std::string NameIn(const std::string& path) {
  std::string name = std::filesystem::path(path).filename().string();
  if (name.empty()) Refuse(path, 0, "this is no name of a file", "Name a file with --out");
  return name;
}

/// The points, with the strict figures that other programs would show told.
ViewBlock SolvedBlock(const ResultBlock& result, ExchangeLog& log) {
  ViewBlock view = ViewOf(result.Block);
  const StrictStatistics strict = StatisticsOf(view.Block, view.Block.Tie, view.Tie);
  log.Say(fmt::format("Tie points: {} of {}, strict RMS of {} measurements in x / y: {:.4f} / {:.4f} pixels",
                      SolvedNum(view.Tie), view.Tie.size(), strict.nMeasurements, strict.Rms[0],
                      strict.Rms[1]));
  const auto lost = static_cast<int64_t>(view.Tie.size()) - SolvedNum(view.Tie);
  if (lost > 0) {
    log.Tell({Severity::Note, result.Files.szProject, 0, -1,
              "left out: " + CountOf(lost, "tie point", {}) + " without a place where the rays meet", ""});
  }
  return view;
}

void TellWritten(const WholeFiles& files, std::initializer_list<std::string> names, ExchangeLog& log) {
  for (const std::string& name : names) log.Say(PrintableName(files.PathOf(name)));
}

/// One file by `writer`.
void WriteOne(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log,
              const std::function<void(TextWriter& file)>& writer) {
  const std::string name = NameIn(options.szOut);
  WholeFiles files(WholeFiles::FolderOf(options.szOut), FilesRead(result, options));
  files.Write(name, writer);
  files.Commit();
  TellWritten(files, {name}, log);
}

void TellArea(const ExportOptions& options, const ViewBlock& view, ExchangeLog& log) {
  std::vector<std::array<double, 3>> places;
  for (const std::vector<StrictPoint>* points : {&view.Tie, &view.Control}) {
    for (const StrictPoint& point : *points) {
      if (point.bSolved) places.push_back(point.P);
    }
  }
  try {
    const std::string note = OutsideArea({options.szCrs, ""}, places);
    if (note.empty()) return;
    log.Tell({Severity::Warning, options.szOut, 0, -1, note.substr(0, note.size() - 1),
              "Look at --to-crs and at the frame of the block"});
  } catch (const CrsFault& fault) {
    Refuse("", 0, fault.what(), fault.Remedy);
  }
}

/// Points in the system that is asked for; without one as they are.
void MovePoints(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log, ViewBlock& view) {
  if (options.szCrs.empty()) {
    if (!options.szBlockCrs.empty()) {
      Refuse("", 0, "points stay in the frame of the block, and --block-crs has no use",
             "Name the system of the file with --to-crs as well");
    }
    return;
  }
  const BlockOnEarth block = FindBlockOnEarth(result, options, log);
  const PlaceOnEarth place = ToSystem(block, options.szCrs);
  if (!block.bHeights) {
    log.Tell({Severity::Note, options.szOut, 0, -1,
              "heights are those of the block as they stand: nothing tells what they are above", ""});
  }
  for (std::vector<StrictPoint>* points : {&view.Tie, &view.Control}) {
    for (StrictPoint& point : *points) {
      if (!point.bSolved) continue;
      const double height = point.P[2];
      point.P = place(point.P);
      if (std::isnan(point.P[2])) point.P[2] = height;
    }
  }
  TellArea(options, view, log);
}

LasHead HeadOfToday() {
  LasHead head;
  const std::time_t now = std::time(nullptr);
  std::tm day{};
  if (gmtime_r(&now, &day) != nullptr) {
    head.nYear = day.tm_year + 1900;
    head.nDayOfYear = day.tm_yday + 1;
  }
  return head;
}

}  // namespace

void ExportGeoJson(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  if (!options.szCrs.empty()) {
    Refuse("", 0, "GeoJSON is always in longitude and latitude of WGS 84",
           "Leave --to-crs away; the system of the block is named with --block-crs");
  }
  RefuseUnused(options, {"block-crs"});
  const PlaceOnEarth place = ToWgs84(FindBlockOnEarth(result, options, log));
  const ViewBlock view = SolvedBlock(result, log);
  WriteOne(result, options, log, [&](TextWriter& file) { WriteGeoJson(view, place, file); });
}

void ExportTables(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {});
  const ViewBlock view = SolvedBlock(result, log);
  WholeFiles files(options.szOut, FilesRead(result, options));
  files.Write("orientations.csv", [&](TextWriter& file) { WriteOrientations(view, file); });
  files.Write("cameras.csv", [&](TextWriter& file) { WriteCameras(view.Block, file); });
  files.Write("points.csv", [&](TextWriter& file) { WritePoints(view, file); });
  files.Write("control.csv", [&](TextWriter& file) { WriteControl(view, file); });
  files.Write("residuals.csv", [&](TextWriter& file) { WriteResiduals(view, file); });
  files.Commit();
  TellWritten(files, {"orientations.csv", "cameras.csv", "points.csv", "control.csv", "residuals.csv"}, log);
}

void ExportPly(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  if (!options.szCrs.empty()) {
    Refuse("", 0, "PLY files are in the frame of the block", "Leave --to-crs away, or export las");
  }
  RefuseUnused(options, {});
  const ViewBlock view = SolvedBlock(result, log);
  const std::string name = NameIn(options.szOut);
  const std::string cameras = std::filesystem::path(name).stem().string() + "_cameras.ply";
  WholeFiles files(WholeFiles::FolderOf(options.szOut), FilesRead(result, options));
  files.Write(name, [&](TextWriter& file) { WritePointsPly(view, file); });
  files.Write(cameras,
              [&](TextWriter& file) { WriteCamerasPly(view.Block, PyramidDepth(view.Block), file); });
  files.Commit();
  TellWritten(files, {name, cameras}, log);
}

void ExportLas(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"to-crs", "block-crs"});
  ViewBlock view = SolvedBlock(result, log);
  MovePoints(result, options, log, view);
  LasHead head = HeadOfToday();
  if (!options.szCrs.empty()) {
    head.szWkt = WktOf(options.szCrs);
    head.bDegrees = DescribeSystem({options.szCrs, ""}).bGeographic;
  }
  WriteOne(result, options, log, [&](TextWriter& file) {
    if (WriteLas(view, head, file)) return;
    Refuse(options.szOut, 0, "the coordinates of the points are too far apart for the file, or no numbers",
           "Look at the block with orvo check");
  });
}

void ExportCameras(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"pixel-size"});
  WriteOne(result, options, log,
           [&](TextWriter& file) { file.Write(CameraFileText(result.Block, options.dPixelSize)); });
}

}  // namespace orvo::exchange
