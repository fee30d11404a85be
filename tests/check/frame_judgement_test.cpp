// Readings of coordinates, and what becomes of single points.
#include "check/block/FrameJudgement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "check/block/ControlSpread.h"
#include "check/block/ExchangedPoints.h"

namespace orvo::test {
namespace {

using Points = std::vector<Position3>;

/// Eight points in an area of 400 by 300, heights from 200 to 230.
const Points kGround = {{110, 520, 200}, {510, 540, 215}, {130, 810, 230}, {490, 800, 205},
                        {300, 640, 222}, {220, 700, 211}, {400, 590, 228}, {350, 760, 201}};
constexpr double kDepth = 300;

FrameTransform Transform(double scale, double kappa, const Position3& shift) {
  return {scale, {std::cos(kappa), -std::sin(kappa), 0, std::sin(kappa), std::cos(kappa), 0, 0, 0, 1}, shift};
}

TEST(CoordinateReadings, TellUnitsAndAxes) {
  const Position3 given{10, 20, 30};
  for (const CoordinateReading& reading : AllCoordinateReadings()) {
    const Position3 read = Read(reading, given);
    // A mirror changes the hand: the determinant of what it does is negative.
    const double factors =
        reading.Factor[0] * reading.Factor[1] * reading.Factor[2] * (reading.bExchanged ? -1 : 1);
    EXPECT_EQ(reading.bMirror, factors < 0) << reading.szWhat;
    EXPECT_EQ(std::fabs(read[0] / reading.Factor[0]), reading.bExchanged ? 20 : 10) << reading.szWhat;
  }
}

TEST(CoordinateReadings, Degrees) {
  const Points degrees = {{-83.30, 41.03, 219}, {-83.31, 41.04, 221}, {-83.305, 41.035, 220}};
  EXPECT_TRUE(LooksGeographic(degrees));
  EXPECT_FALSE(LooksGeographic(kGround));
  const Points model = {{0.1, 0.2, 0.3}, {0.4, 0.1, 0.2}, {0.5, 0.5, 0.1}};
  EXPECT_FALSE(LooksGeographic(model));
  EXPECT_FALSE(LooksGeographic(std::span(degrees).first(1)));
}

Points Moved(Position3 factor, bool exchange, Position3 shift) {
  Points moved = kGround;
  for (Position3& p : moved) {
    for (size_t k = 0; k < 3; ++k) p[k] = p[k] * factor[k] + shift[k];
    if (exchange) std::swap(p[0], p[1]);
  }
  return moved;
}

struct JudgementCase {
  const char* szName;
  Points Given;
  FrameKind Kind;
  const char* szWhat;  ///< of the reading
};

TEST(FrameJudgement, Cases) {
  constexpr double foot = 1 / 0.3048;
  const Points turned = Apply(Transform(3, 0.5, {1000, 2000, 50}), kGround);
  const Points turnedExchanged = Apply(Transform(3, 0.5, {1000, 2000, 50}), Moved({1, 1, 1}, true, {}));
  const JudgementCase cases[] = {
      {"the same", kGround, FrameKind::Same, nullptr},
      {"a little off", Moved({1, 1, 1}, false, {4, -3, 5}), FrameKind::Same, nullptr},
      {"exchanged", Moved({1, 1, 1}, true, {}), FrameKind::Reading, "have easting and northing exchanged"},
      {"feet", Moved({foot, foot, foot}, false, {}), FrameKind::Reading, "are in feet"},
      {"heights in feet", Moved({1, 1, foot}, false, {}), FrameKind::Reading, "have heights in feet"},
      {"sign", Moved({1, 1, -1}, false, {}), FrameKind::Reading, "have the wrong sign in Z"},
      {"offset", Moved({1, 1, 1}, false, {0, 0, -33}), FrameKind::HeightOffset, nullptr},
      {"free", turned, FrameKind::Free, nullptr},
      {"free, exchanged", turnedExchanged, FrameKind::Reading, "have easting and northing exchanged"},
      {"nothing",
       {{1, 2, 3},
        {900, 5, 7},
        {30, 700, 1},
        {8, 9, 800},
        {500, 500, 3},
        {5, 77, 600},
        {42, 4, 2},
        {1, 900, 9}},
       FrameKind::Unknown,
       nullptr},
  };
  for (const JudgementCase& each : cases) {
    const FrameJudgement judgement = JudgeFrame(kGround, each.Given, kDepth);
    EXPECT_EQ(judgement.Kind, each.Kind) << each.szName;
    EXPECT_STREQ(judgement.pReading ? judgement.pReading->szWhat : nullptr, each.szWhat) << each.szName;
  }
  EXPECT_DOUBLE_EQ(JudgeFrame(kGround, cases[6].Given, kDepth).dHeightOffset, -33);
  EXPECT_NEAR(JudgeFrame(kGround, turned, kDepth).Transform.fScale, 3, 1e-9);
  EXPECT_EQ(JudgeFrame({}, {}, kDepth).Kind, FrameKind::Unknown);
  EXPECT_EQ(JudgeFrame(kGround, kGround, 0).Kind, FrameKind::Unknown);
}

/// Far from the origin, the two feet differ by metres.
TEST(FrameJudgement, TellsTheFeetApart) {
  for (const double foot : {0.3048, 1200.0 / 3937.0}) {
    Points block = kGround, given = kGround;
    for (size_t i = 0; i < block.size(); ++i) {
      block[i][0] += 1e6;
      block[i][1] += 5e6;
      for (size_t k = 0; k < 3; ++k) given[i][k] = block[i][k] / foot;
    }
    const FrameJudgement judgement = JudgeFrame(block, given, kDepth);
    ASSERT_EQ(judgement.Kind, FrameKind::Reading);
    EXPECT_STREQ(judgement.pReading->szWhat, foot == 0.3048 ? "are in feet" : "are in US survey feet");
  }
}

/// Two of few points exchanged are no reason to read all of them otherwise.
TEST(FrameJudgement, ExchangedPointsLeaveTheFrame) {
  for (const size_t count : {4u, 5u, 6u, 8u}) {
    Points given(kGround.begin(), kGround.begin() + static_cast<std::ptrdiff_t>(count));
    std::swap(given[1], given[2]);
    const auto block = std::span(kGround).first(count);
    const FrameJudgement judgement = JudgeFrame(block, given, kDepth);
    EXPECT_EQ(judgement.Kind, FrameKind::Same) << count;
    const PointFaults faults = FindPointFaults(block, given, {}, kDepth);
    ASSERT_EQ(faults.Exchanged.size(), 1u) << count;
    EXPECT_EQ(faults.Exchanged[0].nFirst, 1u);
    EXPECT_EQ(faults.Exchanged[0].nSecond, 2u);
    EXPECT_TRUE(faults.Outliers.empty()) << count;
  }
}

TEST(PointFaults, ExchangedAmongThree) {
  const auto block = std::span(kGround).first(3);
  Points given(kGround.begin(), kGround.begin() + 3);
  EXPECT_FALSE(FindExchangeOfFew(block, given, kDepth));
  std::swap(given[0], given[2]);
  given[1][2] += 5;
  const auto exchange = FindExchangeOfFew(block, given, kDepth);
  ASSERT_TRUE(exchange);
  EXPECT_EQ(exchange->nFirst, 0u);
  EXPECT_EQ(exchange->nSecond, 2u);
  given[1][2] += 50;
  EXPECT_FALSE(FindExchangeOfFew(block, given, kDepth));
  EXPECT_FALSE(FindExchangeOfFew(std::span(kGround).first(4), std::span(kGround).first(4), kDepth));
}

TEST(PointFaults, OutliersAndPlacesThatTheyFit) {
  Points given = kGround;
  given[0][2] += 50;
  // Three names moved on by one: each lies where another is given.
  const Position3 first = given[3];
  given[3] = given[4];
  given[4] = given[5];
  given[5] = first;
  const PointFaults faults = FindPointFaults(kGround, given, {}, kDepth);
  EXPECT_TRUE(faults.Exchanged.empty());
  ASSERT_EQ(faults.Outliers.size(), 4u);
  const std::ptrdiff_t fits[] = {-1, 5, 3, 4};
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(faults.Outliers[i].nFits, fits[i]) << i;
  EXPECT_DOUBLE_EQ(faults.Outliers[0].dDistance, 50);
}

TEST(PointFaults, WhatIsExpectedOfAPoint) {
  struct Row {
    double dUsual,
        dExpected;  ///< how far the others lie off, and what is expected of the one that lies 50 off
    size_t nTold;
  };
  const Row rows[] = {
      {1, 2, 1}, {1, 5.1, 0}, {0.5, 5.1, 1}, {0.01, 5.1, 1}, {0.01, 100, 0},
  };
  for (const Row& row : rows) {
    Points given = kGround;
    for (Position3& p : given) p[0] += row.dUsual;
    given[0] = kGround[0];
    given[0][2] += 50;
    std::vector<double> expected(given.size(), 2.0);
    expected[0] = row.dExpected;
    EXPECT_EQ(FindPointFaults(kGround, given, expected, kDepth).Outliers.size(), row.nTold)
        << row.dUsual << ' ' << row.dExpected;
  }
}

TEST(FrameJudgement, ValuesThatAreNoNumbers) {
  for (const double odd : {std::nan(""), HUGE_VAL, 1e300, -1e300}) {
    for (const size_t count : {1u, 4u, 8u}) {
      Points given(kGround.begin(), kGround.begin() + static_cast<std::ptrdiff_t>(count));
      for (Position3& p : given) p = {odd, -odd, odd};
      const auto block = std::span(kGround).first(count);
      EXPECT_EQ(JudgeFrame(block, given, kDepth).Kind, FrameKind::Unknown) << odd << ' ' << count;
      FindPointFaults(block, given, {}, kDepth);
      // One of them among others.
      if (count < 8) continue;
      given = kGround;
      given[3][1] = odd;
      EXPECT_EQ(JudgeFrame(block, given, kDepth).Kind, FrameKind::Same) << odd;
      EXPECT_EQ(FindPointFaults(block, given, {}, kDepth).Outliers.size(), 1u) << odd;
    }
  }
}

TEST(ControlSpread, IsAShareOfTheBlock) {
  const Points cross = {{-2, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, -1, 0}};
  EXPECT_DOUBLE_EQ(ShareOfExtent(cross, {-10, -4, 0}, {10, 4, 0}), 0.25);
  EXPECT_DOUBLE_EQ(ShareOfExtent({}, {-10, -4, 0}, {10, 4, 0}), 0);
}

}  // namespace
}  // namespace orvo::test
