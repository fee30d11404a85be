// Device arrays of the run and of a GPU section: allocated, filled, refreshed and freed.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <numeric>

#include "base/ParallelFor.h"
#include "gpu/GpuState.h"
#include "gpu/kernels/fast/FastFill.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace gpu {

void GpuState::ReleasePointImages() {
  Literal = LiteralImages();
  FastImgIdx = {};
  FastObjIdx = {};
  FastImgPt = {};
  ObjPt = {};
}

namespace {

/// Allocation, copies and clears of typed arrays, counted in elements. Each returns the device's code.
class Uploader {
 public:
  explicit Uploader(Device& device) : Target(device) {}
  template <typename T>
  int Malloc(T*& array, int64_t count) {
    void* address = nullptr;
    const int code = Target.Malloc(address, Bytes<T>(count));
    array = static_cast<T*>(address);
    return code;
  }
  template <typename T>
  int Clear(T* array, int64_t count) {
    return Target.Clear(array, Bytes<T>(count));
  }
  template <typename T>
  int Copy(T* array, const std::vector<T>& image) {
    return Target.CopyToDevice(array, image.data(), image.size() * sizeof(T));
  }
  int Copy(GpuPara* array, const GpuPara& para) { return Target.CopyToDevice(array, &para, sizeof(para)); }
  template <typename T>
  void Free(T*& array) {
    Target.Free(array);
    array = nullptr;
  }

 private:
  template <typename T>
  static size_t Bytes(int64_t count) {
    return static_cast<size_t>(std::max<int64_t>(count, 0)) * sizeof(T);
  }
  Device& Target;
};

FastSource FastSourceOf(const SectionPoints& section) {
  FastSource source;
  source.ObjectPoints = section.ObjectPoints;
  source.ImagePoints = section.ImagePoints;
  source.nFirstImagePoint = section.ObjectPoints.empty() ? 0 : section.ObjectPoints.front().nFirstImagePoint;
  source.GcpTable = section.GcpTable;
  source.nImageNum = section.nImageNum;
  source.nCameraNum = section.nCameraNum;
  return source;
}

/// The host images in the layout of the fast kernels, as if they were the device's arrays.
DeviceArrays FastImages(GpuState& state) {
  DeviceArrays images;
  images.cupImgIdx = state.FastImgIdx.data();
  images.cupObjIdx = state.FastObjIdx.data();
  images.cupImgPt = state.FastImgPt.data();
  images.cupObjPt = state.ObjPt.data();
  return images;
}

void FillFastImages(GpuState& state, const SectionPoints& section, int threads) {
  const int64_t n = std::ssize(section.ImagePoints), m = std::ssize(section.ObjectPoints);
  state.FastImgIdx.resize(static_cast<size_t>(4 * n));
  state.FastImgPt.resize(static_cast<size_t>(4 * n));
  state.FastObjIdx.resize(static_cast<size_t>(3 * m));
  state.ObjPt.resize(static_cast<size_t>(12 * m));
  state.FastIndex.resize(static_cast<size_t>(FastIndexWords(section.nImageNum, section.nCameraNum)));
  FillFastSection(FastSourceOf(section), FastSectionOf(FastImages(state), n, m), state.FastIndex.data(),
                  threads);
}

/// The object points alone, on up to `threads` threads.
void FillFastObjectImage(GpuState& state, const SectionPoints& section, int threads) {
  constexpr int64_t kPointsOfTask = 1 << 14;
  const int64_t points = std::ssize(section.ObjectPoints);
  const int64_t tasks = (points + kPointsOfTask - 1) / kPointsOfTask;
  const auto partOf = [&](int64_t task) {
    const int64_t first = task * kPointsOfTask;
    return section.ObjectPoints.subspan(static_cast<size_t>(first),
                                        static_cast<size_t>(std::min(kPointsOfTask, points - first)));
  };
  // Rows of the control point table that the points in front of each part take.
  std::vector<int64_t> rows(static_cast<size_t>(tasks + 1), 0);
  ParallelFor(tasks, threads, [&](int64_t task) {
    rows[static_cast<size_t>(task + 1)] =
        std::ranges::count_if(partOf(task), [](const ObjectPointRecord& point) { return point.nType != 0; });
  });
  std::partial_sum(rows.begin(), rows.end(), rows.begin());
  state.ObjPt.resize(static_cast<size_t>(12 * points));
  float* const inverse = state.ObjPt.data() + kPointFloats * points;
  ParallelFor(tasks, threads, [&](int64_t task) {
    FastSource part = FastSourceOf(section);
    part.ObjectPoints = partOf(task);
    const auto taken = static_cast<size_t>(rows[static_cast<size_t>(task)]);
    part.GcpTable = part.GcpTable.subspan(std::min(taken, part.GcpTable.size()));
    FastSection image;
    image.m = std::ssize(part.ObjectPoints);
    image.pPoint = state.ObjPt.data() + kPointFloats * task * kPointsOfTask;
    image.pInverse = inverse + 4 * task * kPointsOfTask;
    FillFastPoints(part, image);
  });
}

void UploadLiteral(GpuState& state, const SectionPoints& section) {
  Uploader device(*state.pDevice);
  DeviceArrays& arrays = state.Arrays;
  const int64_t n = std::ssize(section.ImagePoints), m = std::ssize(section.ObjectPoints);
  const LiteralImages& images = state.Literal;
  device.Malloc(arrays.cupPara, 1);
  device.Malloc(arrays.cupImgIdx, 4 * n);
  device.Malloc(arrays.cupObjIdx, 3 * m);
  device.Malloc(arrays.cupImgPt, 4 * n);
  device.Malloc(arrays.cupObjPt, 12 * m);
  device.Malloc(arrays.cupPairPos, m);
  device.Malloc(arrays.cupTR, TailFloats(n));
  device.Copy(arrays.cupImgIdx, images.ImgIdx);
  device.Copy(arrays.cupObjIdx, images.ObjIdx);
  device.Copy(arrays.cupImgPt, images.ImgPt);
  device.Copy(arrays.cupObjPt, images.ObjPt);
  device.Copy(arrays.cupPairPos, images.PairPos);
  device.Copy(arrays.cupPara, state.Para);
  device.Clear(arrays.cupTR, TailFloats(n));
}

void UploadFast(GpuState& state, const SectionPoints& section) {
  Uploader device(*state.pDevice);
  DeviceArrays& arrays = state.Arrays;
  const int64_t n = std::ssize(section.ImagePoints), m = std::ssize(section.ObjectPoints);
  device.Malloc(arrays.cupPara, 1);
  device.Malloc(arrays.cupImgIdx, 4 * n);
  device.Malloc(arrays.cupObjIdx, 3 * m);
  device.Malloc(arrays.cupImgPt, 4 * n);
  device.Malloc(arrays.cupObjPt, 12 * m);
  device.Copy(arrays.cupImgIdx, state.FastImgIdx);
  device.Copy(arrays.cupObjIdx, state.FastObjIdx);
  device.Copy(arrays.cupImgPt, state.FastImgPt);
  device.Copy(arrays.cupObjPt, state.ObjPt);
  device.Copy(arrays.cupPara, state.Para);
  if (arrays.cupFast != nullptr) {
    auto* words = reinterpret_cast<uint32_t*>(arrays.cupFast);
    device.Copy(words + FastIndexBegin(section.nImageNum, section.nCameraNum), state.FastIndex);
  }
}

}  // namespace
}  // namespace gpu

namespace {

/// The residual statistics so far decide what is gross until the next step. Later uploads of an iteration
/// take the same, so that constant vector, preconditioner and product belong to one system.
void TakeThresholds(const CBundleAdjustment& block, gpu::GpuState& state) {
  state.fThresholds = {
      static_cast<float>(block.Residuals.fMeanResidualX), static_cast<float>(block.Residuals.fMeanResidualY),
      static_cast<float>(block.Residuals.fRmsResidualX), static_cast<float>(block.Residuals.fRmsResidualY)};
}

/// The thresholds, and zeros for the sums.
int UploadRms(gpu::GpuState& state) {
  std::array<float, gpu::kRmsFloats> rms{};
  std::ranges::copy(state.fThresholds, rms.begin());
  return state.pDevice->CopyToDevice(state.Arrays.cupRms, rms.data(), sizeof(rms));
}

}  // namespace

gpu::SectionPoints CBundleAdjustment::PointsOfGpuSection(int32_t gpuSection) {
  const gpu::GpuSectionTable& table = Gpu().Sections;
  gpu::SectionPoints points;
  points.GcpTable = Points.pGcpTable;
  points.nImageNum = Images.nImageNum;
  points.nCameraNum = Cameras.UsableNum();
  const size_t at = 2 * static_cast<size_t>(gpuSection);
  if (gpuSection < 0 || gpuSection >= table.nGpuSectionNum || at + 1 >= table.pGpuObjRanges.size())
    return points;
  const auto part = [at](auto all, const std::vector<int64_t>& ranges) {
    const int64_t first = ranges[at], count = ranges[at + 1] - first + 1;
    if (first < 0 || count < 0 || first + count > std::ssize(all)) return all.first(0);
    return all.subspan(static_cast<size_t>(first), static_cast<size_t>(count));
  };
  points.ObjectPoints = part(std::span<const ObjectPointRecord>(Points.pObjectPoints), table.pGpuObjRanges);
  points.ImagePoints = part(std::span<const ImagePointRecord>(Points.pImagePoints), table.pGpuImgRanges);
  return points;
}

int CBundleAdjustment::AllocFixedDeviceMemory() {
  gpu::GpuState& state = Gpu();
  gpu::DeviceArrays& arrays = state.Arrays;
  gpu::Uploader device(*state.pDevice);
  const bool literal = state.Form == gpu::KernelForm::Literal;
  const int64_t n = Unknowns.nUnknownNum, upper = Unknowns.nDiagUpperSize;
  TakeThresholds(*this, state);
  gpu::FillOrientationArrays(Images.Kept(), Cameras.Usable(), state.Eop, state.Iop);
  LogPrintf(">>Allocating memory for image data...\n");
  device.Malloc(arrays.cupEop, std::ssize(state.Eop));
  device.Malloc(arrays.cupIop, std::ssize(state.Iop));
  device.Malloc(arrays.cupRms, gpu::kRmsFloats);
  device.Copy(arrays.cupEop, state.Eop);
  device.Copy(arrays.cupIop, state.Iop);
  device.Malloc(arrays.cupR, n);
  if (literal) device.Malloc(arrays.cuptR, gpu::kLaunchBlocks * n);
  device.Malloc(arrays.cupM, upper);
  if (literal) device.Malloc(arrays.cuptM, gpu::kLaunchBlocks * upper);
  device.Malloc(arrays.cupD, n);
  device.Malloc(arrays.cupAd, n);
  if (literal) device.Malloc(arrays.cuptAd, gpu::kLaunchBlocks * n);
  const int64_t fastWords = gpu::FastWorkWords(Images.nImageNum, Cameras.UsableNum());
  if (!literal) device.Malloc(arrays.cupFast, fastWords);
  device.Clear(arrays.cupR, n);
  if (literal) device.Clear(arrays.cuptR, gpu::kLaunchBlocks * n);
  device.Clear(arrays.cupM, upper);
  if (literal) device.Clear(arrays.cuptM, gpu::kLaunchBlocks * upper);
  device.Clear(arrays.cupD, n);
  device.Clear(arrays.cupAd, n);
  const int code =
      literal ? device.Clear(arrays.cuptAd, gpu::kLaunchBlocks * n) : device.Clear(arrays.cupFast, fastWords);
  if (code == 0) return 1;
  LogPrintf("Cuda fixed memory allocating failed:%d!\n", code);
  return 0;
}

int CBundleAdjustment::AllocPointDeviceMemory(int32_t gpuSection) {
  gpu::GpuState& state = Gpu();
  const gpu::SectionPoints section = PointsOfGpuSection(gpuSection);
  gpu::GpuPara& para = state.Para;
  para.nImgPt = std::ssize(section.ImagePoints);
  para.nObjPt = std::ssize(section.ObjectPoints);
  para.nImageCount = Images.nUnknownImageNum;
  para.nCameraCount = Cameras.UsableNum();
  para.nEopLen = Unknowns.nEopSize;
  para.nIopLen = Unknowns.nIopSize;
  para.nUnknownLen = Unknowns.nUnknownNum;
  para.nMode = Unknowns.nLayoutMode;
  para.nBlockLen = Unknowns.nLayoutMode == LayoutEop ? 6 : Unknowns.nLayoutMode == LayoutIop ? 5 : 11;
  para.nPrecondLen = Unknowns.nDiagUpperSize;
  para.nControlWeight = gpu::Truncated(Settings.GCP_Weight);
  para.nGrossFactor100 = gpu::Truncated(Settings.Gross_Point_Threshold * 100.0);
  para.nPairNum = gpu::PairNum(section.ObjectPoints);
  if (!gpu::FitsIndices(para, state.Form)) {
    LogPrintf("Error!Too many points in a GPU section:%" PRId64 " image points, %" PRId64
              " object points, %" PRId64 " pairs\n",
              para.nImgPt, para.nObjPt, para.nPairNum);
    return 0;
  }
  if (state.Form == gpu::KernelForm::Literal) {
    gpu::FillPointArrays(section, state.Literal);
  } else {
    gpu::FillFastImages(state, section, System.ProcessorCount());
  }
  LogPrintf(">>Allocating memory for points data...\n");
  if (state.Form == gpu::KernelForm::Literal) {
    gpu::UploadLiteral(state, section);
  } else {
    gpu::UploadFast(state, section);
  }
  const int code = UploadRms(state);
  if (code == 0) return 1;
  LogPrintf("Cuda memory allocating failed:%d!\n", code);
  return 0;
}

int CBundleAdjustment::RefreshObjectArray(int32_t gpuSection) {
  gpu::GpuState& state = Gpu();
  if (state.Arrays.cupObjPt == nullptr) return 0;
  const gpu::SectionPoints section = PointsOfGpuSection(gpuSection);
  if (state.Form == gpu::KernelForm::Literal) {
    gpu::FillObjectArray(section, state.ObjPt);
  } else {
    gpu::FillFastObjectImage(state, section, System.ProcessorCount());
  }
  gpu::Uploader device(*state.pDevice);
  return device.Copy(state.Arrays.cupObjPt, state.ObjPt) == 0 ? 1 : 0;
}

int CBundleAdjustment::RefreshOrientationArrays() {
  gpu::GpuState& state = Gpu();
  gpu::FillOrientationArrays(Images.Kept(), Cameras.Usable(), state.Eop, state.Iop);
  TakeThresholds(*this, state);
  gpu::Uploader device(*state.pDevice);
  const int codes[] = {UploadRms(state), device.Copy(state.Arrays.cupEop, state.Eop),
                       device.Copy(state.Arrays.cupIop, state.Iop)};
  return std::ranges::all_of(codes, [](int code) { return code == 0; }) ? 1 : 0;
}

int CBundleAdjustment::FreePointDeviceMemory() {
  gpu::GpuState& state = Gpu();
  gpu::DeviceArrays& arrays = state.Arrays;
  gpu::Uploader device(*state.pDevice);
  device.Free(arrays.cupPara);
  device.Free(arrays.cupImgIdx);
  device.Free(arrays.cupObjIdx);
  device.Free(arrays.cupImgPt);
  device.Free(arrays.cupObjPt);
  if (state.Form == gpu::KernelForm::Fast) return 1;
  device.Free(arrays.cupPairPos);
  device.Free(arrays.cupTR);
  return 1;
}

int CBundleAdjustment::FreeFixedDeviceMemory() {
  gpu::GpuState& state = Gpu();
  if (!state.pDevice) return 1;
  gpu::DeviceArrays& arrays = state.Arrays;
  gpu::Uploader device(*state.pDevice);
  const bool literal = state.Form == gpu::KernelForm::Literal;
  device.Free(arrays.cupEop);
  device.Free(arrays.cupIop);
  device.Free(arrays.cupRms);
  device.Free(arrays.cupR);
  if (literal) device.Free(arrays.cuptR);
  device.Free(arrays.cupM);
  if (literal) device.Free(arrays.cuptM);
  device.Free(arrays.cupD);
  if (literal) device.Free(arrays.cuptAd);
  device.Free(arrays.cupAd);
  if (!literal) device.Free(arrays.cupFast);
  return 1;
}

}  // namespace orvo
