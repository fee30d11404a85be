// GPS and IMU observations of the images in the normal equations of the block.
#include <algorithm>

#include "normal/PosObservation.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

/// Where one image and its group stand in the unknowns.
struct PosPlace {
  int32_t nImageRow, nGroupRow;            ///< block rows
  int32_t nImagePosition, nGroupPosition;  ///< scalar positions
};

PosPlace PlaceOf(const UnknownLayout& layout, int32_t image, int32_t group) {
  const int32_t groupRow = layout.PointRows() + group;
  return {image, groupRow, layout.Position(image), layout.Position(groupRow)};
}

/// The range tests of one image; a message for each index that fails, false when any does.
bool IndicesFit(CBundleAdjustment& block, const PosModel& model, int32_t image, int32_t group) {
  bool fit = static_cast<size_t>(image) < block.Images.pPos.size() && image < block.Images.nImageNum;
  const int32_t size = block.Unknowns.nPosSize;
  const auto outside = [&](int64_t index) {
    return index < 0 || index > int64_t{block.Images.nGroupNum} * size - 1;
  };
  if (model.bConst && model.bGps) {
    for (int32_t j = 0; j < 3; ++j) {
      const int64_t index = int64_t{group} * size + j;
      if (image <= block.Images.nImageFileNum - 1 && !outside(index)) continue;
      block.LogPrintf("Error!%d/%d %d %d %d/%d \n", image, block.Images.nImageFileNum, group, j,
                      static_cast<int32_t>(index), block.Images.nGroupNum);
      fit = false;
    }
  }
  if (model.bLinear && model.bGps) {
    for (int32_t k = 0; k < 3; ++k) {
      const int64_t index = int64_t{group} * size + k + (model.bConst ? model.RowNum() : 0);
      if (!outside(index)) continue;
      block.LogPrintf("Error!%d %d \n", k, static_cast<int32_t>(index));
      fit = false;
    }
  }
  return fit && group < block.Images.nGroupNum;
}

void AddSparse(CBundleAdjustment& block, const PosEquations& equations, const PosPlace& place,
               bool imageMoves) {
  constexpr int32_t kLargestImageBlock = 11;
  const int32_t size = block.Unknowns.nPosSize;
  if (imageMoves) {
    // Blocks take their size from their first writer, so they are sent in the full height of an image's
    // block.
    const int32_t height =
        block.Unknowns.nLayoutMode == LayoutMergedEopIop ? kLargestImageBlock : PosEquations::kEopSize;
    double Aee[kLargestImageBlock * kLargestImageBlock] = {};
    double Aed[kLargestImageBlock * PosEquations::kMaxParameterNum] = {};
    for (int32_t row = 0; row < PosEquations::kEopSize; ++row) {
      std::copy_n(&equations.Aee[PosEquations::kEopSize * row], PosEquations::kEopSize, Aee + height * row);
    }
    std::copy_n(equations.Aed.data(), PosEquations::kEopSize * size, Aed);
    block.AddToSubMatrix(Aee, height, height, place.nImageRow, place.nImageRow, block.Normal.pSubMatrices);
    if (size > 0)
      block.AddToSubMatrix(Aed, height, size, place.nImageRow, place.nGroupRow, block.Normal.pSubMatrices);
  }
  if (size < 1) return;
  block.AddToSubMatrix(equations.Add.data(), size, size, place.nGroupRow, place.nGroupRow,
                       block.Normal.pSubMatrices);
}

void AddDense(CBundleAdjustment& block, const PosEquations& equations, const PosPlace& place,
              bool imageMoves) {
  const int32_t n = block.Unknowns.nUnknownNum, six = PosEquations::kEopSize, size = block.Unknowns.nPosSize;
  const int32_t i = place.nImagePosition, q = place.nGroupPosition;
  double* N = block.Normal.pDenseNormal.get();
  if (imageMoves) {
    block.AddToDenseMatrix(equations.Aee.data(), six, six, i, i, N, n, n);
    block.AddToDenseMatrix(equations.Aed.data(), six, size, i, q, N, n, n);
    block.AddToDenseMatrix(equations.Ade.data(), size, six, q, i, N, n, n);
  }
  block.AddToDenseMatrix(equations.Add.data(), size, size, q, q, N, n, n);
}

/// A parameter that no image observes (its group has no usable record, or every time in it is 0) has only
/// zeros in its row. A one on the diagonal keeps it at its value and the matrix regular.
void HoldUnobservedParameters(CBundleAdjustment& block, const std::vector<double>& diagonal) {
  const int32_t size = block.Unknowns.nPosSize;
  for (int32_t group = 0; group < block.Images.nGroupNum; ++group) {
    const double* own = diagonal.data() + static_cast<size_t>(group) * static_cast<size_t>(size);
    if (std::find(own, own + size, 0.0) == own + size) continue;
    double one[PosEquations::kMaxParameterNum * PosEquations::kMaxParameterNum] = {};
    for (int32_t j = 0; j < size; ++j) one[(size + 1) * j] = own[j] == 0.0 ? 1.0 : 0.0;
    const int32_t row = block.Layout().PointRows() + group, q = block.Layout().Position(row);
    if (!block.Limits.Apply_PCG_Model) {
      block.AddToDenseMatrix(one, size, size, q, q, block.Normal.pDenseNormal.get(),
                             block.Unknowns.nUnknownNum, block.Unknowns.nUnknownNum);
    } else if (block.GetSubMatrixId(row, row) >= 0) {
      block.AddToSubMatrix(one, size, size, row, row, block.Normal.pSubMatrices);
    }
  }
}

}  // namespace

int CBundleAdjustment::BuildPosNormalEquation(int32_t /*iteration*/) {
  PosModel model;
  model.bGps = Limits.Apply_GPS_Data;
  model.bImu = Limits.Apply_IMU_Data;
  model.bConst = Limits.Correct_Const_Error;
  model.bLinear = Limits.Correct_LinearError;
  model.fWeightXY = Limits.GPS_WeightXY;
  model.fWeightZ = Limits.GPS_WeightZ;
  // Without image unknowns the groups are none either. Without drift parameters, which is where a single
  // group with linear terms alone ends up, the images are observed directly.
  if (Unknowns.nLayoutMode == LayoutIop || Unknowns.nPosSize != model.ParameterNum()) return 1;

  std::vector<double> diagonal(Normal.pPosParams.size(), 0.0);
  PosEquations equations;
  for (const int32_t image : Images.pImageIndex) {
    if (image < 0 || static_cast<size_t>(image) >= Images.pImageGroup.size()) continue;
    const int32_t group = Images.pImageGroup[static_cast<size_t>(image)];
    if (group < 0 || !IndicesFit(*this, model, image, group)) continue;
    const EopRecord& eop = Images.pEop[static_cast<size_t>(image)];
    const PosRecord& observed = Images.pPos[static_cast<size_t>(image)];
    if (observed.nStatus == kPosNotObserved) continue;
    const size_t first = static_cast<size_t>(group) * static_cast<size_t>(Unknowns.nPosSize);
    if (!ComputePosEquations(model, eop, observed, Normal.pPosParams.data() + first, equations)) continue;

    const PosPlace place = PlaceOf(Layout(), image, group);
    const bool imageMoves = eop.nStatus != 1;
    if (Limits.Apply_PCG_Model) {
      AddSparse(*this, equations, place, imageMoves);
    } else {
      AddDense(*this, equations, place, imageMoves);
    }
    if (imageMoves) {
      AddToDenseMatrix(equations.be.data(), PosEquations::kEopSize, 1, place.nImagePosition, 0,
                       Normal.pConstVector.data(), Unknowns.nUnknownNum, 1);
    }
    AddToDenseMatrix(equations.bd.data(), Unknowns.nPosSize, 1, place.nGroupPosition, 0,
                     Normal.pConstVector.data(), Unknowns.nUnknownNum, 1);
    for (int32_t j = 0; j < Unknowns.nPosSize; ++j) {
      diagonal[first + static_cast<size_t>(j)] +=
          equations.Add[static_cast<size_t>((Unknowns.nPosSize + 1) * j)];
    }
  }
  HoldUnobservedParameters(*this, diagonal);
  return 1;
}

}  // namespace orvo
