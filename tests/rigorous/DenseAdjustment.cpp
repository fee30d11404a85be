#include "rigorous/DenseAdjustment.h"

#include "rigorous/OwnRows.h"
#include "rigorous/RayModel.h"

namespace orvo::rigorous::test {
namespace {

struct RowWriter {
  const Problem& In;
  const UnknownPlan& Plan;
  const Estimate& At;
  DenseAdjustment& Dense;
  Eigen::Index nRow = 0;

  Eigen::Index Column(int32_t node) const { return Plan.vFirstUnknown[static_cast<size_t>(node)]; }

  void AddRay(const Ray& ray, int64_t point) {
    const auto image = static_cast<size_t>(ray.nImage);
    const auto camera = static_cast<size_t>(In.vImages[image].nCamera);
    const CameraColumns& columns = Plan.vCameras[camera];
    RayRows rows;
    if (LinearizeRay(At.vPoses[image], At.vCameras[camera].LensNow, At.vPoints[static_cast<size_t>(point)],
                     {ray.x, ray.y}, In.Form, columns.Layout, rows) != RayStatus::Good) {
      nRow += 2;
      return;
    }
    const double unit = 1 / In.vCameras[camera].fSigma;
    for (int c = 0; c < 2; ++c, ++nRow) {
      auto row = Dense.J.row(nRow);
      const int32_t node = Plan.vImageNode[image];
      for (int k = 0; node >= 0 && k < 6; ++k) row[Column(node) + k] = unit * rows.Image[c][k];
      for (int k = 0; k < columns.Layout.Num; ++k)
        row[Column(columns.nNode) + columns.nLens + k] = unit * rows.Camera[c][k];
      for (int k = 0; k < 3; ++k) row[Dense.nNodeUnknowns + 3 * point + k] = unit * rows.Point[c][k];
    }
  }

  void AddControl(const ControlObservation& control) {
    for (int k = 0; k < 3; ++k, ++nRow) {
      const int64_t column = Dense.nNodeUnknowns + 3 * control.nPoint + k;
      const double sigma = control.Sigma[static_cast<size_t>(k)];
      if (sigma == 0) Dense.IsHeld[static_cast<size_t>(column)] = true;
      if (sigma > 0 && std::isfinite(sigma)) Dense.J(nRow, column) = -1 / sigma;
    }
  }

  void AddOwn(const OwnRows& own) {
    for (const OwnTerm& term : own.Terms) {
      if (term.IsHeld()) continue;
      for (int c = 0; c < 3; ++c) {
        for (int k = 0; k < term.nWidth; ++k)
          Dense.J(nRow + c, Column(term.nNode) + term.nColumn + k) += term.Rows[3 * c + k];
      }
    }
    nRow += 3;
  }
};

}  // namespace

DenseAdjustment DenseAdjustmentOf(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate) {
  DenseAdjustment dense;
  dense.nNodeUnknowns = plan.UnknownNum();
  const int64_t unknowns = dense.nNodeUnknowns + 3 * problem.PointNum();
  int64_t own = 0;
  ForEachOwnObservation(problem, &plan, estimate, [&own](const OwnRows&) { ++own; });
  dense.nOwnRow = 2 * std::ssize(problem.vRays) + 3 * std::ssize(problem.vControl);
  dense.J.setZero(dense.nOwnRow + 3 * own, unknowns);
  dense.IsHeld.assign(static_cast<size_t>(unknowns), false);
  RowWriter writer{problem, plan, estimate, dense};
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    for (const Ray& ray : problem.RaysOf(p)) writer.AddRay(ray, p);
  }
  for (const ControlObservation& control : problem.vControl) writer.AddControl(control);
  ForEachOwnObservation(problem, &plan, estimate, [&writer](const OwnRows& rows) { writer.AddOwn(rows); });
  return dense;
}

Eigen::MatrixXd DenseAdjustment::Cofactors(const Eigen::MatrixXd& G, const Eigen::VectorXd& P) const {
  std::vector<Eigen::Index> unknowns;
  for (Eigen::Index i = 0; i < J.cols(); ++i) {
    if (!IsHeld[static_cast<size_t>(i)]) unknowns.push_back(i);
  }
  const Eigen::MatrixXd open = J(Eigen::all, unknowns);
  const auto size = static_cast<Eigen::Index>(unknowns.size());
  Eigen::MatrixXd N = Eigen::MatrixXd::Zero(size + G.cols(), size + G.cols());
  N.topLeftCorner(size, size) = open.transpose() * open;
  // Constraints on the unknowns of images, which come first and are never held.
  const Eigen::MatrixXd PG = P.asDiagonal() * G;
  N.block(0, size, G.rows(), G.cols()) = PG;
  N.block(size, 0, G.cols(), G.rows()) = PG.transpose();
  // Brought to one scale, for units of metres, radians and 1 / pixels^4 stand side by side.
  Eigen::VectorXd scale = Eigen::VectorXd::Ones(N.rows());
  for (Eigen::Index i = 0; i < size; ++i) scale[i] = 1 / std::sqrt(N(i, i));
  const Eigen::MatrixXd scaled = scale.asDiagonal() * N * scale.asDiagonal();
  const Eigen::MatrixXd inverse = scale.asDiagonal() * scaled.fullPivLu().inverse() * scale.asDiagonal();
  Eigen::MatrixXd Q = Eigen::MatrixXd::Zero(J.cols(), J.cols());
  Q(unknowns, unknowns) = inverse.topLeftCorner(size, size);
  return Q;
}

}  // namespace orvo::rigorous::test
