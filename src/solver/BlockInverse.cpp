#include "solver/BlockInverse.h"

#include "geometry/OrvoMatrix.h"

namespace orvo {

int InvertBlockInPlace(double* block, int32_t order) {
  return InvertGaussJordan(block, order, kBlockPivotTolerance);
}

}  // namespace orvo
