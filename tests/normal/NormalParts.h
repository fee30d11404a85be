// The parts that the normal equations are made of, without a run around them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "base/OutputFolder.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "base/Threads.h"
#include "normal/Accumulate.h"
#include "normal/BlockLookup.h"
#include "normal/BlockPattern.h"
#include "normal/PatternWalk.h"
#include "normal/SectionAssembly.h"
#include "normal/SubTasks.h"
#include "records/AdjustmentSettings.h"
#include "records/BlockLayout.h"
#include "records/RunLimits.h"

namespace orvo::test {

struct NormalParts {
  explicit NormalParts(Platform platform = NativePlatform(), std::FILE* console = nullptr)
      : System(std::move(platform)), Log(console, Folder) {}

  AdjustmentSettings Settings;
  RunLimits Limits = LimitsOf(Settings);
  Platform System;
  OutputFolder Folder;
  RunLog Log;
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  UnknownCounts Unknowns;
  NormalEquations Normal;
  ResidualStatistics Residuals;

  UnknownLayout Layout() const { return LayoutOf(Unknowns, Images, Cameras); }
  BlockPlaces Places() const { return {Normal.pSubMatrixRows, Unknowns.nBlockRowNum, Normal.nSubMatrixNum}; }
  int32_t Id(int32_t row, int32_t col) const { return FindBlockId(Normal.pSubMatrixRows, row, col); }
  bool AddPosition(int32_t a, int32_t b) { return AddBlockPosition(a, b, Unknowns.nBlockRowNum, Normal); }

  int Add(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col) {
    return AddBlock({source, rows, cols}, row, col, Places(), Normal.pSubMatrices, Log);
  }

  /// The pattern of the points in memory.
  PatternOutcome FindPattern() {
    const PatternOutcome outcome =
        AddPatternOfSections(Points, Layout(), {[](int32_t) { return true; }, [] {}}, Normal);
    Normal.nSubMatrixNum = static_cast<int32_t>(NumberBlocks(Normal.pSubMatrixRows));
    Normal.pSubMatrices.clear();
    Normal.pSubMatrices.resize(static_cast<size_t>(Normal.nSubMatrixNum));
    return outcome;
  }
  /// A main matrix of zeros in the form that Limits ask for.
  void ClearMatrix() {
    const auto order = static_cast<size_t>(Unknowns.nUnknownNum);
    Normal.pConstVector.assign(order, 0.0);
    for (SubMatrix& block : Normal.pSubMatrices) std::ranges::fill(block.Data(), 0.0);
    if (!Limits.Apply_PCG_Model) Normal.pDenseNormal = ZeroedArray(order * order);
  }
  void ReleaseMatrix() {
    Normal.pSubMatrices.clear();
    Normal.SubMatrixStore = ZeroedArray();
    Normal.pDenseNormal = ZeroedArray();
  }
  /// The tasks of a section for Limits.nThreadNum threads, with their buffers.
  std::vector<SubTask> MakeTasks(int32_t section = 0) {
    std::vector<SubTask> tasks =
        SplitPoints(Points, section, Limits.nThreadNum, System.ProcessorCount(), Log);
    AllocateThreads(
        {Points, Images, Cameras, Residuals, Layout(), Unknowns.nUnknownNum, Limits.Apply_PCG_Model,
         Settings.GCP_Weight, Settings.Gross_Point_Threshold, System.FreePhysicalBytes()},
        tasks, Normal);
    return tasks;
  }
  int Finish() { return FinishBlocks(Layout(), Unknowns.nUnknownNum, Limits.Apply_PCG_Model, Normal, Log); }
  /// One section through all stages, with Limits.nThreadNum threads.
  void AssembleSection(int32_t section = 0) {
    const std::vector<SubTask> tasks = MakeTasks(section);
    RunTasks(
        static_cast<int32_t>(tasks.size()),
        [&](int32_t k) {
          const SubTask& task = tasks[static_cast<size_t>(k)];
          AssembleTask(Points, task.nThread, task.nFirst, task.nLast, Normal);
        },
        [&](int32_t k) { MergeThread(k, System.ProcessorCount(), Normal, Residuals); });
    ASSERT_EQ(Finish(), 1);
    UpdateMeans(Residuals);
    Normal.pThreadBuffers.reset();
  }
};

}  // namespace orvo::test
