// The hot loop of the assembly: from measurements to reduced normal equations, point by point.
#pragma once

#include <cstdint>
#include <vector>

#include "base/simd/InstructionSet.h"
#include "geometry/camera/ImagePointPartials.h"
#include "normal/AssemblyScratch.h"
#include "normal/BlockIndex.h"
#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// What all threads read and none writes during a pass.
struct AssemblyInput {
  const ObjectPointRecord* pObjectPoints = nullptr;
  const ImagePointRecord* pImagePoints = nullptr;
  int64_t nImagePointNum = 0;
  const ImageTerms* pImages = nullptr;
  const CameraTerms* pCameras = nullptr;
  UnknownLayout Layout;
  BlockIndexView Index;
  int64_t nSpareOffset = 0;  ///< place in the store for blocks that the pattern does not have
  double fControlWeight = 1;
  double fGrossX = 0, fGrossY = 0;  ///< a tie point's measurement above either is gross
};

/// A block that the pattern does not have.
struct MissingBlock {
  int64_t nObjectPoint;  ///< index in the section
  int64_t nImagePoint;   ///< of the measurement whose own block it is, -1 for a coupling
  int32_t nRow, nCol;
};

/// What one thread adds up.
struct AssemblyOutput {
  double* pBlocks = nullptr;  ///< store of the index's size and a spare block
  double* pConstVector = nullptr;
  float* pResiduals = nullptr;           ///< gets x and y of each measurement, 0 without an equation
  int32_t* pGrossFlags = nullptr;        ///< gets 0, or -1 for gross
  const int32_t* pPointOrder = nullptr;  ///< the points as they are taken, null: as they come
  uint8_t* pRowFlags = nullptr;          ///< set to 1 for every block row added to
  int64_t nPointNum = 0, nGrossNum = 0, nLeftOutNum = 0;  ///< measurements: all, gross, without an equation
  double fSumX = 0, fSumY = 0, fSquareSumX = 0, fSquareSumY = 0;
  double fMaxX = 0, fMaxY = 0, fMinX = 0, fMinY = 0;  ///< start as the figures so far
  std::vector<MissingBlock>* pMissing = nullptr;
};

/// Adds the equations of the points first..last.
///
/// With an order of these points the measurements of each must follow those of the one before it in `in`, and
/// fMinY is not that of the listing's order.
///
/// A ray with partial derivatives D by the unknowns of its block row and C by the point, weight s and
/// misclosure L adds s D'D to its own block and s D'L to the right-hand side. For a point that is no control
/// point, with M = sum s C'C, Q = sum s C'L and G = sum s D'C over the rays of one block row, the block of
/// rows a and b loses G_a M^-1 G_b' and the right-hand side of a loses G_a M^-1 Q. The sums over the rays of
/// one block row come first, as the elimination is linear in them. Without an inverse of M nothing is lost.
using AssemblyKernel = void (*)(const AssemblyInput& in, AssemblyScratch& scratch, AssemblyOutput& out,
                                int64_t first, int64_t last);

/// One kernel for each layout, compiled for one instruction set.
struct AssemblyKernels {
  const char* szName;
  AssemblyKernel ByLayout[4];
};

/// Those of one set, AssemblyKernelBody.cpp.
template <InstructionSet kSet>
AssemblyKernels AssemblyKernelsOf();

/// Those that this processor can run, the fastest last. They differ by rounding, each is reproducible.
std::vector<AssemblyKernels> UsableAssemblyKernels();

/// Stable order of many rays by `key`.
void SortManyRays(int32_t* order, int32_t count, const AssemblyRay* rays, int32_t AssemblyRay::*key);

void RememberMissingBlock(AssemblyOutput& out, const MissingBlock& block);

/// Inverts the symmetric 3 by 3 matrix (xx, xy, xz, yy, yz, zz) in place with full pivoting; false where it
/// is singular or the inverse is not finite.
bool InvertPointMatrix(double* M);

}  // namespace orvo
