// From the measurements of a batch to its linearised rows, weights and residual figures. Part of the assembly
// kernels, which each instruction set compiles for itself: everything stands in an unnamed namespace.
#pragma once

#include "base/simd/VectorLanes.h"
#include "geometry/camera/ImagePointPartials.h"
#include "normal/AssemblyForms.h"
#include "normal/AssemblyKernel.h"

namespace orvo {
namespace {

using BatchPoint = AssemblyPoint;

/// Sums and extremes of the residuals.
struct Figures {
  double fSumX, fSumY, fSquareSumX, fSquareSumY, fMaxX, fMaxY, fMinX, fMinY;
  explicit Figures(const AssemblyOutput& out)
      : fSumX(out.fSumX),
        fSumY(out.fSumY),
        fSquareSumX(out.fSquareSumX),
        fSquareSumY(out.fSquareSumY),
        fMaxX(out.fMaxX),
        fMaxY(out.fMaxY),
        fMinX(out.fMinX),
        fMinY(out.fMinY) {}
  void Keep(AssemblyOutput& out) const {
    out.fSumX = fSumX;
    out.fSumY = fSumY;
    out.fSquareSumX = fSquareSumX;
    out.fSquareSumY = fSquareSumY;
    out.fMaxX = fMaxX;
    out.fMaxY = fMaxY;
    out.fMinX = fMinX;
    out.fMinY = fMinY;
  }
  [[gnu::always_inline]] void Add(double Lx, double Ly) {
    fSumX += Lx;
    fSumY += Ly;
    fSquareSumX += Lx * Lx;
    fSquareSumY += Ly * Ly;
    fMaxX = Lx > fMaxX ? Lx : fMaxX;
    fMaxY = Ly > fMaxY ? Ly : fMaxY;
    fMinX = Lx < fMinX ? Lx : fMinX;
    // Deliberate: the smallest residual in y is noted by its residual in x.
    fMinY = Ly < fMinY ? Lx : fMinY;
  }
};

/// The measurements of a batch side by side, as many as there are lanes.
template <int kLayout>
class Linearizer {
  using Form = RowForm<kLayout>;
  static constexpr bool kSumsCameras = kLayout == LayoutEopIop || kLayout == LayoutIop;

 public:
  Linearizer(const AssemblyInput& input, AssemblyScratch& scratch, AssemblyOutput& output)
      : in(input),
        out(output),
        rays(scratch.Rays.data()),
        columns(scratch.Columns.get()),
        columnSize(scratch.nColumnSize) {}

  double* Column(AssemblyColumn column) const { return columns + column * columnSize; }

  struct MeasurementRange {
    int64_t nBegin, nEnd;
  };
  /// The measurements of a point; a range that leaves the array is cut.
  MeasurementRange RangeOf(const ObjectPointRecord& point) const {
    int64_t begin = point.nFirstImagePoint, count = point.nImagePointNum;
    if (begin < 0) begin = 0;
    if (begin > in.nImagePointNum) begin = in.nImagePointNum;
    if (count < 0) count = 0;
    if (count > in.nImagePointNum - begin) count = in.nImagePointNum - begin;
    return {begin, begin + count};
  }

  /// Appends the measurements that stand on a kept image and camera; the others only get their place in the
  /// listing, where the point's begin at `running`.
  void Collect(const ObjectPointRecord& point, BatchPoint& batchPoint, int32_t firstRay, int64_t running) {
    const MeasurementRange range = RangeOf(point);
    out.nPointNum += range.nEnd - range.nBegin;
    batchPoint.nType = point.nType;
    batchPoint.nFirstRay = firstRay;
    int32_t ray = firstRay;
    for (int64_t j = range.nBegin; j < range.nEnd; ++j, ++running) {
      const ImagePointRecord& measurement = in.pImagePoints[j];
      if (!in.Layout.Holds(measurement)) {
        LeaveOut(running);
        continue;
      }
      rays[ray].nImage = measurement.nImage;
      rays[ray].nCamera = measurement.nCamera;
      rays[ray].nImagePoint = j;
      rays[ray].nRunning = running;
      Column(ColumnX)[ray] = static_cast<double>(measurement.x);
      Column(ColumnY)[ray] = static_cast<double>(measurement.y);
      Column(ColumnPointX)[ray] = point.X;
      Column(ColumnPointY)[ray] = point.Y;
      Column(ColumnPointZ)[ray] = point.Z;
      ++ray;
    }
    batchPoint.nRayNum = ray - firstRay;
  }

  void FormRows(int32_t rayNum) {
    if (rayNum == 0) return;
    bool oneCamera = true;
    for (int32_t k = 1; k < rayNum; ++k) oneCamera &= rays[k].nCamera == rays[0].nCamera;
    // Lanes behind the last measurement repeat it.
    for (int32_t k = rayNum; k % kLanes != 0; ++k) {
      rays[k].nImage = rays[rayNum - 1].nImage;
      rays[k].nCamera = rays[rayNum - 1].nCamera;
      for (int column = ColumnX; column <= ColumnPointZ; ++column) {
        columns[column * columnSize + k] = columns[column * columnSize + rayNum - 1];
      }
    }
    CameraTermsOf<Lanes> camera{};
    Lanes* const cameraColumns = reinterpret_cast<Lanes*>(&camera);
    if (oneCamera) {
      const double* terms = reinterpret_cast<const double*>(in.pCameras + rays[0].nCamera);
      for (int k = 0; k < 6; ++k) cameraColumns[k] = SplatLanes(terms[k]);
    }
    for (int32_t k = 0; k < rayNum; k += kLanes) {
      if (!oneCamera) {
        const double* sources[kLanes];
        for (int lane = 0; lane < kLanes; ++lane) {
          sources[lane] = reinterpret_cast<const double*>(in.pCameras + rays[k + lane].nCamera);
        }
        Lanes all[8];
        GatherColumns<8>(sources, all);
        for (int column = 0; column < 6; ++column) cameraColumns[column] = all[column];
      }
      FormRows(k, camera);
    }
  }

  /// Weighs the measurements of the batch's points and closes the gaps of those without an equation. The
  /// number of rays that stay.
  int32_t Weigh(BatchPoint* points, int32_t pointNum) {
    int32_t kept = 0;
    // In registers: kept in memory, each sum would wait for its last store.
    Figures figures{out};
    for (int32_t p = 0; p < pointNum; ++p) {
      BatchPoint& point = points[p];
      const int32_t first = point.nFirstRay, end = first + point.nRayNum;
      point.nFirstRay = kept;
      point.bOneCamera = true;
      for (int32_t k = first; k < end; ++k) {
        const int64_t running = rays[k].nRunning;
        if (!(Column(ColumnBound)[k] < kLargestBound)) {
          LeaveOut(running);
          continue;
        }
        const double Lx = Column(ColumnLx)[k], Ly = Column(ColumnLy)[k];
        out.pResiduals[2 * running] = static_cast<float>(Lx);
        out.pResiduals[2 * running + 1] = static_cast<float>(Ly);
        const double weight = WeightOf(point.nType, Lx, Ly, running, figures);
        if (__builtin_expect(kept != k, 0)) Move(k, kept);
        rays[kept].fWeight = weight;
        if constexpr (kSumsCameras) Column(ColumnWeight)[kept] = weight;
        point.bOneCamera &= rays[kept].nCamera == rays[point.nFirstRay].nCamera;
        ++kept;
      }
      point.nRayNum = kept - point.nFirstRay;
    }
    figures.Keep(out);
    return kept;
  }

 private:
  [[gnu::always_inline]] void FormRows(int32_t first, const CameraTermsOf<Lanes>& camera) {
    ImageTermsOf<Lanes> image;
    {
      const double* sources[kLanes];
      for (int lane = 0; lane < kLanes; ++lane) {
        sources[lane] = reinterpret_cast<const double*>(in.pImages + rays[first + lane].nImage);
      }
      GatherColumns<16>(sources, reinterpret_cast<Lanes*>(&image));
    }
    const auto number = [&](AssemblyColumn column) { return LoadLanes(Column(column) + first); };
    PartialRows<Lanes> rows;
    LinearizeImagePoint<Lanes>(number(ColumnX), number(ColumnY), number(ColumnPointX), number(ColumnPointY),
                               number(ColumnPointZ), image, camera, rows);
    StoreLanes(Column(ColumnLx) + first, rows.L[0]);
    StoreLanes(Column(ColumnLy) + first, rows.L[1]);
    StoreLanes(Column(ColumnBound) + first, BoundOfRows(rows));
    if constexpr (kSumsCameras) {
      const AssemblyColumn focal[2] = {ColumnFocalX, ColumnFocalY}, k1[2] = {ColumnK1X, ColumnK1Y},
                           k2[2] = {ColumnK2X, ColumnK2Y};
      for (int axis = 0; axis < 2; ++axis) {
        StoreLanes(Column(focal[axis]) + first, rows.A[axis][0]);
        StoreLanes(Column(k1[axis]) + first, rows.A[axis][3]);
        StoreLanes(Column(k2[axis]) + first, rows.A[axis][4]);
      }
    }
    constexpr int64_t kStride = sizeof(AssemblyRay) / sizeof(double);
    for (int axis = 0; axis < 2; ++axis) {
      Lanes row[16] = {};
      for (int k = 0; k < kEopSize; ++k) row[Form::kB + k] = rows.B[axis][k];
      if constexpr (kLayout != LayoutEop) {
        for (int k = 0; k < kIopSize; ++k) row[Form::kA + k] = rows.A[axis][k];
      }
      row[Form::kL] = rows.L[axis];
      ScatterColumns<(Form::Row::kSize + 7) / 8 * 8>(row, rays[first].Row[axis], kStride);
    }
  }

  /// The weight of an observation; counts it and, unless it is gross, adds it to the residual figures.
  [[gnu::always_inline]] double WeightOf(int32_t type, double Lx, double Ly, int64_t running,
                                         Figures& figures) {
    if (type == 0 && (__builtin_fabs(Lx) > in.fGrossX || __builtin_fabs(Ly) > in.fGrossY)) {
      out.pGrossFlags[running] = -1;
      ++out.nGrossNum;
      return 0.000001;
    }
    out.pGrossFlags[running] = 0;
    figures.Add(Lx, Ly);
    return type == 1 ? in.fControlWeight : 1.0;
  }

  void LeaveOut(int64_t running) {
    ++out.nLeftOutNum;
    out.pResiduals[2 * running] = out.pResiduals[2 * running + 1] = 0;
    out.pGrossFlags[running] = 0;
  }

  void Move(int32_t from, int32_t to) {
    rays[to] = rays[from];
    for (int column = ColumnLx; column < kAssemblyColumns; ++column) {
      columns[column * columnSize + to] = columns[column * columnSize + from];
    }
  }

  const AssemblyInput& in;
  AssemblyOutput& out;
  Ray* rays;
  double* columns;
  int64_t columnSize;
};

}  // namespace
}  // namespace orvo
