// The hot loops of a pass over the points, compiled for several instruction sets: rays in lanes, and products
// of rows in registers.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/simd/InstructionSet.h"
#include "rigorous/PointFactor.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Numbers of a whole row of registers, in all sets: rows of blocks begin and end at multiples of it.
inline constexpr int32_t kRowNumbers = 8;

inline constexpr int32_t RoundedUp(int32_t num) {
  return (num + kRowNumbers - 1) / kRowNumbers * kRowNumbers;
}

struct alignas(64) RegisterRow {
  double Numbers[kRowNumbers] = {};
};

/// What rays of one image have in common. Doubles only: they are read as an array.
struct RayTerms {
  double Centre[3], R[9];
  double Lens[kLensParameterNum];  ///< of its camera, in the order of Lens
  double fWeight;                  ///< 1 / sigma^2
  double fSpare;
};

/// By image.
std::vector<RayTerms> TermsOf(const Problem& problem, const Estimate& estimate);

/// Residual and derivatives of a ray, as in RayRows but all parameters of the lens in their order, and zeros
/// for whole registers. Doubles only.
struct alignas(64) PlaceRow {
  double Residual[2];
  double Point[2][3];
  double Image[2][8];
  double Camera[2][12];
};

struct RayBatch {
  const RayTerms* pTerms = nullptr;
  const Ray* pRays = nullptr;
  int32_t nRays = 0;
  const double* pPoint = nullptr;          ///< 3 numbers
  bool bCorrected = false, bFull = false;  ///< without: nothing but the residual and its rows by the point
};

/// A node that the rays of a point have rows of.
struct NodeShare {
  int32_t nSize = 0, nStride = 0;
  double* pV = nullptr;          ///< three columns of nStride numbers; 0 at first
  double* pConstants = nullptr;  ///< nStride numbers
};

/// Columns of a ray within a node: two rows of nWidth numbers each, zeros where it has none. Those that may
/// be other than zero end before nEnd.
struct ShareRows {
  int32_t nShare = -1, nWidth = 0, nEnd = 0;
  const double* Rows[2] = {};
};

struct WeightedRay {
  const PlaceRow* pRow = nullptr;
  double fWeight = 0;
  ShareRows Parts[2];  ///< none: nShare is -1. That of the second is not below that of the first
};

/// Blocks of all pairs of shares a <= b: row-major, nSize of a rows of nStride of b numbers.
struct ShareBlocks {
  const NodeShare* pShares = nullptr;
  int32_t nShares = 0;
  double* const* pBlocks = nullptr;  ///< block (a, b) at a * nShares + b

  double* At(int32_t a, int32_t b) const { return pBlocks[a * nShares + b]; }
};

struct PointKernels {
  /// Rows of all rays, and their weighted squared residuals: no number where that takes a closer look at the
  /// ray. Both have room for RoundedUp(nRays).
  void (*Linearize)(const RayBatch& batch, PlaceRow* rows, double* squares);
  /// M (6 numbers) and n (3) of the point; rays of weight 0 or less have no part.
  void (*SumPoint)(const PlaceRow* rows, const double* weights, int32_t rayNum, double* M, double* n);
  /// The rays' share of the blocks, of the constants and of G, which pV is then.
  void (*AddRays)(const WeightedRay* rays, int32_t rayNum, const ShareBlocks& blocks);
  /// Takes the point out: `Q` is that of its factor, `reduced` Q'n. pV becomes V = G Q.
  void (*Reduce)(const double* Q, const double* reduced, const ShareBlocks& blocks);
};

/// Those of one set, PointKernelBody.cpp. They differ by rounding, each is reproducible.
template <InstructionSet kSet>
PointKernels PointKernelsOf();

/// Those that this processor can run, the fastest last.
std::vector<PointKernels> UsablePointKernels();

}  // namespace orvo::rigorous
