#include "block/ResampleOffers.h"

namespace orvo {

void ScorePoints(std::span<const ObjectPointRecord> points, int64_t firstNumber,
                 std::span<const ImagePointRecord> imagePoints, std::span<const ResampleView> views,
                 std::span<const ResampleGrid> grids, const ResampleCells& cells, ResampleOffers& out) {
  out.Offers.clear();
  out.Fault = ResampleFault::None;
  auto number = static_cast<int32_t>(firstNumber);
  for (const ObjectPointRecord& point : points) {
    for (const ImagePointRecord& measure : imagePoints.subspan(static_cast<size_t>(point.nFirstImagePoint),
                                                               static_cast<size_t>(point.nImagePointNum))) {
      const auto image = static_cast<size_t>(measure.nImage), camera = static_cast<size_t>(measure.nCamera);
      if (image >= views.size() || camera >= grids.size()) continue;  // negative ones are huge here
      const ResampleCell cell = FindResampleCell(grids[camera], measure.x, measure.y);
      if (!cell.bInRange) {
        out.Fault = ResampleFault::OutOfRange;
        return;
      }
      const int64_t index = cells.Index(measure.nImage, cell.nRow, cell.nColumn);
      if (index < 0 || index >= cells.CellNum()) {
        out.Fault = ResampleFault::NoCell;
        out.nFaultCell = index;
        return;
      }
      const float score = ComputeResampleScore(views[image], grids[camera], cell.fDistance, point.X, point.Y,
                                               point.Z, measure.x, measure.y, point.nImagePointNum);
      out.Offers.push_back({index, score, number});
    }
    ++number;
  }
}

}  // namespace orvo
