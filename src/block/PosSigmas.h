// The accuracy of POS observations, in three or six further columns of the lines of a POS file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/InputFiles.h"
#include "records/ImageTable.h"
#include "records/PosSigma.h"

namespace orvo {

/// A standard deviation is between these, in object units or degrees.
inline constexpr double kLeastPosSigma = 1e-9, kLargestPosSigma = 1e9;

/// Of a line "name X Y Z omega phi kappa strip sX sY sZ somega sphi skappa": a negative number says that the
/// value is not observed. The last three, or all six, may be missing and are not told then; so they are where
/// the line has no whole strip. Else a clause that says what is wrong with the columns, and nothing is told.
std::string ParsePosSigma(std::string_view line, PosSigma& sigma);

struct PosSigmaFault {
  int64_t nLine = 0;   ///< from 1
  std::string szWhat;  ///< a clause without its full stop
};

struct PosSigmas {
  std::vector<PosSigma> vByImage;      ///< by kept image, of several lines the last; not told without a line
  std::vector<PosSigmaFault> vFaults;  ///< the first kMostPosSigmaFaults
};
inline constexpr size_t kMostPosSigmaFaults = 10;

/// Those of all lines of the file whose names the images have; none where it can't be read.
PosSigmas ReadPosSigmas(const std::string& pos, const ImageTable& images, InputFiles& inputs);

}  // namespace orvo
