#include "synthetic/PortableMath.h"

#include <gtest/gtest.h>

#include <cmath>

#include "synthetic/CounterRandom.h"

namespace orvo {
namespace {

TEST(PortableMath, SineAndCosineAgreeWithTheLibrary) {
  for (int i = -40000; i <= 40000; ++i) {
    const double x = i * 0.00157 + (i % 7) * 1e-6;
    const auto [sine, cosine] = PortableSineCosine(x);
    ASSERT_NEAR(sine, std::sin(x), 3e-16) << x;
    ASSERT_NEAR(cosine, std::cos(x), 3e-16) << x;
  }
  EXPECT_EQ(PortableSineCosine(0).fSin, 0);
  EXPECT_EQ(PortableSineCosine(0).fCos, 1);
}

TEST(PortableMath, LogarithmAgreesWithTheLibrary) {
  for (double x = 1e-17; x < 1e10; x *= 1.0037) {
    ASSERT_NEAR(PortableLog(x), std::log(x), 4e-16 * std::fabs(std::log(x)) + 1e-16) << x;
  }
  EXPECT_EQ(PortableLog(1), 0);
}

TEST(CounterRandom, IsUniformAndNormal) {
  constexpr int kCount = 200000;
  double sum = 0, normalSum = 0, squareSum = 0, fourthSum = 0, productSum = 0;
  for (int i = 0; i < kCount; ++i) {
    CounterRandom random(5, RandomStream::Tie, i);
    const double uniform = random.Uniform();
    ASSERT_GE(uniform, 0);
    ASSERT_LT(uniform, 1);
    sum += uniform;
    double a, b;
    random.NormalPair(a, b);
    normalSum += a;
    squareSum += a * a;
    fourthSum += a * a * a * a;
    productSum += a * b;
  }
  // Five standard errors each.
  const double error = 5 / std::sqrt(static_cast<double>(kCount));
  EXPECT_NEAR(sum / kCount, 0.5, error / std::sqrt(12.0));
  EXPECT_NEAR(normalSum / kCount, 0, error);
  EXPECT_NEAR(squareSum / kCount, 1, error * std::sqrt(2.0));
  EXPECT_NEAR(fourthSum / kCount, 3, error * std::sqrt(96.0));
  EXPECT_NEAR(productSum / kCount, 0, error);
}

TEST(CounterRandom, DependsOnSeedStreamAndIndex) {
  const auto first = [](int64_t seed, RandomStream stream, int64_t index, int64_t subIndex) {
    return CounterRandom(seed, stream, index, subIndex).Bits();
  };
  const uint64_t base = first(1, RandomStream::Tie, 2, 3);
  EXPECT_EQ(base, first(1, RandomStream::Tie, 2, 3));
  EXPECT_NE(base, first(2, RandomStream::Tie, 2, 3));
  EXPECT_NE(base, first(1, RandomStream::Pos, 2, 3));
  EXPECT_NE(base, first(1, RandomStream::Tie, 3, 3));
  EXPECT_NE(base, first(1, RandomStream::Tie, 2, 4));
  EXPECT_NE(base, first(1, RandomStream::Tie, 3, 2));
}

}  // namespace
}  // namespace orvo
