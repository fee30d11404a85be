#include "gpu/DeviceMemory.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <numeric>

#include "base/Threads.h"
#include "gpu/SectionTable.h"
#include "gpu/kernels/fast/FastFill.h"

namespace orvo::gpu {

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

/// The residual statistics so far decide what is gross until the next step. Later uploads of an iteration
/// take the same, so that constant vector, preconditioner and product belong to one system.
void TakeThresholds(const ResidualStatistics& residuals, GpuState& state) {
  state.fThresholds = {
      static_cast<float>(residuals.fMeanResidualX), static_cast<float>(residuals.fMeanResidualY),
      static_cast<float>(residuals.fRmsResidualX), static_cast<float>(residuals.fRmsResidualY)};
}

/// The thresholds, and zeros for the sums.
int UploadRms(GpuState& state) {
  std::array<float, kRmsFloats> rms{};
  std::ranges::copy(state.fThresholds, rms.begin());
  return state.pDevice->CopyToDevice(state.Arrays.cupRms, rms.data(), sizeof(rms));
}

void FillPara(const SectionUpload& from, const SectionPoints& section, GpuPara& para) {
  const UnknownCounts& unknowns = from.Unknowns;
  para.nImgPt = std::ssize(section.ImagePoints);
  para.nObjPt = std::ssize(section.ObjectPoints);
  para.nImageCount = from.Images.nUnknownImageNum;
  para.nCameraCount = from.Cameras.UsableNum();
  para.nEopLen = unknowns.nEopSize;
  para.nIopLen = unknowns.nIopSize;
  para.nUnknownLen = unknowns.nUnknownNum;
  para.nMode = unknowns.nLayoutMode;
  para.nBlockLen = unknowns.nLayoutMode == LayoutEop   ? kEopSize
                   : unknowns.nLayoutMode == LayoutIop ? kIopSize
                                                       : kMergedSize;
  para.nPrecondLen = unknowns.nDiagUpperSize;
  para.nControlWeight = Truncated(from.Settings.GCP_Weight);
  para.nGrossFactor100 = Truncated(from.Settings.Gross_Point_Threshold * 100.0);
  para.nPairNum = PairNum(section.ObjectPoints);
}

}  // namespace

bool AllocFixedDeviceMemory(std::span<const EopRecord> images, std::span<const IopRecord> cameras,
                            const UnknownCounts& unknowns, const ResidualStatistics& residuals,
                            GpuState& state, RunLog& log) {
  DeviceArrays& arrays = state.Arrays;
  Uploader device(*state.pDevice);
  const bool literal = state.Form == KernelForm::Literal;
  const int64_t n = unknowns.nUnknownNum, upper = unknowns.nDiagUpperSize;
  TakeThresholds(residuals, state);
  FillOrientationArrays(images, cameras, state.Eop, state.Iop);
  log.Print(">>Allocating memory for image data...\n");
  device.Malloc(arrays.cupEop, std::ssize(state.Eop));
  device.Malloc(arrays.cupIop, std::ssize(state.Iop));
  device.Malloc(arrays.cupRms, kRmsFloats);
  device.Copy(arrays.cupEop, state.Eop);
  device.Copy(arrays.cupIop, state.Iop);
  device.Malloc(arrays.cupR, n);
  if (literal) device.Malloc(arrays.cuptR, kLaunchBlocks * n);
  device.Malloc(arrays.cupM, upper);
  if (literal) device.Malloc(arrays.cuptM, kLaunchBlocks * upper);
  device.Malloc(arrays.cupD, n);
  device.Malloc(arrays.cupAd, n);
  if (literal) device.Malloc(arrays.cuptAd, kLaunchBlocks * n);
  const int64_t fastWords = FastWorkWords(std::ssize(images), std::ssize(cameras));
  if (!literal) device.Malloc(arrays.cupFast, fastWords);
  device.Clear(arrays.cupR, n);
  if (literal) device.Clear(arrays.cuptR, kLaunchBlocks * n);
  device.Clear(arrays.cupM, upper);
  if (literal) device.Clear(arrays.cuptM, kLaunchBlocks * upper);
  device.Clear(arrays.cupD, n);
  device.Clear(arrays.cupAd, n);
  const int code =
      literal ? device.Clear(arrays.cuptAd, kLaunchBlocks * n) : device.Clear(arrays.cupFast, fastWords);
  if (code == 0) return true;
  log.Print("Cuda fixed memory allocating failed:%d!\n", code);
  return false;
}

bool AllocPointDeviceMemory(const SectionUpload& from, int32_t gpuSection, int threads, GpuState& state,
                            RunLog& log) {
  const SectionPoints section = PointsOfGpuSection(state.Sections, gpuSection, from.Points,
                                                   from.Images.nImageNum, from.Cameras.UsableNum());
  GpuPara& para = state.Para;
  FillPara(from, section, para);
  if (!FitsIndices(para, state.Form)) {
    log.Print("Error!Too many points in a GPU section:%" PRId64 " image points, %" PRId64
              " object points, %" PRId64 " pairs\n",
              para.nImgPt, para.nObjPt, para.nPairNum);
    return false;
  }
  if (state.Form == KernelForm::Literal) {
    FillPointArrays(section, state.Literal);
  } else {
    FillFastImages(state, section, threads);
  }
  log.Print(">>Allocating memory for points data...\n");
  if (state.Form == KernelForm::Literal) {
    UploadLiteral(state, section);
  } else {
    UploadFast(state, section);
  }
  const int code = UploadRms(state);
  if (code == 0) return true;
  log.Print("Cuda memory allocating failed:%d!\n", code);
  return false;
}

bool RefreshObjectArray(const SectionPoints& section, int threads, GpuState& state) {
  if (state.Arrays.cupObjPt == nullptr) return false;
  if (state.Form == KernelForm::Literal) {
    FillObjectArray(section, state.ObjPt);
  } else {
    FillFastObjectImage(state, section, threads);
  }
  Uploader device(*state.pDevice);
  return device.Copy(state.Arrays.cupObjPt, state.ObjPt) == 0;
}

bool RefreshOrientationArrays(std::span<const EopRecord> images, std::span<const IopRecord> cameras,
                              const ResidualStatistics& residuals, GpuState& state) {
  FillOrientationArrays(images, cameras, state.Eop, state.Iop);
  TakeThresholds(residuals, state);
  Uploader device(*state.pDevice);
  const int codes[] = {UploadRms(state), device.Copy(state.Arrays.cupEop, state.Eop),
                       device.Copy(state.Arrays.cupIop, state.Iop)};
  return std::ranges::all_of(codes, [](int code) { return code == 0; });
}

void FreePointDeviceMemory(GpuState& state) {
  DeviceArrays& arrays = state.Arrays;
  Uploader device(*state.pDevice);
  device.Free(arrays.cupPara);
  device.Free(arrays.cupImgIdx);
  device.Free(arrays.cupObjIdx);
  device.Free(arrays.cupImgPt);
  device.Free(arrays.cupObjPt);
  if (state.Form == KernelForm::Fast) return;
  device.Free(arrays.cupPairPos);
  device.Free(arrays.cupTR);
}

void FreeFixedDeviceMemory(GpuState& state) {
  if (!state.pDevice) return;
  DeviceArrays& arrays = state.Arrays;
  Uploader device(*state.pDevice);
  const bool literal = state.Form == KernelForm::Literal;
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
}

}  // namespace orvo::gpu
