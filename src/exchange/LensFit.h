// Cameras of one model that come nearest to another camera.
#pragma once

#include <functional>
#include <optional>

#include "exchange/ForeignModel.h"
#include "exchange/LensModels.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// What a fit leaves over the image, in pixels: lengths of the differences.
struct FitError {
  double dRms = 0, dMax = 0;
};

/// f, k1, k2 of a camera of ours, with the principal point as it is, by least squares over 61 x 61 pixels of
/// the image. The error is that of corrected measurements. Nothing where a pixel of the grid has no direction
/// or nothing comes out.
struct FittedSurveyCamera {
  SurveyCamera Camera;
  FitError Error;
};
std::optional<FittedSurveyCamera> FitSurveyCamera(const ForeignCamera& camera);

/// The ideal direction of a pixel, y down.
using DirectionOfPixel = std::function<std::optional<LensPoint>(LensPoint pixel)>;

/// The camera of the model `lens` that has the directions of `way`, by least squares over 61 x 61 pixels of
/// an image of that size; `oneFocal`: fx = fy; `centred`: the principal point is the image centre. The error
/// is that of pixels. Nothing as above. The rational model comes without a pole in the image, and with a
/// denominator of 1 where that leaves no more than a millionth of a pixel. szName, nId and szModel stay
/// empty.
struct FittedForeignCamera {
  ForeignCamera Camera;
  FitError Error;
};
struct FitForm {
  LensModel Lens = LensModel::FullOpenCv;
  bool bOneFocal = true;
  bool bCentred = false;
};
std::optional<FittedForeignCamera> FitForeignCamera(const DirectionOfPixel& way, int32_t width,
                                                    int32_t height, const FitForm& form);

/// The direction of a pixel through a camera of ours.
LensPoint DirectionOf(const SurveyCamera& camera, LensPoint pixel);

/// Of a direction from the camera axis, radians, over the same grid; pixels without a direction are left out.
double LargestAngle(const ForeignCamera& camera);

/// The longest way that distortion moves a measurement, over the same grid; pixels without a direction are
/// left out.
double LargestDistortion(const ForeignCamera& camera);

}  // namespace orvo::exchange
