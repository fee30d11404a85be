// Work space of an assembly thread: a batch of points on its way from measurements to normal equations.
#pragma once

#include <cstdint>
#include <vector>

#include "base/ZeroedArray.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// One linearised measurement.
///
/// A row holds the partial derivatives and the misclosure side by side, sixteen numbers, in an order that
/// lets the unknowns of the layout's first block rows come first; RowForm tells where. So s (C'D, C'L), the
/// products with every unknown at once, is two multiply-adds of a row.
struct alignas(64) AssemblyRay {
  double Row[2][16];
  double fWeight;
  int32_t nImage, nCamera;
  int64_t nImagePoint;
  int64_t nRunning;  ///< place of the measurement in the thread's listing
};

/// The elimination of a point in one of its first block rows. G and N have three rows each, see RowForm.
struct AssemblyNode {
  double* pG;
  double* pN;  ///< minus M^-1 G
  double* pOwn;
  const double (*pCameraN)[8];  ///< the same in the columns of the image's own camera
  const int32_t* pRays;         ///< the rays of the row
  int32_t nRow, nRayNum;
};

/// A camera of a point.
struct alignas(64) AssemblyCamera {
  double Sum[3][8];  ///< minus H' summed over the camera's rays, behind it minus Q of the whole point
  double N[3][8];    ///< minus M^-1 times that
  int32_t nCamera;
};

struct alignas(64) AssemblyPoint {
  double Sum[3][16];       ///< G summed over all rays: holds M, minus Q and the sum of H
  double MinusInverse[8];  ///< minus M^-1: xx, xy, xz, yy, yz, zz
  int64_t nPoint;
  int32_t nType;
  int32_t nFirstRay, nRayNum;  ///< also the first node
  int32_t nNodeNum;
  int32_t nFirstCamera, nCameraNum;
  bool bOneCamera, bEliminated;
};

/// Sums over the measurements of one camera, several side by side: the upper triangle of s A'A without what
/// is always zero, then s A'L.
struct alignas(64) AssemblyCameraSums {
  static constexpr int kSums = 18;
  double Sum[kSums][8];
  int32_t nCamera;
};

/// Numbers of all measurements of a batch in columns.
enum AssemblyColumn {
  ColumnX,  ///< measured
  ColumnY,
  ColumnPointX,
  ColumnPointY,
  ColumnPointZ,
  ColumnLx,  ///< misclosure
  ColumnLy,
  ColumnBound,   ///< too large or no number where the measurement has no equation
  ColumnWeight,  ///< from here on only for camera sums: weight and partial derivatives
  ColumnFocalX,
  ColumnFocalY,
  ColumnK1X,
  ColumnK1Y,
  ColumnK2X,
  ColumnK2Y,
  ColumnMasked,  ///< weight, 0 for the measurements of other cameras
  kAssemblyColumns
};

/// For points of up to `measurementNum` measurements.
struct AssemblyScratch {
  static constexpr int32_t kBatch = 16;  ///< measurements of a batch; a point with more is one of its own
  static constexpr int32_t kCameraSlots = 4;  ///< cameras whose sums are kept side by side
  AssemblyScratch(int64_t measurementNum, const UnknownLayout& layout);

  std::vector<AssemblyRay> Rays;
  ZeroedArray
      G;  ///< of each ray: s times its rows times the first three columns of B: minus G', M and minus Q
  ZeroedArray N;  ///< of each node
  std::vector<AssemblyNode> Nodes;
  std::vector<AssemblyCamera> Cameras;
  std::vector<AssemblyPoint> Points;
  int64_t nColumnSize;  ///< room of a column
  ZeroedArray Columns;
  std::vector<int32_t> Order;  ///< rays by block row
  ZeroedArray Own;             ///< own blocks of the first rows, see OwnBlockSize, zero at first
  ZeroedArray CameraOwn;       ///< of the cameras behind them, 5 x 8: A'A and A'L
  std::vector<int32_t>
      OwnCamera;  ///< camera whose coupling is part of an image's own block, -1 not yet known
  AssemblyCameraSums CameraSums[kCameraSlots];
};

/// Doubles that a first block row has in AssemblyScratch::Own: its diagonal block, its right-hand side and in
/// LayoutEopIop its coupling to its camera, padded.
int32_t OwnBlockSize(int32_t layoutMode);

}  // namespace orvo
