#include "results/MeasuredPoint.h"

#include "block/ProjectText.h"

namespace orvo {

int32_t MeasuredPoint::ReadHead(TextReader& file) {
  Record = ParsePointLine(file.Next());
  return ReadMeasureCount(file);
}

void MeasuredPoint::ReadMeasurements(TextReader& file, int32_t count,
                                     std::span<const ImageReference> references, double imageScale) {
  Measurements.clear();
  ImageOrdinals.clear();
  const bool usable = MakePositionUsable(Record);
  std::string_view line;
  for (int32_t i = 0; i < count && file.Next(line); ++i) {
    MeasureLine measure;
    const bool complete = ParseMeasure(line, measure);
    const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);  // a negative one becomes huge
    const bool known = usable && complete && ordinal < references.size();
    Measurements.push_back(
        MakeImagePoint(known ? references[ordinal] : ImageReference{}, measure.x, measure.y, imageScale, 0));
    ImageOrdinals.push_back(measure.nImageOrdinal);
  }
  Record.nImagePointNum = static_cast<int32_t>(Measurements.size());
  Record.nFirstImagePoint = 0;
}

}  // namespace orvo
