// The assembly by the letter: general matrices, a dense normal matrix, every ordered pair of a point's
// measurements.
#pragma once

#include <cmath>
#include <vector>

#include "geometry/OrvoMatrix.h"
#include "geometry/camera/ImagePointPartials.h"
#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo::test {

struct SlowEquations {
  int32_t n = 0;
  std::vector<double> N, b;
  std::vector<double> Unreduced;  ///< diagonal before elimination: the scale that rounding is measured by
  double fWeightedSquares = 0;
  ScratchVector<float> Residuals;
  ScratchVector<int32_t> Flags;
  int32_t nValid = 0;
  double fSumX = 0, fSumY = 0, fSquareSumX = 0, fSquareSumY = 0;
};

template <typename Parts>
class SlowAssembly {
 public:
  explicit SlowAssembly(const Parts& parts) : block(parts) {
    result.n = block.Unknowns.nUnknownNum;
    result.N.assign(static_cast<size_t>(result.n) * static_cast<size_t>(result.n), 0.0);
    result.b.assign(static_cast<size_t>(result.n), 0.0);
    result.Unreduced.assign(static_cast<size_t>(result.n), 0.0);
  }

  SlowEquations Run() {
    for (const ObjectPointRecord& point : block.Points.pObjectPoints) AddPoint(point);
    return result;
  }

 private:
  /// The unknowns of one measurement: scalar positions and the derivatives by them, in up to two groups.
  struct Group {
    int32_t nPosition;
    COrvoMatrix D, G;
  };

  static COrvoMatrix FromArray(const double* values, int32_t rows, int32_t cols) {
    COrvoMatrix matrix;
    matrix.Resize(rows, cols);
    for (int32_t k = 0; k < rows * cols; ++k) matrix.data[k] = values[k];
    return matrix;
  }

  void AddMatrix(const COrvoMatrix& matrix, int32_t row, int32_t col, double sign) {
    for (int32_t r = 0; r < matrix.rows; ++r) {
      for (int32_t c = 0; c < matrix.cols; ++c) {
        result.N[static_cast<size_t>((row + r) * result.n + col + c)] +=
            sign * matrix.data[r * matrix.cols + c];
        if (sign > 0 && row + r == col + c) {
          result.Unreduced[static_cast<size_t>(row + r)] += matrix.data[r * matrix.cols + c];
        }
      }
    }
  }
  void AddVector(const COrvoMatrix& vector, int32_t row, double sign) {
    for (int32_t r = 0; r < vector.rows; ++r) result.b[static_cast<size_t>(row + r)] += sign * vector.data[r];
  }

  std::vector<Group> GroupsOf(const ImagePointRecord& measurement, const double* B, const double* A) const {
    std::vector<Group> groups;
    const int32_t i = measurement.nImage, c = measurement.nCamera;
    switch (block.Unknowns.nLayoutMode) {
      case LayoutEop:
        groups.push_back({6 * i, FromArray(B, 2, 6), {}});
        break;
      case LayoutIop:
        groups.push_back({5 * c, FromArray(A, 2, 5), {}});
        break;
      case LayoutMergedEopIop: {
        double D[22];
        for (int row = 0; row < 2; ++row) {
          for (int k = 0; k < 6; ++k) D[11 * row + k] = B[6 * row + k];
          for (int k = 0; k < 5; ++k) D[11 * row + 6 + k] = A[5 * row + k];
        }
        groups.push_back({11 * i, FromArray(D, 2, 11), {}});
        break;
      }
      default:
        groups.push_back({6 * i, FromArray(B, 2, 6), {}});
        groups.push_back({6 * block.Images.nUnknownImageNum + 5 * c, FromArray(A, 2, 5), {}});
    }
    return groups;
  }

  void AddPoint(const ObjectPointRecord& point) {
    using M = COrvoMatrix;
    M sumM, sumQ;
    sumM.Resize(3, 3);
    sumQ.Resize(3, 1);
    std::vector<Group> all;
    for (int64_t j = point.nFirstImagePoint; j < point.nFirstImagePoint + point.nImagePointNum; ++j) {
      const ImagePointRecord& measurement = block.Points.pImagePoints[static_cast<size_t>(j)];
      result.Residuals.insert(result.Residuals.end(), {0.0f, 0.0f});
      result.Flags.push_back(0);
      if (measurement.nImage < 0 || measurement.nImage >= block.Images.nImageNum || measurement.nCamera < 0 ||
          measurement.nCamera >= block.Cameras.nCameraNum) {
        continue;
      }
      double arrayB[12], arrayA[10], arrayC[6], L[2];
      if (ComputeImagePointPartials(
              measurement, point, block.Images.pEop[static_cast<size_t>(measurement.nImage)],
              block.Cameras.pIop[static_cast<size_t>(measurement.nCamera)], arrayB, arrayA, arrayC, L) == 0) {
        continue;
      }
      result.Residuals[result.Residuals.size() - 2] = static_cast<float>(L[0]);
      result.Residuals.back() = static_cast<float>(L[1]);
      double s = point.nType == 1 ? block.Settings.GCP_Weight : 1.0;
      if (point.nType == 0 &&
          (std::fabs(L[0]) > block.Settings.Gross_Point_Threshold * block.Residuals.fRmsResidualX ||
           std::fabs(L[1]) > block.Settings.Gross_Point_Threshold * block.Residuals.fRmsResidualY)) {
        s = 0.000001;
        result.Flags.back() = -1;
      } else {
        ++result.nValid;
        result.fSumX += L[0];
        result.fSumY += L[1];
        result.fSquareSumX += L[0] * L[0];
        result.fSquareSumY += L[1] * L[1];
      }
      result.fWeightedSquares += s * (L[0] * L[0] + L[1] * L[1]);
      M W;
      W.SetIdentity(2, 2);
      W = M::Scaled(W, s);
      const M C = FromArray(arrayC, 2, 3), misclosure = FromArray(L, 2, 1);
      const M CtW = M::Multiply(C.Transposed(), W);
      sumM = M::Add(sumM, M::Multiply(CtW, C));
      sumQ = M::Add(sumQ, M::Multiply(CtW, misclosure));
      std::vector<Group> groups = GroupsOf(measurement, arrayB, arrayA);
      for (Group& left : groups) {
        const M DtW = M::Multiply(left.D.Transposed(), W);
        left.G = M::Multiply(DtW, C);
        for (const Group& right : groups)
          AddMatrix(M::Multiply(DtW, right.D), left.nPosition, right.nPosition, 1);
        AddVector(M::Multiply(DtW, misclosure), left.nPosition, 1);
      }
      all.insert(all.end(), groups.begin(), groups.end());
    }
    if (point.nType == 1 || all.empty()) return;
    const M inverse = M::Inverse(sumM);
    if (inverse.rows == 0) return;
    for (const Group& left : all) {
      const M GM = M::Multiply(left.G, inverse);
      for (const Group& right : all) {
        AddMatrix(M::Multiply(GM, right.G.Transposed()), left.nPosition, right.nPosition, -1);
      }
      AddVector(M::Multiply(GM, sumQ), left.nPosition, -1);
    }
  }

  const Parts& block;
  SlowEquations result;
};

/// The matrix of either form as one dense array, both triangles.
template <typename Parts>
std::vector<double> AsDense(const Parts& block) {
  const auto n = static_cast<size_t>(block.Unknowns.nUnknownNum);
  if (!block.Limits.Apply_PCG_Model)
    return {block.Normal.pDenseNormal.get(), block.Normal.pDenseNormal.get() + n * n};
  std::vector<double> dense(n * n, 0.0);
  for (const SubMatrix& subMatrix : block.Normal.pSubMatrices) {
    if (!subMatrix.pData) continue;
    const int32_t top = block.Layout().Position(subMatrix.nRow),
                  left = block.Layout().Position(subMatrix.nCol);
    for (int32_t r = 0; r < subMatrix.nRows; ++r) {
      for (int32_t c = 0; c < subMatrix.nCols; ++c) {
        const double value = subMatrix.pData[r * subMatrix.nCols + c];
        dense[static_cast<size_t>(top + r) * n + static_cast<size_t>(left + c)] = value;
        if (subMatrix.nRow == subMatrix.nCol) continue;
        dense[static_cast<size_t>(left + c) * n + static_cast<size_t>(top + r)] = value;
      }
    }
  }
  return dense;
}

/// Largest difference of two systems, each element by the scale of its unknowns.
inline double LargestDifference(const SlowEquations& slow, const std::vector<double>& N,
                                const std::vector<double>& b) {
  double largest = 0;
  const auto n = static_cast<size_t>(slow.n);
  const double norm = std::sqrt(slow.fWeightedSquares);
  for (size_t i = 0; i < n; ++i) {
    const double di = slow.Unreduced[i];
    for (size_t j = 0; j < n; ++j) {
      const double difference = std::fabs(N[i * n + j] - slow.N[i * n + j]);
      if (difference == 0) continue;
      const double scale = std::sqrt(di * slow.Unreduced[j]);
      if (!(difference / scale <= largest)) largest = difference / scale;
    }
    const double difference = std::fabs(b[i] - slow.b[i]);
    if (difference != 0 && !(difference / (std::sqrt(di) * norm) <= largest)) {
      largest = difference / (std::sqrt(di) * norm);
    }
  }
  return largest;
}

}  // namespace orvo::test
