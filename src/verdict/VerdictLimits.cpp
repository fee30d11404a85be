#include "verdict/VerdictLimits.h"

#include <algorithm>

namespace orvo {
namespace {

using L = VerdictLimits;

constexpr VerdictLimit kTable[] = {
    {&L::fRmseGrowth, "RMSE growth", "times", "unusable when the RMSE at the end is above that of the start"},
    {&L::fNotInFront, "points not in front", "%", "unusable when more lie behind one of their cameras"},
    {&L::fCentresBelow, "centres below", "%",
     "unusable when, with control or GPS, more projection centres lie below the points that they see"},
    {&L::fLeastUsed, "measurements used", "%", "unusable when fewer take part in the solution"},
    {&L::fDecrease, "decrease ahead", "%",
     "not converged when one more step without damping would lower the sum of squares by more"},
    {&L::fDecreaseInexact, "decrease ahead, inexact solver", "%",
     "the same in the sparse form and on the device"},
    {&L::fDecreaseCamera, "decrease ahead, own cameras", "times the variance of a measurement",
     "comes on top for each unknown of a camera where each image has a camera of its own"},
    {&L::fDecreaseCameras, "decrease ahead, all own cameras", "%", "what all of these add at most"},
    {&L::fLastChange, "last change", "%", "not converged when the last step changed the RMSE by more"},
    {&L::fRmseFloor, "RMSE floor", "px",
     "residuals below this count as this where decreases, changes and ratios are judged"},
    {&L::fRmseRise, "RMSE rise", "times", "doubtful when the RMSE at the end is above that of the start"},
    {&L::fGross, "gross share", "%", "doubtful when more measurements are gross"},
    {&L::fFocalChange, "focal change", "%", "doubtful when a focal length moved by more"},
    {&L::fMeanErrors, "mean residual", "standard errors",
     "doubtful when the mean residual in x or y is larger, and above the share of the next line, too"},
    {&L::fMeanFloor, "mean residual, share", "of the RMSE", "a smaller mean residual is never doubted"},
    {&L::fGroundRatio, "ground point", "times the others' median",
     "doubtful when the difference or the image residual of a control or check point is larger"},
    {&L::fGroundPixels, "ground point, in the image", "times the RMSE",
     "smaller image residuals of ground points are never doubted"},
    {&L::fGroundFloor, "ground point, floor", "px", "nor are those below this"},
    {&L::fGroundDepth, "ground point, in space", "times the two above",
     "smaller differences, in ground sizes of a pixel, are never doubted"},
    {&L::fGroundTogether, "check points together", "ground sizes of a pixel",
     "doubtful when, with control, the root mean square of the differences of 3 and more check points is "
     "larger"},
    {&L::fPosRatio, "GPS observation", "times the others' median",
     "doubtful when the misclosure of an image is larger"},
    {&L::fGroupRatio, "image or camera", "times the block's RMSE",
     "doubtful when the RMSE of an image or camera is larger"},
    {&L::fLeastShared, "shared points", "points",
     "doubtful when an image, or a part of the block, shares fewer with the rest"},
    {&L::fLeastWidth, "width of the similarity", "% of the length",
     "doubtful when the points of a similarity transform lie closer to a line"},
    {&L::fTilt, "tilt of the similarity", "degrees",
     "doubtful when a similarity transform tilts the vertical of the images by more"},
    {&L::fLeastImages, "images of a control point", "images", "doubtful when fewer see it"},
    {&L::fStartMiss, "start off the frame", "% of the distance",
     "doubtful when one to three control points are off by more at the start"},
    {&L::fMisfitRatio, "misfit of the similarity", "times the others' median",
     "doubtful when a control point fits the transform of the others worse"},
    {&L::fMisfitFloor, "misfit, floor", "% of the control's extent", "smaller misfits are never doubted"},
    {&L::fScaleWindow, "feet for metres", "%",
     "doubtful when a similarity transform scales by 3.2808 or its reciprocal, within this"},
    {&L::fSigma0, "sigma0", "times",
     "doubtful when sigma0 of the rigorous method fails its test and is off 1 by a larger factor"},
    {&L::fFocalDeviation, "focal standard deviation", "%",
     "doubtful when the standard deviation of a focal length is a larger part of it"},
    {&L::fImageDeviation, "image standard deviation", "times the others' median",
     "doubtful when the standard deviation of the position of an image is larger"},
};

}  // namespace

DecreaseBasis DecreaseBasisOf(const RunLimits& limits, const UnknownCounts& unknowns,
                              const ImageTable& images, const PointStore& points) {
  DecreaseBasis basis;
  basis.bInexact = limits.Apply_PCG_Model || limits.Apply_GPU;
  if (unknowns.nLayoutMode == LayoutMergedEopIop)
    basis.nOwnCameraUnknowns = int64_t{kIopSize} * images.nUnknownImageNum;
  basis.nRedundancy = 2 * points.nImagePointNum - 3 * points.nObjectPointNum - unknowns.nUnknownNum;
  return basis;
}

double DecreaseLimit(const DecreaseBasis& basis, const VerdictLimits& limits) {
  const double limit = basis.bInexact ? limits.fDecreaseInexact : limits.fDecrease;
  if (basis.nOwnCameraUnknowns < 1) return limit;
  // The sum of squares is the redundancy times the variance of a measurement.
  const double cameras = 100 * limits.fDecreaseCamera * static_cast<double>(basis.nOwnCameraUnknowns) /
                         static_cast<double>(std::max<int64_t>(basis.nRedundancy, 1));
  return limit + std::min(cameras, limits.fDecreaseCameras);
}

std::span<const VerdictLimit> VerdictLimitTable() { return kTable; }

}  // namespace orvo
