#include "block/OvtMeasures.h"

#include <algorithm>
#include <cmath>

namespace orvo {
namespace {

/// What many threads may hold besides the arrays of the section.
constexpr int64_t kMostPlainMeasures = 1 << 20;

}  // namespace

std::vector<CameraHalf> MakeCameraHalves(std::span<const IopRecord> cameras) {
  std::vector<CameraHalf> halves;
  for (const IopRecord& camera : cameras) {
    halves.push_back(
        {static_cast<float>(camera.nImageWidth / 2), static_cast<float>(camera.nImageHeight / 2)});
  }
  return halves;
}

bool AppendPlainMeasures(std::span<ObjectPointRecord> points, int32_t firstRow,
                         std::span<const ImageReference> references, std::span<const CameraHalf> halves,
                         double imageScale, OvtMeasureWindow& window, ImagePointArray& out) {
  int64_t end = 0, sum = 0;
  for (const ObjectPointRecord& point : points) {
    if (point.nImagePointNum > 0) end = point.nFirstImagePoint + point.nImagePointNum;
    sum += point.nImagePointNum;
  }
  if (sum > kMostPlainMeasures) return false;
  const size_t before = out.size();
  out.resize(before + static_cast<size_t>(sum));
  ImagePointRecord* to = out.data() + before;
  int32_t row = firstRow;
  for (ObjectPointRecord& point : points) {
    const bool usable = MakePositionUsable(point);
    int64_t index = point.nFirstImagePoint;
    for (int64_t left = point.nImagePointNum; left > 0;) {
      const char* record = window.At(index, end);
      if (record == nullptr) return false;
      const int64_t count = std::min(left, window.Following(index));
      for (int64_t i = 0; i < count; ++i, record += kOvtMeasureBytes) {
        const OvtMeasure measure = DecodeOvtMeasure(record);
        const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);  // a negative one becomes huge
        if (ordinal >= references.size() || references[ordinal].nImage < 0) return false;
        const ImageReference reference = usable ? references[ordinal] : ImageReference{};
        *to = MakeImagePoint(reference, measure.x, measure.y, imageScale, row);
        if (to->nCamera >= 0) {
          const CameraHalf half = halves[static_cast<size_t>(to->nCamera)];
          if (std::abs(measure.x) > half.fWidth || std::abs(measure.y) > half.fHeight) return false;
        }
        ++to;
      }
      index += count;
      left -= count;
    }
    ++row;
  }
  return true;
}

}  // namespace orvo
