// What a run did to a camera, in pixels of its images.
#pragma once

#include <string>
#include <vector>

#include "report/RunFigures.h"

namespace orvo::report {

/// Distance from the principal point to the corner of the image, pixels; 0 where the size is not known.
double CornerRadius(const CameraFigure& camera);

/// The same by the principal point that the run began with.
double StartCornerRadius(const CameraFigure& camera);

/// How much further out than without distortion a point is measured, at `radius` pixels:
/// r (k1 r^2 + k2 r^4 + k3 r^6). What is not radial stays out.
double DistortionAt(const CameraParameters& camera, double radius);

/// How far the change of all parameters moves a point in the corner (of the start) at most, pixels: those of
/// the principal point, of the focal length and of the distortion, one on top of the other.
double ChangeAtCorner(const CameraFigure& camera);

/// What is worth a look, and what helps: a focal length that changed by more than 1 %, a principal point that
/// moved by more than 1 % of the image, a distortion that turns back within the image. Plain texts.
std::vector<std::string> CameraRemarks(const CameraFigure& camera);

}  // namespace orvo::report
