// The threaded assembly of a section's reduced normal equations, stage by stage.
#pragma once

#include <cstdint>
#include <span>

#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "normal/SubMatrix.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// What the threads of a section start from.
struct AssemblyStart {
  const PointStore& Points;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const ResidualStatistics& Residuals;  ///< the figures so far, which tell what is gross
  UnknownLayout Layout;
  int32_t nUnknownNum;
  bool bSparse;
  double fControlWeight, fGrossThreshold;
  int64_t nFreeBytes;  ///< of memory
};

/// Makes the main matrix where it is missing, and in `normal.pThreadBuffers` what each thread reads and
/// writes, zeroed.
void AllocateThreads(const AssemblyStart& start, std::span<const SubTask> tasks, NormalEquations& normal);

/// The work of one thread: adds the equations of its points to its buffers.
void AssembleTask(const PointStore& points, int32_t thread, int32_t first, int32_t last,
                  NormalEquations& normal);

/// Adds what a thread has found to the figures and to the buffers of thread 0, threads in rising order, and
/// frees the blocks of the thread.
void MergeThread(int32_t thread, int processors, NormalEquations& normal, ResidualStatistics& residuals);

/// Tells of every block that a thread did not find in the pattern.
void ReportMissingBlocks(const PointStore& points, int32_t layoutMode, std::span<const MissingBlock> missing,
                         RunLog& log);

/// Hands the blocks of thread 0 over to the main matrix, `pDenseNormal` of order `unknownNum` where `sparse`
/// is false. 1, or 0 after a message for a block that another writer has made in another form.
int FinishBlocks(const UnknownLayout& layout, int32_t unknownNum, bool sparse, NormalEquations& normal,
                 RunLog& log);

/// Mean and root mean square of the residuals, from their sums.
void UpdateMeans(ResidualStatistics& residuals);

}  // namespace orvo
