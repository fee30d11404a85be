// Residuals_%d_%d.res of the device path.
#include <cmath>

#include "base/OutputFiles.h"
#include "results/GpuResidualLines.h"
#include "results/ResidualLines.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::WriteResidualsGpu(int32_t iteration, int32_t number,
                                         const gpu::GpuResidualTable& table) {
  TextWriter file;
  if (!OpenOutput(Outputs.Folder, file,
                  JoinPath(Paths.szOutputPath, "Residuals_" + std::to_string(iteration) + "_" +
                                                   std::to_string(number) + ".res"))) {
    ++Outputs.nOutputFailureNum;
    return 0;
  }
  const double s = Settings.Image_Coor_Scale;
  const gpu::GpuResidualSummary summary = gpu::WriteGpuResidualLines(file, table, s, System.ProcessorCount());
  // The divided start values tell that there is no extreme.
  const auto shown = [s](double extreme) {
    return std::fabs(extreme) == gpu::GpuResidualSummary::kNone ? extreme / s : extreme;
  };
  WriteResidualTail(
      file, {Residuals.fMeanResidualX / s, Residuals.fMeanResidualY / s, Residuals.fRmsResidualX / s,
             Residuals.fRmsResidualY / s, shown(summary.fMaxX), shown(summary.fMaxY), shown(summary.fMinX),
             summary.nGrossNum, table.nPointNum, Residuals.dControlResidual, Residuals.dCheckResidual});
  if (!CloseOutput(Outputs.Folder, file)) ++Outputs.nOutputFailureNum;
  return 1;
}

}  // namespace orvo
