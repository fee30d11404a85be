#include "verdict/VerdictPoints.h"

#include <algorithm>
#include <cmath>

#include "normal/PosObservation.h"
#include "verdict/RunNames.h"

namespace orvo {

PointPassInput PassInputOf(const AdjustmentSettings& settings, const ImageTable& images,
                           const CameraTable& cameras, const ResidualStatistics& residuals, double unit) {
  const double floor = VerdictLimits().fRmseFloor * settings.Image_Coor_Scale;
  PointPassInput input;
  input.Eop = images.Kept();
  input.Iop = cameras.Usable();
  // Where nearly nothing is left, what little is left is no blunder.
  input.fGrossX = settings.Gross_Point_Threshold * std::max(residuals.fRmsResidualX / unit, floor);
  input.fGrossY = settings.Gross_Point_Threshold * std::max(residuals.fRmsResidualY / unit, floor);
  return input;
}

void JudgePoints(const PointPassInput& input, int threads, const EverySection& everySection,
                 RunTrack& track) {
  track.Pass.emplace(input, threads);
  everySection(
      [&](PointSpan points, MeasurementSpan measurements) { track.Pass->Add(points, measurements); });
}

void CountParts(const EverySection& everySection, const ImageTable& images, const CameraTable& cameras,
                RunTrack& track) {
  CellJoiner joiner(track.Pass->Sums().Sets.Cells());
  track.bPartsKnown = true;
  if (joiner.IsOne()) return;
  std::vector<int32_t> seenFrom;
  everySection([&](PointSpan points, MeasurementSpan measurements) {
    for (const ObjectPointRecord& point : points) {
      KeptImagesOf(point, measurements, images.Kept().size(), cameras.Usable().size(), seenFrom);
      if (seenFrom.size() > 1) joiner.Count(seenFrom);
    }
  });
  track.vParts = joiner.Parts(std::lround(VerdictLimits().fLeastShared));
}

void NotePositions(const PosSources& run, RunTrack& track) {
  PosModel model;
  model.bGps = true;
  model.bImu = run.Limits.Apply_IMU_Data;
  model.bConst = run.Limits.Correct_Const_Error;
  model.bLinear = run.Limits.Correct_LinearError;
  if (!run.Limits.Apply_GPS_Data || run.Unknowns.nLayoutMode == LayoutIop ||
      run.Unknowns.nPosSize != model.ParameterNum())
    return;
  for (size_t i = 0; i < std::min(run.Images.pImageGroup.size(), run.Images.pPos.size()); ++i) {
    const auto first = static_cast<size_t>(std::max(run.Images.pImageGroup[i], 0)) *
                       static_cast<size_t>(run.Unknowns.nPosSize);
    if (i >= run.Images.Kept().size() || run.Images.pImageGroup[i] < 0 ||
        run.Images.pPos[i].nStatus == kPosNotObserved ||
        first + static_cast<size_t>(run.Unknowns.nPosSize) > run.PosParams.size()) {
      continue;
    }
    double L[6] = {};
    if (!ComputePosMisclosure(model, run.Images.pEop[i], run.Images.pPos[i], &run.PosParams[first], L))
      continue;
    track.vPos.push_back(
        {ImageNameOf(run.Images, static_cast<int32_t>(i)), std::hypot(L[0], L[1], L[2]) / run.fCoorScale});
  }
}

void NoteHeights(const ImageTable& table, const CameraTable& cameras, double imageScale,
                 const ObjectFrame& frame, RunTrack& track) {
  if (!track.Pass || track.nCentres > 0) return;
  const auto& images = track.Pass->Sums().vImages;
  double sum = 0;
  for (size_t i = 0; i < images.size(); ++i) {
    const int64_t rays = images[i].nUsed + images[i].nGross;
    if (rays == 0) continue;
    const double height = table.pEop[i].Z - images[i].fHeights / static_cast<double>(rays);
    ++track.nCentres;
    if (height < 0) ++track.nCentresBelow;
    sum += std::fabs(height);
  }
  double focal = 0;
  for (const IopRecord& camera : cameras.Usable()) focal += std::fabs(camera.fFocal);
  focal /= static_cast<double>(std::max<size_t>(cameras.Usable().size(), 1)) * imageScale;
  const double gsd = sum / static_cast<double>(std::max<int64_t>(track.nCentres, 1)) / focal;
  track.fGsd = std::isfinite(gsd) ? gsd / (frame.bNormalized ? frame.dCoorScale : 1) : 0;
}

}  // namespace orvo
