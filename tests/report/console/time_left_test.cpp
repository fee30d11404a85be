// Time left, over made-up runs and over runs as they were recorded.
#include <gtest/gtest.h>

#include <cmath>

#include "report/console/TimeLeft.h"

namespace orvo::test {
namespace {

using namespace report;

TEST(IterationsLeft, FollowTheFallToTheThreshold) {
  const struct {
    const char* szWhat;
    std::vector<double> vLargest;
    int32_t nMost;
    double fThreshold;
    int32_t nLeft;
  } rows[] = {{"nothing yet", {}, 20, 1e-5, 20},
              {"one alone", {1}, 20, 1e-5, 19},
              {"by ten", {1, 0.1, 0.01}, 20, 1e-5, 4},
              {"by ten, just above", {1, 0.1, 0.01}, 20, 1.1e-5, 3},
              {"by two", {8, 4, 2}, 20, 0.9, 2},
              {"at its end", {1, 1e-3, 9e-6}, 20, 1e-5, 0},
              {"bounded", {1, 0.1, 0.01}, 5, 1e-5, 2},
              {"no fall", {1, 1, 1}, 20, 1e-5, 17},
              {"a rise", {1, 2, 4}, 20, 1e-5, 17},
              {"a slow fall", {1, 0.999, 0.998}, 20, 1e-5, 17},
              {"no threshold", {1, 0.1, 0.01}, 20, 0, 17},
              {"at most", {1, 0.1, 0.01}, 3, 1e-5, 0},
              {"beyond", {1, 0.1, 0.01}, 2, 1e-5, 0},
              {"an old rise", {1, 100, 10, 1, 0.1}, 20, 1e-5, 5},
              {"no step", {1, 0.1, NAN}, 20, 1e-5, 0},
              {"exactly nothing", {1, 0.1, 0}, 20, 0, 17},
              {"a small one before a large one", {1, 1e-4, 1}, 20, 1e-5, 17}};
  for (const auto& row : rows)
    EXPECT_EQ(IterationsLeft(row.vLargest, {.nMost = row.nMost, .fThreshold = row.fThreshold}), row.nLeft)
        << row.szWhat;
}

TEST(IterationsLeft, GoNoFurtherThanTheDampingLets) {
  const struct {
    const char* szWhat;
    std::vector<double> vLargest;
    RunPlan Plan;
    int32_t nLeft;
  } rows[] = {
      {"nothing yet", {}, {.nMost = 17, .nHeld = 10, .fThreshold = 1e-5}, 10},
      {"no fall", {1, 1, 1}, {.nMost = 17, .nHeld = 10, .fThreshold = 1e-5}, 7},
      {"a fall before it", {1, 0.1, 0.01}, {.nMost = 17, .nHeld = 10, .fThreshold = 1e-5}, 4},
      {"the next is held", {1, 1, 1}, {.nMost = 17, .nHeld = 4, .fThreshold = 1e-5}, 1},
      {"held, twice the threshold", {1, 1, 2e-5}, {.nMost = 17, .nHeld = 3, .fThreshold = 1e-5}, 1},
      {"held, thirty times the threshold", {1, 3e-4}, {.nMost = 17, .nHeld = 2, .fThreshold = 1e-5}, 2},
      {"held to the last", {1, 1}, {.nMost = 4, .nHeld = 2, .fThreshold = 1e-5}, 2},
      {"held and below", {1, 9e-6}, {.nMost = 17, .nHeld = 2, .fThreshold = 1e-5}, 0}};
  for (const auto& row : rows) EXPECT_EQ(IterationsLeft(row.vLargest, row.Plan), row.nLeft) << row.szWhat;
}

/// The events of a run, seconds since its begin.
struct Recorded {
  const char* szWhat;
  RunPlan Plan;
  int32_t nImages;
  int64_t nMeasurements;  ///< of a run on a device; 0: not on one
  double fIterating;      ///< begin of the phase
  struct Iteration {
    double fAdvance, fShare;  ///< the first time that more than half of the iteration was told; 0: never
    double fEnd, fLargest;
    int32_t nSolverSteps;
  };
  std::vector<Iteration> vIterations;
  double fJudging, fWriting, fReporting, fEnd;
};

IterationFigure FigureOf(const Recorded& run, size_t k) {
  IterationFigure figure;
  figure.nNumber = static_cast<int32_t>(k) + 1;
  figure.fLargest = run.vIterations[k].fLargest;
  figure.nSolverSteps = run.vIterations[k].nSolverSteps;
  figure.nUsed = run.nMeasurements > 0 ? kUnknownCount : 1;
  return figure;
}

BlockCounts CountsOf(const Recorded& run) {
  BlockCounts counts;
  counts.nImages = run.nImages;
  counts.nMeasurements = run.nMeasurements;
  return counts;
}

/// Told less true time at the end of each iteration, as a share of the true one.
std::vector<double> ErrorsOf(const Recorded& run) {
  TimeLeft left;
  left.OnPhase(RunPhase::Reading, 0);
  left.OnCounts(CountsOf(run), run.Plan);
  left.OnPhase(RunPhase::Iterating, run.fIterating);
  std::vector<double> errors;
  for (size_t k = 0; k < run.vIterations.size(); ++k) {
    const Recorded::Iteration& one = run.vIterations[k];
    const double now = one.fEnd, truth = run.fEnd - now;
    if (one.fShare > 0) left.OnAdvance(static_cast<int32_t>(k) + 1, one.fShare, one.fAdvance);
    left.OnIteration(FigureOf(run, k), now);
    errors.push_back((left.Seconds(now).value_or(0) - truth) / truth);
  }
  return errors;
}

/// Iterations of one length behind a longer first one, the corrections falling by a factor.
Recorded Even(int32_t num, double factor, int32_t most, double threshold) {
  Recorded run{"", {.nMost = most, .fThreshold = threshold}, 0, 0, 2.0, {}, 0, 0, 0, 0};
  double now = 2.5;
  for (int32_t k = 0; k < num; ++k) {
    now += 1;
    run.vIterations.push_back({now - 0.5, 0.7, now, 10 * std::pow(factor, k), 5});
  }
  run.fJudging = now;
  run.fWriting = now + 1.1;
  run.fReporting = now + 1.15;
  run.fEnd = now + 1.37;
  return run;
}

TEST(TimeLeft, EvenRunsAreForetold) {
  const struct {
    const char* szWhat;
    Recorded Run;
  } rows[] = {{"a set number", Even(20, 1, 20, 1e-5)},
              {"a set number, long before convergence", Even(12, 0.9, 12, 1e-9)},
              {"by ten to the threshold", Even(7, 0.1, 50, 2e-5)},
              {"by three to the threshold", Even(14, 1.0 / 3, 50, 2e-5 * 0.62)}};
  for (const auto& row : rows) {
    const std::vector<double> errors = ErrorsOf(row.Run);
    for (size_t k = 2; k < errors.size(); ++k)
      EXPECT_LE(std::fabs(errors[k]), 0.25) << row.szWhat << ", iteration " << k + 1;
  }
}

// The example, its full block, and generated blocks with 300 measurements an image or, dense, 3,000; on two
// processors without other work.
const Recorded kSeneca{"example, dense, ended by its damping",
                       {.nMost = 10, .nHeld = 10, .fThreshold = 1e-05, .bWritesPoints = false},
                       165,
                       0,
                       0.028,
                       {{0.038, 0.7, 0.042, 3.35, 0},
                        {0.046, 0.7, 0.051, 0.463, 0},
                        {0.055, 0.7, 0.059, 0.246, 0},
                        {0.063, 0.7, 0.067, 0.176, 0},
                        {0.071, 0.7, 0.075, 0.133, 0},
                        {0.079, 0.7, 0.083, 0.107, 0},
                        {0.087, 0.7, 0.091, 0.0884, 0},
                        {0.095, 0.7, 0.099, 0.0753, 0},
                        {0.103, 0.7, 0.107, 0.0655, 0},
                        {0.111, 0.7, 0.115, 1.52e-46, 0}},
                       0.116,
                       0.123,
                       0.124,
                       0.132};
const Recorded kFull{"165 images with 3,500 measurements each, dense, ended by its damping",
                     {.nMost = 10, .nHeld = 10, .fThreshold = 1e-05, .bWritesPoints = true},
                     165,
                     0,
                     0.075,
                     {{0.123, 0.7, 0.128, 0.146, 0},
                      {0.179, 0.7, 0.187, 0.0889, 0},
                      {0.241, 0.7, 0.247, 0.0598, 0},
                      {0.299, 0.7, 0.305, 0.0502, 0},
                      {0.357, 0.7, 0.363, 0.0479, 0},
                      {0.419, 0.7, 0.426, 0.0458, 0},
                      {0.480, 0.7, 0.487, 0.0438, 0},
                      {0.536, 0.7, 0.543, 0.0419, 0},
                      {0.596, 0.7, 0.637, 0.0405, 0},
                      {0.708, 0.7, 0.716, 1.91e-46, 0}},
                     0.716,
                     0.800,
                     0.876,
                     0.902};
const Recorded kSparse6{"1,000 images, sparse, 6 iterations",
                        {.nMost = 6, .nHeld = 7, .fThreshold = 1e-14, .bWritesPoints = true},
                        1000,
                        0,
                        0.065,
                        {{0.093, 0.7, 0.097, 0.526, 4},
                         {0.126, 0.7, 0.129, 0.361, 8},
                         {0.152, 0.7, 0.165, 0.203, 53},
                         {0.190, 0.7, 0.195, 0.0281, 16},
                         {0.223, 0.7, 0.231, 0.11, 38},
                         {0.254, 0.7, 0.260, 0.0126, 10}},
                        0.260,
                        0.311,
                        0.351,
                        0.373};
const Recorded kText9{"1,000 images, text project, sparse, 9 iterations",
                      {.nMost = 9, .nHeld = 10, .fThreshold = 1e-14, .bWritesPoints = false},
                      1000,
                      0,
                      0.081,
                      {{0.102, 0.7, 0.106, 0.526, 4},
                       {0.137, 0.7, 0.141, 0.361, 8},
                       {0.169, 0.7, 0.180, 0.203, 53},
                       {0.203, 0.7, 0.207, 0.0281, 16},
                       {0.234, 0.7, 0.242, 0.11, 38},
                       {0.264, 0.7, 0.267, 0.0126, 10},
                       {0.288, 0.7, 0.335, 0.249, 300},
                       {0.355, 0.7, 0.359, 0.00535, 14},
                       {0.381, 0.7, 0.398, 0.0427, 91}},
                      0.398,
                      0.438,
                      0.443,
                      0.465};
const Recorded kSparse{"1,000 images, sparse, to convergence",
                       {.nMost = 17, .nHeld = 10, .fThreshold = 1e-05, .bWritesPoints = false},
                       1000,
                       0,
                       0.073,
                       {{0.093, 0.7, 0.095, 0.526, 4},
                        {0.119, 0.7, 0.122, 0.361, 8},
                        {0.150, 0.7, 0.160, 0.203, 53},
                        {0.181, 0.7, 0.185, 0.0281, 16},
                        {0.207, 0.7, 0.214, 0.11, 38},
                        {0.238, 0.7, 0.241, 0.0126, 10},
                        {0.262, 0.7, 0.311, 0.249, 300},
                        {0.331, 0.7, 0.335, 0.00535, 14},
                        {0.356, 0.7, 0.371, 0.0427, 91},
                        {0.400, 0.7, 0.403, 7.4e-06, 2}},
                       0.403,
                       0.463,
                       0.468,
                       0.491};
const Recorded kLarge{"5,000 images, sparse, to convergence",
                      {.nMost = 17, .nHeld = 10, .fThreshold = 1e-05, .bWritesPoints = true},
                      5000,
                      0,
                      0.332,
                      {{0.491, 0.7, 0.518, 0.259, 6},
                       {0.682, 0.7, 0.709, 0.155, 9},
                       {0.822, 0.7, 0.849, 0.0471, 9},
                       {0.958, 0.7, 1.045, 0.0593, 41},
                       {1.157, 0.7, 1.349, 0.0278, 53},
                       {1.448, 0.7, 1.588, 0.0197, 82},
                       {1.689, 0.7, 1.730, 0.000684, 12},
                       {1.839, 0.7, 1.965, 0.00552, 52},
                       {2.066, 0.7, 2.270, 0.0252, 177},
                       {2.369, 0.7, 2.394, 1.08e-06, 1}},
                      2.394,
                      2.612,
                      2.847,
                      2.916};
const Recorded kGross{"1,200 images, 2 % of the measurements gross, ended by its second held iteration",
                      {.nMost = 17, .nHeld = 10, .fThreshold = 1e-05, .bWritesPoints = false},
                      1200,
                      0,
                      0.077,
                      {{0.101, 0.7, 0.106, 0.326, 5},
                       {0.133, 0.7, 0.138, 0.245, 9},
                       {0.164, 0.7, 0.167, 0.182, 3},
                       {0.193, 0.7, 0.196, 0.0843, 3},
                       {0.223, 0.7, 0.228, 0.142, 10},
                       {0.258, 0.7, 0.274, 0.184, 76},
                       {0.306, 0.7, 0.310, 0.0049, 9},
                       {0.339, 0.7, 0.345, 0.0196, 21},
                       {0.382, 0.7, 0.400, 0.0879, 88},
                       {0.444, 0.7, 0.448, 1.28e-05, 3},
                       {0.481, 0.7, 0.485, 1.27e-06, 2}},
                      0.485,
                      0.548,
                      0.554,
                      0.582};
const Recorded kDense{"300 images, dense, to convergence",
                      {.nMost = 17, .nHeld = 10, .fThreshold = 1e-05, .bWritesPoints = false},
                      300,
                      0,
                      0.212,
                      {{0.281, 0.7, 0.300, 1.05, 0},
                       {0.364, 0.7, 0.372, 0.181, 0},
                       {0.434, 0.7, 0.444, 0.00245, 0},
                       {0.519, 0.7, 0.529, 0.000325, 0},
                       {0.609, 0.7, 0.623, 2.59e-06, 0}},
                      0.623,
                      0.758,
                      0.759,
                      0.793};
const Recorded kHost9{"1,000 images, device path on the processor, 9 iterations",
                      {.nMost = 9, .nHeld = 10, .fThreshold = 1e-14, .bWritesPoints = true},
                      1000,
                      299983,
                      0.031,
                      {{0.000, 0, 0.097, 0.526, 4},
                       {0.000, 0, 0.179, 0.361, 8},
                       {0.248, 0.51, 0.267, 0.212, 28},
                       {0.328, 0.51, 0.337, 0.00526, 10},
                       {0.400, 0.51, 0.410, 0.0159, 10},
                       {0.472, 0.51, 0.481, 0.0115, 10},
                       {0.548, 0.51, 0.557, 0.00363, 10},
                       {0.621, 0.51, 0.629, 0.0365, 10},
                       {0.000, 0, 0.704, 0.0147, 2}},
                      0.704,
                      0.734,
                      0.771,
                      0.793};

TEST(TimeLeft, RecordedRunsAreForetold) {
  // While iterations are to come. What follows the last of them goes to disks, whose pace nobody knows.
  constexpr double kUnseen = 0.02;  ///< seconds that nobody misses
  const struct {
    const Recorded& Run;
    double fLimit;
  } rows[] = {{kSeneca, 0.25}, {kFull, 0.25},  {kSparse6, 0.25}, {kText9, 0.32}, {kSparse, 0.25},
              {kLarge, 0.25},  {kGross, 0.28}, {kDense, 0.25},   {kHost9, 0.25}};
  for (const auto& row : rows) {
    const std::vector<double> errors = ErrorsOf(row.Run);
    for (size_t k = 2; k + 1 < errors.size(); ++k) {
      const double truth = row.Run.fEnd - row.Run.vIterations[k].fEnd;
      EXPECT_LE(std::fabs(errors[k]), std::max(row.fLimit, kUnseen / truth))
          << row.Run.szWhat << ", iteration " << k + 1;
    }
  }
}

TEST(TimeLeft, NothingIsToldBeforeTheFirstIterationEnds) {
  TimeLeft left;
  EXPECT_FALSE(left.Seconds(0));
  left.OnPhase(RunPhase::Reading, 0);
  left.OnCounts({}, {.nMost = 20, .fThreshold = 1e-5});
  left.OnPhase(RunPhase::Iterating, 1);
  left.OnAdvance(1, 0.5, 2);
  EXPECT_FALSE(left.Seconds(2));
  EXPECT_EQ(left.Share(2), 0);
}

TEST(TimeLeft, RunsDownWithinAnIteration) {
  const Recorded run = Even(3, 1, 4, 1e-5);
  TimeLeft left;
  left.OnPhase(RunPhase::Iterating, run.fIterating);
  left.OnCounts(CountsOf(run), run.Plan);
  for (size_t k = 0; k < 3; ++k) left.OnIteration(FigureOf(run, k), run.vIterations[k].fEnd);
  const double end = run.vIterations[2].fEnd, whole = *left.Seconds(end);
  EXPECT_NEAR(*left.Seconds(end + 0.25), whole - 0.25, 1e-9);
  left.OnAdvance(4, 0.75, end + 0.5);
  EXPECT_NEAR(*left.Seconds(end + 0.5), whole - 0.75, 1e-9) << "further than the clock";
  EXPECT_NEAR(*left.Seconds(end + 9), whole - 1, 1e-9) << "what follows it stays";
  left.OnAdvance(4, 0.1, end + 0.6);
  left.OnAdvance(4, NAN, end + 0.6);
  EXPECT_NEAR(*left.Seconds(end + 0.6), whole - 0.85, 1e-9) << "nothing goes back";
}

TEST(TimeLeft, ShareRisesToOne) {
  const Recorded run = Even(9, 0.2, 20, 2e-5);
  TimeLeft left;
  left.OnPhase(RunPhase::Reading, 0);
  left.OnCounts(CountsOf(run), run.Plan);
  left.OnPhase(RunPhase::Iterating, run.fIterating);
  double last = 0;
  const auto look = [&](double now) {
    const double share = left.Share(now);
    EXPECT_GE(share, last);
    EXPECT_LE(share, 1.0);
    last = share;
  };
  for (size_t k = 0; k < run.vIterations.size(); ++k) {
    look(run.vIterations[k].fEnd - 0.01);
    left.OnIteration(FigureOf(run, k), run.vIterations[k].fEnd);
    look(run.vIterations[k].fEnd);
  }
  left.OnPhase(RunPhase::Judging, run.fJudging);
  look(run.fJudging);
  left.OnPhase(RunPhase::Writing, run.fWriting);
  look(run.fWriting);
  left.OnPhase(RunPhase::Reporting, run.fReporting);
  look(run.fReporting);
  EXPECT_GT(last, 0.8);
  left.OnEnd();
  look(run.fEnd);
  EXPECT_EQ(last, 1.0);
  EXPECT_EQ(*left.Seconds(run.fEnd), 0.0);
}

}  // namespace
}  // namespace orvo::test
