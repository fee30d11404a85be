// Host images of the device arrays, and the device made of the processor.
#include "gpu/HostArrays.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "RecordingDevice.h"
#include "gpu/kernels/GpuPara.h"

namespace orvo::test {
namespace {

struct TinySection {
  std::vector<ObjectPointRecord> Points{4};
  std::vector<ImagePointRecord> Rays;
  std::vector<ObjectPointRecord> Table{3};

  TinySection() {
    const int32_t types[] = {0, 2, 4, 4}, counts[] = {2, 1, 3, 0};
    int64_t next = 10;  // the section does not begin at the first image point in memory
    for (size_t i = 0; i < 4; ++i) {
      Points[i].X = 1.5 + static_cast<double>(i);
      Points[i].Y = -2;
      Points[i].Z = 100;
      Points[i].nType = types[i];
      Points[i].nImagePointNum = counts[i];
      Points[i].nFirstImagePoint = next;
      next += counts[i];
    }
    for (int32_t j = 0; j < 6; ++j) Rays.push_back({j, j % 2, 99, 0.5f * static_cast<float>(j), -1.0f});
    Rays[3].nImage = -1;
    Rays[4].nCamera = 2;
    Rays[5].nImage = 6;
    Table[1].X = 10;
    Table[1].Y = 20;
    Table[1].Z = 30;
    Table[2].X = Table[2].Y = Table[2].Z = 1000;
  }
  gpu::SectionPoints View() const { return {Points, Rays, Table, 6, 2}; }
};

TEST(FillPointArrays, LaysOutPointsAndRays) {
  const TinySection section;
  gpu::LiteralImages images;
  EXPECT_EQ(gpu::FillPointArrays(section.View(), images), 4 + 1 + 9);
  EXPECT_EQ(images.PairPos, (std::vector<uint32_t>{0, 4, 5, 14}));
  EXPECT_EQ(images.ObjIdx, (std::vector<uint32_t>{0, 2, 0, 2, 1, 2, 4, 3, 3, 4, 0, 6}));
  const uint32_t none = 0xffffffffu;
  EXPECT_EQ(images.ImgIdx, (std::vector<uint32_t>{0,    0,    0, 0, 1,    1,    0, 0, 2,    0,    1, 0,
                                                  none, none, 2, 2, none, none, 2, 2, none, none, 2, 2}))
      << "rays on images and cameras that are not kept are left out";
  ASSERT_EQ(images.ImgPt.size(), 24u);
  for (size_t j = 0; j < 6; ++j) {
    EXPECT_EQ(images.ImgPt[4 * j], 0.5f * static_cast<float>(j));
    EXPECT_EQ(images.ImgPt[4 * j + 1], -1.0f);
    EXPECT_EQ(images.ImgPt[4 * j + 2], 0.0f);
    EXPECT_EQ(images.ImgPt[4 * j + 3], 0.0f);
  }
}

TEST(FillObjectArray, HeightControlTakesTheRowOfItsPlaceAmongTheOthers) {
  const TinySection section;
  std::vector<float> objPt(1, 7.0f);
  gpu::FillObjectArray(section.View(), objPt);
  ASSERT_EQ(objPt.size(), 48u);
  const auto row = [&](size_t i) {
    return std::vector<float>(objPt.begin() + 12 * static_cast<long>(i),
                              objPt.begin() + 12 * static_cast<long>(i) + 12);
  };
  EXPECT_EQ(row(0), (std::vector<float>{1.5f, -2, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(row(1), (std::vector<float>{2.5f, -2, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(row(2), (std::vector<float>{3.5f, -2, 100, 6.5f, 22, -70, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(row(3), (std::vector<float>{4.5f, -2, 100, 995.5f, 1002, 900, 0, 0, 0, 0, 0, 0}));
  // The rows are counted from the first again in every section.
  gpu::SectionPoints second = section.View();
  second.ObjectPoints = second.ObjectPoints.subspan(3);
  second.ImagePoints = {};
  gpu::FillObjectArray(second, objPt);
  EXPECT_EQ(objPt[3], -4.5f);
  second.GcpTable = {};
  gpu::FillObjectArray(second, objPt);
  EXPECT_EQ(objPt[3], 0.0f) << "no such row";
}

TEST(FillObjectArray, TheDifferenceIsFormedInDouble) {
  TinySection section;
  section.Points[2].Z = 123456789.25;
  section.Table[1].Z = 123456789.75;
  std::vector<float> objPt;
  gpu::FillObjectArray(section.View(), objPt);
  EXPECT_EQ(objPt[2 * 12 + 5], 0.5f);
}

TEST(FillOrientationArrays, SixAndFive) {
  EopRecord eop;
  eop.X = 1;
  eop.Y = 2;
  eop.Z = 3;
  eop.fPhi = 4;
  eop.fOmega = 5;
  eop.fKappa = 1.0 / 3;
  IopRecord iop;
  iop.fFocal = 6;
  iop.fPrincipalX = 7;
  iop.fPrincipalY = 8;
  iop.fK1 = 9;
  iop.fK2 = 10;
  std::vector<float> e(3, 1.0f), i;
  gpu::FillOrientationArrays({&eop, 1}, {&iop, 1}, e, i);
  EXPECT_EQ(e, (std::vector<float>{1, 2, 3, 4, 5, 1.0f / 3}));
  EXPECT_EQ(i, (std::vector<float>{6, 7, 8, 9, 10}));
}

TEST(Truncated, TowardZero) {
  const std::pair<double, int64_t> rows[] = {{33.33, 33},
                                             {0.99, 0},
                                             {-2.7, -2},
                                             {1e300, INT64_MAX},
                                             {std::nan(""), 0},
                                             {HUGE_VAL, INT64_MAX},
                                             {-1e19, INT64_MIN},
                                             {0x1p63, INT64_MAX},
                                             {-0x1p63, INT64_MIN},
                                             {0x1.fffffffffffffp62, 9223372036854774784},
                                             {1e17, 100000000000000000},
                                             {1e12, 1000000000000}};
  for (const auto& [value, whole] : rows) EXPECT_EQ(gpu::Truncated(value), whole) << value;
}

TEST(FitsIndices, PointsAndRaysIn31BitsPairsIn32) {
  const struct {
    int64_t rays, points, pairs;
    gpu::KernelForm form;
    bool fits;
  } rows[] = {
      {INT32_MAX, INT32_MAX, UINT32_MAX, gpu::KernelForm::Literal, true},
      {int64_t{1} << 31, 5, 5, gpu::KernelForm::Literal, false},
      {int64_t{1} << 31, 5, 5, gpu::KernelForm::Fast, false},
      {5, int64_t{1} << 31, 5, gpu::KernelForm::Fast, false},
      {5, 5, int64_t{1} << 32, gpu::KernelForm::Literal, false},
      {5, 5, int64_t{1} << 32, gpu::KernelForm::Fast, true},
  };
  for (const auto& row : rows) {
    gpu::GpuPara para;
    para.nImgPt = row.rays;
    para.nObjPt = row.points;
    para.nPairNum = row.pairs;
    EXPECT_EQ(gpu::FitsIndices(para, row.form), row.fits) << row.rays << ' ' << row.pairs;
  }
}

TEST(GpuPara, OrderOfTheFields) {
  gpu::GpuPara para;
  para.nImgPt = 10;
  para.nMode = 17;
  para.nGrossFactor100 = 23;
  int64_t words[14];
  std::memcpy(words, &para, sizeof(words));
  EXPECT_EQ(words[0], 10);
  EXPECT_EQ(words[7], 17);
  EXPECT_EQ(words[13], 23);
}

class HostDevice : public ::testing::Test {
 protected:
  std::unique_ptr<gpu::Device> device = gpu::MakeHostDevice(1 << 20, 1);
};

TEST_F(HostDevice, Properties) {
  int32_t count = 0;
  gpu::DeviceProperties properties;
  EXPECT_EQ(device->GetDeviceCount(count), 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(device->GetProperties(0, properties), 0);
  EXPECT_EQ(properties.szName, "Host device");
  EXPECT_EQ(properties.totalGlobalMem, 1u << 20);
  EXPECT_EQ(properties.sharedMemPerBlock, 49152u);
  EXPECT_EQ(properties.regsPerBlock, 65536);
  EXPECT_EQ(properties.major, 7);
  EXPECT_EQ(properties.minor, 5);
  EXPECT_EQ(properties.kernelExecTimeoutEnabled, 0);
  EXPECT_NE(device->GetProperties(1, properties), 0);
  EXPECT_NE(device->SetDevice(1), 0);
  EXPECT_EQ(device->SetDevice(0), 0);
  EXPECT_EQ(gpu::MakeHostDevice(-5, 1)->GetProperties(0, properties), 0);
  EXPECT_EQ(properties.totalGlobalMem, 0u);
}

TEST_F(HostDevice, CopiesStayWithinTheirArrays) {
  void* array = nullptr;
  ASSERT_EQ(device->Malloc(array, 16), 0);
  auto* words = static_cast<uint32_t*>(array);
  uint32_t four[4] = {1, 2, 3, 4}, back[4] = {};
  EXPECT_EQ(device->CopyToDevice(array, four, 16), 0);
  EXPECT_EQ(device->Clear(words + 1, 4), 0);
  EXPECT_EQ(device->CopyToHost(back, array, 16), 0);
  EXPECT_EQ(back[1], 0u);
  EXPECT_EQ(back[3], 4u);
  EXPECT_EQ(device->CopyToHost(back, words + 2, 8), 0);
  EXPECT_EQ(back[0], 3u);
  EXPECT_NE(device->CopyToHost(back, words + 2, 12), 0) << "beyond the end";
  EXPECT_NE(device->CopyToDevice(array, four, 17), 0);
  EXPECT_NE(device->Clear(nullptr, 4), 0);
  EXPECT_NE(device->CopyToDevice(nullptr, four, 4), 0);
  EXPECT_EQ(device->Clear(nullptr, 0), 0);
  EXPECT_EQ(device->Free(array), 0);
  EXPECT_EQ(device->Free(nullptr), 0);
  EXPECT_NE(device->Clear(array, 4), 0) << "freed";
  EXPECT_EQ(device->CopyToDevice(nullptr, four, 0), 0);
}

TEST_F(HostDevice, MemoryIsWhatItSays) {
  void *most = nullptr, *more = nullptr, *none = &more;
  EXPECT_EQ(device->Malloc(most, (1 << 20) - 8), 0);
  EXPECT_EQ(device->Malloc(more, 16), 2);
  EXPECT_EQ(more, nullptr);
  EXPECT_EQ(device->Malloc(none, 0), 0);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(device->Free(most), 0);
  EXPECT_EQ(device->Malloc(more, 1 << 20), 0);
}

TEST_F(HostDevice, ALaunchWithoutItsArraysSpoilsWhatFollows) {
  for (const gpu::KernelForm form : {gpu::KernelForm::Literal, gpu::KernelForm::Fast}) {
    for (const gpu::Kernel kernel :
         {gpu::Kernel::SumMatrix, gpu::Kernel::ConstVector, gpu::Kernel::Preconditioner,
          gpu::Kernel::PreconditionerIop, gpu::Kernel::MatrixVectorAd}) {
      const auto own = gpu::MakeHostDevice(1 << 20, 1);
      void* array = nullptr;
      ASSERT_EQ(own->Malloc(array, 112), 0);
      gpu::KernelCall call;
      call.Form = form;
      call.Which = kernel;
      call.Para.nImgPt = 10;
      call.Para.nObjPt = 3;
      call.Arrays.cupPara = static_cast<gpu::GpuPara*>(array);
      own->Launch(call);
      uint32_t word = 0;
      EXPECT_EQ(own->CopyToHost(&word, array, 4), 700) << NameOf(kernel);
      EXPECT_EQ(own->Clear(array, 4), 700);
      EXPECT_EQ(own->CopyToDevice(array, &word, 4), 700);
      EXPECT_EQ(own->Free(array), 700);
    }
  }
}

}  // namespace
}  // namespace orvo::test
