#include "rigorous/NodeCovariance.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "solver/sparse/Ordering.h"

namespace orvo::rigorous {
namespace {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// Centres on a line, as those of two images, tell no turn about it: there the angles do.
constexpr double kAngleWeight = 1e-8;

/// Of the unknowns, so many that no free direction leaves all of them: those on which the directions are
/// largest once what they have on the ones before is taken off.
std::vector<int64_t> HeldUnknowns(const Eigen::MatrixXd& G, const Eigen::VectorXd& unit) {
  Eigen::MatrixXd rest = unit.asDiagonal() * G;
  std::vector<int64_t> held;
  for (Eigen::Index k = 0; k < G.cols(); ++k) {
    Eigen::Index row = 0;
    rest.rowwise().squaredNorm().maxCoeff(&row);
    const Eigen::RowVectorXd direction = rest.row(row).normalized();
    rest -= (rest * direction.transpose()) * direction;
    held.push_back(row);
  }
  return held;
}

}  // namespace

struct CovarianceMaker {
  const UnknownPlan& Plan;
  const FreeDatum& Datum;
  ReducedEquations& Equations;
  NodeCovariance Made{};

  double& DiagonalAt(int64_t unknown) const {
    const auto after = std::upper_bound(Plan.vFirstUnknown.begin(), Plan.vFirstUnknown.end(), unknown);
    const auto node = static_cast<int32_t>(after - Plan.vFirstUnknown.begin()) - 1;
    const int64_t column = unknown - Plan.vFirstUnknown[static_cast<size_t>(node)];
    return Equations.N.Diagonal(
        node)[static_cast<size_t>(column * (Plan.vSizes[static_cast<size_t>(node)] + 1))];
  }

  /// What the angles of an image weigh against its centre, in the equations: the square of a distance.
  double AnglesByCentres() const {
    double centres = 0, angles = 0;
    for (const int32_t node : Plan.vImageNode) {
      if (node < 0) continue;
      const int64_t first = Plan.vFirstUnknown[static_cast<size_t>(node)];
      for (int64_t k = 0; k < 3; ++k) {
        centres += DiagonalAt(first + k);
        angles += DiagonalAt(first + 3 + k);
      }
    }
    return centres > 0 && std::isfinite(angles / centres) ? angles / centres : 1;
  }

  /// By coordinates of centres 1, by angles next to nothing, else 0.
  Eigen::VectorXd DatumWeights() const {
    Eigen::VectorXd P = Eigen::VectorXd::Zero(Plan.UnknownNum());
    const double angles = kAngleWeight * AnglesByCentres();
    for (const int32_t node : Plan.vImageNode) {
      if (node < 0) continue;
      const int64_t first = Plan.vFirstUnknown[static_cast<size_t>(node)];
      P.segment<3>(first).setOnes();
      P.segment<3>(first + 3).setConstant(angles);
    }
    return P;
  }

  void Transform(const sparse::SupernodalFactor& factor, const Eigen::MatrixXd& G) {
    const Eigen::VectorXd P = DatumWeights();
    const Eigen::MatrixXd PG = P.asDiagonal() * G;
    const Eigen::MatrixXd A =
        (G.transpose() * PG).ldlt().solve(Eigen::MatrixXd::Identity(G.cols(), G.cols()));
    Eigen::MatrixXd U = PG;
    factor.Solve({U.data(), static_cast<size_t>(U.size())}, static_cast<int32_t>(U.cols()));
    const RowMatrix V = U * A, H = A * (PG.transpose() * U) * A, rows = G;
    Made.nDefect = static_cast<int32_t>(G.cols());
    Made.vG.assign(rows.data(), rows.data() + rows.size());
    Made.vV.assign(V.data(), V.data() + V.size());
    Made.vH.assign(H.data(), H.data() + H.size());
  }

  CovarianceResult Make() {
    const sparse::NodePattern& pattern = Equations.N.Pattern();
    const Eigen::Map<const Eigen::MatrixXd> G(Datum.vDirections.data(), Plan.UnknownNum(), Datum.nDefect);
    std::vector<double> saved;
    std::vector<int64_t> held;
    if (Datum.nDefect > 0) held = HeldUnknowns(G, DatumWeights());
    for (const int64_t unknown : held) {
      saved.push_back(DiagonalAt(unknown));
      DiagonalAt(unknown) *= 2;
    }
    Made.pPlan = &Plan;
    const std::vector<int32_t> order = sparse::OrderNodes(pattern, Plan.Border());
    Made.pSymbolic = std::make_unique<sparse::SymbolicFactor>(sparse::AnalyseFactor(pattern, order));
    sparse::SupernodalFactor factor(*Made.pSymbolic);
    const std::optional<sparse::FactorRefusal> refusal = factor.Factor(Equations.N);
    for (size_t k = 0; k < held.size(); ++k) DiagonalAt(held[k]) = saved[k];
    CovarianceResult result;
    if (refusal) {
      result.Refusal = *refusal;
      return result;
    }
    if (Datum.nDefect > 0) Transform(factor, G);
    Made.Inverse = sparse::InvertSelected(factor);
    if (Made.Inverse) result.Covariance = std::move(Made);
    return result;
  }
};

bool NodeCovariance::Block(int32_t i, int32_t j, std::span<double> block) const {
  const std::optional<sparse::InverseBlock> Z = Inverse->Block(i, j);
  if (!Z) return false;
  for (int32_t r = 0; r < Z->nRows; ++r) {
    for (int32_t c = 0; c < Z->nCols; ++c)
      block[static_cast<size_t>(r) * static_cast<size_t>(Z->nCols) + static_cast<size_t>(c)] = (*Z)(r, c);
  }
  if (nDefect == 0) return true;
  const int64_t first[2] = {pPlan->vFirstUnknown[static_cast<size_t>(i)] * nDefect,
                            pPlan->vFirstUnknown[static_cast<size_t>(j)] * nDefect};
  const Eigen::Map<const RowMatrix> Gi(vG.data() + first[0], Z->nRows, nDefect),
      Gj(vG.data() + first[1], Z->nCols, nDefect), Vi(vV.data() + first[0], Z->nRows, nDefect),
      Vj(vV.data() + first[1], Z->nCols, nDefect), H(vH.data(), nDefect, nDefect);
  Eigen::Map<RowMatrix>(block.data(), Z->nRows, Z->nCols) +=
      Gi * H * Gj.transpose() - Vi * Gj.transpose() - Gi * Vj.transpose();
  return true;
}

double NodeCovariance::Deviation(int32_t node, int32_t unknown) const {
  const int32_t size = pPlan->vSizes[static_cast<size_t>(node)];
  double block[sparse::kLargestNode * sparse::kLargestNode];
  if (!Block(node, node, {block, static_cast<size_t>(size * size)})) return 0;
  return std::sqrt(std::max(block[unknown * (size + 1)], 0.0));
}

CovarianceResult CovarianceOf(const UnknownPlan& plan, const FreeDatum& datum, ReducedEquations& equations) {
  return CovarianceMaker{plan, datum, equations}.Make();
}

}  // namespace orvo::rigorous
