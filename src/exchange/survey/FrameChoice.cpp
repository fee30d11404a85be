#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/WholeFiles.h"
#include "exchange/crs/AreaCheck.h"
#include "exchange/survey/BlockContext.h"
#include "exchange/survey/DelimitedTable.h"

namespace orvo::exchange {
namespace {

constexpr const char* kNameSystem = "Name the coordinate system with --crs, or say --frame as-is";

/// "LAT,LON" or "LAT,LON,HEIGHT".
BlockFrame FrameOfOrigin(const std::string& text) {
  std::vector<std::string> fields;
  std::array<double, 3> values{};
  bool good = SplitFields(text, ',', fields) && (fields.size() == 2 || fields.size() == 3);
  for (size_t i = 0; good && i < fields.size(); ++i) {
    const auto value = NumberIn(fields[i]);
    good = value.has_value();
    if (good) values[i] = *value;
  }
  if (!good)
    Refuse("", 0, "'" + PrintableName(text) + "' is no origin", "Write --origin LATITUDE,LONGITUDE,HEIGHT");
  return {FrameKind::Topocentric, {}, values[1], values[0], values[2]};
}

std::string WordsOf(const BlockFrame& frame) {
  if (frame.Kind == FrameKind::AsIs) return "as is: coordinates are taken as they stand";
  if (frame.Kind == FrameKind::Projected) return "projected, " + PrintableName(frame.System.szCrs);
  return fmt::format("topocentric, origin latitude {:.9g}, longitude {:.9g}, height {:.9g}", frame.dLatitude,
                     frame.dLongitude, frame.dHeight);
}

/// A block has one frame: what is asked for has to be the one that it has.
void CheckAgainst(const BlockFrame& kept, const ImportOptions& options) {
  const bool otherKind = options.Frame && *options.Frame != kept.Kind;
  const bool otherOrigin = !options.szOrigin.empty() && FrameOfOrigin(options.szOrigin) != kept;
  if (!otherKind && !otherOrigin) return;
  Refuse(SidecarPathOf(options.szProject), 0, "the block has a frame already: " + WordsOf(kept),
         "Leave --frame and --origin out, or import the block again");
}

/// What no frame is, taken as it stands. Throws CrsFault.
void CheckAsIs(const std::string& path, const SourceSystem& source) {
  const SystemFacts facts = DescribeSystem(source);
  if (facts.bGeographic)
    Refuse(path, 0, "longitude and latitude are no frame for a block", "Use --frame topocentric");
  if (facts.dMetresOfUnit != 1)
    Refuse(path, 0, "the unit of " + facts.szName + " is the " + facts.szUnit + ", and a block is in metres",
           "Use --frame topocentric or --frame projected");
}

/// A wrong sign of a longitude makes an origin that is thousands of kilometres off, and a frame as good as
/// any. `chosen`: the origin is not the middle of the places.
void CheckDistance(const BlockFrame& frame, bool chosen, const FrameTransform& transform,
                   const std::vector<std::array<double, 3>>& places, const std::string& path,
                   ExchangeLog& log) {
  constexpr double kTold = 100e3, kRefused = 1000e3;
  if (frame.Kind != FrameKind::Topocentric) return;
  double least = std::numeric_limits<double>::infinity(), most = 0;
  for (const std::array<double, 3>& place : places) {
    try {
      const std::array<double, 3> p = transform.ToFrame(place);
      const double distance = std::hypot(p[0], p[1], p[2]);
      least = std::min(least, distance);
      most = std::max(most, distance);
    } catch (const CrsFault&) {
      continue;  // refused with its line, where it is brought into the frame
    }
  }
  const char* remedy = chosen ? "Look at the signs of --origin, and at the coordinate system"
                              : "Look at the coordinates and at their system";
  if (chosen && most > 0 && least > kRefused) {
    Refuse(path, 0,
           fmt::format("all coordinates are {:.0f} km and more from the frame's origin", least / 1e3),
           remedy);
  }
  if (most <= kTold) return;
  log.Tell({Severity::Warning, path, 0, -1,
            fmt::format("coordinates are up to {:.0f} km from the frame's origin", most / 1e3), remedy});
}

BlockFrame NewFrame(const ImportOptions& options, const SourceSystem& source,
                    const std::vector<std::array<double, 3>>& places) {
  const FrameKind kind =
      options.Frame.value_or(source.szCrs.empty() ? FrameKind::AsIs : FrameKind::Topocentric);
  if (kind != FrameKind::Topocentric && !options.szOrigin.empty()) {
    Refuse("", 0, std::string("--origin has no use with --frame ") + NameOf(kind),
           "Leave it away, or say --frame topocentric");
  }
  if (kind == FrameKind::Projected) return {kind, source, 0, 0, 0};
  if (kind == FrameKind::Topocentric)
    return options.szOrigin.empty() ? TopocentricFrameOf(source, places) : FrameOfOrigin(options.szOrigin);
  return {};
}

}  // namespace

BlockFrame FrameOf(const ModelFrame& kept) {
  BlockFrame frame;
  frame.Kind = kept.Kind;
  if (kept.Kind == FrameKind::Projected) frame.System = {kept.szCrs, kept.szHeight};
  if (kept.Kind == FrameKind::Topocentric) {
    frame.dLatitude = kept.Origin[0];
    frame.dLongitude = kept.Origin[1];
    frame.dHeight = kept.Origin[2];
  }
  return frame;
}

FrameWay ChooseFrame(const ImportOptions& options, const SourceSystem& source, bool heights,
                     const BlockContext& block, const std::vector<std::array<double, 3>>& places,
                     ExchangeLog& log) {
  try {
    const bool kept = block.Original() && block.Original()->Frame.Kind != FrameKind::AsIs;
    BlockFrame frame;
    if (kept) {
      frame = FrameOf(block.Original()->Frame);
      CheckAgainst(frame, options);
    }
    const bool named = kept || (options.Frame && *options.Frame != FrameKind::AsIs);
    if (source.szCrs.empty() && named)
      Refuse(options.szSource, 0, "the coordinates have no coordinate system",
             kept ? "Name it with --crs: the block has a frame already" : kNameSystem);
    if (!kept) frame = NewFrame(options, source, places);
    if (frame.Kind == FrameKind::AsIs && !source.szCrs.empty()) CheckAsIs(options.szSource, source);
    if (!source.szCrs.empty()) {
      log.Say("Coordinate system: " + PrintableName(source.szCrs) +
              (source.szHeight.empty() ? "" : ", heights: " + PrintableName(source.szHeight)));
      if (const std::string note = CheckArea(source, places); !note.empty())
        log.Tell({Severity::Warning, options.szSource, 0, -1, note.substr(0, note.size() - 1),
                  "Look at the coordinate system"});
    }
    FrameWay way{frame, !kept && frame.Kind != FrameKind::AsIs, FrameTransform(source, frame, heights)};
    log.Say("Frame: " + WordsOf(frame));
    CheckDistance(frame, kept || !options.szOrigin.empty(), way.Transform, places, options.szSource, log);
    for (const std::string& note : way.Transform.Notes()) log.Say(note);
    return way;
  } catch (const CrsFault& fault) {
    Refuse(options.szSource, 0, fault.what(), fault.Remedy);
  }
}

void KeepFrame(const FrameWay& way, const SourceSystem& source, const BlockContext& block, ExchangeLog& log) {
  if (!way.bNew) return;
  const std::string origin =
      fmt::format("{:.9g},{:.9g},{:.9g}", way.Frame.dLatitude, way.Frame.dLongitude, way.Frame.dHeight);
  if (!block.Original()) {
    if (way.Frame.Kind == FrameKind::Topocentric)
      log.Say("Give --frame topocentric --origin " + origin + " to whatever else belongs to this block.");
    return;
  }
  Sidecar sidecar = *block.Original();
  sidecar.Frame.bOfControl = true;
  sidecar.Frame.Kind = way.Frame.Kind;
  sidecar.Frame.szCrs = source.szCrs;
  sidecar.Frame.szHeight = source.szHeight;
  sidecar.Frame.Origin = {way.Frame.dLatitude, way.Frame.dLongitude, way.Frame.dHeight};
  const std::string path = SidecarPathOf(block.ProjectPath());
  WholeFiles files(WholeFiles::FolderOf(path), {block.ProjectPath()}, BlockFiles::Replace);
  files.Write(std::filesystem::path(path).filename().string(),
              [&](TextWriter& file) { file.Write(SidecarText(sidecar)); });
  files.Commit();
  log.Say("The frame is kept in " + PrintableName(path));
}

}  // namespace orvo::exchange
