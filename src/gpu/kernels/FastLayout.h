// What the fast kernels keep in the bytes of the device arrays. The plan counts 32 bytes an image point and
// 64 an object point; here the rays stand twice within them, by object point and by image.
#pragma once

#include <cstddef>
#include <cstdint>

#include "gpu/DeviceArrays.h"
#include "gpu/GpuPara.h"
#include "gpu/kernels/HostDevice.h"

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
///   cupObjPt   4 m: X, Y, Z, type as an integer's bits; 4 m: solved vector (later the product's h) and in
///   [3]
///              the height difference of a point of type 4; 4 m: first four elements of the inverse
///   cupObjIdx  2 m floats: last two elements of the inverse; m: first ray
///   cupPairPos and cupTR are not there.
/// The rays of an image stand in the order of their object points.
struct FastSection {
  int64_t n = 0, m = 0;
  uint32_t* pRayImage = nullptr;
  uint32_t* pImageRayPoint = nullptr;
  float* pImageRayXy = nullptr;
  float* pRayXy = nullptr;
  float* pRayResidual = nullptr;
  float* pPosition = nullptr;    ///< 4 per point
  float* pSolved = nullptr;      ///< 4 per point
  float* pInverse = nullptr;     ///< 4 per point
  float* pInverseEnd = nullptr;  ///< 2 per point
  uint32_t* pFirstRay = nullptr;
};

ORVO_HOST_DEVICE FastSection FastSectionOf(const DeviceArrays& arrays, int64_t n, int64_t m) {
  FastSection section;
  section.n = n;
  section.m = m;
  section.pRayImage = arrays.cupImgIdx;
  section.pImageRayPoint = arrays.cupImgIdx + n;
  section.pImageRayXy = reinterpret_cast<float*>(arrays.cupImgIdx + 2 * n);
  section.pRayXy = arrays.cupImgPt;
  section.pRayResidual = arrays.cupImgPt + 2 * n;
  section.pPosition = arrays.cupObjPt;
  section.pSolved = arrays.cupObjPt + 4 * m;
  section.pInverse = arrays.cupObjPt + 8 * m;
  section.pInverseEnd = reinterpret_cast<float*>(arrays.cupObjIdx);
  section.pFirstRay = arrays.cupObjIdx + 2 * m;
  return section;
}

/// cupFast: what stands in place of the 64 copies of the vectors. Counts are in 32-bit words.
///   rows of 16 words, one per image: RayImage<float>
///   nImageNum + 1: first ray of each image in image order, of the section that was uploaded last
///   nImageNum: camera of each image
///   nImageNum: images sorted by camera, stable; nCameraNum + 1: where each camera's begin
///   15 per image: shares of the image's rays in its camera's unknowns or diagonal block
///   960 per camera: shares of 64 stretches of object points in the camera's diagonal block
struct FastWork {
  float* pImage = nullptr;
  uint32_t* pImageFirstRay = nullptr;
  uint32_t* pImageCamera = nullptr;
  uint32_t* pCameraImages = nullptr;
  uint32_t* pCameraFirst = nullptr;
  float* pImageShare = nullptr;
  float* pStretchShare = nullptr;
};

inline constexpr int64_t kImageShareFloats = 15;
inline constexpr int64_t kStretches = 64;

constexpr int64_t FastWorkWords(int64_t images, int64_t cameras) {
  return images * (16 + 1 + 1 + 1 + kImageShareFloats) + 1 + cameras * (1 + 15 * kStretches) + 1;
}

ORVO_HOST_DEVICE FastWork FastWorkOf(float* cupFast, int64_t images, int64_t cameras) {
  FastWork work;
  work.pImage = cupFast;
  work.pImageShare = work.pImage + 16 * images;
  work.pStretchShare = work.pImageShare + kImageShareFloats * images;
  work.pImageFirstRay = reinterpret_cast<uint32_t*>(work.pStretchShare + 15 * kStretches * cameras);
  work.pImageCamera = work.pImageFirstRay + images + 1;
  work.pCameraImages = work.pImageCamera + images;
  work.pCameraFirst = work.pCameraImages + images;
  return work;
}

}  // namespace orvo::gpu
