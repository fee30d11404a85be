#include "results/ResultOvt.h"

#include <algorithm>
#include <cinttypes>
#include <span>
#include <vector>

#include "base/MemoryPurpose.h"
#include "base/OutputFiles.h"
#include "base/Threads.h"
#include "block/ProjectForm.h"
#include "results/OutputFile.h"

namespace orvo {
namespace {

constexpr int64_t kBlockPoints = 8192, kBlockMeasures = 32768;  ///< about half a megabyte each
constexpr int64_t kMaxChunk = 100000000;

/// Where the records go.
struct Target {
  TextWriter& File;
  RunLog& Log;
  int nThreads;
};

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

/// The points of one section; how many were written.
int64_t WriteSection(int32_t section, const OvtSections& sections, PointStore& points, const OvtReader& input,
                     const Target& to) {
  // The plan rounds the sections up and may run past the last point.
  PointSectionTable::Range& range = points.Sections.ObjectPoints[static_cast<size_t>(section)];
  range.nLast = std::min<int64_t>(range.nLast, input.PointNum() - 1);
  if (range.Count() < 1) return 0;
  int64_t count = sections.Read(section);
  count = std::clamp<int64_t>(count, 0,
                              std::min(range.Count(), static_cast<int64_t>(points.pObjectPoints.size())));
  range.nLast = range.nFirst + count - 1;
  if (count > 0) {
    to.Log.Print("Computing tie point 3D coordinates...\n");
    sections.Intersect(section, count);
    to.Log.Print("Writing tie point 3D coordinates...\n");
    to.Log.Print("Number:%" PRId64 "\n", count);
    count = CopyPoints(input, range.nFirst, {points.pObjectPoints.data(), static_cast<size_t>(count)},
                       to.nThreads, to.File);
  }
  sections.Release();
  return count;
}

/// The image records behind the points; true when the input had all of them.
bool CopyAllMeasures(const OvtReader& input, int32_t sectionNum, const Target& to) {
  const int64_t total = std::max<int64_t>(input.HeaderMeasureNum(), 0);
  to.Log.Print("Writing image point coordinates...\n");
  to.Log.Print("Total image point number:%" PRId64 "\n", total);
  int64_t chunkNum = std::max<int64_t>(sectionNum, 1);
  if (total / chunkNum > kMaxChunk) chunkNum = total / kMaxChunk;
  const int64_t chunk = total / chunkNum;
  int64_t copied = 0;
  for (int64_t i = 0; i < chunkNum; ++i) {
    const int64_t count = i + 1 < chunkNum ? chunk : total - chunk * i;
    to.Log.Print("Image point number in section %" PRId64 ": %" PRId64 "\n", i, count);
    copied += CopyMeasures(input, chunk * i, count, to.nThreads, to.File);
  }
  return copied == total;
}

void FreeSectionTable(PointSectionTable& table) { table = PointSectionTable(); }

}  // namespace

bool WriteResultOvt(const OvtSections& sections, FilePaths& paths, PointStore& points, InputFiles& inputs,
                    OutputLedger& outputs, RunLog& log) {
  const MemoryPurpose purpose("the file of the resulting points");
  const std::string besideProject = OvtPathOfProject(paths.szProjectPath);
  if (!besideProject.empty()) paths.szOvtPath = besideProject;
  if (paths.szOvtPath.empty()) return false;

  TextWriter output;
  // The doubled separator is how this one name has always been formed.
  if (!OpenOutput(outputs.Folder, output, paths.szOutputPath + "//OrvoResult.ovt")) {
    ++outputs.nOutputFailureNum;
    log.Print("Error!Create ovt file failed!\n");
    return false;
  }
  OvtReader input(&inputs);
  if (!OpenWithHeader(input, paths.szOvtPath)) {
    ++outputs.nOutputFailureNum;
    log.Print("Error!Open ovt file failed!\n");
    return false;
  }
  char header[kOvtHeaderBytes];
  EncodeOvtHeader(input.HeaderPointNum(), input.HeaderMeasureNum(), header);
  output.Write(header, sizeof header);

  FreeSectionTable(points.Sections);
  sections.Plan(input.PointNum(), input.MeasureNum());
  points.nTiePointNum = input.PointNum();  // no control points behind the last section
  const Target to{output, log, sections.nThreads};
  int64_t written = 0;
  for (int32_t section = 0; section < points.Sections.Count(); ++section) {
    written += WriteSection(section, sections, points, input, to);
    if (!sections.InputsHold()) return false;
  }
  if (written != input.HeaderPointNum()) {
    ++outputs.nOutputFailureNum;
    log.Print("Number of object point is unexpected!\n");
    return false;
  }
  const bool whole = CopyAllMeasures(input, points.Sections.Count(), to);
  FreeSectionTable(points.Sections);
  if (!CloseOutput(outputs.Folder, output) || !whole) ++outputs.nOutputFailureNum;
  return sections.InputsHold();
}

}  // namespace orvo
