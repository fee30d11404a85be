// OrvoResult.ovt: the tie-point file with the intersected coordinates.
#include <algorithm>
#include <cinttypes>

#include "base/MemoryPurpose.h"
#include "base/OutputFiles.h"
#include "base/Threads.h"
#include "block/ProjectForm.h"
#include "results/OutputFile.h"
#include "run/BundleAdjustment.h"
#include "verdict/VerdictOfRun.h"

namespace orvo {
namespace {

constexpr int64_t kBlockPoints = 8192, kBlockMeasures = 32768;  ///< about half a megabyte each
constexpr int64_t kMaxChunk = 100000000;

/// Copies `count` records of `recordBytes` each in blocks of `blockRecords`. read(done, n, records) reads n
/// records, changes what is to be changed in them and tells how many it got; blocks are read on up to
/// `threads` threads and written in their order. The number of records written before the first that is
/// missing.
template <typename Read>
int64_t CopyRecords(int64_t count, int64_t recordBytes, int64_t blockRecords, int threads, const Read& read,
                    TextWriter& output) {
  struct Block {
    std::vector<char> Records;
    int64_t nCount = 0;
  };
  const int64_t blockNum = (count + blockRecords - 1) / blockRecords;
  const int workers = ParallelThreadNum(blockNum, threads);
  std::vector<Block> blocks(static_cast<size_t>(workers));
  for (Block& block : blocks) {
    block.Records.resize(
        static_cast<size_t>(recordBytes * std::min(blockRecords, std::max<int64_t>(count, 0))));
  }
  int64_t done = 0;
  ParallelInOrder(
      blockNum, workers,
      [&](int64_t i, int k) {
        Block& block = blocks[static_cast<size_t>(k)];
        const int64_t first = i * blockRecords;
        block.nCount = read(first, std::min(blockRecords, count - first), block.Records.data());
      },
      [&](int64_t i, int k) {
        if (done < i * blockRecords) return;
        const Block& block = blocks[static_cast<size_t>(k)];
        output.Write(block.Records.data(), static_cast<size_t>(recordBytes * block.nCount));
        done += block.nCount;
      });
  return done;
}

/// Copies the records from `first` on with the coordinates of `points` in place of their own; the number of
/// records written.
int64_t CopyPoints(const OvtReader& input, int64_t first, std::span<const ObjectPointRecord> points,
                   int threads, TextWriter& output) {
  return CopyRecords(
      std::ssize(points), kOvtPointBytes, kBlockPoints, threads,
      [&](int64_t done, int64_t count, char* records) {
        const int64_t got = input.ReadPoints(first + done, count, records);
        for (int64_t i = 0; i < got; ++i) {
          const ObjectPointRecord& point = points[static_cast<size_t>(done + i)];
          EncodeOvtPosition(point.X, point.Y, point.Z, records + kOvtPointBytes * i);
        }
        return got;
      },
      output);
}

/// Copies image records as they are; the number copied.
int64_t CopyMeasures(const OvtReader& input, int64_t first, int64_t count, int threads, TextWriter& output) {
  return CopyRecords(
      count, kOvtMeasureBytes, kBlockMeasures, threads,
      [&](int64_t done, int64_t n, char* records) { return input.ReadMeasures(first + done, n, records); },
      output);
}

}  // namespace

int CBundleAdjustment::WriteResultOvt() {
  const MemoryPurpose purpose("the file of the resulting points");
  const std::string besideProject = OvtPathOfProject(Paths.szProjectPath);
  if (!besideProject.empty()) Paths.szOvtPath = besideProject;
  if (Paths.szOvtPath.empty()) return 0;

  TextWriter output;
  // The doubled separator is how this one name has always been formed.
  if (!OpenOutput(Outputs.Folder, output, Paths.szOutputPath + "//OrvoResult.ovt")) {
    ++Outputs.nOutputFailureNum;
    LogPrintf("Error!Create ovt file failed!\n");
    return 0;
  }
  OvtReader input(&Inputs);
  if (!OpenWithHeader(input, Paths.szOvtPath)) {
    ++Outputs.nOutputFailureNum;
    LogPrintf("Error!Open ovt file failed!\n");
    return 0;
  }
  char header[kOvtHeaderBytes];
  EncodeOvtHeader(input.HeaderPointNum(), input.HeaderMeasureNum(), header);
  output.Write(header, sizeof header);

  ReleaseSectionTable();
  PlanSections(Images.nImageNum, Cameras.nCameraNum, input.PointNum(), input.MeasureNum(), nullptr);
  Limits.Point_Thinned_Interval = 1;
  Points.nTiePointNum = input.PointNum();  // no control points behind the last section
  int64_t written = 0;
  for (int32_t section = 0; section < Points.Sections.Count(); ++section) {
    written += WriteOvtSection(section, input, output);
    if (CheckInputs() == 0) return 0;
  }
  if (written != input.HeaderPointNum()) {
    ++Outputs.nOutputFailureNum;
    LogPrintf("Number of object point is unexpected!\n");
    return 0;
  }
  const bool whole = CopyOvtMeasures(input, output);
  ReleaseSectionTable();
  if (!CloseOutput(Outputs.Folder, output) || !whole) ++Outputs.nOutputFailureNum;
  return CheckInputs();
}

int64_t CBundleAdjustment::WriteOvtSection(int32_t section, OvtReader& input, TextWriter& output) {
  // The plan rounds the sections up and may run past the last point.
  PointSectionTable::Range& range = Points.Sections.ObjectPoints[static_cast<size_t>(section)];
  range.nLast = std::min<int64_t>(range.nLast, input.PointNum() - 1);
  if (range.Count() < 1) return 0;
  int64_t count = 0;
  ReadSectionPoints(section, Paths.szProjectPath, Paths.szGcpPath, count);
  count = std::clamp<int64_t>(count, 0,
                              std::min(range.Count(), static_cast<int64_t>(Points.pObjectPoints.size())));
  range.nLast = range.nFirst + count - 1;
  if (count > 0) {
    LogPrintf("Computing tie point 3D coordinates...\n");
    ComputeTiePointsThreaded(section);
    JudgeSectionPoints(*this, {Points.pObjectPoints.data(), static_cast<size_t>(count)});
    LogPrintf("Writing tie point 3D coordinates...\n");
    LogPrintf("Number:%" PRId64 "\n", count);
    count = CopyPoints(input, range.nFirst, {Points.pObjectPoints.data(), static_cast<size_t>(count)},
                       System.ProcessorCount(), output);
  }
  ReleaseSectionPoints();
  return count;
}

bool CBundleAdjustment::CopyOvtMeasures(OvtReader& input, TextWriter& output) {
  const int64_t total = std::max<int64_t>(input.HeaderMeasureNum(), 0);
  LogPrintf("Writing image point coordinates...\n");
  LogPrintf("Total image point number:%" PRId64 "\n", total);
  int64_t chunkNum = std::max<int64_t>(Points.Sections.Count(), 1);
  if (total / chunkNum > kMaxChunk) chunkNum = total / kMaxChunk;
  const int64_t chunk = total / chunkNum;
  int64_t copied = 0;
  for (int64_t i = 0; i < chunkNum; ++i) {
    const int64_t count = i + 1 < chunkNum ? chunk : total - chunk * i;
    LogPrintf("Image point number in section %" PRId64 ": %" PRId64 "\n", i, count);
    copied += CopyMeasures(input, chunk * i, count, System.ProcessorCount(), output);
  }
  return copied == total;
}

}  // namespace orvo
