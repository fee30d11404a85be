#include "results/ResidualLines.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <memory>

#include "results/FixedFormat.h"

namespace orvo {
namespace {

constexpr size_t kBlockBytes = size_t{1} << 18;
constexpr size_t kMaxLine = 2 * kMaxFixedFloat + 16;

char* WriteFlag(char* out, int32_t flag) {
  *out++ = ' ';
  if (flag == 0) {
    *out++ = '0';
  } else {
    out = std::to_chars(out, out + 12, flag).ptr;
  }
  return out;
}

}  // namespace

void DivideResiduals(std::span<float> residuals, double scale) {
  for (float& v : residuals) v = static_cast<float>(v / scale);
}

void WriteResidualLines(TextWriter& file, std::span<const float> residuals, std::span<const int32_t> flags,
                        ResidualSummary& summary) {
  const std::unique_ptr<char[]> block(new char[kBlockBytes]);
  const char* const full = block.get() + kBlockBytes - kMaxLine;
  char* out = block.get();
  ResidualSummary sum = summary;
  for (size_t i = 0; i < flags.size(); ++i) {
    const float x = residuals[2 * i], y = residuals[2 * i + 1];
    out = WriteFixed(out, x);
    *out++ = '\t';
    out = WriteFixed(out, y);
    *out++ = '\t';
    out = WriteFlag(out, flags[i]);
    *out++ = '\n';
    if (flags[i] == 0) {
      sum.fMaxX = x > sum.fMaxX ? x : sum.fMaxX;
      sum.fMaxY = y > sum.fMaxY ? y : sum.fMaxY;
      sum.fMinX = x < sum.fMinX ? x : sum.fMinX;
      sum.fMinY = y < sum.fMinY ? y : sum.fMinY;
    } else {
      ++sum.nGrossNum;
    }
    if (out > full) {
      file.Write({block.get(), out});
      out = block.get();
    }
  }
  file.Write({block.get(), out});
  sum.nPointNum += static_cast<int64_t>(flags.size());
  summary = sum;
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
