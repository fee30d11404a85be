// Random numbers that depend on nothing but a seed, a stream and an index, so that any part of a block can be
// made again at any time.
#pragma once

#include <cmath>
#include <cstdint>

#include "synthetic/PortableMath.h"

namespace orvo {

/// What a sequence of random numbers is for.
enum class RandomStream : uint64_t {
  Terrain = 1,
  Camera,
  Image,
  StartImage,
  StartCamera,
  Strip,
  Pos,
  Density,
  Tie,
  TieMeasurement,
  TieStart,
  Ground,
  GroundMeasurement,
  GroundNoise,
  Order
};

/// Finaliser of SplitMix64 (Steele, Lea and Flood, Fast splittable pseudorandom number generators, 2014).
inline uint64_t MixBits(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

class CounterRandom {
 public:
  CounterRandom(int64_t seed, RandomStream stream, int64_t index, int64_t subIndex = 0)
      : nState(MixBits(static_cast<uint64_t>(seed) + kStep)) {
    nState = MixBits(nState + kStep * static_cast<uint64_t>(stream));
    nState = MixBits(nState + kStep * static_cast<uint64_t>(index));
    nState = MixBits(nState + kStep * static_cast<uint64_t>(subIndex));
  }

  uint64_t Bits() { return MixBits(nState += kStep); }
  /// In [0, 1).
  double Uniform() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }
  double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
  /// Two independent numbers of the standard normal distribution (Box and Muller).
  void NormalPair(double& a, double& b) {
    const double radius = std::sqrt(-2 * PortableLog(1 - Uniform()));
    const SineCosine direction = PortableSineCosine(2 * kPi * Uniform());
    a = radius * direction.fCos;
    b = radius * direction.fSin;
  }
  double Normal() {
    double a, b;
    NormalPair(a, b);
    return a;
  }
  /// Cut at `limit` sigma.
  double Normal(double limit) { return std::fmin(std::fmax(Normal(), -limit), limit); }

 private:
  static constexpr uint64_t kStep = 0x9E3779B97F4A7C15u;
  uint64_t nState;
};

}  // namespace orvo
