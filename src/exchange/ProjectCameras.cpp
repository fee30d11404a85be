#include "exchange/ProjectCameras.h"

#include <fmt/format.h>

#include <algorithm>
#include <numbers>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

double MeanFocal(const ForeignCamera& camera) { return (camera.dFx + camera.dFy) / 2; }

std::string Named(const ForeignCamera& camera) { return "camera " + PrintableName(camera.szName); }

SurveyCamera WithoutDistortion(const ForeignCamera& camera, bool keepCentre) {
  SurveyCamera ours;
  ours.nWidth = camera.nWidth;
  ours.nHeight = camera.nHeight;
  ours.dFocal = MeanFocal(camera);
  if (keepCentre) {
    ours.dX0 = camera.dCx - camera.nWidth / 2.0;
    ours.dY0 = camera.nHeight / 2.0 - camera.dCy;
  }
  return ours;
}

/// A project takes larger coefficients for 0.
bool HoldsCoefficients(const SurveyCamera& camera) {
  return std::abs(camera.dK1) <= 1e-5 && std::abs(camera.dK2) <= 1e-11;
}

void Fit(ProjectCamera& camera, double limit) {
  const auto fitted = FitSurveyCamera(camera.Foreign);
  const std::string remedy = "Use --distortion correct";
  if (!fitted || !HoldsCoefficients(fitted->Camera)) {
    Refuse("", 0, Named(camera.Foreign) + " can't be fitted: its distortion is too large for k1 and k2",
           remedy);
  }
  if (fitted->Error.dMax > limit) {
    Refuse("", 0,
           fmt::format("the fit of {} leaves up to {:.4f} pixels (RMS {:.4f}), more than {}",
                       Named(camera.Foreign), fitted->Error.dMax, fitted->Error.dRms, limit),
           remedy + ", or raise --fit-limit");
  }
  camera.Ours = fitted->Camera;
  camera.Error = fitted->Error;
}

bool AllFitWell(std::span<const ProjectCamera> cameras) {
  return std::ranges::all_of(cameras, [](const ProjectCamera& camera) {
    const auto fitted = FitSurveyCamera(camera.Foreign);
    return fitted && HoldsCoefficients(fitted->Camera) && fitted->Error.dMax < kFitDefaultLimit;
  });
}

void TellCamera(const ProjectCamera& camera, ExchangeLog& log) {
  const SurveyCamera& ours = camera.Ours;
  // Towards the side, f times the ideal direction grows beyond all bounds, and with it any difference.
  constexpr double kMostAngle = 60;
  const double angle = LargestAngle(camera.Foreign) * 180 / std::numbers::pi;
  std::string line = fmt::format("{}: {}, f {:.4f}, ", Named(camera.Foreign),
                                 PrintableName(camera.Foreign.szModel), MeanFocal(camera.Foreign)) +
                     (angle > kMostAngle ? fmt::format("distorted up to {:.1f} degrees off the axis, ", angle)
                                         : fmt::format("largest distortion {:.4f} px, ", camera.dDistortion));
  line[0] = 'C';
  switch (camera.Mode) {
    case DistortionMode::Correct:
      line += "measurements are freed of it";
      break;
    case DistortionMode::Fit:
      line +=
          fmt::format("fitted by f {:.4f}, k1 {:.6e}, k2 {:.6e}, which leaves RMS {:.6f}, largest {:.6f} px",
                      ours.dFocal, ours.dK1, ours.dK2, camera.Error.dRms, camera.Error.dMax);
      break;
    case DistortionMode::Drop:
      line += "which is dropped";
      break;
  }
  log.Say(line);
}

}  // namespace

std::optional<ImageVector> ProjectCamera::FromMeasured(ImageVector measured) const {
  if (Mode != DistortionMode::Correct) return measured;
  const auto direction =
      DirectionOf(Foreign, {Foreign.nWidth / 2.0 + measured.x, Foreign.nHeight / 2.0 - measured.y});
  if (!direction) return {};
  return ImageVector{Ours.dFocal * direction->u, -Ours.dFocal * direction->v};
}

ImageVector ProjectCamera::ToMeasured(ImageVector inProject) const {
  if (Mode != DistortionMode::Correct) return inProject;
  const LensPoint pixel = PixelOf(Foreign, {inProject.x / Ours.dFocal, -inProject.y / Ours.dFocal});
  return {pixel.u - Foreign.nWidth / 2.0, Foreign.nHeight / 2.0 - pixel.v};
}

std::vector<ProjectCamera> CamerasForProject(std::span<const ForeignCamera> cameras,
                                             const ImportOptions& options, ExchangeLog& log) {
  std::vector<ProjectCamera> project;
  for (const ForeignCamera& camera : cameras) {
    if (const std::string fault = FaultOf(camera); !fault.empty()) {
      Refuse(options.szSource, 0, Named(camera) + " can't be used: " + fault, "Put it right in its program");
    }
    ProjectCamera& added = project.emplace_back();
    added.Foreign = camera;
    added.dDistortion = LargestDistortion(camera);
  }
  const DistortionMode mode =
      options.Distortion.value_or(AllFitWell(project) ? DistortionMode::Fit : DistortionMode::Correct);
  for (ProjectCamera& camera : project) {
    camera.Mode = mode;
    if (mode == DistortionMode::Fit) {
      Fit(camera, options.Distortion ? options.dFitLimit : kFitDefaultLimit);
    } else {
      camera.Ours = WithoutDistortion(camera.Foreign, mode == DistortionMode::Drop);
    }
    TellCamera(camera, log);
  }
  return project;
}

}  // namespace orvo::exchange
