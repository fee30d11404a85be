// One step of the iteration: solution, side files, convergence, update.
#include <algorithm>
#include <cmath>
#include <vector>

#include "base/MemoryPurpose.h"
#include "base/OutputFiles.h"
#include "geometry/OrvoMatrix.h"
#include "run/BundleAdjustment.h"
#include "solver/DenseSolve.h"
#include "verdict/RunTrack.h"

namespace orvo {

int CBundleAdjustment::SolveAndUpdate(int32_t iteration) {
  const MemoryPurpose purpose("the solution of the normal equations");
  std::vector<double> x(static_cast<size_t>(Unknowns.nUnknownNum), 0.0), remainder;
  bool solved = true;
  if (Limits.Apply_PCG_Model) {
    if (SolveByPcg(x.data()) == 0) return 0;
  } else {
    remainder.resize(x.size());
    DenseLook look;
    if (pTrack) {
      look = [&](const DenseSystem& system) {
        if (IsLastStep(iteration, x.data())) PredictDense(system, x.data());
      };
    }
    solved = SolveDense(Normal.pDenseNormal.get(), Unknowns.nUnknownNum, Normal.pConstVector.data(), x.data(),
                        remainder.data(), System.ProcessorCount(), look) != DenseSolution::Singular;
    if (solved) WriteRemainder(iteration, remainder);
  }
  const bool finite = std::all_of(x.begin(), x.end(), [](double element) { return std::isfinite(element); });
  if (pTrack) {
    pTrack->bSingular = !solved || !finite;
    if (Limits.Apply_PCG_Model && finite && IsLastStep(iteration, x.data())) PredictSparse(x.data());
  }
  if (!solved || !finite) {
    // There is no step to take: the unknowns stay as they are and the iteration ends.
    if (solved) WriteCorrections(iteration, x.data());
    Progress.bConverged = true;
    LogPrintf(">>%lf\t%lf\t%lf\n", 0.0, Residuals.fRmsResidualX, Residuals.fRmsResidualY);
    return 1;
  }
  // Metres, radians and camera units in one figure: a single threshold serves them all.
  const double largest = MaxMagnitude(x.data(), Unknowns.nUnknownNum, 1);
  if (Settings.LM_Converge_Threshold > std::fabs(largest)) Progress.bConverged = true;
  WriteCorrections(iteration, x.data());
  UpdateUnknowns(x.data());
  LogPrintf(">>%lf\t%lf\t%lf\n", largest, Residuals.fRmsResidualX, Residuals.fRmsResidualY);
  return 1;
}

void CBundleAdjustment::WriteRemainder(int32_t iteration, const std::vector<double>& remainder) {
  TextWriter file;
  if (!OpenOutput(Outputs.Folder, file,
                  JoinPath(Paths.szOutputPath, "LM_R_Vector_" + std::to_string(iteration) + ".txt"))) {
    ++Outputs.nOutputFailureNum;
    return;
  }
  for (const double element : remainder) file.Printf("%12.3lf\t\n", element);
  if (!CloseOutput(Outputs.Folder, file)) ++Outputs.nOutputFailureNum;
}

int CBundleAdjustment::UpdateUnknowns(const double* x) {
  if (!x) {
    LogPrintf("Error!Unknown vector pointer is null!\n");
    return 0;
  }
  const auto addIop = [&x](IopRecord& iop) {
    iop.fFocal += *x++;
    iop.fPrincipalX += *x++;
    iop.fPrincipalY += *x++;
    iop.fK1 += *x++;
    iop.fK2 += *x++;
  };
  if (Settings.Set_EOP_Unknown) {
    for (int32_t image = 0; image < Images.nImageNum; ++image) {
      EopRecord& eop = Images.pEop[static_cast<size_t>(image)];
      // Deliberate: an image left out does not use up its place in x.
      if (eop.nStatus == 1) continue;
      eop.X += *x++;
      eop.Y += *x++;
      eop.Z += *x++;
      eop.fPhi += *x++;
      eop.fOmega += *x++;
      eop.fKappa += *x++;
      if (Unknowns.nLayoutMode == LayoutMergedEopIop) addIop(Cameras.pIop[static_cast<size_t>(image)]);
    }
  }
  if (Settings.Set_IOP_Unknown && Unknowns.nLayoutMode != LayoutMergedEopIop) {
    for (int32_t camera = 0; camera < Cameras.nCameraNum; ++camera)
      addIop(Cameras.pIop[static_cast<size_t>(camera)]);
  }
  if (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data) {
    for (double& parameter : Normal.pPosParams) parameter += *x++;
  }
  return 1;
}

}  // namespace orvo
