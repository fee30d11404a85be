// The form of the device path: one measurement's misclosure and partial derivatives in single precision.
// Written over a number type T, which is float on the device and in the literal kernels, and may be a vector
// of floats, one ray in each lane, on the processor.
#pragma once

#include <cmath>

#include "base/KernelCode.h"

namespace orvo::gpu {

/// Orientation of one image: the rotation a1 .. c3 (row-major, its transpose carries object differences into
/// the camera frame), what the angle columns need, and the projection centre.
template <class T>
struct RayImage {
  T a1, a2, a3, b1, b2, b3, c1, c2, c3;
  T fSinOmega, fCosOmega, fSinKappa, fCosKappa;
  T X, Y, Z;
};

/// Interior orientation in working image units.
template <class T>
struct RayCamera {
  T f, x0, y0, k1, k2;
};

/// Misclosure Lx, Ly of one measurement with what the partial derivatives are formed from: u, v off the
/// principal point, r2 = u u + v v, the corrected xc, yc, and Zr of the point in the camera frame.
template <class T>
struct RayMisclosure {
  T u, v, r2, xc, yc, Zr, Lx, Ly;
};

/// Columns 0 to 2 of D for x (row 0) and y (row 1): by X, Y, Z of the image. The partials by the object point
/// are their negatives.
template <class T>
struct RayCentre {
  T x[3], y[3];
};

/// Columns 3 to 5 of D: by phi, omega, kappa.
template <class T>
struct RayAngles {
  T x[3], y[3];
};

/// `eop` is one image's X, Y, Z, phi, omega, kappa.
ORVO_KERNEL_CODE RayImage<float> MakeRayImage(const float* eop) {
#ifdef __CUDA_ARCH__
  const float sinPhi = sinf(eop[3]), cosPhi = cosf(eop[3]);
  const float sinOmega = sinf(eop[4]), cosOmega = cosf(eop[4]);
  const float sinKappa = sinf(eop[5]), cosKappa = cosf(eop[5]);
#else
  const float sinPhi = std::sin(eop[3]), cosPhi = std::cos(eop[3]);
  const float sinOmega = std::sin(eop[4]), cosOmega = std::cos(eop[4]);
  const float sinKappa = std::sin(eop[5]), cosKappa = std::cos(eop[5]);
#endif
  RayImage<float> image;
  image.a1 = cosKappa * cosPhi - sinOmega * sinPhi * sinKappa;
  image.a2 = -sinKappa * cosPhi - sinOmega * sinPhi * cosKappa;
  image.a3 = -cosOmega * sinPhi;
  image.b1 = sinKappa * cosOmega;
  image.b2 = cosKappa * cosOmega;
  image.b3 = -sinOmega;
  image.c1 = sinOmega * cosPhi * sinKappa + cosKappa * sinPhi;
  image.c2 = sinOmega * cosPhi * cosKappa - sinKappa * sinPhi;
  image.c3 = cosOmega * cosPhi;
  image.fSinOmega = sinOmega;
  image.fCosOmega = cosOmega;
  image.fSinKappa = sinKappa;
  image.fCosKappa = cosKappa;
  image.X = eop[0];
  image.Y = eop[1];
  image.Z = eop[2];
  return image;
}

/// `iop` is one camera's f, x0, y0, k1, k2.
ORVO_KERNEL_CODE RayCamera<float> MakeRayCamera(const float* iop) {
  return {iop[0], iop[1], iop[2], iop[3], iop[4]};
}

/// Collinearity: Lx = xc + f Xr / Zr, Ly = yc + f Yr / Zr. A point in the plane of the projection centre (Zr
/// of 0) is not looked for: its values are not finite and spread into the sums.
template <class T>
ORVO_KERNEL_CODE RayMisclosure<T> ObserveRay(const RayImage<T>& image, const RayCamera<T>& camera, T x, T y,
                                             T X, T Y, T Z) {
  const T dX = X - image.X, dY = Y - image.Y, dZ = Z - image.Z;
  const T Xr = image.a1 * dX + image.b1 * dY + image.c1 * dZ;
  const T Yr = image.a2 * dX + image.b2 * dY + image.c2 * dZ;
  RayMisclosure<T> ray;
  ray.Zr = image.a3 * dX + image.b3 * dY + image.c3 * dZ;
  ray.u = x - camera.x0;
  ray.v = y - camera.y0;
  ray.r2 = ray.u * ray.u + ray.v * ray.v;
  const T d = camera.k1 * ray.r2 + camera.k2 * ray.r2 * ray.r2;
  ray.xc = ray.u - ray.u * d;
  ray.yc = ray.v - ray.v * d;
  ray.Lx = ray.xc + camera.f * Xr / ray.Zr;
  ray.Ly = ray.yc + camera.f * Yr / ray.Zr;
  return ray;
}

template <class T>
ORVO_KERNEL_CODE RayCentre<T> CentreColumns(const RayImage<T>& image, const RayCamera<T>& camera,
                                            const RayMisclosure<T>& ray) {
  const T f = camera.f;
  return {{(f * image.a1 + image.a3 * ray.xc) / ray.Zr, (f * image.b1 + image.b3 * ray.xc) / ray.Zr,
           (f * image.c1 + image.c3 * ray.xc) / ray.Zr},
          {(f * image.a2 + image.a3 * ray.yc) / ray.Zr, (f * image.b2 + image.b3 * ray.yc) / ray.Zr,
           (f * image.c2 + image.c3 * ray.yc) / ray.Zr}};
}

template <class T>
ORVO_KERNEL_CODE RayAngles<T> AngleColumns(const RayImage<T>& image, const RayCamera<T>& camera,
                                           const RayMisclosure<T>& ray) {
  const T f = camera.f, xc = ray.xc, yc = ray.yc;
  const T along = image.fCosKappa * xc - image.fSinKappa * yc;
  const T across = image.fSinKappa * xc + image.fCosKappa * yc;
  return {{image.fSinOmega * yc - image.fCosOmega * (along * xc / f + f * image.fCosKappa),
           -f * image.fSinKappa - across * xc / f, yc},
          {-image.fSinOmega * xc - image.fCosOmega * (along * yc / f - f * image.fSinKappa),
           -f * image.fCosKappa - across * yc / f, -xc}};
}

/// The camera columns 6 to 10 of D are, for x: xc / f, 1, 0, u r2, u r2 r2, and for y: yc / f, 0, 1, v r2,
/// v r2 r2. All eleven columns of one ray, for code that does not care which of them are constant.
ORVO_KERNEL_CODE void AllColumns(const RayImage<float>& image, const RayCamera<float>& camera,
                                 const RayMisclosure<float>& ray, float* D1, float* D2) {
  const RayCentre<float> centre = CentreColumns(image, camera, ray);
  const RayAngles<float> angles = AngleColumns(image, camera, ray);
  for (int k = 0; k < 3; ++k) {
    D1[k] = centre.x[k];
    D2[k] = centre.y[k];
    D1[3 + k] = angles.x[k];
    D2[3 + k] = angles.y[k];
  }
  D1[6] = ray.xc / camera.f;
  D2[6] = ray.yc / camera.f;
  D1[7] = 1;
  D2[7] = 0;
  D1[8] = 0;
  D2[8] = 1;
  D1[9] = ray.u * ray.r2;
  D2[9] = ray.v * ray.r2;
  D1[10] = ray.u * ray.r2 * ray.r2;
  D2[10] = ray.v * ray.r2 * ray.r2;
}

}  // namespace orvo::gpu
