// Corrections_%d.txt and Residuals_%d_%d.res: what an iteration leaves behind.
#include <algorithm>

#include "normal/ThreadBuffers.h"
#include "results/NumberText.h"
#include "results/ResidualLines.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::WriteCorrections(int32_t iteration, const double* x) {
  TextWriter file;
  if (x == nullptr ||
      !file.Open(JoinPath(szOutputPath, "Corrections_" + std::to_string(iteration) + ".txt"))) {
    ++nOutputFailureNum;
    return 0;
  }
  constexpr size_t kBlockBytes = size_t{1} << 16;
  std::string text;
  for (int32_t i = 0; i < nUnknownNum; ++i) {
    AppendScientific(text, x[i], 20, 9);
    text += '\n';
    if (text.size() >= kBlockBytes) {
      file.Write(text);
      text.clear();
    }
  }
  file.Write(text);
  if (!file.Close()) ++nOutputFailureNum;
  return 1;
}

int CBundleAdjustment::WriteResidualsCpu(int32_t iteration, int32_t section) {
  TextWriter file;
  if (!file.Open(JoinPath(
          szOutputPath, "Residuals_" + std::to_string(iteration) + "_" + std::to_string(section) + ".res"))) {
    ++nOutputFailureNum;
    return 0;
  }
  ResidualSummary summary;
  const size_t threads = pThreadBuffers ? pThreadBuffers->pThreadPointNum.size() : 0;
  for (size_t t = 0; t < threads; ++t) {
    ThreadBuffers& work = *pThreadBuffers;
    const std::vector<int32_t>& flags = work.pThreadGrossFlags[t];
    std::vector<float>& residuals = work.pThreadResiduals[t];
    const size_t count = std::min(
        {static_cast<size_t>(std::max(work.pThreadPointNum[t], 0)), flags.size(), residuals.size() / 2});
    const std::span<float> xy(residuals.data(), 2 * count);
    DivideResiduals(xy, Image_Coor_Scale);
    WriteResidualLines(file, xy, {flags.data(), count}, summary);
  }
  const double s = Image_Coor_Scale;
  WriteResidualTail(file, {fMeanResidualX / s, fMeanResidualY / s, fRmsResidualX / s, fRmsResidualY / s,
                           summary.fMaxX, summary.fMaxY, summary.fMinX, summary.nGrossNum, summary.nPointNum,
                           dControlResidual, dCheckResidual});
  if (!file.Close()) ++nOutputFailureNum;
  return 1;
}

}  // namespace orvo
