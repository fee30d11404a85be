// Control and check points.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/InputFiles.h"
#include "base/RunLog.h"
#include "base/TextReader.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"

namespace orvo {

/// What the readers of a GCP file work on. Its points take their coordinates from pGcpTable, which is made
/// from the file where it does not exist yet: normalisation changes the table, not the file.
struct GcpReading {
  const AdjustmentSettings& Settings;
  const ImageTable& Images;
  const CameraTable& Cameras;
  PointStore& Points;
  RunLog& Log;
};

/// Makes pGcpTable from the whole GCP file where it does not exist yet; false where reading failed.
bool MakeGcpTable(const std::string& gcp, PointStore& points, InputFiles& inputs, RunLog& log);

/// Appends the section's points of the file to those in memory, and then counts what is in memory. Without
/// such a section all points are taken. 1, or -1 at a reference to an image that can't be: the counts stay as
/// they were, and what was read before stays.
int ReadGcpSection(const GcpReading& reading, int32_t section, int64_t& count, int64_t& imageCount,
                   TextReader& file);

/// Appends the whole file to the points in memory. A measurement on an image that can't be is one on a
/// deleted image. The counts become the numbers of points and of measurement lines in the file.
void AppendGcpFile(const GcpReading& reading, int64_t& objectCount, int64_t& imageCount, TextReader& file);

/// Appends the whole file to the lists, with its own coordinates, and counts its control points. 1, or -1 at
/// a reference to an image that can't be.
int ReadGcpFile(const GcpReading& reading, ObjectPointArray& objectList, ImagePointArray& imagePointList,
                TextReader& file);

}  // namespace orvo
