#include "run/BundleAdjustment.h"

#include <algorithm>

#include "gpu/GpuState.h"
#include "normal/BlockIndex.h"
#include "normal/PointOrder.h"
#include "normal/ThreadBuffers.h"
#include "results/ResidualWriter.h"
#include "run/RunWatch.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

template <typename T, typename Allocator>
void Free(std::vector<T, Allocator>& array) {
  std::vector<T, Allocator>().swap(array);
}

}  // namespace

CBundleAdjustment::CBundleAdjustment(Platform platform, std::FILE* console)
    : System(std::move(platform)), Log(console, Outputs.Folder) {}

CBundleAdjustment::~CBundleAdjustment() { CloseLogFile(); }

int CBundleAdjustment::SetApplyGpu(bool flag) {
  Limits.Apply_GPU = flag;
  return 1;
}

int CBundleAdjustment::SetStartTick(double value) {
  Progress.fStartTick = value;
  return 1;
}

int CBundleAdjustment::SetEndTick(double value) {
  Progress.fEndTick = value;
  return 1;
}

int CBundleAdjustment::SetResidualStatistics(float meanX, float meanY, float rmsX, float rmsY) {
  Residuals.fMeanResidualX = meanX;
  Residuals.fMeanResidualY = meanY;
  Residuals.fRmsResidualX = rmsX;
  Residuals.fRmsResidualY = rmsY;
  return 1;
}

int CBundleAdjustment::SetLmIterationDone(int32_t count) {
  Progress.nLmIterationDone = count;
  return 1;
}

int CBundleAdjustment::ReleaseSectionPoints() {
  Free(Points.pObjectPoints);
  Free(Points.pImagePoints);
  Free(Normal.pPointOrders);
  return 1;
}

int CBundleAdjustment::ReleaseSectionTable() {
  Free(Points.Sections.ObjectPoints);
  Free(Points.Sections.ImagePoints);
  return 1;
}

int CBundleAdjustment::ReleaseSubMatrixIndex() {
  Free(Normal.pSubMatrixRows);
  Normal.pBlockIndex.reset();
  return 1;
}

int CBundleAdjustment::ReleaseNormalEquation() {
  Free(Normal.pSubMatrices);
  Normal.SubMatrixStore = ZeroedArray();
  Normal.pDenseNormal = ZeroedArray();
  Free(Normal.pConstVector);
  return 1;
}

int CBundleAdjustment::ReleasePosData() {
  Free(Images.pPos);
  Free(Normal.pPosParams);
  return 1;
}

int CBundleAdjustment::ReleaseThreadBuffers() {
  Normal.pThreadBuffers.reset();
  return 1;
}

int CBundleAdjustment::ClearSubMatrices(std::vector<SubMatrix>& subMatrices) {
  for (SubMatrix& block : subMatrices) std::ranges::fill(block.Data(), 0.0);
  return 1;
}

}  // namespace orvo
