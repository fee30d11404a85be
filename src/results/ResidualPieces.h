// The text of a residual file, in both forms: lines in pieces, then the tail with the statistics.
#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "base/TextWriter.h"
#include "records/ResidualStatistics.h"

namespace orvo {

/// What the measurements of one file add up to. The extremes are those of measurements that are not gross, in
/// file image units, and start where any residual replaces them.
struct ResidualSummary {
  explicit ResidualSummary(double start) : fMaxX(-start), fMaxY(-start), fMinX(start), fMinY(start) {}

  double fMaxX, fMaxY, fMinX, fMinY;
  int64_t nGrossNum = 0;
  int64_t nPointNum = 0;

  /// One measurement that is not gross.
  void AddExtremes(double vx, double vy) {
    fMaxX = vx > fMaxX ? vx : fMaxX;
    fMaxY = vy > fMaxY ? vy : fMaxY;
    fMinX = vx < fMinX ? vx : fMinX;
    fMinY = vy < fMinY ? vy : fMinY;
  }
  /// Adds the measurements of `next`, which stand behind those of this one. Of equal extremes the first
  /// stays: zeros print with their sign.
  void Append(const ResidualSummary& next);
};

/// The lines of a file, in pieces that follow each other.
struct ResidualPieces {
  int64_t nPieceNum = 0;
  size_t nMostBytes = 0;  ///< text of one piece, at most
  double fStart = 0;      ///< magnitude that the extremes start from
  /// Writes the text of a piece to `out`, adds its measurements to `sums` (fresh) and returns the end of the
  /// text. Called once for each piece, from several threads.
  std::function<char*(int64_t piece, char* out, ResidualSummary& sums)> Format;
};

/// Writes the pieces one behind the other, formatted on up to `threads` threads, of which the calling one is
/// the first; the file is the same with any number. Returns what the lines add up to.
ResidualSummary WriteResidualPieces(TextWriter& file, const ResidualPieces& pieces, int threads);

/// The statistics below the lines: image figures in file image units; control and check: mean X, Y, Z, RMSE
/// X, Y, Z in object units.
struct ResidualFigures {
  double fMeanX = 0, fMeanY = 0, fRmsX = 0, fRmsY = 0;
  std::array<double, 6> Control{}, Check{};
};
/// Those known now; `imageScale`: file image units to working units.
ResidualFigures FiguresOf(const ResidualStatistics& residuals, double imageScale);

/// Everything that stands below the lines, the same for both forms of the file.
void WriteResidualTail(TextWriter& file, const ResidualFigures& figures, const ResidualSummary& summary);

}  // namespace orvo
