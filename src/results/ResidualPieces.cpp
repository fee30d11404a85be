#include "results/ResidualPieces.h"

#include <algorithm>
#include <cinttypes>
#include <memory>
#include <vector>

#include "base/Threads.h"

namespace orvo {

void ResidualSummary::Append(const ResidualSummary& next) {
  fMaxX = next.fMaxX > fMaxX ? next.fMaxX : fMaxX;
  fMaxY = next.fMaxY > fMaxY ? next.fMaxY : fMaxY;
  fMinX = next.fMinX < fMinX ? next.fMinX : fMinX;
  fMinY = next.fMinY < fMinY ? next.fMinY : fMinY;
  nGrossNum += next.nGrossNum;
  nPointNum += next.nPointNum;
}

ResidualSummary WriteResidualPieces(TextWriter& file, const ResidualPieces& pieces, int threads) {
  struct Worker {
    std::unique_ptr<char[]> pText;
    char* pEnd;
    ResidualSummary Summary;
  };
  const int workers = ParallelThreadNum(pieces.nPieceNum, threads);
  std::vector<Worker> work;
  work.reserve(static_cast<size_t>(workers));
  for (int k = 0; k < workers; ++k) {
    // Most of it is never touched, so it is not to be filled.
    work.push_back(
        {std::unique_ptr<char[]>(new char[pieces.nMostBytes]), nullptr, ResidualSummary(pieces.fStart)});
  }
  ResidualSummary summary(pieces.fStart);
  ParallelInOrder(
      pieces.nPieceNum, workers,
      [&](int64_t i, int k) {
        Worker& worker = work[static_cast<size_t>(k)];
        worker.Summary = ResidualSummary(pieces.fStart);
        worker.pEnd = pieces.Format(i, worker.pText.get(), worker.Summary);
      },
      [&](int64_t, int k) {
        const Worker& worker = work[static_cast<size_t>(k)];
        file.Write({worker.pText.get(), worker.pEnd});
        summary.Append(worker.Summary);
      });
  return summary;
}

ResidualFigures FiguresOf(const ResidualStatistics& residuals, double imageScale) {
  ResidualFigures figures;
  figures.fMeanX = residuals.fMeanResidualX / imageScale;
  figures.fMeanY = residuals.fMeanResidualY / imageScale;
  figures.fRmsX = residuals.fRmsResidualX / imageScale;
  figures.fRmsY = residuals.fRmsResidualY / imageScale;
  std::ranges::copy(residuals.dControlResidual, figures.Control.begin());
  std::ranges::copy(residuals.dCheckResidual, figures.Check.begin());
  return figures;
}

void WriteResidualTail(TextWriter& file, const ResidualFigures& figures, const ResidualSummary& summary) {
  file.Write("\n");
  file.Printf("MEAN:%lf\t%lf\n", figures.fMeanX, figures.fMeanY);
  file.Printf("RMSE:%lf\t%lf\n", figures.fRmsX, figures.fRmsY);
  file.Printf("MAX:%lf\t%lf\n", summary.fMaxX, summary.fMaxY);
  // The minimum of x stands in both columns; readers of the file know it so.
  file.Printf("MIN:%lf\t%lf\n", summary.fMinX, summary.fMinX);
  file.Printf("Number of detected gross points:%" PRId64 "/%" PRId64 "\n", summary.nGrossNum,
              summary.nPointNum);
  const auto sixFigures = [&file](const char* title, const std::array<double, 6>& d) {
    file.Write(title);
    file.Printf("MEAN:%12.6lf\t%12.6lf\t%12.6lf\n", d[0], d[1], d[2]);
    file.Printf("RMSE:%12.6lf\t%12.6lf\t%12.6lf\n", d[3], d[4], d[5]);
  };
  sixFigures("Control point residuals:\n", figures.Control);
  sixFigures("Check point residuals:\n", figures.Check);
}

}  // namespace orvo
