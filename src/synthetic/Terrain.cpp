#include "synthetic/Terrain.h"

#include "synthetic/CounterRandom.h"

namespace orvo {

Terrain::Terrain(const SyntheticOptions& options)
    : fGroundZ(options.fGroundZ), fOriginX(options.fOriginX), fOriginY(options.fOriginY) {
  constexpr double kShare[] = {0.4, 0.3, 0.2, 0.1};
  constexpr double kLength[] = {6.1, 3.3, 1.9, 1.0};
  for (size_t i = 0; i < Waves.size(); ++i) {
    CounterRandom random(options.nSeed, RandomStream::Terrain, static_cast<int64_t>(i));
    const SineCosine direction = PortableSineCosine(2 * kPi * random.Uniform());
    const double k = 2 * kPi / (kLength[i] * options.fFlyingHeight);
    Waves[i] = {kShare[i] * options.fRelief, k * direction.fCos, k * direction.fSin,
                2 * kPi * random.Uniform()};
  }
}

double Terrain::Height(double X, double Y) const {
  double height = fGroundZ;
  for (const Wave& wave : Waves) {
    const double angle = wave.fKx * (X - fOriginX) + wave.fKy * (Y - fOriginY) + wave.fPhase;
    height += wave.fAmplitude * PortableSineCosine(angle).fSin;
  }
  return height;
}

}  // namespace orvo
