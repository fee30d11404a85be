// Cameras of a result on their way into another program.
#pragma once

#include <optional>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ProjectCameras.h"
#include "exchange/Sidecar.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

struct ExportCamera {
  ForeignCamera Foreign;
  SurveyCamera Now;
  std::optional<ProjectCamera> Original;  ///< how an import came from pixels to the project's measurements
  bool bCorrected = false;                ///< measurements are freed of Now's distortion

  /// The measurement in the foreign camera's image, off the image centre, x right, y up.
  ImageVector ToForeign(ImageVector inProject) const;
};

/// By ordinal. Refuses CameraChoice::Original where a camera has changed.
std::vector<ExportCamera> CamerasForExport(const SurveyBlock& block, const std::optional<Sidecar>& sidecar,
                                           CameraChoice choice, ExchangeLog& log);

/// Pixels that a refitted camera may leave anywhere, where nobody asked for one.
inline constexpr double kRefitDefaultLimit = 0.1;

}  // namespace orvo::exchange
