#include "normal/SectionAssembly.h"

#include <algorithm>
#include <cmath>

#include "base/LargeArray.h"
#include "normal/BlockIndex.h"
#include "normal/BlockStore.h"
#include "normal/PointOrder.h"
#include "normal/ThreadBuffers.h"

namespace orvo {
namespace {

size_t StoreSize(const NormalEquations& normal) {
  return static_cast<size_t>(normal.pBlockIndex->StoreSize() + kSpareBlockSize);
}

void MakeMainMatrix(const AssemblyStart& start, NormalEquations& normal) {
  if (!normal.pBlockIndex)
    normal.pBlockIndex = std::make_unique<BlockIndex>(normal.pSubMatrixRows, start.Layout);
  if (start.bSparse && normal.SubMatrixStore.size() != StoreSize(normal)) {
    normal.pSubMatrices.clear();
    normal.pSubMatrices.resize(static_cast<size_t>(normal.nSubMatrixNum));
    normal.SubMatrixStore = ZeroedArray(StoreSize(normal));
  }
  const auto order = static_cast<size_t>(start.nUnknownNum);
  if (!start.bSparse && !normal.pDenseNormal) normal.pDenseNormal = ZeroedArray(order * order, false);
  normal.pConstVector.resize(order);
}

void ResizeBuffers(size_t threadNum, ThreadBuffers& buffers) {
  buffers.pThreadResidualSum.resize(threadNum);
  buffers.pThreadResidualSquareSum.resize(threadNum);
  buffers.pThreadValidNum.resize(threadNum);
  buffers.pThreadPointNum.resize(threadNum);
  buffers.pThreadGrossFlags.resize(threadNum);
  buffers.pThreadResiduals.resize(threadNum);
  buffers.pThreadBlocks.resize(threadNum);
  buffers.pThreadRowFlags.resize(threadNum);
  buffers.pThreadConstVector.resize(threadNum);
  buffers.pThreadMissing.resize(threadNum);
  buffers.pThreadOutput.resize(threadNum);
}

void MakeInput(const AssemblyStart& start, const BlockIndex& index, ThreadBuffers& buffers) {
  for (const EopRecord& eop : start.Images.Kept()) buffers.pImageTerms.push_back(MakeImageTerms(eop));
  for (const IopRecord& iop : start.Cameras.Usable()) buffers.pCameraTerms.push_back(MakeCameraTerms(iop));
  AssemblyInput& in = buffers.Input;
  in.pObjectPoints = start.Points.pObjectPoints.data();
  in.pImagePoints = start.Points.pImagePoints.data();
  in.nImagePointNum = std::ssize(start.Points.pImagePoints);
  in.pImages = buffers.pImageTerms.data();
  in.pCameras = buffers.pCameraTerms.data();
  in.Layout = start.Layout;
  in.Index = index.View();
  in.nSpareOffset = index.StoreSize();
  in.fControlWeight = start.fControlWeight;
  in.fGrossX = start.fGrossThreshold * start.Residuals.fRmsResidualX;
  in.fGrossY = start.fGrossThreshold * start.Residuals.fRmsResidualY;
}

/// In the sparse form thread 0 adds to the main matrix; its constant vector is always the main one.
void MakeOutput(const AssemblyStart& start, const SubTask& task, size_t k, bool largePages,
                NormalEquations& normal) {
  ThreadBuffers& buffers = *normal.pThreadBuffers;
  const auto measurementNum = static_cast<size_t>(task.nMeasurementNum);
  AssignZerosLarge(buffers.pThreadGrossFlags[k], measurementNum);
  AssignZerosLarge(buffers.pThreadResiduals[k], 2 * measurementNum);
  buffers.pThreadRowFlags[k].resize(static_cast<size_t>(start.Layout.PointRows()));
  buffers.pThreadScratch.emplace_back(task.nLargestPoint, start.Layout);
  const bool ownBlocks = k > 0 || !start.bSparse;
  if (ownBlocks) buffers.pThreadBlocks[k] = ZeroedArray(StoreSize(normal), largePages);
  if (k > 0) buffers.pThreadConstVector[k].resize(static_cast<size_t>(start.nUnknownNum));

  AssemblyOutput& out = buffers.pThreadOutput[k];
  out.pBlocks = ownBlocks ? buffers.pThreadBlocks[k].get() : normal.SubMatrixStore.get();
  out.pConstVector = k > 0 ? buffers.pThreadConstVector[k].data() : normal.pConstVector.data();
  out.pResiduals = buffers.pThreadResiduals[k].data();
  out.pGrossFlags = buffers.pThreadGrossFlags[k].data();
  out.pRowFlags = buffers.pThreadRowFlags[k].data();
  out.pMissing = &buffers.pThreadMissing[k];
  out.fMaxX = start.Residuals.fMaxResidualX;
  out.fMaxY = start.Residuals.fMaxResidualY;
  out.fMinX = start.Residuals.fMinResidualX;
  out.fMinY = start.Residuals.fMinResidualY;
}

/// The order in which a thread takes its points; empty: as they come.
const std::vector<int32_t>& OrderOfSlice(const PointStore& points, const UnknownLayout& layout, int32_t first,
                                         int32_t last, PointOrder& order) {
  if (order.nSection != points.nCurrentSection || order.nFirst != first || order.nLast != last) {
    order = {points.nCurrentSection, first, last, {}};
    // The few blocks of cameras are close by in any order.
    if (layout.nLayoutMode != LayoutIop &&
        IsScattered(points.pObjectPoints, points.pImagePoints, first, last)) {
      order.vPoints = OrderByImages(points.pObjectPoints, points.pImagePoints, layout, first, last);
    }
  }
  if (!order.vPoints.empty() &&
      !FollowEachOther(points.pObjectPoints, std::ssize(points.pImagePoints), first, last)) {
    order.vPoints.clear();
  }
  return order.vPoints;
}

}  // namespace

void AllocateThreads(const AssemblyStart& start, std::span<const SubTask> tasks, NormalEquations& normal) {
  MakeMainMatrix(start, normal);
  normal.pThreadBuffers = std::make_unique<ThreadBuffers>();
  normal.pPointOrders.resize(tasks.size());
  ResizeBuffers(tasks.size(), *normal.pThreadBuffers);
  MakeInput(start, *normal.pBlockIndex, *normal.pThreadBuffers);
  // A private copy may stay half untouched: large pages are for where there is room to spare.
  const bool largePages = static_cast<double>(tasks.size()) * static_cast<double>(StoreSize(normal)) * 16 <
                          static_cast<double>(start.nFreeBytes);
  for (size_t k = 0; k < tasks.size(); ++k) MakeOutput(start, tasks[k], k, largePages, normal);
}

void AssembleTask(const PointStore& points, int32_t thread, int32_t first, int32_t last,
                  NormalEquations& normal) {
  const auto k = static_cast<size_t>(thread);
  ThreadBuffers& buffers = *normal.pThreadBuffers;
  // The threads' running figures would share cache lines if they stood side by side.
  AssemblyOutput out = buffers.pThreadOutput[k];
  static const AssemblyKernels kernels = UsableAssemblyKernels().back();
  const std::vector<int32_t>& order =
      OrderOfSlice(points, buffers.Input.Layout, first, last, normal.pPointOrders[k]);
  out.pPointOrder = order.empty() ? nullptr : order.data();
  const double minY = out.fMinY;
  kernels.ByLayout[buffers.Input.Layout.nLayoutMode](buffers.Input, buffers.pThreadScratch[k], out, first,
                                                     last);
  if (out.pPointOrder) {
    out.fMinY = SmallestResidualY(buffers.Input, first, last, out.pResiduals, out.pGrossFlags, minY);
    std::ranges::stable_sort(buffers.pThreadMissing[k], {}, &MissingBlock::nObjectPoint);
  }
  buffers.pThreadOutput[k] = out;
  buffers.pThreadPointNum[k] = static_cast<int32_t>(out.nPointNum);
  buffers.pThreadValidNum[k] = static_cast<int32_t>(out.nPointNum - out.nGrossNum - out.nLeftOutNum);
  buffers.pThreadResidualSum[k] = {out.fSumX, out.fSumY};
  buffers.pThreadResidualSquareSum[k] = {out.fSquareSumX, out.fSquareSumY};
}

void MergeThread(int32_t thread, int processors, NormalEquations& normal, ResidualStatistics& residuals) {
  const auto k = static_cast<size_t>(thread);
  ThreadBuffers& buffers = *normal.pThreadBuffers;
  residuals.fResidualSumX += buffers.pThreadResidualSum[k][0];
  residuals.fResidualSumY += buffers.pThreadResidualSum[k][1];
  residuals.fResidualSquareSumX += buffers.pThreadResidualSquareSum[k][0];
  residuals.fResidualSquareSumY += buffers.pThreadResidualSquareSum[k][1];
  residuals.nValidImagePointNum += buffers.pThreadValidNum[k];
  const AssemblyOutput& out = buffers.pThreadOutput[k];
  residuals.nGrossImagePointNum += out.nGrossNum;
  residuals.fMaxResidualX = std::max(residuals.fMaxResidualX, out.fMaxX);
  residuals.fMaxResidualY = std::max(residuals.fMaxResidualY, out.fMaxY);
  residuals.fMinResidualX = std::min(residuals.fMinResidualX, out.fMinX);
  // What stands here may be above the former figure, as it is a residual in x.
  residuals.fMinResidualY = thread == 0 ? out.fMinY : std::min(residuals.fMinResidualY, out.fMinY);

  if (thread == 0) return;
  AddStore(*normal.pBlockIndex, buffers.pThreadRowFlags[k], out.pBlocks, buffers.pThreadOutput[0].pBlocks,
           processors);
  for (size_t i = 0; i < normal.pConstVector.size(); ++i)
    normal.pConstVector[i] += buffers.pThreadConstVector[k][i];
  buffers.pThreadBlocks[k] = ZeroedArray();
  std::vector<double>().swap(buffers.pThreadConstVector[k]);
}

void ReportMissingBlocks(const PointStore& points, int32_t layoutMode, std::span<const MissingBlock> missing,
                         RunLog& log) {
  for (const MissingBlock& block : missing) {
    if (block.nImagePoint < 0) {
      log.Print("Warning!Cannot find sub matrix ID\n");
      continue;
    }
    log.Print("Sub matrix ID out of range:%d %d %d!\n", block.nRow, block.nCol, -1);
    if (layoutMode != LayoutEop && layoutMode != LayoutEopIop) continue;
    const ImagePointRecord& measurement = points.pImagePoints[static_cast<size_t>(block.nImagePoint)];
    const int64_t first = points.pObjectPoints[static_cast<size_t>(block.nObjectPoint)].nFirstImagePoint;
    log.Print("%d %d %d %lf %lf\n", static_cast<int32_t>(block.nObjectPoint),
              static_cast<int32_t>(block.nImagePoint - first), measurement.nImage,
              static_cast<double>(measurement.x), static_cast<double>(measurement.y));
  }
}

int FinishBlocks(const UnknownLayout& layout, int32_t unknownNum, bool sparse, NormalEquations& normal,
                 RunLog& log) {
  double* store = normal.pThreadBuffers->pThreadOutput[0].pBlocks;
  if (!sparse) {
    AddStoreToDense(*normal.pBlockIndex, layout, store, normal.pDenseNormal.get(), unknownNum);
    return 1;
  }
  int32_t id = 0;
  switch (AttachBlocks(*normal.pBlockIndex, normal.pSubMatrixRows, store, normal.pSubMatrices, id)) {
    case AttachFault::Size:
      log.Print("Sub matrix %d size inconsictency!\n", id);
      return 0;
    case AttachFault::Position:
      log.Print("Sub matrix %d start position invalid!\n", id);
      return 0;
    case AttachFault::None:
      break;
  }
  return 1;
}

void UpdateMeans(ResidualStatistics& residuals) {
  // Without any valid measurement these are not numbers, no gross test is true then, and everything counts
  // again.
  const double count = residuals.nValidImagePointNum;
  residuals.fMeanResidualX = residuals.fResidualSumX / count;
  residuals.fMeanResidualY = residuals.fResidualSumY / count;
  residuals.fRmsResidualX = std::sqrt(residuals.fResidualSquareSumX / count);
  residuals.fRmsResidualY = std::sqrt(residuals.fResidualSquareSumY / count);
}

}  // namespace orvo
