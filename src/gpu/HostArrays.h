// Host images of the device arrays, as the literal kernels read them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "gpu/Device.h"
#include "gpu/kernels/DeviceArrays.h"
#include "records/Records.h"

namespace orvo::gpu {

/// The points of one GPU section, contiguous, as they lie in memory.
struct SectionPoints {
  std::span<const ObjectPointRecord> ObjectPoints;
  std::span<const ImagePointRecord> ImagePoints;
  std::span<const ObjectPointRecord> GcpTable;  ///< control and check points in the frame of the points
  int32_t nImageNum = 0, nCameraNum = 0;        ///< kept; rays on others are left out
};

/// Index of the image and of the camera of a ray that is left out.
inline constexpr uint32_t kNoIndex = 0xffffffffu;

/// One host image for each array of a section.
struct LiteralImages {
  std::vector<uint32_t> ImgIdx, ObjIdx, PairPos;
  std::vector<float> ImgPt, ObjPt;
};

/// Fills all images; the sum of the squared image-point counts.
int64_t FillPointArrays(const SectionPoints& section, LiteralImages& images);

/// Fills the image of cupObjPt alone: coordinates, and for points of type 4 the differences of the control
/// point table. The rows of the table are counted from its first at every section, deliberately, by the
/// points of a type other than 0; a row behind its end differs by nothing.
void FillObjectArray(const SectionPoints& section, std::vector<float>& objPt);

/// 6 floats an image and 5 a camera.
void FillOrientationArrays(std::span<const EopRecord> eop, std::span<const IopRecord> iop,
                           std::vector<float>& cupEop, std::vector<float>& cupIop);

/// Sum of the squared image-point counts.
int64_t PairNum(std::span<const ObjectPointRecord> points);

/// Whether the kernels can number what a GPU section holds: points and rays in 31 bits, and in the literal
/// form the pairs of rays in 32.
bool FitsIndices(const GpuPara& para, KernelForm form);

/// Whole numbers that reach the kernels: toward zero; the largest or smallest there is where the value is
/// beyond it, and 0 for what is not a number.
int64_t Truncated(double value);

}  // namespace orvo::gpu
