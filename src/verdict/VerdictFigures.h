// The figures of one run that its verdict rests on. Plain numbers, no view of the block.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "verdict/VerdictLimits.h"

namespace orvo {

/// Residuals of one image or camera.
struct GroupFigure {
  std::string szName;
  int64_t nMeasurements = 0;  ///< that count
  int64_t nGross = 0;
  double fRmse = 0;  ///< pixels, x and y together, of those that count
};

/// One control or check point at the end.
struct GroundFigure {
  std::string szName;
  bool bControl = false;
  int32_t nImages = 0;        ///< that see it
  bool bIntersected = false;  ///< fDifference says something
  double fDifference = 0;     ///< intersection less given coordinates, length, object units
  double fRmse = 0;           ///< image residuals, pixels: of control against the given coordinates
  double fWorst = 0;          ///< the longest of them
  std::string szWorstImage;
};

/// One GPS observation at the end.
struct PosFigure {
  std::string szImage;
  double fMisclosure = 0;  ///< length of observed less computed position, object units
};

/// The similarity transform of the start.
struct SimilarityFigures {
  bool bApplied = false;
  bool bFromGps = false;
  double fWidth = 0;         ///< of the points across their longest direction, over their length; 0: a line
  bool bViewsAgree = false;  ///< the images look the same way, within reason
  double fTilt = 0;          ///< degrees between the vertical and where the images agree that it is
  double fTurn = 0;          ///< degrees by which the transform turned that direction
  double fScale = 1;         ///< target lengths over source lengths
  double fExtent = 0;        ///< root mean square distance of the targets from their centroid
  std::vector<GroundFigure> vMisfits;  ///< fDifference: against the transform of most points
};

struct CameraFigure {
  std::string szName;
  double fStartFocal = 0, fEndFocal = 0;  ///< file image units
};

/// What a rigorous run knows of its own precision.
struct PrecisionFigure {
  double fSigma0 = 1;              ///< of a value of standard deviation 1
  bool bTestFailed = false;        ///< by chi-square, sigma0 is not 1
  double fSigmaImage = 0;          ///< of a measured coordinate as the settings have it, pixels
  std::vector<std::string> vFree;  ///< words for motions of the block that no observation holds
  struct Focal {
    std::string szCamera;
    double fValue = 0, fDeviation = 0;  ///< pixels
  };
  std::vector<Focal> vFocals;  ///< of cameras whose focal length is unknown
  std::string szRefusal = {};  ///< what is open, so that no standard deviation is known; empty: nothing
  struct Image {
    std::string szName;
    double fDeviation = 0;  ///< of X, Y or Z, the largest; object units
  };
  std::vector<Image> vImages = {};  ///< that are unknown
};

/// A control point that contradicts the others, and had no part in the adjustment.
struct ControlOutFigure {
  std::string szName;
  double fDifference = 0;  ///< given coordinates less the place by its rays, length, object units
};

struct VerdictFigures {
  bool bAdjusted = false;  ///< images or cameras were unknowns; false: only intersected or transformed
  bool bHasControl = false, bHasGps = false;
  std::string szGcpFile, szPosFile, szProjectFile;

  // The iteration.
  int32_t nIterations = 0;
  bool bLastAllowed = false;   ///< the number of iterations ended it
  bool bSingular = false;      ///< the last equations could not be solved
  double fStartRmse = 0;       ///< pixels, x and y together, at the start orientations
  double fLastRmse = 0;        ///< before the last step
  double fEndRmse = 0;         ///< at the result
  double fPredictedShare = 0;  ///< the sum of squares would fall by this share with one more, undamped step
  /// Whether iterations with an end of their own, as those of the rigorous method, came to it: tells more
  /// than the figures above.
  std::optional<bool> bReachedEnd;
  bool bPredicted = false;
  DecreaseBasis Decrease;  ///< what its limit depends on

  std::optional<PrecisionFigure> Precision;
  std::vector<ControlOutFigure> vControlOut;
  bool bControlContradictory = false;  ///< most of it does not agree

  // The last pass over the points.
  bool bHasPoints = false;
  int64_t nPoints = 0, nPointsNotInFront = 0, nPointsNotSolved = 0;
  int64_t nMeasurements = 0;  ///< all, on lost images too
  int64_t nUsed = 0;  ///< in the solution: on kept images, of points that could be intersected, not gross
  int64_t nGross = 0;
  double fMeanX = 0, fMeanY = 0, fRmseX = 0, fRmseY = 0;  ///< pixels, of those in the solution
  int64_t nCentres = 0, nCentresBelow = 0;
  double fGsd = 0;  ///< object units of a pixel

  bool bFinite = true;      ///< every unknown is a number
  std::string szNotFinite;  ///< image or camera of the first that is none
  std::vector<CameraFigure> vCameras;
  std::vector<GroupFigure> vImages, vCameraResiduals;
  std::vector<GroundFigure> vGround;
  std::vector<PosFigure> vPos;

  int32_t nImagesInFile = 0;
  std::vector<std::string> vLostImages;
  std::vector<std::string> vLooseImages;              ///< fewer than three points in common with all others
  std::vector<std::vector<std::string>> vLooseParts;  ///< groups of images beside the largest one, joined to
                                                      ///< it by fewer than three points
  bool bStartInFrame = true;  ///< with one to three control points: the start puts them near their places
  double fStartMiss = 0;      ///< the median of how far off, over the distance from the camera
  bool bPosAnglesInRadians = false;
  SimilarityFigures Similarity;
};

}  // namespace orvo
