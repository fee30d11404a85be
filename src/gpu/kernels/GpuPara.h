// The counters that every kernel reads: 112 bytes, in this order on host and device.
#pragma once

#include <cstdint>
#include <type_traits>

namespace orvo::gpu {

/// Weight of a gross ray in every sum.
inline constexpr float kGrossRayWeight = 1e-6f;

struct GpuPara {
  int64_t nImgPt = 0;       ///< image points of the GPU section
  int64_t nObjPt = 0;       ///< object points of the GPU section
  int64_t nImageCount = 0;  ///< EOP blocks in front of the camera blocks
  int64_t nCameraCount = 0;
  int64_t nEopLen = 0;  ///< 6
  int64_t nIopLen = 0;  ///< 5
  int64_t nUnknownLen = 0;
  int64_t nMode = 0;            ///< LayoutMode
  int64_t nBlockLen = 0;        ///< unknowns of one diagonal block; 11 in LayoutEopIop too
  int64_t nSkipStatistics = 0;  ///< 1 in the PCG loop
  int64_t nPairNum = 0;         ///< sum of the squared image-point counts of the object points
  int64_t nPrecondLen = 0;      ///< elements of the packed preconditioner
  int64_t nControlWeight = 0;   ///< GCP_Weight without its decimals
  int64_t nGrossFactor100 = 0;  ///< Gross_Point_Threshold in hundredths
};

static_assert(sizeof(GpuPara) == 112);
static_assert(std::is_trivially_copyable_v<GpuPara> && std::is_standard_layout_v<GpuPara>);

}  // namespace orvo::gpu
