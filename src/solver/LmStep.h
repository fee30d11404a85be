// One step of the iteration: the solution of its equations, and what it changes.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/UnknownLayout.h"
#include "solver/PcgLoop.h"
#include "solver/Prediction.h"

namespace orvo {

/// The solution of one iteration's equations.
struct LmStep {
  std::vector<double> x;
  std::vector<double> Remainder;          ///< dense form: b - N x
  bool bSolved = true;                    ///< false where the matrix is singular
  int32_t nPcgSteps = 0;                  ///< sparse form
  std::optional<double> fPredictedShare;  ///< see PredictionBasis

  /// False where there is no step to take: no solution, or one with elements that are no numbers.
  bool IsStep() const;
};

/// How the equations of a step are numbered, and how many processors may solve them.
struct StepLayout {
  std::vector<int32_t> vRowPosition;  ///< scalar position of every block row
  int32_t nOrder = 0;
  int nProcessors = 1;
};

/// Solves the dense form, which is cleared by it. `prediction` may be null.
LmStep SolveDenseStep(const StepLayout& layout, const PredictionBasis* prediction, NormalEquations& normal);

/// Solves the sparse form, with lines in the log. A prediction takes the damping off its diagonal.
/// `stepDone`, unless it is empty, is called behind each step of the conjugate gradients with their number
/// until then.
LmStep SolveSparseStep(const StepLayout& layout, const PcgLimits& limits, const PredictionBasis* prediction,
                       NormalEquations& normal, RunLog& log,
                       const std::function<void(int32_t)>& stepDone = {});

bool AllFinite(std::span<const double> x);

/// True when the iteration ends behind the step x.
bool IsLastStep(const AdjustmentSettings& settings, int32_t iteration, std::span<const double> x);

/// Adds the step, in the order of the unknowns: images, or images each with its camera, cameras, as far as
/// the settings have them unknown, and `posParams`. An image left out does not use up its place in x.
void AddStep(const double* x, const AdjustmentSettings& settings, int32_t layoutMode, ImageTable& images,
             CameraTable& cameras, std::span<double> posParams);

}  // namespace orvo
