// The kernels through the interface of a device: the processor, the steps of the fast kernels lane by lane,
// and a CUDA device where one is at hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "gpu/Device.h"
#include "gpu/DeviceSection.h"
#include "gpu/ReducedSystem.h"
#include "gpu/SequentialSteps.h"
#include "gpu/kernels/RayModel.h"
#include "gpu/kernels/literal/LiteralKernels.h"

namespace orvo::test {
namespace {

using gpu::KernelForm;

enum class Place { Host, Sequential, Backward, Cuda };

struct Runner {
  Place Where;
  KernelForm Form;
};

std::string NameOf(const Runner& runner) {
  const char* places[] = {"Host", "Sequential", "Backward", "Cuda"};
  return std::string(places[static_cast<int>(runner.Where)]) +
         (runner.Form == KernelForm::Literal ? "Literal" : "Fast");
}

void PrintTo(const Runner& runner, std::ostream* to) { *to << NameOf(runner); }

const Runner kRunners[] = {
    {Place::Host, KernelForm::Literal},    {Place::Host, KernelForm::Fast},
    {Place::Sequential, KernelForm::Fast}, {Place::Backward, KernelForm::Fast},
#ifdef ORVO_WITH_CUDA
    {Place::Cuda, KernelForm::Literal},    {Place::Cuda, KernelForm::Fast},
#endif
};

/// Null where the machine has no CUDA device.
std::unique_ptr<gpu::Device> MakeDevice(Place place) {
  switch (place) {
    case Place::Host:
      return gpu::MakeHostDevice(int64_t{1} << 30, 2, gpu::kLiteralKernels);
    case Place::Sequential:
      return MakeSequentialDevice(LaneOrder::Forward);
    case Place::Backward:
      return MakeSequentialDevice(LaneOrder::Backward);
    case Place::Cuda:
      break;
  }
  auto device = gpu::MakeCudaDevice(gpu::kLiteralKernels);
  int32_t count = 0;
  if (device == nullptr || device->GetDeviceCount(count) != 0 || count == 0) return nullptr;
  return device;
}

constexpr const char* kNoCudaDevice = "no CUDA device at hand";

class KernelsOn : public testing::TestWithParam<std::tuple<Runner, int>> {
 protected:
  void SetUp() override {
    device = MakeDevice(std::get<0>(GetParam()).Where);
    if (device == nullptr) GTEST_SKIP() << kNoCudaDevice;
  }
  KernelForm Form() const { return std::get<0>(GetParam()).Form; }
  int Layout() const { return std::get<1>(GetParam()); }

  /// Everything of one section against the explicit reduced system.
  void Compare(const KernelBlock& block, double tolerance, float grossWeight = gpu::kGrossRayWeight) {
    const ReducedSystem system = MakeReducedSystem(block, {.fGrossWeight = static_cast<double>(grossWeight)});
    DeviceSection section(*device, block, Form(), grossWeight);
    section.RunSumMatrix();
    EXPECT_EQ(section.Flags(), system.Flags);
    if (Form() == KernelForm::Fast) {
      EXPECT_EQ(section.ImageOrderFlags(), system.Flags);
    }
    const std::vector<float> residuals = section.Residuals();
    for (size_t k = 0; k < residuals.size(); ++k) ASSERT_NEAR(residuals[k], system.Residuals[k], 2e-5) << k;
    const std::vector<float> rms = section.Rms();
    const auto n = static_cast<double>(block.Para.nImgPt);
    for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(rms[k] / n, system.fSums[k] / n, 2e-6) << k;
    const std::vector<float> points = section.ObjPt();
    EXPECT_LE(InverseError(system, block, points), 200 * tolerance);
    EXPECT_LE(SolvedVectorError(system, block, points), 200 * tolerance);
    // Rounding of the measurements themselves, whose misclosures are a hundredth of them.
    EXPECT_LE(ConstVectorError(system, section.ConstVector()), 20 * tolerance);
    EXPECT_LE(PreconditionerError(system, section.Preconditioner()), tolerance);
    // The literal product takes as long as it has pairs; the tests of the literal kernels leave no unknown
    // out.
    const int32_t step = Form() == KernelForm::Literal && block.Para.nPairNum > 20000 ? 17 : 1;
    for (int32_t k = 0; k < system.n; k += step) {
      std::vector<float> unit(static_cast<size_t>(system.n), 0.0f);
      unit[static_cast<size_t>(k)] = 1;
      ASSERT_LE(ProductError(system, k, section.Product(unit)), tolerance) << k;
    }
    EXPECT_EQ(section.Status(), 0);
  }

  std::unique_ptr<gpu::Device> device;
};

INSTANTIATE_TEST_SUITE_P(Devices, KernelsOn,
                         testing::Combine(testing::ValuesIn(kRunners), testing::ValuesIn(kAllLayouts)),
                         [](const auto& of) {
                           return NameOf(std::get<0>(of.param)) + LayoutNameOf(std::get<1>(of.param));
                         });

TEST_P(KernelsOn, GiveTheReducedSystem) { Compare(MakeKernelBlock({.nLayoutMode = Layout()}), 1e-6); }

TEST_P(KernelsOn, LeaveRaysOnDeletedImagesOut) {
  Compare(MakeKernelBlock({.nLayoutMode = Layout(), .fLeftOutShare = 0.2}), 1e-6);
}

TEST_P(KernelsOn, GiveTheReducedSystemOfGrossRays) {
  Compare(MakeKernelBlock({.nLayoutMode = Layout(), .fGrossShare = 0.2}), 1e-5);
}

TEST_P(KernelsOn, PutGrossWeightsWhereTheyBelong) {
  Compare(MakeKernelBlock({.nLayoutMode = Layout(), .fGrossShare = 0.3}), 2e-6, 0.5f);
}

TEST_P(KernelsOn, LeavePosUnknownsAlone) {
  Compare(MakeKernelBlock({.nLayoutMode = Layout(), .nPosGroups = 2}), 1e-6);
}

TEST_P(KernelsOn, CutLongPointsAtTheirSecondBlock) {
  // Rays 100 .. 356, 357 .. 656, 657 .. 1186: into the next block, across one more.
  Compare(
      MakeKernelBlock(
          {.nLayoutMode = Layout(), .nPoints = 60, .RayCounts = {100, 257, 300, 530}, .Types = {0, 0, 0, 0}}),
      3e-6);
}

TEST_P(KernelsOn, FinishPointZeroFromNothingWhereNoPointRunsOn) {
  for (const uint32_t type : {0u, 1u, 4u}) {
    // A point ends with ray 255.
    Compare(
        MakeKernelBlock({.nLayoutMode = Layout(), .nPoints = 80, .RayCounts = {6, 250}, .Types = {type, 0}}),
        3e-6);
    // The whole section lies in the first block.
    Compare(MakeKernelBlock({.nLayoutMode = Layout(), .nPoints = 30, .RayCounts = {7}, .Types = {type}}),
            3e-6);
    // Point 0 runs on itself.
    Compare(MakeKernelBlock({.nLayoutMode = Layout(), .nPoints = 60, .RayCounts = {258}, .Types = {type}}),
            3e-6);
  }
}

TEST_P(KernelsOn, KeepWhatWasUploadedOfPointsNumberedBelowTheirBlock) {
  Compare(MakeKernelBlock({.nLayoutMode = Layout(),
                           .nPoints = 40,
                           .RayCounts = {300, 520, 700, 400, 5},
                           .Types = {0, 4, 4, 0, 4}}),
          1e-5);
}

TEST_P(KernelsOn, TakeAnyNumberOfRaysAndCameras) {
  // Where little is left of the unknowns, rounding weighs more.
  Compare(MakeKernelBlock({.nLayoutMode = Layout(),
                           .nImages = 2,
                           .nCameras = 1,
                           .nPoints = 12,
                           .nMinRays = 2,
                           .nMaxRays = 2}),
          1e-4);
  Compare(MakeKernelBlock({.nLayoutMode = Layout(), .nImages = 20, .nCameras = 20, .nPoints = 90}), 1e-6);
  // Images and cameras without a ray.
  Compare(MakeKernelBlock({.nLayoutMode = Layout(), .nImages = 9, .nCameras = 5, .nPoints = 1, .Types = {2}}),
          1e-4);
}

/// Largest difference by the largest number; infinite where a number is none.
double Apart(const std::vector<float>& values, const std::vector<float>& expected) {
  double difference = 0, largest = 0;
  for (size_t k = 0; k < expected.size(); ++k) {
    if (!std::isfinite(values[k]) || !std::isfinite(expected[k])) return HUGE_VAL;
    difference = std::max(difference, std::fabs(static_cast<double>(values[k]) - expected[k]));
    largest = std::max(largest, std::fabs(static_cast<double>(expected[k])));
  }
  return difference / largest;
}

/// The inverse of a control point is not a number then, and must not be asked for.
TEST_P(KernelsOn, TakeAnyControlWeight) {
  const auto host = MakeDevice(Place::Host);
  for (const int64_t weight :
       {int64_t{1000000}, int64_t{1000000000000000}, int64_t{100000000000000000}, INT64_MAX}) {
    KernelBlock block = MakeKernelBlock({.nLayoutMode = Layout(), .fControlShare = 0.2});
    block.Para.nControlWeight = weight;
    std::vector<float> d(static_cast<size_t>(block.Para.nUnknownLen));
    for (size_t k = 0; k < d.size(); ++k) d[k] = 0.5f + 0.01f * static_cast<float>(k % 7);
    DeviceSection literal(*host, block, KernelForm::Literal), section(*device, block, Form());
    literal.RunSumMatrix();
    section.RunSumMatrix();
    EXPECT_LE(Apart(section.ConstVector(), literal.ConstVector()), 1e-4) << weight;
    EXPECT_LE(Apart(section.Preconditioner(), literal.Preconditioner()), 1e-5) << weight;
    EXPECT_LE(Apart(section.Product(d), literal.Product(d)), 1e-5) << weight;
    EXPECT_EQ(section.Status(), 0);
  }
}

TEST_P(KernelsOn, RepeatBitForBit) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = Layout(), .nPoints = 700, .fGrossShare = 0.1});
  std::vector<float> d(static_cast<size_t>(block.Para.nUnknownLen));
  std::mt19937 random(5);
  for (float& value : d) value = std::uniform_real_distribution<float>(-1, 1)(random);
  std::vector<std::vector<float>> first;
  for (int round = 0; round < 2; ++round) {
    DeviceSection section(*device, block, Form());
    section.RunSumMatrix();
    std::vector<std::vector<float>> all = {section.Residuals(), section.Rms(), section.ObjPt(),
                                           section.ConstVector(), section.Preconditioner()};
    all.push_back(section.Product(d));
    all.push_back(section.Product(d));
    EXPECT_EQ(all[5], all[6]);
    if (round == 0) first = all;
    EXPECT_EQ(all, first);
    EXPECT_EQ(section.Status(), 0);
  }
}

TEST_P(KernelsOn, LeaveTheSumsOfResidualsAloneWhereNobodyAsksForThem) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = Layout()});
  DeviceSection section(*device, block, Form());
  section.RunSumMatrix(true);
  EXPECT_EQ(section.Rms(), block.Rms);
  EXPECT_EQ(section.Flags(), MakeReducedSystem(block).Flags);
}

TEST_P(KernelsOn, AgreeWithTheProcessorOnABlockOfManyTiles) {
  // No ray of this seed lies far out, where the powers of its radius would drown all others.
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = Layout(),
                                             .nImages = 25,
                                             .nCameras = 4,
                                             .nPoints = 3000,
                                             .fGrossShare = 0.02,
                                             .nSeed = 28});
  DeviceSection section(*device, block, Form());
  const auto host = MakeDevice(Place::Host);
  DeviceSection literal(*host, block, KernelForm::Literal);
  section.RunSumMatrix();
  literal.RunSumMatrix();
  EXPECT_EQ(section.Flags(), literal.Flags());
  std::vector<float> d(static_cast<size_t>(block.Para.nUnknownLen));
  std::mt19937 random(9);
  for (float& value : d) value = std::uniform_real_distribution<float>(-1, 1)(random);
  const auto compare = [](const std::vector<float>& a, const std::vector<float>& b, float tolerance) {
    ASSERT_EQ(a.size(), b.size());
    float size = 0, difference = 0;
    for (size_t k = 0; k < a.size(); ++k) {
      size = std::max(size, std::fabs(b[k]));
      difference = std::max(difference, std::fabs(a[k] - b[k]));
    }
    EXPECT_GT(size, 0);
    EXPECT_LE(difference, tolerance * size);
  };
  compare(section.Residuals(), literal.Residuals(), 1e-5f);
  compare(section.ConstVector(), literal.ConstVector(), 1e-4f);
  compare(section.Preconditioner(), literal.Preconditioner(), 1e-5f);
  compare(section.Product(d), literal.Product(d), 1e-5f);
}

TEST(SequentialSteps, DoNotDependOnTheOrderOfBlocksAndLanes) {
  for (const int layout : kAllLayouts) {
    const KernelBlock block = MakeKernelBlock({.nLayoutMode = layout,
                                               .nImages = 30,
                                               .nCameras = 7,
                                               .nPoints = 2500,
                                               .RayCounts = {40, 530, 3, 1100},
                                               .fGrossShare = 0.1,
                                               .fLeftOutShare = 0.1});
    std::vector<float> d(static_cast<size_t>(block.Para.nUnknownLen), 0.5f);
    std::vector<std::vector<float>> first;
    for (const LaneOrder order : {LaneOrder::Forward, LaneOrder::Backward}) {
      const auto device = MakeSequentialDevice(order);
      DeviceSection section(*device, block, KernelForm::Fast);
      section.RunSumMatrix();
      std::vector<std::vector<float>> all = {section.Residuals(), section.Rms(), section.ObjPt(),
                                             section.ConstVector(), section.Preconditioner()};
      all.push_back(section.Product(d));
      if (first.empty()) first = all;
      EXPECT_EQ(all, first) << LayoutNameOf(layout);
    }
  }
}

class OnCuda : public testing::Test {
 protected:
  void SetUp() override {
    device = MakeDevice(Place::Cuda);
    if (device == nullptr) GTEST_SKIP() << kNoCudaDevice;
  }
  std::unique_ptr<gpu::Device> device;
};

TEST_F(OnCuda, DevicesSayWhatTheyAre) {
  int32_t count = 0;
  ASSERT_EQ(device->GetDeviceCount(count), 0);
  for (int32_t k = 0; k < count; ++k) {
    gpu::DeviceProperties properties;
    ASSERT_EQ(device->GetProperties(k, properties), 0);
    EXPECT_FALSE(properties.szName.empty());
    EXPECT_GT(properties.totalGlobalMem, uint64_t{1} << 28);
    EXPECT_GE(properties.sharedMemPerBlock, 48u * 1024);
    EXPECT_GE(properties.regsPerBlock, 48 * 1024);
    EXPECT_GE(properties.major, 7);
    EXPECT_EQ(device->SetDevice(k), 0);
  }
  gpu::DeviceProperties properties;
  EXPECT_NE(device->GetProperties(count, properties), 0);
  EXPECT_NE(device->SetDevice(count), 0);
  EXPECT_EQ(device->SetDevice(0), 0);
}

TEST_F(OnCuda, FailuresAnswerForThemselvesOnly) {
  void* address = &address;
  EXPECT_EQ(device->Malloc(address, 0), 0);
  EXPECT_EQ(address, nullptr);
  EXPECT_NE(device->Malloc(address, size_t{1} << 60), 0);
  EXPECT_EQ(address, nullptr);
  EXPECT_EQ(device->Free(nullptr), 0);
  float number = 1;
  EXPECT_NE(device->CopyToDevice(nullptr, &number, sizeof number), 0);
  EXPECT_NE(device->Clear(nullptr, 4), 0);
  ASSERT_EQ(device->Malloc(address, sizeof number), 0);
  EXPECT_EQ(device->CopyToDevice(address, &number, sizeof number), 0);
  EXPECT_EQ(device->CopyToHost(&number, address, sizeof number), 0);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(device->Clear(address, sizeof number), 0);
  EXPECT_EQ(device->CopyToHost(&number, address, sizeof number), 0);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(device->Free(address), 0);
}

TEST_F(OnCuda, ARefusedLaunchShowsInEveryLaterCopy) {
  // More blocks than a launch may have; of the last, 32 bits would hold a single one.
  for (const int64_t images : {int64_t{1} << 39, (int64_t{1} << 39) + 128}) {
    device = MakeDevice(Place::Cuda);
    void* address = nullptr;
    ASSERT_EQ(device->Malloc(address, 4), 0);
    gpu::KernelCall call;
    call.Which = gpu::Kernel::SumMatrix;
    call.nImageNum = images;
    const int status = device->Launch(call);
    EXPECT_NE(status, 0);
    float number = 0;
    EXPECT_EQ(device->CopyToHost(&number, address, sizeof number), status);
    EXPECT_EQ(device->CopyToDevice(address, &number, sizeof number), status);
    EXPECT_EQ(device->Free(address), 0);
    EXPECT_FALSE(device->ReasonOf(status).empty());
  }
}

TEST(HostDevice, RunsTheLiteralFormOnlyWhereItIsGiven) {
  const KernelBlock block = MakeKernelBlock({});
  const auto fastOnly = gpu::MakeHostDevice(int64_t{1} << 30, 1);
  DeviceSection fast(*fastOnly, block, KernelForm::Fast), literal(*fastOnly, block, KernelForm::Literal);
  fast.RunSumMatrix();
  EXPECT_EQ(fast.Status(), 0);
  literal.RunSumMatrix();
  EXPECT_EQ(literal.Status(), 801);
  EXPECT_EQ(fastOnly->ReasonOf(801), "operation not supported");
  const auto both = MakeDevice(Place::Host);
  DeviceSection given(*both, block, KernelForm::Literal);
  given.RunSumMatrix();
  EXPECT_EQ(given.Status(), 0);
}

#ifndef ORVO_WITH_CUDA
TEST(CudaDevice, IsNotThereInABuildWithoutCuda) { EXPECT_EQ(gpu::MakeCudaDevice(), nullptr); }
#else
TEST(CudaDevice, AnswersWithoutADevice) {
  const auto device = gpu::MakeCudaDevice();
  ASSERT_NE(device, nullptr);
  int32_t count = -1;
  const int status = device->GetDeviceCount(count);
  EXPECT_GE(count, 0);
  EXPECT_TRUE(status == 0 || count == 0);
  if (count > 0) return;
  gpu::DeviceProperties properties;
  EXPECT_NE(device->GetProperties(0, properties), 0);
  EXPECT_NE(device->SetDevice(0), 0);
  void* address = &count;
  EXPECT_NE(device->Malloc(address, 4), 0);
  EXPECT_EQ(address, nullptr);
  EXPECT_NE(device->Clear(address, 4), 0);
  EXPECT_NE(device->CopyToDevice(address, &count, 4), 0);
}
#endif

}  // namespace
}  // namespace orvo::test
