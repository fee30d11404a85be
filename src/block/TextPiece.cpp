#include "block/TextPiece.h"

#include "block/ProjectText.h"

namespace orvo {
namespace {

/// Reads the measurements of a point; grow(camera, measure) is called for each that is on a kept image.
template <typename Grow>
TextPointOutcome AppendMeasures(TextReader& file, const TextPointContext& context, int32_t objectPoint,
                                ObjectPointRecord& point, ImagePointArray& imagePoints, int32_t& measureNum,
                                PointFacts& facts, const Grow& grow) {
  const size_t first = imagePoints.size();
  const bool usable = MakePositionUsable(point);
  bool countIsWhole = false;
  const int32_t count = ReadMeasureCount(file, countIsWhole);
  if (!countIsWhole) ++facts.nBroken;
  TextPointOutcome outcome = TextPointOutcome::Accepted;
  std::string_view line;
  for (int32_t m = 0; m < count && NextMeasure(file, m, line); ++m) {
    MeasureLine measure;
    const bool complete = ParseMeasure(line, measure);
    if (!measure.bWhole) ++facts.nBroken;
    if (!complete) continue;
    const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
    if (measure.nImageOrdinal < 0 || ordinal >= context.References.size()) {
      measureNum = m;
      outcome = TextPointOutcome::WrongOrdinal;
      ++facts.nBroken;
      break;
    }
    const ImageReference reference = usable ? context.References[ordinal] : ImageReference{};
    const ImagePointRecord record =
        MakeImagePoint(reference, measure.x, measure.y, context.fImageScale, objectPoint);
    if (record.nImage < 0) {
      outcome = TextPointOutcome::Rejected;
      continue;
    }
    grow(record.nCamera, measure);
    imagePoints.push_back(record);
  }
  if (outcome != TextPointOutcome::Accepted) imagePoints.resize(first);
  if (outcome == TextPointOutcome::Rejected) facts.Rejected.Add(point.szName);
  point.nFirstImagePoint = static_cast<int64_t>(first);
  point.nImagePointNum = static_cast<int32_t>(imagePoints.size() - first);
  return outcome;
}

}  // namespace

ObjectPointRecord MakeTextPoint(std::string_view line, const TextPointContext& context, PointFacts& facts) {
  bool whole = false;
  ObjectPointRecord point = ParsePointLine(line, whole);
  if (!whole) ++facts.nBroken;
  point.X *= context.fObjectScale;
  point.Y *= context.fObjectScale;
  point.Z *= context.fObjectScale;
  return point;
}

TextPointOutcome AppendTextMeasures(TextReader& file, const TextPointContext& context, int32_t objectPoint,
                                    ObjectPointRecord& point, ImagePointArray& imagePoints,
                                    std::span<IopRecord> cameras, int32_t& measureNum, PointFacts& facts) {
  return AppendMeasures(file, context, objectPoint, point, imagePoints, measureNum, facts,
                        [cameras](int32_t camera, const MeasureLine& measure) {
                          EnlargeCamera(cameras[static_cast<size_t>(camera)], measure.x, measure.y);
                        });
}

void ReadTextPiece(TextReader& file, int64_t first, int64_t count, const TextPointContext& context,
                   std::span<const IopRecord> cameras, TextPiece& piece) {
  piece.Points.clear();
  piece.ImagePoints.clear();
  piece.Types.clear();
  piece.Facts = {};
  piece.bPlain = true;
  const auto grow = [&](int32_t camera, const MeasureLine& measure) {
    const IopRecord& known = cameras[static_cast<size_t>(camera)];
    if (EnlargedExtent(known.nImageWidth, measure.x) != known.nImageWidth ||
        EnlargedExtent(known.nImageHeight, measure.y) != known.nImageHeight) {
      piece.bPlain = false;
    }
  };
  std::string_view line;
  int32_t measureNum = 0;
  for (int64_t i = first; i < first + count && piece.bPlain && file.Next(line); ++i) {
    ObjectPointRecord point = MakeTextPoint(line, context, piece.Facts);
    if (point.nType != 0) piece.Types.push_back({i, point.nType});
    switch (AppendMeasures(file, context, static_cast<int32_t>(piece.Points.size()), point, piece.ImagePoints,
                           measureNum, piece.Facts, grow)) {
      case TextPointOutcome::Accepted:
        piece.Points.push_back(point);
        break;
      case TextPointOutcome::Rejected:
        break;
      case TextPointOutcome::WrongOrdinal:
        piece.bPlain = false;
        break;
    }
  }
}

}  // namespace orvo
