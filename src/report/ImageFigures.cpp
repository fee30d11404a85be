#include <algorithm>
#include <cmath>

#include "geometry/Intersection.h"
#include "report/FigureParts.h"
#include "report/FileFrame.h"
#include "verdict/RunNames.h"

namespace orvo::report {
namespace {

constexpr double kFarthestCorner = 10;  ///< in heights

/// Both in the frame of the files but for the rotation, which is the same in every frame.
bool FootprintOf(const ImageFrame& frame, const Triple& centre, double ground, const IopRecord& camera,
                 double imageScale, std::array<Pair, 4>& corners) {
  const double halfWidth = camera.nImageWidth * imageScale / 2,
               halfHeight = camera.nImageHeight * imageScale / 2;
  if (!(halfWidth > 0 && halfHeight > 0)) return false;
  constexpr double kAround[4][2] = {{-1, 1}, {1, 1}, {1, -1}, {-1, -1}};
  const double height = ground - centre.Z;
  for (size_t i = 0; i < corners.size(); ++i) {
    const double x = kAround[i][0] * halfWidth - camera.fPrincipalX,
                 y = kAround[i][1] * halfHeight - camera.fPrincipalY;
    double ray[3];
    for (int k = 0; k < 3; ++k)
      ray[k] = frame.C[0][k] * x + frame.C[1][k] * y - frame.C[2][k] * camera.fFocal;
    const double length = height / ray[2];
    const double offX = length * ray[0], offY = length * ray[1];
    // Written so that not-a-number is no footprint either.
    if (!(length > 0 && std::hypot(offX, offY) <= kFarthestCorner * std::fabs(height))) return false;
    corners[i] = {centre.X + offX, centre.Y + offY};
  }
  return true;
}

}  // namespace

std::vector<int32_t> CameraRowsOf(const ImageTable& images, const CameraTable& cameras) {
  std::vector<int32_t> rows(images.Kept().size(), -1);
  for (size_t i = 0; i < rows.size(); ++i) {
    const size_t ordinal = i < images.pImageOrdinal.size() ? static_cast<size_t>(images.pImageOrdinal[i]) : i;
    const int32_t camera = ordinal < images.pImageCamera.size() ? images.pImageCamera[ordinal] : -1;
    const auto place = static_cast<size_t>(camera);
    const int32_t row = place < cameras.pCameraIndex.size() ? cameras.pCameraIndex[place] : -1;
    if (row >= 0 && row < cameras.UsableNum()) rows[i] = row;
  }
  return rows;
}

std::vector<ImageFigure> ImageFiguresOf(const FigureSources& from, const FigureSums& sums) {
  const std::span<const EopRecord> kept = from.Images.Kept();
  const std::vector<int32_t> cameras = CameraRowsOf(from.Images, from.Cameras);
  std::vector<ImageFigure> figures(kept.size());
  for (size_t i = 0; i < kept.size(); ++i) {
    ImageFigure& figure = figures[i];
    figure.szName = ImageNameOf(from.Images, static_cast<int32_t>(i));
    figure.nCamera = cameras[i];
    if (from.Limits.UsesPos() && i < from.Images.pImageGroup.size())
      figure.nStrip = std::max(from.Images.pImageGroup[i], -1);
    figure.Centre = InFileFrame(from.Frame, kept[i].X, kept[i].Y, kept[i].Z);
    if (i >= sums.vImages.size()) continue;
    const FigureImageSums& image = sums.vImages[i];
    figure.nUsed = image.nUsed;
    figure.nGross = image.nGross;
    const ResidualFigure strict = FigureOf(image.Strict);
    figure.Mean = strict.Mean;
    figure.Rmse = strict.Rmse;
    const int64_t rays = image.nUsed + image.nGross;
    if (rays < 1 || figure.nCamera < 0) continue;
    const double ground = image.fHeights / static_cast<double>(rays);
    std::array<Pair, 4> corners{};
    figure.bHasFootprint = FootprintOf(MakeImageFrame(kept[i]), figure.Centre, ground,
                                       from.Cameras.Usable()[static_cast<size_t>(figure.nCamera)],
                                       from.Settings.Image_Coor_Scale, corners);
    if (figure.bHasFootprint) figure.Footprint = corners;
  }
  return figures;
}

}  // namespace orvo::report
