// A block with POS records in memory, in every layout and both forms.
#pragma once

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "NormalParts.h"
#include "geometry/OrvoMatrix.h"
#include "normal/PosEquations.h"
#include "support/CapturedLog.h"

namespace orvo::test {

struct PosCase {
  LayoutMode layout;
  bool bSparse, bGps, bImu, bConst, bLinear;
};

inline std::string NameOf(const PosCase& c) {
  static const char* const layouts[] = {"Eop", "Iop", "Merged", "EopIop"};
  return std::string(layouts[c.layout]) + (c.bSparse ? "Sparse" : "Dense") + (c.bGps ? "Gps" : "") +
         (c.bImu ? "Imu" : "") + (c.bConst ? "Const" : "") + (c.bLinear ? "Linear" : "");
}

inline void PrintTo(const PosCase& c, std::ostream* out) { *out << NameOf(c); }

/// A block in memory: images with records, groups and an empty system of the chosen form.
struct PosBlock {
  CapturedLog log;
  NormalParts own{NativePlatform(), log.Console()};
  int32_t nFront = 0;  ///< scalar size before the groups
  int32_t nImageSize = 6;

  PosBlock(const PosCase& c, int32_t imageNum, int32_t groupNum) {
    own.Limits.Apply_GPS_Data = c.bGps;
    own.Limits.Apply_IMU_Data = c.bImu;
    own.Limits.Correct_Const_Error = c.bConst;
    own.Limits.Correct_LinearError = c.bLinear;
    own.Limits.Apply_PCG_Model = c.bSparse;
    own.Settings.Set_IOP_Unknown = c.layout != LayoutEop;
    own.Settings.Set_EOP_Unknown = c.layout != LayoutIop;
    own.Limits.GPS_WeightXY = 0.3;
    own.Limits.GPS_WeightZ = 2;
    own.Unknowns.nLayoutMode = c.layout;
    own.Images.nImageNum = own.Images.nUnknownImageNum = imageNum;
    own.Cameras.nCameraNum = c.layout == LayoutMergedEopIop ? imageNum : 2;
    own.Images.nGroupNum = groupNum;
    own.Unknowns.nPosSize = c.layout == LayoutIop ? 0 : (3 * c.bGps + 3 * c.bImu) * (c.bConst + c.bLinear);
    own.Images.pEop.resize(static_cast<size_t>(imageNum));
    own.Images.pPos.resize(static_cast<size_t>(imageNum));
    own.Images.pImageGroup.assign(static_cast<size_t>(imageNum), -1);
    for (int32_t i = 0; i < imageNum; ++i) own.Images.pImageIndex.push_back(i);
    own.Images.nImageFileNum = imageNum;
    int32_t rows = imageNum;
    switch (c.layout) {
      case LayoutEop:
        nFront = 6 * imageNum;
        break;
      case LayoutIop:
        nFront = 5 * own.Cameras.nCameraNum;
        rows = own.Cameras.nCameraNum;
        break;
      case LayoutMergedEopIop:
        nFront = 11 * imageNum;
        nImageSize = 11;
        break;
      case LayoutEopIop:
        nFront = 6 * imageNum + 5 * own.Cameras.nCameraNum;
        rows += own.Cameras.nCameraNum;
        break;
    }
    nFirstGroupRow = rows;
    own.Unknowns.nBlockRowNum = rows + (c.layout == LayoutIop ? 0 : groupNum);
    own.Unknowns.nUnknownNum = nFront + groupNum * own.Unknowns.nPosSize;
  }

  /// After the groups of the images are known.
  void MakeSystem() {
    own.Normal.pPosParams.resize(static_cast<size_t>(own.Images.nGroupNum * own.Unknowns.nPosSize));
    own.Normal.pSubMatrixRows.assign(static_cast<size_t>(own.Unknowns.nBlockRowNum), {});
    for (int32_t i = 0; i < own.Images.nUnknownImageNum && own.Unknowns.nLayoutMode != LayoutIop; ++i) {
      own.AddPosition(i, i);
      const int32_t group = own.Images.pImageGroup[static_cast<size_t>(i)];
      if (group < 0 || group >= own.Images.nGroupNum) continue;
      own.AddPosition(nFirstGroupRow + group, nFirstGroupRow + group);
      own.AddPosition(nFirstGroupRow + group, i);
    }
    own.Normal.nSubMatrixNum = 0;
    for (SubMatrixRow& row : own.Normal.pSubMatrixRows) {
      row.nFirstId = own.Normal.nSubMatrixNum;
      own.Normal.nSubMatrixNum += static_cast<int32_t>(row.vColumns.size());
    }
    const auto n = static_cast<size_t>(own.Unknowns.nUnknownNum);
    own.Normal.pConstVector.assign(n, 0);
    if (own.Limits.Apply_PCG_Model) {
      own.Normal.pSubMatrices.resize(static_cast<size_t>(own.Normal.nSubMatrixNum));
    } else {
      own.Normal.pDenseNormal = ZeroedArray(n * n);
    }
  }

  void AddPos() {
    AddPosEquations(PosModelOf(own.Limits), own.Images,
                    {own.Layout(), own.Unknowns.nBlockRowNum, own.Unknowns.nUnknownNum,
                     own.Limits.Apply_PCG_Model, own.Normal},
                    own.Log);
  }

  int32_t ImagePosition(int32_t i) const { return nImageSize * i; }
  int32_t GroupPosition(int32_t g) const { return nFront + own.Unknowns.nPosSize * g; }

  /// The whole matrix, both triangles, whatever its form.
  COrvoMatrix Normal() const {
    COrvoMatrix N;
    N.Resize(own.Unknowns.nUnknownNum, own.Unknowns.nUnknownNum);
    if (!own.Limits.Apply_PCG_Model) {
      std::copy_n(own.Normal.pDenseNormal.get(), N.rows * N.cols, N.data);
      return N;
    }
    for (const SubMatrix& block : own.Normal.pSubMatrices) {
      for (int32_t r = 0; r < block.nRows; ++r) {
        for (int32_t c = 0; c < block.nCols; ++c) {
          const int32_t row = PositionOfRow(block.nRow) + r, col = PositionOfRow(block.nCol) + c;
          N.data[row * N.cols + col] = N.data[col * N.cols + row] =
              block.pData[static_cast<size_t>(r * block.nCols + c)];
        }
      }
    }
    return N;
  }

  PosModel Model() const {
    return {own.Limits.Apply_GPS_Data,      own.Limits.Apply_IMU_Data, own.Limits.Correct_Const_Error,
            own.Limits.Correct_LinearError, own.Limits.GPS_WeightXY,   own.Limits.GPS_WeightZ};
  }

 private:
  int32_t PositionOfRow(int32_t row) const {
    return row < nFirstGroupRow ? nImageSize * row : GroupPosition(row - nFirstGroupRow);
  }
  int32_t nFirstGroupRow = 0;
};

}  // namespace orvo::test
