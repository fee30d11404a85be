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
  szProjectPath = project;
  szGcpPath = gcp;
  szOvtPath = OvtPathOfProject(project);
  bTextPointCounted.clear();
  vTextPlaces.clear();
  Facts = {};
  nTiePointNum = nTieImagePointNum = 0;

  TextReader file(&Inputs);
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
  if (CheckInputs() == 0) return 0;
  nObjectPointNum = nGcpNum + nTiePointNum;
  nImagePointNum = nGcpImagePointNum + nTieImagePointNum;
  return 1;
}

int CBundleAdjustment::PreReadTextPoints(const ProjectHeader& header, TextReader& file) {
  nTiePointNum = header.nObjectPointNum;
  pPointImageCount.assign(static_cast<size_t>(nTiePointNum), 0);
  SkipCamerasAndImages(file, header);
  nTextPlaceFileSize = file.Size();
  int64_t place = file.Tell(), pointNum = 0;
  std::string_view line;
  for (int64_t point = 0; point < nTiePointNum && file.Next(line); ++point) {
    if (point % kTextPiecePoints == 0) vTextPlaces.push_back(place);
    bool countIsWhole = false;
    const int32_t count = ReadMeasureCount(file, countIsWhole);
    if (!countIsWhole) ++Facts.nBrokenCounted;
    int32_t read = 0;
    for (; read < count && NextMeasure(file, read, line); ++read) {
      int32_t image = 0;
      if (!FieldScanner(line).Int(image)) continue;
      if (image < 0 || image >= header.nImageNum) {
        ++Facts.nBrokenCounted;
        LogPrintf("Image ID is invalid:%" PRId64 " %d %d!\n", point, read, image);
        return 0;
      }
      ++pImagePointCount[static_cast<size_t>(image)];
    }
    pPointImageCount[static_cast<size_t>(point)] = read;
    nTieImagePointNum += read;
    if (read < count) ++Facts.nBrokenCounted;
    if (read < kLeastRays) ++Facts.nFewRays;
    ++pointNum;
    place = file.Tell();
  }
  if (pointNum < nTiePointNum || !OnlyBlankLinesFollow(file)) ++Facts.nBrokenCounted;
  return 1;
}

int CBundleAdjustment::PreReadOvt() {
  OvtReader file(&Inputs);
  if (!file.Open(szOvtPath)) {
    LogPrintf("Can not open ovt file!\n");
    return 0;
  }
  nTiePointNum = file.PointNum();
  nTieImagePointNum = file.MeasureNum();
  pPointImageCount.assign(static_cast<size_t>(nTiePointNum), 0);

  OvtPointRun run;
  // More threads than this wait for the memory, and each has a count for every image.
  const int threads = std::min(System.ProcessorCount(), 8);
  std::vector<Counter> counters(static_cast<size_t>(std::max(threads, 1)));
  ParallelInOrder(
      BlockNum(nTiePointNum), threads,
      [&](int64_t block, int k) {
        const int64_t first = block * kRecordsAtOnce;
        Counter& counter = counters[static_cast<size_t>(k)];
        char* records = counter.Room(kOvtPointBytes);
        counter.Run = {};
        const int64_t read = file.ReadPoints(first, kRecordsAtOnce, records);
        for (int64_t i = 0; i < read; ++i) {
          const int32_t count = DecodeOvtMeasureCount(records + i * kOvtPointBytes);
          pPointImageCount[static_cast<size_t>(first + i)] = std::clamp(count, 0, file.MeasureNum());
          counter.Run.Add(records + i * kOvtPointBytes);
        }
      },
      [&](int64_t, int k) { run.Append(counters[static_cast<size_t>(k)].Run); });
  Facts.nFewRays = run.nFewRays;
  if (!run.Covers(nTieImagePointNum)) ++Facts.nBrokenCounted;
  bool valid = true;
  ParallelInOrder(
      BlockNum(nTieImagePointNum), threads,
      [&](int64_t block, int k) {
        Counter& counter = counters[static_cast<size_t>(k)];
        char* records = counter.Room(kOvtMeasureBytes);
        const int64_t read = file.ReadMeasures(block * kRecordsAtOnce, kRecordsAtOnce, records);
        counter.Count(records, read, pImagePointCount.size());
      },
      [&](int64_t block, int k) {
        const Counter& counter = counters[static_cast<size_t>(k)];
        if (!valid || counter.nInvalid < 0) return;
        valid = false;
        LogPrintf("Image ID is invalid:%" PRId64 " %d!\n", block * kRecordsAtOnce + counter.nInvalid,
                  DecodeOvtImageOrdinal(counter.Records.data() + counter.nInvalid * kOvtMeasureBytes));
      });
  for (const Counter& counter : counters) {
    for (size_t i = 0; i < counter.OfImage.size(); ++i) pImagePointCount[i] += counter.OfImage[i];
    Facts.nBrokenCounted += counter.nBroken;
  }
  return valid ? 1 : 0;
}

void CBundleAdjustment::PreReadGcp(const std::string& gcp) {
  nGcpNum = nGcpImagePointNum = nControlPointNum = nCheckPointNum = 0;
  TextReader file(&Inputs);
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
    imagePointNum += SkipMeasures(file);
  }
  nGcpImagePointNum =
      static_cast<int32_t>(std::min<int64_t>(imagePointNum, std::numeric_limits<int32_t>::max()));
}

}  // namespace orvo
