#include "peer/RigorousProblem.h"

#include <algorithm>
#include <cmath>

namespace orvo::peer {
namespace {

bool IsHeld(const rigorous::ControlObservation& control) {
  return std::ranges::all_of(control.Sigma, [](double sigma) { return sigma == 0; });
}

bool IsObserved(const auto& sigmas) {
  return std::ranges::any_of(sigmas, [](double sigma) { return std::isfinite(sigma); });
}

}  // namespace

std::string RigorousProblem::WhyNot(const rigorous::BlockProblem& block) {
  const rigorous::Problem& task = block.Task;
  if (task.Form != rigorous::ResidualForm::Corrected) return "residuals are those of the measured image";
  for (const rigorous::CameraModel& camera : task.vCameras) {
    if (camera.nLensUnknowns !=
        (rigorous::kLensFocal | rigorous::kLensPrincipalPoint | rigorous::kLensRadial))
      return "the unknowns of a camera are others than f, x0, y0, k1 and k2";
    if (IsObserved(camera.PriorSigma)) return "parameters of a camera are observed";
  }
  for (const rigorous::ImageModel& image : task.vImages) {
    if (IsObserved(image.GpsSigma) || IsObserved(image.ImuSigma)) return "there are GPS or IMU data";
  }
  if (!std::ranges::all_of(task.vControl, IsHeld)) return "a control point is not held";
  return "";
}

RigorousProblem::RigorousProblem(const rigorous::BlockProblem& block, const ImageTable& images)
    : Held(static_cast<size_t>(block.Task.PointNum())) {
  for (const EopRecord& eop : images.Kept()) {
    Images.insert(Images.end(), {eop.X - block.Origin[0], eop.Y - block.Origin[1], eop.Z - block.Origin[2],
                                 eop.fPhi, eop.fOmega, eop.fKappa});
  }
  for (const rigorous::CameraEstimate& camera : block.Start.vCameras) {
    const rigorous::Lens& lens = camera.LensNow;
    Cameras.insert(Cameras.end(), {lens.f, lens.x0, lens.y0, lens.k1, lens.k2});
  }
  for (const rigorous::Vector3& point : block.Start.vPoints)
    Points.insert(Points.end(), point.begin(), point.end());
  for (const rigorous::ControlObservation& control : block.Task.vControl) {
    const auto place = static_cast<size_t>(control.nPoint);
    Held[place] = 1;
    std::ranges::copy(control.Observed, Point(place));
  }
  std::vector<const double*> pointers;
  for (size_t i = 0; i < Images.size() / 6; ++i) pointers.push_back(Image(i));
  pFrames = std::make_unique<FrameTable>(std::move(pointers));
}

void RigorousProblem::Build(const rigorous::BlockProblem& block, ceres::EvaluationCallback& observer) {
  ceres::Problem::Options options;
  options.cost_function_ownership = ceres::DO_NOT_TAKE_OWNERSHIP;
  options.disable_all_safety_checks = true;
  options.evaluation_callback = &observer;
  pProblem = std::make_unique<ceres::Problem>(options);
  const rigorous::Problem& task = block.Task;
  for (size_t p = 0; p < Held.size(); ++p) {
    for (const rigorous::Ray& ray : task.RaysOf(static_cast<int64_t>(p))) {
      const auto image = static_cast<size_t>(ray.nImage);
      const auto camera = static_cast<size_t>(task.vImages[image].nCamera);
      const CostInput input{Frames()[image],
                            Image(image),
                            Camera(camera),
                            Point(p),
                            ray.x,
                            ray.y,
                            1 / task.vCameras[camera].fSigma};
      if (Held[p] != 0) {
        HeldCosts.emplace_back(input, 0, 1, -1);
        pProblem->AddResidualBlock(&HeldCosts.back(), nullptr, Image(image), Camera(camera));
      } else {
        TieCosts.emplace_back(input, 0, 1, 2);
        pProblem->AddResidualBlock(&TieCosts.back(), nullptr, Image(image), Camera(camera), Point(p));
      }
      ++nMeasurements;
    }
  }
  for (size_t i = 0; i < task.vImages.size(); ++i) {
    if (!task.vImages[i].bUnknown && pProblem->HasParameterBlock(Image(i)))
      pProblem->SetParameterBlockConstant(Image(i));
  }
}

std::shared_ptr<ceres::ParameterBlockOrdering> RigorousProblem::Ordering() {
  auto ordering = std::make_shared<ceres::ParameterBlockOrdering>();
  const auto add = [&](double* block, int group) {
    if (pProblem->HasParameterBlock(block)) ordering->AddElementToGroup(block, group);
  };
  for (size_t p = 0; p < Held.size(); ++p) add(Point(p), 0);
  for (size_t i = 0; i < Images.size() / 6; ++i) add(Image(i), 1);
  for (size_t i = 0; i < Cameras.size() / 5; ++i) add(Camera(i), 1);
  return ordering;
}

}  // namespace orvo::peer
