#include "rigorous/BlockProblem.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "records/ImageReference.h"
#include "rigorous/BlockModels.h"
#include "rigorous/OwnRows.h"
#include "rigorous/PointChunks.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

Vector3 PositionOf(const auto& record) { return {record.X, record.Y, record.Z}; }

bool IsFinite(const Vector3& a) { return std::isfinite(a[0]) && std::isfinite(a[1]) && std::isfinite(a[2]); }

Vector3 MeanCentre(std::span<const EopRecord> images) {
  Vector3 mean{};
  double count = 0;
  for (const EopRecord& image : images) {
    // A running mean, which does not leave the range of numbers.
    if (IsFinite(PositionOf(image))) mean = mean + 1 / ++count * (PositionOf(image) - mean);
  }
  return IsFinite(mean) ? mean : Vector3{};
}

class BlockBuilder {
 public:
  explicit BlockBuilder(const BlockParts& parts)
      : In(parts), vCameraRow(CameraRowsOf(In.Images, In.Cameras)) {}

  BlockProblem Build();

 private:
  bool IsUsable(const ImagePointRecord& measurement) const;
  bool TakesPart(const ObjectPointRecord& point) const;
  std::span<const ImagePointRecord> MeasurementsOf(const ObjectPointRecord& point) const;
  PosSigma PosSigmaOf(size_t image) const;
  Vector3 GpsSigma(size_t image) const;
  Vector3 ImuSigma(size_t image) const;
  bool HasPos(size_t image) const;
  int32_t StripOf(size_t image) const;

  void AddPoints();
  void AddPoint(int64_t place);
  void OrderPoints();
  void AddControl();
  Vector3 ControlSigmaOf(int64_t place) const;
  void AddImages();
  ImageModel ImageModelOf(size_t image, int64_t rays) const;
  void AddCameras();
  void AddStrips();

  const BlockParts& In;
  const std::vector<int32_t> vCameraRow;  ///< by kept image
  BlockProblem Out;
};

bool BlockBuilder::IsUsable(const ImagePointRecord& measurement) const {
  return measurement.nImage >= 0 && std::cmp_less(measurement.nImage, vCameraRow.size()) &&
         measurement.nCamera >= 0 && vCameraRow[measurement.nImage] == measurement.nCamera &&
         std::isfinite(measurement.x) && std::isfinite(measurement.y);
}

std::span<const ImagePointRecord> BlockBuilder::MeasurementsOf(const ObjectPointRecord& point) const {
  const std::span<const ImagePointRecord> all = In.Points.pImagePoints;
  const int64_t first = std::clamp<int64_t>(point.nFirstImagePoint, 0, std::ssize(all));
  const int64_t count = std::clamp<int64_t>(point.nImagePointNum, 0, std::ssize(all) - first);
  return all.subspan(static_cast<size_t>(first), static_cast<size_t>(count));
}

bool BlockBuilder::TakesPart(const ObjectPointRecord& point) const {
  if (!IsFinite(PositionOf(point))) return false;
  int32_t seenFrom = -1;
  for (const ImagePointRecord& one : MeasurementsOf(point)) {
    if (!IsUsable(one)) continue;
    if (point.nType == 1 || (seenFrom >= 0 && one.nImage != seenFrom)) return true;
    seenFrom = one.nImage;
  }
  return false;
}

void BlockBuilder::AddPoint(int64_t place) {
  const ObjectPointRecord& point = In.Points.pObjectPoints[place];
  if (!TakesPart(point)) {
    ++Out.nLeftOut;
    return;
  }
  const std::span<const ImagePointRecord> measurements = MeasurementsOf(point);
  for (const ImagePointRecord& one : measurements) {
    if (!IsUsable(one)) continue;
    Out.Task.vRays.push_back({one.nImage, one.x, one.y});
    Out.vMeasurement.push_back(&one - In.Points.pImagePoints.data());
  }
  Out.Task.vFirstRay.push_back(std::ssize(Out.Task.vRays));
  Out.vPoint.push_back(place);
}

void BlockBuilder::AddPoints() {
  Out.Task.vRays.reserve(In.Points.pImagePoints.size());
  Out.vMeasurement.reserve(In.Points.pImagePoints.size());
  Out.Task.vFirstRay.reserve(In.Points.pObjectPoints.size() + 1);
  Out.vPoint.reserve(In.Points.pObjectPoints.size());
  for (int64_t place = 0; place < std::ssize(In.Points.pObjectPoints); ++place) AddPoint(place);
  OrderPoints();
  Out.Start.vPoints.reserve(Out.vPoint.size());
  for (const int64_t place : Out.vPoint)
    Out.Start.vPoints.push_back(PositionOf(In.Points.pObjectPoints[place]) - Out.Origin);
}

void BlockBuilder::OrderPoints() {
  const Problem& task = Out.Task;
  const ScratchVector<int64_t> order = OrderOfPoints(task.vFirstRay, task.vRays);
  ScratchVector<int64_t> firstRay, points, measurements;
  ScratchVector<Ray> rays;
  firstRay.reserve(order.size() + 1);
  points.reserve(order.size());
  rays.reserve(task.vRays.size());
  measurements.reserve(task.vRays.size());
  firstRay.push_back(0);
  for (const int64_t old : order) {
    for (int64_t ray = task.vFirstRay[old]; ray < task.vFirstRay[old + 1]; ++ray) {
      rays.push_back(task.vRays[ray]);
      measurements.push_back(Out.vMeasurement[ray]);
    }
    firstRay.push_back(std::ssize(rays));
    points.push_back(Out.vPoint[old]);
  }
  Out.Task.vFirstRay = std::move(firstRay);
  Out.Task.vRays = std::move(rays);
  Out.vPoint = std::move(points);
  Out.vMeasurement = std::move(measurements);
}

/// What the file tells of the point, and else the settings.
Vector3 BlockBuilder::ControlSigmaOf(int64_t place) const {
  const RigorousSettings& settings = In.Rigorous;
  const Vector3 usual = {settings.Sigma_GCP_XY, settings.Sigma_GCP_XY, settings.Sigma_GCP_Z};
  const int64_t inFile = place - (std::ssize(In.Points.pObjectPoints) - std::ssize(In.Sigmas));
  if (inFile < 0 || inFile >= std::ssize(In.Sigmas)) return usual;
  const GcpSigma& told = In.Sigmas[static_cast<size_t>(inFile)];
  const ObjectPointRecord& point = In.Points.pObjectPoints[place];
  if (std::strncmp(told.szName, point.szName, sizeof point.szName) != 0) return usual;
  Vector3 sigma = usual;
  for (size_t i = 0; i < 3; ++i) {
    if (told.Sigma[i] >= 0) sigma[i] = told.Sigma[i];
  }
  return sigma;
}

void BlockBuilder::AddControl() {
  for (int64_t point = 0; point < std::ssize(Out.vPoint); ++point) {
    const ObjectPointRecord& record = In.Points.pObjectPoints[Out.vPoint[point]];
    if (record.nType != 1) continue;
    Out.Task.vControl.push_back({point, PositionOf(record) - Out.Origin, ControlSigmaOf(Out.vPoint[point])});
  }
  Out.nControl = std::ssize(Out.Task.vControl);
}

bool BlockBuilder::HasPos(size_t image) const {
  return image < In.Images.pPos.size() && In.Images.pPos[image].nStatus != kPosNotObserved;
}

PosSigma BlockBuilder::PosSigmaOf(size_t image) const {
  return image < In.PosSigmas.size() ? In.PosSigmas[image] : PosSigma{};
}

Vector3 BlockBuilder::GpsSigma(size_t image) const {
  if (!In.Limits.Apply_GPS_Data || !HasPos(image)) return kNotObserved3;
  return GpsSigmaOf(In.Rigorous, PosSigmaOf(image));
}

Vector3 BlockBuilder::ImuSigma(size_t image) const {
  if (!In.Limits.Apply_IMU_Data || !HasPos(image)) return kNotObserved3;
  const PosRecord& pos = In.Images.pPos[image];
  return ImuSigmaOf(In.Rigorous, {pos.fPhi, pos.fOmega, pos.fKappa}, PosSigmaOf(image));
}

int32_t BlockBuilder::StripOf(size_t image) const {
  if (!HasPos(image) || image >= In.Images.pImageGroup.size()) return -1;
  const int32_t group = In.Images.pImageGroup[image];
  return group < In.Images.nGroupNum ? group : -1;
}

ImageModel BlockBuilder::ImageModelOf(size_t image, int64_t rays) const {
  constexpr int64_t kUnknowns = 6;
  const EopRecord& eop = In.Images.pEop[image];
  ImageModel model;
  model.nCamera = std::max(vCameraRow[image], 0);
  const Vector3 gps = GpsSigma(image), imu = ImuSigma(image);
  model.bUnknown = In.Settings.Set_EOP_Unknown && eop.nStatus != 1 &&
                   2 * rays + ObservedNum(gps) + ObservedNum(imu) >= kUnknowns;
  if (!model.bUnknown) return model;
  model.nStrip = StripOf(image);
  model.fTime = std::isfinite(eop.fTime) ? eop.fTime : 0;
  if (ObservedNum(gps) > 0) {
    model.GpsObserved = PositionOf(In.Images.pPos[image]) - Out.Origin;
    model.GpsSigma = gps;
  }
  if (ObservedNum(imu) > 0) {
    const PosRecord& pos = In.Images.pPos[image];
    model.ImuObserved = RotationOfAngles({pos.fPhi, pos.fOmega, pos.fKappa});
    model.ImuSigma = imu;
  }
  return model;
}

void BlockBuilder::AddImages() {
  std::vector<int64_t> rays(vCameraRow.size());
  for (const Ray& ray : Out.Task.vRays) ++rays[ray.nImage];
  for (size_t image = 0; image < rays.size(); ++image) {
    const EopRecord& eop = In.Images.pEop[image];
    Out.Task.vImages.push_back(ImageModelOf(image, rays[image]));
    Out.Start.vPoses.push_back(
        {PositionOf(eop) - Out.Origin, RotationOfAngles({eop.fPhi, eop.fOmega, eop.fKappa})});
  }
}

void BlockBuilder::AddCameras() {
  const std::span<const IopRecord> rows = In.Cameras.Usable();
  const size_t count = std::max<size_t>(rows.size(), 1);
  std::vector<CameraUnknowns> unknowns(count);
  const bool lens = AdjustsCameras(In.Settings, In.Limits);
  for (const Ray& ray : Out.Task.vRays) unknowns[Out.Task.vImages[ray.nImage].nCamera].bLens = lens;
  for (size_t image = 0; image < Out.Task.vImages.size(); ++image) {
    const ImageModel& model = Out.Task.vImages[image];
    if (!model.bUnknown) continue;
    unknowns[model.nCamera].bLeverArm |= ObservedNum(model.GpsSigma) == 3;
    unknowns[model.nCamera].bBoresight |= ObservedNum(model.ImuSigma) == 3;
  }
  for (size_t camera = 0; camera < In.Cameras.pCameraIndex.size(); ++camera) {
    const int32_t row = In.Cameras.pCameraIndex[camera];
    if (row >= 0 && std::cmp_less(row, count)) unknowns[row].nCamera = static_cast<int32_t>(camera);
  }
  for (size_t row = 0; row < count; ++row) {
    const IopRecord iop = row < rows.size() ? rows[row] : IopRecord{};
    Out.Task.vCameras.push_back(CameraModelOf(In.Rigorous, iop, In.Settings.Image_Coor_Scale, unknowns[row]));
    Out.Start.vCameras.push_back(CameraStartOf(In.Rigorous, iop));
  }
}

void BlockBuilder::AddStrips() {
  const auto count = static_cast<size_t>(std::max(In.Images.nGroupNum, 0));
  std::vector<std::vector<double>> gps(count), imu(count);
  for (size_t image = 0; image < Out.Task.vImages.size(); ++image) {
    const ImageModel& model = Out.Task.vImages[image];
    if (model.nStrip < 0) continue;
    // Heights alone tell nothing of the drift in plan.
    if (ObservedNum(model.GpsSigma) == 3) gps[model.nStrip].push_back(model.fTime);
    if (ObservedNum(model.ImuSigma) == 3) imu[model.nStrip].push_back(model.fTime);
  }
  for (size_t strip = 0; strip < count; ++strip)
    Out.Task.vStrips.push_back(StripModelOf(In.Rigorous, gps[strip], imu[strip]));
  Out.Start.vStrips.resize(count);
}

BlockProblem BlockBuilder::Build() {
  Out.Task.Form = In.Rigorous.Corrected_Image ? ResidualForm::Corrected : ResidualForm::Measured;
  Out.Origin = MeanCentre(In.Images.Kept());
  AddPoints();
  AddControl();
  AddImages();
  AddCameras();
  AddStrips();
  return std::move(Out);
}

}  // namespace

std::vector<int32_t> CameraRowsOf(const ImageTable& images, const CameraTable& cameras) {
  std::vector<int32_t> rows(images.Kept().size(), -1);
  for (const ImageReference& reference : MakeImageReferences(images, cameras)) {
    if (reference.nImage >= 0 && std::cmp_less(reference.nImage, rows.size()))
      rows[reference.nImage] = reference.nCamera;
  }
  return rows;
}

BlockProblem MakeBlockProblem(const BlockParts& parts) { return BlockBuilder(parts).Build(); }

}  // namespace orvo::rigorous
