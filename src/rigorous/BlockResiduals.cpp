#include "rigorous/BlockResiduals.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "base/Threads.h"
#include "rigorous/PointPlace.h"

namespace orvo::rigorous {
namespace {

constexpr int64_t kPiecePoints = 4096;

/// The rays of one point at a time; its memory is used again.
class PointResiduals {
 public:
  explicit PointResiduals(const PointSurroundings& around) : pAround(&around) {}

  void See(std::span<const Ray> rays, int64_t point) {
    SeeRays(*pAround, rays, pAround->At.vPoints[static_cast<size_t>(point)], vRows, vSquares);
  }
  bool IsSeen(size_t ray) const { return std::isfinite(vSquares[ray]); }
  Vector2 Of(size_t ray) const { return {vRows[ray].Residual[0], vRows[ray].Residual[1]}; }

 private:
  const PointSurroundings* pAround;
  std::vector<PlaceRow> vRows;
  std::vector<double> vSquares;
};

void AddPoint(size_t rayNum, const PointResiduals& residuals, RayResidualSums& sums) {
  for (size_t ray = 0; ray < rayNum; ++ray) {
    if (!residuals.IsSeen(ray)) {
      ++sums.nLeftOut;
      continue;
    }
    const Vector2 v = residuals.Of(ray);
    ++sums.nUsed;
    sums.fSumX += v[0];
    sums.fSumY += v[1];
    sums.fSquaresX += v[0] * v[0];
    sums.fSquaresY += v[1] * v[1];
  }
}

void Add(const RayResidualSums& part, RayResidualSums& total) {
  total.nUsed += part.nUsed;
  total.nLeftOut += part.nLeftOut;
  total.fSumX += part.fSumX;
  total.fSumY += part.fSumY;
  total.fSquaresX += part.fSquaresX;
  total.fSquaresY += part.fSquaresY;
}

}  // namespace

RayResidualSums SumsOfPass(const PointPassSums& pass, int64_t rayNum) {
  return {pass.nRays,        rayNum - pass.nRays, pass.Residuals[0],
          pass.Residuals[1], pass.Squares[0],     pass.Squares[1]};
}

RayResidualSums SumRayResiduals(const Problem& problem, const Estimate& estimate, int threads) {
  const int64_t pieceNum = (problem.PointNum() + kPiecePoints - 1) / kPiecePoints;
  std::vector<RayResidualSums> pieces(static_cast<size_t>(pieceNum));
  const PointSurroundings around(problem, estimate);
  ParallelFor(pieceNum, threads, [&](int64_t piece) {
    PointResiduals residuals(around);
    const int64_t end = std::min((piece + 1) * kPiecePoints, problem.PointNum());
    for (int64_t point = piece * kPiecePoints; point < end; ++point) {
      const std::span<const Ray> rays = problem.RaysOf(point);
      residuals.See(rays, point);
      AddPoint(rays.size(), residuals, pieces[static_cast<size_t>(piece)]);
    }
  });
  RayResidualSums sums;
  for (const RayResidualSums& piece : pieces) Add(piece, sums);
  return sums;
}

ScratchVector<RayResidual> RayResidualsOf(const BlockProblem& problem, const Estimate& estimate,
                                          const PointStore& points) {
  const Problem& task = problem.Task;
  ScratchVector<RayResidual> residuals;
  residuals.reserve(task.vRays.size());
  const PointSurroundings around(task, estimate);
  PointResiduals seen(around);
  std::vector<Ray> all;
  for (int64_t point = 0; point < task.PointNum(); ++point) {
    const int64_t first = task.vFirstRay[point], end = task.vFirstRay[point + 1];
    all.clear();
    for (int64_t ray = first; ray < end; ++ray) {
      const ImagePointRecord& record = points.pImagePoints[problem.vMeasurement[ray]];
      all.push_back({record.nImage, record.x, record.y});
    }
    seen.See(all, point);
    for (size_t i = 0; i < all.size(); ++i) {
      const int64_t ray = first + static_cast<int64_t>(i);
      RayResidual one;
      one.nMeasurement = problem.vMeasurement[ray];
      if (seen.IsSeen(i)) one.Residual = seen.Of(i);
      one.bLeftOut = !seen.IsSeen(i) || task.vRays[ray].nImage < 0;
      residuals.push_back(one);
    }
  }
  std::ranges::sort(residuals, {}, &RayResidual::nMeasurement);
  return residuals;
}

}  // namespace orvo::rigorous
