#include "results/MeasuredPoint.h"

#include <cmath>

#include "block/ProjectText.h"

namespace orvo {
namespace {

int32_t Row(std::span<const int32_t> table, int64_t ordinal, size_t rows) {
  if (ordinal < 0 || static_cast<uint64_t>(ordinal) >= table.size()) return -1;
  const int32_t row = table[static_cast<size_t>(ordinal)];
  return row >= 0 && static_cast<size_t>(row) < rows ? row : -1;
}

bool HasPlace(const ObjectPointRecord& point) {
  return std::isfinite(point.X) && std::isfinite(point.Y) && std::isfinite(point.Z);
}

}  // namespace

int32_t ImageLookup::KeptImage(int64_t ordinal) const { return Row(ImageIndex, ordinal, Eop.size()); }

int32_t ImageLookup::KeptCamera(int64_t ordinal) const { return Row(CameraIndex, ordinal, Iop.size()); }

int32_t MeasuredPoint::ReadHead(TextReader& file) {
  Record = ParsePointLine(file.Next());
  return ReadMeasureCount(file);
}

void MeasuredPoint::ReadMeasurements(TextReader& file, int32_t count, const ImageLookup& lookup) {
  Measurements.clear();
  ImageOrdinals.clear();
  const bool usable = Record.nType != 1 || HasPlace(Record);
  std::string_view line;
  for (int32_t i = 0; i < count && file.Next(line); ++i) {
    MeasureLine measure;
    const bool complete = ParseMeasure(line, measure);
    ImagePointRecord point;
    point.x = static_cast<float>(measure.x * lookup.fImageScale);
    point.y = static_cast<float>(measure.y * lookup.fImageScale);
    point.nImage = point.nCamera = -1;
    const int32_t image = lookup.KeptImage(measure.nImageOrdinal);
    if (usable && complete && image >= 0 && std::isfinite(point.x) && std::isfinite(point.y)) {
      const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
      const int32_t camera =
          ordinal < lookup.ImageCamera.size() ? lookup.KeptCamera(lookup.ImageCamera[ordinal]) : -1;
      if (camera >= 0) {
        point.nImage = image;
        point.nCamera = camera;
      }
    }
    Measurements.push_back(point);
    ImageOrdinals.push_back(measure.nImageOrdinal);
  }
  Record.nImagePointNum = static_cast<int32_t>(Measurements.size());
  Record.nFirstImagePoint = 0;
}

}  // namespace orvo
