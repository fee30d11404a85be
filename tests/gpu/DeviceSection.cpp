#include "gpu/DeviceSection.h"

#include <algorithm>
#include <cstring>

#include "gpu/FastBlock.h"
#include "gpu/kernels/RayModel.h"
#include "gpu/kernels/fast/FastFill.h"
#include "gpu/kernels/fast/FastLayout.h"

namespace orvo::test {
namespace {

using gpu::Kernel;
using gpu::KernelForm;

size_t Index(int64_t i) { return static_cast<size_t>(i); }

/// The arrays of a block in the layout of the fast kernels, the work of the kernels spoilt.
struct FastImages {
  std::vector<uint32_t> ImgIdx, ObjIdx, Work;
  std::vector<float> ImgPt, ObjPt;
};

FastImages MakeFastImages(const KernelBlock& block) {
  const int64_t n = block.Para.nImgPt, m = block.Para.nObjPt;
  const auto images = static_cast<int64_t>(block.Images());
  const int64_t cameras = block.Para.nCameraCount;
  FastImages out;
  out.ImgIdx.resize(Index(4 * n));
  out.ObjIdx.resize(Index(3 * m));
  out.ImgPt.resize(Index(4 * n));
  out.ObjPt.resize(Index(12 * m));
  out.Work.assign(Index(gpu::FastWorkWords(images, cameras)), 0xcdcdcdcdu);
  gpu::DeviceArrays arrays;
  arrays.cupImgIdx = out.ImgIdx.data();
  arrays.cupObjIdx = out.ObjIdx.data();
  arrays.cupImgPt = out.ImgPt.data();
  arrays.cupObjPt = out.ObjPt.data();
  const SectionRecords records(block);
  gpu::FillFastSection({records.ObjectPoints, records.ImagePoints, 0, records.GcpTable,
                        static_cast<int32_t>(images), static_cast<int32_t>(cameras)},
                       gpu::FastSectionOf(arrays, n, m),
                       out.Work.data() + gpu::FastIndexBegin(images, cameras), 1);
  return out;
}

}  // namespace

template <class T>
T* DeviceSection::Upload(const std::vector<T>& from) {
  void* address = nullptr;
  const size_t bytes = from.size() * sizeof(T);
  Check(device.Malloc(address, bytes));
  vAddresses.push_back(address);
  Check(device.CopyToDevice(address, from.data(), bytes));
  return static_cast<T*>(address);
}

template <class T>
std::vector<T> DeviceSection::Fetch(const T* from, int64_t count) {
  std::vector<T> to(Index(count));
  Check(device.CopyToHost(to.data(), from, to.size() * sizeof(T)));
  return to;
}

DeviceSection::DeviceSection(gpu::Device& onDevice, const KernelBlock& block, KernelForm form,
                             float grossWeight)
    : device(onDevice) {
  call.Form = form;
  call.Para = block.Para;
  call.nImageNum = static_cast<int64_t>(block.Images());
  call.fGrossWeight = grossWeight;
  const auto zeros = [&](int64_t count) { return Upload(std::vector<float>(Index(count), 0.0f)); };
  gpu::DeviceArrays& arrays = call.Arrays;
  const int64_t n = block.Para.nUnknownLen, packed = block.Para.nPrecondLen;
  arrays.cupPara = Upload(std::vector<gpu::GpuPara>{block.Para});
  arrays.cupEop = Upload(block.Eop);
  arrays.cupIop = Upload(block.Iop);
  arrays.cupRms = Upload(block.Rms);
  arrays.cupR = zeros(n);
  arrays.cupM = zeros(packed);
  arrays.cupD = zeros(n);
  arrays.cupAd = zeros(n);
  if (form == KernelForm::Literal) {
    arrays.cupImgIdx = Upload(block.ImgIdx);
    arrays.cupObjIdx = Upload(block.ObjIdx);
    arrays.cupImgPt = Upload(block.ImgPt);
    arrays.cupObjPt = Upload(block.ObjPt);
    arrays.cupPairPos = Upload(block.PairPos);
    arrays.cupTR = zeros(gpu::TailFloats(block.Para.nImgPt));
    arrays.cuptR = zeros(gpu::kLaunchBlocks * n);
    arrays.cuptM = zeros(gpu::kLaunchBlocks * packed);
    arrays.cuptAd = zeros(gpu::kLaunchBlocks * n);
  } else {
    const FastImages images = MakeFastImages(block);
    arrays.cupImgIdx = Upload(images.ImgIdx);
    arrays.cupObjIdx = Upload(images.ObjIdx);
    arrays.cupImgPt = Upload(images.ImgPt);
    arrays.cupObjPt = Upload(images.ObjPt);
    arrays.cupFast = reinterpret_cast<float*>(Upload(images.Work));
  }
}

DeviceSection::~DeviceSection() {
  for (void* address : vAddresses) device.Free(address);
}

void DeviceSection::Launch(Kernel which) {
  call.Which = which;
  Check(device.Launch(call));
}

void DeviceSection::RunSumMatrix(bool skipStatistics) {
  call.Para.nSkipStatistics = skipStatistics;
  Check(device.CopyToDevice(call.Arrays.cupPara, &call.Para, sizeof call.Para));
  if (call.Form == KernelForm::Literal) {
    Check(device.Clear(call.Arrays.cupTR, sizeof(float) * Index(gpu::TailFloats(call.Para.nImgPt))));
  }
  Launch(Kernel::SumMatrix);
}

std::vector<float> DeviceSection::ConstVector() {
  const size_t bytes = sizeof(float) * Index(call.Para.nUnknownLen);
  Check(device.Clear(call.Arrays.cupR, bytes));
  if (call.Form == KernelForm::Literal) Check(device.Clear(call.Arrays.cuptR, 64 * bytes));
  Launch(Kernel::ConstVector);
  return Fetch(call.Arrays.cupR, call.Para.nUnknownLen);
}

std::vector<float> DeviceSection::Preconditioner() {
  const size_t bytes = sizeof(float) * Index(call.Para.nPrecondLen);
  Check(device.Clear(call.Arrays.cupM, bytes));
  if (call.Form == KernelForm::Literal) Check(device.Clear(call.Arrays.cuptM, 64 * bytes));
  const int64_t mode = call.Para.nMode;
  if (mode != LayoutIop) Launch(Kernel::Preconditioner);
  if (mode == LayoutIop || mode == LayoutEopIop) Launch(Kernel::PreconditionerIop);
  return Fetch(call.Arrays.cupM, call.Para.nPrecondLen);
}

std::vector<float> DeviceSection::Product(const std::vector<float>& d) {
  const size_t bytes = sizeof(float) * Index(call.Para.nUnknownLen);
  Check(device.CopyToDevice(call.Arrays.cupD, d.data(), bytes));
  Check(device.Clear(call.Arrays.cupAd, bytes));
  if (call.Form == KernelForm::Literal) Check(device.Clear(call.Arrays.cuptAd, 64 * bytes));
  Launch(Kernel::MatrixVectorAd);
  return Fetch(call.Arrays.cupAd, call.Para.nUnknownLen);
}

std::vector<float> DeviceSection::ObjPt() {
  const int64_t m = call.Para.nObjPt;
  const std::vector<float> points = Fetch(call.Arrays.cupObjPt, 12 * m);
  if (call.Form == KernelForm::Literal) return points;
  const std::vector<uint32_t> ends = Fetch(call.Arrays.cupObjIdx, 3 * m);
  std::vector<float> out(points.size());
  for (int64_t o = 0; o < m; ++o) {
    float* row = &out[Index(12 * o)];
    const float* from = &points[Index(gpu::kPointFloats * o)];
    std::copy_n(from, 3, row);
    std::copy_n(&points[Index(gpu::kPointFloats * m + 4 * o)], 4, row + 3);
    std::memcpy(row + 7, &ends[Index(2 * o)], 2 * sizeof(float));
    std::copy_n(from + gpu::kPointSolved, 3, row + 9);
  }
  return out;
}

std::vector<float> DeviceSection::Residuals() {
  const int64_t n = call.Para.nImgPt;
  const std::vector<float> all = Fetch(call.Arrays.cupImgPt, 4 * n);
  if (call.Form == KernelForm::Fast) return {all.begin() + 2 * n, all.end()};
  std::vector<float> out;
  for (int64_t j = 0; j < n; ++j) out.insert(out.end(), {all[Index(4 * j + 2)], all[Index(4 * j + 3)]});
  return out;
}

std::vector<uint32_t> DeviceSection::Flags() {
  const int64_t n = call.Para.nImgPt;
  const std::vector<uint32_t> all = Fetch(call.Arrays.cupImgIdx, 4 * n);
  std::vector<uint32_t> out;
  for (int64_t j = 0; j < n; ++j) {
    if (call.Form == KernelForm::Literal) {
      out.push_back(all[Index(4 * j + 3)]);
    } else if (all[Index(j)] == gpu::kNoImage) {
      out.push_back(gpu::kRayIsLeftOut);
    } else {
      out.push_back((all[Index(j)] & gpu::kGrossBit) != 0 ? gpu::kRayIsGross : gpu::kRayCounts);
    }
  }
  return out;
}

std::vector<uint32_t> DeviceSection::ImageOrderFlags() {
  const int64_t n = call.Para.nImgPt, m = call.Para.nObjPt, images = call.nImageNum;
  const std::vector<uint32_t> all = Fetch(call.Arrays.cupImgIdx, 4 * n);
  const std::vector<uint32_t> firstRay = Fetch(call.Arrays.cupObjIdx + 2 * m, m);
  const std::vector<uint32_t> imageFirst =
      Fetch(gpu::FastWorkOf(call.Arrays.cupFast, images, call.Para.nCameraCount).pImageFirstRay, images + 1);
  std::vector<uint32_t> out(Index(n), gpu::kRayIsLeftOut);
  std::vector<uint32_t> next = imageFirst;
  for (int64_t j = 0; j < n; ++j) {
    const uint32_t image = all[Index(j)] & ~gpu::kGrossBit;
    if (image == gpu::kNoImage) continue;
    const uint32_t word = all[Index(n + next[image]++)];
    out[Index(j)] = (word & gpu::kGrossBit) != 0 ? gpu::kRayIsGross : gpu::kRayCounts;
  }
  return out;
}

std::vector<float> DeviceSection::Rms() { return Fetch(call.Arrays.cupRms, gpu::kRmsFloats); }

}  // namespace orvo::test
