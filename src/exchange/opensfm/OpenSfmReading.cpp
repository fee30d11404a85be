#include <algorithm>
#include <cmath>
#include <filesystem>
#include <unordered_map>
#include <utility>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LensModels.h"
#include "exchange/UnusedOptions.h"
#include "exchange/opensfm/OpenSfm.h"
#include "exchange/opensfm/Reconstruction.h"
#include "exchange/opensfm/Tracks.h"

namespace orvo::exchange {
namespace {

/// A projection by its name: which fields hold what.
struct Projection {
  const char* szName;
  LensModel Lens;
  bool bOneFocal;                       ///< "focal", and no principal point
  std::vector<const char*> Parameters;  ///< in the order of the lens; 0 are those that it has more
  std::vector<const char*> Zeros = {};  ///< that the lens does not have
};

const std::vector<Projection>& Projections() {
  static const std::vector<Projection> table = {
      {"perspective", LensModel::Radial, true, {"k1", "k2"}},
      {"simple_radial", LensModel::SimpleRadial, false, {"k1"}},
      {"radial", LensModel::Radial, false, {"k1", "k2"}},
      {"brown", LensModel::Brown, false, {"k1", "k2", "p1", "p2", "k3"}},
      {"fisheye", LensModel::RadialFisheye, true, {"k1", "k2"}},
      {"fisheye_opencv", LensModel::OpenCvFisheye, false, {"k1", "k2", "k3", "k4"}},
      {"fisheye62", LensModel::ThinPrism, false, {"k1", "k2", "p1", "p2", "k3", "k4"}, {"k5", "k6"}},
      {"fisheye624",
       LensModel::ThinPrism,
       false,
       {"k1", "k2", "p1", "p2", "k3", "k4", "s0", "s2"},
       {"k5", "k6", "s1", "s3"}},
  };
  return table;
}

/// A camera on its way, with what to say where it does not fit.
class CameraReader {
 public:
  CameraReader(const std::string& path, const SfmCamera& camera) : szPath(path), Camera(camera) {}

  ForeignCamera Read() const {
    const auto& table = Projections();
    const auto row = std::find_if(table.begin(), table.end(), [&](const Projection& projection) {
      return Camera.szProjection == projection.szName;
    });
    if (row == table.end()) {
      Fail(
          "has the projection " + PrintableName(Camera.szProjection) + ", which can't be read",
          "Projections are perspective, simple_radial, radial, brown, fisheye, fisheye_opencv, fisheye62 and "
          "fisheye624");
    }
    ForeignCamera read;
    read.szName = Camera.szName;
    read.szModel = Camera.szProjection;
    read.Lens = row->Lens;
    read.nWidth = Size("width");
    read.nHeight = Size("height");
    const double larger = std::max(read.nWidth, read.nHeight);
    read.dFx = Number(row->bOneFocal ? "focal" : "focal_x") * larger;
    read.dFy = Number(row->bOneFocal ? "focal" : "focal_y") * larger;
    if (!(read.dFx > 0 && read.dFy > 0)) Fail("has a focal length that is not above 0");
    read.dCx = read.nWidth / 2.0 + (row->bOneFocal ? 0 : Number("c_x") * larger);
    read.dCy = read.nHeight / 2.0 + (row->bOneFocal ? 0 : Number("c_y") * larger);
    for (const char* name : row->Parameters) read.Parameters.push_back(Number(name));
    read.Parameters.resize(ParameterNum(row->Lens), 0.0);
    for (const char* name : row->Zeros) {
      if (Number(name) != 0) Fail(std::string("has a ") + name + " that is not 0, which can't be read");
    }
    return read;
  }

 private:
  [[noreturn]] void Fail(const std::string& what,
                         const std::string& remedy = "Correct it, or leave the camera out") const {
    Refuse(szPath, Camera.nLine, "camera '" + PrintableName(Camera.szName) + "' " + what, remedy);
  }
  double Number(const char* name) const {
    const auto found = Camera.Numbers.find(name);
    if (found == Camera.Numbers.end()) Fail(std::string("has no ") + name);
    return found->second;
  }
  int32_t Size(const char* name) const {
    const double value = Number(name);
    if (!(value >= 1 && value <= 1e6) || value != std::floor(value))
      Fail(std::string("has a ") + name + " that is no number of pixels");
    return static_cast<int32_t>(value);
  }

  const std::string& szPath;
  const SfmCamera& Camera;
};

class OpenSfmPoints : public PointStream {
 public:
  OpenSfmPoints(std::vector<SfmPoint> points, SfmTracks tracks, std::vector<double> scaleOfImage)
      : Points(std::move(points)), Tracks(std::move(tracks)), ScaleOfImage(std::move(scaleOfImage)) {}

  bool Next(StreamPoint& point) override {
    if (nNext == Points.size()) return false;
    const size_t i = nNext++;
    point.szName = Points[i].szName;
    point.P = Points[i].P;
    point.Measurements.clear();
    for (int64_t m = Tracks.First[i]; m < Tracks.First[i + 1]; ++m) {
      const SfmMeasurement& from = Tracks.Measurements[static_cast<size_t>(m)];
      const double scale = ScaleOfImage[static_cast<size_t>(from.nImage)];
      point.Measurements.push_back({from.nImage, from.u * scale, -from.v * scale});
    }
    return true;
  }
  void Rewind() override { nNext = 0; }

 private:
  std::vector<SfmPoint> Points;
  SfmTracks Tracks;
  std::vector<double> ScaleOfImage;  ///< its larger side
  size_t nNext = 0;
};

void AddCameras(const std::string& path, const SfmReconstruction& from, ForeignModel& model) {
  for (const SfmCamera& camera : from.Cameras) {
    model.Cameras.push_back(CameraReader(path, camera).Read());
    model.Cameras.back().nId = static_cast<int64_t>(model.Cameras.size()) - 1;
  }
}

void AddImages(const std::string& path, const SfmReconstruction& from, ForeignModel& model) {
  std::unordered_map<std::string, int32_t> ordinals;
  for (size_t i = 0; i < model.Cameras.size(); ++i) {
    if (!ordinals.emplace(model.Cameras[i].szName, static_cast<int32_t>(i)).second) {
      Refuse(path, from.Cameras[i].nLine,
             "camera '" + PrintableName(model.Cameras[i].szName) + "' comes twice",
             "Names are unique in a reconstruction");
    }
  }
  for (const SfmShot& shot : from.Shots) {
    const auto camera = ordinals.find(shot.szCamera);
    if (camera == ordinals.end()) {
      Refuse(path, shot.nLine,
             "shot '" + PrintableName(shot.szName) + "' has the camera '" + PrintableName(shot.szCamera) +
                 "', which is none of the reconstruction",
             "Give the reconstruction.json as OpenSfM wrote it");
    }
    SurveyImage image;
    image.nId = static_cast<int32_t>(model.Images.size());
    image.nCamera = camera->second;
    image.szPath = shot.szName;
    const auto rotation = RotationOfAngleAxis(shot.Rotation);
    if (!rotation || !IsUsableTranslation(shot.Translation)) {
      Refuse(path, shot.nLine, "shot '" + PrintableName(shot.szName) + "' has no usable pose",
             "Its rotation is an angle in radians times its axis, its translation in units of the block");
    }
    const SurveyPose pose = SurveyPoseOf({*rotation, shot.Translation});
    image.R = pose.R;
    image.S = pose.S;
    model.Images.push_back(image);
  }
}

std::string PathOfReconstruction(const std::string& source) {
  std::error_code ignored;
  return std::filesystem::is_directory(source, ignored)
             ? (std::filesystem::path(source) / "reconstruction.json").string()
             : source;
}

void TellLosses(const SfmFile& file, const SfmTracks& tracks, const std::string& path,
                const std::string& tracksPath, ExchangeLog& log) {
  if (file.nReconstructions > 1) {
    log.Tell({Severity::Warning, path, 0, -1,
              "it holds " + std::to_string(file.nReconstructions) +
                  " reconstructions, and the one with the most images is taken",
              "Where the others are wanted, too, align them first"});
  }
  if (tracks.nWithoutShot > 0) {
    log.Tell({Severity::Note, tracksPath, 0, -1,
              CountOf(tracks.nWithoutShot, "measurement", {}) + " in images without orientation", ""});
  }
  if (tracks.nWithoutPoint > 0) {
    log.Tell({Severity::Note, tracksPath, 0, -1,
              CountOf(tracks.nWithoutPoint, "measurement", {}) + " of tracks without coordinates", ""});
  }
}

void AddFrame(const std::optional<std::array<double, 3>>& reference, ForeignModel& model) {
  const bool none = !reference || ((*reference)[0] == 0 && (*reference)[1] == 0 && (*reference)[2] == 0);
  if (none) return;
  model.Frame.Kind = FrameKind::Topocentric;
  model.Frame.szCrs = "EPSG:4979";
  model.Frame.Origin = *reference;
}

}  // namespace

ForeignModel ReadOpenSfm(const ImportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"tracks", "distortion"});
  const std::string path = PathOfReconstruction(options.szSource);
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  const std::string tracksPath =
      options.szTracks.empty() ? (folder / "tracks.csv").string() : options.szTracks;
  SfmFile file = ReadReconstructions(path);
  ForeignModel model;
  model.szForm = "opensfm";
  model.szPixelOrigin = "image centre, in units of the larger side, x right, y down";
  model.Files = {path, tracksPath};
  AddCameras(path, file.Largest, model);
  AddImages(path, file.Largest, model);
  if (model.Images.empty())
    Refuse(path, 0, "it holds no shot", "Give the reconstruction.json of a finished reconstruction");
  if (!file.Largest.Reference)
    file.Largest.Reference = ReadReference((folder / "reference_lla.json").string());
  AddFrame(file.Largest.Reference, model);
  SfmTracks tracks = ReadTracks(tracksPath, file.Largest);
  TellLosses(file, tracks, path, tracksPath, log);
  std::vector<double> scales;
  for (const SurveyImage& image : model.Images) {
    const ForeignCamera& camera = model.Cameras[static_cast<size_t>(image.nCamera)];
    scales.push_back(std::max(camera.nWidth, camera.nHeight));
  }
  model.Points =
      std::make_unique<OpenSfmPoints>(std::move(file.Largest.Points), std::move(tracks), std::move(scales));
  return model;
}

}  // namespace orvo::exchange
