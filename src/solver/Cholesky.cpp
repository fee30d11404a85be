#include "solver/Cholesky.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "base/MemoryPurpose.h"

namespace orvo {
namespace {

// Columns that a thread looks at, solves and updates at a time.
constexpr int32_t kColumnsPerLook = 1536, kColumnsPerSolution = 96, kColumnsPerUpdate = 192;

struct Free {
  void operator()(double* data) const { std::free(data); }
};
using AlignedArray = std::unique_ptr<double[], Free>;

AlignedArray AllocateAligned(size_t size) {
  constexpr size_t kLine = 64;
  const size_t bytes = (size * sizeof(double) + kLine - 1) / kLine * kLine;
  AlignedArray array(static_cast<double*>(std::aligned_alloc(kLine, bytes)));
  if (!array) LackMemory(bytes);
  return array;
}

int32_t CeilDivide(int32_t a, int32_t b) { return (a + b - 1) / b; }

}  // namespace

Cholesky::Cholesky(double* matrix, int32_t order, const CholeskyKernels& kernels)
    : N(matrix),
      nOrder(order),
      nPanelNum(CeilDivide(order, kCholeskyPanel)),
      nStripNum(CeilDivide(order, kernels.nStrip)),
      Kernels(kernels),
      vUsed(static_cast<size_t>(nPanelNum) * static_cast<size_t>(nStripNum)) {
  UseAll();
}

void Cholesky::UseAll() {
  vRuns.clear();
  vFirstRun.assign(1, 0);
  for (int32_t p = 0; p < nPanelNum; ++p) {
    vRuns.push_back({FirstRow(p), nOrder});
    vFirstRun.push_back(vRuns.size());
  }
}

int32_t Cholesky::EndRow(int32_t panel) const { return std::min(nOrder, FirstRow(panel + 1)); }

std::span<const ColumnRun> Cholesky::Runs(int32_t panel) const {
  const auto p = static_cast<size_t>(panel);
  return std::span(vRuns).subspan(vFirstRun[p], vFirstRun[p + 1] - vFirstRun[p]);
}

bool Cholesky::Factor(WorkerPool& pool) {
  const AlignedArray strips =
      AllocateAligned(static_cast<size_t>(nStripNum) * static_cast<size_t>(Kernels.nStrip) * kCholeskyPanel);
  double inverse[kCholeskyPanel];
  vRuns.clear();
  vFirstRun.assign(1, 0);
  bool solved = true;
  for (int32_t p = 0; p < nPanelNum && solved; ++p) {
    const int32_t firstStrip = FirstRow(p) / Kernels.nStrip;
    const CholeskyPanel panel{
        N, nOrder, FirstRow(p), EndRow(p) - FirstRow(p), strips.get(), inverse, Used(p) + firstStrip};
    solved = SolveDiagonal(panel);
    if (!solved) break;
    FindUsed(panel, pool);
    SolveBehind(panel, pool);
    Update(panel, pool);
  }
  if (!solved) UseAll();
  return solved;
}

bool Cholesky::SolveDiagonal(const CholeskyPanel& panel) const {
  for (int32_t strip = 0; strip * Kernels.nStrip < panel.nDepth; ++strip) {
    if (!Kernels.SolveStrip(panel, strip)) return false;
  }
  return true;
}

void Cholesky::FindUsed(const CholeskyPanel& panel, WorkerPool& pool) {
  const auto first = static_cast<int32_t>(panel.nFirst) / Kernels.nStrip;
  const int32_t stripNum = nStripNum - first, behind = CeilDivide(panel.nDepth, Kernels.nStrip);
  const int32_t perTask = CeilDivide(kColumnsPerLook, Kernels.nStrip);
  pool.Run(CeilDivide(stripNum - behind, perTask), [&](int32_t task) {
    const int32_t begin = behind + task * perTask;
    Kernels.MarkUsed(panel, begin, std::min(begin + perTask, stripNum));
  });
  vBehind.clear();
  vRuns.push_back({panel.nFirst, panel.nFirst + panel.nDepth});
  for (int32_t strip = behind; strip < stripNum; ++strip) {
    if (panel.pUsed[strip] == 0) continue;
    vBehind.push_back(strip);
    const int64_t column = panel.nFirst + int64_t{strip} * Kernels.nStrip;
    if (vRuns.back().nEnd != column) vRuns.push_back({column, column});
    vRuns.back().nEnd = std::min<int64_t>(nOrder, column + Kernels.nStrip);
  }
  vFirstRun.push_back(vRuns.size());
  // What the panel's products fall on is used, too, even where they happen to give zeros.
  int32_t last = -1;
  for (size_t i = 0; i < vBehind.size(); ++i) {
    const int32_t target = (first + vBehind[i]) * Kernels.nStrip / kCholeskyPanel;
    if (target == last) continue;
    last = target;
    uint8_t* const touched = Used(target) + first;
    for (size_t k = i; k < vBehind.size(); ++k) touched[vBehind[k]] = 1;
  }
}

void Cholesky::SolveBehind(const CholeskyPanel& panel, WorkerPool& pool) const {
  const int32_t perTask = std::max(1, kColumnsPerSolution / Kernels.nStrip);
  const auto count = static_cast<int32_t>(vBehind.size());
  pool.Run(CeilDivide(count, perTask), [&](int32_t task) {
    for (int32_t k = task * perTask; k < std::min((task + 1) * perTask, count); ++k) {
      Kernels.SolveStrip(panel, vBehind[static_cast<size_t>(k)]);
    }
  });
}

void Cholesky::Update(const CholeskyPanel& panel, WorkerPool& pool) const {
  const int32_t perTask = kColumnsPerUpdate / Kernels.nStrip;
  const auto count = static_cast<int32_t>(vBehind.size());
  const int32_t squares = CeilDivide(count, perTask);
  pool.Run(squares * (squares + 1) / 2, [&](int32_t task) {
    // Squares of the upper triangle, counted column by column.
    int32_t column = 0;
    while (task > column) task -= ++column;
    const int32_t first = column * perTask, firstRow = task * perTask;
    for (int32_t k = first; k < std::min(first + perTask, count); ++k) {
      Kernels.UpdateStrip(panel, vBehind.data() + firstRow, std::min(perTask, count - firstRow),
                          vBehind[static_cast<size_t>(k)]);
    }
  });
}

void Cholesky::Solve(double* x) const {
  for (int32_t p = 0; p < nPanelNum; ++p) {
    for (int64_t k = FirstRow(p); k < EndRow(p); ++k) {
      const double* row = N + k * nOrder;
      x[k] /= row[k];
      for (const ColumnRun& run : Runs(p)) {
        const int64_t first = std::max(run.nFirst, k + 1);
        if (first < run.nEnd) Kernels.Subtract(x[k], row + first, x + first, run.nEnd - first);
      }
    }
  }
  for (int32_t p = nPanelNum - 1; p >= 0; --p) {
    for (int64_t k = EndRow(p) - 1; k >= FirstRow(p); --k) {
      const double* row = N + k * nOrder;
      double sum = 0;
      for (const ColumnRun& run : Runs(p)) {
        const int64_t first = std::max(run.nFirst, k + 1);
        if (first < run.nEnd) sum += Kernels.Dot(row + first, x + first, run.nEnd - first);
      }
      x[k] = (x[k] - sum) / row[k];
    }
  }
}

void Cholesky::Clear() {
  for (int32_t p = 0; p < nPanelNum; ++p) {
    const int64_t first = FirstRow(p), end = EndRow(p);
    for (const ColumnRun& run : Runs(p)) {
      for (int64_t k = first; k < end; ++k)
        std::fill(N + k * nOrder + run.nFirst, N + k * nOrder + run.nEnd, 0.0);
      for (int64_t i = std::max(run.nFirst, end); i < run.nEnd; ++i) {
        std::fill(N + i * nOrder + first, N + i * nOrder + end, 0.0);
      }
    }
  }
}

void Cholesky::Remainder(const double* diagonal, const double* b, const double* x, double* remainder) const {
  for (int32_t i = 0; i < nOrder; ++i) remainder[i] = b[i] - diagonal[i] * x[i];
  for (int32_t p = 0; p < nPanelNum; ++p) {
    const int64_t first = FirstRow(p), end = EndRow(p);
    for (const ColumnRun& run : Runs(p)) {
      for (int64_t i = std::max(run.nFirst, first + 1); i < run.nEnd; ++i) {
        remainder[i] -= Kernels.DotAndSubtract(N + i * nOrder + first, x + first, x[i], remainder + first,
                                               std::min(end, i) - first);
      }
    }
  }
}

}  // namespace orvo
