// The reduced normal equations: pattern, assembly, POS observations, damping.
#include "base/MemoryPurpose.h"
#include "base/Threads.h"
#include "normal/Accumulate.h"
#include "normal/BlockLookup.h"
#include "normal/BlockPattern.h"
#include "normal/DampDiagonal.h"
#include "normal/Damping.h"
#include "normal/PatternWalk.h"
#include "normal/PosEquations.h"
#include "normal/SectionAssembly.h"
#include "normal/SubTasks.h"
#include "records/BlockLayout.h"
#include "results/ResidualWriter.h"
#include "run/BundleAdjustment.h"
#include "verdict/RunTrack.h"

namespace orvo {

UnknownLayout CBundleAdjustment::Layout() const { return LayoutOf(Unknowns, Images, Cameras); }

int CBundleAdjustment::ComputeSubMatrixPosition() {
  const MemoryPurpose purpose("the pattern of the normal equations");
  const bool several = Points.Sections.Count() > 1;
  const SectionAccess reading{
      [&](int32_t section) { return (!several || ReadSectionPoints(section) != 0) && CheckInputs() != 0; },
      [&] {
        if (several) ReleaseSectionPoints();
      }};
  const PatternOutcome outcome = AddPatternOfSections(Points, Layout(), reading, Normal);
  if (outcome == PatternOutcome::NoPoints) LogPrintf("There is no image point!\n");
  if (outcome != PatternOutcome::Found) return 0;
  if (Limits.UsesPos()) {
    int32_t outside = AddPosPattern(Images, Layout(), Unknowns.nBlockRowNum, Normal);
    for (; outside > 0; --outside) LogPrintf("Error!Sub-normal-matrix ID out of range!\n");
  }
  Normal.nSubMatrixNum = static_cast<int32_t>(NumberBlocks(Normal.pSubMatrixRows));
  if (!Limits.Apply_PCG_Model) return 1;

  LogPrintf("Total sub matrix number:%d\n", Normal.nSubMatrixNum);
  if (!BlockRecordsFit(Normal.nSubMatrixNum, System.FreePhysicalBytes())) {
    LogPrintf("Error!Not enough memory for sparse block-matrix!\n");
    return 0;
  }
  Normal.pSubMatrices.clear();
  Normal.pSubMatrices.resize(static_cast<size_t>(Normal.nSubMatrixNum));
  return 1;
}

int CBundleAdjustment::AddSubMatrixPosition(int32_t a, int32_t b) {
  if (AddBlockPosition(a, b, Unknowns.nBlockRowNum, Normal)) return 1;
  LogPrintf("Error!Sub-normal-matrix ID out of range!\n");
  return 0;
}

int32_t CBundleAdjustment::GetSubMatrixId(int32_t row, int32_t col) const {
  return FindBlockId(Normal.pSubMatrixRows, row, col);
}

void CBundleAdjustment::GetUnknownPosition(int32_t row, int32_t col, int32_t& rowPosition,
                                           int32_t& colPosition) const {
  rowPosition = Layout().Position(row);
  colPosition = Layout().Position(col);
}

int CBundleAdjustment::AddToSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row,
                                      int32_t col, std::vector<SubMatrix>& target) {
  return AddBlock({source, rows, cols}, row, col,
                  {Normal.pSubMatrixRows, Unknowns.nBlockRowNum, Normal.nSubMatrixNum}, target, Log);
}

int CBundleAdjustment::SubtractFromSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row,
                                             int32_t col, std::vector<SubMatrix>& target) {
  return SubtractBlock({source, rows, cols}, row, col,
                       {Normal.pSubMatrixRows, Unknowns.nBlockRowNum, Normal.nSubMatrixNum}, target, Log);
}

int CBundleAdjustment::AddToDenseMatrix(const double* source, int32_t rows, int32_t cols, int32_t rowStart,
                                        int32_t colStart, double* target, int32_t targetRows,
                                        int32_t targetCols) {
  return AddDense({source, rows, cols}, rowStart, colStart, {target, targetRows, targetCols}, Log);
}

int CBundleAdjustment::SubtractFromDenseMatrix(const double* source, int32_t rows, int32_t cols,
                                               int32_t rowStart, int32_t colStart, double* target,
                                               int32_t targetRows, int32_t targetCols) {
  return SubtractDense({source, rows, cols}, rowStart, colStart, {target, targetRows, targetCols}, Log);
}

int CBundleAdjustment::ComputeMultithreadMemory(int32_t section) {
  const int32_t planned = Limits.nThreadNum;
  const SectionPattern pattern{section,  Points.InMemory(section), Points.pImagePoints,
                               Layout(), Normal.pSubMatrixRows,    Normal.nSubMatrixNum};
  const int32_t fitting = FitThreadNum(pattern, planned, System, Log);
  if (fitting == 0) return -1;
  Limits.nThreadNum = fitting;
  return fitting == planned ? 1 : 0;
}

int CBundleAdjustment::SplitSubTasks(int32_t section, std::vector<SubTask>& tasks) {
  tasks = SplitPoints(Points, section, Limits.nThreadNum, System.ProcessorCount(), Log);
  return 1;
}

int CBundleAdjustment::BuildNormalEquation(int32_t iteration, int32_t section,
                                           std::vector<int32_t>& threadNumCache) {
  const MemoryPurpose purpose("the normal equations");
  if (pResidualWriter) pResidualWriter->TakeKept();
  // Deliberate: Thread_Num of the settings has no say in this.
  Limits.nThreadNum = AssemblyThreadNum(Settings.bMultiThread, Limits.bAllProcessors ? 0 : 1, System, Log);
  int32_t& cached = threadNumCache[static_cast<size_t>(section)];
  if (cached == 0) {
    // The plan goes by the free memory, of which a residual file on its way holds some.
    FinishResidualFiles();
    // A single thread has no copies that the plan could save.
    if (Limits.nThreadNum > 1 && ComputeMultithreadMemory(section) < 0) {
      LogPrintf("Compute multithread memory failed!\n");
      return -1;
    }
    cached = Limits.nThreadNum;
  }
  Limits.nThreadNum = cached;
  std::vector<SubTask> tasks;
  SplitSubTasks(section, tasks);
  AllocateThreadBuffers(tasks);
  RunTasks(
      static_cast<int32_t>(tasks.size()),
      [&](int32_t k) {
        const SubTask& task = tasks[static_cast<size_t>(k)];
        BuildNormalEquationTask(task.nThread, task.nFirst, task.nLast);
      },
      [&](int32_t k) {
        LogPrintf("Sub task %d completed\n", k);
        ReportMissingBlocks(Points, Unknowns.nLayoutMode,
                            Normal.pThreadBuffers->pThreadMissing[static_cast<size_t>(k)], Log);
        MergeThread(k, System.ProcessorCount(), Normal, Residuals);
      });
  const int result = FinishBlocks(Layout(), Unknowns.nUnknownNum, Limits.Apply_PCG_Model, Normal, Log);
  if (result == 1) {
    UpdateMeans(Residuals);
    WriteResidualsCpu(iteration, section);
  }
  ReleaseThreadBuffers();
  return result;
}

int CBundleAdjustment::AllocateThreadBuffers(std::vector<SubTask>& tasks) {
  const AssemblyStart start{.Points = Points,
                            .Images = Images,
                            .Cameras = Cameras,
                            .Residuals = Residuals,
                            .Layout = Layout(),
                            .nUnknownNum = Unknowns.nUnknownNum,
                            .bSparse = Limits.Apply_PCG_Model,
                            .fControlWeight = Settings.GCP_Weight,
                            .fGrossThreshold = Settings.Gross_Point_Threshold,
                            .nFreeBytes = System.FreePhysicalBytes()};
  AllocateThreads(start, tasks, Normal);
  return 1;
}

int CBundleAdjustment::BuildNormalEquationTask(int32_t thread, int32_t first, int32_t last) {
  AssembleTask(Points, thread, first, last, Normal);
  return 1;
}

int CBundleAdjustment::BuildPosNormalEquation(int32_t /*iteration*/) {
  const PosTarget target{Layout(), Unknowns.nBlockRowNum, Unknowns.nUnknownNum, Limits.Apply_PCG_Model,
                         Normal};
  AddPosEquations(PosModelOf(Limits), Images, target, Log);
  return 1;
}

int CBundleAdjustment::AddDampingCoefficients(int32_t iteration) {
  Limits = LimitsOfIteration(Limits);
  const double mu = DampingFactor(ScheduleOf(Settings, Frame.bSevenParamApplied), iteration);
  const int32_t n = Unknowns.nUnknownNum;
  if (pTrack) pTrack->fMu = mu;
  if (pTrack && !Limits.Apply_PCG_Model && Normal.pDenseNormal) pTrack->vDiagonal = DenseDiagonal(Normal, n);
  const std::vector<BlockRun> runs = Layout().Runs(Limits.UsesPos() ? Images.nGroupNum : 0);
  if (!Limits.Apply_PCG_Model) {
    DampDense(runs, mu, n, Normal);
    return 1;
  }
  const DampFault fault = DampBlocks(runs, mu, Normal);
  ReportDampFault(fault, Log);
  return fault.What == DampFault::Of::None ? 1 : 0;
}

}  // namespace orvo
