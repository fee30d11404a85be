// Counting, before anything big is read.
#include <algorithm>
#include <cinttypes>
#include <limits>

#include "base/MemoryPurpose.h"
#include "base/ParallelFor.h"
#include "base/Scan.h"
#include "block/OvtFacts.h"
#include "block/OvtFile.h"
#include "block/ProjectForm.h"
#include "block/ProjectText.h"
#include "block/TextPiece.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr int64_t kRecordsAtOnce = 16384;

/// A tie point with fewer measurements than this determines nothing.
constexpr int32_t kLeastRays = 2;

bool OnlyBlankLinesFollow(TextReader& file) {
  std::string_view line, word;
  while (file.Next(line)) {
    if (FieldScanner(line).Word(word)) return false;
  }
  return true;
}

int64_t BlockNum(int64_t records) { return (records + kRecordsAtOnce - 1) / kRecordsAtOnce; }

/// What one thread reads and counts.
struct Counter {
  std::vector<char> Records;
  std::vector<int32_t> OfImage;  ///< measurements on each image
  int64_t nInvalid = -1;         ///< the first record of a block whose image can't be, -1 for none
  OvtPointRun Run;               ///< of a block of points
  int64_t nBroken = 0;           ///< measurements whose image can't be, or whose x or y is not finite

  char* Room(int64_t recordBytes) {
    Records.resize(static_cast<size_t>(kRecordsAtOnce * recordBytes));
    return Records.data();
  }
  void Count(const char* records, int64_t recordNum, size_t imageNum) {
    OfImage.resize(imageNum);
    nInvalid = -1;
    for (int64_t i = 0; i < recordNum; ++i) {
      if (!OvtMeasureIsFinite(records + i * kOvtMeasureBytes)) ++nBroken;
      const auto image = static_cast<size_t>(DecodeOvtImageOrdinal(records + i * kOvtMeasureBytes));
      if (image < imageNum) {
        ++OfImage[image];
        continue;
      }
      ++nBroken;
      if (nInvalid < 0) nInvalid = i;
    }
  }
};

}  // namespace

int CBundleAdjustment::PreReadData(const std::string& project, const std::string& gcp) {
  const MemoryPurpose purpose("the counts of the project");
  Paths.szProjectPath = project;
  Paths.szGcpPath = gcp;
  Paths.szOvtPath = OvtPathOfProject(project);
  Points.bTextPointCounted.clear();
  Points.vTextPlaces.clear();
  Points.Facts = {};
  Points.nTiePointNum = Points.nTieImagePointNum = 0;

  TextReader file(&Inputs);
  if (!file.Open(project)) {
    LogPrintf("Open prj file failed!\n");
    return 0;
  }
  const ProjectHeader header = ReadHeader(file);
  Images.pImagePointCount.assign(static_cast<size_t>(header.nImageNum), 0);
  if (Paths.szOvtPath.empty()) {
    if (PreReadTextPoints(header, file) == 0) return 0;
  } else {
    file.Close();
    if (PreReadOvt() == 0) return 0;
  }
  PreReadGcp(gcp);
  if (CheckInputs() == 0) return 0;
  Points.nObjectPointNum = Points.nGcpNum + Points.nTiePointNum;
  Points.nImagePointNum = Points.nGcpImagePointNum + Points.nTieImagePointNum;
  return 1;
}

int CBundleAdjustment::PreReadTextPoints(const ProjectHeader& header, TextReader& file) {
  Points.nTiePointNum = header.nObjectPointNum;
  Points.pPointImageCount.assign(static_cast<size_t>(Points.nTiePointNum), 0);
  SkipCamerasAndImages(file, header);
  Points.nTextPlaceFileSize = file.Size();
  int64_t place = file.Tell(), pointNum = 0;
  std::string_view line;
  for (int64_t point = 0; point < Points.nTiePointNum && file.Next(line); ++point) {
    if (point % kTextPiecePoints == 0) Points.vTextPlaces.push_back(place);
    bool countIsWhole = false;
    const int32_t count = ReadMeasureCount(file, countIsWhole);
    if (!countIsWhole) ++Points.Facts.nBrokenCounted;
    int32_t read = 0;
    for (; read < count && NextMeasure(file, read, line); ++read) {
      int32_t image = 0;
      if (!FieldScanner(line).Int(image)) continue;
      if (image < 0 || image >= header.nImageNum) {
        ++Points.Facts.nBrokenCounted;
        LogPrintf("Image ID is invalid:%" PRId64 " %d %d!\n", point, read, image);
        return 0;
      }
      ++Images.pImagePointCount[static_cast<size_t>(image)];
    }
    Points.pPointImageCount[static_cast<size_t>(point)] = read;
    Points.nTieImagePointNum += read;
    if (read < count) ++Points.Facts.nBrokenCounted;
    if (read < kLeastRays) ++Points.Facts.nFewRays;
    ++pointNum;
    place = file.Tell();
  }
  if (pointNum < Points.nTiePointNum || !OnlyBlankLinesFollow(file)) ++Points.Facts.nBrokenCounted;
  return 1;
}

int CBundleAdjustment::PreReadOvt() {
  OvtReader file(&Inputs);
  if (!file.Open(Paths.szOvtPath)) {
    LogPrintf("Can not open ovt file!\n");
    return 0;
  }
  Points.nTiePointNum = file.PointNum();
  Points.nTieImagePointNum = file.MeasureNum();
  Points.pPointImageCount.assign(static_cast<size_t>(Points.nTiePointNum), 0);

  OvtPointRun run;
  // More threads than this wait for the memory, and each has a count for every image.
  const int threads = std::min(System.ProcessorCount(), 8);
  std::vector<Counter> counters(static_cast<size_t>(std::max(threads, 1)));
  ParallelInOrder(
      BlockNum(Points.nTiePointNum), threads,
      [&](int64_t block, int k) {
        const int64_t first = block * kRecordsAtOnce;
        Counter& counter = counters[static_cast<size_t>(k)];
        char* records = counter.Room(kOvtPointBytes);
        counter.Run = {};
        const int64_t read = file.ReadPoints(first, kRecordsAtOnce, records);
        for (int64_t i = 0; i < read; ++i) {
          const int32_t count = DecodeOvtMeasureCount(records + i * kOvtPointBytes);
          Points.pPointImageCount[static_cast<size_t>(first + i)] = std::clamp(count, 0, file.MeasureNum());
          counter.Run.Add(records + i * kOvtPointBytes);
        }
      },
      [&](int64_t, int k) { run.Append(counters[static_cast<size_t>(k)].Run); });
  Points.Facts.nFewRays = run.nFewRays;
  if (!run.Covers(Points.nTieImagePointNum)) ++Points.Facts.nBrokenCounted;
  bool valid = true;
  ParallelInOrder(
      BlockNum(Points.nTieImagePointNum), threads,
      [&](int64_t block, int k) {
        Counter& counter = counters[static_cast<size_t>(k)];
        char* records = counter.Room(kOvtMeasureBytes);
        const int64_t read = file.ReadMeasures(block * kRecordsAtOnce, kRecordsAtOnce, records);
        counter.Count(records, read, Images.pImagePointCount.size());
      },
      [&](int64_t block, int k) {
        const Counter& counter = counters[static_cast<size_t>(k)];
        if (!valid || counter.nInvalid < 0) return;
        valid = false;
        LogPrintf("Image ID is invalid:%" PRId64 " %d!\n", block * kRecordsAtOnce + counter.nInvalid,
                  DecodeOvtImageOrdinal(counter.Records.data() + counter.nInvalid * kOvtMeasureBytes));
      });
  for (const Counter& counter : counters) {
    for (size_t i = 0; i < counter.OfImage.size(); ++i) Images.pImagePointCount[i] += counter.OfImage[i];
    Points.Facts.nBrokenCounted += counter.nBroken;
  }
  return valid ? 1 : 0;
}

void CBundleAdjustment::PreReadGcp(const std::string& gcp) {
  Points.nGcpNum = Points.nGcpImagePointNum = Points.nControlPointNum = Points.nCheckPointNum = 0;
  TextReader file(&Inputs);
  if (!file.Open(gcp)) {
    LogPrintf("Open Gcp file failed!\n");
    return;
  }
  const int32_t count = ReadGcpCount(file);
  int64_t imagePointNum = 0;
  std::string_view line;
  for (; Points.nGcpNum < count && file.Next(line); ++Points.nGcpNum) {
    const int32_t type = ParsePointLine(line).nType;
    if (type == 1) ++Points.nControlPointNum;
    if (type > 1) ++Points.nCheckPointNum;
    imagePointNum += SkipMeasures(file);
  }
  Points.nGcpImagePointNum =
      static_cast<int32_t>(std::min<int64_t>(imagePointNum, std::numeric_limits<int32_t>::max()));
}

}  // namespace orvo
