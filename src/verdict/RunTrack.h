// What a guarded run remembers on its way, for its verdict.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/ScratchVector.h"
#include "geometry/Similarity.h"
#include "records/Records.h"
#include "verdict/FrameFigures.h"
#include "verdict/Judge.h"
#include "verdict/PointPass.h"

namespace orvo {

struct RunTrack {
  // Start, in the frame of the control.
  std::string szPosFile;
  std::vector<IopRecord> vStartCameras;
  double fStartMiss = 0;  ///< see VerdictFigures
  bool bPosAnglesInRadians = false;

  // The similarity transform.
  std::vector<Position> vSource, vTarget;
  std::vector<std::string> vPairNames;
  bool bFromGps = false, bTransformApplied = false;
  double fTransformScale = 1, fTargetSize = 0;
  MeanView Before, After;

  // The iteration; working units.
  double fMu = 0;                 ///< damping of the iteration in hand
  std::vector<double> vDiagonal;  ///< dense form: before the damping
  int32_t nIterations = 0;
  double fStartSquares = 0, fLastSquares = 0;  ///< mean squares of the residuals, x and y together
  bool bSingular = false;
  std::optional<double> fPredictedShare;
  std::optional<bool> bReachedEnd;  ///< of the rigorous method; see VerdictFigures
  ScratchVector<uint8_t> vLeftOut;  ///< of the rigorous method: by measurement in memory; see PointPassInput

  std::optional<PrecisionFigure> Precision;   ///< of the rigorous method
  std::vector<ControlOutFigure> vControlOut;  ///< of the rigorous method
  bool bControlContradictory = false;
  /// Control of which not all coordinates are observed: where those are, no number for the others.
  std::vector<std::pair<std::string, Position>> vUnobserved;

  // The last pass.
  std::optional<PointPass> Pass;
  std::vector<std::vector<int32_t>> vParts;  ///< of images that hang together, the largest first
  bool bPartsKnown = false;
  std::vector<PosFigure> vPos;
  int64_t nCentres = 0, nCentresBelow = 0;
  double fGsd = 0;  ///< object units of a pixel, the mean of the images

  Verdict Judgement;
};

}  // namespace orvo
