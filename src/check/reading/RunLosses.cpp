#include "check/reading/RunLosses.h"

#include <algorithm>

#include "block/ProjectRecords.h"

namespace orvo {

bool RunTakesCamera(const SurveyCamera& camera) {
  IopRecord unused;
  CameraLine line;
  line.nImageWidth = camera.nWidth;
  line.nImageHeight = camera.nHeight;
  line.fFocal = camera.dFocal;
  line.fPrincipalX = camera.dX0;
  line.fPrincipalY = camera.dY0;
  return MakeIop(line, 1.0, unused);
}

bool IsAtOrigin(const SurveyImage& image) {
  return image.S[0] == 0.0 && image.S[1] == 0.0 && image.S[2] == 0.0;
}

bool HasFiniteOrientation(const SurveyImage& image) {
  ImageBlock record;
  std::ranges::copy(image.R, std::begin(record.dRotation));
  record.X = image.S[0];
  record.Y = image.S[1];
  record.Z = image.S[2];
  EopRecord unused;
  return MakeEop(record, 1.0, unused);
}

}  // namespace orvo
