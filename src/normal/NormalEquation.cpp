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
    const double count = nValidImagePointNum;
    fMeanResidualX = fResidualSumX / count;
    fMeanResidualY = fResidualSumY / count;
    fRmsResidualX = std::sqrt(fResidualSquareSumX / count);
    fRmsResidualY = std::sqrt(fResidualSquareSumY / count);
    WriteResidualsCpu(iteration, section);
  }
  ReleaseThreadBuffers();
  return result;
}

bool CBundleAdjustment::PlanThreads(int32_t section, std::vector<int32_t>& threadNumCache) {
  // Deliberate: Thread_Num of the settings has no say in this.
  nThreadNum = 1;
  if (bMultiThread) {
    const int processors = System.ProcessorCount();
    if (processors > 1) {
      nThreadNum = processors - 1;
      LogPrintf("CPU thread number:%d\n", nThreadNum);
    }
  }
  int32_t& cached = threadNumCache[static_cast<size_t>(section)];
  if (cached != 0) {
    nThreadNum = cached;
    return true;
  }
  // The plan goes by the free memory, of which a residual file on its way holds some.
  FinishResidualFiles();
  // A single thread has no copies that the plan could save.
  if (nThreadNum > 1 && ComputeMultithreadMemory(section) < 0) return false;
  cached = nThreadNum;
  return true;
}

int CBundleAdjustment::AllocateThreadBuffers(std::vector<SubTask>& tasks) {
  const UnknownLayout layout = Layout();
  if (!pBlockIndex) pBlockIndex = std::make_unique<BlockIndex>(pSubMatrixRows, layout);
  const auto storeSize = static_cast<size_t>(pBlockIndex->StoreSize() + kSpareBlockSize);
  if (Apply_PCG_Model && SubMatrixStore.size() != storeSize) {
    pSubMatrices.clear();
    pSubMatrices.resize(static_cast<size_t>(nSubMatrixNum));
    SubMatrixStore = ZeroedArray(storeSize);
  }
  if (!Apply_PCG_Model && !pDenseNormal) {
    pDenseNormal = ZeroedArray(static_cast<size_t>(nUnknownNum) * static_cast<size_t>(nUnknownNum), false);
  }
  pConstVector.resize(static_cast<size_t>(nUnknownNum));

  pThreadBuffers = std::make_unique<ThreadBuffers>();
  ThreadBuffers& buffers = *pThreadBuffers;
  const size_t threadNum = tasks.size();
  pPointOrders.resize(threadNum);
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

  for (const EopRecord& eop : KeptImages()) buffers.pImageTerms.push_back(MakeImageTerms(eop));
  for (const IopRecord& iop : KeptCameras()) buffers.pCameraTerms.push_back(MakeCameraTerms(iop));
  AssemblyInput& in = buffers.Input;
  in.pObjectPoints = pObjectPoints.data();
  in.pImagePoints = pImagePoints.data();
  in.nImagePointNum = std::ssize(pImagePoints);
  in.pImages = buffers.pImageTerms.data();
  in.pCameras = buffers.pCameraTerms.data();
  in.Layout = layout;
  in.Index = pBlockIndex->View();
  in.nSpareOffset = pBlockIndex->StoreSize();
  in.fControlWeight = GCP_Weight;
  in.fGrossX = Gross_Point_Threshold * fRmsResidualX;
  in.fGrossY = Gross_Point_Threshold * fRmsResidualY;

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
    if (k > 0 || !Apply_PCG_Model) buffers.pThreadBlocks[k] = ZeroedArray(storeSize, largePages);
    if (k > 0) buffers.pThreadConstVector[k].resize(static_cast<size_t>(nUnknownNum));

    AssemblyOutput& out = buffers.pThreadOutput[k];
    out.pBlocks = k > 0 || !Apply_PCG_Model ? buffers.pThreadBlocks[k].get() : SubMatrixStore.get();
    out.pConstVector = k > 0 ? buffers.pThreadConstVector[k].data() : pConstVector.data();
    out.pResiduals = buffers.pThreadResiduals[k].data();
    out.pGrossFlags = buffers.pThreadGrossFlags[k].data();
    out.pRowFlags = buffers.pThreadRowFlags[k].data();
    out.pMissing = &buffers.pThreadMissing[k];
    out.fMaxX = fMaxResidualX;
    out.fMaxY = fMaxResidualY;
    out.fMinX = fMinResidualX;
    out.fMinY = fMinResidualY;
  }
  return 1;
}

int CBundleAdjustment::BuildNormalEquationTask(int32_t thread, int32_t first, int32_t last) {
  const auto k = static_cast<size_t>(thread);
  ThreadBuffers& buffers = *pThreadBuffers;
  // The threads' running figures would share cache lines if they stood side by side.
  AssemblyOutput out = buffers.pThreadOutput[k];
  static const AssemblyKernels kernels = UsableAssemblyKernels().back();
  const std::vector<int32_t>& order = OrderOfSlice(thread, first, last);
  out.pPointOrder = order.empty() ? nullptr : order.data();
  const double minY = out.fMinY;
  kernels.ByLayout[nLayoutMode](buffers.Input, buffers.pThreadScratch[k], out, first, last);
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
  PointOrder& order = pPointOrders[static_cast<size_t>(thread)];
  if (order.nSection != nCurrentSection || order.nFirst != first || order.nLast != last) {
    order = {nCurrentSection, first, last, {}};
    // The few blocks of cameras are close by in any order.
    if (nLayoutMode != LayoutIop && IsScattered(pObjectPoints, pImagePoints, first, last)) {
      order.vPoints = OrderByImages(pObjectPoints, pImagePoints, Layout(), first, last);
    }
  }
  if (!order.vPoints.empty() && !FollowEachOther(pObjectPoints, std::ssize(pImagePoints), first, last)) {
    order.vPoints.clear();
  }
  return order.vPoints;
}

void CBundleAdjustment::MergeThread(int32_t thread) {
  const auto k = static_cast<size_t>(thread);
  ThreadBuffers& buffers = *pThreadBuffers;
  fResidualSumX += buffers.pThreadResidualSum[k][0];
  fResidualSumY += buffers.pThreadResidualSum[k][1];
  fResidualSquareSumX += buffers.pThreadResidualSquareSum[k][0];
  fResidualSquareSumY += buffers.pThreadResidualSquareSum[k][1];
  nValidImagePointNum += buffers.pThreadValidNum[k];
  const AssemblyOutput& out = buffers.pThreadOutput[k];
  fMaxResidualX = std::max(fMaxResidualX, out.fMaxX);
  fMaxResidualY = std::max(fMaxResidualY, out.fMaxY);
  fMinResidualX = std::min(fMinResidualX, out.fMinX);
  // What stands here may be above the former figure, as it is a residual in x.
  fMinResidualY = thread == 0 ? out.fMinY : std::min(fMinResidualY, out.fMinY);
  ReportMissingBlocks(thread);

  if (thread == 0) return;
  AddStore(*pBlockIndex, buffers.pThreadRowFlags[k], out.pBlocks, buffers.pThreadOutput[0].pBlocks,
           System.ProcessorCount());
  for (size_t i = 0; i < pConstVector.size(); ++i) pConstVector[i] += buffers.pThreadConstVector[k][i];
  buffers.pThreadBlocks[k] = ZeroedArray();
  std::vector<double>().swap(buffers.pThreadConstVector[k]);
}

void CBundleAdjustment::ReportMissingBlocks(int32_t thread) {
  for (const MissingBlock& block : pThreadBuffers->pThreadMissing[static_cast<size_t>(thread)]) {
    if (block.nImagePoint < 0) {
      LogPrintf("Warning!Cannot find sub matrix ID\n");
      continue;
    }
    LogPrintf("Sub matrix ID out of range:%d %d %d!\n", block.nRow, block.nCol, -1);
    if (nLayoutMode != LayoutEop && nLayoutMode != LayoutEopIop) continue;
    const ImagePointRecord& measurement = pImagePoints[static_cast<size_t>(block.nImagePoint)];
    const int64_t first = pObjectPoints[static_cast<size_t>(block.nObjectPoint)].nFirstImagePoint;
    LogPrintf("%d %d %d %lf %lf\n", static_cast<int32_t>(block.nObjectPoint),
              static_cast<int32_t>(block.nImagePoint - first), measurement.nImage,
              static_cast<double>(measurement.x), static_cast<double>(measurement.y));
  }
}

int CBundleAdjustment::FinishBlocks() {
  double* store = pThreadBuffers->pThreadOutput[0].pBlocks;
  if (!Apply_PCG_Model) {
    AddStoreToDense(*pBlockIndex, Layout(), store, pDenseNormal.get(), nUnknownNum);
    return 1;
  }
  int32_t id = 0;
  switch (AttachBlocks(*pBlockIndex, pSubMatrixRows, store, pSubMatrices, id)) {
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
