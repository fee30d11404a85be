#include "run/VarianceOutput.h"

#include <cmath>
#include <string>

#include "base/PrintableName.h"
#include "run/BundleAdjustment.h"
#include "verdict/RunNames.h"

namespace orvo {

using rigorous::VarianceComponent;
using rigorous::VarianceEnd;
using rigorous::VarianceGroup;

namespace {

std::string NameOf(const VarianceComponent& component, const CBundleAdjustment& run) {
  switch (component.Group) {
    case VarianceGroup::Measurements:
      return "measurements of camera " +
             PrintableName(CameraNameOf(run.Cameras, static_cast<size_t>(component.nCamera)));
    case VarianceGroup::ControlXY:
      return "X and Y of control";
    case VarianceGroup::ControlZ:
      return "Z of control";
    case VarianceGroup::GpsXY:
      return "X and Y of GPS";
    case VarianceGroup::GpsZ:
      return "Z of GPS";
    case VarianceGroup::Imu:
      return "angles";
    case VarianceGroup::Priors:
      return "values known beforehand";
  }
  return {};
}

const char* TextOf(VarianceEnd end) {
  switch (end) {
    case VarianceEnd::Settled:
      return "settled";
    case VarianceEnd::Rounds:
      return "still changing";
    case VarianceEnd::NotAdjusted:
      return "not to be had, for the adjustment with them did not converge";
    case VarianceEnd::NoPrecision:
      return "not to be had, for unknowns are not determined";
  }
  return "";
}

}  // namespace

void TellVariances(const rigorous::VarianceEstimation& made, CBundleAdjustment& run) {
  run.LogPrintf(">>Standard deviations: %s\n", TextOf(made.End));
  for (size_t k = 0; k < made.vComponents.size() && k < made.vScales.size(); ++k) {
    const VarianceComponent& component = made.vComponents[k];
    if (component.nObservations == 0 || component.Group == VarianceGroup::Priors) continue;
    if (!component.IsKnown()) {
      run.LogPrintf(">>%s: as stated, redundancy %.1lf tells nothing of it\n", NameOf(component, run).c_str(),
                    component.fRedundancy);
      continue;
    }
    // The deviation is that of a variance: half of it, relatively, is that of its root.
    run.LogPrintf(">>%s: %.4lf times the stated standard deviation, +-%.2lg\n",
                  NameOf(component, run).c_str(), made.vScales[k],
                  made.vScales[k] * component.Deviation() / (2 * component.Factor()));
  }
}

}  // namespace orvo
