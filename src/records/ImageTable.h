// The images of a block.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "records/Records.h"

namespace orvo {

struct ImageShortName {
  char sz[128] = {};
};

/// The arrays are empty until a reader makes them.
struct ImageTable {
  int32_t nImageFileNum = 0;     ///< in the project header
  int32_t nImageNum = 0;         ///< kept
  int32_t nUnknownImageNum = 0;  ///< of these, with an orientation to be found
  int32_t nGroupNum = 0;         ///< strip groups

  std::vector<EopRecord> pEop;              ///< nImageFileNum rows, the first nImageNum kept
  std::vector<PosRecord> pPos;              ///< nImageFileNum rows, by kept image
  std::vector<int32_t> pImageGroup;         ///< kept image -> group, -1 without
  std::vector<int32_t> pImageIndex;         ///< project image ordinal -> kept image, -1 deleted
  std::vector<int32_t> pImageOrdinal;       ///< kept image -> project image ordinal
  std::vector<int32_t> pImageCamera;        ///< project image ordinal -> project camera ordinal
  std::vector<int32_t> pImagePointCount;    ///< by project image ordinal
  std::vector<ImageShortName> pImageNames;  ///< by project image ordinal, without folder and extension
  /// The same of images without a short name, as a path without a folder has none: only for people. Ends
  /// behind the last of them.
  std::vector<std::string> vBareNames;

  /// What an nImage may point to.
  std::span<const EopRecord> Kept() const { return {pEop.data(), static_cast<size_t>(nImageNum)}; }
};

}  // namespace orvo
