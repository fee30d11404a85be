#include "results/ResultLines.h"

#include <cstring>

#include "base/NumberText.h"

namespace orvo {

std::string TakeLine(TextReader& file) {
  std::string_view line;
  const bool got = file.Next(line);
  std::string text(line);
  if (!got || file.LineEnded()) text += '\n';
  return text;
}

void AppendCameraLine(std::string& out, int32_t ordinal, const CameraLine& line, const IopRecord& camera,
                      double imageScale) {
  const double s2 = imageScale * imageScale;
  const LensTerms further = camera.bStrict ? Scaled(camera.Further, 1 / imageScale) : LensTerms{};
  const double reals[12] = {line.fReserved,
                            camera.fFocal / imageScale,
                            camera.fPrincipalX / imageScale,
                            camera.fPrincipalY / imageScale,
                            further.IsNone() ? 0 : kFurtherTerms,
                            camera.fK1 * s2,
                            camera.fK2 * s2 * s2,
                            further.fK3,
                            further.fP1,
                            further.fP2,
                            further.fB1,
                            further.fB2};
  for (const int32_t value : {ordinal, line.nImageWidth, line.nImageHeight}) {
    AppendInt(out, value, 8);
    out += '\t';
  }
  for (int i = 0; i < 12; ++i) {
    AppendScientific(out, reals[i], 20, 10);
    out += i < 11 ? ' ' : '\n';
  }
}

void AppendRotationLine(std::string& out, const double* R) {
  for (int i = 0; i < 9; ++i) {
    AppendScientific(out, R[i], 20, 10);
    out += i < 8 ? ' ' : '\n';
  }
}

void AppendPositionLine(std::string& out, const EopRecord& image, double objectScale) {
  const double position[3] = {image.X / objectScale, image.Y / objectScale, image.Z / objectScale};
  for (int i = 0; i < 3; ++i) {
    AppendScientific(out, position[i], 20, 10);
    out += i < 2 ? ' ' : '\n';
  }
}

void AppendOrientationLine(std::string& out, const EopRecord& image, double objectScale) {
  for (const double coordinate : {image.X, image.Y, image.Z}) {
    AppendFixed(out, coordinate / objectScale, 20, 10);
    out += ' ';
  }
  const double angles[3] = {image.fPhi, image.fOmega, image.fKappa};
  for (int i = 0; i < 3; ++i) {
    AppendFixed(out, angles[i], 15, 10);
    out += i < 2 ? ' ' : '\n';
  }
}

void AppendPointLine(std::string& out, const ObjectPointRecord& point) {
  AppendPadded(out, {point.szName, ::strnlen(point.szName, sizeof point.szName)}, 8);
  for (const double coordinate : {point.X, point.Y, point.Z}) {
    out += '\t';
    AppendScientific(out, coordinate, 20, 10);
  }
  out += '\t';
  AppendInt(out, point.nType);
  out += '\n';
}

void AppendMeasurementLine(std::string& out, int32_t imageOrdinal, float x, float y,
                           const ImageResidual& residual, double imageScale) {
  AppendInt(out, imageOrdinal, 8);
  for (const double value : {static_cast<double>(x), static_cast<double>(y), residual.x, residual.y}) {
    out += '\t';
    AppendFixed(out, value / imageScale);
  }
  out += '\n';
}

}  // namespace orvo
