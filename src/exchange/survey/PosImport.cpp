#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "base/PrintableName.h"
#include "check/Finding.h"
#include "exchange/ExchangeFault.h"
#include "exchange/FilesRead.h"
#include "exchange/UnusedOptions.h"
#include "exchange/WholeFiles.h"
#include "exchange/survey/BlockContext.h"
#include "exchange/survey/CoordinateColumns.h"
#include "exchange/survey/PosSource.h"
#include "exchange/survey/Strips.h"
#include "exchange/survey/Survey.h"
#include "records/ReadingFacts.h"

namespace orvo::exchange {
namespace {

struct PosLine {
  std::array<double, 3> P{};
  std::array<double, 3> Degrees{};  ///< omega, phi, kappa
  int64_t nStrip = 0;
};

class PosImport {
 public:
  PosImport(const ImportOptions& options, ExchangeLog& log)
      : Options(options),
        Log(log),
        Source(ReadPosSource(options.szSource, AngleSystemOf(options.szAngles))),
        Context(options.szProject) {}

  void Run();

 private:
  [[noreturn]] void Fail(int64_t line, std::string what, std::string remedy) const {
    Refuse(Options.szSource, line, std::move(what), std::move(remedy));
  }
  void NameImages();
  AngleSystem FindAngleSystem() const;
  void Place(const FrameTransform& transform);
  std::array<double, 3> AnglesOf(const SourcePose& pose, const PosLine& line, const FrameTransform& transform,
                                 AngleSystem system) const;
  void NumberStrips();
  void Write() const;
  void TellLosses() const;

  const ImportOptions& Options;
  ExchangeLog& Log;
  PosSource Source;
  BlockContext Context;
  std::vector<std::string> Names;  ///< of Source.Poses, as the POS file has them
  std::vector<PosLine> Lines;
  NamedCount Unknown;
};

/// Without folder and extension, as the name of an image in a project.
std::string PlainName(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  const std::string file = separator == std::string::npos ? path : path.substr(separator + 1);
  const size_t dot = file.rfind('.');
  return dot == std::string::npos || dot == 0 ? file : file.substr(0, dot);
}

void PosImport::NameImages() {
  std::map<std::string, int32_t> taken;  // the image that has the name
  for (SourcePose& pose : Source.Poses) {
    std::string name = PlainName(pose.szImage);
    int32_t image = 0;
    if (Context.HasProject()) {
      image = Context.FindImage(pose.szImage);
      if (image == -2)
        Fail(pose.nLine, "several images have the name '" + PrintableName(pose.szImage) + "'",
             "Write it with its folder");
      if (image < 0) {
        Unknown.Add(pose.szImage.c_str());
        continue;
      }
      name = Context.PosName(image);
    }
    const bool fits =
        !name.empty() && name.size() < 128 &&
        std::all_of(name.begin(), name.end(), [](unsigned char c) { return c > 0x20 && c != 0x7f; });
    if (!fits)
      Fail(pose.nLine, "'" + PrintableName(name) + "' can't be the name of an image in a POS file",
           "Names have no blanks, and up to 127 bytes: rename the image");
    const auto [place, isNew] = taken.emplace(name, image);
    if (!isNew && place->second != image)
      Fail(pose.nLine, "several images of the project have the name '" + PrintableName(name) + "'",
           "Folder and extension do not tell images of a POS file apart: rename them in the project");
    if (!isNew)
      Fail(pose.nLine, "the image '" + PrintableName(name) + "' comes twice",
           "Leave one of the two lines out");
    SourcePose& kept = Source.Poses[Names.size()];
    if (&kept != &pose) kept = std::move(pose);
    Names.push_back(name);
  }
  if (Names.empty())
    Fail(0, "no image is one of the project: " + CountOf(Unknown.nCount, "image", Unknown.Names),
         "Name with --project the one that has them");
  Source.Poses.resize(Names.size());
}

const char* RemedyOfColumns(AngleWords words) {
  switch (words) {
    case AngleWords::OmegaPhiKappa:
      return "For omega, phi, kappa say standard or orvo";
    case AngleWords::Flight:
      return "Its angles are those of the aircraft: say body, or leave --angles out";
    case AngleWords::Gimbal:
      return "Its angles are those of the gimbal: say gimbal, or leave --angles out";
    default:
      return "For yaw, pitch, roll say body or gimbal";
  }
}

AngleSystem PosImport::FindAngleSystem() const {
  const auto named = AngleSystemOf(Options.szAngles);
  const bool turns = Source.Angles == AngleWords::OmegaPhiKappa;
  if (!Options.szAngles.empty() && !named)
    Fail(0, "'" + PrintableName(Options.szAngles) + "' is no convention of angles",
         "Conventions are orvo, standard, body and gimbal");
  if (Source.Angles == AngleWords::None) return AngleSystem::Orvo;
  if (!named) {
    if (Source.Angles == AngleWords::Flight) return AngleSystem::Body;
    if (Source.Angles == AngleWords::Gimbal) return AngleSystem::Gimbal;
    Fail(1,
         turns ? "omega, phi and kappa are turned in another order by each program"
               : "yaw, pitch and roll may be those of the aircraft or of the camera",
         turns ? "Say --angles standard (R = Rx Ry Rz, as most programs have it) or --angles orvo"
               : "Say --angles body (level flight is 0, 0) or --angles gimbal (pitch -90 looks down)");
  }
  if (!GoesWith(Source.Angles, *named))
    Fail(1, "--angles " + Options.szAngles + " does not go with the columns of the file",
         RemedyOfColumns(Source.Angles));
  return *named;
}

std::array<double, 3> PosImport::AnglesOf(const SourcePose& pose, const PosLine& line,
                                          const FrameTransform& transform, AngleSystem system) const {
  Rotation R = RotationOfDegrees(system, *pose.Angles);
  // Yaw is from true north; omega, phi and kappa are in the axes of the coordinates.
  if (Source.Angles == AngleWords::OmegaPhiKappa)
    R = ProductOf(TransposeOf(transform.LocalAxesOfSource(pose.P)), R);
  return DegreesOf(AngleSystem::Orvo, ProductOf(transform.LocalAxesOfFrame(line.P), R));
}

void PosImport::Place(const FrameTransform& transform) {
  const AngleSystem system = FindAngleSystem();
  for (const SourcePose& pose : Source.Poses) {
    PosLine& line = Lines.emplace_back();
    try {
      line.P = transform.ToFrame(pose.P);
      if (pose.Angles) line.Degrees = AnglesOf(pose, line, transform, system);
    } catch (const CrsFault& fault) {
      Fail(pose.nLine, "image " + PrintableName(pose.szImage) + ": " + fault.what(), fault.Remedy);
    }
  }
}

void PosImport::NumberStrips() {
  std::vector<StripImage> images;
  std::vector<int64_t> numbers;
  for (size_t i = 0; i < Lines.size(); ++i) {
    images.push_back({Names[i], Lines[i].P[0], Lines[i].P[1], Source.Poses[i].Seconds});
    if (Source.Poses[i].Strip) numbers.push_back(*Source.Poses[i].Strip);
  }
  if (!numbers.empty() && numbers.size() != Lines.size())
    Fail(0, "some images have the number of a strip, and others have none", "Give one to all, or to none");
  const std::vector<Strip> strips = numbers.empty() ? FindStrips(images) : StripsByNumber(images, numbers);
  for (size_t s = 0; s < strips.size(); ++s) {
    for (const size_t i : strips[s].Images) Lines[i].nStrip = static_cast<int64_t>(s) + 1;
    Log.Say(LineOf(strips[s], s + 1, images));
  }
}

void PosImport::Write() const {
  WholeFiles files(WholeFiles::FolderOf(Options.szOut), FilesRead(Options));
  files.Write(std::filesystem::path(Options.szOut).filename().string(), [&](TextWriter& file) {
    for (size_t i = 0; i < Lines.size(); ++i) {
      const PosLine& line = Lines[i];
      file.Write(fmt::format("{} {:.6f} {:.6f} {:.6f} {:.9f} {:.9f} {:.9f} {}\n", Names[i], line.P[0],
                             line.P[1], line.P[2], line.Degrees[0], line.Degrees[1], line.Degrees[2],
                             line.nStrip));
    }
  });
  files.Commit();
}

void PosImport::TellLosses() const {
  const auto tell = [&](Severity weight, const std::string& what, const char* remedy) {
    Log.Tell({weight, Options.szSource, 0, -1, what, remedy});
  };
  if (Source.nWithoutPlace > 0)
    tell(Severity::Warning, CountOf(Source.nWithoutPlace, "image", {}) + " without a position left out", "");
  if (Unknown.nCount > 0)
    tell(Severity::Warning,
         CountOf(Unknown.nCount, "image", Unknown.Names) +
             (Unknown.nCount == 1 ? ": left out, for it is none of the project"
                                  : ": left out, for they are none of the project"),
         Unknown.nCount == 1 ? "Look at its name" : "Look at their names");
  if (Context.HasProject() && Lines.size() < Context.Block().Images.size())
    tell(Severity::Note,
         CountOf(std::ssize(Context.Block().Images) - std::ssize(Lines), "image", {}) +
             " of the project without a position",
         "");
  if (Source.Angles == AngleWords::None || Source.nWithoutAngles > 0)
    tell(Severity::Note,
         Source.Angles == AngleWords::None
             ? std::string("it has no angles: zeros are written")
             : CountOf(Source.nWithoutAngles, "image", {}) + " without angles: zeros are written",
         "Leave Apply_IMU_Data off");
}

void PosImport::Run() {
  NameImages();
  SourceSystem system{Options.szCrs.empty() ? Source.szCrs : Options.szCrs, Options.szHeight};
  if (!Source.bEastFirst)
    CheckWords(Options.szSource, Source.Words, system.szCrs);
  else
    CheckSystems(Options.szSource, Source.szCrs, Options.szCrs);
  if (!Source.bHeights && Options.szHeight != "none")
    Fail(1, "there is no column of heights", "Add one, or say --height none for images at height 0");
  const CoordinateScale scale = ScaleOf(Options.szSource, Source.Units, system);
  std::vector<std::array<double, 3>> places;
  for (SourcePose& pose : Source.Poses) places.push_back(pose.P = Scaled(pose.P, scale));
  if (!scale.szNote.empty()) Log.Say(scale.szNote);
  const FrameWay way = ChooseFrame(Options, system, Source.bHeights, Context, places, Log);
  Place(way.Transform);
  NumberStrips();
  Write();
  KeepFrame(way, system, Context, Log);
  Log.Say(fmt::format("Images: {}", Lines.size()));
  Log.Say(PrintableName(Options.szOut));
  TellLosses();
}

}  // namespace

void ImportPos(const ImportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"project", "crs", "frame", "height", "origin", "angles"});
  if (options.szOut.empty()) Refuse("", 0, "--out names no file", "Name the POS file to write");
  PosImport(options, log).Run();
}

}  // namespace orvo::exchange
