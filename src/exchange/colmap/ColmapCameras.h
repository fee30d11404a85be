// The camera models of COLMAP by their numbers and names.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "exchange/ForeignModel.h"

namespace orvo::exchange {

struct ColmapCameraModel {
  int32_t nId;
  const char* szName;
  LensModel Lens;
  bool bOneFocal;  ///< f instead of fx, fy
  size_t nParameters;
};

std::span<const ColmapCameraModel> ColmapCameraModels();
/// Null where there is none.
const ColmapCameraModel* FindColmapModel(std::string_view name);
const ColmapCameraModel* FindColmapModel(int32_t id);
/// The model that a camera is written in; fx, fy and the lens decide.
const ColmapCameraModel& ColmapModelFor(const ForeignCamera& camera);

/// `parameters`: nParameters of them, f (fx, fy), cx, cy, then those of the lens.
void SetColmapParameters(const ColmapCameraModel& model, std::span<const double> parameters,
                         ForeignCamera& camera);
std::vector<double> ColmapParametersOf(const ColmapCameraModel& model, const ForeignCamera& camera);

}  // namespace orvo::exchange
