#include "info/MemoryFigures.h"

#include <algorithm>

#include "block/SectionPlan.h"
#include "gpu/GpuSections.h"
#include "normal/BlockIndex.h"
#include "normal/BlockPattern.h"
#include "records/Records.h"

namespace orvo::info {
namespace {

/// Of a measurement: two residuals and its flag, twice while their file is written beside the run.
constexpr int64_t kResidualBytes = 24;
constexpr size_t kPiecePoints = 1 << 16;

/// The records of a run of points, as far as the pattern needs them.
void FillRecords(const SurveyBlock& block, const SurveyPoints& points, size_t begin, size_t end,
                 std::vector<ObjectPointRecord>& objects, std::vector<ImagePointRecord>& measurements) {
  objects.clear();
  measurements.clear();
  for (size_t k = begin; k < end; ++k) {
    ObjectPointRecord& object = objects.emplace_back();
    object.nFirstImagePoint = std::ssize(measurements);
    for (const SurveyMeasurement& measurement : points.Of(points.Points[k])) {
      ImagePointRecord& record = measurements.emplace_back();
      record.nImage = -1;
      record.nCamera = -1;
      if (measurement.nImage < 0 || measurement.nImage >= std::ssize(block.Images)) continue;
      record.nImage = measurement.nImage;
      record.nCamera = block.Images[static_cast<size_t>(measurement.nImage)].nCamera;
    }
    object.nImagePointNum = static_cast<int32_t>(std::ssize(measurements) - object.nFirstImagePoint);
  }
}

std::vector<SubMatrixRow> PatternOf(const SurveyBlock& block, const UnknownLayout& layout, int64_t rowNum) {
  std::vector<SubMatrixRow> rows(static_cast<size_t>(rowNum));
  std::vector<ObjectPointRecord> objects;
  std::vector<ImagePointRecord> measurements;
  for (const SurveyPoints* points : {&block.Tie, &block.Control}) {
    for (size_t begin = 0; begin < points->Points.size(); begin += kPiecePoints) {
      const size_t end = std::min(begin + kPiecePoints, points->Points.size());
      FillRecords(block, *points, begin, end, objects, measurements);
      AddPatternOfPoints(objects, measurements, layout, rows);
    }
  }
  return rows;
}

}  // namespace

MemoryFigures MemoryOf(const SurveyBlock& block, int threads) {
  MemoryFigures memory;
  const auto images = static_cast<int32_t>(block.Images.size());
  const auto cameras = static_cast<int32_t>(block.Cameras.size());
  memory.Layout = images == cameras ? LayoutMergedEopIop : LayoutEopIop;
  const UnknownLayout layout{memory.Layout, images, cameras, 0, cameras};
  const auto runs = layout.Runs(0);
  memory.Sizes = SizesOf(runs);
  std::vector<SubMatrixRow> rows = PatternOf(block, layout, memory.Sizes.nBlockRows);
  memory.nBlocks = NumberBlocks(rows);
  memory.nStoreBytes = 8 * BlockIndex(rows, layout, 0).StoreSize();

  const int64_t points = std::ssize(block.Tie.Points) + std::ssize(block.Control.Points);
  const int64_t measurements = std::ssize(block.Tie.Measurements) + std::ssize(block.Control.Measurements);
  memory.nRecordBytes =
      EstimateBlockBytes(images, cameras, points, measurements) + kResidualBytes * measurements;
  const auto common = static_cast<double>(memory.nRecordBytes) +
                      static_cast<double>(memory.nStoreBytes) * std::max(threads, 1);
  const auto unknowns = static_cast<double>(memory.Sizes.nUnknowns);
  memory.dDenseBytes = common + 8 * unknowns * unknowns;
  // Right side, solution, and the vectors of the iterative solver with its preconditioner.
  memory.dSparseBytes = common + 8 * (6 * unknowns + static_cast<double>(memory.Sizes.nDiagonal));
  gpu::FixedSizes fixed;
  fixed.nUnknownNum = static_cast<int32_t>(memory.Sizes.nUnknowns);
  fixed.nDiagUpperSize = static_cast<int32_t>(memory.Sizes.nDiagonalUpper);
  fixed.nImageNum = images;
  fixed.nCameraNum = cameras;
  memory.dDeviceBytes = gpu::FixedDeviceBytes(fixed) + gpu::PointDeviceBytes(points, measurements);
  return memory;
}

}  // namespace orvo::info
