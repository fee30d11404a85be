// A smooth ground without end.
#pragma once

#include <array>

#include "synthetic/SyntheticOptions.h"

namespace orvo {

/// Four waves of lengths from one to six flying heights, in directions and phases of the seed. The height
/// stays within fGroundZ plus or minus fRelief.
class Terrain {
 public:
  explicit Terrain(const SyntheticOptions& options);
  double Height(double X, double Y) const;

 private:
  struct Wave {
    double fAmplitude, fKx, fKy, fPhase;
  };
  std::array<Wave, 4> Waves;
  double fGroundZ, fOriginX, fOriginY;
};

}  // namespace orvo
