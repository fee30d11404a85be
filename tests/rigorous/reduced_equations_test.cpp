#include "rigorous/ReducedEquations.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "rigorous/PointBuilders.h"

namespace orvo::rigorous {
namespace {

/// Images 0 to 4, of which 3 is held; cameras 0 (images 0 and 1), 1 (image 2), 2 (images 3 and 4).
Problem FiveImages(uint32_t lensUnknowns) {
  Problem problem;
  problem.vCameras.resize(3);
  for (CameraModel& camera : problem.vCameras) camera.nLensUnknowns = lensUnknowns;
  problem.vImages.resize(5);
  const int32_t cameras[5] = {0, 0, 1, 2, 2}, strips[5] = {0, 0, 1, 1, -1};
  for (size_t i = 0; i < 5; ++i) {
    problem.vImages[i].nCamera = cameras[i];
    problem.vImages[i].nStrip = strips[i];
  }
  problem.vImages[3].bUnknown = false;
  problem.vStrips.resize(2);
  return problem;
}

void AddPoint(Problem& problem, const std::vector<int32_t>& images) {
  for (const int32_t image : images) problem.vRays.push_back({image, 0, 0});
  problem.vFirstRay.push_back(std::ssize(problem.vRays));
}

using Pairs = std::vector<std::pair<int32_t, int32_t>>;

Pairs PairsOf(const Problem& problem) {
  const sparse::NodePattern pattern = PatternOf(problem, test::PlanByHand(problem));
  EXPECT_EQ(sparse::CheckPattern(pattern).Fault, sparse::PatternFault::None);
  Pairs pairs;
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    for (const int32_t k : pattern.NeighboursBehind(i)) pairs.emplace_back(i, k);
  }
  return pairs;
}

TEST(ReducedEquations, PatternCouplesWhatMeets) {
  // Nodes: 0, 1 and 2 those images, 3 is image 4; with cameras and both strips, 4 and 5 are the strips and 6
  // is camera 0, as cameras 1 and 2 stand in nodes 2 and 3.
  Problem plain = FiveImages(0);
  EXPECT_EQ(PairsOf(plain), Pairs{});
  AddPoint(plain, {0, 1});
  AddPoint(plain, {1, 0});
  AddPoint(plain, {4, 3, 1});
  AddPoint(plain, {2});
  AddPoint(plain, {});
  AddPoint(plain, {2, 2, 3});
  EXPECT_EQ(PairsOf(plain), (Pairs{{0, 1}, {1, 3}}));

  Problem full = FiveImages(kLensFocal);
  for (StripModel& strip : full.vStrips) strip.bGpsConstant = true;
  // Image 3 is held, yet its strip meets its camera, which is in the node of image 4.
  const Pairs own = {{0, 4}, {0, 6}, {1, 4}, {1, 6}, {2, 5}, {3, 5}, {4, 6}};
  EXPECT_EQ(PairsOf(full), own);
  AddPoint(full, {3, 2});
  Pairs more = own;
  more.insert(std::ranges::find(more, std::pair(2, 5)), {2, 3});
  EXPECT_EQ(PairsOf(full), more);
  AddPoint(full, {1, 4});
  more.insert(std::ranges::find(more, std::pair(1, 4)), {1, 3});
  more.insert(std::ranges::find(more, std::pair(4, 6)), {3, 6});
  EXPECT_EQ(PairsOf(full), more);
}

TEST(ReducedEquations, SetZeroLeavesNothing) {
  Problem problem = FiveImages(kLensFocal);
  AddPoint(problem, {0, 1, 2, 4});
  const sparse::NodePattern pattern = PatternOf(problem, test::PlanByHand(problem));
  ReducedEquations equations(pattern);
  const auto everything = [&](const auto& work) {
    work(std::span<double>(equations.n));
    for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
      work(equations.N.Diagonal(i));
      for (int64_t k = 0; k < std::ssize(pattern.NeighboursBehind(i)); ++k) work(equations.N.Behind(i, k));
    }
  };
  int64_t others = 0;
  const auto count = [&](std::span<double> values) { others += std::ranges::count(values, 7.0); };
  everything([](std::span<double> values) { std::ranges::fill(values, 7.0); });
  everything(count);
  EXPECT_GT(others, 0);
  equations.SetZero();
  others = 0;
  everything([&](std::span<double> values) {
    others += std::ranges::count_if(values, [](double a) { return a != 0; });
  });
  EXPECT_EQ(others, 0);
}

}  // namespace
}  // namespace orvo::rigorous
