#include <numeric>

#include "report/FigureParts.h"

namespace orvo::report {
namespace {

/// Place in the project of each row, which is the row itself where none is known.
std::vector<int32_t> PlacesOf(const CameraTable& cameras, size_t rows) {
  std::vector<int32_t> places(rows);
  std::iota(places.begin(), places.end(), 0);
  for (size_t i = cameras.pCameraIndex.size(); i-- > 0;) {
    const int32_t row = cameras.pCameraIndex[i];
    if (row >= 0 && static_cast<size_t>(row) < rows)
      places[static_cast<size_t>(row)] = static_cast<int32_t>(i);
  }
  return places;
}

/// In the units of the files, as results have them.
CameraParameters ParametersOf(const IopRecord& camera, double imageScale) {
  const double s2 = imageScale * imageScale;
  CameraParameters parameters = {camera.fFocal / imageScale, camera.fPrincipalX / imageScale,
                                 camera.fPrincipalY / imageScale, camera.fK1 * s2, camera.fK2 * s2 * s2};
  parameters.bFurther = camera.bStrict && !camera.Further.IsNone();
  if (parameters.bFurther) parameters.Further = Scaled(camera.Further, 1 / imageScale);
  return parameters;
}

void FillField(const ResidualField& field, double ringWidth, CameraFigure& figure) {
  for (const ResidualField::Cell& cell : field.vCells) {
    const double n = cell.nNum > 0 ? static_cast<double>(cell.nNum) : 1;
    figure.vField.push_back({cell.nNum, {cell.fX / n, cell.fY / n}});
  }
  for (const PlainSums& ring : field.vRings) figure.vRings.push_back({ring.nNum, ring.Rmse(), ring.Mean()});
  figure.fRingWidth = ringWidth;
}

}  // namespace

std::vector<CameraFigure> CameraFiguresOf(const FigureSources& from, const FigurePass& pass,
                                          const FigureSums& sums) {
  const std::span<const IopRecord> cameras = from.Cameras.Usable();
  const std::vector<IopRecord>& start = from.Track.vStartCameras;
  const double scale = from.Settings.Image_Coor_Scale;
  const std::vector<int32_t> places = PlacesOf(from.Cameras, cameras.size());
  std::vector<CameraFigure> figures(cameras.size());
  for (size_t i = 0; i < cameras.size(); ++i) {
    CameraFigure& figure = figures[i];
    figure.nId = places[i];
    figure.szName = "camera " + std::to_string(places[i]);
    figure.nWidth = cameras[i].nImageWidth;
    figure.nHeight = cameras[i].nImageHeight;
    figure.bUnknown = AdjustsCameras(from.Settings, from.Limits);
    figure.End = ParametersOf(cameras[i], scale);
    figure.Start = i < start.size() ? ParametersOf(start[i], scale) : figure.End;
    if (i < sums.vCameras.size()) {
      figure.nUsed = sums.vCameras[i].nUsed;
      figure.nGross = sums.vCameras[i].nGross;
      figure.Rmse = sums.vCameras[i].Strict.Rmse();
    }
    const int32_t field = pass.FieldOf(i);
    if (field >= 0) FillField(sums.vFields[static_cast<size_t>(field)], pass.RingWidth(i), figure);
  }
  for (const int32_t row : CameraRowsOf(from.Images, from.Cameras)) {
    if (row >= 0) ++figures[static_cast<size_t>(row)].nImages;
  }
  return figures;
}

}  // namespace orvo::report
