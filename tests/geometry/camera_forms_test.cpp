// All forms of the camera model on the same rays: against each other, and against numeric derivatives.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>

#include "geometry/camera/CameraModel.h"
#include "geometry/camera/DeviceRay.h"
#include "geometry/camera/ImagePointPartials.h"
#include "geometry/camera/ListingResidual.h"
#include "geometry/camera/Rotation.h"
#include "gpu/kernels/fast/FastRay.h"
#include "synthetic/SyntheticCamera.h"

namespace orvo {
namespace {

using gpu::FastInner;
using gpu::FastPair;

/// A measurement, its image, camera and object point; all in single precision, so that each form has the
/// same.
struct Observed {
  std::array<float, 6> Eop;
  std::array<float, 5> Iop;
  std::array<float, 3> P;
  float x, y;
};

/// Misclosure by x and y; partials by X, Y, Z, phi, omega, kappa, f, x0, y0, k1, k2 and by the object point.
struct Equations {
  double L[2], D[2][11], C[2][3];
};

/// Where the model is evaluated: the same unknowns as numbers that can be shifted, image, camera, point.
using Unknowns = std::array<double, 14>;
Unknowns UnknownsOf(const Observed& o) {
  Unknowns u;
  std::copy(o.P.begin(), o.P.end(),
            std::copy(o.Iop.begin(), o.Iop.end(), std::copy(o.Eop.begin(), o.Eop.end(), u.begin())));
  return u;
}
EopRecord EopOf(const Unknowns& u) { return {0, 0, u[0], u[1], u[2], u[3], u[4], u[5]}; }
IopRecord IopOf(const Unknowns& u) { return {0, 0, u[6], u[7], u[8], u[9], u[10]}; }

/// The plain form: CorrectMeasurement and ComputeImageResidual. `centre` are the x0 and y0 of the distortion,
/// whose derivative the partials leave out.
std::array<double, 2> Misclosure(const Observed& o, const Unknowns& u, const std::array<float, 2>& centre) {
  double R[9], inCamera[3];
  ComputeRotationMatrix(u[3], u[4], u[5], R);
  const double dP[3] = {u[11] - u[0], u[12] - u[1], u[13] - u[2]};
  ToCameraFrame(R, dP, inCamera);
  IopRecord iop = IopOf(u);
  iop.fPrincipalX = static_cast<double>(centre[0]);
  iop.fPrincipalY = static_cast<double>(centre[1]);
  ImageCoordinates corrected = CorrectMeasurement(iop, static_cast<double>(o.x), static_cast<double>(o.y));
  corrected.x -= u[7] - iop.fPrincipalX;
  corrected.y -= u[8] - iop.fPrincipalY;
  const ImageCoordinates v = ComputeImageResidual(u[6], inCamera, corrected);
  return {v.x, v.y};
}

/// The partials are minus the derivatives, by the object point as by the image.
Equations Numeric(const Observed& o) {
  Equations e;
  const Unknowns at = UnknownsOf(o);
  const std::array<float, 2> centre = {o.Iop[1], o.Iop[2]};
  const auto L = Misclosure(o, at, centre);
  std::copy(L.begin(), L.end(), e.L);
  const Unknowns steps = {1e-2, 1e-2, 1e-2, 1e-5, 1e-5, 1e-5, 1e-4, 1e-5, 1e-5, 1e-6, 1e-7, 1e-2, 1e-2, 1e-2};
  for (size_t k = 0; k < at.size(); ++k) {
    Unknowns plus = at, minus = at;
    plus[k] += steps[k];
    minus[k] -= steps[k];
    const auto a = Misclosure(o, plus, centre), b = Misclosure(o, minus, centre);
    for (size_t axis = 0; axis < 2; ++axis) {
      double& out = k < 11 ? e.D[axis][k] : e.C[axis][k - 11];
      out = -(a[axis] - b[axis]) / (2 * steps[k]);
    }
  }
  return e;
}

Equations ByRecords(const Observed& o) {
  const Unknowns u = UnknownsOf(o);
  ImagePointRecord measurement;
  measurement.x = o.x;
  measurement.y = o.y;
  ObjectPointRecord point;
  point.X = u[11];
  point.Y = u[12];
  point.Z = u[13];
  double B[12], A[10], C[6];
  Equations e;
  EXPECT_EQ(ComputeImagePointPartials(measurement, point, EopOf(u), IopOf(u), B, A, C, e.L), 1);
  for (int axis = 0; axis < 2; ++axis) {
    std::copy_n(B + 6 * axis, 6, e.D[axis]);
    std::copy_n(A + 5 * axis, 5, e.D[axis] + 6);
    std::copy_n(C + 3 * axis, 3, e.C[axis]);
  }
  return e;
}

/// As the assembly does it: two rays side by side, of which the second is this one.
Equations InRegisters(const Observed& o) {
  using Two [[gnu::vector_size(16)]] = double;
  const Unknowns u = UnknownsOf(o);
  const auto both = [](double value) { return Two{value + 1, value}; };
  const ImageTerms image = MakeImageTerms(EopOf(u));
  const CameraTerms camera = MakeCameraTerms(IopOf(u));
  ImageTermsOf<Two> images;
  for (int k = 0; k < 9; ++k) images.R[k] = both(image.R[k]);
  images.X = both(image.X);
  images.Y = both(image.Y);
  images.Z = both(image.Z);
  images.fSinOmega = both(image.fSinOmega);
  images.fCosOmega = both(image.fCosOmega);
  images.fSinKappa = both(image.fSinKappa);
  images.fCosKappa = both(image.fCosKappa);
  const CameraTermsOf<Two> cameras = {both(camera.f),  both(camera.x0), both(camera.y0),
                                      both(camera.k1), both(camera.k2), both(camera.fInverseFocal)};
  PartialRows<Two> rows;
  LinearizeImagePoint<Two>(both(static_cast<double>(o.x)), both(static_cast<double>(o.y)), both(u[11]),
                           both(u[12]), both(u[13]), images, cameras, rows);
  Equations e;
  for (int axis = 0; axis < 2; ++axis) {
    e.L[axis] = rows.L[axis][1];
    for (int k = 0; k < 6; ++k) e.D[axis][k] = rows.B[axis][k][1];
    for (int k = 0; k < 5; ++k) e.D[axis][6 + k] = rows.A[axis][k][1];
    for (int k = 0; k < 3; ++k) e.C[axis][k] = -rows.B[axis][k][1];
  }
  return e;
}

Equations OnTheDevice(const Observed& o) {
  const auto image = gpu::MakeRayImage(o.Eop.data());
  const auto camera = gpu::MakeRayCamera(o.Iop.data());
  const auto ray = gpu::ObserveRay(image, camera, o.x, o.y, o.P[0], o.P[1], o.P[2]);
  float D[2][11];
  gpu::AllColumns(image, camera, ray, D[0], D[1]);
  Equations e{{ray.Lx, ray.Ly}, {}, {}};
  for (int axis = 0; axis < 2; ++axis) {
    std::copy_n(D[axis], 11, e.D[axis]);
    for (int k = 0; k < 3; ++k) e.C[axis][k] = -D[axis][k];
  }
  return e;
}

/// Column by column, as products with unit directions.
Equations ByFastRay(const Observed& o) {
  const gpu::FastImageRow row = gpu::MakeFastImageRow(o.Eop.data());
  const auto camera = gpu::MakeRayCamera(o.Iop.data());
  const auto observed = gpu::ObserveRay(gpu::RayImageOf(row.Frame), camera, o.x, o.y, o.P[0], o.P[1], o.P[2]);
  const gpu::FastRay<float> ray = gpu::MakeFastRay(row.Frame, camera, o.x, o.y, o.P[0], o.P[1], o.P[2]);
  Equations e{{observed.Lx, observed.Ly}, {}, {}};
  const auto keep = [&e](int column, const FastPair<float>& pair) {
    e.D[0][column] = pair.x;
    e.D[1][column] = pair.y;
  };
  for (int k = 0; k < 6; ++k) {
    float unit[6] = {};
    unit[k] = 1;
    keep(k, gpu::TimesImage(ray, camera.f, gpu::TurnDirection(row, unit)));
  }
  for (int k = 0; k < 5; ++k) {
    FastInner<float> unit{};
    float* const parts[5] = {&unit.f, &unit.x0, &unit.y0, &unit.k1, &unit.k2};
    *parts[k] = 1;
    keep(6 + k, gpu::TimesInner(ray, unit));
  }
  const gpu::FastPointRows<float> B = gpu::PointRows(ray, row.Frame);
  const float rows[2][3] = {{B.x0, B.x1, B.x2}, {B.y0, B.y1, B.y2}};
  for (int axis = 0; axis < 2; ++axis) {
    for (int k = 0; k < 3; ++k) e.C[axis][k] = -rows[axis][k];
  }
  return e;
}

/// A measurement with its point within single precision of its ray, where the partials are minus the
/// derivatives.
Observed OnRay(std::mt19937& random) {
  std::uniform_real_distribution<float> uniform(-1, 1);
  Observed o;
  for (float& angle : o.Eop) angle = 0.6f * uniform(random);
  o.Eop[5] *= 5;
  for (size_t k = 0; k < 3; ++k) o.Eop[k] = 1000 * uniform(random);
  o.Iop = {5 + uniform(random), 0.05f * uniform(random), 0.05f * uniform(random), 1e-3f * uniform(random),
           1e-4f * uniform(random)};
  o.x = 3 * uniform(random);
  o.y = 2 * uniform(random);
  const Unknowns u = UnknownsOf(o);
  const ImageCoordinates corrected =
      CorrectMeasurement(IopOf(u), static_cast<double>(o.x), static_cast<double>(o.y));
  const double depth = 800 + 100 * static_cast<double>(uniform(random));
  const double ray[3] = {corrected.x * depth / u[6], corrected.y * depth / u[6], -depth};
  double R[9];
  ComputeRotationMatrix(u[3], u[4], u[5], R);
  for (size_t k = 0; k < 3; ++k) {
    o.P[k] = static_cast<float>(u[k] + R[3 * k] * ray[0] + R[3 * k + 1] * ray[1] + R[3 * k + 2] * ray[2]);
  }
  return o;
}

/// The larger of a column's two elements is what its errors are measured by.
void ExpectNear(const Equations& e, const Equations& expected, double ofMisclosure, double ofColumn) {
  for (int axis = 0; axis < 2; ++axis) EXPECT_NEAR(e.L[axis], expected.L[axis], ofMisclosure);
  for (int k = 0; k < 11; ++k) {
    const double size = std::max(std::fabs(expected.D[0][k]), std::fabs(expected.D[1][k]));
    for (int axis = 0; axis < 2; ++axis)
      EXPECT_NEAR(e.D[axis][k], expected.D[axis][k], ofColumn * size) << "unknown " << k << " axis " << axis;
  }
  for (int k = 0; k < 3; ++k) {
    const double size = std::max(std::fabs(expected.C[0][k]), std::fabs(expected.C[1][k]));
    for (int axis = 0; axis < 2; ++axis)
      EXPECT_NEAR(e.C[axis][k], expected.C[axis][k], ofColumn * size) << "point " << k << " axis " << axis;
  }
}

TEST(CameraForms, AllAgreeWithEachOtherAndWithNumericDerivatives) {
  struct Form {
    const char* szName;
    Equations (*Of)(const Observed&);
    double fMisclosure;  ///< from the plain form's, working units
    double fColumn;      ///< from the records' form, relative
  };
  const Form forms[] = {{"records", ByRecords, 1e-13, 0},
                        {"registers", InRegisters, 1e-13, 1e-14},
                        {"device", OnTheDevice, 5e-6, 5e-6},
                        {"fast", ByFastRay, 5e-6, 5e-6}};
  std::mt19937 random(11);
  for (int ray = 0; ray < 300; ++ray) {
    const Observed o = OnRay(random);
    const Equations numeric = Numeric(o), records = ByRecords(o);
    // The point is off its ray by the last bit of its coordinates.
    ExpectNear(records, numeric, 1e-13, 2e-5);
    for (const Form& form : forms) {
      SCOPED_TRACE(std::string(form.szName) + ", ray " + std::to_string(ray));
      ExpectNear(form.Of(o), records, form.fMisclosure, form.fColumn);
    }
    if (HasFailure()) break;
  }
}

/// The partials of the intersection are its equations' coefficients; here is what it corrects differently.
TEST(CameraForms, IntersectionDiffersByThePrincipalPointInY) {
  std::mt19937 random(12);
  for (int ray = 0; ray < 50; ++ray) {
    const Observed o = OnRay(random);
    IopRecord iop = IopOf(UnknownsOf(o));
    const double x = static_cast<double>(o.x), y = static_cast<double>(o.y);
    const double u = x - iop.fPrincipalX, v = y - iop.fPrincipalY;
    const double D = RadialDistortion(iop.fK1, iop.fK2, u * u + v * v);
    const ImageCoordinates observed = CorrectMeasurement(iop, x, y),
                           crossed = CorrectForIntersection(iop, x, y);
    EXPECT_EQ(crossed.x, observed.x);
    EXPECT_NEAR(crossed.y - observed.y, (iop.fPrincipalX - iop.fPrincipalY) * D, 1e-14);
    iop.fPrincipalY = iop.fPrincipalX;
    EXPECT_EQ(CorrectForIntersection(iop, x, y).y, CorrectMeasurement(iop, x, y).y);
  }
}

TEST(CameraForms, ListingDiffersByItsRadius) {
  std::mt19937 random(13);
  for (int ray = 0; ray < 50; ++ray) {
    Observed o = OnRay(random);
    const auto listed = [&o] {
      const Unknowns u = UnknownsOf(o);
      double R[9];
      ComputeRotationMatrix(u[3], u[4], u[5], R);
      return ComputeListingResidual(R, EopOf(u), IopOf(u), o.x, o.y, u.data() + 11);
    };
    const IopRecord iop = IopOf(UnknownsOf(o));
    const double x = static_cast<double>(o.x), y = static_cast<double>(o.y);
    const double u = x - iop.fPrincipalX, v = y - iop.fPrincipalY;
    const double own = RadialDistortion(iop.fK1, iop.fK2, u * u + v * v);
    const double raw = RadialDistortion(iop.fK1, iop.fK2, x * x + y * y);
    const Equations plain = Numeric(o);
    EXPECT_NEAR(listed().x - plain.L[0], u * (own - raw), 1e-8);
    EXPECT_NEAR(listed().y - plain.L[1], v * (own - raw), 1e-8);
    // Without a principal point there is but the rounding of the square radius.
    o.Iop[1] = o.Iop[2] = 0;
    EXPECT_NEAR(listed().x, Numeric(o).L[0], 1e-8);
    EXPECT_NEAR(listed().y, Numeric(o).L[1], 1e-8);
  }
}

TEST(CameraForms, GeneratedMeasurementsHaveNoResidual) {
  std::mt19937 random(14);
  std::uniform_real_distribution<double> uniform(-1, 1);
  // Pixels, with a distortion of some pixels in the corners.
  const SyntheticCamera camera = {12000, 15, -20, 2e-10, -3e-19};
  const SyntheticProjector projector(camera, 14000, 9000);
  const IopRecord iop = {0, 0, camera.fFocal, camera.fPrincipalX, camera.fPrincipalY, camera.fK1, camera.fK2};
  int seen = 0;
  for (int ray = 0; ray < 300; ++ray) {
    SyntheticImage image;
    image.Z = 1500;
    image.fPhi = 0.2 * uniform(random);
    image.fOmega = 0.2 * uniform(random);
    image.fKappa = 3 * uniform(random);
    SyntheticRotation(image.fPhi, image.fOmega, image.fKappa, image.R);
    double R[9];
    ComputeRotationMatrix(image.fPhi, image.fOmega, image.fKappa, R);
    for (int k = 0; k < 9; ++k) EXPECT_NEAR(image.R[k], R[k], 1e-15);
    const double P[3] = {700 * uniform(random), 700 * uniform(random), 100 * uniform(random)};
    const auto measured = projector.Project(image, P[0], P[1], P[2]);
    if (!measured) continue;
    ++seen;
    const double dP[3] = {P[0] - image.X, P[1] - image.Y, P[2] - image.Z};
    double inCamera[3];
    ToCameraFrame(R, dP, inCamera);
    const ImageCoordinates residual =
        ComputeImageResidual(iop.fFocal, inCamera, CorrectMeasurement(iop, measured->x, measured->y));
    EXPECT_NEAR(residual.x, 0, 1e-8);
    EXPECT_NEAR(residual.y, 0, 1e-8);
  }
  EXPECT_GT(seen, 100);
}

}  // namespace
}  // namespace orvo
