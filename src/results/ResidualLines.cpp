#include "results/ResidualLines.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

#include "base/FixedFormat.h"

namespace orvo {
namespace {

/// Lines of one piece of work: with two numbers of the usual size, about 240 kB of text.
constexpr size_t kPieceLines = 8192;
constexpr size_t kMaxLine = 2 * kMaxFixedFloat + 16;
constexpr float kStart = 1e30f;

/// Tab, blank, flag and line end.
char* EndLine(char* out, int32_t flag) {
  static constexpr char kCounts[] = "\t 0\n", kGross[] = "\t -1\n";
  if (flag == 0) {
    std::memcpy(out, kCounts, sizeof kCounts - 1);
    return out + sizeof kCounts - 1;
  }
  if (flag == -1) {
    std::memcpy(out, kGross, sizeof kGross - 1);
    return out + sizeof kGross - 1;
  }
  std::memcpy(out, kCounts, 2);
  out = std::to_chars(out + 2, out + 14, flag).ptr;
  *out++ = '\n';
  return out;
}

/// The slices in pieces of at most kPieceLines lines.
std::vector<ResidualSlice> CutIntoPieces(std::span<const ResidualSlice> slices) {
  std::vector<ResidualSlice> pieces;
  for (const ResidualSlice& slice : slices) {
    for (size_t first = 0; first < slice.Flags.size(); first += kPieceLines) {
      const size_t count = std::min(kPieceLines, slice.Flags.size() - first);
      pieces.push_back({slice.Residuals.subspan(2 * first, 2 * count), slice.Flags.subspan(first, count)});
    }
  }
  return pieces;
}

void DivideResiduals(std::span<float> residuals, double scale) {
  for (float& v : residuals) v = static_cast<float>(v / scale);
}

void Summarize(const ResidualSlice& piece, ResidualSummary& sums) {
  for (size_t i = 0; i < piece.Flags.size(); ++i) {
    if (piece.Flags[i] != 0) {
      ++sums.nGrossNum;
    } else {
      sums.AddExtremes(double{piece.Residuals[2 * i]}, double{piece.Residuals[2 * i + 1]});
    }
  }
  sums.nPointNum += std::ssize(piece.Flags);
}

/// Writes the lines of residuals in file units.
char* FormatLines(const ResidualSlice& piece, char* out) {
  const float* xy = piece.Residuals.data();
  for (const int32_t flag : piece.Flags) {
    out = WriteFixed(out, *xy++);
    *out++ = '\t';
    out = EndLine(WriteFixed(out, *xy++), flag);
  }
  return out;
}

}  // namespace

ResidualSummary WriteResidualLines(TextWriter& file, std::span<const ResidualSlice> slices, double scale,
                                   int threads) {
  const std::vector<ResidualSlice> cut = CutIntoPieces(slices);
  ResidualPieces pieces;
  pieces.nPieceNum = std::ssize(cut);
  pieces.nMostBytes = kPieceLines * kMaxLine;
  pieces.fStart = double{kStart};
  pieces.Format = [&cut, scale](int64_t i, char* out, ResidualSummary& sums) {
    const ResidualSlice& piece = cut[static_cast<size_t>(i)];
    DivideResiduals(piece.Residuals, scale);
    Summarize(piece, sums);
    return FormatLines(piece, out);
  };
  return WriteResidualPieces(file, pieces, threads);
}

}  // namespace orvo
