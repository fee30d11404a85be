// The slow obvious form of one POS observation: a matrix for everything.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/OrvoMatrix.h"
#include "normal/PosObservation.h"

namespace orvo::test {

struct PosReference {
  COrvoMatrix Aee, Aed, Ade, Add, be, bd;

  PosReference(const PosModel& model, const EopRecord& image, const PosRecord& observed,
               const double* parameters) {
    const int s = (model.bGps ? 3 : 0) + (model.bImu ? 3 : 0);
    const int kinds = (model.bConst ? 1 : 0) + (model.bLinear ? 1 : 0);
    COrvoMatrix P, D, L, E;
    P.SetIdentity(s, s);
    P.data[0] = P.data[s + 1] = model.fWeightXY;
    P.data[2 * s + 2] = model.fWeightZ;
    L.Resize(s, 1);
    E.Resize(s, 6);
    int row = 0;
    if (model.bGps) {
      L.data[0] = observed.X - image.X;
      L.data[1] = observed.Y - image.Y;
      L.data[2] = observed.Z - image.Z;
      for (; row < 3; ++row) E.data[6 * row + row] = 1;
    }
    if (model.bImu) {
      L.data[row] = ShortWay(observed.fPhi - image.fPhi);
      L.data[row + 1] = ShortWay(observed.fOmega - image.fOmega);
      L.data[row + 2] = ShortWay(observed.fKappa - image.fKappa);
      for (int angle = 3; angle < 6; ++angle) E.data[6 * row++ + angle] = 1;
    }
    if (kinds > 0) {
      D.Resize(s, kinds * s);
      for (int k = 0; k < s; ++k) {
        int column = k;
        if (model.bConst) {
          D.data[k * D.cols + column] = 1;
          column += s;
        }
        if (model.bLinear) D.data[k * D.cols + column] = image.fTime;
      }
      COrvoMatrix d;
      d.Resize(D.cols, 1);
      for (int j = 0; j < D.cols; ++j) d.data[j] = parameters[j];
      L = COrvoMatrix::Subtract(L, COrvoMatrix::Multiply(D, d));
    }
    // Without a drift model nothing ever writes the misclosure.
    if (kinds == 0) std::fill_n(L.data, s, 0.0);
    const COrvoMatrix EtP = COrvoMatrix::Multiply(E.Transposed(), P);
    const COrvoMatrix DtP = COrvoMatrix::Multiply(D.Transposed(), P);
    Aee = COrvoMatrix::Multiply(EtP, E);
    be = COrvoMatrix::Multiply(EtP, L);
    Aed = COrvoMatrix::Multiply(EtP, D);
    Ade = Aed.Transposed();
    Add = COrvoMatrix::Multiply(DtP, D);
    bd = COrvoMatrix::Multiply(DtP, L);
  }

 private:
  static double ShortWay(double angle) {
    while (angle > std::numbers::pi) angle -= 2 * std::numbers::pi;
    while (angle < -std::numbers::pi) angle += 2 * std::numbers::pi;
    return angle;
  }
};

}  // namespace orvo::test
