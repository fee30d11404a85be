#include "exchange/colmap/ColmapCameras.h"

#include "exchange/LensModels.h"

namespace orvo::exchange {
namespace {

constexpr ColmapCameraModel kModels[] = {
    {0, "SIMPLE_PINHOLE", LensModel::Pinhole, true, 3},
    {1, "PINHOLE", LensModel::Pinhole, false, 4},
    {2, "SIMPLE_RADIAL", LensModel::SimpleRadial, true, 4},
    {3, "RADIAL", LensModel::Radial, true, 5},
    {4, "OPENCV", LensModel::Brown, false, 8},
    {5, "OPENCV_FISHEYE", LensModel::OpenCvFisheye, false, 8},
    {6, "FULL_OPENCV", LensModel::FullOpenCv, false, 12},
    {7, "FOV", LensModel::Fov, false, 5},
    {8, "SIMPLE_RADIAL_FISHEYE", LensModel::SimpleFisheye, true, 4},
    {9, "RADIAL_FISHEYE", LensModel::RadialFisheye, true, 5},
    {10, "THIN_PRISM_FISHEYE", LensModel::ThinPrism, false, 12},
};

/// The parameters of `of` are the first ones of `lens`, and zeros follow.
bool Contains(LensModel lens, LensModel of) {
  if (lens == of || of == LensModel::Pinhole) return true;
  switch (lens) {
    case LensModel::Radial:
      return of == LensModel::SimpleRadial;
    case LensModel::Brown:
    case LensModel::FullOpenCv:
      return of == LensModel::SimpleRadial || of == LensModel::Radial || of == LensModel::Brown;
    case LensModel::RadialFisheye:
      return of == LensModel::SimpleFisheye;
    case LensModel::OpenCvFisheye:
      return of == LensModel::SimpleFisheye || of == LensModel::RadialFisheye;
    default:
      return false;
  }
}

bool Holds(const ColmapCameraModel& model, const ForeignCamera& camera) {
  if (model.bOneFocal && camera.dFx != camera.dFy) return false;
  // OPENCV has no term of sixth order.
  if (camera.Lens == LensModel::Brown && model.Lens == LensModel::Brown && camera.Parameters[4] != 0)
    return false;
  return Contains(model.Lens, camera.Lens);
}

}  // namespace

std::span<const ColmapCameraModel> ColmapCameraModels() { return kModels; }

const ColmapCameraModel* FindColmapModel(std::string_view name) {
  for (const ColmapCameraModel& model : kModels) {
    if (name == model.szName) return &model;
  }
  return nullptr;
}

const ColmapCameraModel* FindColmapModel(int32_t id) {
  for (const ColmapCameraModel& model : kModels) {
    if (id == model.nId) return &model;
  }
  return nullptr;
}

const ColmapCameraModel& ColmapModelFor(const ForeignCamera& camera) {
  // A camera that came from here goes back as it was.
  const ColmapCameraModel* own = FindColmapModel(camera.szModel);
  if (own != nullptr && own->Lens == camera.Lens && Holds(*own, camera)) return *own;
  for (const ColmapCameraModel& model : kModels) {
    if (Holds(model, camera)) return model;
  }
  return *FindColmapModel("FULL_OPENCV");
}

void SetColmapParameters(const ColmapCameraModel& model, std::span<const double> parameters,
                         ForeignCamera& camera) {
  camera.szModel = model.szName;
  camera.Lens = model.Lens;
  size_t next = 0;
  camera.dFx = parameters[next++];
  camera.dFy = model.bOneFocal ? camera.dFx : parameters[next++];
  camera.dCx = parameters[next++];
  camera.dCy = parameters[next++];
  camera.Parameters.assign(parameters.begin() + static_cast<std::ptrdiff_t>(next), parameters.end());
  camera.Parameters.resize(ParameterNum(model.Lens), 0.0);
}

std::vector<double> ColmapParametersOf(const ColmapCameraModel& model, const ForeignCamera& camera) {
  std::vector<double> parameters = {camera.dFx};
  if (!model.bOneFocal) parameters.push_back(camera.dFy);
  parameters.push_back(camera.dCx);
  parameters.push_back(camera.dCy);
  // Radial and tangential terms are the first of the rational model's, too, with the third radial one behind.
  parameters.insert(parameters.end(), camera.Parameters.begin(), camera.Parameters.end());
  parameters.resize(model.nParameters, 0.0);
  return parameters;
}

}  // namespace orvo::exchange
