// What a run on the device path asks of its device, and in which order.
#include <gtest/gtest.h>

#include <algorithm>

#include "RecordedBlock.h"
#include "gpu/kernels/fast/FastLayout.h"

namespace orvo::test {
namespace {

using gpu::KernelForm;

void Append(Calls& calls, const Calls& more) { calls.insert(calls.end(), more.begin(), more.end()); }

Calls FixedAllocation(const RecordedBlock& b, bool literal) {
  const int64_t n = 4 * b.Unknowns(), upper = 4 * b.Upper(),
                fast = 4 * gpu::FastWorkWords(b.Images(), b.Cameras());
  Calls calls{"SetDevice 0", Call("Malloc", 24 * b.Images()),   Call("Malloc", 20 * b.Cameras()),
              "Malloc 1040", Call("ToDevice", 24 * b.Images()), Call("ToDevice", 20 * b.Cameras())};
  if (literal) {
    for (const int64_t bytes : {n, 64 * n, upper, 64 * upper, n, n, 64 * n})
      calls.push_back(Call("Malloc", bytes));
    for (const int64_t bytes : {n, 64 * n, upper, 64 * upper, n, n, 64 * n})
      calls.push_back(Call("Clear", bytes));
  } else {
    for (const int64_t bytes : {n, upper, n, n, fast}) calls.push_back(Call("Malloc", bytes));
    for (const int64_t bytes : {n, upper, n, n, fast}) calls.push_back(Call("Clear", bytes));
  }
  return calls;
}

Calls PointAllocation(const RecordedBlock& b, bool literal, int64_t points, int64_t imagePoints) {
  const int64_t tails = 5120 * (imagePoints / 16384 + 1);
  Calls calls{"Malloc 112", Call("Malloc", 16 * imagePoints), Call("Malloc", 12 * points),
              Call("Malloc", 16 * imagePoints), Call("Malloc", 48 * points)};
  if (literal) Append(calls, {Call("Malloc", 4 * points), Call("Malloc", tails)});
  Append(calls, {Call("ToDevice", 16 * imagePoints), Call("ToDevice", 12 * points),
                 Call("ToDevice", 16 * imagePoints), Call("ToDevice", 48 * points)});
  if (literal) {
    Append(calls, {Call("ToDevice", 4 * points), "ToDevice 112", Call("Clear", tails)});
  } else {
    Append(calls, {"ToDevice 112", Call("ToDevice", 4 * gpu::FastIndexWords(b.Images(), b.Cameras()))});
  }
  calls.push_back("ToDevice 1040");
  return calls;
}

Calls Sums(const RecordedBlock& b, bool literal, bool listing, int64_t imagePoints) {
  const int64_t n = 4 * b.Unknowns(), upper = 4 * b.Upper(), tails = 5120 * (imagePoints / 16384 + 1);
  Calls calls;
  if (literal) calls.push_back(Call("Clear", 64 * n));
  calls.push_back(Call("Clear", n));
  if (literal) calls.push_back(Call("Clear", 64 * upper));
  calls.push_back(Call("Clear", upper));
  if (literal) calls.push_back(Call("Clear", tails));
  Append(calls, {"Launch SumMatrix", "Launch ConstVector"});
  if (b.Layout.mode != LayoutIop) calls.push_back("Launch Preconditioner");
  if (b.Layout.mode == LayoutIop || b.Layout.mode == LayoutEopIop)
    calls.push_back("Launch PreconditionerIop");
  calls.push_back("ToHost 16");
  if (listing && literal) Append(calls, {Call("ToHost", 16 * imagePoints), Call("ToHost", 16 * imagePoints)});
  if (listing && !literal) Append(calls, {Call("ToHost", 8 * imagePoints), Call("ToHost", 4 * imagePoints)});
  Append(calls, {Call("ToHost", n), Call("ToHost", upper)});
  return calls;
}

Calls Frees(size_t number) { return Calls(number, "Free"); }

struct OrderCase {
  LayoutRow layout;
  KernelForm form;
};

void PrintTo(const OrderCase& c, std::ostream* out) { *out << c.layout.szName; }

class OrderOfCalls : public ::testing::TestWithParam<OrderCase> {};

TEST_P(OrderOfCalls, ResidentRun) {
  const bool literal = GetParam().form == KernelForm::Literal;
  for (const bool listing : {true, false}) {
    RecordedBlock b(GetParam().layout, "2");
    b.Files.Set("Output_Image_Point_RMSE", listing ? "true" : "false");
    ASSERT_TRUE(b.Adjust(GetParam().form).bDone) << b.Log();
    const int64_t n = 4 * b.Unknowns();
    Calls expected = FixedAllocation(b, literal);
    Append(expected, PointAllocation(b, literal, b.Points(), b.ImagePoints()));
    // Steps of the two iterations stand in the log.
    const std::string log = b.Log();
    for (int iteration = 0; iteration < 2; ++iteration) {
      if (iteration > 0) expected.push_back(Call("ToDevice", 48 * b.Points()));
      Append(expected, Sums(b, literal, listing, b.ImagePoints()));
      expected.push_back(Call("ToDevice", n));
      const size_t begin = log.find(">>>>Start PCG iteration " + std::to_string(iteration));
      const size_t end = log.find(">>>>PCG iteration times:", begin);
      for (size_t at = log.find("Forcing", begin); at < end; at = log.find("Forcing", at + 1)) {
        if (literal) expected.push_back(Call("Clear", 64 * n));
        Append(expected, {Call("Clear", n), "Launch MatrixVectorAd", Call("ToHost", n), Call("ToDevice", n)});
      }
      Append(expected,
             {"ToDevice 1040", Call("ToDevice", 24 * b.Images()), Call("ToDevice", 20 * b.Cameras())});
    }
    Append(expected, Frees(literal ? 7 + 10 : 5 + 8));
    EXPECT_EQ(b.Record.Calls, expected);
  }
}

TEST_P(OrderOfCalls, SeveralGpuSections) {
  const bool literal = GetParam().form == KernelForm::Literal;
  RecordedBlock b(GetParam().layout);
  b.Run.Options.nDeviceMemory = b.MemoryForSections(3);
  ASSERT_TRUE(b.Adjust(GetParam().form).bDone) << b.Log();
  EXPECT_TRUE(b.Logged("GPU sections:3\n"));
  const size_t steps = b.PcgSteps();
  const Calls& calls = b.Record.Calls;
  EXPECT_EQ(b.Record.Count("Malloc 112"), 3 + 3 * steps) << "every section at every step";
  EXPECT_EQ(b.Record.Count("Launch SumMatrix"), 3 + 3 * steps);
  EXPECT_EQ(b.Record.Count("Launch ConstVector"), 3u);
  EXPECT_EQ(b.Record.Count("Launch MatrixVectorAd"), 3 * steps);
  EXPECT_EQ(b.Record.Count("SetDevice 0"), 1u);
  EXPECT_EQ(b.Record.Count("Free"), (literal ? 7 : 5) * (3 + 3 * steps) + (literal ? 10 : 8));
  for (int file = 0; file < 3; ++file) {
    EXPECT_TRUE(Exists(b.Files.Output("Residuals_0_" + std::to_string(file) + ".res")));
  }
  // One section of the product: allocation, sums without constant vector, product, release.
  const auto start = std::find(calls.begin(), calls.end(), "Launch MatrixVectorAd");
  ASSERT_GE(start - calls.begin(), 2);
  EXPECT_EQ(*(start - 2), "Launch SumMatrix");
  EXPECT_EQ(*(start - 1), "ToHost 16");
  EXPECT_EQ(*(start + 2), "Free");
}

std::vector<OrderCase> OrderCases() {
  std::vector<OrderCase> cases;
  for (const LayoutRow& layout :
       {LayoutRow{"Eop", LayoutEop, true, false, 1}, LayoutRow{"Iop", LayoutIop, false, true, 2},
        LayoutRow{"Merged", LayoutMergedEopIop, true, true, 0},
        LayoutRow{"EopIop", LayoutEopIop, true, true, 2}}) {
    for (const KernelForm form : {KernelForm::Literal, KernelForm::Fast}) cases.push_back({layout, form});
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Layouts, OrderOfCalls, ::testing::ValuesIn(OrderCases()), [](const auto& parameter) {
  return std::string(parameter.param.layout.szName) +
         (parameter.param.form == KernelForm::Literal ? "Literal" : "Fast");
});

TEST(Discovery, WithoutAUsableDeviceTheCpuTakesOver) {
  RecordedBlock b(kEopIop);
  for (int row = 0; row < 3; ++row) {
    b.Record.Devices = row == 0 ? std::vector<gpu::DeviceProperties>{} : std::vector{GoodDevice()};
    if (row == 1) b.Record.Devices[0].sharedMemPerBlock = 16384;
    if (row == 2) b.Record.Devices[0].kernelExecTimeoutEnabled = 1;
    EXPECT_TRUE(b.Adjust(KernelForm::Fast).bDone);
    EXPECT_TRUE(
        b.Logged(">>There is no device supporting CUDA, shift to CPU mode.\n>>Pre-reading data...\n"));
    EXPECT_TRUE(b.Record.Calls.empty());
  }
}

TEST(Iterations, StepLimitsOfTheDevicePath) {
  RecordedBlock b(kEopIop, "5");
  b.Files.Set("Max_PCG_Iteration_Num", "3");
  ASSERT_TRUE(b.Adjust(KernelForm::Fast).bDone);
  const std::string log = b.Log();
  for (int iteration = 0; iteration < 5; ++iteration) {
    const size_t at = log.find(">>>>PCG iteration times:",
                               log.find(">>>>Start PCG iteration " + std::to_string(iteration) + "\n"));
    int steps = 0;
    ASSERT_EQ(std::sscanf(log.c_str() + at, ">>>>PCG iteration times:%d", &steps), 1);
    EXPECT_LE(steps, iteration <= 2 ? 30 : 10) << iteration;
  }
}

}  // namespace
}  // namespace orvo::test
