// Tables of all points and measurements of a run: residuals.csv, points.csv, points.ply.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/TextWriter.h"
#include "records/ObjectFrame.h"
#include "records/Records.h"
#include "verdict/PointPass.h"

namespace orvo::report {

inline constexpr char kResidualsName[] = "residuals.csv";
inline constexpr char kPointsName[] = "points.csv";
inline constexpr char kCloudName[] = "points.ply";

struct TableSources {
  PointPassInput Pass;                   ///< as for the verdict; read in the constructor only
  ObjectFrame Frame;                     ///< that the orientations stand in
  double fImageScale = 1;                ///< working units of a pixel
  std::vector<std::string> vImageNames;  ///< by kept image
  int nThreads = 1;
};

/// Files that are open for writing; null for those that nobody wants. A fault is the file's to tell.
struct TableFiles {
  TextWriter* pResiduals = nullptr;
  TextWriter* pPoints = nullptr;
  TextWriter* pCloud = nullptr;
};

/// Points are intersected by unweighted least squares over the measurements that the run kept, control and
/// check points too. The files are the same for every number of threads and every division into sections.
///
/// residuals.csv, a line a measurement on a kept image: image, point, x, y as measured (pixels), vx, vy
/// against the point (pixels), kept: 1, or 0 for one taken for gross, against: kept, or all where the kept
/// measurements of a tie point do not meet and all of them do. vx, vy and against are empty where there is no
/// point.
///
/// points.csv, a line a point: point, X, Y, Z (object units), type (tie, control, check), rays on kept
/// images, kept rays, RMSE of the lengths of the kept residuals (pixels), largest angle between two kept rays
/// (degrees). What a point that can't be intersected does not have is empty.
///
/// points.ply, binary, little-endian, the points that can be intersected: x, y, z (double), rmse (float,
/// pixels), kept rays (ushort), type (uchar: 0 tie, 1 control, 2 check).
class PointTables {
 public:
  PointTables(const TableSources& sources, const TableFiles& files);
  ~PointTables();
  PointTables(const PointTables&) = delete;
  PointTables& operator=(const PointTables&) = delete;

  /// Headings. Once, before the first points.
  void Begin();
  /// Points of a section with their measurements, in the order of the run.
  void Add(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints);
  /// Once, behind the last points; the files may be closed then.
  void End();

 private:
  struct State;
  std::unique_ptr<State> pState;
};

}  // namespace orvo::report
