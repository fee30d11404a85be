#include "rigorous/PointPrecision.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "base/Threads.h"
#include "rigorous/PointPlace.h"

namespace orvo::rigorous {
namespace {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Points3 = Eigen::Matrix<double, Eigen::Dynamic, 3, Eigen::RowMajor>;

/// Works on one point after the other.
class PrecisionWorker {
 public:
  PrecisionWorker(const PointSurroundings& around, const NodeCovariance& covariance, bool rays)
      : In(around.Of), Plan(*around.pPlan), At(around.At), Q(covariance), bRays(rays), Around(around) {}

  PointPrecision Of(int64_t point, const ControlObservation* control);

 private:
  struct Local {
    int32_t nNode = 0;
    Eigen::Index nFirst = 0;
  };

  void CollectNodes(std::span<const Ray> rays);
  void FillRows(std::span<const Ray> rays);
  void FillCofactors();
  Eigen::Index ColumnOf(int32_t node) const {
    return std::ranges::lower_bound(vNodes, node, {}, &Local::nNode)->nFirst;
  }
  void AddRays(int64_t point, std::span<const Ray> rays, PointPrecision& result) const;

  const Problem& In;
  const UnknownPlan& Plan;
  const Estimate& At;
  const NodeCovariance& Q;
  bool bRays;
  const PointSurroundings& Around;
  PointPlace Place;
  std::vector<Local> vNodes;
  Eigen::Index nColumns = 0;
  RowMatrix Rows, Cofactors, Effective;  ///< Jn, Q of the point's nodes, T
  Points3 PointRows;                     ///< Jp
  Eigen::Matrix3d D = Eigen::Matrix3d::Zero();
  std::vector<double> vBlock;
};

void PrecisionWorker::CollectNodes(std::span<const Ray> rays) {
  vNodes.clear();
  const auto add = [this](int32_t node) {
    if (node >= 0) vNodes.push_back({node, 0});
  };
  for (size_t r = 0; r < rays.size(); ++r) {
    if (!(Place.vWeights[r] > 0)) continue;
    const auto image = static_cast<size_t>(rays[r].nImage);
    add(Plan.vImageNode[image]);
    const CameraColumns& camera = Plan.vCameras[static_cast<size_t>(In.vImages[image].nCamera)];
    if (camera.Layout.Num > 0) add(camera.nNode);
  }
  std::ranges::sort(vNodes, {}, &Local::nNode);
  const auto isSame = [](const Local& a, const Local& b) { return a.nNode == b.nNode; };
  vNodes.erase(std::unique(vNodes.begin(), vNodes.end(), isSame), vNodes.end());
  nColumns = 0;
  for (Local& local : vNodes) {
    local.nFirst = nColumns;
    nColumns += Plan.vSizes[static_cast<size_t>(local.nNode)];
  }
}

/// Rows over the point's nodes, in standard deviations of the measurements; 0 where a ray has none.
void PrecisionWorker::FillRows(std::span<const Ray> rays) {
  const auto rowNum = static_cast<Eigen::Index>(2 * rays.size());
  Rows.setZero(rowNum, nColumns);
  PointRows.setZero(rowNum, 3);
  for (size_t r = 0; r < rays.size(); ++r) {
    if (!(Place.vWeights[r] > 0)) continue;
    const auto image = static_cast<size_t>(rays[r].nImage);
    const CameraColumns& camera = Plan.vCameras[static_cast<size_t>(In.vImages[image].nCamera)];
    const int32_t node = Plan.vImageNode[image];
    const double unit = std::sqrt(Place.vWeights[r]);
    for (int c = 0; c < 2; ++c) {
      const Eigen::Index row = static_cast<Eigen::Index>(2 * r) + c;
      const PlaceRow& from = Place.vRows[r];
      for (int k = 0; k < 3; ++k) PointRows(row, k) = unit * from.Point[c][k];
      if (node >= 0) {
        for (int k = 0; k < 6; ++k) Rows(row, ColumnOf(node) + k) = unit * from.Image[c][k];
      }
      if (camera.Layout.Num == 0) continue;
      const Eigen::Index first = ColumnOf(camera.nNode) + camera.nLens;
      for (int k = 0; k < camera.Layout.Num; ++k)
        Rows(row, first + k) =
            unit * from.Camera[c][static_cast<int>(camera.Layout.Columns[static_cast<size_t>(k)])];
    }
  }
}

void PrecisionWorker::FillCofactors() {
  Cofactors.setZero(nColumns, nColumns);
  for (size_t i = 0; i < vNodes.size(); ++i) {
    for (size_t j = i; j < vNodes.size(); ++j) {
      const Eigen::Index rows = Plan.vSizes[static_cast<size_t>(vNodes[i].nNode)];
      const Eigen::Index columns = Plan.vSizes[static_cast<size_t>(vNodes[j].nNode)];
      vBlock.resize(static_cast<size_t>(rows * columns));
      if (!Q.Block(vNodes[i].nNode, vNodes[j].nNode, vBlock)) continue;
      const Eigen::Map<const RowMatrix> block(vBlock.data(), rows, columns);
      Cofactors.block(vNodes[i].nFirst, vNodes[j].nFirst, rows, columns) = block;
      if (i != j) Cofactors.block(vNodes[j].nFirst, vNodes[i].nFirst, columns, rows) = block.transpose();
    }
  }
}

void PrecisionWorker::AddRays(int64_t point, std::span<const Ray> rays, PointPrecision& result) const {
  const RowMatrix TQ = Effective * Cofactors;
  for (size_t r = 0; r < rays.size(); ++r) {
    RayPrecision ray;
    ray.nRay = In.vFirstRay[static_cast<size_t>(point)] + static_cast<int64_t>(r);
    if (Place.vWeights[r] > 0) {
      ray.bInUse = true;
      ray.Residual = {Place.vRows[r].Residual[0], Place.vRows[r].Residual[1]};
      for (int c = 0; c < 2; ++c) {
        const Eigen::Index row = static_cast<Eigen::Index>(2 * r) + c;
        const Eigen::RowVector3d Jp = PointRows.row(row);
        ray.Redundancy[static_cast<size_t>(c)] =
            1 - TQ.row(row).dot(Effective.row(row)) - Jp * D * Jp.transpose();
      }
    }
    result.vRays.push_back(ray);
  }
}

PointPrecision PrecisionWorker::Of(int64_t point, const ControlObservation* control) {
  PointPrecision result;
  result.nPoint = point;
  const std::span<const Ray> rays = In.RaysOf(point);
  const PointObservations observations = ObservationsOf(rays, control);
  LinearizePlace(Around, observations, At.vPoints[static_cast<size_t>(point)], Place);
  if (!Place.bInUse) return result;
  const auto& held = observations.IsHeld;
  result.bDetermined = Place.Factor.RankNum() + held[0] + held[1] + held[2] == 3;
  CollectNodes(rays);
  FillRows(rays);
  FillCofactors();
  const Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>> factor(Place.Factor.Q.data());
  D = factor * factor.transpose();
  const Eigen::MatrixXd BD = Rows.transpose() * (PointRows * D);
  const Eigen::Matrix3d cofactor = D + BD.transpose() * Cofactors * BD;
  if (result.bDetermined) {
    for (int k = 0; k < 9; ++k) result.Cofactor[static_cast<size_t>(k)] = cofactor(k / 3, k % 3);
  }
  for (size_t k = 0; k < 3; ++k) {
    const double weight = observations.Weight[k];
    if (!(weight > 0)) continue;
    const auto at = static_cast<Eigen::Index>(k);
    result.IsControlled[k] = true;
    result.ControlResidual[k] = std::sqrt(weight) * (observations.Observed[k] - Place.Point[k]);
    result.ControlRedundancy[k] = 1 - weight * cofactor(at, at);
  }
  if (!bRays) return result;
  Effective = Rows - PointRows * BD.transpose();
  AddRays(point, rays, result);
  return result;
}

}  // namespace

void ForEachPointPrecision(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                           const Estimate& estimate, const NodeCovariance& covariance,
                           const PointPrecisionOptions& options,
                           const std::function<void(const PointPrecision&)>& take) {
  const int threads = ParallelThreadNum(chunks.Num(), options.nThreads);
  const PointSurroundings around(problem, estimate, &plan);
  std::vector<PrecisionWorker> workers(static_cast<size_t>(threads),
                                       PrecisionWorker(around, covariance, options.bRays));
  std::vector<std::vector<PointPrecision>> made(static_cast<size_t>(threads));
  const auto make = [&](int64_t c, int k) {
    std::vector<PointPrecision>& points = made[static_cast<size_t>(k)];
    points.clear();
    const int64_t first = chunks.vFirst[static_cast<size_t>(c)],
                  end = chunks.vFirst[static_cast<size_t>(c) + 1];
    auto control = std::ranges::lower_bound(problem.vControl, first, {}, &ControlObservation::nPoint);
    for (int64_t point = first; point < end; ++point) {
      const bool isControl = control != problem.vControl.end() && control->nPoint == point;
      if (!options.Wanted || options.Wanted(point))
        points.push_back(workers[static_cast<size_t>(k)].Of(point, isControl ? &*control : nullptr));
      if (isControl) ++control;
    }
  };
  ParallelInOrder(chunks.Num(), threads, make, [&](int64_t, int k) {
    for (const PointPrecision& point : made[static_cast<size_t>(k)]) take(point);
  });
}

}  // namespace orvo::rigorous
