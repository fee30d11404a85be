#include "results/ResidualLines.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstring>
#include <memory>
#include <vector>

#include "base/FixedFormat.h"
#include "base/Threads.h"

namespace orvo {
namespace {

/// Lines of one piece of work: with two numbers of the usual size, about 240 kB of text.
constexpr size_t kPieceLines = 8192;
constexpr size_t kMaxLine = 2 * kMaxFixedFloat + 16;

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

ResidualSummary Summarize(const ResidualSlice& piece) {
  ResidualSummary sum;
  for (size_t i = 0; i < piece.Flags.size(); ++i) {
    if (piece.Flags[i] != 0) {
      ++sum.nGrossNum;
      continue;
    }
    const float x = piece.Residuals[2 * i], y = piece.Residuals[2 * i + 1];
    sum.fMaxX = x > sum.fMaxX ? x : sum.fMaxX;
    sum.fMaxY = y > sum.fMaxY ? y : sum.fMaxY;
    sum.fMinX = x < sum.fMinX ? x : sum.fMinX;
    sum.fMinY = y < sum.fMinY ? y : sum.fMinY;
  }
  sum.nPointNum = static_cast<int64_t>(piece.Flags.size());
  return sum;
}

/// Writes the lines of residuals in file units; the end of the text.
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

void ResidualSummary::Append(const ResidualSummary& next) {
  fMaxX = next.fMaxX > fMaxX ? next.fMaxX : fMaxX;
  fMaxY = next.fMaxY > fMaxY ? next.fMaxY : fMaxY;
  fMinX = next.fMinX < fMinX ? next.fMinX : fMinX;
  fMinY = next.fMinY < fMinY ? next.fMinY : fMinY;
  nGrossNum += next.nGrossNum;
  nPointNum += next.nPointNum;
}

ResidualSummary WriteResidualLines(TextWriter& file, std::span<const ResidualSlice> slices, double scale,
                                   int threads) {
  const std::vector<ResidualSlice> pieces = CutIntoPieces(slices);
  const int workers = ParallelThreadNum(std::ssize(pieces), threads);
  struct Worker {
    std::unique_ptr<char[]> pText;
    char* pEnd = nullptr;
    ResidualSummary Summary;
  };
  std::vector<Worker> work(static_cast<size_t>(workers));
  for (Worker& worker : work) worker.pText.reset(new char[kPieceLines * kMaxLine]);
  ResidualSummary summary;
  ParallelInOrder(
      std::ssize(pieces), workers,
      [&](int64_t i, int k) {
        Worker& worker = work[static_cast<size_t>(k)];
        const ResidualSlice& piece = pieces[static_cast<size_t>(i)];
        DivideResiduals(piece.Residuals, scale);
        worker.Summary = Summarize(piece);
        worker.pEnd = FormatLines(piece, worker.pText.get());
      },
      [&](int64_t, int k) {
        const Worker& worker = work[static_cast<size_t>(k)];
        file.Write({worker.pText.get(), worker.pEnd});
        summary.Append(worker.Summary);
      });
  return summary;
}

void WriteResidualTail(TextWriter& file, const ResidualTail& tail) {
  file.Write("\n");
  file.Printf("MEAN:%lf\t%lf\n", tail.fMeanX, tail.fMeanY);
  file.Printf("RMSE:%lf\t%lf\n", tail.fRmsX, tail.fRmsY);
  file.Printf("MAX:%lf\t%lf\n", tail.fMaxX, tail.fMaxY);
  // The minimum of x stands in both columns; readers of the file know it so.
  file.Printf("MIN:%lf\t%lf\n", tail.fMinX, tail.fMinX);
  file.Printf("Number of detected gross points:%" PRId64 "/%" PRId64 "\n", tail.nGrossNum, tail.nPointNum);
  const auto sixFigures = [&file](const char* title, const double* d) {
    file.Write(title);
    file.Printf("MEAN:%12.6lf\t%12.6lf\t%12.6lf\n", d[0], d[1], d[2]);
    file.Printf("RMSE:%12.6lf\t%12.6lf\t%12.6lf\n", d[3], d[4], d[5]);
  };
  sixFigures("Control point residuals:\n", tail.pControl);
  sixFigures("Check point residuals:\n", tail.pCheck);
}

}  // namespace orvo
