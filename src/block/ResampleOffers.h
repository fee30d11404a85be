// What the measurements of many points offer to the thinning grids.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "block/ResampleCells.h"
#include "block/ResampleScore.h"
#include "records/Records.h"

namespace orvo {

struct ResampleOffer {
  int64_t nCell = 0;
  float fScore = 0;
  int32_t nNumber = 0;  ///< object point, counted from 1
};

enum class ResampleFault { None, OutOfRange, NoCell };

/// The offers of a run of points, in their order, up to the first measurement that falls into no cell.
struct ResampleOffers {
  std::vector<ResampleOffer> Offers;
  ResampleFault Fault = ResampleFault::None;
  int64_t nFaultCell = 0;  ///< of NoCell
};

/// Replaces `out` by the offers of `points`. `firstNumber`: number of the first of them; `views` by kept
/// image, `grids` by kept camera. Of `cells` only the shape is looked at.
void ScorePoints(std::span<const ObjectPointRecord> points, int64_t firstNumber,
                 std::span<const ImagePointRecord> imagePoints, std::span<const ResampleView> views,
                 std::span<const ResampleGrid> grids, const ResampleCells& cells, ResampleOffers& out);

}  // namespace orvo
