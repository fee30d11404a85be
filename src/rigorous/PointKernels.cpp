#include "rigorous/PointKernels.h"

#include <algorithm>

namespace orvo::rigorous {

std::vector<RayTerms> TermsOf(const Problem& problem, const Estimate& estimate) {
  std::vector<RayTerms> all(problem.vImages.size());
  for (size_t i = 0; i < all.size(); ++i) {
    const auto camera = static_cast<size_t>(problem.vImages[i].nCamera);
    RayTerms& terms = all[i];
    std::ranges::copy(estimate.vPoses[i].Centre, terms.Centre);
    std::ranges::copy(estimate.vPoses[i].R, terms.R);
    Lens lens = estimate.vCameras[camera].LensNow;
    for (int k = 0; k < kLensParameterNum; ++k)
      terms.Lens[k] = ParameterOf(lens, static_cast<LensParameter>(k));
    const double sigma = problem.vCameras[camera].fSigma;
    terms.fWeight = 1 / (sigma * sigma);
    terms.fSpare = 0;
  }
  return all;
}

std::vector<PointKernels> UsablePointKernels() {
  return ForUsableSets([]<InstructionSet kSet>() { return PointKernelsOf<kSet>(); });
}

}  // namespace orvo::rigorous
