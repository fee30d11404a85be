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
  } rows[] = {
      {"nothing yet", {}, 20, 1e-5, 20},           {"one alone", {1}, 20, 1e-5, 19},
      {"by ten", {1, 0.1, 0.01}, 20, 1e-5, 4},     {"by ten, just above", {1, 0.1, 0.01}, 20, 1.1e-5, 3},
      {"by two", {8, 4, 2}, 20, 0.9, 2},           {"at its end", {1, 1e-3, 9e-6}, 20, 1e-5, 0},
      {"bounded", {1, 0.1, 0.01}, 5, 1e-5, 2},     {"no fall", {1, 1, 1}, 20, 1e-5, 17},
      {"a rise", {1, 2, 4}, 20, 1e-5, 17},         {"a slow fall", {1, 0.999, 0.998}, 20, 1e-5, 17},
      {"no threshold", {1, 0.1, 0.01}, 20, 0, 17}, {"at most", {1, 0.1, 0.01}, 3, 1e-5, 0},
      {"beyond", {1, 0.1, 0.01}, 2, 1e-5, 0},      {"an old rise", {1, 100, 10, 1, 0.1}, 20, 1e-5, 5},
      {"no step", {1, 0.1, NAN}, 20, 1e-5, 0},     {"exactly nothing", {1, 0.1, 0}, 20, 0, 17}};
  for (const auto& row : rows)
    EXPECT_EQ(IterationsLeft(row.vLargest, row.nMost, row.fThreshold), row.nLeft) << row.szWhat;
}

/// The events of a run, seconds since its begin.
struct Recorded {
  const char* szWhat;
  int32_t nMost;
  double fThreshold;
  double fIterating;  ///< begin of the phase
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
  return figure;
}

/// Told less true time at the end of each iteration, as a share of the true one.
std::vector<double> ErrorsOf(const Recorded& run) {
  TimeLeft left;
  left.OnPhase(RunPhase::Reading, 0);
  left.OnCounts(run.nMost, run.fThreshold);
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
  Recorded run{"", most, threshold, 2.0, {}, 0, 0, 0, 0};
  double now = 2.5;
  for (int32_t k = 0; k < num; ++k) {
    now += 1;
    run.vIterations.push_back({now - 0.5, 0.7, now, 10 * std::pow(factor, k), 5});
  }
  run.fJudging = now;
  run.fWriting = now + 1;
  run.fReporting = now + 1.2;
  run.fEnd = now + 1.8;
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

// Generated blocks of 1,000, 400 and 200 images with 300 measurements each and 1 % of them gross, and the
// example of 165 images; two processors. The clock is that of the processor time, so that whatever else ran
// on the machine is not in it.
const Recorded kSeneca{"example, dense, ended by its damping",
                       10,
                       1e-05,
                       0.060,
                       {{0.076, 0.7, 0.115, 13.7, 0},
                        {0.127, 0.7, 0.166, 0.463, 0},
                        {0.177, 0.7, 0.210, 0.244, 0},
                        {0.221, 0.7, 0.255, 0.174, 0},
                        {0.265, 0.7, 0.298, 0.132, 0},
                        {0.309, 0.7, 0.343, 0.106, 0},
                        {0.355, 0.7, 0.388, 0.0878, 0},
                        {0.398, 0.7, 0.430, 0.0748, 0},
                        {0.440, 0.7, 0.472, 0.0651, 0},
                        {0.484, 0.7, 0.577, 1.51e-46, 0}},
                       0.578,
                       0.596,
                       0.599,
                       0.620};
const Recorded kSparse6{"1,000 images, sparse, 6 iterations",
                        6,
                        1e-14,
                        0.068,
                        {{0.114, 0.7, 0.125, 0.497, 5},
                         {0.175, 0.7, 0.191, 0.438, 9},
                         {0.245, 0.7, 0.258, 0.113, 3},
                         {0.310, 0.7, 0.330, 0.151, 16},
                         {0.383, 0.7, 0.395, 0.0167, 4},
                         {0.448, 0.7, 0.493, 0.14, 60}},
                        0.493,
                        0.605,
                        0.630,
                        0.688};
const Recorded kText9{"1,000 images, text project, sparse, 9 iterations",
                      9,
                      1e-14,
                      0.144,
                      {{0.202, 0.7, 0.221, 0.497, 5},
                       {0.283, 0.7, 0.299, 0.438, 9},
                       {0.353, 0.7, 0.357, 0.113, 3},
                       {0.410, 0.7, 0.429, 0.151, 16},
                       {0.480, 0.7, 0.492, 0.0167, 4},
                       {0.548, 0.7, 0.618, 0.162, 107},
                       {0.670, 0.7, 0.680, 0.00176, 3},
                       {0.729, 0.7, 0.751, 0.0192, 24},
                       {0.806, 0.7, 0.879, 0.0434, 72}},
                      0.879,
                      0.997,
                      1.002,
                      1.082};
const Recorded kDense6{"400 images, dense, 6 iterations",
                       6,
                       1e-14,
                       0.047,
                       {{0.083, 0.7, 0.124, 1.6, 0},
                        {0.144, 0.7, 0.178, 0.0856, 0},
                        {0.199, 0.7, 0.233, 0.753, 0},
                        {0.254, 0.7, 0.288, 0.0591, 0},
                        {0.308, 0.7, 0.343, 0.0135, 0},
                        {0.363, 0.7, 0.418, 0.00126, 0}},
                       0.420,
                       0.466,
                       0.477,
                       0.502};
const Recorded kHost9{"1,000 images, device path on the processor, 9 iterations",
                      9,
                      1e-14,
                      0.061,
                      {{0.000, 0, 0.164, 0.497, 5},
                       {0.247, 0.51, 0.249, 0.438, 9},
                       {0.000, 0, 0.317, 0.113, 3},
                       {0.384, 0.51, 0.416, 0.138, 10},
                       {0.482, 0.51, 0.514, 0.0922, 10},
                       {0.585, 0.51, 0.617, 0.0329, 10},
                       {0.685, 0.51, 0.716, 0.0289, 10},
                       {0.775, 0.51, 0.795, 0.0166, 8},
                       {0.855, 0.51, 0.906, 0.0359, 10}},
                      0.907,
                      1.006,
                      1.033,
                      1.092};
const Recorded kSparseLeaps{"1,000 images, sparse, to convergence",
                            17,
                            1e-05,
                            0.073,
                            {{0.121, 0.7, 0.133, 0.497, 5},
                             {0.183, 0.7, 0.198, 0.438, 9},
                             {0.248, 0.7, 0.259, 0.113, 3},
                             {0.312, 0.7, 0.329, 0.151, 16},
                             {0.382, 0.7, 0.393, 0.0167, 4},
                             {0.448, 0.7, 0.486, 0.14, 60},
                             {0.539, 0.7, 0.547, 0.00496, 6},
                             {0.601, 0.7, 0.744, 0.125, 254},
                             {0.798, 0.7, 0.810, 0.00112, 5},
                             {0.862, 0.7, 0.875, 4.57e-06, 2}},
                            0.876,
                            0.985,
                            1.007,
                            1.062};
const Recorded kDenseLeaps{"200 images, dense, to convergence",
                           17,
                           1e-05,
                           0.050,
                           {{0.068, 0.7, 0.084, 1.68, 0},
                            {0.095, 0.7, 0.109, 0.0541, 0},
                            {0.120, 0.7, 0.134, 0.869, 0},
                            {0.145, 0.7, 0.160, 0.103, 0},
                            {0.171, 0.7, 0.186, 0.0201, 0},
                            {0.198, 0.7, 0.211, 0.00362, 0},
                            {0.223, 0.7, 0.235, 1.03e-05, 0},
                            {0.248, 0.7, 0.270, 3.49e-07, 0}},
                           0.271,
                           0.297,
                           0.299,
                           0.328};

TEST(TimeLeft, RecordedRunsOfASetLengthAreForetold) {
  // On the device path the sums take longer for what follows them than on the processor: there it is told too
  // long from the seventh of nine iterations on.
  const struct {
    const Recorded& Run;
    size_t nHolds;  ///< the last iteration of which it is so
  } rows[] = {{kSeneca, 10}, {kSparse6, 6}, {kText9, 9}, {kDense6, 6}, {kHost9, 6}};
  for (const auto& row : rows) {
    const std::vector<double> errors = ErrorsOf(row.Run);
    ASSERT_LE(row.nHolds, errors.size());
    for (size_t k = 2; k < row.nHolds; ++k)
      EXPECT_LE(std::fabs(errors[k]), 0.25) << row.Run.szWhat << ", iteration " << k + 1;
  }
}

// Corrections that fall by leaps, as measurements turn out to be gross, don't tell where they end.
TEST(TimeLeft, RunsThatLeapAreToldTooLongRatherThanTooShort) {
  for (const Recorded& run : {kSparseLeaps, kDenseLeaps}) {
    const std::vector<double> errors = ErrorsOf(run);
    for (size_t k = 2; k < errors.size(); ++k)
      EXPECT_GE(errors[k], -0.3) << run.szWhat << ", iteration " << k + 1;
  }
}

TEST(TimeLeft, NothingIsToldBeforeTheFirstIterationEnds) {
  TimeLeft left;
  EXPECT_FALSE(left.Seconds(0));
  left.OnPhase(RunPhase::Reading, 0);
  left.OnCounts(20, 1e-5);
  left.OnPhase(RunPhase::Iterating, 1);
  left.OnAdvance(1, 0.5, 2);
  EXPECT_FALSE(left.Seconds(2));
  EXPECT_EQ(left.Share(2), 0);
}

TEST(TimeLeft, RunsDownWithinAnIteration) {
  const Recorded run = Even(3, 1, 4, 1e-5);
  TimeLeft left;
  left.OnPhase(RunPhase::Iterating, run.fIterating);
  left.OnCounts(run.nMost, run.fThreshold);
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
  left.OnCounts(run.nMost, run.fThreshold);
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
