#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/FilesRead.h"
#include "exchange/UnusedOptions.h"
#include "exchange/WholeFiles.h"
#include "exchange/survey/BlockContext.h"
#include "exchange/survey/CoordinateColumns.h"
#include "exchange/survey/GcpSource.h"
#include "exchange/survey/Survey.h"
#include "records/ReadingFacts.h"

namespace orvo::exchange {
namespace {

constexpr size_t kMostName = 31;

struct GcpPoint {
  std::string szName;
  std::array<double, 3> P{};
  int nType = 1;
  std::vector<SurveyMeasurement> Measurements;
};

/// What is told behind the work.
struct GcpLosses {
  NamedCount UnknownImages, WithoutMeasurements, FewMeasurements;
  int64_t nMeasurements = 0;
};

class GcpImport {
 public:
  GcpImport(const ImportOptions& options, ExchangeLog& log)
      : Options(options), Log(log), Source(ReadGcpSource(options.szSource)), Context(options.szProject) {}

  void Run();

 private:
  [[noreturn]] void Fail(int64_t line, std::string what, std::string remedy) const {
    Refuse(Options.szSource, line, std::move(what), std::move(remedy));
  }
  void CheckNames() const;
  int TypeOf(const SourcePoint& point) const;
  std::vector<SurveyMeasurement> MeasurementsOf(const SourcePoint& point);
  void Place(const FrameTransform& transform);
  void Write() const;
  void TellLosses() const;
  void TellSigmas() const;

  const ImportOptions& Options;
  ExchangeLog& Log;
  GcpSource Source;
  BlockContext Context;
  std::vector<GcpPoint> Points;
  GcpLosses Losses;
};

void GcpImport::CheckNames() const {
  std::set<std::string> names;
  for (const SourcePoint& point : Source.Points) {
    const bool fits = point.szName.size() <= kMostName &&
                      std::all_of(point.szName.begin(), point.szName.end(),
                                  [](unsigned char c) { return c > 0x20 && c != 0x7f; });
    if (!fits)
      Fail(point.nLine, "'" + PrintableName(point.szName) + "' can't be the name of a point in a GCP file",
           "Names have up to 31 characters, and no blanks");
    names.insert(point.szName);
  }
  for (const std::string& name : Options.CheckPoints) {
    if (!names.contains(name))
      Fail(0, "there is no point '" + PrintableName(name) + "', which --check names", "Look at its spelling");
  }
  const bool matched = std::ranges::any_of(
      names, [&](const std::string& name) { return name.starts_with(Options.szCheckPrefix); });
  if (!matched)
    Fail(0,
         "there is no point that begins with '" + PrintableName(Options.szCheckPrefix) +
             "', as --check-prefix says",
         "Look at its spelling");
}

int GcpImport::TypeOf(const SourcePoint& point) const {
  const bool named = std::find(Options.CheckPoints.begin(), Options.CheckPoints.end(), point.szName) !=
                     Options.CheckPoints.end();
  const bool prefixed = !Options.szCheckPrefix.empty() && point.szName.starts_with(Options.szCheckPrefix);
  return named || prefixed || point.Check.value_or(false) ? 2 : 1;
}

std::vector<SurveyMeasurement> GcpImport::MeasurementsOf(const SourcePoint& point) {
  std::vector<SurveyMeasurement> measurements;
  if (!point.Marks.empty() && !Context.HasProject())
    Fail(point.Marks[0].nLine, "measurements need the images of a project", "Name it with --project");
  const double shift = 0.5 - Source.dFirstPixel;
  for (const SourceMark& mark : point.Marks) {
    const int32_t image = Context.FindImage(mark.szImage);
    if (image == -2)
      Fail(mark.nLine, "several images have the name '" + PrintableName(mark.szImage) + "'",
           "Write it with its folder");
    if (image < 0) {
      Losses.UnknownImages.Add(mark.szImage.c_str());
      continue;
    }
    const bool twice = std::any_of(measurements.begin(), measurements.end(),
                                   [&](const SurveyMeasurement& other) { return other.nImage == image; });
    if (twice)
      Fail(mark.nLine,
           "the point " + PrintableName(point.szName) + " is measured twice in '" +
               PrintableName(mark.szImage) + "'",
           "Leave one of the two out");
    const auto measured = Context.Measurement(image, mark.dX + shift, mark.dY + shift);
    if (!measured)
      Fail(mark.nLine, fmt::format("the pixel {}, {} lies outside its image", mark.dX, mark.dY),
           "Pixels are counted from the upper left corner, x to the right, y down");
    measurements.push_back({image, (*measured)[0], (*measured)[1]});
    ++Losses.nMeasurements;
  }
  if (measurements.empty()) Losses.WithoutMeasurements.Add(point.szName.c_str());
  if (measurements.size() == 1) Losses.FewMeasurements.Add(point.szName.c_str());
  return measurements;
}

void GcpImport::Place(const FrameTransform& transform) {
  for (const SourcePoint& from : Source.Points) {
    GcpPoint& point = Points.emplace_back();
    point.szName = from.szName;
    point.nType = TypeOf(from);
    try {
      point.P = transform.ToFrame(from.P);
    } catch (const CrsFault& fault) {
      Fail(from.nLine, "point " + PrintableName(from.szName) + ": " + fault.what(), fault.Remedy);
    }
    point.Measurements = MeasurementsOf(from);
  }
  const bool noneKnown = Losses.UnknownImages.nCount > 0 && Losses.nMeasurements == 0;
  if (noneKnown)
    Fail(0,
         "no image of the measurements is one of the project: " +
             CountOf(Losses.UnknownImages.nCount, "measurement", Losses.UnknownImages.Names),
         "Name the project that they belong to with --project");
}

void GcpImport::Write() const {
  WholeFiles files(WholeFiles::FolderOf(Options.szOut), FilesRead(Options));
  files.Write(std::filesystem::path(Options.szOut).filename().string(), [&](TextWriter& file) {
    file.Write(fmt::format("{}\n", Points.size()));
    for (const GcpPoint& point : Points) {
      file.Write(fmt::format("{} {:.6f} {:.6f} {:.6f} {}\n{}\n", point.szName, point.P[0], point.P[1],
                             point.P[2], point.nType, point.Measurements.size()));
      for (const SurveyMeasurement& measured : point.Measurements)
        file.Write(fmt::format("{} {:.9f} {:.9f}\n", measured.nImage, measured.x, measured.y));
    }
  });
  files.Commit();
}

void GcpImport::TellLosses() const {
  const auto tell = [&](const NamedCount& count, const char* kind, const char* what, const char* remedy) {
    if (count.nCount > 0)
      Log.Tell({Severity::Warning, Options.szSource, 0, -1,
                CountOf(count.nCount, kind, count.Names) + ": " + what, remedy});
  };
  const auto by = [](const NamedCount& count, const char* one, const char* several) {
    return count.nCount == 1 ? one : several;
  };
  tell(Losses.UnknownImages, "measurement",
       by(Losses.UnknownImages, "left out, for its image is none of the project",
          "left out, for their images are none of the project"),
       "Look at the names of the images");
  tell(Losses.WithoutMeasurements, "point", "without measurements, which can't take part",
       by(Losses.WithoutMeasurements, "Measure it, or leave it out", "Measure them, or leave them out"));
  tell(Losses.FewMeasurements, "point", "with one measurement, which can't be intersected",
       by(Losses.FewMeasurements, "Measure it in further images", "Measure them in further images"));
  if (!Source.Ignored.empty()) {
    Log.Tell({Severity::Note, Options.szSource, 1, -1,
              CountOf(static_cast<int64_t>(Source.Ignored.size()), "column",
                      {Source.Ignored.begin(),
                       Source.Ignored.begin() +
                           static_cast<std::ptrdiff_t>(std::min<size_t>(3, Source.Ignored.size()))}) +
                  ": not read",
              ""});
  }
}

void GcpImport::TellSigmas() const {
  double least = 0, most = 0;
  int64_t count = 0;
  for (const SourcePoint& point : Source.Points) {
    for (const auto& sigma : point.Sigma) {
      if (!sigma) continue;
      least = count == 0 ? *sigma : std::min(least, *sigma);
      most = count++ == 0 ? *sigma : std::max(most, *sigma);
    }
  }
  if (count > 0)
    Log.Say(
        fmt::format("Standard deviations from {} to {}: a GCP file has none, weigh control as a whole by "
                    "GCP_Weight in the settings.",
                    least, most));
}

void GcpImport::Run() {
  CheckNames();
  SourceSystem system{Options.szCrs.empty() ? Source.szCrs : Options.szCrs, Options.szHeight};
  // What a list names itself is east first by its own rules.
  if (Source.szCrs.empty())
    CheckWords(Options.szSource, Source.Words, system.szCrs);
  else
    CheckSystems(Options.szSource, Source.szCrs, Options.szCrs);
  if (!Source.bHeights && Options.szHeight != "none")
    Fail(1, "there is no column of heights", "Add one, or say --height none for points at height 0");
  const CoordinateScale scale = ScaleOf(Options.szSource, Source.Units, system);
  std::vector<std::array<double, 3>> places;
  for (SourcePoint& point : Source.Points) places.push_back(point.P = Scaled(point.P, scale));
  if (!scale.szNote.empty()) Log.Say(scale.szNote);
  const FrameWay way = ChooseFrame(Options, system, Source.bHeights, Context, places, Log);
  Place(way.Transform);
  Write();
  KeepFrame(way, system, Context, Log);
  const auto checks =
      std::count_if(Points.begin(), Points.end(), [](const GcpPoint& p) { return p.nType == 2; });
  Log.Say(fmt::format("Control points: {}, check points: {}, measurements: {}",
                      static_cast<int64_t>(Points.size()) - checks, checks, Losses.nMeasurements));
  TellSigmas();
  Log.Say(PrintableName(Options.szOut));
  TellLosses();
}

}  // namespace

void ImportGcp(const ImportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"project", "crs", "frame", "height", "origin", "check", "check-prefix"});
  if (options.szOut.empty()) Refuse("", 0, "--out names no file", "Name the GCP file to write");
  GcpImport(options, log).Run();
}

}  // namespace orvo::exchange
