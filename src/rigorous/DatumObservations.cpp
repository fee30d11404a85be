#include "rigorous/DatumObservations.h"

namespace orvo::rigorous {

void LeaveDatumTo(DatumChoice choice, Problem& problem) {
  const bool isInner = choice == DatumChoice::Inner;
  for (ImageModel& image : problem.vImages) {
    if (isInner || choice == DatumChoice::Control) image.GpsSigma = kNotObserved3;
    if (isInner) image.ImuSigma = kNotObserved3;
  }
  if (!isInner && choice != DatumChoice::Gps) return;
  for (ControlObservation& control : problem.vControl) control.Sigma = kNotObserved3;
}

}  // namespace orvo::rigorous
