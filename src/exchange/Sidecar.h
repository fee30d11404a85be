// BLOCK.orvo.json: what a project can't hold of the model that it was imported from.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"

namespace orvo::exchange {

struct SidecarImage {
  int64_t nId = 0;      ///< the program's
  std::string szName;   ///< the program's, with blanks and folders
  std::string szAlias;  ///< as the project's path line has it
};

/// A measurement of the project as it was written, by which it is known again.
struct SidecarSample {
  std::string szPoint;
  size_t nImage = 0;  ///< ordinal
  double x = 0, y = 0;
};

struct Sidecar {
  std::string szForm, szSource;
  std::string szChecksum;  ///< "crc32:" and eight hexadecimal digits over the files that were read, in order;
                           ///< empty: unknown
  DistortionMode Distortion = DistortionMode::Correct;
  std::string szPixelOrigin;           ///< "centre of the first pixel at 0.5, y down" and the like
  std::vector<ForeignCamera> Cameras;  ///< as the program had them, by ordinal
  std::vector<SurveyCamera> Written;   ///< as the project has them, by ordinal
  std::vector<SidecarImage> Images;    ///< by ordinal
  ModelFrame Frame;
  std::vector<SidecarSample> Samples;  ///< spread over the points; empty: not known
};

/// BLOCK.orvo.json for BLOCK.ovc, BLOCK.ovt, BLOCK.prj or BLOCK.
std::string SidecarPathOf(const std::string& project);
std::string SidecarText(const Sidecar& sidecar);
/// Nothing where there is no such file. Throws ExchangeFault where it can't be used.
std::optional<Sidecar> ReadSidecar(const std::string& path);

}  // namespace orvo::exchange
