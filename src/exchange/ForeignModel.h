// A block as another program's files give it, with its camera models.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "exchange/ExchangeOptions.h"
#include "exchange/PointStream.h"

namespace orvo::exchange {

/// Distortion of an ideal ray (u, v) = (X/Z, Y/Z), y down, to (ud, vd); parameters by model. The measurement
/// is then X = fx ud + cx, Y = fy vd + cy in pixels.
enum class LensModel {
  Pinhole,        ///< none
  SimpleRadial,   ///< K1
  Radial,         ///< K1 K2
  Brown,          ///< K1 K2 P1 P2 K3: radial to r^6 and tangential, as OPENCV and OpenSfM's brown
  FullOpenCv,     ///< K1 K2 P1 P2 K3 K4 K5 K6: rational
  SimpleFisheye,  ///< K1: equidistant with theta polynomial
  RadialFisheye,  ///< K1 K2
  OpenCvFisheye,  ///< K1 K2 K3 K4
  Fov,            ///< omega
  ThinPrism       ///< K1 K2 P1 P2 K3 K4 sx1 sy1, fisheye
};

/// A camera as its program has it. Pixel (0.5, 0.5) is the centre of the first pixel; y down.
struct ForeignCamera {
  int64_t nId = 0;
  std::string szName;   ///< the program's word for the camera, else its number
  std::string szModel;  ///< the program's word for the model
  LensModel Lens = LensModel::Pinhole;
  int32_t nWidth = 0, nHeight = 0;
  double dFx = 0, dFy = 0, dCx = 0, dCy = 0;
  std::vector<double> Parameters;  ///< of the lens, in the order of LensModel
};

/// The frame that coordinates are in.
struct ModelFrame {
  FrameKind Kind = FrameKind::AsIs;
  std::string szCrs;     ///< of the source, as PROJ knows it; empty: unknown
  std::string szHeight;  ///< what its heights are, as --height says it; empty where szCrs says it
  std::array<double, 3>
      Origin{};  ///< of a topocentric frame: latitude, longitude in degrees, height in metres
  /// Of control points and positions only: the project itself comes into it by an adjustment.
  bool bOfControl = false;
};

/// Images have R and S in the conventions of SurveyBlock; nCamera indexes Cameras. szPath is the name that
/// the program has, as it is: with blanks, without a folder.
struct ForeignModel {
  std::string szForm;  ///< "colmap", "opensfm", "bundler", "bal"
  std::vector<ForeignCamera> Cameras;
  std::vector<SurveyImage> Images;
  std::vector<int64_t> ImageIds;  ///< of the program, by image; empty: those of the images
  /// Measurements in pixels off the image centre, x right, y up, as measured: nothing corrected.
  std::unique_ptr<PointStream> Points;
  ModelFrame Frame;
  std::string szPixelOrigin;       ///< of the program, in words
  std::vector<std::string> Files;  ///< that were read, the first one first
};

}  // namespace orvo::exchange
