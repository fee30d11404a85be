#include "check/block/FindingPlaces.h"

namespace orvo {

FindingPlace PlaceOfTiePoint(const BlockCheckInput& input, const SurveyPoint& point) {
  if (!input.Files.szOvt.empty()) return {input.Files.szOvt, 0, 0, point.nPlace};
  return {input.Files.szProject, point.nPlace};
}

FindingPlace PlaceOfMeasurements(const BlockCheckInput& input) {
  if (input.Block.Tie.Points.empty()) return {input.Files.szProject};
  return PlaceOfTiePoint(input, input.Block.Tie.Points.front());
}

FindingPlace PlaceOfCamera(const BlockCheckInput& input, size_t camera) {
  return {input.Files.szProject, input.Block.Cameras[camera].nLine};
}

FindingPlace PlaceOfImage(const BlockCheckInput& input, size_t image, int line) {
  const int64_t first = input.Block.Images[image].nLine;
  return {input.Files.szProject, first > 0 ? first + line : 0};
}

FindingPlace PlaceOfControl(const BlockCheckInput& input, const SurveyPoint& point) {
  return {input.Files.szGcp, point.nPlace};
}

FindingPlace PlaceOfPos(const BlockCheckInput& input, const SurveyPos& pos) {
  return {input.Files.szPos, pos.nLine};
}

}  // namespace orvo
