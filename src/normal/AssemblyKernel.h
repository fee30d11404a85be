// The hot loop of the assembly: from measurements to reduced normal equations, point by point.
#pragma once

#include <cstdint>
#include <vector>

#include "block/Records.h"
#include "normal/BlockIndex.h"
#include "normal/ImagePointPartials.h"
#include "normal/UnknownLayout.h"

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
  float* pResiduals = nullptr;                            ///< x and y of each measurement, zero at first
  int32_t* pGrossFlags = nullptr;                         ///< zero at first
  uint8_t* pRowFlags = nullptr;                           ///< set to 1 for every block row added to
  int64_t nPointNum = 0, nGrossNum = 0, nLeftOutNum = 0;  ///< measurements: all, gross, without an equation
  double fSumX = 0, fSumY = 0, fSquareSumX = 0, fSquareSumY = 0;
  double fMaxX = 0, fMaxY = 0, fMinX = 0, fMinY = 0;  ///< start as the figures so far
  std::vector<MissingBlock>* pMissing = nullptr;
};

/// One linearised measurement.
///
/// A row holds the partial derivatives and the misclosure side by side, twelve numbers, in an order that lets
/// the unknowns of the layout's first block rows come first: B A L, in LayoutEop B L A, in LayoutIop A L B.
/// So s (C'D, C'L), the products with every unknown at once, is two multiply-adds of a row.
struct AssemblyRay {
  double Row[2][12];
  double G[3]
          [12];  ///< s times the rows times the first three columns of B: minus G', minus H', M and minus Q
  double fWeight;
  int32_t nImage, nCamera;
  int64_t nImagePoint;
};

/// The elimination of the point in hand, one entry for each of its first block rows.
struct AssemblyNode {
  double N[3][12];       ///< minus M^-1 G
  double Phases[3][24];  ///< G's row repeated, cut as the vectors of a six by six block meet it
  double* pOwn;
  int32_t nRay, nRow;
};

/// A camera of the point in hand.
struct AssemblyCamera {
  double Sum[3][16];  ///< as G of a ray: H summed over the camera's rays, and minus Q of the point
  double N[3][8];     ///< minus M^-1 H
  int32_t nCamera;
};

struct AssemblyBatchPoint {
  int64_t nPoint;
  int32_t nType, nFirstRay, nRayNum;
  bool bOneCamera;
};

/// Work space of one thread, for points of up to `measurementNum` measurements.
struct AssemblyScratch {
  static constexpr int32_t kBatch = 32;  ///< measurements linearised before their products are formed
  AssemblyScratch(int64_t measurementNum, const UnknownLayout& layout);
  std::vector<AssemblyRay> Rays;
  std::vector<AssemblyNode> Nodes;
  std::vector<AssemblyCamera> Cameras;
  std::vector<AssemblyBatchPoint> Points;
  std::vector<int32_t> Order;     ///< rays by block row
  std::vector<double> Own;        ///< own blocks of the first rows, see OwnBlockSize, zero at first
  std::vector<double> CameraOwn;  ///< of the cameras behind them, 5 x 8: A'A and A'L
  std::vector<int32_t>
      OwnCamera;  ///< camera whose coupling is part of an image's own block, -1 not yet known
};

/// Doubles that a first block row has in AssemblyScratch::Own: its diagonal block, its right-hand side and in
/// LayoutEopIop its coupling to its camera, padded.
int32_t OwnBlockSize(int32_t layoutMode);

/// Adds the equations of the points first..last.
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

/// Those that this processor can run, the fastest last. They differ by rounding, each is reproducible.
std::vector<AssemblyKernels> UsableAssemblyKernels();

/// Stable order of many rays by `key`.
void SortManyRays(int32_t* order, int32_t count, const AssemblyRay* rays, int32_t AssemblyRay::*key);

void RememberMissingBlock(AssemblyOutput& out, const MissingBlock& block);

/// Inverts the symmetric 3 by 3 matrix (xx, xy, xz, yy, yz, zz) in place with full pivoting; false where it
/// is singular or the inverse is not finite.
bool InvertPointMatrix(double* M);

}  // namespace orvo
