// Counting, before anything big is read.
#include <algorithm>
#include <cinttypes>
#include <limits>

#include "block/OvtFile.h"
#include "block/ProjectForm.h"
#include "block/ProjectText.h"
#include "block/Scan.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr int64_t kRecordsAtOnce = 16384;

}  // namespace

int CBundleAdjustment::PreReadData(const std::string& project, const std::string& gcp) {
  szProjectPath = project;
  szGcpPath = gcp;
  szOvtPath = OvtPathOfProject(project);
  bTextPointCounted.clear();
  nTiePointNum = nTieImagePointNum = 0;

  TextReader file;
  if (!file.Open(project)) {
    LogPrintf("Open prj file failed!\n");
    return 0;
  }
  const ProjectHeader header = ReadHeader(file);
  pImagePointCount.assign(static_cast<size_t>(header.nImageNum), 0);
  if (szOvtPath.empty()) {
    if (PreReadTextPoints(header, file) == 0) return 0;
  } else {
    file.Close();
    if (PreReadOvt() == 0) return 0;
  }
  PreReadGcp(gcp);
  nObjectPointNum = nGcpNum + nTiePointNum;
  nImagePointNum = nGcpImagePointNum + nTieImagePointNum;
  return 1;
}

int CBundleAdjustment::PreReadTextPoints(const ProjectHeader& header, TextReader& file) {
  nTiePointNum = header.nObjectPointNum;
  pPointImageCount.assign(static_cast<size_t>(nTiePointNum), 0);
  SkipCamerasAndImages(file, header);
  std::string_view line;
  for (int64_t point = 0; point < nTiePointNum && file.Next(line); ++point) {
    const int32_t count = ReadMeasureCount(file);
    int32_t read = 0;
    for (; read < count && file.Next(line); ++read) {
      int32_t image = 0;
      if (!FieldScanner(line).Int(image)) continue;
      if (image < 0 || image >= header.nImageNum) {
        LogPrintf("Image ID is invalid:%" PRId64 " %d %d!\n", point, read, image);
        return 0;
      }
      ++pImagePointCount[static_cast<size_t>(image)];
    }
    pPointImageCount[static_cast<size_t>(point)] = read;
    nTieImagePointNum += read;
  }
  return 1;
}

int CBundleAdjustment::PreReadOvt() {
  OvtReader file;
  if (!file.Open(szOvtPath)) {
    LogPrintf("Can not open ovt file!\n");
    return 0;
  }
  nTiePointNum = file.PointNum();
  nTieImagePointNum = file.MeasureNum();
  pPointImageCount.assign(static_cast<size_t>(nTiePointNum), 0);

  std::vector<char> records(static_cast<size_t>(kRecordsAtOnce * kOvtPointBytes));
  for (int64_t first = 0, read = 0; first < nTiePointNum; first += read) {
    read = file.ReadPoints(first, kRecordsAtOnce, records.data());
    if (read == 0) break;
    for (int64_t i = 0; i < read; ++i) {
      const int32_t count = DecodeOvtMeasureCount(records.data() + i * kOvtPointBytes);
      pPointImageCount[static_cast<size_t>(first + i)] = std::clamp(count, 0, file.MeasureNum());
    }
  }
  for (int64_t first = 0, read = 0; first < nTieImagePointNum; first += read) {
    read = file.ReadMeasures(first, kRecordsAtOnce, records.data());
    if (read == 0) break;
    for (int64_t i = 0; i < read; ++i) {
      const int32_t image = DecodeOvtImageOrdinal(records.data() + i * kOvtMeasureBytes);
      if (image < 0 || static_cast<size_t>(image) >= pImagePointCount.size()) {
        LogPrintf("Image ID is invalid:%" PRId64 " %d!\n", first + i, image);
        return 0;
      }
      ++pImagePointCount[static_cast<size_t>(image)];
    }
  }
  return 1;
}

void CBundleAdjustment::PreReadGcp(const std::string& gcp) {
  nGcpNum = nGcpImagePointNum = nControlPointNum = nCheckPointNum = 0;
  TextReader file;
  if (!file.Open(gcp)) {
    LogPrintf("Open Gcp file failed!\n");
    return;
  }
  const int32_t count = ReadGcpCount(file);
  int64_t imagePointNum = 0;
  std::string_view line;
  for (; nGcpNum < count && file.Next(line); ++nGcpNum) {
    const int32_t type = ParsePointLine(line).nType;
    if (type == 1) ++nControlPointNum;
    if (type > 1) ++nCheckPointNum;
    imagePointNum += file.Skip(ReadMeasureCount(file));
  }
  nGcpImagePointNum =
      static_cast<int32_t>(std::min<int64_t>(imagePointNum, std::numeric_limits<int32_t>::max()));
}

}  // namespace orvo
