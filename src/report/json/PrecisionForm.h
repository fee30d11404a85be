// The keys of "precision" in summary.json; see SummaryForm.h.
#pragma once

#include <cstdint>
#include <limits>

#include "report/RunFigures.h"
#include "report/json/FormPart.h"

namespace orvo::report {

template <class V, Of<CameraQuantityFigure> P>
void Describe(V& visit, P& quantity) {
  visit("name", quantity.szName);
  visit("unit", quantity.szUnit);
  visit("value", quantity.fValue);
  visit("deviation", quantity.fDeviation);
}

template <class V, Of<CorrelationFigure> P>
void Describe(V& visit, P& pair) {
  visit("first", pair.szFirst);
  visit("second", pair.szSecond);
  visit("correlation", pair.fCorrelation);
}

template <class V, Of<CameraPrecisionFigure> P>
void Describe(V& visit, P& camera) {
  visit("camera", camera.szCamera);
  visit("parameters", camera.vQuantities);
  visit("correlations", camera.vCorrelations);
}

template <class V, Of<DeviationRange> P>
void Describe(V& visit, P& range) {
  visit("least", range.Least);
  visit("median", range.Median);
  visit("largest", range.Largest);
}

template <class V, Of<GroundPrecisionFigure> P>
void Describe(V& visit, P& point) {
  visit("point", point.szPoint);
  visit("control", point.bControl);
  visit("rays", point.nRays);
  visit("deviation", point.Deviation);
  visit("test", point.Test);
  visit("redundancy", point.Redundancy);
  visit("smallest", point.Smallest);
  visit("effect", point.Effect);
}

template <class V, Of<SuspectFigure> P>
void Describe(V& visit, P& suspect) {
  visit("kind", suspect.szKind);
  visit("left_out", suspect.bLeftOut);
  visit("image", suspect.szImage);
  visit("point", suspect.szPoint);
  visit("component", suspect.szComponent);
  visit("size", suspect.fSize);
  visit("unit", suspect.szUnit);
  visit("test", suspect.fTest);
  visit("redundancy", suspect.fRedundancy);
  visit("smallest", suspect.fSmallest);
  visit("effect", suspect.fEffect);
}

template <class V, Of<VarianceFigure> P>
void Describe(V& visit, P& variance) {
  visit("group", variance.szGroup);
  visit("camera", variance.szCamera);
  visit("observations", variance.nObservations);
  visit("redundancy", variance.fRedundancy);
  visit("factor", variance.fFactor);
  visit("deviation", variance.fDeviation);
  visit("applied", variance.bApplied);
}

template <class V, Of<PrecisionFigures> P>
void Describe(V& visit, P& precision) {
  visit("sigma0", precision.fSigma0);
  visit("redundancy", precision.nRedundancy, std::numeric_limits<int64_t>::min());
  visit("squares", precision.fSquares);
  visit("squares_low", precision.fLow);
  visit("squares_high", precision.fHigh);
  visit("test", precision.szTest);
  visit("datum_defect", precision.nDatumDefect);
  visit("free", precision.vFree);
  visit("refusal", precision.szRefusal);
  visit("blunders", precision.nBlunders);
  visit("images", precision.nImages);
  visit("centres", precision.Centres);
  visit("angles", precision.Angles);
  visit.List("cameras", precision.vCameras);
  visit.List("ground", precision.vGround);
  visit("suspects_found", precision.nSuspects);
  visit.List("suspects", precision.vSuspects);
  visit.List("variances", precision.vVariances);
}

}  // namespace orvo::report
