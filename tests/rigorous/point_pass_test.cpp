#include "rigorous/PointPass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "rigorous/DensePoints.h"
#include "rigorous/PointBuilders.h"

namespace orvo::rigorous {
namespace {

using test::Block;
using test::BlockForm;

struct Passed {
  UnknownPlan Plan;
  sparse::NodePattern Pattern;
  PointPassSums Sums;
  Eigen::MatrixXd N;
  Eigen::VectorXd n;
};

/// The equations of a block, whose start becomes the result.
Passed PassOf(Block& block, const PointPassOptions& options) {
  Passed passed;
  passed.Plan = test::PlanByHand(block.Of);
  passed.Pattern = PatternOf(block.Of, passed.Plan);
  ReducedEquations equations(passed.Pattern);
  passed.Sums = PassPoints(block.Of, passed.Plan, ChunksOf(block.Of), options, block.Start, equations);
  passed.N = test::DenseOf(equations, passed.Plan);
  passed.n = Eigen::Map<const Eigen::VectorXd>(equations.n.data(), std::ssize(equations.n));
  return passed;
}

/// Each element by the diagonal of N before the points were eliminated, which is at least that of `dense`.
void ExpectEquations(Block block, const RobustLoss& loss) {
  PointPassOptions options;
  options.Loss = loss;
  options.nPointSteps = 0;
  const Block before = block;
  const Passed passed = PassOf(block, options);
  EXPECT_EQ(block.Start.vPoints, before.Start.vPoints);
  const test::DenseEquations dense = test::SolveDense(before, passed.Plan, loss);
  ASSERT_EQ(passed.N.rows(), dense.N.rows());
  ASSERT_GT(dense.N.rows(), 0);
  const Eigen::VectorXd scale = dense.N.diagonal().cwiseSqrt().cwiseInverse();
  const Eigen::MatrixXd difference = scale.asDiagonal() * (passed.N - dense.N) * scale.asDiagonal();
  EXPECT_LE(difference.cwiseAbs().maxCoeff(), 1e-9);
  const Eigen::VectorXd scaled = scale.asDiagonal() * dense.n;
  EXPECT_LE((scale.asDiagonal() * (passed.n - dense.n)).cwiseAbs().maxCoeff(),
            1e-9 * (1 + scaled.cwiseAbs().maxCoeff()));
  EXPECT_GT(scaled.cwiseAbs().maxCoeff(), 0.1);
  EXPECT_NEAR(passed.Sums.fCost, dense.fCost, 1e-11 * dense.fCost);
  EXPECT_NEAR(passed.Sums.fPointDecrease, dense.fPointDecrease, 1e-9 * dense.fCost);
}

/// Held coordinates stand at their observed values.
void AddControl(Block& block, int64_t point, const Vector3& sigma) {
  Vector3 observed = block.Truth.vPoints[static_cast<size_t>(point)];
  for (int k = 0; k < 3; ++k) {
    if (sigma[k] == 0) block.Start.vPoints[static_cast<size_t>(point)][k] = observed[k];
    observed[k] += std::isfinite(sigma[k]) ? 0.5 * sigma[k] : 0;
  }
  block.Of.vControl.push_back({point, observed, sigma});
}

TEST(PointPass, EquationsAreThoseOfADenseSolution) {
  const double none = kNotObserved;
  const struct {
    const char* What;
    int32_t nCameras;
    uint32_t nLensUnknowns;
    std::function<void(Block&)> Change;
  } table[] = {
      {"one camera", 1, kLensFocal | kLensRadial, [](Block&) {}},
      {"one camera, all terms", 1, kLensAll, [](Block&) {}},
      {"no camera unknown", 1, 0, [](Block&) {}},
      {"two cameras", 2, kLensFocal | kLensPrincipalPoint, [](Block&) {}},
      {"a camera for each image", 12, kLensFocal | kLensRadial, [](Block&) {}},
      {"a camera for each image, all terms", 12, kLensAll, [](Block&) {}},
      {"shared and single cameras", 11, kLensAll, [](Block&) {}},
      {"only one camera unknown", 3, kLensAll,
       [](Block& b) { b.Of.vCameras[0].nLensUnknowns = b.Of.vCameras[2].nLensUnknowns = 0; }},
      {"held images", 1, kLensFocal,
       [](Block& b) {
         for (const size_t i : {0, 3, 4, 11}) b.Of.vImages[i].bUnknown = false;
       }},
      {"a camera's held images, and one unknown", 3, kLensAll,
       [](Block& b) {
         for (const size_t i : {1, 4, 7}) b.Of.vImages[i].bUnknown = false;
       }},
      {"all images held", 1, kLensAll,
       [](Block& b) {
         for (ImageModel& image : b.Of.vImages) image.bUnknown = false;
       }},
      {"lever arm and boresight beside the lens", 4, kLensRadial,
       [](Block& b) {
         b.Of.vCameras[1].bLeverArm = b.Of.vCameras[2].bBoresight = b.Of.vCameras[3].bLeverArm = true;
         b.Of.vCameras[3].nLensUnknowns = 0;
       }},
      {"control", 1, kLensFocal | kLensRadial,
       [none](Block& b) {
         AddControl(b, 3, {0.02, 0.02, 0.03});
         AddControl(b, 9, {none, none, 0.05});
         AddControl(b, 10, {0, 0, 0});
         AddControl(b, 17, {0, 0, none});
         AddControl(b, 30, {0.1, none, 0});
         AddControl(b, 59, {none, none, none});
       }},
  };
  const RobustLoss losses[] = {{}, {LossForm::Huber, 0.6}, {LossForm::Welsch, 1.5}};
  unsigned seed = 1;
  for (const auto& row : table) {
    for (const ResidualForm form : {ResidualForm::Measured, ResidualForm::Corrected}) {
      for (const RobustLoss& loss : losses) {
        SCOPED_TRACE(testing::Message() << row.What << ", form " << static_cast<int>(form) << ", loss "
                                        << static_cast<int>(loss.Form));
        BlockForm blockForm;
        blockForm.nCameras = row.nCameras;
        blockForm.nLensUnknowns = row.nLensUnknowns;
        blockForm.Form = form;
        Block block = test::MakeBlock(seed++, blockForm);
        row.Change(block);
        ExpectEquations(block, loss);
      }
    }
  }
}

PointPassSums Step(Block& block, const PointPassOptions& options) {
  return StepPoints(block.Of, ChunksOf(block.Of), options, block.Start);
}

PointPassOptions Steps(int32_t num, bool intersects = false) {
  PointPassOptions options;
  options.nPointSteps = num;
  options.bIntersect = intersects;
  return options;
}

TEST(PointPass, PassesStepAndSumAsStepsDo) {
  for (const ResidualForm form : {ResidualForm::Measured, ResidualForm::Corrected}) {
    BlockForm blockForm;
    blockForm.fDisturbance = 1;
    blockForm.Form = form;
    Block stepped = test::MakeBlock(5, blockForm), passed = stepped;
    const PointPassSums steps = Step(stepped, Steps(2));
    const PointPassSums sums = PassOf(passed, Steps(2)).Sums;
    EXPECT_TRUE(stepped.Start.vPoints == passed.Start.vPoints);
    EXPECT_EQ(steps.fCost, sums.fCost);
    EXPECT_EQ(steps.fSquares, sums.fSquares);
    EXPECT_EQ(steps.fPointDecrease, sums.fPointDecrease);
    EXPECT_EQ(steps.nRays, std::ssize(passed.Of.vRays));
    EXPECT_EQ(sums.nRays, steps.nRays);
  }
}

TEST(PointPass, EquationsAreThoseOfTheNewPlaces) {
  BlockForm form;
  form.fDisturbance = 1;
  Block block = test::MakeBlock(6, form);
  const Passed passed = PassOf(block, Steps(1));
  const test::DenseEquations dense = test::SolveDense(block, passed.Plan, {});
  EXPECT_NEAR(passed.Sums.fCost, dense.fCost, 1e-11 * dense.fCost);
  const Eigen::VectorXd scale = dense.N.diagonal().cwiseSqrt().cwiseInverse();
  EXPECT_LE((scale.asDiagonal() * (passed.N - dense.N) * scale.asDiagonal()).cwiseAbs().maxCoeff(), 1e-9);
}

TEST(PointPass, CostNeverGrowsByThePoints) {
  const RobustLoss losses[] = {{}, {LossForm::Huber, 2}, {LossForm::Welsch, 100}};
  for (const double disturbance : {0.0, 1.0, 20.0, 80.0, 400.0}) {
    for (const RobustLoss& loss : losses) {
      for (const bool intersects : {false, true}) {
        SCOPED_TRACE(testing::Message() << disturbance << ", loss " << static_cast<int>(loss.Form)
                                        << (intersects ? ", intersected" : ""));
        Block block = test::MakeBlock(7, {});
        test::Random random(8);
        for (Vector3& point : block.Start.vPoints) point = point + random.Vector(disturbance);
        PointPassOptions options = Steps(0);
        options.Loss = loss;
        double cost = Step(block, options).fCost;
        options = Steps(1, intersects);
        options.Loss = loss;
        for (int i = 0; i < 5; ++i) {
          const double next = Step(block, options).fCost;
          EXPECT_LE(next, cost);
          cost = next;
        }
      }
    }
  }
}

TEST(PointPass, PointsReachTheirMinimum) {
  const RobustLoss losses[] = {{}, {LossForm::Huber, 2}, {LossForm::Welsch, 30}};
  for (const ResidualForm form : {ResidualForm::Measured, ResidualForm::Corrected}) {
    for (const RobustLoss& loss : losses) {
      SCOPED_TRACE(testing::Message()
                   << "form " << static_cast<int>(form) << ", loss " << static_cast<int>(loss.Form));
      BlockForm blockForm;
      blockForm.Form = form;
      Block block = test::MakeBlock(9, blockForm);
      AddControl(block, 5, {0.5, 0, 0.1});
      test::Random random(10);
      for (Vector3& point : block.Start.vPoints) point = point + random.Vector(3);
      PointPassOptions options = Steps(5, true);
      options.Loss = loss;
      for (int i = 0; i < 12; ++i) Step(block, options);
      const PointPassSums sums = Step(block, options);
      // Predicted: no more than a millionth of a standard deviation in each point.
      EXPECT_LE(sums.fPointDecrease, 1e-12 * static_cast<double>(block.Of.PointNum()));
      EXPECT_LE(sums.fCost, static_cast<double>(2 * sums.nRays));
      for (size_t p = 0; p < block.Start.vPoints.size(); ++p) {
        EXPECT_LE(Norm(block.Start.vPoints[p] - block.Truth.vPoints[p]), 0.5) << p;
      }
    }
  }
}

TEST(PointPass, PredictsWhatAFurtherStepTakesOff) {
  Block block = test::MakeBlock(11, {});
  test::Random random(12);
  for (Vector3& point : block.Start.vPoints) point = point + random.Vector(1e-3);
  const PointPassSums before = Step(block, Steps(0)), after = Step(block, Steps(1));
  EXPECT_GT(before.fPointDecrease, 1);
  EXPECT_NEAR(before.fCost - after.fCost, before.fPointDecrease, 1e-3 * before.fPointDecrease);
  EXPECT_LE(after.fPointDecrease, 1e-3 * before.fPointDecrease);
}

TEST(PointPass, SumsAreTheSameOnAnyNumberOfThreads) {
  BlockForm form;
  form.nImageRows = form.nImageColumns = 9;
  form.nPoints = 1500;
  form.fDisturbance = 0.5;
  form.nCameras = 2;
  const Block start = test::MakeBlock(13, form);
  ASSERT_GT(ChunksOf(start.Of).Num(), 10);
  Block first = start;
  PointPassOptions options = Steps(2, true);
  const Passed one = PassOf(first, options);
  for (const int32_t threads : {2, 4}) {
    SCOPED_TRACE(threads);
    Block block = start;
    options.nThreads = threads;
    const Passed many = PassOf(block, options);
    EXPECT_TRUE(block.Start.vPoints == first.Start.vPoints);
    EXPECT_TRUE(many.N == one.N);
    EXPECT_TRUE(many.n == one.n);
    EXPECT_EQ(many.Sums.fCost, one.Sums.fCost);
    EXPECT_EQ(many.Sums.fSquares, one.Sums.fSquares);
    EXPECT_EQ(many.Sums.fPointDecrease, one.Sums.fPointDecrease);
  }
}

}  // namespace
}  // namespace orvo::rigorous
