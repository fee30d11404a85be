// OrvoResult.ovc and the listings OrvoResult.rst and OrvoResult_gcp.rst.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "base/RunLog.h"
#include "geometry/camera/ListingResidual.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/ResidualStatistics.h"
#include "results/MeasuredPoint.h"

namespace orvo {

/// Gives the `ordinal`th point of the file its coordinates, and each of its measurements a residual. False
/// where it has none to give: the point is intersected then.
using PointPlacing =
    std::function<bool(int64_t ordinal, MeasuredPoint& point, std::vector<ImageResidual>& residuals)>;

/// What the forms are made from: the project's text with orientations and cameras as they are now, and the
/// points of the files.
struct ResultSources {
  const std::string& szProject;
  const std::string& szGcp;
  const AdjustmentSettings& Settings;
  const ImageTable& Images;
  const CameraTable& Cameras;
  InputFiles& Inputs;
  PointPlacing PlaceGroundPoint = {};  ///< of the listing of control and check points; may be empty
};

enum class ResultListing {
  TiePoints,    ///< OrvoResult.rst; replaces the image statistics
  GroundPoints  ///< OrvoResult_gcp.rst: control and check points
};

/// Writes OrvoResult.ovc and one listing to the output folder; false after a message. A project without
/// points sets szOvtPath. A failure is counted in `outputs`.
bool WriteResultForm(const ResultSources& from, ResultListing kind, FilePaths& paths,
                     ResidualStatistics& residuals, OutputLedger& outputs, RunLog& log);

/// The listings that the run mode calls for.
void WriteResultFiles(const ResultSources& from, FilePaths& paths, ResidualStatistics& residuals,
                      OutputLedger& outputs, RunLog& log);

}  // namespace orvo
