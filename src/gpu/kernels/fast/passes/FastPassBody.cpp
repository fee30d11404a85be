// Body of the passes of the fast kernels. Each instruction set compiles its own copy, so nothing in here may
// be shared between translation units: everything stands in an unnamed namespace, what is called from outside
// is always inlined, and no library template is used.
#include "gpu/kernels/fast/passes/FastCouplingPasses.h"
#include "gpu/kernels/fast/passes/FastImagePasses.h"
#include "gpu/kernels/fast/passes/FastPointPasses.h"

namespace orvo::gpu {
template <>
FastPasses FastPassesOf<InstructionSet::ORVO_SET>() {
  return {NameOf(InstructionSet::ORVO_SET),
          {SumPoints<false>, SumPoints<true>},
          MarkImages,
          {ConstImages<LayoutEop>, ConstImages<LayoutIop>, ConstImages<LayoutMergedEopIop>,
           ConstImages<LayoutEopIop>},
          {ImageBlocks<false>, ImageBlocks<true>},
          CameraSquares,
          {CouplingPoints<false>, CouplingPoints<true>},
          {{ProductPoints<LayoutEop, false>, ProductPoints<LayoutEop, true>},
           {ProductPoints<LayoutIop, false>, ProductPoints<LayoutIop, true>},
           {ProductPoints<LayoutMergedEopIop, false>, ProductPoints<LayoutMergedEopIop, true>},
           {ProductPoints<LayoutEopIop, false>, ProductPoints<LayoutEopIop, true>}},
          {ProductImages<LayoutEop>, ProductImages<LayoutIop>, ProductImages<LayoutMergedEopIop>,
           ProductImages<LayoutEopIop>}};
}

}  // namespace orvo::gpu
