// Values by hand: the check points' RMSE of 3 and 4 cm make 5 cm, and with 12 cm of the survey 13 cm.
#include "report/Asprs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace orvo::report {
namespace {

using Texts = std::vector<std::string>;

// Whether there is one text for each of `words`, in their order, that holds it.
testing::AssertionResult Tells(const Texts& texts, const Texts& words) {
  bool same = texts.size() == words.size();
  for (size_t i = 0; same && i < words.size(); ++i) same = texts[i].find(words[i]) != std::string::npos;
  if (same) return testing::AssertionSuccess();
  return testing::AssertionFailure() << testing::PrintToString(texts);
}

GroundFigures Points(int64_t number) {
  GroundFigures ground;
  ground.Check.nNum = number;
  ground.Check.Rmse = {0.03, 0.04, 0.06};
  for (int64_t i = 0; i < number; ++i) {
    GroundPointFigure point;
    point.bIntersected = true;
    point.Difference = {0.03, -0.04, 0.06};
    ground.vPoints.push_back(point);
  }
  return ground;
}

GroundFigures Surveyed(double h, double v) {
  GroundFigures ground = Points(30);
  ground.fSurveySigmaH = h;
  ground.fSurveySigmaV = v;
  return ground;
}

TEST(Asprs, SurveyErrorIsPartOfTheAccuracy) {
  const AsprsStatement statement = StateByAsprs(Surveyed(0.12, 0.025));
  EXPECT_EQ(statement.nCheckPoints, 30);
  EXPECT_NEAR(statement.Horizontal.fFit, 0.05, 1e-12);
  EXPECT_EQ(statement.Horizontal.fSurvey, 0.12);
  EXPECT_NEAR(statement.Horizontal.fAccuracy.value_or(0), 0.13, 1e-12);
  EXPECT_NEAR(statement.Vertical.fFit, 0.06, 1e-12);
  EXPECT_NEAR(statement.Vertical.fAccuracy.value_or(0), 0.065, 1e-12);
  EXPECT_EQ(statement.vMissing, Texts{});
}

TEST(Asprs, ClassIsTwoDigitsUpAndTwiceTheSurvey) {
  const struct {
    double h, accuracy, classOf;
  } cases[] = {
      {0.12, 0.13, 0.24},                   // twice the survey
      {0.01, std::sqrt(0.0026), 0.051},     // 5.099 cm
      {0.025, std::sqrt(0.003125), 0.056},  // 5.590 cm
      {0.0001, std::sqrt(0.00250001), 0.051},
  };
  for (const auto& c : cases) {
    const AsprsStatement statement = StateByAsprs(Surveyed(c.h, 0.02));
    EXPECT_NEAR(statement.Horizontal.fAccuracy.value_or(0), c.accuracy, 1e-12) << c.h;
    EXPECT_NEAR(statement.Horizontal.fClass.value_or(0), c.classOf, 1e-12) << c.h;
  }
  GroundFigures exact = Surveyed(0.03, 0.08);
  exact.Check.Rmse = {0.04, 0, 0.192};  // 5 cm and 20.8 cm
  EXPECT_NEAR(StateByAsprs(exact).Horizontal.fClass.value_or(0), 0.06, 1e-12);
  EXPECT_NEAR(StateByAsprs(exact).Vertical.fClass.value_or(0), 0.21, 1e-12);
}

TEST(Asprs, SentencesAreTheStandards) {
  const std::string opening =
      "This data set was tested to meet ASPRS Positional Accuracy Standards for Digital Geospatial Data, "
      "Edition 2, Version 2 (2024) for a ";
  EXPECT_EQ(
      StateByAsprs(Surveyed(0.01, 0.025)).vSentences,
      (Texts{opening + "5.1 (cm) RMSE_H Horizontal Positional Accuracy Class. The tested horizontal "
                       "positional accuracy was found to be RMSE_H = 5.10 (cm).",
             opening + "6.5 (cm) RMSE_V Vertical Accuracy Class. The Non-Vegetated Vertical Accuracy (NVA) "
                       "was found to be RMSE_V = 6.50 (cm)."}));
}

TEST(Asprs, FewerThanThirtyPointsStateNothing) {
  for (const auto& [number, words] :
       {std::pair{0, "There are no check points"}, std::pair{1, "There is 1 check point"},
        std::pair{29, "There are 29 check points"}}) {
    GroundFigures ground = Points(number);
    ground.fSurveySigmaH = 0.01;
    ground.fSurveySigmaV = 0.01;
    const AsprsStatement statement = StateByAsprs(ground);
    EXPECT_EQ(statement.vSentences, Texts{}) << number;
    EXPECT_TRUE(Tells(statement.vMissing, {words})) << number;
    EXPECT_TRUE(Tells(statement.vMissing, {"and the standard wants 30 at least"})) << number;
  }
}

TEST(Asprs, PointsWithoutADifferenceAreNoLackOfPoints) {
  GroundFigures ground = Points(40);
  ground.Check.nNum = 12;
  ground.fSurveySigmaH = ground.fSurveySigmaV = 0.01;
  EXPECT_TRUE(
      Tells(StateByAsprs(ground).vMissing,
            {"There are 12 check points with a difference of 40 measured, "
             "and the standard wants 30 at least: find out why the rays of the others do not meet before"}));
  ground.vPoints.resize(12);
  EXPECT_TRUE(Tells(StateByAsprs(ground).vMissing, {"measure more of them before"}));
}

TEST(Asprs, WithoutTheSurveysErrorThereIsNoSentence) {
  GroundFigures ground = Points(30);
  AsprsStatement statement = StateByAsprs(ground);
  EXPECT_EQ(statement.vSentences, Texts{});
  EXPECT_FALSE(statement.Horizontal.fAccuracy || statement.Vertical.fClass);
  EXPECT_TRUE(Tells(statement.vMissing, {"The horizontal and vertical error"}));

  ground.fSurveySigmaV = 0.02;  // each direction by itself
  statement = StateByAsprs(ground);
  EXPECT_TRUE(Tells(statement.vSentences, {"RMSE_V"}));
  EXPECT_TRUE(Tells(statement.vMissing, {"The horizontal error"}));
}

TEST(Asprs, SurveyErrorsThatAreNoneAreTakenForMissing) {
  for (const double none : {0.0, 5e-324, -0.01, std::nan(""), std::numeric_limits<double>::infinity(), 1e300})
    EXPECT_EQ(StateByAsprs(Surveyed(none, none)).vSentences, Texts{}) << none;
  for (const double wild : {std::nan(""), std::numeric_limits<double>::infinity(), 1e300}) {
    GroundFigures ground = Surveyed(0.01, 0.01);
    ground.Check.Rmse = {wild, wild, wild};
    EXPECT_EQ(StateByAsprs(ground).vSentences, Texts{}) << wild;
    EXPECT_TRUE(Tells(StateByAsprs(ground).vMissing, {"horizontal differences", "vertical differences"}));
  }
}

TEST(Asprs, MeansAboveAQuarterOfTheClassAreTold) {
  GroundFigures ground = Surveyed(0.01, 0.025);  // classes 5.1 and 6.5 cm: limits 1.275 and 1.625 cm
  ground.Check.Mean = {0.0127, -0.0128, -0.0162};
  EXPECT_TRUE(Tells(StateByAsprs(ground).vRemarks, {"difference in Y is -1.28 cm"}));
  ground.Check.Mean = {0.0128, 0, 0.0163};
  EXPECT_TRUE(
      Tells(StateByAsprs(ground).vRemarks, {"difference in X is 1.28 cm", "difference in Z is 1.63 cm"}));
}

TEST(Asprs, DifferencesAboveThreeTimesTheClassAreTold) {
  GroundFigures ground = Surveyed(0.01, 0.025);  // limits 15.3 and 19.5 cm
  ground.vPoints[0].Difference = {0.09, 0.12, 0};
  ground.vPoints[1].Difference = {0, 0, 0.19};
  EXPECT_EQ(StateByAsprs(ground).vRemarks, Texts{});
  ground.vPoints[0].Difference = {0.092, 0.124, 0};
  EXPECT_TRUE(Tells(StateByAsprs(ground).vRemarks, {"1 check point is off"}));
  ground.vPoints[1].Difference = {0, 0, -0.2};
  ground.vPoints[2].Difference = {9, 9, 9};
  ground.vPoints[2].bControl = true;
  ground.vPoints[3].Difference = {9, 9, 9};
  ground.vPoints[3].bIntersected = false;
  EXPECT_TRUE(Tells(StateByAsprs(ground).vRemarks, {"2 check points are off"}));
}

TEST(Asprs, ASurveyThatBoundsTheClassIsTold) {
  EXPECT_TRUE(Tells(StateByAsprs(Surveyed(0.12, 0.025)).vRemarks,
                    {"follows from the survey of the check points (12.0 cm)"}));
  EXPECT_EQ(StateByAsprs(Surveyed(0.01, 0.025)).vRemarks, Texts{});
}

}  // namespace
}  // namespace orvo::report
