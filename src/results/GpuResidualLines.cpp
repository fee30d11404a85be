#include "results/GpuResidualLines.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "base/FixedFormat.h"

namespace orvo::gpu {
namespace {

/// Lines that are formatted as one piece of text.
constexpr int64_t kPieceLines = 2048;
constexpr size_t kMaxInt = 12;
constexpr size_t kMaxLine = 4 * kMaxInt + 4 * kMaxFixedDouble + 16;
constexpr double kStart = 1e308;

/// "%-*d"
char* WriteLeft(char* out, int32_t value, std::ptrdiff_t width) {
  char* end = std::to_chars(out, out + kMaxInt, value).ptr;
  while (end - out < width) *end++ = ' ';
  return end;
}

char* FormatLine(const GpuResidualLine& line, double scale, char* out, ResidualSummary& sums) {
  out = WriteLeft(out, line.nImage, 8);
  *out++ = ' ';
  out = WriteLeft(out, line.nCamera, 4);
  *out++ = ' ';
  out = WriteLeft(out, line.nObjectPoint, 10);
  *out++ = ' ';
  const double vx = static_cast<double>(line.vx) / scale, vy = static_cast<double>(line.vy) / scale;
  out = WriteFixed(out, static_cast<double>(line.x) / scale);
  *out++ = '\t';
  out = WriteFixed(out, static_cast<double>(line.y) / scale);
  *out++ = '\t';
  out = WriteFixed(out, vx);
  *out++ = '\t';
  out = WriteFixed(out, vy);
  *out++ = ' ';
  out = WriteLeft(out, -line.nFlag, 0);
  *out++ = '\n';
  if (line.nFlag != 0) {
    ++sums.nGrossNum;
  } else {
    sums.AddExtremes(vx, vy);
  }
  return out;
}

}  // namespace

ResidualSummary WriteGpuResidualLines(TextWriter& file, const GpuResidualTable& table, double scale,
                                      int threads) {
  ResidualPieces pieces;
  pieces.nPieceNum = (table.nPointNum + kPieceLines - 1) / kPieceLines;
  pieces.nMostBytes = kPieceLines * kMaxLine;
  pieces.fStart = kStart;
  pieces.Format = [&table, scale](int64_t i, char* out, ResidualSummary& sums) {
    const int64_t first = i * kPieceLines, count = std::min(kPieceLines, table.nPointNum - first);
    std::vector<GpuResidualLine> lines(static_cast<size_t>(count));
    table.Fill(first, count, lines.data());
    for (const GpuResidualLine& line : lines) out = FormatLine(line, scale, out, sums);
    sums.nPointNum += count;
    return out;
  };
  ResidualSummary summary = WriteResidualPieces(file, pieces, threads);
  // The divided start values tell that there is no extreme.
  for (double* extreme : {&summary.fMaxX, &summary.fMaxY, &summary.fMinX, &summary.fMinY}) {
    if (std::fabs(*extreme) == kStart) *extreme /= scale;
  }
  return summary;
}

}  // namespace orvo::gpu
