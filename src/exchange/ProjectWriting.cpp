#include "exchange/ProjectWriting.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>

#include "base/PrintableName.h"
#include "block/OvtFile.h"
#include "check/Finding.h"
#include "exchange/BlockSettings.h"
#include "exchange/Checksum.h"
#include "exchange/ExchangeFault.h"
#include "exchange/FilesRead.h"
#include "exchange/ForeignIds.h"
#include "exchange/ImageAliases.h"
#include "exchange/ProjectCameras.h"
#include "exchange/ProjectFilesText.h"
#include "exchange/ScratchFile.h"
#include "exchange/ShellWord.h"
#include "exchange/Sidecar.h"
#include "exchange/WholeFiles.h"

namespace orvo::exchange {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMostName = 31;
/// A run takes no more of one point.
constexpr size_t kMostMeasurements = 16384;

/// Paths of a block by what --out says.
struct BlockPaths {
  std::string szFolder, szStem;
  bool bText = false;

  explicit BlockPaths(const std::string& out) {
    const fs::path path(out);
    const std::string extension = path.extension().string();
    bText = extension == ".prj";
    const bool named = bText || extension == ".ovc" || extension == ".ovt";
    szStem = named ? path.stem().string() : path.filename().string();
    szFolder = WholeFiles::FolderOf(out);
    if (szStem.empty()) Refuse(out, 0, "--out names a folder", "Give the block a name: --out FOLDER/BLOCK");
  }
};

/// The points of the source, as the project has them, kept until it is known which images they need.
class BlockPoints {
 public:
  BlockPoints(const ForeignModel& model, const std::vector<ProjectCamera>& cameras, const std::string& folder,
              BlockTotals& totals)
      : Model(model),
        Cameras(cameras),
        Totals(totals),
        Points(folder),
        Measurements(folder),
        UseOfImage(model.Images.size()),
        SeenAt(model.Images.size(), -1) {}

  void Take(StreamPoint& point);
  /// To the first point.
  void Rewind() {
    Points.Rewind();
    Measurements.Rewind();
  }
  /// The next point, its measurements on ordinals of the source.
  void Next(StreamPoint& point);
  int64_t UsesOf(size_t image) const { return UseOfImage[image]; }
  /// Measurements by which the block is known again, on ordinals of the source.
  const std::vector<SidecarSample>& Samples() const { return Sampled; }

 private:
  struct Kept {
    std::array<char, kMostName + 1> szName{};
    std::array<double, 3> P{};
    int64_t nMeasurements = 0;
  };
  void Select(const StreamPoint& point);
  void AddResiduals(const std::array<double, 3>& P);
  void AddSample(const char* name);
  std::array<char, kMostName + 1> NameOf(const std::string& name);

  const ForeignModel& Model;
  const std::vector<ProjectCamera>& Cameras;
  BlockTotals& Totals;
  ScratchFile Points, Measurements;
  std::vector<int64_t> UseOfImage;
  std::vector<int64_t> SeenAt;  ///< the last point that an image saw
  int64_t nTaken = 0, nImagesOfPoint = 0;
  std::vector<SurveyMeasurement> Raw, Ready;  ///< of the point at hand, side by side
  std::vector<ImageVector> Given, Strict;
  std::vector<SidecarSample> Sampled;
  int64_t nSampleStep = 1;  ///< points from one to the next
};

void BlockPoints::Select(const StreamPoint& point) {
  Raw.clear();
  Ready.clear();
  nImagesOfPoint = 0;
  int64_t twice = 0;
  for (const SurveyMeasurement& measurement : point.Measurements) {
    const auto image = static_cast<size_t>(measurement.nImage);
    if (Raw.size() == kMostMeasurements) {
      ++Totals.nTooMany;
      continue;
    }
    const ProjectCamera& camera = Cameras[static_cast<size_t>(Model.Images[image].nCamera)];
    const auto ready = camera.FromMeasured({measurement.x, measurement.y});
    if (!ready || !(std::abs(ready->x) < 1e7 && std::abs(ready->y) < 1e7)) {
      ++Totals.nWithoutRay;
      continue;
    }
    if (SeenAt[image] == nTaken) {
      ++twice;
    } else {
      ++nImagesOfPoint;
    }
    SeenAt[image] = nTaken;
    Raw.push_back(measurement);
    Ready.push_back({measurement.nImage, ready->x, ready->y});
  }
  ++nTaken;
  if (nImagesOfPoint >= 2) Totals.nTwice += twice;
}

void BlockPoints::AddResiduals(const std::array<double, 3>& P) {
  Given.clear();
  Strict.clear();
  for (size_t i = 0; i < Ready.size(); ++i) {
    const SurveyImage& image = Model.Images[static_cast<size_t>(Ready[i].nImage)];
    const ProjectCamera& camera = Cameras[static_cast<size_t>(image.nCamera)];
    const ImageVector corrected = CorrectedMeasurement(camera.Ours, Ready[i].x, Ready[i].y);
    const ImageVector strict = StrictResidual(image, camera.Ours.dFocal, corrected, P);
    // The direction of the point: measured minus residual, over f.
    const LensPoint pixel = PixelOf(camera.Foreign, {(corrected.x - strict.x) / camera.Ours.dFocal,
                                                     -(corrected.y - strict.y) / camera.Ours.dFocal});
    const ImageVector given{Raw[i].x - (pixel.u - camera.Foreign.nWidth / 2.0),
                            Raw[i].y - (camera.Foreign.nHeight / 2.0 - pixel.v)};
    // A point in the plane of the projection centre has no residual.
    if (!std::isfinite(strict.x + strict.y) || !std::isfinite(given.x + given.y)) continue;
    Strict.push_back(strict);
    Given.push_back(given);
  }
  Totals.Strict.Add(Strict);
  Totals.Given.Add(Given);
}

std::array<char, kMostName + 1> BlockPoints::NameOf(const std::string& name) {
  std::array<char, kMostName + 1> text{};
  const bool fits = !name.empty() && name.size() <= kMostName &&
                    std::ranges::all_of(name, [](unsigned char c) { return c > 0x20 && c != 0x7f; });
  if (!fits) ++Totals.nRenamedPoints;
  const std::string used = fits ? name : "P" + std::to_string(Totals.nPoints);
  std::memcpy(text.data(), used.data(), used.size());
  return text;
}

/// Every so many points, and fewer of them the more points there are.
void BlockPoints::AddSample(const char* name) {
  if (Totals.nPoints % nSampleStep != 0) return;
  const SurveyMeasurement& measurement = Ready[static_cast<size_t>(Totals.nPoints) % Ready.size()];
  Sampled.push_back({name, static_cast<size_t>(measurement.nImage), measurement.x, measurement.y});
  constexpr size_t kMostSamples = 128;
  if (Sampled.size() < kMostSamples) return;
  for (size_t i = 0; 2 * i < Sampled.size(); ++i) Sampled[i] = Sampled[2 * i];
  Sampled.resize(kMostSamples / 2);
  nSampleStep *= 2;
}

void BlockPoints::Take(StreamPoint& point) {
  Select(point);
  if (nImagesOfPoint < 2) {
    ++Totals.nFewRays;
    return;
  }
  constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
  if (Totals.nMeasurements + static_cast<int64_t>(Ready.size()) > kMost) {
    Refuse("", 0, "there are more measurements than a project holds, 2147483647", "Divide the block");
  }
  Kept kept;
  kept.szName = NameOf(point.szName);
  kept.P = point.P;
  kept.nMeasurements = static_cast<int64_t>(Ready.size());
  Points.Write(&kept, sizeof kept);
  Measurements.Write(Ready.data(), Ready.size() * sizeof Ready[0]);
  for (const SurveyMeasurement& measurement : Ready) ++UseOfImage[static_cast<size_t>(measurement.nImage)];
  AddResiduals(point.P);
  AddSample(kept.szName.data());
  ++Totals.nPoints;
  Totals.nMeasurements += kept.nMeasurements;
}

void BlockPoints::Next(StreamPoint& point) {
  Kept kept;
  Points.Read(&kept, sizeof kept);
  point.szName = kept.szName.data();
  point.P = kept.P;
  point.Measurements.resize(static_cast<size_t>(kept.nMeasurements));
  Measurements.Read(point.Measurements.data(), point.Measurements.size() * sizeof(SurveyMeasurement));
}

/// Cameras and images that the points need, renumbered.
struct KeptHead {
  std::vector<SurveyCamera> Cameras;
  std::vector<SurveyImage> Images;
  std::vector<int32_t> OrdinalOfImage;  ///< -1: left out
  std::vector<int32_t> OrdinalOfCamera;
  int64_t nLeftOut = 0, nAliases = 0;
  int64_t nNewCameraIds = 0, nNewImageIds = 0;
  std::string szFirstLeftOut;
};

/// A run takes no ids below 0, and cuts 2147483647.
constexpr int64_t kMostId = std::numeric_limits<int32_t>::max() - 1;

/// Ids serve messages only, so that those that don't fit may be replaced.
void GiveIds(const ForeignModel& model, const std::vector<ProjectCamera>& cameras, KeptHead& head) {
  std::vector<int64_t> ofCameras, ofImages;
  for (size_t i = 0; i < cameras.size(); ++i) {
    if (head.OrdinalOfCamera[i] >= 0) ofCameras.push_back(cameras[i].Foreign.nId);
  }
  for (size_t i = 0; i < model.Images.size(); ++i) {
    if (head.OrdinalOfImage[i] >= 0) ofImages.push_back(IdOfImage(model, i));
  }
  head.nNewCameraIds = ReplaceIds({0, kMostId}, ofCameras);
  head.nNewImageIds = ReplaceIds({0, kMostId}, ofImages);
  for (size_t i = 0; i < ofCameras.size(); ++i) head.Cameras[i].nId = static_cast<int32_t>(ofCameras[i]);
  for (size_t i = 0; i < ofImages.size(); ++i) head.Images[i].nId = static_cast<int32_t>(ofImages[i]);
}

KeptHead KeepUsed(const ForeignModel& model, const std::vector<ProjectCamera>& cameras,
                  const BlockPoints& points) {
  KeptHead head;
  head.OrdinalOfImage.assign(model.Images.size(), -1);
  head.OrdinalOfCamera.assign(cameras.size(), -1);
  std::vector<std::string> names;
  for (const SurveyImage& image : model.Images) names.push_back(image.szPath);
  const ImageAliases aliases = AliasesOf(names);
  head.nAliases = aliases.nChanged;
  for (size_t i = 0; i < model.Images.size(); ++i) {
    if (points.UsesOf(i) > 0) {
      head.OrdinalOfCamera[static_cast<size_t>(model.Images[i].nCamera)] = 0;
    } else if (head.nLeftOut++ == 0) {
      head.szFirstLeftOut = model.Images[i].szPath;
    }
  }
  for (size_t i = 0; i < cameras.size(); ++i) {
    if (head.OrdinalOfCamera[i] < 0) continue;
    head.OrdinalOfCamera[i] = static_cast<int32_t>(head.Cameras.size());
    head.Cameras.push_back(cameras[i].Ours);
  }
  for (size_t i = 0; i < model.Images.size(); ++i) {
    if (points.UsesOf(i) == 0) continue;
    head.OrdinalOfImage[i] = static_cast<int32_t>(head.Images.size());
    SurveyImage image = model.Images[i];
    image.nCamera = head.OrdinalOfCamera[static_cast<size_t>(image.nCamera)];
    image.szPath = aliases.Paths[i];
    head.Images.push_back(std::move(image));
  }
  GiveIds(model, cameras, head);
  return head;
}

/// What a walk over the kept points gives to a writer, with ordinals of the project.
template <class Visit>
void VisitPoints(BlockPoints& points, const KeptHead& head, const BlockTotals& totals, ExchangeLog& log,
                 const Visit& visit) {
  points.Rewind();
  StreamPoint point;
  for (int64_t i = 0; i < totals.nPoints; ++i) {
    log.Progress("Writing", i, totals.nPoints);
    points.Next(point);
    for (SurveyMeasurement& measurement : point.Measurements) {
      measurement.nImage = head.OrdinalOfImage[static_cast<size_t>(measurement.nImage)];
    }
    visit(point);
  }
  log.EndProgress();
}

void WriteOvtFile(TextWriter& file, BlockPoints& points, const KeptHead& head, const BlockTotals& totals,
                  ExchangeLog& log) {
  char record[kOvtPointBytes];
  EncodeOvtHeader(static_cast<int32_t>(totals.nPoints), static_cast<int32_t>(totals.nMeasurements), record);
  file.Write(record, kOvtHeaderBytes);
  int32_t first = 0;
  VisitPoints(points, head, totals, log, [&](const StreamPoint& point) {
    OvtPoint ovt;
    std::memcpy(ovt.szName, point.szName.data(), point.szName.size());
    ovt.X = point.P[0];
    ovt.Y = point.P[1];
    ovt.Z = point.P[2];
    ovt.nImagePointNum = static_cast<int32_t>(point.Measurements.size());
    ovt.nFirstImagePoint = first;
    first += ovt.nImagePointNum;
    EncodeOvtPoint(ovt, record);
    file.Write(record, kOvtPointBytes);
  });
  VisitPoints(points, head, totals, log, [&](const StreamPoint& point) {
    for (const SurveyMeasurement& from : point.Measurements) {
      EncodeOvtMeasure({from.nImage, static_cast<float>(from.x), static_cast<float>(from.y), 0}, record);
      file.Write(record, kOvtMeasureBytes);
    }
  });
}

Sidecar SidecarFor(const ForeignModel& model, const ImportOptions& options,
                   const std::vector<ProjectCamera>& cameras, const KeptHead& head,
                   const std::vector<SidecarSample>& samples) {
  Sidecar sidecar;
  sidecar.szForm = model.szForm;
  std::error_code error;
  const fs::path absolute = fs::absolute(options.szSource, error);
  sidecar.szSource = error ? options.szSource : absolute.lexically_normal().string();
  sidecar.szChecksum = model.Files.empty() ? "" : ChecksumOf(model.Files);
  sidecar.szPixelOrigin = model.szPixelOrigin;
  sidecar.Frame = model.Frame;
  for (size_t i = 0; i < cameras.size(); ++i) {
    if (head.OrdinalOfCamera[i] < 0) continue;
    sidecar.Distortion = cameras[i].Mode;
    sidecar.Cameras.push_back(cameras[i].Foreign);
    sidecar.Written.push_back(cameras[i].Ours);
  }
  for (size_t i = 0; i < model.Images.size(); ++i) {
    const int32_t ordinal = head.OrdinalOfImage[i];
    if (ordinal < 0) continue;
    sidecar.Images.push_back(
        {IdOfImage(model, i), model.Images[i].szPath, head.Images[static_cast<size_t>(ordinal)].szPath});
  }
  sidecar.Samples = samples;
  for (SidecarSample& sample : sidecar.Samples) {
    sample.nImage = static_cast<size_t>(head.OrdinalOfImage[sample.nImage]);
  }
  return sidecar;
}

void TellTotals(const BlockTotals& totals, const KeptHead& head, ExchangeLog& log) {
  log.Say(fmt::format("Images: {}, cameras: {}, points: {}, measurements: {}", totals.nImages,
                      totals.nCameras, totals.nPoints, totals.nMeasurements));
  if (head.nLeftOut > 0) {
    log.Say(fmt::format("Left out: {} without a point, the first {}", CountOf(head.nLeftOut, "image", {}),
                        PrintableName(head.szFirstLeftOut)));
  }
  const struct {
    int64_t nNum;
    const char *szKind, *szWhat;
  } left[] = {{totals.nFewRays, "point", "in fewer than two images"},
              {totals.nTooMany, "measurement", "of points that have more than 16384"},
              {totals.nWithoutRay, "measurement", "that the camera model has no ray for"}};
  for (const auto& row : left) {
    if (row.nNum > 0) log.Say(fmt::format("Left out: {} {}", CountOf(row.nNum, row.szKind, {}), row.szWhat));
  }
  if (totals.nTwice > 0) {
    log.Say(fmt::format("Kept: {} of a point in an image that measures it already",
                        CountOf(totals.nTwice, "further measurement", {})));
  }
  if (head.nAliases > 0) {
    log.Say(fmt::format(
        "Renamed: {} whose names a project can't hold, or that share them but for folder and extension; the "
        "originals are kept beside it",
        CountOf(head.nAliases, "image", {})));
  }
  if (totals.nRenamedPoints > 0) {
    log.Say(fmt::format("Renamed: {} whose names a project can't hold",
                        CountOf(totals.nRenamedPoints, "point", {})));
  }
  for (const auto& [count, kind] :
       {std::pair(head.nNewCameraIds, "camera"), std::pair(head.nNewImageIds, "image")}) {
    if (count > 0) {
      log.Say(fmt::format(
          "New IDs: {} whose ID a project can't hold, or that shares it; the originals are kept beside it",
          CountOf(count, kind, {})));
    }
  }
  const auto tell = [&](const char* what, const ResidualSums& sums) {
    log.Say(fmt::format("{}: RMS x {:.6f}, y {:.6f} px, mean norm {:.6f} px", what, sums.RmsX(), sums.RmsY(),
                        sums.MeanNorm()));
  };
  tell("Residuals as given", totals.Given);
  tell("Residuals as written", totals.Strict);
}

/// Nobody ends a reconstruction with such residuals.
void TellLargeResiduals(const BlockTotals& totals, const std::string& source, ExchangeLog& log) {
  constexpr double kLarge = 50, kHopeless = 500;  // pixels
  const double rms = std::hypot(totals.Given.RmsX(), totals.Given.RmsY());
  if (!(rms > kLarge)) return;
  log.Tell({rms > kHopeless ? Severity::Warning : Severity::Note, source, 0, -1,
            fmt::format("points and measurements are {:.0f} px apart as they are given", rms),
            "Look at conventions, units and ids of what wrote it, and at the block with orvo check"});
}

void WriteAll(const BlockPaths& paths, BlockPoints& points, const KeptHead& head, const Sidecar& sidecar,
              WholeFiles& files, BlockTotals& totals, ExchangeLog& log) {
  const auto write = [&](const std::string& name, const std::function<void(TextWriter&)>& writer) {
    files.Write(name, writer);
    totals.Written.push_back(files.PathOf(name));
  };
  if (paths.bText) {
    write(paths.szStem + ".prj", [&](TextWriter& file) {
      WriteProjectHead(file, head.Cameras, head.Images, totals.nPoints);
      VisitPoints(points, head, totals, log,
                  [&](const StreamPoint& point) { WriteProjectPoint(file, point); });
    });
  } else {
    write(paths.szStem + ".ovc",
          [&](TextWriter& file) { WriteProjectHead(file, head.Cameras, head.Images, 0); });
    write(paths.szStem + ".ovt", [&](TextWriter& file) { WriteOvtFile(file, points, head, totals, log); });
  }
  write(paths.szStem + ".orvo.json", [&](TextWriter& file) { file.Write(SidecarText(sidecar)); });
  write(paths.szStem + "_AdjPara.xml", [&](TextWriter& file) {
    file.Write(
        SettingsTextFor(static_cast<int64_t>(head.Images.size()), static_cast<int64_t>(head.Cameras.size())));
  });
}

}  // namespace

BlockTotals WriteBlock(ForeignModel& model, const ImportOptions& options, ExchangeLog& log) {
  const BlockPaths paths(options.szOut);
  BlockTotals totals;
  const std::vector<ProjectCamera> cameras = CamerasForProject(model.Cameras, options, log);
  std::vector<std::string> inputs = FilesRead(options);
  inputs.insert(inputs.end(), model.Files.begin(), model.Files.end());
  WholeFiles files(paths.szFolder, std::move(inputs), BlockFiles::Replace);
  BlockPoints points(model, cameras, files.Folder(), totals);
  StreamPoint point;
  model.Points->Rewind();
  while (model.Points->Next(point)) points.Take(point);
  log.EndProgress();
  if (totals.nPoints == 0) {
    Refuse(options.szSource, 0, "no point is measured in two images",
           "A block needs points: check the source");
  }
  const KeptHead head = KeepUsed(model, cameras, points);
  totals.nImages = static_cast<int64_t>(head.Images.size());
  totals.nCameras = static_cast<int64_t>(head.Cameras.size());
  WriteAll(paths, points, head, SidecarFor(model, options, cameras, head, points.Samples()), files, totals,
           log);
  files.Commit();
  TellTotals(totals, head, log);
  TellLargeResiduals(totals, options.szSource, log);
  for (const std::string& path : totals.Written) log.Say("Written: " + PrintableName(path));
  log.Say("Next: orvo adjust " + ShellWord(totals.Written.front()) + " --settings " +
          ShellWord(totals.Written.back()));
  return totals;
}

}  // namespace orvo::exchange
