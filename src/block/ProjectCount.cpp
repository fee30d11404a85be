#include "block/ProjectCount.h"

#include <algorithm>
#include <cinttypes>
#include <limits>

#include "base/MemoryPurpose.h"
#include "base/ReadingFailed.h"
#include "base/Scan.h"
#include "base/Threads.h"
#include "block/OvtFacts.h"
#include "block/ProjectText.h"
#include "block/TextPiece.h"

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

bool CountTextPoints(const ProjectCounting& counting, const ProjectHeader& header, TextReader& file) {
  PointStore& points = counting.Points;
  points.nTiePointNum = header.nObjectPointNum;
  points.pPointImageCount.assign(static_cast<size_t>(points.nTiePointNum), 0);
  SkipCamerasAndImages(file, header);
  points.nTextPlaceFileSize = file.Size();
  int64_t place = file.Tell(), pointNum = 0;
  std::string_view line;
  for (int64_t point = 0; point < points.nTiePointNum && file.Next(line); ++point) {
    if (point % kTextPiecePoints == 0) points.vTextPlaces.push_back(place);
    bool countIsWhole = false;
    const int32_t count = ReadMeasureCount(file, countIsWhole);
    if (!countIsWhole) ++points.Facts.nBrokenCounted;
    int32_t read = 0;
    for (; read < count && NextMeasure(file, read, line); ++read) {
      int32_t image = 0;
      if (!FieldScanner(line).Int(image)) continue;
      if (image < 0 || image >= header.nImageNum) {
        ++points.Facts.nBrokenCounted;
        counting.Log.Print("Image ID is invalid:%" PRId64 " %d %d!\n", point, read, image);
        return false;
      }
      ++counting.Images.pImagePointCount[static_cast<size_t>(image)];
    }
    points.pPointImageCount[static_cast<size_t>(point)] = read;
    points.nTieImagePointNum += read;
    if (read < count) ++points.Facts.nBrokenCounted;
    if (read < kLeastRays) ++points.Facts.nFewRays;
    ++pointNum;
    place = file.Tell();
  }
  if (pointNum < points.nTiePointNum || !OnlyBlankLinesFollow(file)) ++points.Facts.nBrokenCounted;
  return true;
}

bool CountOvtPoints(const ProjectCounting& counting) {
  PointStore& points = counting.Points;
  OvtReader file(&counting.Inputs);
  if (!file.Open(counting.Paths.szOvtPath)) {
    counting.Log.Print("Can not open ovt file!\n");
    return false;
  }
  points.nTiePointNum = file.PointNum();
  points.nTieImagePointNum = file.MeasureNum();
  points.pPointImageCount.assign(static_cast<size_t>(points.nTiePointNum), 0);

  OvtPointRun run;
  // More threads than this wait for the memory, and each has a count for every image.
  const int threads = std::min(counting.System.ProcessorCount(), 8);
  std::vector<Counter> counters(static_cast<size_t>(std::max(threads, 1)));
  ParallelInOrder(
      BlockNum(points.nTiePointNum), threads,
      [&](int64_t block, int k) {
        const int64_t first = block * kRecordsAtOnce;
        Counter& counter = counters[static_cast<size_t>(k)];
        char* records = counter.Room(kOvtPointBytes);
        counter.Run = {};
        const int64_t read = file.ReadPoints(first, kRecordsAtOnce, records);
        for (int64_t i = 0; i < read; ++i) {
          const int32_t count = DecodeOvtMeasureCount(records + i * kOvtPointBytes);
          points.pPointImageCount[static_cast<size_t>(first + i)] = std::clamp(count, 0, file.MeasureNum());
          counter.Run.Add(records + i * kOvtPointBytes);
        }
      },
      [&](int64_t, int k) { run.Append(counters[static_cast<size_t>(k)].Run); });
  points.Facts.nFewRays = run.nFewRays;
  if (!run.Covers(points.nTieImagePointNum)) ++points.Facts.nBrokenCounted;
  bool valid = true;
  ParallelInOrder(
      BlockNum(points.nTieImagePointNum), threads,
      [&](int64_t block, int k) {
        Counter& counter = counters[static_cast<size_t>(k)];
        char* records = counter.Room(kOvtMeasureBytes);
        const int64_t read = file.ReadMeasures(block * kRecordsAtOnce, kRecordsAtOnce, records);
        counter.Count(records, read, counting.Images.pImagePointCount.size());
      },
      [&](int64_t block, int k) {
        const Counter& counter = counters[static_cast<size_t>(k)];
        if (!valid || counter.nInvalid < 0) return;
        valid = false;
        counting.Log.Print(
            "Image ID is invalid:%" PRId64 " %d!\n", block * kRecordsAtOnce + counter.nInvalid,
            DecodeOvtImageOrdinal(counter.Records.data() + counter.nInvalid * kOvtMeasureBytes));
      });
  for (const Counter& counter : counters) {
    for (size_t i = 0; i < counter.OfImage.size(); ++i)
      counting.Images.pImagePointCount[i] += counter.OfImage[i];
    points.Facts.nBrokenCounted += counter.nBroken;
  }
  return valid;
}

void CountGcpPoints(const ProjectCounting& counting) {
  PointStore& points = counting.Points;
  points.nGcpNum = points.nGcpImagePointNum = points.nControlPointNum = points.nCheckPointNum = 0;
  TextReader file(&counting.Inputs);
  if (!file.Open(counting.Paths.szGcpPath)) {
    counting.Log.Print("Open Gcp file failed!\n");
    return;
  }
  const int32_t count = ReadGcpCount(file);
  int64_t imagePointNum = 0;
  std::string_view line;
  for (; points.nGcpNum < count && file.Next(line); ++points.nGcpNum) {
    const int32_t type = ParsePointLine(line).nType;
    if (type == 1) ++points.nControlPointNum;
    if (type > 1) ++points.nCheckPointNum;
    imagePointNum += SkipMeasures(file);
  }
  points.nGcpImagePointNum =
      static_cast<int32_t>(std::min<int64_t>(imagePointNum, std::numeric_limits<int32_t>::max()));
}

}  // namespace

bool CountProject(const ProjectCounting& counting) {
  const MemoryPurpose purpose("the counts of the project");
  PointStore& points = counting.Points;
  points.bTextPointCounted.clear();
  points.vTextPlaces.clear();
  points.Facts = {};
  points.nTiePointNum = points.nTieImagePointNum = 0;

  TextReader file(&counting.Inputs);
  if (!file.Open(counting.Paths.szProjectPath)) {
    counting.Log.Print("Open prj file failed!\n");
    return false;
  }
  const ProjectHeader header = ReadHeader(file);
  counting.Images.pImagePointCount.assign(static_cast<size_t>(header.nImageNum), 0);
  if (counting.Paths.szOvtPath.empty()) {
    if (!CountTextPoints(counting, header, file)) return false;
  } else {
    file.Close();
    if (!CountOvtPoints(counting)) return false;
  }
  CountGcpPoints(counting);
  if (ReadingFailed(counting.Inputs, counting.Log)) return false;
  points.nObjectPointNum = points.nGcpNum + points.nTiePointNum;
  points.nImagePointNum = points.nGcpImagePointNum + points.nTieImagePointNum;
  return true;
}

}  // namespace orvo
