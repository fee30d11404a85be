// The passes that the fast kernels are made of, each over a range of object points or of images, and the
// instruction sets that they are compiled for.
#pragma once

#include <cstdint>
#include <vector>

#include "base/simd/InstructionSet.h"
#include "gpu/kernels/fast/FastArrays.h"

namespace orvo::gpu {

/// What all passes of one kernel read and write.
struct FastInput : FastArrays {
  float fLimitX = 0, fLimitY = 0;  ///< a ray of a tie point above either is gross
  float* pOut = nullptr;           ///< what is added to: pConst, pPrecond or pProduct
};

/// Work of one thread for the shares of object points in the diagonal blocks of cameras.
struct FastCouplingScratch {
  double* pShare = nullptr;      ///< 15 per camera, zero
  float* pSums = nullptr;        ///< 16 for each ray of the longest point
  uint32_t* pCameras = nullptr;  ///< 1 for each ray of the longest point
  uint32_t* pSlots = nullptr;    ///< 1 per camera, kNoSlot; left so
};
inline constexpr uint32_t kNoSlot = 0xffffffffu;

/// Ranges are [first, end). Passes over points write their points only, passes over images their images only,
/// so that ranges can be shared out between threads in any way without changing a number.
struct FastPasses {
  using Images = void (*)(const FastInput& in, int64_t first, int64_t end);
  using Points = void (*)(const FastInput& in, int64_t first, int64_t end);

  const char* szName;
  /// Residuals, gross flags of the rays in point order, points finished. Sets `sums` to those of Lx, Ly, Lx
  /// Lx and Ly Ly over the rays that are not gross. With several cameras, with one.
  void (*SumPoints[2])(const FastInput& in, int64_t first, int64_t end, double* sums);
  /// The same flags in image order.
  Images MarkImages;
  /// By layout. Shares in a shared camera go to FastWork::pImageTerms, also below.
  Images ConstImages[4];
  /// Diagonal blocks: 6 by 6, 11 by 11.
  Images ImageBlocks[2];
  /// Direct terms of the cameras' diagonal blocks.
  Images CameraSquares;
  /// What object points take off them, added to the scratch; with several cameras, with one.
  void (*CouplingPoints[2])(const FastInput& in, int64_t first, int64_t end,
                            const FastCouplingScratch& scratch);
  /// First pass of the product, by layout; with several cameras, with one.
  Points ProductPoints[4][2];
  Images ProductImages[4];
};

/// Those of one set, FastPassBody.cpp.
template <InstructionSet kSet>
FastPasses FastPassesOf();

/// Those that this processor can run, the fastest last. All give the same numbers.
std::vector<FastPasses> UsableFastPasses();

}  // namespace orvo::gpu
