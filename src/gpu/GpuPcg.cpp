// The second half of an iteration on the device path.
#include <algorithm>
#include <cmath>

#include "gpu/GpuBundle.h"
#include "gpu/PcgVectors.h"

namespace orvo::gpu {
namespace {

/// With a limit below this the last solution stands, not the best.
constexpr int32_t kLeastLimitForBest = 2;

}  // namespace

bool GpuBundle::SolvePcg() {
  // The blocks stay the same through all steps.
  const PackedPreconditioner preconditioner(Blocks, M, Block.System.ProcessorCount());
  preconditioner.Apply(r, z);
  std::transform(z.begin(), z.end(), d.begin(), [](double value) { return static_cast<float>(value); });
  // A failure shows in the next copy: the device is guarded.
  const auto uploadDirection = [this] {
    Target.CopyToDevice(State.Arrays.cupD, d.data(), d.size() * sizeof(float));
  };
  uploadDirection();
  nPcgDone = 0;
  const double bNorm = std::sqrt(DotProduct(r, r));
  Block.LogPrintf(">>>>Start PCG iteration %d\n", nIteration);
  const double etaLimit = Block.Limits.PCG_IGN_Converge_Threshold;
  const int32_t stepLimit = Block.Limits.Max_PCG_Iteration_Num;
  double etaBest = 100.0, eta = 0, rho = 0, alpha = 0, beta = 0;
  xBest.assign(x.size(), 0.0);
  do {
    if (!Multiply()) return false;
    Block.UpdatePosNormalEquation(d, Ad);
    // Deliberate: z, not d. From the second step on the damping acts on another vector than the matrix.
    AddDampingProduct(Blocks, damp, z, Ad);
    ComputePcgAlpha(r, z, d, Ad, rho, alpha);
    UpdatePcgSolution(alpha, d, Ad, x, r);
    const double rNorm = std::sqrt(DotProduct(r, r));
    eta = rNorm / bNorm;
    if (eta < etaBest) {
      xBest = x;
      etaBest = eta;
    }
    std::fill(z.begin(), z.end(), 0.0);
    preconditioner.Apply(r, z);
    ComputePcgBeta(rho, r, z, beta);
    UpdatePcgDirection(beta, z, d);
    Block.LogPrintf(">>>>>>Forcing sequence: %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\n", rNorm,
                    DotProduct(d, Ad), alpha, beta, eta);
    uploadDirection();
    ++nPcgDone;
  } while (nPcgDone < stepLimit && eta > etaLimit);
  if (nPcgDone == stepLimit && stepLimit >= kLeastLimitForBest) {
    Block.LogPrintf(">>Get the smallest forcing sequence coef:%lf\n", etaBest);
    x = xBest;
  }
  return !HasFault();
}

bool GpuBundle::Multiply() {
  std::fill(Ad.begin(), Ad.end(), 0.0);
  for (int32_t section = 0; section < Block.Points.Sections.Count(); ++section) {
    if (!MultiplyPointSection(section)) return false;
  }
  return true;
}

bool GpuBundle::MultiplyPointSection(int32_t section) {
  if (HasSeveralSections()) {
    // Not told in advance as in the first half: it happens in every step.
    if (Block.ReadSectionPoints(section) != 1) {
      Block.LogPrintf(">>>>Read points data failed!\n");
      return false;
    }
    if (Block.CheckInputs() == 0) return false;
    Block.ComputeTiePoints(section);
    if (!IsSkipped() && Block.ComputeGpuSections(section) == 0) {
      Block.LogPrintf("Compute GPU section info failed!\n");
      return false;
    }
  }
  for (int32_t group = 0; group < GroupNum(); ++group) {
    for (int32_t device = 0; device < State.nEnabledDeviceNum; ++device) {
      if (!MultiplyGpuSection(group, device)) return false;
    }
  }
  ForgetPointSection();
  return true;
}

bool GpuBundle::MultiplyGpuSection(int32_t group, int32_t device) {
  const auto n = static_cast<size_t>(Block.Unknowns.nUnknownNum) * sizeof(float);
  if (State.Form == KernelForm::Literal) Target.Clear(State.Arrays.cuptAd, kLaunchBlocks * n);
  if (Target.Clear(State.Arrays.cupAd, n) != 0) {
    Block.LogPrintf("Cuda memset failed!\n");
    return false;
  }
  if (!bResident) {
    State.Para.nSkipStatistics = 1;
    if (Block.AllocPointDeviceMemory(State.nEnabledDeviceNum * group + device) == 0) return false;
    Launch(Kernel::SumMatrix);
    float sums[4] = {};
    if (const int code = Target.CopyToHost(sums, State.Arrays.cupRms, sizeof(sums)); code != 0) {
      Block.LogPrintf("Cuda device %d:%d Compute sum matrix failed!\n", group, code);
      return false;
    }
  }
  Launch(Kernel::MatrixVectorAd);
  int code = 0;
  if (!DownloadVector(State.Arrays.cupAd, Block.Unknowns.nUnknownNum, Ad, code)) {
    Block.LogPrintf("Compute matrix-vector Ad failed:%d!\n", code);
    return false;
  }
  if (!bResident) Block.FreePointDeviceMemory();
  return true;
}

}  // namespace orvo::gpu
