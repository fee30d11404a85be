// What a generated block looks like. Every option is stated once, with its range, in SyntheticOptionTable.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>

namespace orvo {

/// Object lengths in metres, image lengths in pixels (file units), angles in degrees, overlaps in per cent.
struct SyntheticOptions {
  int64_t nSeed = 1;  ///< everything random follows from it

  // Flight
  int32_t nStrips = 4;  ///< parallel strips, flown to and fro
  int32_t nImagesPerStrip = 8;
  int32_t nCrossStrips = 0;                 ///< strips at right angles, over the width of the block
  double fForwardOverlap = 60;              ///< per cent of the image's extent in x
  double fSideOverlap = 30;                 ///< per cent of the image's extent in y
  double fFlyingHeight = 1200;              ///< above the mean ground
  double fHeading = 20;                     ///< of the strips, counter-clockwise from X
  double fScatter = 2;                      ///< sigma of the true positions about the flight plan
  double fTilt = 1.5;                       ///< sigma of the true angles about the flight plan
  double fOriginX = 1000, fOriginY = 2000;  ///< middle of the block
  double fGroundZ = 100;                    ///< mean height of the ground
  double fRelief = 60;                      ///< largest deviation of the ground from its mean height

  // Cameras
  int32_t nCameras = 1;                              ///< strips use them in turn; 0: one for each image
  int32_t nImageWidth = 8000, nImageHeight = 12000;  ///< extent in x and y
  double fFocal = 12000;
  double fPrincipalX = 0, fPrincipalY = 0;
  double fK1 = 1e-10, fK2 = 0;                         ///< radial distortion, subtracted from the measurement
  double fK3 = 0, fP1 = 0, fP2 = 0, fB1 = 0, fB2 = 0;  ///< further terms of the distortion
  double fCameraSpread = 1e-3;  ///< relative sigma of f from camera to camera; see MakeCameras

  // Tie points
  double fMeasurementsPerImage = 100;  ///< mean number of tie point measurements aimed at
  bool bRandomOrder = false;           ///< points in random instead of spatial order
  double fNoise = 0.5;                 ///< sigma of every measurement coordinate
  double fOutlierFraction = 0;         ///< share of the tie point measurements that are outliers
  double fOutlierSize = 50;            ///< an outlier is off by this to twice this
  double fPointStart = 1;              ///< sigma of the tie point coordinates in the files

  // Control
  int32_t nControlPoints = 6, nCheckPoints = 6;
  double fGroundPointNoise = 0;  ///< sigma of the coordinates in the GCP file

  // POS
  double fPosNoise = 0.05;     ///< sigma of a position
  double fImuNoise = 0.005;    ///< sigma of an angle
  double fPosOffset = 0.5;     ///< sigma of a strip's constant offset of position
  double fImuOffset = 0;       ///< sigma of a strip's constant offset of angle
  double fPosDrift = 0.01;     ///< sigma of a strip's drift of position, per second of flight time
  double fImuDrift = 0;        ///< sigma of a strip's drift of angle, per second of flight time
  double fAircraftSpeed = 70;  ///< metres per second

  // Start values
  double fStartPosition = 1;   ///< sigma of the start positions about the true ones
  double fStartAngle = 0.1;    ///< sigma of the start angles
  double fStartFocal = 5;      ///< sigma of the start focal lengths
  double fStartPrincipal = 2;  ///< sigma of the start principal points, in x and y
  double fStartK1 = 0, fStartK2 = 0;

  // Frame of the start orientations: p' = scale * Rz(kappa) p + shift. Nothing else is in this frame.
  double fFrameScale = 1;
  double fFrameKappa = 0;
  double fFrameShiftX = 0, fFrameShiftY = 0, fFrameShiftZ = 0;

  int32_t nTruthPointLimit = 2000;  ///< true tie point coordinates are told when there are no more than these
};

/// One option: field, name without dashes, unit, what it is, and the range that it must lie in.
struct SyntheticOption {
  std::variant<int64_t SyntheticOptions::*, int32_t SyntheticOptions::*, double SyntheticOptions::*,
               bool SyntheticOptions::*>
      field;
  const char* szName;
  const char* szUnit;
  const char* szHelp;
  double fMin = 0, fMax = 0;
};

std::span<const SyntheticOption> SyntheticOptionTable();

/// Empty when a block can be made of them; otherwise a sentence that names the option and the remedy.
std::string CheckSyntheticOptions(const SyntheticOptions& options);

/// Which files are written.
struct SyntheticForms {
  bool bText = true;      ///< NAME.prj
  bool bBinary = true;    ///< NAME.ovc and NAME.ovt
  bool bGcp = true;       ///< NAME_gcp.txt
  bool bPos = true;       ///< NAME_pos.txt
  bool bSettings = true;  ///< AdjPara.xml and AdjPara.ini
  bool bTruth = true;     ///< truth.json
};

}  // namespace orvo
