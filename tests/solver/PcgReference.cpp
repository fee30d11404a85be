#include "solver/PcgReference.h"

#include <cmath>

#include "geometry/OrvoMatrix.h"

namespace orvo::test {
namespace {

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

double Norm(std::vector<double> copy) { return std::sqrt(Dot(copy, copy)); }

std::vector<double> Residual(const BlockSystem& system, const std::vector<double>& x) {
  std::vector<double> r(x.size());
  MultiplyNormalMatrix(&system, x.data(), r.data());
  for (size_t i = 0; i < r.size(); ++i) r[i] = system.vConst[i] - r[i];
  return r;
}

}  // namespace

int MultiplyRowsByVector(const double* matrix, int32_t rows, int32_t cols, const double* vector,
                         int32_t vectorLength, double* out) {
  if (vector == nullptr || out == nullptr || cols != vectorLength) return 0;
  for (int32_t i = 0; i < rows; ++i) {
    out[i] = 0.0;
    for (int32_t j = 0; j < cols; ++j) out[i] += matrix[i * cols + j] * vector[j];
  }
  return 1;
}

int MultiplyNormalMatrix(const BlockSystem* system, const double* v, double* out) {
  if (system == nullptr || v == nullptr || out == nullptr) return 0;
  std::fill_n(out, system->nOrder, 0.0);
  for (const SubMatrix& block : system->vBlocks) {
    if (block.nRows == 0) continue;
    const int32_t pr = system->vRowPosition[static_cast<size_t>(block.nRow)];
    const int32_t pc = system->vRowPosition[static_cast<size_t>(block.nCol)];
    std::vector<double> product(static_cast<size_t>(block.nRows));
    MultiplyRowsByVector(block.pData, block.nRows, block.nCols, v + pc, block.nCols, product.data());
    for (int32_t r = 0; r < block.nRows; ++r) out[pr + r] += product[static_cast<size_t>(r)];
    if (pr == pc) continue;
    std::vector<double> transposed;
    for (int32_t c = 0; c < block.nCols; ++c) {
      for (int32_t r = 0; r < block.nRows; ++r) {
        transposed.push_back(block.pData[r * block.nCols + c]);
      }
    }
    product.resize(static_cast<size_t>(block.nCols));
    MultiplyRowsByVector(transposed.data(), block.nCols, block.nRows, v + pr, block.nRows, product.data());
    for (int32_t c = 0; c < block.nCols; ++c) out[pc + c] += product[static_cast<size_t>(c)];
  }
  return 1;
}

int ApplyPreconditioner(const BlockSystem* system, const double* r, double* out) {
  if (system == nullptr || r == nullptr || out == nullptr) return 0;
  std::fill_n(out, system->nOrder, 0.0);
  for (size_t row = 0; row < system->vRows.size(); ++row) {
    const SubMatrix* diagonal = nullptr;
    for (const SubMatrix& block : system->vBlocks) {
      const bool here =
          block.nRows > 0 && block.nRow == static_cast<int32_t>(row) && block.nCol == block.nRow;
      if (here && diagonal == nullptr) diagonal = &block;
    }
    if (diagonal == nullptr) continue;
    if (diagonal->nRows != diagonal->nCols) return 0;
    std::vector<double> inverse(diagonal->pData, diagonal->pData + diagonal->nRows * diagonal->nCols);
    InvertGaussJordan(inverse.data(), diagonal->nRows, 1e-24);
    const int32_t p = system->vRowPosition[row];
    std::vector<double> product(static_cast<size_t>(diagonal->nRows));
    MultiplyRowsByVector(inverse.data(), diagonal->nRows, diagonal->nRows, r + p, diagonal->nRows,
                         product.data());
    for (int32_t i = 0; i < diagonal->nRows; ++i) out[p + i] += product[static_cast<size_t>(i)];
  }
  return 1;
}

ReferenceRun ReferencePcg(const BlockSystem& system, std::vector<double> start, int32_t maxIterationNum,
                          double forcingLimit) {
  ReferenceRun run;
  run.x = std::move(start);
  const size_t n = run.x.size();
  std::vector<double> r = Residual(system, run.x), p(n), z(n), q(n), best(n, 0.0);
  const double bNorm = Norm(system.vConst);
  ApplyPreconditioner(&system, r.data(), p.data());
  double rho = Dot(r, p), eta = 100.0;
  int32_t iterations = 0;
  while (iterations < maxIterationNum) {
    if (!(eta > forcingLimit)) break;
    MultiplyNormalMatrix(&system, p.data(), q.data());
    const double alpha = rho / Dot(p, q);
    for (size_t i = 0; i < n; ++i) run.x[i] += alpha * p[i];
    r = Residual(system, run.x);
    ApplyPreconditioner(&system, r.data(), z.data());
    const double rNorm = Norm(r), pNorm = Norm(p);
    eta = rNorm / bNorm;
    if (run.fBestEta > eta) {
      run.fBestEta = eta;
      best = run.x;
    }
    const double rhoOld = rho;
    rho = Dot(r, z);
    const double beta = rho / rhoOld;
    for (size_t i = 0; i < n; ++i) p[i] = z[i] + beta * p[i];
    run.vLines.push_back({{rNorm, pNorm, Dot(p, q), alpha, beta, eta}});
    ++iterations;
  }
  run.bExhausted = iterations == maxIterationNum && maxIterationNum >= 3;
  if (run.bExhausted) run.x = best;
  return run;
}

}  // namespace orvo::test
