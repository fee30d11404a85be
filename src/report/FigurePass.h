// One pass over the points of a block for the figures of its report: strict residuals by image, camera and
// place in the image, rays, angles, and the ground.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "records/ObjectFrame.h"
#include "report/FigureSums.h"
#include "report/RunFigures.h"
#include "verdict/PointPass.h"

namespace orvo::report {

/// Cameras with a field of residuals: those with the most images. Bounds the memory where every image has its
/// own camera.
inline constexpr size_t kMostFields = 64;

struct FigurePassInput {
  PointPassInput Pass;                 ///< as for the verdict; read in the constructor only
  double fImageScale = 1;              ///< working units of a pixel
  ObjectFrame Frame;                   ///< that the orientations stand in during the pass
  Pair Rmse;                           ///< pixels; sets the reach of the histograms
  std::vector<int64_t> vCameraImages;  ///< how many images each camera has
};

/// Points are intersected as in the verdict's pass, which decides what is gross; control points keep their
/// coordinates in that. Strict residuals are those of tie points alone.
class FigurePass {
 public:
  FigurePass(const FigurePassInput& input, int threads);
  ~FigurePass();
  FigurePass(FigurePass&&) noexcept;
  FigurePass& operator=(FigurePass&&) noexcept;

  /// A section of points with their measurements. The same points in the same calls give the same sums for
  /// one number of threads; another number, or another division, changes them by rounding alone.
  void Add(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints);
  FigureSums Sums() const;

  /// Place in vFields of a camera, -1 without a field.
  int32_t FieldOf(size_t camera) const;
  /// Of a camera, pixels; 0 where its extent is not known.
  double RingWidth(size_t camera) const;
  /// How far the histograms of residuals reach to both sides, pixels.
  Pair HistogramReach() const;

 private:
  struct State;
  std::unique_ptr<State> pState;
};

}  // namespace orvo::report
