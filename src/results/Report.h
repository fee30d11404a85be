// OrvoAdjustReport.txt and ObjectPointError.xyz.
#pragma once

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunProgress.h"

namespace orvo {

/// What the report tells, beside the points of the GCP file.
struct ReportSources {
  const AdjustmentSettings& Settings;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const PointStore& Points;  ///< the numbers of control and check points
  const ObjectFrame& Frame;  ///< the ground sample distance
  const RunProgress& Progress;
};

/// Writes both files; false when one can't be opened. Reads the GCP file once more and intersects its points;
/// their figures replace those in `residuals`, where there are any of the kind. A failure is counted in
/// `outputs`.
bool WriteReport(const ReportSources& from, const FilePaths& paths, InputFiles& inputs,
                 ResidualStatistics& residuals, OutputLedger& outputs);

}  // namespace orvo
