// The camera models of other programs: from an ideal direction to a pixel and back.
#pragma once

#include <cmath>
#include <optional>
#include <span>

#include "exchange/ForeignModel.h"

namespace orvo::exchange {

/// Image coordinates over the focal length, or pixels; y down.
template <class T>
struct LensPointOf {
  T u, v;
};
using LensPoint = LensPointOf<double>;

/// How many parameters a model has.
size_t ParameterNum(LensModel lens);
/// Names of the parameters, in their order: "K1", "P1", "omega".
std::span<const char* const> ParameterNames(LensModel lens);
/// A word for messages: "fisheye with 4 coefficients".
const char* NameOf(LensModel lens);
/// The radius of the model is an angle, so that directions beside the camera have a place in the image.
bool IsFisheye(LensModel lens);

/// (u, v) = (X / Z, Y / Z) of an ideal direction to (ud, vd); `parameters` has ParameterNum entries.
LensPoint Distorted(LensModel lens, std::span<const double> parameters, LensPoint ideal);
/// Back, by Newton's method to the last digits. Nothing where no direction in front of the camera leads
/// there, or only one behind a turning point of the model.
std::optional<LensPoint> Ideal(LensModel lens, std::span<const double> parameters, LensPoint distorted);

/// The pixel (X, Y) of an ideal direction, and back.
LensPoint PixelOf(const ForeignCamera& camera, LensPoint ideal);
std::optional<LensPoint> DirectionOf(const ForeignCamera& camera, LensPoint pixel);

/// What is wrong with a camera, for a message; empty where nothing is: a size or a focal length that is not
/// above 0, a number that is not finite, a wrong number of parameters.
const char* FaultOf(const ForeignCamera& camera);

}  // namespace orvo::exchange
