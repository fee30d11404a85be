#include "run/MountingOutput.h"

#include <numbers>
#include <string>

#include "base/PrintableName.h"
#include "rigorous/RotationVector.h"
#include "run/BundleAdjustment.h"
#include "verdict/RunNames.h"

namespace orvo {

void TellMountings(const rigorous::BlockProblem& problem, const rigorous::Estimate& estimate,
                   CBundleAdjustment& run) {
  constexpr double degrees = 180 / std::numbers::pi;
  for (size_t i = 0; i < estimate.vCameras.size(); ++i) {
    const rigorous::CameraModel& model = problem.Task.vCameras[i];
    const std::string name = PrintableName(CameraNameOf(run.Cameras, i));
    if (model.bLeverArm) {
      const rigorous::Vector3& arm = estimate.vCameras[i].LeverArm;
      run.LogPrintf(">>Lever arm of camera %s: %.4f %.4f %.4f\n", name.c_str(), arm[0], arm[1], arm[2]);
    }
    if (model.bBoresight) {
      const rigorous::Vector3 angles = rigorous::AnglesOfRotation(estimate.vCameras[i].Boresight);
      run.LogPrintf(">>Boresight of camera %s: %.6f %.6f %.6f degrees\n", name.c_str(), degrees * angles[0],
                    degrees * angles[1], degrees * angles[2]);
    }
  }
}

}  // namespace orvo
