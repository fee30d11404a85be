#include "exchange/ExportCameras.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

/// No measurement moves by more than a millionth of a pixel.
bool AreAlike(const SurveyCamera& one, const SurveyCamera& other) {
  constexpr double kPixel = 1e-6;
  const double r = std::hypot(one.nWidth, one.nHeight) / 2;
  return std::abs(one.dFocal - other.dFocal) <= kPixel && std::abs(one.dX0 - other.dX0) <= kPixel &&
         std::abs(one.dY0 - other.dY0) <= kPixel && std::abs(one.dK1 - other.dK1) * r * r * r <= kPixel &&
         std::abs(one.dK2 - other.dK2) * r * r * r * r * r <= kPixel && one.Further == other.Further;
}

bool HasNoDistortion(const SurveyCamera& camera) {
  return camera.dK1 == 0 && camera.dK2 == 0 && camera.Further.IsNone();
}

ForeignCamera PinholeOf(const SurveyCamera& camera, bool centred) {
  ForeignCamera pinhole;
  pinhole.szModel = "PINHOLE";
  pinhole.nWidth = camera.nWidth;
  pinhole.nHeight = camera.nHeight;
  pinhole.dFx = pinhole.dFy = camera.dFocal;
  pinhole.dCx = camera.nWidth / 2.0 + (centred ? 0 : camera.dX0);
  pinhole.dCy = camera.nHeight / 2.0 - (centred ? 0 : camera.dY0);
  return pinhole;
}

/// From a pixel of the original through the import and the camera as it is now.
std::optional<LensPoint> DirectionOfPixelOf(const ExportCamera& camera, LensPoint pixel) {
  const double w = camera.Now.nWidth / 2.0, h = camera.Now.nHeight / 2.0;
  ImageVector inProject{pixel.u - w, h - pixel.v};
  if (camera.Original) {
    const auto ready = camera.Original->FromMeasured(inProject);
    if (!ready) return {};
    inProject = *ready;
  }
  return DirectionOf(camera.Now, {w + inProject.x, h - inProject.y});
}

/// A model with what COLMAP calls it.
struct RefitModel {
  FitForm Form;
  std::string szModel;
};

/// The original's own model first, then those of its kind that hold more. What was corrected by an import has
/// its principal point in ideal directions: of fisheyes only the thin prism's terms follow it.
std::vector<RefitModel> RefitModels(const ExportCamera& camera) {
  std::vector<RefitModel> models;
  const LensModel lens = camera.Original ? camera.Original->Foreign.Lens : LensModel::FullOpenCv;
  if (camera.Original) {
    const ForeignCamera& original = camera.Original->Foreign;
    models.push_back({{lens, original.dFx == original.dFy, false}, original.szModel});
  }
  if (IsFisheye(lens)) {
    if (lens != LensModel::OpenCvFisheye)
      models.push_back({{LensModel::OpenCvFisheye, false, false}, "OPENCV_FISHEYE"});
    models.push_back({{LensModel::ThinPrism, false, false}, "THIN_PRISM_FISHEYE"});
  }
  models.push_back({{LensModel::FullOpenCv, false, false}, "FULL_OPENCV"});
  if (lens == LensModel::Fov) models.push_back({{LensModel::ThinPrism, false, false}, "THIN_PRISM_FISHEYE"});
  return models;
}

/// The first that comes near enough, else the nearest; one of another kind only where none of its own kind
/// will do.
std::optional<FittedForeignCamera> Refit(const ExportCamera& camera) {
  constexpr double kGoodEnough = 0.01;
  const auto way = [&](LensPoint pixel) { return DirectionOfPixelOf(camera, pixel); };
  std::optional<FittedForeignCamera> best;
  for (const RefitModel& model : RefitModels(camera)) {
    const bool ofItsKind = best && IsFisheye(best->Camera.Lens) == IsFisheye(model.Form.Lens);
    if (best && !ofItsKind && best->Camera.Lens != LensModel::Fov && best->Error.dMax < kRefitDefaultLimit)
      continue;
    auto fitted = FitForeignCamera(way, camera.Now.nWidth, camera.Now.nHeight, model.Form);
    if (!fitted) continue;
    fitted->Camera.szModel = model.szModel;
    if (!best || fitted->Error.dMax < best->Error.dMax) best = std::move(fitted);
    if (best->Error.dMax < kGoodEnough) break;
  }
  return best;
}

using Lines = std::vector<std::string>;

void UsePinhole(ExportCamera& camera, const std::string& named, Lines& told) {
  const bool asMeasured = !camera.Original && HasNoDistortion(camera.Now);
  camera.Foreign = PinholeOf(camera.Now, !asMeasured);
  camera.bCorrected = !asMeasured;
  told.push_back(named + (asMeasured
                              ? ": pinhole, measurements as they are"
                              : ": pinhole, measurements are corrected; it belongs to undistorted images"));
}

void Choose(ExportCamera& camera, const std::string& named, bool unchanged, CameraChoice choice,
            Lines& told) {
  if (unchanged && choice != CameraChoice::Refit && choice != CameraChoice::Pinhole) {
    camera.Foreign = camera.Original->Foreign;
    told.push_back(named + ": the original, unchanged");
    return;
  }
  if (choice == CameraChoice::Original) {
    Refuse("", 0, named + " is not the original one any more, or there is no sidecar that tells it",
           "Use --camera refit or pinhole");
  }
  const bool plain = !camera.Original && HasNoDistortion(camera.Now);
  if (choice != CameraChoice::Pinhole && !(plain && choice == CameraChoice::Automatic)) {
    const auto fitted = Refit(camera);
    if (fitted && (choice == CameraChoice::Refit || fitted->Error.dMax < kRefitDefaultLimit)) {
      camera.Foreign = fitted->Camera;
      told.push_back(fmt::format("{}: refitted as {}, which leaves RMS {:.3e}, largest {:.3e} px", named,
                                 PrintableName(fitted->Camera.szModel), fitted->Error.dRms,
                                 fitted->Error.dMax));
      return;
    }
    if (choice == CameraChoice::Refit) {
      Refuse("", 0, named + " can't be fitted: no model comes near it", "Use --camera pinhole");
    }
    if (fitted) {
      told.push_back(
          fmt::format("{}: the best refitted camera leaves up to {:.3f} px", named, fitted->Error.dMax));
    }
  }
  UsePinhole(camera, named, told);
}

std::vector<ExportCamera> ChooseAll(const SurveyBlock& block, const std::optional<Sidecar>& sidecar,
                                    CameraChoice choice, Lines& told) {
  std::vector<ExportCamera> cameras;
  for (size_t i = 0; i < block.Cameras.size(); ++i) {
    ExportCamera& camera = cameras.emplace_back();
    camera.Now = block.Cameras[i];
    if (!(camera.Now.dFocal > 0) || camera.Now.nWidth <= 0 || camera.Now.nHeight <= 0) {
      Refuse("", 0, fmt::format("camera {} has no focal length or image size above 0", i),
             "Take the camera out of the project");
    }
    bool unchanged = false;
    int64_t id = camera.Now.nId;
    std::string name = std::to_string(i);
    if (sidecar) {
      camera.Original = ProjectCamera{sidecar->Cameras[i], sidecar->Written[i], sidecar->Distortion, {}, 0};
      unchanged = AreAlike(camera.Now, sidecar->Written[i]);
      id = sidecar->Cameras[i].nId;
      name = sidecar->Cameras[i].szName;
    }
    Choose(camera, "Camera " + PrintableName(name), unchanged, choice, told);
    camera.Foreign.nId = id;
    camera.Foreign.szName = name;
  }
  return cameras;
}

}  // namespace

ImageVector ExportCamera::ToForeign(ImageVector inProject) const {
  if (bCorrected) return CorrectedMeasurement(Now, inProject.x, inProject.y);
  return Original ? Original->ToMeasured(inProject) : inProject;
}

std::vector<ExportCamera> CamerasForExport(const SurveyBlock& block, const std::optional<Sidecar>& sidecar,
                                           CameraChoice choice, ExchangeLog& log) {
  Lines told;
  std::vector<ExportCamera> cameras = ChooseAll(block, sidecar, choice, told);
  const bool mixed = choice == CameraChoice::Automatic &&
                     std::ranges::any_of(cameras, &ExportCamera::bCorrected) &&
                     !std::ranges::all_of(cameras, &ExportCamera::bCorrected);
  if (mixed) {
    // A model belongs to the images as they were taken, or to undistorted ones.
    told.emplace_back("So all cameras become pinholes");
    cameras = ChooseAll(block, sidecar, CameraChoice::Pinhole, told);
  }
  for (const std::string& line : told) log.Say(line);
  return cameras;
}

}  // namespace orvo::exchange
