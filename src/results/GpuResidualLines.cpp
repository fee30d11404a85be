#include "results/GpuResidualLines.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <vector>

#include "base/FixedFormat.h"
#include "base/Threads.h"

namespace orvo::gpu {
namespace {

/// Lines that are formatted as one piece of text.
constexpr int64_t kPieceLines = 2048;
constexpr size_t kMaxInt = 12;
constexpr size_t kMaxLine = 4 * kMaxInt + 4 * kMaxFixedDouble + 16;

/// "%-*d"
char* WriteLeft(char* out, int32_t value, std::ptrdiff_t width) {
  char* end = std::to_chars(out, out + kMaxInt, value).ptr;
  while (end - out < width) *end++ = ' ';
  return end;
}

class Piece {
 public:
  explicit Piece(double scale) : fScale(scale), Text(new char[kMaxLine * kPieceLines]) {}

  void Format(const GpuResidualTable& table, int64_t first) {
    const int64_t count = std::min(kPieceLines, table.nPointNum - first);
    Lines.resize(static_cast<size_t>(count));
    table.Fill(first, count, Lines.data());
    Summary = GpuResidualSummary();
    pEnd = Text.get();
    for (const GpuResidualLine& line : Lines) Append(line);
  }
  std::string_view View() const { return {Text.get(), pEnd}; }
  const GpuResidualSummary& Sums() const { return Summary; }

 private:
  void Append(const GpuResidualLine& line) {
    char* out = WriteLeft(pEnd, line.nImage, 8);
    *out++ = ' ';
    out = WriteLeft(out, line.nCamera, 4);
    *out++ = ' ';
    out = WriteLeft(out, line.nObjectPoint, 10);
    *out++ = ' ';
    const double vx = static_cast<double>(line.vx) / fScale, vy = static_cast<double>(line.vy) / fScale;
    out = WriteFixed(out, static_cast<double>(line.x) / fScale);
    *out++ = '\t';
    out = WriteFixed(out, static_cast<double>(line.y) / fScale);
    *out++ = '\t';
    out = WriteFixed(out, vx);
    *out++ = '\t';
    out = WriteFixed(out, vy);
    *out++ = ' ';
    out = WriteLeft(out, -line.nFlag, 0);
    *out++ = '\n';
    pEnd = out;
    if (line.nFlag != 0) {
      ++Summary.nGrossNum;
      return;
    }
    Summary.fMaxX = vx > Summary.fMaxX ? vx : Summary.fMaxX;
    Summary.fMaxY = vy > Summary.fMaxY ? vy : Summary.fMaxY;
    Summary.fMinX = vx < Summary.fMinX ? vx : Summary.fMinX;
    Summary.fMinY = vy < Summary.fMinY ? vy : Summary.fMinY;
  }

  double fScale;
  GpuResidualSummary Summary;
  std::unique_ptr<char[]> Text;
  char* pEnd = nullptr;
  std::vector<GpuResidualLine> Lines;
};

}  // namespace

void GpuResidualSummary::Append(const GpuResidualSummary& next) {
  fMaxX = next.fMaxX > fMaxX ? next.fMaxX : fMaxX;
  fMaxY = next.fMaxY > fMaxY ? next.fMaxY : fMaxY;
  fMinX = next.fMinX < fMinX ? next.fMinX : fMinX;
  fMinY = next.fMinY < fMinY ? next.fMinY : fMinY;
  nGrossNum += next.nGrossNum;
}

GpuResidualSummary WriteGpuResidualLines(TextWriter& file, const GpuResidualTable& table, double scale,
                                         int threads) {
  GpuResidualSummary summary;
  const int64_t pieceNum = (table.nPointNum + kPieceLines - 1) / kPieceLines;
  // Several pieces a thread and round, so that a slow one does not hold up the others for long.
  const int64_t round = threads > 1 ? std::min<int64_t>(pieceNum, 4 * threads) : 1;
  std::vector<Piece> pieces;
  for (int64_t i = 0; i < round; ++i) pieces.emplace_back(scale);
  for (int64_t first = 0; first < pieceNum; first += round) {
    const int64_t count = std::min(round, pieceNum - first);
    ParallelFor(count, threads,
                [&](int64_t i) { pieces[static_cast<size_t>(i)].Format(table, (first + i) * kPieceLines); });
    for (int64_t i = 0; i < count; ++i) {
      const Piece& piece = pieces[static_cast<size_t>(i)];
      file.Write(piece.View());
      summary.Append(piece.Sums());
    }
  }
  return summary;
}

}  // namespace orvo::gpu
