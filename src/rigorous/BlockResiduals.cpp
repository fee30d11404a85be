#include "rigorous/BlockResiduals.h"

#include <algorithm>

#include "base/Threads.h"

namespace orvo::rigorous {
namespace {

constexpr int64_t kPiecePoints = 4096;

bool ResidualAt(const Problem& problem, const Estimate& estimate, int64_t point, int32_t image,
                const Vector2& measured, Vector2& residual) {
  return ResidualOfRay(estimate.vPoses[image], estimate.vCameras[problem.vImages[image].nCamera].LensNow,
                       estimate.vPoints[point], measured, problem.Form, residual) == RayStatus::Good;
}

void AddPoint(const Problem& problem, const Estimate& estimate, int64_t point, RayResidualSums& sums) {
  for (const Ray& ray : problem.RaysOf(point)) {
    Vector2 v{};
    if (ray.nImage < 0 || !ResidualAt(problem, estimate, point, ray.nImage, {ray.x, ray.y}, v)) {
      ++sums.nLeftOut;
      continue;
    }
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

RayResidualSums SumRayResiduals(const Problem& problem, const Estimate& estimate, int threads) {
  const int64_t pieceNum = (problem.PointNum() + kPiecePoints - 1) / kPiecePoints;
  std::vector<RayResidualSums> pieces(static_cast<size_t>(pieceNum));
  ParallelFor(pieceNum, threads, [&](int64_t piece) {
    const int64_t end = std::min((piece + 1) * kPiecePoints, problem.PointNum());
    for (int64_t point = piece * kPiecePoints; point < end; ++point)
      AddPoint(problem, estimate, point, pieces[piece]);
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
  for (int64_t point = 0; point < task.PointNum(); ++point) {
    for (int64_t ray = task.vFirstRay[point]; ray < task.vFirstRay[point + 1]; ++ray) {
      RayResidual one;
      one.nMeasurement = problem.vMeasurement[ray];
      const ImagePointRecord& record = points.pImagePoints[one.nMeasurement];
      const bool known = ResidualAt(task, estimate, point, record.nImage, {record.x, record.y}, one.Residual);
      one.bLeftOut = !known || task.vRays[ray].nImage < 0;
      residuals.push_back(one);
    }
  }
  std::ranges::sort(residuals, {}, &RayResidual::nMeasurement);
  return residuals;
}

}  // namespace orvo::rigorous
