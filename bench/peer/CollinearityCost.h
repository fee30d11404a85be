// The collinearity equations as cost functions of the peer, with exact analytic derivatives.
#pragma once

#include <ceres/evaluation_callback.h>
#include <ceres/loss_function.h>
#include <ceres/sized_cost_function.h>

#include <cstdint>
#include <vector>

namespace orvo::peer {

/// What all measurements on an image share: the transpose of its rotation matrix, the axis about which phi
/// turns a point in the camera frame, and sine and cosine of kappa, from which that of omega follows.
struct Frame {
  double T[9];
  double PhiAxis[3];
  double fCosKappa, fSinKappa;
};
Frame MakeFrame(const double* image);

/// Renews the frames of all images before each evaluation, so that no measurement computes sines.
class FrameTable : public ceres::EvaluationCallback {
 public:
  /// `images`: first parameter of each image, X Y Z phi omega kappa.
  explicit FrameTable(std::vector<const double*> images);
  void PrepareForEvaluation(bool evaluateJacobians, bool newPoint) override;
  const Frame* operator[](size_t image) const { return &Frames[image]; }

 private:
  std::vector<const double*> Images;
  std::vector<Frame> Frames;
};

struct CameraView {
  double f, x0, y0, k1, k2;
};

/// residual[2] = s (f X / Z + xc, f Y / Z + yc) for the point P seen from an image with the frame, and where
/// they are wanted the derivatives, row-major: by the image (2 x 6), the camera (2 x 5) and the point (2 x
/// 3), with `stride` numbers a row where image and camera stand in one block of 11. s = root of the weight.
void EvaluateCollinearity(const Frame& frame, const double* position, const CameraView& camera,
                          const double* P, double x, double y, double s, double* residual, double* byImage,
                          int imageStride, double* byCamera, int cameraStride, double* byPoint);

/// The rule of the adjustment: what is off by more than `limit` weighs 1e-6.
class GrossRule : public ceres::LossFunction {
 public:
  void SetLimit(double limit) { fSquare = limit * limit; }
  bool IsGross(double square) const { return square > fSquare; }
  void Evaluate(double square, double* rho) const override;

 private:
  double fSquare = 1e300;
};

/// A measurement. Its parameters in their order: image, camera, or both in one block, whatever is unknown;
/// then the point, unless it is a control point.
struct CostInput {
  const Frame* pFrame = nullptr;
  const double* pImage = nullptr;   ///< position first; where images are unknown the solver's value counts
  const double* pCamera = nullptr;  ///< likewise
  const double* pPoint = nullptr;   ///< likewise
  float x = 0, y = 0;
  double fRootWeight = 1;
};

template <int... kSizes>
class CollinearityCost : public ceres::SizedCostFunction<2, kSizes...> {
 public:
  CollinearityCost(const CostInput& input, int image, int camera, int point)
      : in(input),
        nImage(static_cast<int8_t>(image)),
        nCamera(static_cast<int8_t>(camera)),
        nPoint(static_cast<int8_t>(point)) {}

  bool Evaluate(double const* const* parameters, double* residual, double** jacobians) const override {
    // Parameters of which block; in the merged form image and camera are one.
    const double* image = nImage >= 0 ? parameters[nImage] : in.pImage;
    const bool merged = nImage >= 0 && nImage == nCamera;
    const double* camera = merged ? image + 6 : nCamera >= 0 ? parameters[nCamera] : in.pCamera;
    const double* point = nPoint >= 0 ? parameters[nPoint] : in.pPoint;
    double* byImage = jacobians != nullptr && nImage >= 0 ? jacobians[nImage] : nullptr;
    double* byCamera = jacobians != nullptr && nCamera >= 0 ? jacobians[nCamera] : nullptr;
    double* byPoint = jacobians != nullptr && nPoint >= 0 ? jacobians[nPoint] : nullptr;
    if (merged && byCamera != nullptr) byCamera += 6;
    EvaluateCollinearity(*in.pFrame, image, {camera[0], camera[1], camera[2], camera[3], camera[4]}, point,
                         in.x, in.y, in.fRootWeight, residual, byImage, merged ? 11 : 6, byCamera,
                         merged ? 11 : 5, byPoint);
    return true;
  }

 private:
  CostInput in;
  int8_t nImage, nCamera, nPoint;  ///< which of the parameters, -1 where it is none
};

}  // namespace orvo::peer
