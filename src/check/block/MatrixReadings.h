// What the matrix and the three numbers behind it may mean.
#pragma once

#include <array>
#include <span>

namespace orvo {

/// The orientation of an image: ray S + R (x, y, -f).
struct Orientation {
  std::array<double, 9> R{};
  std::array<double, 3> S{};
};

struct MatrixReading {
  const char* szCode;            ///< null for the reading as it has to be
  const char* szWhat;            ///< clause: "matrices are ..."
  const char* szWrite;           ///< clause: what to write, in terms of the written matrix M and numbers t
  bool bTransposed;              ///< R = M' Q, otherwise M Q
  bool bTranslation;             ///< S = -M' t where bTransposed, otherwise -M t
  std::array<signed char, 9> Q;  ///< row-major
  int nDepartures;               ///< from the reading as it has to be
};

/// R; R'; R F; R' F; each with the translation in the place of the centre; turned by a quarter to either
/// side, or by half. F = diag(1, -1, -1): y down and z to the front.
std::span<const MatrixReading> AllMatrixReadings();

Orientation Read(const MatrixReading& reading, const Orientation& written);

}  // namespace orvo
