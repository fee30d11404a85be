#include "gpu/ResidualTables.h"

#include "gpu/kernels/RayModel.h"
#include "gpu/kernels/fast/FastLayout.h"

namespace orvo::gpu {
namespace {

/// A ray that is left out is listed as on the CPU: not gross, without residual.
void ListLeftOut(GpuResidualLine& line) {
  line.nImage = line.nCamera = -1;
  line.vx = line.vy = 0;
  line.nFlag = 0;
}

}  // namespace

GpuResidualTable LiteralResidualTable(const std::vector<uint32_t>& imgIdx, const std::vector<float>& imgPt) {
  GpuResidualTable table;
  table.nPointNum = std::ssize(imgIdx) / 4;
  table.Fill = [&imgIdx, &imgPt](int64_t first, int64_t count, GpuResidualLine* lines) {
    const uint32_t* words = imgIdx.data() + 4 * first;
    const float* values = imgPt.data() + 4 * first;
    for (int64_t i = 0; i < count; ++i, words += 4, values += 4) {
      lines[i] = {static_cast<int32_t>(words[0]),
                  static_cast<int32_t>(words[1]),
                  static_cast<int32_t>(words[2]),
                  values[0],
                  values[1],
                  values[2],
                  values[3],
                  static_cast<int32_t>(words[3])};
      if (words[3] == kRayIsLeftOut) ListLeftOut(lines[i]);
    }
  };
  return table;
}

GpuResidualTable FastResidualTable(std::span<const ImagePointRecord> imagePoints, int32_t firstPoint,
                                   const std::vector<uint32_t>& rayImage,
                                   const std::vector<float>& residuals) {
  GpuResidualTable table;
  table.nPointNum = std::ssize(rayImage);
  table.Fill = [&rayImage, &residuals, imagePoints, firstPoint](int64_t first, int64_t count,
                                                                GpuResidualLine* lines) {
    for (int64_t i = 0; i < count; ++i) {
      const auto at = static_cast<size_t>(first + i);
      const ImagePointRecord& ray = imagePoints[at];
      const uint32_t image = rayImage[at] & ~kGrossBit;
      lines[i] = {
          ray.nImage,        ray.nCamera,           ray.nObjectPoint - firstPoint,          ray.x, ray.y,
          residuals[2 * at], residuals[2 * at + 1], (rayImage[at] & kGrossBit) != 0 ? 1 : 0};
      if (image == kNoImage) ListLeftOut(lines[i]);
    }
  };
  return table;
}

}  // namespace orvo::gpu
