// What the mean residuals of a camera say: noise, or a pattern that the camera model leaves over.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// A cell with fewer measurements says nothing by itself.
inline constexpr int64_t kCellMeasurements = 10;

/// How much there is of a pattern in a camera's field of mean residuals.
struct FieldJudgement {
  int32_t nCells = 0;         ///< with kCellMeasurements and more
  int64_t nMeasurements = 0;  ///< in these
  double fLength = 0;         ///< root mean square of the mean vectors, pixels, by measurements
  double fNoise = 0;          ///< the same from noise of the camera's RMSE alone
  double fPattern = 0;        ///< what is beyond the noise: sqrt(fLength^2 - fNoise^2), 0 where there is none
  double fShare = 0;          ///< fPattern over the length of the camera's RMSE (x, y)
};

/// The judgement of a field. Cells whose means are no numbers are left out.
FieldJudgement JudgeField(const CameraFigure& camera);

enum class FieldKind { Unknown, Noise, Slight, Systematic };

/// Unknown: fewer than 10 cells. Noise: vectors up to 1.5 times those of noise. Slight: longer, and less than
/// a tenth of the RMSE. Systematic: the others.
FieldKind KindOf(const FieldJudgement& field);

/// One camera of the fields and rings of all, where they have one size; none else, or with fewer than two.
/// Where each image has its own camera, this shows what they have in common.
std::optional<CameraFigure> PoolCameras(std::span<const CameraFigure> cameras);

/// The judgement in words, and what helps; plain text.
std::string TellField(const CameraFigure& camera, const FieldJudgement& field);

}  // namespace orvo::report
