#include "gpu/HostArrays.h"

#include <cmath>
#include <limits>

#include "geometry/Intersection.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::gpu {
namespace {

constexpr size_t kObjPtFloats = 12;

}  // namespace

void FillObjectArray(const SectionPoints& section, std::vector<float>& objPt) {
  objPt.assign(kObjPtFloats * section.ObjectPoints.size(), 0.0f);
  float* out = objPt.data();
  size_t row = 0;
  for (const ObjectPointRecord& point : section.ObjectPoints) {
    out[0] = static_cast<float>(point.X);
    out[1] = static_cast<float>(point.Y);
    out[2] = static_cast<float>(point.Z);
    if (point.nType == 4 && row < section.GcpTable.size()) {
      const ObjectPointRecord& control = section.GcpTable[row];
      out[3] = static_cast<float>(control.X - point.X);
      out[4] = static_cast<float>(control.Y - point.Y);
      out[5] = static_cast<float>(control.Z - point.Z);
    }
    if (point.nType != 0) ++row;
    out += kObjPtFloats;
  }
}

int64_t FillPointArrays(const SectionPoints& section, LiteralImages& images) {
  FillObjectArray(section, images.ObjPt);
  images.ImgIdx.resize(4 * section.ImagePoints.size());
  images.ImgPt.resize(4 * section.ImagePoints.size());
  images.ObjIdx.resize(3 * section.ObjectPoints.size());
  images.PairPos.resize(section.ObjectPoints.size());
  uint32_t* imgIdx = images.ImgIdx.data();
  float* imgPt = images.ImgPt.data();
  int64_t pairs = 0;
  size_t ray = 0;
  for (size_t o = 0; o < section.ObjectPoints.size(); ++o) {
    const ObjectPointRecord& point = section.ObjectPoints[o];
    images.PairPos[o] = static_cast<uint32_t>(pairs);
    images.ObjIdx[3 * o] = static_cast<uint32_t>(point.nType);
    images.ObjIdx[3 * o + 1] = static_cast<uint32_t>(point.nImagePointNum);
    images.ObjIdx[3 * o + 2] = static_cast<uint32_t>(ray);
    pairs += int64_t{point.nImagePointNum} * point.nImagePointNum;
    for (int32_t m = 0; m < point.nImagePointNum; ++m, ++ray, imgIdx += 4, imgPt += 4) {
      const ImagePointRecord& measured = section.ImagePoints[ray];
      const bool kept = IsOnKeptImage(measured, static_cast<size_t>(section.nImageNum),
                                      static_cast<size_t>(section.nCameraNum));
      imgIdx[0] = kept ? static_cast<uint32_t>(measured.nImage) : kNoIndex;
      imgIdx[1] = kept ? static_cast<uint32_t>(measured.nCamera) : kNoIndex;
      imgIdx[2] = static_cast<uint32_t>(o);
      imgIdx[3] = kept ? kRayCounts : kRayIsLeftOut;
      imgPt[0] = measured.x;
      imgPt[1] = measured.y;
      imgPt[2] = imgPt[3] = 0.0f;
    }
  }
  return pairs;
}

void FillOrientationArrays(std::span<const EopRecord> eop, std::span<const IopRecord> iop,
                           std::vector<float>& cupEop, std::vector<float>& cupIop) {
  cupEop.clear();
  cupIop.clear();
  for (const EopRecord& image : eop) {
    for (const double value : {image.X, image.Y, image.Z, image.fPhi, image.fOmega, image.fKappa}) {
      cupEop.push_back(static_cast<float>(value));
    }
  }
  for (const IopRecord& camera : iop) {
    for (const double value :
         {camera.fFocal, camera.fPrincipalX, camera.fPrincipalY, camera.fK1, camera.fK2}) {
      cupIop.push_back(static_cast<float>(value));
    }
  }
}

int64_t PairNum(std::span<const ObjectPointRecord> points) {
  int64_t pairs = 0;
  for (const ObjectPointRecord& point : points) pairs += int64_t{point.nImagePointNum} * point.nImagePointNum;
  return pairs;
}

bool FitsIndices(const GpuPara& para, KernelForm form) {
  constexpr int64_t kIndices = std::numeric_limits<int32_t>::max();
  constexpr int64_t kPairs = std::numeric_limits<uint32_t>::max();
  return para.nImgPt <= kIndices && para.nObjPt <= kIndices &&
         (form != KernelForm::Literal || para.nPairNum <= kPairs);
}

int64_t Truncated(double value) {
  constexpr double kLimit = 0x1p63;
  if (std::isnan(value)) return 0;
  if (value >= kLimit) return std::numeric_limits<int64_t>::max();
  if (value < -kLimit) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(value);
}

}  // namespace orvo::gpu
