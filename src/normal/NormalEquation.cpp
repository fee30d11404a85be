// The threaded assembly of a section's reduced normal equations.
#include <algorithm>
#include <cmath>
#include <system_error>
#include <thread>

#include "base/LargeArray.h"
#include "base/MemoryPurpose.h"
#include "normal/BlockIndex.h"
#include "normal/BlockStore.h"
#include "normal/PointOrder.h"
#include "normal/ThreadBuffers.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::BuildNormalEquation(int32_t iteration, int32_t section,
                                           std::vector<int32_t>& threadNumCache) {
  const MemoryPurpose purpose("the normal equations");
  std::vector<SubTask> tasks;
  if (!PlanThreads(section, threadNumCache) || SplitSubTasks(section, tasks) == -1) {
    LogPrintf("Compute multithread memory failed!\n");
    return -1;
  }
  AllocateThreadBuffers(tasks);

  std::vector<std::thread> threads(tasks.size());
  for (size_t k = 0; k < tasks.size(); ++k) {
    const SubTask& task = tasks[k];
    const auto work = [&task] {
      task.pOwner->BuildNormalEquationTask(task.nThread, task.nFirst, task.nLast);
    };
    // A single task needs no thread beside the waiting one, and where the system gives none the work is done
    // here.
    if (tasks.size() > 1) {
      try {
        threads[k] = std::thread(work);
        continue;
      } catch (const std::system_error&) {
      }
    }
    work();
  }
  for (size_t k = 0; k < tasks.size(); ++k) {
    if (threads[k].joinable()) threads[k].join();
    LogPrintf("Sub task %d completed\n", static_cast<int32_t>(k));
    MergeThread(static_cast<int32_t>(k));
  }
  const int result = FinishBlocks();
  if (result == 1) {
    // Without any valid measurement these are not numbers, no gross test is true then, and everything counts
    // again.
    const double count = Residuals.nValidImagePointNum;
    Residuals.fMeanResidualX = Residuals.fResidualSumX / count;
    Residuals.fMeanResidualY = Residuals.fResidualSumY / count;
    Residuals.fRmsResidualX = std::sqrt(Residuals.fResidualSquareSumX / count);
    Residuals.fRmsResidualY = std::sqrt(Residuals.fResidualSquareSumY / count);
    WriteResidualsCpu(iteration, section);
  }
  ReleaseThreadBuffers();
  return result;
}

bool CBundleAdjustment::PlanThreads(int32_t section, std::vector<int32_t>& threadNumCache) {
  // Deliberate: Thread_Num of the settings has no say in this.
  Limits.nThreadNum = 1;
  if (Settings.bMultiThread) {
    const int processors = System.ProcessorCount();
    if (processors > 1) {
      Limits.nThreadNum = processors - 1;
      LogPrintf("CPU thread number:%d\n", Limits.nThreadNum);
    }
  }
  int32_t& cached = threadNumCache[static_cast<size_t>(section)];
  if (cached != 0) {
    Limits.nThreadNum = cached;
    return true;
  }
  // The plan goes by the free memory, of which a residual file on its way holds some.
  FinishResidualFiles();
  // A single thread has no copies that the plan could save.
  if (Limits.nThreadNum > 1 && ComputeMultithreadMemory(section) < 0) return false;
  cached = Limits.nThreadNum;
  return true;
}

int CBundleAdjustment::AllocateThreadBuffers(std::vector<SubTask>& tasks) {
  const UnknownLayout layout = Layout();
  if (!Normal.pBlockIndex) Normal.pBlockIndex = std::make_unique<BlockIndex>(Normal.pSubMatrixRows, layout);
  const auto storeSize = static_cast<size_t>(Normal.pBlockIndex->StoreSize() + kSpareBlockSize);
  if (Limits.Apply_PCG_Model && Normal.SubMatrixStore.size() != storeSize) {
    Normal.pSubMatrices.clear();
    Normal.pSubMatrices.resize(static_cast<size_t>(Normal.nSubMatrixNum));
    Normal.SubMatrixStore = ZeroedArray(storeSize);
  }
  if (!Limits.Apply_PCG_Model && !Normal.pDenseNormal) {
    Normal.pDenseNormal = ZeroedArray(
        static_cast<size_t>(Unknowns.nUnknownNum) * static_cast<size_t>(Unknowns.nUnknownNum), false);
  }
  Normal.pConstVector.resize(static_cast<size_t>(Unknowns.nUnknownNum));

  Normal.pThreadBuffers = std::make_unique<ThreadBuffers>();
  ThreadBuffers& buffers = *Normal.pThreadBuffers;
  const size_t threadNum = tasks.size();
  Normal.pPointOrders.resize(threadNum);
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

  for (const EopRecord& eop : Images.Kept()) buffers.pImageTerms.push_back(MakeImageTerms(eop));
  for (const IopRecord& iop : Cameras.Usable()) buffers.pCameraTerms.push_back(MakeCameraTerms(iop));
  AssemblyInput& in = buffers.Input;
  in.pObjectPoints = Points.pObjectPoints.data();
  in.pImagePoints = Points.pImagePoints.data();
  in.nImagePointNum = std::ssize(Points.pImagePoints);
  in.pImages = buffers.pImageTerms.data();
  in.pCameras = buffers.pCameraTerms.data();
  in.Layout = layout;
  in.Index = Normal.pBlockIndex->View();
  in.nSpareOffset = Normal.pBlockIndex->StoreSize();
  in.fControlWeight = Settings.GCP_Weight;
  in.fGrossX = Settings.Gross_Point_Threshold * Residuals.fRmsResidualX;
  in.fGrossY = Settings.Gross_Point_Threshold * Residuals.fRmsResidualY;

  // A private copy may stay half untouched: large pages are for where there is room to spare.
  const bool largePages = static_cast<double>(threadNum) * static_cast<double>(storeSize) * 16 <
                          static_cast<double>(System.FreePhysicalBytes());
  for (size_t k = 0; k < threadNum; ++k) {
    tasks[k].pOwner = this;
    const auto measurementNum = static_cast<size_t>(tasks[k].nMeasurementNum);
    AssignZerosLarge(buffers.pThreadGrossFlags[k], measurementNum);
    AssignZerosLarge(buffers.pThreadResiduals[k], 2 * measurementNum);
    buffers.pThreadRowFlags[k].resize(static_cast<size_t>(layout.PointRows()));
    buffers.pThreadScratch.emplace_back(tasks[k].nLargestPoint, layout);
    if (k > 0 || !Limits.Apply_PCG_Model) buffers.pThreadBlocks[k] = ZeroedArray(storeSize, largePages);
    if (k > 0) buffers.pThreadConstVector[k].resize(static_cast<size_t>(Unknowns.nUnknownNum));

    AssemblyOutput& out = buffers.pThreadOutput[k];
    out.pBlocks =
        k > 0 || !Limits.Apply_PCG_Model ? buffers.pThreadBlocks[k].get() : Normal.SubMatrixStore.get();
    out.pConstVector = k > 0 ? buffers.pThreadConstVector[k].data() : Normal.pConstVector.data();
    out.pResiduals = buffers.pThreadResiduals[k].data();
    out.pGrossFlags = buffers.pThreadGrossFlags[k].data();
    out.pRowFlags = buffers.pThreadRowFlags[k].data();
    out.pMissing = &buffers.pThreadMissing[k];
    out.fMaxX = Residuals.fMaxResidualX;
    out.fMaxY = Residuals.fMaxResidualY;
    out.fMinX = Residuals.fMinResidualX;
    out.fMinY = Residuals.fMinResidualY;
  }
  return 1;
}

int CBundleAdjustment::BuildNormalEquationTask(int32_t thread, int32_t first, int32_t last) {
  const auto k = static_cast<size_t>(thread);
  ThreadBuffers& buffers = *Normal.pThreadBuffers;
  // The threads' running figures would share cache lines if they stood side by side.
  AssemblyOutput out = buffers.pThreadOutput[k];
  static const AssemblyKernels kernels = UsableAssemblyKernels().back();
  const std::vector<int32_t>& order = OrderOfSlice(thread, first, last);
  out.pPointOrder = order.empty() ? nullptr : order.data();
  const double minY = out.fMinY;
  kernels.ByLayout[Unknowns.nLayoutMode](buffers.Input, buffers.pThreadScratch[k], out, first, last);
  if (out.pPointOrder) {
    out.fMinY = SmallestResidualY(buffers.Input, first, last, out.pResiduals, out.pGrossFlags, minY);
    std::ranges::stable_sort(buffers.pThreadMissing[k], {}, &MissingBlock::nObjectPoint);
  }
  buffers.pThreadOutput[k] = out;
  buffers.pThreadPointNum[k] = static_cast<int32_t>(out.nPointNum);
  buffers.pThreadValidNum[k] = static_cast<int32_t>(out.nPointNum - out.nGrossNum - out.nLeftOutNum);
  buffers.pThreadResidualSum[k] = {out.fSumX, out.fSumY};
  buffers.pThreadResidualSquareSum[k] = {out.fSquareSumX, out.fSquareSumY};
  return 1;
}

const std::vector<int32_t>& CBundleAdjustment::OrderOfSlice(int32_t thread, int32_t first, int32_t last) {
  PointOrder& order = Normal.pPointOrders[static_cast<size_t>(thread)];
  if (order.nSection != Points.nCurrentSection || order.nFirst != first || order.nLast != last) {
    order = {Points.nCurrentSection, first, last, {}};
    // The few blocks of cameras are close by in any order.
    if (Unknowns.nLayoutMode != LayoutIop &&
        IsScattered(Points.pObjectPoints, Points.pImagePoints, first, last)) {
      order.vPoints = OrderByImages(Points.pObjectPoints, Points.pImagePoints, Layout(), first, last);
    }
  }
  if (!order.vPoints.empty() &&
      !FollowEachOther(Points.pObjectPoints, std::ssize(Points.pImagePoints), first, last)) {
    order.vPoints.clear();
  }
  return order.vPoints;
}

void CBundleAdjustment::MergeThread(int32_t thread) {
  const auto k = static_cast<size_t>(thread);
  ThreadBuffers& buffers = *Normal.pThreadBuffers;
  Residuals.fResidualSumX += buffers.pThreadResidualSum[k][0];
  Residuals.fResidualSumY += buffers.pThreadResidualSum[k][1];
  Residuals.fResidualSquareSumX += buffers.pThreadResidualSquareSum[k][0];
  Residuals.fResidualSquareSumY += buffers.pThreadResidualSquareSum[k][1];
  Residuals.nValidImagePointNum += buffers.pThreadValidNum[k];
  const AssemblyOutput& out = buffers.pThreadOutput[k];
  Residuals.fMaxResidualX = std::max(Residuals.fMaxResidualX, out.fMaxX);
  Residuals.fMaxResidualY = std::max(Residuals.fMaxResidualY, out.fMaxY);
  Residuals.fMinResidualX = std::min(Residuals.fMinResidualX, out.fMinX);
  // What stands here may be above the former figure, as it is a residual in x.
  Residuals.fMinResidualY = thread == 0 ? out.fMinY : std::min(Residuals.fMinResidualY, out.fMinY);
  ReportMissingBlocks(thread);

  if (thread == 0) return;
  AddStore(*Normal.pBlockIndex, buffers.pThreadRowFlags[k], out.pBlocks, buffers.pThreadOutput[0].pBlocks,
           System.ProcessorCount());
  for (size_t i = 0; i < Normal.pConstVector.size(); ++i)
    Normal.pConstVector[i] += buffers.pThreadConstVector[k][i];
  buffers.pThreadBlocks[k] = ZeroedArray();
  std::vector<double>().swap(buffers.pThreadConstVector[k]);
}

void CBundleAdjustment::ReportMissingBlocks(int32_t thread) {
  for (const MissingBlock& block : Normal.pThreadBuffers->pThreadMissing[static_cast<size_t>(thread)]) {
    if (block.nImagePoint < 0) {
      LogPrintf("Warning!Cannot find sub matrix ID\n");
      continue;
    }
    LogPrintf("Sub matrix ID out of range:%d %d %d!\n", block.nRow, block.nCol, -1);
    if (Unknowns.nLayoutMode != LayoutEop && Unknowns.nLayoutMode != LayoutEopIop) continue;
    const ImagePointRecord& measurement = Points.pImagePoints[static_cast<size_t>(block.nImagePoint)];
    const int64_t first = Points.pObjectPoints[static_cast<size_t>(block.nObjectPoint)].nFirstImagePoint;
    LogPrintf("%d %d %d %lf %lf\n", static_cast<int32_t>(block.nObjectPoint),
              static_cast<int32_t>(block.nImagePoint - first), measurement.nImage,
              static_cast<double>(measurement.x), static_cast<double>(measurement.y));
  }
}

int CBundleAdjustment::FinishBlocks() {
  double* store = Normal.pThreadBuffers->pThreadOutput[0].pBlocks;
  if (!Limits.Apply_PCG_Model) {
    AddStoreToDense(*Normal.pBlockIndex, Layout(), store, Normal.pDenseNormal.get(), Unknowns.nUnknownNum);
    return 1;
  }
  int32_t id = 0;
  switch (AttachBlocks(*Normal.pBlockIndex, Normal.pSubMatrixRows, store, Normal.pSubMatrices, id)) {
    case AttachFault::Size:
      LogPrintf("Sub matrix %d size inconsictency!\n", id);
      return 0;
    case AttachFault::Position:
      LogPrintf("Sub matrix %d start position invalid!\n", id);
      return 0;
    case AttachFault::None:
      break;
  }
  return 1;
}

}  // namespace orvo
