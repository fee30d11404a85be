// The rules of the verdict, one case a line.
#include "verdict/Judge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "verdict/VerdictText.h"

namespace orvo::test {
namespace {

GroundFigure Ground(const char* name, bool control, double difference, double rmse, double worst) {
  GroundFigure point;
  point.szName = name;
  point.bControl = control;
  point.nImages = 3;
  point.bIntersected = true;
  point.fDifference = difference;
  point.fRmse = rmse;
  point.fWorst = worst;
  point.szWorstImage = "IMG_7";
  return point;
}

/// An adjusted block of half a pixel that nothing speaks against.
VerdictFigures GoodFigures() {
  VerdictFigures f;
  f.bAdjusted = f.bHasControl = f.bHasPoints = f.bPredicted = true;
  f.szGcpFile = "b_gcp.txt";
  f.szPosFile = "b_pos.txt";
  f.szProjectFile = "b.prj";
  f.nIterations = 7;
  f.fStartRmse = 25;
  f.fLastRmse = f.fEndRmse = 0.5;
  f.fPredictedShare = 1e-5;
  f.nPoints = 1000;
  f.nMeasurements = 4000;
  f.nUsed = 3990;
  f.nGross = 10;
  f.fRmseX = f.fRmseY = 0.35;
  f.nCentres = 30;
  f.fGsd = 0.1;
  f.vCameras = {{"0", 12000, 12003}};
  f.vImages = {{"IMG_1", 100, 1, 0.5}, {"IMG_2", 100, 0, 0.6}};
  f.vCameraResiduals = {{"0", 200, 1, 0.5}, {"1", 200, 0, 0.5}};
  for (const char* name : {"G1", "G2", "G3", "G4", "G5"})
    f.vGround.push_back(Ground(name, true, 0.1, 0.5, 0.9));
  for (const char* name : {"C1", "C2", "C3"}) f.vGround.push_back(Ground(name, false, 0.1, 0.4, 0.8));
  for (const char* name : {"IMG_1", "IMG_2", "IMG_3"}) f.vPos.push_back({name, 0.05});
  f.nImagesInFile = 30;
  f.Similarity.bApplied = f.Similarity.bViewsAgree = true;
  f.Similarity.fWidth = 0.7;
  f.Similarity.fExtent = 1000;
  return f;
}

void SetCheckDifferences(VerdictFigures& figures, double difference) {
  for (GroundFigure& point : figures.vGround) {
    if (!point.bControl) point.fDifference = difference;
  }
}

struct Case {
  const char* szName;
  std::function<void(VerdictFigures&)> Change;
  Grade Expected;
  const char* szSaid;  ///< part of the text; "" where nothing is said
};

class Rules : public ::testing::TestWithParam<Case> {};

TEST_P(Rules, Hold) {
  VerdictFigures figures = GoodFigures();
  GetParam().Change(figures);
  const Verdict verdict = Judge(figures);
  const std::string text = VerdictText(verdict);
  EXPECT_TRUE(verdict.bJudged);
  EXPECT_EQ(verdict.Result, GetParam().Expected) << text;
  EXPECT_NE(text.find(GetParam().szSaid), std::string::npos) << text;
  EXPECT_EQ(verdict.vReasons.empty(), GetParam().Expected == Grade::Good) << text;
}

constexpr Grade kGood = Grade::Good, kDoubt = Grade::Doubtful, kUnusable = Grade::Unusable;
using F = VerdictFigures;

const Case kCases[] = {
    {"Nothing", [](F&) {}, kGood, "Verdict: good\n"},
    {"NotFinite", [](F& f) { f.bFinite = false, f.szNotFinite = "image IMG_3"; }, kUnusable, "image IMG_3"},
    {"RmseNotFinite", [](F& f) { f.fEndRmse = NAN; }, kUnusable, "RMSE is not a number"},
    {"RmseGrown", [](F& f) { f.fStartRmse = 20, f.fEndRmse = f.fLastRmse = 31; }, kUnusable,
     "limit 1.5 times"},
    {"RmseRisen", [](F& f) { f.fStartRmse = 27, f.fEndRmse = f.fLastRmse = 38; }, kDoubt,
     "27 px at the start"},
    {"StartAtTheEnd", [](F& f) { f.fStartRmse = 0.499; }, kGood, ""},
    {"NoiseFreeGrowth", [](F& f) { f.fStartRmse = 1e-4, f.fEndRmse = f.fLastRmse = 1e-3; }, kGood, ""},
    {"Behind", [](F& f) { f.nPointsNotInFront = 51; }, kUnusable, "5.1 % of the points"},
    {"FewBehind", [](F& f) { f.nPointsNotInFront = 50; }, kGood, ""},
    {"Below", [](F& f) { f.nCentresBelow = 16; }, kUnusable, "below the points"},
    {"BelowInAFreeFrame", [](F& f) { f.nCentresBelow = 30, f.bHasControl = false; }, kGood, ""},
    {"FewUsed", [](F& f) { f.nUsed = 1999, f.nGross = 0; }, kUnusable, "50 % of the measurements are in"},
    {"NotConverged", [](F& f) { f.fPredictedShare = 0.006; }, kDoubt, "would fall by 0.6 %"},
    {"NotConvergedDense", [](F& f) { f.fPredictedShare = 0.002; }, kDoubt, "0.2 %; limit 0.1 %"},
    {"ConvergedInexact", [](F& f) { f.fPredictedShare = 0.004, f.Decrease.bInexact = true; }, Grade::Good,
     ""},
    {"NotConvergedInexact", [](F& f) { f.fPredictedShare = 0.006, f.Decrease.bInexact = true; }, kDoubt,
     "0.6 %; limit 0.5 %"},
    {"ConvergedOwnCameras",
     [](F& f) {
       f.fPredictedShare = 0.015, f.Decrease = {false, 150, 10000};
     },
     Grade::Good, ""},
    {"NotConvergedOwnCameras",
     [](F& f) {
       f.fPredictedShare = 0.017, f.Decrease = {false, 150, 10000};
     },
     kDoubt, "1.7 %; limit 1.6 %"},
    {"OwnCamerasAddSoMuch",
     [](F& f) {
       f.fPredictedShare = 0.06, f.Decrease = {false, 150, -1};
     },
     kDoubt, "limit 5.1 %"},
    {"PredictionNotFinite", [](F& f) { f.fPredictedShare = NAN; }, kDoubt, "not converged"},
    {"StillChanging", [](F& f) { f.fLastRmse = 0.51; }, kDoubt, "from 0.51 px to 0.5 px"},
    {"EndedEarly", [](F& f) { f.fLastRmse = 0.51, f.bLastAllowed = true; }, kDoubt, "last allowed step"},
    {"SaysItIsAtItsEnd", [](F& f) { f.fLastRmse = 0.9, f.bReachedEnd = true; }, kGood, ""},
    {"SaysItIsNotAtItsEnd", [](F& f) { f.bReachedEnd = false; }, kDoubt, "not converged after"},
    {"EndedWhereItShould", [](F& f) { f.bLastAllowed = true; }, kGood, ""},
    {"Singular", [](F& f) { f.bSingular = true; }, kDoubt, "could not be solved"},
    {"Gross", [](F& f) { f.nGross = 81; }, kDoubt, "are gross; limit 2 %"},
    {"Focal", [](F& f) { f.vCameras[0].fEndFocal = 12601; }, kDoubt, "camera 0 moved from 12000 to 12601"},
    {"FocalTurned", [](F& f) { f.vCameras[0].fEndFocal = -1.16e6; }, kUnusable, "to -1.16e+06"},
    {"FocalWithin", [](F& f) { f.vCameras[0].fEndFocal = 12599; }, kGood, ""},
    {"Mean", [](F& f) { f.fMeanX = 0.05; }, kDoubt, "mean residual in x 0.05 px"},
    {"MeanOfNoWeight", [](F& f) { f.fMeanX = 0.03; }, kGood, ""},
    {"Image", [](F& f) { f.vImages[1].fRmse = 1.51; }, kDoubt, "image IMG_2: RMSE 1.51 px"},
    {"ImageOfGrossOnes", [](F& f) { f.vImages[1].nGross = 101; }, kDoubt, "IMG_2: 101 of 201"},
    {"Camera", [](F& f) { f.vCameraResiduals[1].fRmse = 1.51; }, kDoubt, "camera 1: RMSE"},
    {"ControlInTheImage", [](F& f) { f.vGround[1].fWorst = 3; }, kDoubt,
     "control point G2: image residual 3 px in image IMG_7"},
    {"ControlInSpace", [](F& f) { f.vGround[1].fDifference = 1; }, kDoubt, "control point G2: off by 1"},
    {"Check", [](F& f) { f.vGround[6].fDifference = 1; }, kDoubt, "check point C2: off by 1"},
    {"ChecksTogether", [](F& f) { SetCheckDifferences(f, 1.1); }, kDoubt,
     "3 check points are off by 1.1, root mean square: 11 times the ground size of a pixel"},
    {"ChecksTogetherBelowTheLimit", [](F& f) { SetCheckDifferences(f, 0.9); }, kGood, ""},
    {"TwoChecksTellNothing",
     [](F& f) {
       SetCheckDifferences(f, 1.1);
       f.vGround.pop_back();
     },
     kGood, ""},
    {"ChecksOfAFreeBlock",
     [](F& f) {
       SetCheckDifferences(f, 1.1);
       f.bHasControl = false;
     },
     kGood, ""},
    {"ChecksWithoutGroundSize",
     [](F& f) {
       SetCheckDifferences(f, 1.1);
       f.fGsd = 0;
     },
     kGood, ""},
    {"ControlOnce", [](F& f) { f.vGround[0].nImages = 1; }, kDoubt, "fewer than 2 images: G1"},
    {"Gps", [](F& f) { f.vPos[2].fMisclosure = 30; }, kDoubt, "GPS positions of IMG_3 off by up to 30"},
    {"Radians", [](F& f) { f.bPosAnglesInRadians = true; }, kDoubt, "b_pos.txt look like radians"},
    {"Lost", [](F& f) { f.vLostImages = {"A", "B", "C", "D", "E", "F", "G"}; }, kDoubt,
     "7 of 30 images were left out: A, B, C, D, E and 2 more"},
    {"Loose", [](F& f) { f.vLooseImages = {"IMG_9"}; }, kDoubt, "with the rest: IMG_9"},
    {"Parts",
     [](F& f) {
       f.vLooseParts = {{"IMG_8", "IMG_9"}};
     },
     kDoubt, "2 images share fewer"},
    {"Line", [](F& f) { f.Similarity.fWidth = 0.04; }, kDoubt, "nearly on a line"},
    {"Tilt", [](F& f) { f.Similarity.fTilt = f.Similarity.fTurn = 44; }, kDoubt,
     "44 degrees off the vertical"},
    {"ObliqueBefore", [](F& f) { f.Similarity.fTilt = 44, f.Similarity.fTurn = 2; }, kGood, ""},
    {"ViewsOfAllKinds",
     [](F& f) { f.Similarity.fTilt = f.Similarity.fTurn = 44, f.Similarity.bViewsAgree = false; }, kGood, ""},
    {"Feet", [](F& f) { f.Similarity.fScale = 3.28; }, kDoubt, "feet for metres"},
    {"Metres", [](F& f) { f.Similarity.fScale = 0.3046; }, kDoubt, "feet for metres"},
    {"AnyScale", [](F& f) { f.Similarity.fScale = 2.5; }, kGood, ""},
    {"Misfit",
     [](F& f) {
       for (const char* name : {"G1", "G2", "G3", "G4"})
         f.Similarity.vMisfits.push_back(Ground(name, true, 2, 0, 0));
       f.Similarity.vMisfits[3].fDifference = 300;
     },
     kDoubt, "control point G4 does not fit the others"},
    {"ControlSetAside",
     [](F& f) {
       f.vControlOut = {{"G7", 4.987}};
     },
     kDoubt, "control point G7 contradicts the others and was left out: off by 4.99"},
    {"ControlContradictory", [](F& f) { f.bControlContradictory = true; }, kDoubt,
     "the control points contradict each other by far more than their standard deviations say"},
    {"Frame", [](F& f) { f.bStartInFrame = false, f.fStartMiss = 0.25; }, kDoubt, "off by 25 %"},
    {"Sigma0Large",
     [](F& f) {
       f.Precision = {1.6, true, 0.5, {}, {}};
     },
     kDoubt,
     "sigma0 1.6: the residuals are larger than the standard deviations of the settings say; limit 1.5 "
     "times. "
     "Set Sigma_Image 0.8 in place of 0.5"},
    {"Sigma0Small",
     [](F& f) {
       f.Precision = {0.6, true, 0.5, {}, {}};
     },
     kDoubt, "sigma0 0.6: the residuals are smaller"},
    {"Sigma0Zero",
     [](F& f) {
       f.Precision = {0, true, 0.5, {}, {}};
     },
     kDoubt, "sigma0 0:"},
    {"Sigma0NotANumber",
     [](F& f) {
       f.Precision = {NAN, true, 0.5, {}, {}};
     },
     kDoubt, "sigma0 nan"},
    {"Sigma0Within",
     [](F& f) {
       f.Precision = {1.49, true, 0.5, {}, {}};
     },
     kGood, ""},
    {"Sigma0WithinBelow",
     [](F& f) {
       f.Precision = {0.67, true, 0.5, {}, {}};
     },
     kGood, ""},
    {"Sigma0OfFewObservations",
     [](F& f) {
       f.Precision = {1.6, false, 0.5, {}, {}};
     },
     kGood, ""},
    {"FreeDatum",
     [](F& f) {
       f.Precision = {1, false, 0.5, {"height", "scale of the block"}, {}};
     },
     kDoubt, "no observation holds: height, scale of the block, although there is control or GPS"},
    {"FreeDatumWithGpsAlone",
     [](F& f) {
       f.Precision = {1, false, 0.5, {"height"}, {}}, f.bHasControl = false, f.bHasGps = true;
     },
     kDoubt, "no observation holds: height"},
    {"FreeBlock",
     [](F& f) {
       f.Precision = {1, false, 0.5, {"height"}, {}}, f.bHasControl = false;
     },
     kGood, ""},
    {"FocalWeak",
     [](F& f) {
       f.Precision = {1, false, 0.5, {}, {{"0", -12000, 121}}};
     },
     kDoubt, "camera 0 is known to 121 of -12000, 1.01 % of it; limit 1 %"},
    {"FocalsWeak",
     [](F& f) {
       f.Precision = {1, false, 0.5, {}, {{"a", 12000, 130}, {"b", 12000, 240}, {"c", 12000, 10}}};
     },
     kDoubt, "camera b is known to 240 of 12000, 2 % of it; 1 more like it; limit 1 %"},
    {"FocalKnown",
     [](F& f) {
       f.Precision = {1, false, 0.5, {}, {{"0", 12000, 119}}};
     },
     kGood, ""},
    {"Refusal",
     [](F& f) { f.Precision = {1, false, 0.5, {}, {}, "rotation about z of image a is not determined"}; },
     kDoubt,
     "rotation about z of image a is not determined, so that nothing has a standard deviation. Measure"},
    {"ImagesWeak",
     [](F& f) {
       f.Precision = {1, false, 0.5, {}, {}, {}, {{"a", 0.1}, {"b", 2.5}, {"c", 0.11}, {"d", 4}, {"e", 0.1}}};
     },
     kDoubt,
     "the position of image d is known to 4 object units, 36.4 times the others' median; 1 more like it; "
     "limit 20 times. Measure more points in it"},
    {"ImagesKnown",
     [](F& f) {
       f.Precision = {1, false, 0.5, {}, {}, {}, {{"a", 0.1}, {"b", 1.9}, {"c", 0.1}, {"d", 0.09}}};
     },
     kGood, ""},
    {"ImagesHeldByTheDatum",
     [](F& f) {
       f.Precision = {1, false, 0.5, {}, {}, {}, {{"a", 0}, {"b", 0}, {"c", 1e-9}}};
     },
     kGood, ""},
    {"OnlyIntersected",
     [](F& f) { f.bAdjusted = f.bPredicted = false, f.fStartRmse = f.fLastRmse = 0, f.vCameras.clear(); },
     kGood, ""},
    {"ControlCharacters", [](F& f) { f.vLooseImages = {"a\x1b[31m"}; }, kDoubt, "a\\x1b[31m"},
};

INSTANTIATE_TEST_SUITE_P(All, Rules, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.szName); });

TEST(Verdict, ShowsNoLimitThatIsNoNumber) {
  VerdictFigures figures = GoodFigures();
  figures.fEndRmse = std::numeric_limits<double>::quiet_NaN();
  const std::string text = VerdictText(Judge(figures));
  EXPECT_NE(text.find("the RMSE is not a number"), std::string::npos) << text;
  EXPECT_EQ(text.find("limit nan"), std::string::npos) << text;
  EXPECT_EQ(text.find("limit -nan"), std::string::npos) << text;
}

TEST(Verdict, TellsTheGravestFirst) {
  VerdictFigures figures = GoodFigures();
  figures.nGross = 200;
  figures.bFinite = false;
  const Verdict verdict = Judge(figures);
  ASSERT_EQ(verdict.vReasons.size(), 2u);
  EXPECT_EQ(verdict.vReasons[0].Weight, Grade::Unusable);
  EXPECT_EQ(verdict.vReasons[1].Weight, Grade::Doubtful);
  EXPECT_EQ(VerdictText(verdict).rfind("Verdict: unusable\nunusable: ", 0), 0u);
}

TEST(Verdict, GrossOnesAreFoundInTheReport) {
  VerdictFigures figures = GoodFigures();
  figures.nGross = 81;
  const Verdict verdict = Judge(figures);
  ASSERT_EQ(verdict.vReasons.size(), 1u);
  EXPECT_EQ(
      verdict.vReasons[0].szRemedy,
      "Look at the gross measurements by image in report.html, or --residuals-csv, at wrong matches, and at "
      "the control");
}

TEST(Judge, SaysOneThingOfControlThatWasSetAside) {
  VerdictFigures figures = GoodFigures();
  for (const char* name : {"G1", "G2", "G3", "G4"})
    figures.Similarity.vMisfits.push_back(Ground(name, true, 2, 0, 0));
  figures.Similarity.vMisfits[3].fDifference = 300;
  figures.vGround.push_back(Ground("G4", true, 300, 500, 900));
  EXPECT_GT(Judge(figures).vReasons.size(), 1u);
  figures.vControlOut = {{"G4", 300}};
  const Verdict verdict = Judge(figures);
  ASSERT_EQ(verdict.vReasons.size(), 1u);
  EXPECT_EQ(verdict.vReasons[0].szWhat,
            "control point G4 contradicts the others and was left out: off by 300");
}

}  // namespace
}  // namespace orvo::test
