#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <numeric>

#include "base/PrintableName.h"
#include "check/Finding.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ForeignIds.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LensModels.h"
#include "exchange/StrictResiduals.h"
#include "exchange/UnusedOptions.h"
#include "exchange/WholeFiles.h"
#include "exchange/colmap/ColmapCameras.h"
#include "exchange/colmap/ColmapForm.h"
#include "exchange/colmap/ColmapTables.h"

namespace orvo::exchange {
namespace {

constexpr int kGrey = 128;  // points of a block have no colour

struct TrackEntry {
  uint32_t nImage = 0, nPlace = 0;  ///< ordinal, place in the image
  double X = 0, Y = 0;
};

struct ColmapPoint {
  uint64_t nId = 0;
  std::array<double, 3> P{};
  double dError = 0;
  size_t nFirst = 0, nNum = 0;
};

/// Everything that the files hold, points and images with their references to each other.
struct ColmapContent {
  std::vector<int64_t> CameraIds, ImageIds;
  std::vector<ColmapPoint> Points;
  std::vector<TrackEntry> Entries;   ///< of all points, one behind the other
  std::vector<size_t> FirstOfImage;  ///< in ByImage; one more than images
  std::vector<size_t> ByImage;       ///< entries in the order of images
  std::vector<uint32_t> PointOfEntry;
  double dErrors = 0;  ///< of points
};

/// Ids of COLMAP are unsigned with 32 bits, of which all ones stand for none.
constexpr int64_t kMostId = 0xfffffffe;

/// A model from here keeps its ids but those that don't fit; the others count from 1 where one does not.
void MakeUsable(const ForeignModel& model, const char* kind, std::vector<int64_t>& ids, ExchangeLog& log) {
  std::vector<int64_t> usable = ids;
  const bool own = model.szForm == "colmap";
  const int64_t replaced = ReplaceIds({own ? 0 : 1, kMostId}, usable);
  if (replaced == 0) return;
  if (!own) std::iota(usable.begin(), usable.end(), 1);
  ids = std::move(usable);
  // Other programs' models have no ids.
  if (own) log.Say("New IDs: " + CountOf(replaced, kind, {}) + " whose ID the form can't hold");
  if (model.szForm == "orvo") {
    log.Say("New IDs: " + CountOf(std::ssize(ids), kind, {}) + " from 1 on, as " + std::to_string(replaced) +
            " of those of the block can't be held, or are there twice");
  }
}

double MeanError(const ForeignModel& model, const StreamPoint& point) {
  double sum = 0;
  for (const SurveyMeasurement& measurement : point.Measurements) {
    const SurveyImage& image = model.Images[static_cast<size_t>(measurement.nImage)];
    const ForeignCamera& camera = model.Cameras[static_cast<size_t>(image.nCamera)];
    // Minus the residual of a measurement in the middle is where the point lies in an image with f = 1.
    const ImageVector place = StrictResidual(image, 1, {0, 0}, point.P);
    const LensPoint pixel = PixelOf(camera, {-place.x, place.y});
    sum += std::hypot(pixel.u - (camera.nWidth / 2.0 + measurement.x),
                      pixel.v - (camera.nHeight / 2.0 - measurement.y));
  }
  return point.Measurements.empty() || !std::isfinite(sum)
             ? 0
             : sum / static_cast<double>(point.Measurements.size());
}

/// Ids of points are their names, where these are numbers that tell all apart.
void NumberPoints(ColmapContent& content, bool numbered) {
  std::vector<uint64_t> ids;
  if (numbered) {
    for (const ColmapPoint& point : content.Points) ids.push_back(point.nId);
    std::ranges::sort(ids);
    numbered = std::ranges::adjacent_find(ids) == ids.end();
  }
  if (numbered) return;
  uint64_t next = 1;
  for (ColmapPoint& point : content.Points) point.nId = next++;
}

void OrderByImage(ColmapContent& content, const std::vector<uint32_t>& countOfImage) {
  content.FirstOfImage.assign(1, 0);
  for (const uint32_t count : countOfImage) {
    content.FirstOfImage.push_back(content.FirstOfImage.back() + count);
  }
  content.ByImage.resize(content.Entries.size());
  for (size_t i = 0; i < content.Entries.size(); ++i) {
    const TrackEntry& entry = content.Entries[i];
    content.ByImage[content.FirstOfImage[entry.nImage] + entry.nPlace] = i;
  }
}

ColmapContent ContentOf(ForeignModel& model, ExchangeLog& log) {
  ColmapContent content;
  for (const ForeignCamera& camera : model.Cameras) content.CameraIds.push_back(camera.nId);
  for (size_t i = 0; i < model.Images.size(); ++i) content.ImageIds.push_back(IdOfImage(model, i));
  MakeUsable(model, "camera", content.CameraIds, log);
  MakeUsable(model, "image", content.ImageIds, log);
  std::vector<uint32_t> countOfImage(model.Images.size(), 0);
  bool numbered = true;
  StreamPoint from;
  model.Points->Rewind();
  while (model.Points->Next(from)) {
    ColmapPoint point;
    const char* const end = from.szName.data() + from.szName.size();
    const auto [stop, error] = std::from_chars(from.szName.data(), end, point.nId);
    numbered = numbered && error == std::errc() && stop == end && point.nId != kNoColmapPoint;
    point.P = from.P;
    point.dError = MeanError(model, from);
    content.dErrors += point.dError;
    point.nFirst = content.Entries.size();
    point.nNum = from.Measurements.size();
    for (const SurveyMeasurement& measurement : from.Measurements) {
      const auto image = static_cast<size_t>(measurement.nImage);
      const ForeignCamera& camera = model.Cameras[static_cast<size_t>(model.Images[image].nCamera)];
      content.Entries.push_back({static_cast<uint32_t>(image), countOfImage[image]++,
                                 camera.nWidth / 2.0 + measurement.x, camera.nHeight / 2.0 - measurement.y});
      content.PointOfEntry.push_back(static_cast<uint32_t>(content.Points.size()));
    }
    content.Points.push_back(point);
  }
  NumberPoints(content, numbered);
  OrderByImage(content, countOfImage);
  return content;
}

/// Numbers as binary files have them.
class Bytes {
 public:
  explicit Bytes(TextWriter& file) : File(file) {}
  template <class T>
  void Put(T value) {
    static_assert(std::endian::native == std::endian::little);
    File.Write(&value, sizeof value);
  }

 private:
  TextWriter& File;
};

void WriteBinaryCameras(TextWriter& file, const ForeignModel& model, const ColmapContent& content) {
  Bytes out(file);
  out.Put<uint64_t>(model.Cameras.size());
  for (size_t i = 0; i < model.Cameras.size(); ++i) {
    const ForeignCamera& camera = model.Cameras[i];
    const ColmapCameraModel& form = ColmapModelFor(camera);
    out.Put<uint32_t>(static_cast<uint32_t>(content.CameraIds[i]));
    out.Put<int32_t>(form.nId);
    out.Put<uint64_t>(static_cast<uint64_t>(camera.nWidth));
    out.Put<uint64_t>(static_cast<uint64_t>(camera.nHeight));
    for (const double parameter : ColmapParametersOf(form, camera)) out.Put(parameter);
  }
}

struct ImagePose {
  std::array<double, 4> q;
  std::array<double, 3> t;
};
ImagePose PoseOf(const SurveyImage& image) {
  const ForeignPose pose = ForeignPoseOf({image.R, image.S});
  return {QuaternionOf(pose.Rc), pose.t};
}

void WriteBinaryImages(TextWriter& file, const ForeignModel& model, const ColmapContent& content) {
  Bytes out(file);
  out.Put<uint64_t>(model.Images.size());
  for (size_t i = 0; i < model.Images.size(); ++i) {
    const SurveyImage& image = model.Images[i];
    const ImagePose pose = PoseOf(image);
    out.Put<uint32_t>(static_cast<uint32_t>(content.ImageIds[i]));
    for (const double value : pose.q) out.Put(value);
    for (const double value : pose.t) out.Put(value);
    out.Put<uint32_t>(static_cast<uint32_t>(content.CameraIds[static_cast<size_t>(image.nCamera)]));
    file.Write(image.szPath.c_str(), image.szPath.size() + 1);
    const size_t first = content.FirstOfImage[i], end = content.FirstOfImage[i + 1];
    out.Put<uint64_t>(end - first);
    for (size_t k = first; k < end; ++k) {
      const size_t entry = content.ByImage[k];
      out.Put(content.Entries[entry].X);
      out.Put(content.Entries[entry].Y);
      out.Put<uint64_t>(content.Points[content.PointOfEntry[entry]].nId);
    }
  }
}

void WriteBinaryPoints(TextWriter& file, const ForeignModel&, const ColmapContent& content) {
  Bytes out(file);
  out.Put<uint64_t>(content.Points.size());
  for (const ColmapPoint& point : content.Points) {
    out.Put<uint64_t>(point.nId);
    for (const double value : point.P) out.Put(value);
    for (int i = 0; i < 3; ++i) out.Put<uint8_t>(kGrey);
    out.Put(point.dError);
    out.Put<uint64_t>(point.nNum);
    for (size_t k = point.nFirst; k < point.nFirst + point.nNum; ++k) {
      out.Put<uint32_t>(static_cast<uint32_t>(content.ImageIds[content.Entries[k].nImage]));
      out.Put<uint32_t>(content.Entries[k].nPlace);
    }
  }
}

void WriteTextCameras(TextWriter& file, const ForeignModel& model, const ColmapContent& content) {
  file.Write(
      "# Camera list with one line of data per camera:\n#   CAMERA_ID, MODEL, WIDTH, HEIGHT, PARAMS[]\n");
  file.Write(fmt::format("# Number of cameras: {}\n", model.Cameras.size()));
  for (size_t i = 0; i < model.Cameras.size(); ++i) {
    const ForeignCamera& camera = model.Cameras[i];
    const ColmapCameraModel& form = ColmapModelFor(camera);
    file.Write(fmt::format("{} {} {} {} {}\n", content.CameraIds[i], form.szName, camera.nWidth,
                           camera.nHeight, fmt::join(ColmapParametersOf(form, camera), " ")));
  }
}

void WriteTextImages(TextWriter& file, const ForeignModel& model, const ColmapContent& content) {
  file.Write(
      "# Image list with two lines of data per image:\n"
      "#   IMAGE_ID, QW, QX, QY, QZ, TX, TY, TZ, CAMERA_ID, NAME\n#   POINTS2D[] as (X, Y, POINT3D_ID)\n");
  file.Write(fmt::format("# Number of images: {}, mean observations per image: {}\n", model.Images.size(),
                         static_cast<double>(content.Entries.size()) /
                             static_cast<double>(std::max<size_t>(model.Images.size(), 1))));
  for (size_t i = 0; i < model.Images.size(); ++i) {
    const SurveyImage& image = model.Images[i];
    const ImagePose pose = PoseOf(image);
    file.Write(fmt::format("{} {} {} {} {}\n", content.ImageIds[i], fmt::join(pose.q, " "),
                           fmt::join(pose.t, " "), content.CameraIds[static_cast<size_t>(image.nCamera)],
                           image.szPath));
    for (size_t k = content.FirstOfImage[i]; k < content.FirstOfImage[i + 1]; ++k) {
      const size_t entry = content.ByImage[k];
      file.Write(fmt::format("{}{} {} {}", k == content.FirstOfImage[i] ? "" : " ", content.Entries[entry].X,
                             content.Entries[entry].Y, content.Points[content.PointOfEntry[entry]].nId));
    }
    file.Write("\n");
  }
}

void WriteTextPoints(TextWriter& file, const ForeignModel&, const ColmapContent& content) {
  file.Write(
      "# 3D point list with one line of data per point:\n"
      "#   POINT3D_ID, X, Y, Z, R, G, B, ERROR, TRACK[] as (IMAGE_ID, POINT2D_IDX)\n");
  file.Write(fmt::format("# Number of points: {}, mean track length: {}\n", content.Points.size(),
                         static_cast<double>(content.Entries.size()) /
                             static_cast<double>(std::max<size_t>(content.Points.size(), 1))));
  for (const ColmapPoint& point : content.Points) {
    file.Write(fmt::format("{} {} {} {} {} {} {} {}", point.nId, point.P[0], point.P[1], point.P[2], kGrey,
                           kGrey, kGrey, point.dError));
    for (size_t k = point.nFirst; k < point.nFirst + point.nNum; ++k) {
      file.Write(
          fmt::format(" {} {}", content.ImageIds[content.Entries[k].nImage], content.Entries[k].nPlace));
    }
    file.Write("\n");
  }
}

void CheckNames(const ForeignModel& model, bool text) {
  for (const SurveyImage& image : model.Images) {
    if (image.szPath.find('\n') != std::string::npos ||
        (text && image.szPath.find(' ') != std::string::npos)) {
      Refuse("", 0, "the name of image " + PrintableName(image.szPath) + " has no place in a text model",
             "Leave --text away");
    }
  }
}

/// Readers take the binary files of a folder that has both, whosever they are.
void RefuseMixture(const std::string& folder, bool text) {
  for (const char* part : {"cameras", "images", "points3D"}) {
    const std::string path = folder + "/" + part + (text ? ".bin" : ".txt");
    std::error_code error;
    if (!std::filesystem::exists(path, error)) continue;
    Refuse(path, 0,
           text ? "the folder holds a binary model, and text beside it would make a mixture"
                : "the folder holds a text model, and binary files beside it would make a mixture",
           "Name another folder with --out");
  }
}

}  // namespace

void WriteColmap(ForeignModel& model, const ExportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"text", "camera"});
  RefuseMixture(options.szOut, options.bText);
  CheckNames(model, options.bText);
  const ColmapContent content = ContentOf(model, log);
  using Writer = void (*)(TextWriter&, const ForeignModel&, const ColmapContent&);
  struct Part {
    const char* szName;
    Writer Binary, Text;
  };
  const Part parts[] = {{"cameras", WriteBinaryCameras, WriteTextCameras},
                        {"images", WriteBinaryImages, WriteTextImages},
                        {"points3D", WriteBinaryPoints, WriteTextPoints}};
  WholeFiles files(options.szOut, model.Files);
  for (const Part& part : parts) {
    files.Write(std::string(part.szName) + (options.bText ? ".txt" : ".bin"),
                [&](TextWriter& file) { (options.bText ? part.Text : part.Binary)(file, model, content); });
  }
  files.Commit();
  log.Say(fmt::format("Images: {}, cameras: {}, points: {}, measurements: {}, mean error of points {:.6f} px",
                      model.Images.size(), model.Cameras.size(), content.Points.size(),
                      content.Entries.size(),
                      content.dErrors / static_cast<double>(std::max<size_t>(content.Points.size(), 1))));
  log.Say("Written: " + PrintableName(options.szOut));
}

}  // namespace orvo::exchange
