#include "gpu/PosTerms.h"

#include <array>

namespace orvo::gpu {
namespace {

constexpr int64_t kImageUnknowns = 6, kImageUpper = 21;
constexpr int64_t kCameraUnknowns = 5, kCameraUpper = 15;

/// Element (row, col) of an upper triangle, row <= col.
int64_t UpperIndex(int64_t size, int64_t row, int64_t col) {
  return row * size - row * (row - 1) / 2 + col - row;
}

/// One row of a term: the image's unknown that it observes and the drift parameters that it depends on.
struct DriftRow {
  int64_t nUnknown = 0;  ///< within the image
  int32_t nKinds = 0;
  std::array<int64_t, 2> Columns{};
  std::array<double, 2> Derivatives{};
};

DriftRow MakeDriftRow(const PosModel& model, int32_t row, double time) {
  DriftRow drift;
  drift.nUnknown = row + (model.bGps ? 0 : 3);
  const auto append = [&drift](int64_t column, double derivative) {
    drift.Columns[static_cast<size_t>(drift.nKinds)] = column;
    drift.Derivatives[static_cast<size_t>(drift.nKinds++)] = derivative;
  };
  if (model.bConst) append(row, 1.0);
  if (model.bLinear) append(model.bConst ? model.RowNum() + row : row, time);
  return drift;
}

template <typename T>
bool Holds(std::span<T> vector, int64_t first, int64_t count) {
  return first >= 0 && first + count <= std::ssize(vector);
}

/// Calls use(term, row, drift row) for every row of every term.
template <typename Use>
void ForEachRow(const PosModel& model, std::span<const PosTerm> terms, Use&& use) {
  const int32_t rows = model.RowNum();
  for (const PosTerm& term : terms) {
    for (int32_t row = 0; row < rows; ++row) use(term, row, MakeDriftRow(model, row, term.fTime));
  }
}

}  // namespace

PosPlaces MakePosPlaces(int32_t imageNum, int32_t cameraNum, bool camerasAreUnknown) {
  return {kImageUnknowns * imageNum + (camerasAreUnknown ? kCameraUnknowns * cameraNum : 0),
          kImageUpper * imageNum + kCameraUpper * cameraNum};
}

void AddPosPreconditioner(const PosModel& model, const PosPlaces& places, std::span<const PosTerm> terms,
                          std::span<double> M) {
  const std::array<double, 6> P = PosWeights(model);
  const int64_t size = model.ParameterNum(), upper = size * (size + 1) / 2;
  ForEachRow(model, terms, [&](const PosTerm& term, int32_t row, const DriftRow& drift) {
    const double weight = P[static_cast<size_t>(row)];
    const int64_t image = kImageUpper * term.nImage;
    if (Holds(M, image, kImageUpper)) {
      const int64_t diagonal = UpperIndex(kImageUnknowns, drift.nUnknown, drift.nUnknown);
      M[static_cast<size_t>(image + diagonal)] += weight;
    }
    const int64_t group = places.nFirstPacked + upper * term.nGroup;
    if (!Holds(M, group, upper)) return;
    // The linear column stands behind the constant one.
    for (size_t a = 0; a < static_cast<size_t>(drift.nKinds); ++a) {
      for (size_t b = a; b < static_cast<size_t>(drift.nKinds); ++b) {
        const int64_t element = UpperIndex(size, drift.Columns[a], drift.Columns[b]);
        M[static_cast<size_t>(group + element)] += drift.Derivatives[a] * weight * drift.Derivatives[b];
      }
    }
  });
}

void AddPosConstVector(const PosModel& model, const PosPlaces& places, std::span<const PosTerm> terms,
                       std::span<double> r) {
  const std::array<double, 6> P = PosWeights(model);
  const int64_t size = model.ParameterNum();
  ForEachRow(model, terms, [&](const PosTerm& term, int32_t row, const DriftRow& drift) {
    const double PL = P[static_cast<size_t>(row)] * term.L[row];
    const int64_t image = kImageUnknowns * term.nImage, group = places.nFirstUnknown + size * term.nGroup;
    if (Holds(r, image, kImageUnknowns)) r[static_cast<size_t>(image + drift.nUnknown)] += PL;
    if (!Holds(r, group, size)) return;
    for (size_t a = 0; a < static_cast<size_t>(drift.nKinds); ++a) {
      r[static_cast<size_t>(group + drift.Columns[a])] += drift.Derivatives[a] * PL;
    }
  });
}

void AddPosProduct(const PosModel& model, const PosPlaces& places, std::span<const PosTerm> terms,
                   std::span<const float> d, std::span<double> Ad) {
  const std::array<double, 6> P = PosWeights(model);
  const int64_t size = model.ParameterNum();
  ForEachRow(model, terms, [&](const PosTerm& term, int32_t row, const DriftRow& drift) {
    const int64_t image = kImageUnknowns * term.nImage, group = places.nFirstUnknown + size * term.nGroup;
    const bool hasImage = Holds(d, image, kImageUnknowns) && Holds(Ad, image, kImageUnknowns);
    const bool hasGroup = Holds(d, group, size) && Holds(Ad, group, size);
    double sum = 0;
    if (hasImage) sum += static_cast<double>(d[static_cast<size_t>(image + drift.nUnknown)]);
    for (size_t a = 0; hasGroup && a < static_cast<size_t>(drift.nKinds); ++a) {
      sum += drift.Derivatives[a] * static_cast<double>(d[static_cast<size_t>(group + drift.Columns[a])]);
    }
    const double weighted = P[static_cast<size_t>(row)] * sum;
    if (hasImage) Ad[static_cast<size_t>(image + drift.nUnknown)] += weighted;
    for (size_t a = 0; hasGroup && a < static_cast<size_t>(drift.nKinds); ++a) {
      Ad[static_cast<size_t>(group + drift.Columns[a])] += drift.Derivatives[a] * weighted;
    }
  });
}

}  // namespace orvo::gpu
