// A small block with known truth, as it stands in memory, for the tests of the figures.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "geometry/Intersection.h"
#include "geometry/camera/CameraModel.h"
#include "records/PointStore.h"
#include "records/Records.h"

namespace orvo::report::test {

inline constexpr double kScale = 0.001;  ///< working units of a pixel
inline constexpr int32_t kWidth = 4000, kHeight = 3000;
inline constexpr double kFlyingHeight = 100, kGsd = 0.02;

/// Vertical images, but for some degrees, above wavy ground: 20 units apart in a strip, strips 30 apart.
struct FigureBlock {
  std::vector<EopRecord> Eop;
  std::vector<IopRecord> Iop;
  std::vector<int32_t> CameraOf;  ///< by image
  ObjectPointArray Points;
  ImagePointArray Rays;
  std::mt19937 Random{7};

  FigureBlock(int columns, int rows, size_t cameras = 1) {
    for (size_t i = 0; i < cameras; ++i) {
      IopRecord camera;
      camera.nImageWidth = kWidth;
      camera.nImageHeight = kHeight;
      camera.fFocal = 5 + 0.01 * static_cast<double>(i);
      camera.fPrincipalX = 0.012;
      camera.fPrincipalY = -0.007;
      camera.fK1 = -2e-3;
      camera.fK2 = 1e-4;
      Iop.push_back(camera);
    }
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < columns; ++column) {
        EopRecord image;
        image.X = 20 * column + Uniform(2);
        image.Y = 30 * row + Uniform(2);
        image.Z = kFlyingHeight + Uniform(2);
        image.fPhi = Uniform(0.05);
        image.fOmega = Uniform(0.05);
        image.fKappa = Uniform(0.1);
        CameraOf.push_back(static_cast<int32_t>(Eop.size() % cameras));
        Eop.push_back(image);
      }
    }
  }

  /// From -size to size.
  double Uniform(double size) { return std::uniform_real_distribution<double>(-size, size)(Random); }

  static double Ground(double X, double Y) { return 3 * std::sin(X / 17) + 2 * std::cos(Y / 11); }

  /// Tie points `step` apart, on all images that see them, with normal noise, pixels.
  void AddTiePoints(double step, double noise) {
    double right = 0, top = 0;
    for (const EopRecord& image : Eop) {
      right = std::max(right, image.X);
      top = std::max(top, image.Y);
    }
    for (double Y = -25; Y <= top + 25; Y += step) {
      for (double X = -35; X <= right + 35; X += step) AddPoint({X, Y, Ground(X, Y)}, 0, noise);
    }
  }

  /// The point gets its true coordinates; nothing where fewer than two images see it.
  void AddPoint(std::array<double, 3> P, int32_t type, double noise, const std::string& name = "p") {
    ObjectPointRecord point;
    name.copy(point.szName, sizeof point.szName - 1);
    point.X = P[0];
    point.Y = P[1];
    point.Z = P[2];
    point.nType = type;
    point.nFirstImagePoint = std::ssize(Rays);
    std::normal_distribution<double> normal(0, 1);
    for (size_t i = 0; i < Eop.size(); ++i) {
      ImagePointRecord ray;
      if (!Project(i, P.data(), ray)) continue;
      ray.x += static_cast<float>(noise * kScale * normal(Random));
      ray.y += static_cast<float>(noise * kScale * normal(Random));
      ray.nObjectPoint = static_cast<int32_t>(Points.size());
      Rays.push_back(ray);
    }
    point.nImagePointNum = static_cast<int32_t>(std::ssize(Rays) - point.nFirstImagePoint);
    if (point.nImagePointNum < 2)
      Rays.resize(static_cast<size_t>(point.nFirstImagePoint));
    else
      Points.push_back(point);
  }

  /// The measurement whose correction is the collinear image; false outside the image.
  bool Project(size_t image, const double* P, ImagePointRecord& ray) const {
    const IopRecord& camera = Iop[static_cast<size_t>(CameraOf[image])];
    const ImageFrame frame = MakeImageFrame(Eop[image]);
    double b[3];
    for (int k = 0; k < 3; ++k)
      b[k] = frame.C[k][0] * P[0] + frame.C[k][1] * P[1] + frame.C[k][2] * P[2] - frame.C[k][3];
    const double x = -camera.fFocal * b[0] / b[2], y = -camera.fFocal * b[1] / b[2];
    double u = x, v = y;
    for (int i = 0; i < 30; ++i) {
      const double D = RadialDistortion(camera.fK1, camera.fK2, u * u + v * v);
      u = x + u * D;
      v = y + v * D;
    }
    ray.nImage = static_cast<int32_t>(image);
    ray.nCamera = CameraOf[image];
    ray.x = static_cast<float>(u + camera.fPrincipalX);
    ray.y = static_cast<float>(v + camera.fPrincipalY);
    return std::fabs(ray.x) < kWidth * kScale / 2 && std::fabs(ray.y) < kHeight * kScale / 2;
  }

  std::span<const ImagePointRecord> Of(const ObjectPointRecord& point) const {
    return std::span(Rays).subspan(static_cast<size_t>(point.nFirstImagePoint),
                                   static_cast<size_t>(point.nImagePointNum));
  }
};

}  // namespace orvo::report::test
