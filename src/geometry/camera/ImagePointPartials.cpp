#include "geometry/camera/ImagePointPartials.h"

#include <algorithm>
#include <cmath>

#include "geometry/camera/Rotation.h"

namespace orvo {

ImageTerms MakeImageTerms(const EopRecord& eop) {
  ImageTerms frame;
  ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, frame.R);
  frame.X = eop.X;
  frame.Y = eop.Y;
  frame.Z = eop.Z;
  frame.fSinOmega = std::sin(eop.fOmega);
  frame.fCosOmega = std::cos(eop.fOmega);
  frame.fSinKappa = std::sin(eop.fKappa);
  frame.fCosKappa = std::cos(eop.fKappa);
  return frame;
}

CameraTerms MakeCameraTerms(const IopRecord& iop) {
  return {{iop.fFocal, iop.fPrincipalX, iop.fPrincipalY, iop.fK1, iop.fK2, 1 / iop.fFocal}};
}

int ComputeImagePointPartials(const ImagePointRecord& imagePoint, const ObjectPointRecord& objectPoint,
                              const EopRecord& eop, const IopRecord& iop, double* outEop, double* outIop,
                              double* outObject, double* outResidual) {
  PartialRows<double> rows;
  const double Zr = LinearizeImagePoint<double>(
      static_cast<double>(imagePoint.x), static_cast<double>(imagePoint.y), objectPoint.X, objectPoint.Y,
      objectPoint.Z, MakeImageTerms(eop), MakeCameraTerms(iop), rows);
  if (Zr == 0) return 0;
  for (int row = 0; row < 2; ++row) {
    std::copy_n(rows.B[row], 6, outEop + 6 * row);
    std::copy_n(rows.A[row], 5, outIop + 5 * row);
    for (int k = 0; k < 3; ++k) outObject[3 * row + k] = -rows.B[row][k];
    outResidual[row] = rows.L[row];
  }
  return 1;
}

}  // namespace orvo
