// The cameras of a block.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "records/Records.h"

namespace orvo {

struct CameraTable {
  int32_t nCameraFileNum = 0;  ///< in the project header
  int32_t nCameraNum = 0;      ///< kept
  int32_t nCameraRowNum = 0;   ///< rows of pIop as read; beyond nCameraNum where unused cameras left holes

  std::vector<IopRecord> pIop;        ///< nCameraFileNum rows
  std::vector<int32_t> pCameraIndex;  ///< project camera ordinal -> row of pIop, -1 deleted

  /// Rows of pIop that measurements may stand on: nCameraNum where cameras are unknowns, otherwise all.
  int32_t UsableNum() const { return std::max(nCameraNum, nCameraRowNum); }
  /// What an nCamera may point to.
  std::span<const IopRecord> Usable() const { return {pIop.data(), static_cast<size_t>(UsableNum())}; }
};

}  // namespace orvo
