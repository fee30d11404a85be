#include "rigorous/RobustLoss.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace orvo::rigorous {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

TEST(RobustLoss, HasKnownValues) {
  const struct {
    LossForm Form;
    double Scale, s, Value, Weight;
  } table[] = {{LossForm::None, 2, 0, 0, 1},
               {LossForm::None, 2, 1e6, 1e6, 1},
               {LossForm::Huber, 2, 0, 0, 1},
               {LossForm::Huber, 2, 3, 3, 1},
               {LossForm::Huber, 2, 4, 4, 1},
               {LossForm::Huber, 2, 16, 12, 0.5},
               {LossForm::Huber, 2, 400, 76, 0.1},
               {LossForm::Huber, 2, kInfinite, kInfinite, 0},
               {LossForm::Huber, kInfinite, 7, 7, 1},
               {LossForm::Welsch, 2, 0, 0, 1},
               {LossForm::Welsch, 2, 4, 4 * (1 - std::exp(-1.0)), std::exp(-1.0)},
               {LossForm::Welsch, 2, 1e4, 4, 0},
               {LossForm::Welsch, 2, kInfinite, 4, 0},
               {LossForm::Welsch, kInfinite, 7, 7, 1},
               {LossForm::Welsch, 1e200, 7, 7, 1}};
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(row.Form) << " of " << row.Scale << " at " << row.s);
    const LossValue loss = LossOf({row.Form, row.Scale}, row.s);
    EXPECT_DOUBLE_EQ(loss.Value, row.Value);
    EXPECT_DOUBLE_EQ(loss.Weight, row.Weight);
  }
}

TEST(RobustLoss, WeightIsTheDerivative) {
  for (const LossForm form : {LossForm::None, LossForm::Huber, LossForm::Welsch}) {
    for (const double scale : {0.5, 2.5, 200.0}) {
      for (const double residual : {0.01, 0.3, 0.9, 1.1, 2.0, 4.0}) {
        const double s = std::pow(residual * scale, 2), h = 1e-4 * s;
        const RobustLoss loss = {form, scale};
        const double numeric = (LossOf(loss, s + h).Value - LossOf(loss, s - h).Value) / (2 * h);
        EXPECT_NEAR(numeric, LossOf(loss, s).Weight, 1e-6) << scale << " " << residual;
      }
    }
  }
}

TEST(RobustLoss, HuberIsContinuousAtItsScale) {
  for (const double scale : {0.3, 1.0, 2.5}) {
    const double s = scale * scale;
    const LossValue below = LossOf({LossForm::Huber, scale}, s * (1 - 1e-12));
    const LossValue above = LossOf({LossForm::Huber, scale}, s * (1 + 1e-12));
    EXPECT_NEAR(below.Value, above.Value, 1e-11 * s);
    EXPECT_NEAR(below.Weight, above.Weight, 1e-11);
  }
}

TEST(RobustLoss, GrowsWithTheResidualAndNeverAboveIt) {
  for (const LossForm form : {LossForm::None, LossForm::Huber, LossForm::Welsch}) {
    const RobustLoss loss = {form, 2.5};
    LossValue last = LossOf(loss, 0);
    for (double s = 1e-12; s < 1e12; s *= 1.5) {
      const LossValue next = LossOf(loss, s);
      EXPECT_GE(next.Value, last.Value);
      EXPECT_LE(next.Value, s * (1 + 1e-15));
      EXPECT_LE(next.Weight, last.Weight);
      EXPECT_GE(next.Weight, 0);
      EXPECT_LE(next.Value, form == LossForm::Welsch ? 6.25 : next.Value);
      last = next;
    }
  }
}

TEST(RobustLoss, WelschKeepsTheDigitsOfSmallResiduals) {
  EXPECT_DOUBLE_EQ(LossOf({LossForm::Welsch, 200}, 1e-18).Value, 1e-18);
}

TEST(RobustLoss, WhatIsNoNumberStaysSo) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const LossForm form : {LossForm::None, LossForm::Huber, LossForm::Welsch}) {
    EXPECT_TRUE(std::isnan(LossOf({form, 2}, nan).Value));
  }
}

}  // namespace
}  // namespace orvo::rigorous
