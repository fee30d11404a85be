// A run of tie points in a text project.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/TextReader.h"
#include "block/Measurement.h"
#include "records/PointStore.h"
#include "records/ReadingFacts.h"

namespace orvo {

/// Points between two places that are remembered of a text project.
inline constexpr int64_t kTextPiecePoints = 4096;

/// What the reading of text points needs to know of the block.
struct TextPointContext {
  std::vector<ImageReference> References;  ///< by project image ordinal
  double fImageScale = 1, fObjectScale = 1;
};

enum class TextPointOutcome { Accepted, Rejected, WrongOrdinal };

/// Reads the measurements in the next lines. Appends them and gives `point` their first index and their
/// number; one that is on a deleted image rejects them all. Cameras grow with the measurements, of a rejected
/// point too. Nothing is appended unless the point is accepted. At an image ordinal out of range,
/// `measureNum` is that measurement's. Lines that don't fit are counted in `facts`, and a rejected point.
TextPointOutcome AppendTextMeasures(TextReader& file, const TextPointContext& context, int32_t objectPoint,
                                    ObjectPointRecord& point, ImagePointArray& imagePoints,
                                    std::span<IopRecord> cameras, int32_t& measureNum, PointFacts& facts);

/// The point of a line, scaled.
ObjectPointRecord MakeTextPoint(std::string_view line, const TextPointContext& context, PointFacts& facts);

/// Points read apart from those before them: indices count from the first of them.
struct TextPiece {
  struct Counted {
    int64_t nOrdinal;
    int32_t nType;
  };
  ObjectPointArray Points;
  ImagePointArray ImagePoints;
  std::vector<Counted> Types;  ///< of the points that are no tie points, rejected ones too
  PointFacts Facts;
  /// Nothing in it depends on what stands before; otherwise it is to be read again in its turn.
  bool bPlain = false;
};

/// Reads up to `count` points, of which the first has the ordinal `first`, into `piece`. A piece that has to
/// enlarge one of `cameras`, or refers to an image that can't be, is not plain.
void ReadTextPiece(TextReader& file, int64_t first, int64_t count, const TextPointContext& context,
                   std::span<const IopRecord> cameras, TextPiece& piece);

}  // namespace orvo
