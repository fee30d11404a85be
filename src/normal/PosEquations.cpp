#include "normal/PosEquations.h"

#include <algorithm>

#include "normal/Accumulate.h"
#include "normal/BlockLookup.h"

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
bool IndicesFit(const ImageTable& images, const PosModel& model, int32_t size, int32_t image, int32_t group,
                RunLog& log) {
  bool fit = static_cast<size_t>(image) < images.pPos.size() && image < images.nImageNum;
  const auto outside = [&](int64_t index) {
    return index < 0 || index > int64_t{images.nGroupNum} * size - 1;
  };
  if (model.bConst && model.bGps) {
    for (int32_t j = 0; j < 3; ++j) {
      const int64_t index = int64_t{group} * size + j;
      if (image <= images.nImageFileNum - 1 && !outside(index)) continue;
      log.Print("Error!%d/%d %d %d %d/%d \n", image, images.nImageFileNum, group, j,
                static_cast<int32_t>(index), images.nGroupNum);
      fit = false;
    }
  }
  if (model.bLinear && model.bGps) {
    for (int32_t k = 0; k < 3; ++k) {
      const int64_t index = int64_t{group} * size + k + (model.bConst ? model.RowNum() : 0);
      if (!outside(index)) continue;
      log.Print("Error!%d %d \n", k, static_cast<int32_t>(index));
      fit = false;
    }
  }
  return fit && group < images.nGroupNum;
}

/// Adds blocks to the form of the matrix in hand.
class PosSums {
 public:
  PosSums(const PosTarget& target, RunLog& log)
      : Target(target),
        Places{target.Normal.pSubMatrixRows, target.nBlockRowNum, target.Normal.nSubMatrixNum},
        Log(log) {}

  void Add(const PosEquations& equations, const PosPlace& place, bool imageMoves) {
    if (Target.bSparse) {
      AddSparse(equations, place, imageMoves);
    } else {
      AddToDense(equations, place, imageMoves);
    }
    if (imageMoves) AddRight(equations.be.data(), kEopSize, place.nImagePosition);
    AddRight(equations.bd.data(), Size(), place.nGroupPosition);
  }

  /// A parameter that no image observes (its group has no usable record, or every time in it is 0) has only
  /// zeros in its row. A one on the diagonal keeps it at its value and the matrix regular.
  void HoldUnobserved(const std::vector<double>& diagonal, int32_t groupNum) {
    const int32_t size = Size();
    for (int32_t group = 0; group < groupNum; ++group) {
      const double* own = diagonal.data() + static_cast<size_t>(group) * static_cast<size_t>(size);
      if (std::find(own, own + size, 0.0) == own + size) continue;
      double one[PosEquations::kMaxParameterNum * PosEquations::kMaxParameterNum] = {};
      for (int32_t j = 0; j < size; ++j) one[(size + 1) * j] = own[j] == 0.0 ? 1.0 : 0.0;
      const int32_t row = Target.Layout.PointRows() + group, q = Target.Layout.Position(row);
      if (!Target.bSparse) {
        AddMatrix(one, size, size, q, q);
      } else if (FindBlockId(Places.Rows, row, row) >= 0) {
        AddToBlock(one, size, size, row, row);
      }
    }
  }

 private:
  int32_t Size() const { return Target.Layout.nPosSize; }
  void AddToBlock(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col) {
    AddBlock({source, rows, cols}, row, col, Places, Target.Normal.pSubMatrices, Log);
  }
  void AddMatrix(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col) {
    const int32_t n = Target.nUnknownNum;
    AddDense({source, rows, cols}, row, col, {Target.Normal.pDenseNormal.get(), n, n}, Log);
  }
  void AddRight(const double* source, int32_t rows, int32_t row) {
    AddDense({source, rows, 1}, row, 0, {Target.Normal.pConstVector.data(), Target.nUnknownNum, 1}, Log);
  }

  void AddSparse(const PosEquations& equations, const PosPlace& place, bool imageMoves) {
    if (imageMoves) {
      // Blocks take their size from their first writer, so they are sent in the full height of an image's
      // block.
      const int32_t height = Target.Layout.FirstSize();
      double Aee[kMergedSize * kMergedSize] = {};
      double Aed[kMergedSize * PosEquations::kMaxParameterNum] = {};
      for (int32_t row = 0; row < kEopSize; ++row) {
        std::copy_n(&equations.Aee[static_cast<size_t>(int64_t{kEopSize} * row)], kEopSize,
                    Aee + height * row);
      }
      std::copy_n(equations.Aed.data(), kEopSize * Size(), Aed);
      AddToBlock(Aee, height, height, place.nImageRow, place.nImageRow);
      if (Size() > 0) AddToBlock(Aed, height, Size(), place.nImageRow, place.nGroupRow);
    }
    if (Size() < 1) return;
    AddToBlock(equations.Add.data(), Size(), Size(), place.nGroupRow, place.nGroupRow);
  }

  void AddToDense(const PosEquations& equations, const PosPlace& place, bool imageMoves) {
    const int32_t i = place.nImagePosition, q = place.nGroupPosition;
    if (imageMoves) {
      AddMatrix(equations.Aee.data(), kEopSize, kEopSize, i, i);
      AddMatrix(equations.Aed.data(), kEopSize, Size(), i, q);
      AddMatrix(equations.Ade.data(), Size(), kEopSize, q, i);
    }
    AddMatrix(equations.Add.data(), Size(), Size(), q, q);
  }

  const PosTarget& Target;
  const BlockPlaces Places;
  RunLog& Log;
};

}  // namespace

PosModel PosModelOf(const RunLimits& limits) {
  return {limits.Apply_GPS_Data,      limits.Apply_IMU_Data, limits.Correct_Const_Error,
          limits.Correct_LinearError, limits.GPS_WeightXY,   limits.GPS_WeightZ};
}

void AddPosEquations(const PosModel& model, const ImageTable& images, const PosTarget& target, RunLog& log) {
  const UnknownLayout& layout = target.Layout;
  // Without image unknowns the groups are none either. Without drift parameters, which is where a single
  // group with linear terms alone ends up, the images are observed directly.
  if (layout.nLayoutMode == LayoutIop || layout.nPosSize != model.ParameterNum()) return;

  const std::vector<double>& parameters = target.Normal.pPosParams;
  std::vector<double> diagonal(parameters.size(), 0.0);
  PosSums sums(target, log);
  PosEquations equations;
  for (const int32_t image : images.pImageIndex) {
    if (image < 0 || static_cast<size_t>(image) >= images.pImageGroup.size()) continue;
    const int32_t group = images.pImageGroup[static_cast<size_t>(image)];
    if (group < 0 || !IndicesFit(images, model, layout.nPosSize, image, group, log)) continue;
    const EopRecord& eop = images.pEop[static_cast<size_t>(image)];
    const PosRecord& observed = images.pPos[static_cast<size_t>(image)];
    if (observed.nStatus == kPosNotObserved) continue;
    const size_t first = static_cast<size_t>(group) * static_cast<size_t>(layout.nPosSize);
    if (!ComputePosEquations(model, eop, observed, parameters.data() + first, equations)) continue;

    sums.Add(equations, PlaceOf(layout, image, group), eop.nStatus != 1);
    for (int32_t j = 0; j < layout.nPosSize; ++j) {
      diagonal[first + static_cast<size_t>(j)] +=
          equations.Add[static_cast<size_t>(int64_t{layout.nPosSize + 1} * j)];
    }
  }
  sums.HoldUnobserved(diagonal, images.nGroupNum);
}

}  // namespace orvo
