// The thinning in its slow, obvious form.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "records/Records.h"

namespace orvo::test {

struct ReferenceMeasure {
  int32_t nImage = -1, nCamera = -1;  ///< kept image and camera, or -1
  float x = 0, y = 0;                 ///< working image units
};
struct ReferencePoint {
  double X = 0, Y = 0, Z = 0;
  std::vector<ReferenceMeasure> vMeasures;
};

inline float ReferenceScore(const EopRecord& eop, const IopRecord& iop, const ReferencePoint& point,
                            const ReferenceMeasure& measure, double distance) {
  const double dX = point.X - eop.X, dY = point.Y - eop.Y, dZ = point.Z - eop.Z;
  const double sp = std::sin(eop.fPhi), cp = std::cos(eop.fPhi), so = std::sin(eop.fOmega),
               co = std::cos(eop.fOmega), sk = std::sin(eop.fKappa), ck = std::cos(eop.fKappa);
  const double W = -dY * so - dX * co * sp + dZ * co * cp;
  const double U = dY * sk * co + dX * (ck * cp - so * sp * sk) + dZ * (so * cp * sk + ck * sp);
  const double V = dY * ck * co + dX * (-sk * cp - so * sp * ck) + dZ * (so * cp * ck - sk * sp);
  const float x = measure.x, y = measure.y, r2 = x * x + y * y;
  const double d = iop.fK1 * r2 + iop.fK2 * r2 * r2;
  const double ex = (x - iop.fPrincipalX) - (x - iop.fPrincipalX) * d + iop.fFocal * U / W;
  const double ey = (y - iop.fPrincipalY) - (y - iop.fPrincipalY) * d + iop.fFocal * V / W;
  const double E = std::sqrt(ex * ex + ey * ey);
  return static_cast<float>(0.01 * distance + 10.0 * E + 0.0 * static_cast<double>(point.vMeasures.size()));
}

/// The kept points, or nothing where a measurement ends the run. The cameras hold all measurements already.
inline std::optional<std::vector<bool>> ReferenceThinning(const std::vector<ReferencePoint>& points,
                                                          const std::vector<EopRecord>& eop,
                                                          const std::vector<IopRecord>& iop, int32_t N,
                                                          double s) {
  std::vector<int32_t> gridPoint(static_cast<size_t>(N * N) * eop.size(), 0);
  std::vector<float> gridScore(gridPoint.size(), 1.0e30f);
  for (size_t p = 0; p < points.size(); ++p) {
    for (const ReferenceMeasure& m : points[p].vMeasures) {
      if (m.nImage < 0) continue;
      const EopRecord& image = eop[static_cast<size_t>(m.nImage)];
      const IopRecord& camera = iop[static_cast<size_t>(m.nCamera)];
      const double cw = static_cast<int>(static_cast<double>(camera.nImageWidth) / N + 1) * s;
      const double ch = static_cast<int>(static_cast<double>(camera.nImageHeight) / N + 1) * s;
      const double u = camera.nImageWidth / 2 * s + m.x, v = camera.nImageHeight / 2 * s - m.y;
      const int c = static_cast<int>(u / cw), r = static_cast<int>(v / ch);
      if (c < 0 || c > camera.nImageWidth / 2 - 1 || r < 0 || r > camera.nImageHeight / 2 - 1) return {};
      const int64_t cell = (int64_t{N} * m.nImage + r) * N + c;
      if (cell < 0 || cell >= static_cast<int64_t>(gridPoint.size())) return {};
      const double du = u - c * cw - 0.5 * cw, dv = 0.5 * ch - (v - r * ch);
      const float score = ReferenceScore(image, camera, points[p], m, std::sqrt(du * du + dv * dv));
      if (gridScore[static_cast<size_t>(cell)] > score) {
        gridScore[static_cast<size_t>(cell)] = score;
        gridPoint[static_cast<size_t>(cell)] = static_cast<int32_t>(p) + 1;
      }
    }
  }
  std::vector<bool> keep(points.size(), false);
  for (const int32_t number : gridPoint) {
    if (number > 0) keep[static_cast<size_t>(number) - 1] = true;
  }
  return keep;
}

}  // namespace orvo::test
