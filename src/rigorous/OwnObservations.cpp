#include "rigorous/OwnObservations.h"

#include <span>
#include <utility>

#include "rigorous/OwnRows.h"

namespace orvo::rigorous {
namespace {

void Count(const OwnRows& rows, OwnSums& sums) {
  for (int c = 0; c < 3; ++c) {
    if (!rows.IsCounted[c]) continue;
    sums.fSquares += rows.Residual[c] * rows.Residual[c];
    ++sums.nObservations;
  }
  sums.nNotFinite += rows.nNotFinite;
}

/// Row-major blocks, `width` unknowns wide: adds J'K at a place.
void AddProduct(std::span<double> block, int32_t width, const OwnTerm& rows, const OwnTerm& columns) {
  for (int i = 0; i < rows.nWidth; ++i) {
    for (int k = 0; k < columns.nWidth; ++k) {
      double sum = 0;
      for (int c = 0; c < 3; ++c) sum += rows.Rows[3 * c + i] * columns.Rows[3 * c + k];
      block[(rows.nColumn + i) * width + columns.nColumn + k] += sum;
    }
  }
}

/// -J'r.
void AddConstants(const UnknownPlan& plan, const OwnTerm& term, const Vector3& residual,
                  ReducedEquations& equations) {
  const int64_t first = plan.vFirstUnknown[term.nNode] + term.nColumn;
  const Vector3 product = MultiplyTransposed(term.Rows, residual);
  for (int k = 0; k < term.nWidth; ++k) equations.n[static_cast<size_t>(first + k)] -= product[k];
}

void AddPair(const UnknownPlan& plan, const OwnTerm& a, const OwnTerm& b, ReducedEquations& equations) {
  const bool inOrder = std::pair(a.nNode, a.nColumn) <= std::pair(b.nNode, b.nColumn);
  const OwnTerm& rows = inOrder ? a : b;
  const OwnTerm& columns = inOrder ? b : a;
  AddProduct(equations.N.Find(rows.nNode, columns.nNode), plan.vSizes[columns.nNode], rows, columns);
}

void AddEquations(const UnknownPlan& plan, const OwnRows& rows, ReducedEquations& equations) {
  for (size_t a = 0; a < rows.Terms.size(); ++a) {
    if (rows.Terms[a].IsHeld()) continue;
    AddConstants(plan, rows.Terms[a], rows.Residual, equations);
    for (size_t b = 0; b <= a; ++b) {
      if (!rows.Terms[b].IsHeld()) AddPair(plan, rows.Terms[a], rows.Terms[b], equations);
    }
  }
}

}  // namespace

OwnSums SumOwnObservations(const Problem& problem, const Estimate& estimate) {
  OwnSums sums;
  ForEachOwnObservation(problem, nullptr, estimate, [&sums](const OwnRows& rows) { Count(rows, sums); });
  return sums;
}

OwnSums AddOwnObservations(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                           ReducedEquations& equations) {
  OwnSums sums;
  ForEachOwnObservation(problem, &plan, estimate, [&](const OwnRows& rows) {
    Count(rows, sums);
    AddEquations(plan, rows, equations);
  });
  return sums;
}

}  // namespace orvo::rigorous
