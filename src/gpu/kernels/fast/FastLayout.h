// What the fast kernels keep in the bytes of the device arrays. The plan counts 32 bytes an image point and
// 64 an object point; here the rays stand twice within them, by object point and by image.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/KernelCode.h"
#include "gpu/kernels/DeviceArrays.h"
#include "gpu/kernels/GpuPara.h"

namespace orvo::gpu {

/// Bit 31 of an index of a ray: the ray is gross. Written by the kernels of one iteration.
inline constexpr uint32_t kGrossBit = 0x80000000u;
/// Image index of a ray that is left out; it stands in no image's list.
inline constexpr uint32_t kNoImage = 0x7fffffffu;

/// n image points, m object points.
///   cupImgIdx  [0, n) image of each ray with kGrossBit, in point order
///              [n, 2n) object point of each ray with kGrossBit, in image order
///              [2n, 4n) x, y of each ray as floats, in image order
///   cupImgPt   [0, 2n) x, y; [2n, 4n) vx, vy; in point order
///   cupObjPt   8 m: X, Y, Z, type as an integer's bits, solved vector (later the product's h), height
///              difference of a point of type 4; 4 m: first four elements of the inverse. Uploaded, the
///              solved vector is 0 and the inverse holds what the plan has in cupObjPt [3..8]: the control
///              difference and zeros. Both stay 0 for a control point, which is not eliminated.
///   cupObjIdx  2 m floats: last two elements of the inverse; m: first ray, 0 for the first point, ascending
///   cupPairPos and cupTR are not there.
/// A ray that is left out has the residuals 0. The rays of an image stand in the order of their object
/// points. In image order, what stands behind the last ray of the last image, the place of rays that are left
/// out, is 0.
struct FastSection {
  int64_t n = 0, m = 0;
  uint32_t* pRayImage = nullptr;
  uint32_t* pImageRayPoint = nullptr;
  float* pImageRayXy = nullptr;
  float* pRayXy = nullptr;
  float* pRayResidual = nullptr;
  float* pPoint = nullptr;       ///< 8 per point: all that a ray of an image reads, in one memory sector
  float* pInverse = nullptr;     ///< 4 per point
  float* pInverseEnd = nullptr;  ///< 2 per point
  uint32_t* pFirstRay = nullptr;
};

/// Places in a row of FastSection::pPoint.
inline constexpr int kPointType = 3, kPointSolved = 4, kPointHeightDifference = 7, kPointFloats = 8;

ORVO_KERNEL_CODE FastSection FastSectionOf(const DeviceArrays& arrays, int64_t n, int64_t m) {
  FastSection section;
  section.n = n;
  section.m = m;
  section.pRayImage = arrays.cupImgIdx;
  section.pImageRayPoint = arrays.cupImgIdx + n;
  section.pImageRayXy = reinterpret_cast<float*>(arrays.cupImgIdx + 2 * n);
  section.pRayXy = arrays.cupImgPt;
  section.pRayResidual = arrays.cupImgPt + 2 * n;
  section.pPoint = arrays.cupObjPt;
  section.pInverse = arrays.cupObjPt + kPointFloats * m;
  section.pInverseEnd = reinterpret_cast<float*>(arrays.cupObjIdx);
  section.pFirstRay = arrays.cupObjIdx + 2 * m;
  return section;
}

/// cupFast: what stands in place of the 64 copies of the vectors. Counts are in 32-bit words.
///   16 per image: FastImageRow, written by the kernels
///   16 per image: FastTermsRow; once an image's terms are read, its shares in its camera's unknowns (5) or
///                 diagonal block (15) may take their place
///   960 per camera: shares of 64 stretches of object points in the camera's diagonal block
///   the index, uploaded with each section in one piece:
///     nImageNum + 1: first ray of each image in image order
///     nImageNum: camera of each image, of its rays in the section; 0 without rays
///     nImageNum: images sorted by camera, stable; nCameraNum + 1: where each camera's begin
/// With images among the unknowns this is a sixtieth of what the copies would take. In LayoutIop the copies
/// are 6,400 bytes a camera, 3,844 of which are taken here; the 140 bytes an image fit into what cupPairPos
/// and cupTR leave, 4 bytes an object point and 5,120 per started 16,384 image points, wherever an image has
/// 35 object points of its own.
struct FastWork {
  float* pImage = nullptr;
  float* pImageTerms = nullptr;
  float* pStretchShare = nullptr;
  uint32_t* pImageFirstRay = nullptr;
  uint32_t* pImageCamera = nullptr;
  uint32_t* pCameraImages = nullptr;
  uint32_t* pCameraFirst = nullptr;
};

inline constexpr int64_t kImageRowFloats = 16;
inline constexpr int64_t kCameraShareFloats = 15;
inline constexpr int64_t kStretches = 64;

/// Words of the index at the end of cupFast.
constexpr int64_t FastIndexWords(int64_t images, int64_t cameras) { return 3 * images + cameras + 2; }

/// Words in front of the index.
constexpr int64_t FastIndexBegin(int64_t images, int64_t cameras) {
  return 2 * kImageRowFloats * images + kCameraShareFloats * kStretches * cameras;
}

constexpr int64_t FastWorkWords(int64_t images, int64_t cameras) {
  return FastIndexBegin(images, cameras) + FastIndexWords(images, cameras);
}

ORVO_KERNEL_CODE FastWork FastWorkOf(float* cupFast, int64_t images, int64_t cameras) {
  FastWork work;
  work.pImage = cupFast;
  work.pImageTerms = work.pImage + kImageRowFloats * images;
  work.pStretchShare = work.pImageTerms + kImageRowFloats * images;
  work.pImageFirstRay =
      reinterpret_cast<uint32_t*>(work.pStretchShare + kCameraShareFloats * kStretches * cameras);
  work.pImageCamera = work.pImageFirstRay + images + 1;
  work.pCameraImages = work.pImageCamera + images;
  work.pCameraFirst = work.pCameraImages + images;
  return work;
}

}  // namespace orvo::gpu
