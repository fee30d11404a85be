// What the user asks of an import, an export or a conversion.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "exchange/crs/FrameKind.h"

namespace orvo::exchange {

/// What becomes of a camera's distortion on its way into a project.
enum class DistortionMode {
  Correct,  ///< measurements become f times their ideal directions, the camera f, 0, 0, 0, 0
  Fit,      ///< measurements stay, f, k1, k2 are fitted
  Drop      ///< measurements stay, the distortion is left out
};
const char* NameOf(DistortionMode mode);
std::optional<DistortionMode> DistortionModeOf(const std::string& name);

const char* NameOf(FrameKind kind);
std::optional<FrameKind> FrameKindOf(const std::string& name);

/// Texts that are empty were not given.
struct ImportOptions {
  std::string szForm;
  std::string szSource;  ///< a file or folder of that form
  std::string szOut;     ///< BLOCK of a model, the file of everything else
  /// Without: fitted where the fit is better than kFitDefaultLimit, else corrected.
  std::optional<DistortionMode> Distortion;
  double dFitLimit = 1.0;  ///< pixels; a fit that leaves more anywhere is refused

  std::string szImages;   ///< list of image names, for forms that hold none
  std::string szTracks;   ///< file of tracks, where it does not lie beside the source
  std::string szProject;  ///< whose images names refer to

  std::string szCrs;  ///< of the source's coordinates
  std::optional<FrameKind> Frame;
  std::string szHeight;                  ///< what heights are
  std::string szOrigin;                  ///< of a topocentric frame: "LAT,LON" or "LAT,LON,HEIGHT"
  std::vector<std::string> CheckPoints;  ///< names of points that become check points
  std::string szCheckPrefix;             ///< of such names
  std::string szAngles;                  ///< convention of angles
};
/// Pixels; a fit that leaves less everywhere is taken without being asked for.
inline constexpr double kFitDefaultLimit = 0.01;

/// Which camera an exported model gets where the result's is not the original one any more.
enum class CameraChoice {
  Automatic,  ///< the original where it is unchanged, else refitted where that is good, else pinhole
  Original,   ///< the original, refused where it changed
  Refit,      ///< one camera fitted to the whole way from pixels to directions
  Pinhole     ///< without distortion, with corrected measurements
};
std::optional<CameraChoice> CameraChoiceOf(const std::string& name);

struct ExportOptions {
  std::string szForm;
  std::string szResult;   ///< a result folder or a project
  std::string szOut;      ///< file or folder, by form
  std::string szSidecar;  ///< empty: the one beside the project
  std::string szProject;  ///< that the result comes from, empty to find it by itself
  std::string szGcp, szPos;
  CameraChoice Camera = CameraChoice::Automatic;
  bool bText = false;      ///< the text version of forms that have two
  std::string szCrs;       ///< of what is written
  std::string szBlockCrs;  ///< that the block's coordinates are in, where its sidecar does not tell
  double dPixelSize = 0;   ///< micrometres, for lengths in millimetres; 0: not known
};

}  // namespace orvo::exchange
