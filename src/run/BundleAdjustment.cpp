#include "run/BundleAdjustment.h"

#include <algorithm>

#include "gpu/GpuState.h"
#include "normal/BlockIndex.h"
#include "normal/PointOrder.h"
#include "normal/ThreadBuffers.h"
#include "results/ResidualWriter.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

template <typename T>
void Free(std::vector<T>& array) {
  std::vector<T>().swap(array);
}

}  // namespace

CBundleAdjustment::CBundleAdjustment(Platform platform, std::FILE* console)
    : System(std::move(platform)), fConsole(console) {
  // Before any residual is known, everything below 100 pixels at the default scale counts as plausible.
  fMeanResidualX = fMeanResidualY = fRmsResidualX = fRmsResidualY = 100.0 * Image_Coor_Scale;
}

CBundleAdjustment::~CBundleAdjustment() { CloseLogFile(); }

int CBundleAdjustment::SetApplyGpu(bool flag) {
  Apply_GPU = flag;
  return 1;
}

int CBundleAdjustment::SetStartTick(double value) {
  fStartTick = value;
  return 1;
}

int CBundleAdjustment::SetEndTick(double value) {
  fEndTick = value;
  return 1;
}

int CBundleAdjustment::SetResidualStatistics(float meanX, float meanY, float rmsX, float rmsY) {
  fMeanResidualX = meanX;
  fMeanResidualY = meanY;
  fRmsResidualX = rmsX;
  fRmsResidualY = rmsY;
  return 1;
}

int CBundleAdjustment::SetLmIterationDone(int32_t count) {
  nLmIterationDone = count;
  return 1;
}

int CBundleAdjustment::ReleaseSectionPoints() {
  Free(pObjectPoints);
  Free(pImagePoints);
  Free(pPointOrders);
  return 1;
}

int CBundleAdjustment::ReleaseSectionTable() {
  Free(Sections.ObjectPoints);
  Free(Sections.ImagePoints);
  return 1;
}

int CBundleAdjustment::ReleaseSubMatrixIndex() {
  Free(pSubMatrixRows);
  pBlockIndex.reset();
  return 1;
}

int CBundleAdjustment::ReleaseNormalEquation() {
  Free(pSubMatrices);
  SubMatrixStore = ZeroedArray();
  pDenseNormal = ZeroedArray();
  Free(pConstVector);
  return 1;
}

int CBundleAdjustment::ReleasePosData() {
  Free(pPos);
  Free(pPosParams);
  return 1;
}

int CBundleAdjustment::ReleaseThreadBuffers() {
  pThreadBuffers.reset();
  return 1;
}

int CBundleAdjustment::ClearSubMatrices(std::vector<SubMatrix>& subMatrices) {
  for (SubMatrix& block : subMatrices) std::ranges::fill(block.Data(), 0.0);
  return 1;
}

}  // namespace orvo
