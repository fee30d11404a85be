#include "gpu/FastBlock.h"

#include <algorithm>
#include <cstring>

#include "gpu/kernels/RayModel.h"
#include "gpu/kernels/fast/FastFill.h"

namespace orvo::test {

SectionRecords::SectionRecords(const KernelBlock& block) {
  for (size_t o = 0; o < block.ObjIdx.size() / 3; ++o) {
    const float* point = &block.ObjPt[12 * o];
    ObjectPointRecord record;
    record.X = point[0];
    record.Y = point[1];
    record.Z = point[2];
    record.nType = static_cast<int32_t>(block.Type(o));
    record.nImagePointNum = static_cast<int32_t>(block.RayCount(o));
    record.nFirstImagePoint = block.FirstRay(o);
    ObjectPoints.push_back(record);
    if (record.nType == 0) continue;
    record.X += point[3];
    record.Y += point[4];
    record.Z += point[5];
    GcpTable.push_back(record);
  }
  for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) {
    const uint32_t* ray = &block.ImgIdx[4 * j];
    const bool leftOut = ray[3] == gpu::kRayIsLeftOut;
    ImagePoints.push_back({leftOut ? -1 : static_cast<int32_t>(ray[0]),
                           leftOut ? -1 : static_cast<int32_t>(ray[1]), static_cast<int32_t>(ray[2]),
                           block.ImgPt[4 * j], block.ImgPt[4 * j + 1]});
  }
}

FastBlock::FastBlock(const KernelBlock& block, float grossWeight)
    : Eop(block.Eop), Iop(block.Iop), Rms(block.Rms) {
  const SectionRecords records(block);
  const auto images = static_cast<int64_t>(Eop.size() / 6), cameras = static_cast<int64_t>(Iop.size() / 5);
  const auto n = static_cast<size_t>(block.Para.nImgPt), m = static_cast<size_t>(block.Para.nObjPt);
  // Nothing may depend on what was there before.
  constexpr uint32_t kDirt = 0xcdcdcdcdu;
  ImgIdx.assign(4 * n, kDirt);
  ObjIdx.assign(3 * m, kDirt);
  ImgPt.assign(4 * n, 1e30f);
  ObjPt.assign(12 * m, 1e30f);
  Work.assign(static_cast<size_t>(gpu::FastWorkWords(images, cameras)), 1e30f);
  R.assign(static_cast<size_t>(block.Para.nUnknownLen), 0.0f);
  D = Ad = R;
  M.assign(static_cast<size_t>(block.Para.nPrecondLen), 0.0f);

  gpu::DeviceArrays& arrays = Call.Arrays;
  arrays.cupImgIdx = ImgIdx.data();
  arrays.cupObjIdx = ObjIdx.data();
  arrays.cupImgPt = ImgPt.data();
  arrays.cupObjPt = ObjPt.data();
  arrays.cupEop = Eop.data();
  arrays.cupIop = Iop.data();
  arrays.cupRms = Rms.data();
  arrays.cupR = R.data();
  arrays.cupM = M.data();
  arrays.cupD = D.data();
  arrays.cupAd = Ad.data();
  arrays.cupFast = Work.data();
  Call.Para = block.Para;
  Call.nImageNum = images;
  Call.fGrossWeight = grossWeight;

  std::vector<uint32_t> index(static_cast<size_t>(gpu::FastIndexWords(images, cameras)), kDirt);
  gpu::FillFastSection({records.ObjectPoints, records.ImagePoints, 0, records.GcpTable,
                        static_cast<int32_t>(images), static_cast<int32_t>(cameras)},
                       Section(), index.data(), 1);
  std::memcpy(Work.data() + gpu::FastIndexBegin(images, cameras), index.data(),
              index.size() * sizeof(uint32_t));
}

void FastBlock::Run(gpu::Kernel kernel) {
  Call.Which = kernel;
  if (kernel == gpu::Kernel::ConstVector) std::fill(R.begin(), R.end(), 0.0f);
  if (kernel == gpu::Kernel::MatrixVectorAd) std::fill(Ad.begin(), Ad.end(), 0.0f);
  WorkerPool pool(nThreads);
  gpu::RunFastKernel(Call, pool, Passes);
}

void FastBlock::MultiplyBy(const std::vector<float>& d) {
  std::copy(d.begin(), d.end(), D.begin());
  Run(gpu::Kernel::MatrixVectorAd);
}

void FastBlock::RunAll() {
  Run(gpu::Kernel::SumMatrix);
  Run(gpu::Kernel::ConstVector);
  std::fill(M.begin(), M.end(), 0.0f);
  Run(gpu::Kernel::Preconditioner);
  Run(gpu::Kernel::PreconditionerIop);
}

std::vector<float> FastBlock::PlainPoints() const {
  const gpu::FastSection section = Section();
  std::vector<float> points;
  for (int64_t o = 0; o < section.m; ++o) {
    const float* row = section.pPoint + gpu::kPointFloats * o;
    const float* inverse = section.pInverse + 4 * o;
    points.insert(points.end(), row, row + 3);
    points.insert(points.end(), inverse, inverse + 4);
    points.insert(points.end(), section.pInverseEnd + 2 * o, section.pInverseEnd + 2 * o + 2);
    points.insert(points.end(), row + gpu::kPointSolved, row + gpu::kPointSolved + 3);
  }
  return points;
}

std::vector<uint32_t> FastBlock::PlainFlags() const {
  const gpu::FastSection section = Section();
  std::vector<uint32_t> flags;
  for (int64_t j = 0; j < section.n; ++j) {
    const uint32_t image = section.pRayImage[j];
    flags.push_back(image == gpu::kNoImage    ? gpu::kRayIsLeftOut
                    : image >= gpu::kGrossBit ? gpu::kRayIsGross
                                              : gpu::kRayCounts);
  }
  return flags;
}

int64_t FastBlock::FlagsThatDiffer() const {
  const gpu::FastSection section = Section();
  const gpu::FastWork work = gpu::FastWorkOf(Call.Arrays.cupFast, Call.nImageNum, Call.Para.nCameraCount);
  std::vector<uint32_t> next(work.pImageFirstRay, work.pImageFirstRay + Call.nImageNum);
  int64_t differ = 0;
  for (int64_t j = 0; j < section.n; ++j) {
    if (section.pRayImage[j] == gpu::kNoImage) continue;
    const uint32_t place = next[section.pRayImage[j] & ~gpu::kGrossBit]++;
    differ += (section.pRayImage[j] & gpu::kGrossBit) != (section.pImageRayPoint[place] & gpu::kGrossBit);
  }
  return differ;
}

}  // namespace orvo::test
