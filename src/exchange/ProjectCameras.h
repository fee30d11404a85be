// Foreign cameras on their way into a project: what they become, and what becomes of their measurements.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"
#include "exchange/LensFit.h"
#include "exchange/StrictResiduals.h"

namespace orvo::exchange {

struct ProjectCamera {
  ForeignCamera Foreign;
  SurveyCamera Ours;
  DistortionMode Mode = DistortionMode::Correct;
  FitError Error;          ///< of a fit
  double dDistortion = 0;  ///< the longest way that the distortion moves a measurement, pixels

  /// The measurement in the project of one off the image centre, x right, y up; nothing where no ray leads
  /// there.
  std::optional<ImageVector> FromMeasured(ImageVector measured) const;
  /// Back.
  ImageVector ToMeasured(ImageVector inProject) const;
};

/// The same mode for all. Refuses a fit above the limit and a camera that can't be; tells what fits leave and
/// what is dropped.
std::vector<ProjectCamera> CamerasForProject(std::span<const ForeignCamera> cameras,
                                             const ImportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
