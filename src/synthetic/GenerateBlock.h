// Generated blocks with known truth, in every file form that the system reads.
#pragma once

#include <string>

#include "synthetic/SyntheticOptions.h"
#include "synthetic/SyntheticTruth.h"

namespace orvo {

/// The files of a block; empty where a form was not asked for.
struct SyntheticPaths {
  std::string szText, szOvc, szOvt, szGcp, szPos, szXml, szIni, szTruth;
};

struct SyntheticBlock {
  bool bDone = false;
  std::string szError;  ///< why not, and what helps
  SyntheticPaths Paths;
  SyntheticTruth Truth;
};

/// Makes the block and writes NAME.prj, NAME.ovc with NAME.ovt, NAME_gcp.txt, NAME_pos.txt, AdjPara.xml,
/// AdjPara.ini and truth.json into an existing folder, all of them or, where one fails, none. The same
/// options give the same bytes on any machine.
///
/// A measurement (x, y) is noise plus the position at which the distortion correction of the camera gives the
/// collinear image of the true point. Every measurement lies within its image, every tie point is measured on
/// two images or more, and control points are no tie points. An .ovt holds single precision: half a unit in
/// the last place is 2.4e-4 pixel at a coordinate of 4096 to 8192. Memory grows with the images, not with the
/// measurements.
SyntheticBlock GenerateBlock(const SyntheticOptions& options, const std::string& folder,
                             const std::string& name, const SyntheticForms& forms = {});

}  // namespace orvo
