#include "check/block/MatrixReadings.h"

namespace orvo {
namespace {

using Turn = std::array<signed char, 9>;
constexpr Turn kNone = {1, 0, 0, 0, 1, 0, 0, 0, 1}, kF = {1, 0, 0, 0, -1, 0, 0, 0, -1};
constexpr Turn kLeft = {0, -1, 0, 1, 0, 0, 0, 0, 1}, kRight = {0, 1, 0, -1, 0, 0, 0, 0, 1};
constexpr Turn kHalf = {-1, 0, 0, 0, -1, 0, 0, 0, 1};

#define ORVO_SIGNS "the second and third column with the other sign"
#define ORVO_CENTRE "the projection centre in place of the translation t"

constexpr MatrixReading kReadings[] = {
    {nullptr, "", "", false, false, kNone, 0},
    {"C005", "matrices are transposed: they turn object axes into camera axes", "write their transposes",
     true, false, kNone, 1},
    {"C006", "matrices belong to camera axes with y down and z to the front", "write " ORVO_SIGNS, false,
     false, kF, 1},
    {"C007", "matrices turn object axes into camera axes with y down and z to the front",
     "write their transposes, then " ORVO_SIGNS, true, false, kF, 2},
    {"C008", "the three numbers behind the matrices are translations, no projection centres",
     "write " ORVO_CENTRE ", -M t with the matrix M as written", false, true, kNone, 2},
    {"C008", "orientations go from object to camera: transposed matrices, and translations for centres",
     "write the transposed matrix M', and " ORVO_CENTRE ", -M' t", true, true, kNone, 2},
    {"C008",
     "orientations go from object to a camera with y down and z to the front: a matrix M and a translation t",
     "write M' with " ORVO_SIGNS ", and " ORVO_CENTRE ", -M' t", true, true, kF, 3},
    {"C009", "matrices are turned by a quarter about the viewing axis",
     "write their columns in the order second, minus first, third", false, false, kLeft, 1},
    {"C009", "matrices are turned by a quarter about the viewing axis",
     "write their columns in the order minus second, first, third", false, false, kRight, 1},
    {"C009", "matrices are turned by half a turn about the viewing axis",
     "write their first and second column with the other sign", false, false, kHalf, 1},
};

#undef ORVO_SIGNS
#undef ORVO_CENTRE

}  // namespace

std::span<const MatrixReading> AllMatrixReadings() { return kReadings; }

Orientation Read(const MatrixReading& reading, const Orientation& written) {
  std::array<double, 9> M{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      M[3 * row + column] = reading.bTransposed ? written.R[3 * column + row] : written.R[3 * row + column];
    }
  }
  Orientation result;
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      for (size_t k = 0; k < 3; ++k) result.R[3 * row + column] += M[3 * row + k] * reading.Q[3 * k + column];
      result.S[row] -= M[3 * row + column] * written.S[column];
    }
  }
  if (!reading.bTranslation) result.S = written.S;
  return result;
}

}  // namespace orvo
