// OrvoResult.ovt: the tie-point file with the intersected coordinates.
#include <algorithm>
#include <cinttypes>

#include "block/ProjectForm.h"
#include "results/OutputFile.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr int64_t kBlockPoints = 15000, kBlockMeasures = 65536;  ///< about a megabyte each
constexpr int64_t kMaxChunk = 100000000;

/// Copies the records from `first` on with the coordinates of `points` in place of their own; the number of
/// records written.
int64_t CopyPoints(OvtReader& input, int64_t first, std::span<const ObjectPointRecord> points,
                   TextWriter& output) {
  const auto total = static_cast<int64_t>(points.size());
  std::vector<char> records(static_cast<size_t>(kOvtPointBytes * std::min(kBlockPoints, total)));
  int64_t done = 0;
  while (done < total) {
    const int64_t got = input.ReadPoints(first + done, std::min(kBlockPoints, total - done), records.data());
    for (int64_t i = 0; i < got; ++i) {
      const ObjectPointRecord& point = points[static_cast<size_t>(done + i)];
      EncodeOvtPosition(point.X, point.Y, point.Z, records.data() + kOvtPointBytes * i);
    }
    output.Write(records.data(), static_cast<size_t>(kOvtPointBytes * got));
    done += got;
    if (got == 0) break;
  }
  return done;
}

/// Copies image records as they are; the number copied.
int64_t CopyMeasures(OvtReader& input, int64_t first, int64_t count, TextWriter& output) {
  std::vector<char> records(static_cast<size_t>(kOvtMeasureBytes * std::min(kBlockMeasures, count)));
  int64_t done = 0;
  while (done < count) {
    const int64_t got =
        input.ReadMeasures(first + done, std::min(kBlockMeasures, count - done), records.data());
    output.Write(records.data(), static_cast<size_t>(kOvtMeasureBytes * got));
    done += got;
    if (got == 0) break;
  }
  return done;
}

}  // namespace

int CBundleAdjustment::WriteResultOvt() {
  const std::string besideProject = OvtPathOfProject(szProjectPath);
  if (!besideProject.empty()) szOvtPath = besideProject;
  if (szOvtPath.empty()) return 0;

  TextWriter output;
  // The doubled separator is how this one name has always been formed.
  if (!CreateBeside(output, szOutputPath + "//OrvoResult.ovt", {szOvtPath})) {
    ++nOutputFailureNum;
    LogPrintf("Error!Create ovt file failed!\n");
    return 0;
  }
  OvtReader input;
  if (!OpenWithHeader(input, szOvtPath)) {
    ++nOutputFailureNum;
    LogPrintf("Error!Open ovt file failed!\n");
    return 0;
  }
  char header[kOvtHeaderBytes];
  EncodeOvtHeader(input.HeaderPointNum(), input.HeaderMeasureNum(), header);
  output.Write(header, sizeof header);

  ReleaseSectionTable();
  PlanSections(nImageNum, nCameraNum, input.PointNum(), input.MeasureNum(), nullptr);
  Point_Thinned_Interval = 1;
  nTiePointNum = input.PointNum();  // no control points behind the last section
  int64_t written = 0;
  for (int32_t section = 0; section < Sections.Count(); ++section) {
    written += WriteOvtSection(section, input, output);
  }
  if (written != input.HeaderPointNum()) {
    ++nOutputFailureNum;
    LogPrintf("Number of object point is unexpected!\n");
    return 0;
  }
  const bool whole = CopyOvtMeasures(input, output);
  ReleaseSectionTable();
  if (!output.Close() || !whole) ++nOutputFailureNum;
  return 1;
}

int64_t CBundleAdjustment::WriteOvtSection(int32_t section, OvtReader& input, TextWriter& output) {
  // The plan rounds the sections up and may run past the last point.
  PointSectionTable::Range& range = Sections.ObjectPoints[static_cast<size_t>(section)];
  range.nLast = std::min<int64_t>(range.nLast, input.PointNum() - 1);
  if (range.Count() < 1) return 0;
  int64_t count = 0;
  ReadSectionPoints(section, szProjectPath, szGcpPath, count);
  count = std::clamp<int64_t>(count, 0, std::min(range.Count(), static_cast<int64_t>(pObjectPoints.size())));
  range.nLast = range.nFirst + count - 1;
  if (count > 0) {
    LogPrintf("Computing tie point 3D coordinates...\n");
    ComputeTiePointsThreaded(section);
    LogPrintf("Writing tie point 3D coordinates...\n");
    LogPrintf("Number:%" PRId64 "\n", count);
    count = CopyPoints(input, range.nFirst, {pObjectPoints.data(), static_cast<size_t>(count)}, output);
  }
  ReleaseSectionPoints();
  return count;
}

bool CBundleAdjustment::CopyOvtMeasures(OvtReader& input, TextWriter& output) {
  const int64_t total = std::max<int64_t>(input.HeaderMeasureNum(), 0);
  LogPrintf("Writing image point coordinates...\n");
  LogPrintf("Total image point number:%" PRId64 "\n", total);
  int64_t chunkNum = std::max<int64_t>(Sections.Count(), 1);
  if (total / chunkNum > kMaxChunk) chunkNum = total / kMaxChunk;
  const int64_t chunk = total / chunkNum;
  int64_t copied = 0;
  for (int64_t i = 0; i < chunkNum; ++i) {
    const int64_t count = i + 1 < chunkNum ? chunk : total - chunk * i;
    LogPrintf("Image point number in section %" PRId64 ": %" PRId64 "\n", i, count);
    copied += CopyMeasures(input, chunk * i, count, output);
  }
  return copied == total;
}

}  // namespace orvo
