// What the device path asks of a device, in which order, and how it ends when something fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "RecordingDevice.h"
#include "gpu/GpuSections.h"
#include "gpu/GpuState.h"
#include "gpu/kernels/fast/FastLayout.h"
#include "gpu/kernels/literal/LiteralKernels.h"
#include "run/BundleAdjustment.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

using gpu::KernelForm;

struct LayoutRow {
  const char* szName;
  LayoutMode mode;
  bool bEop, bIop;
  int32_t nCameras;
};

constexpr LayoutRow kEopIop{"EopIop", LayoutEopIop, true, true, 1};

SyntheticOptions Options(int32_t cameras) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 4;
  options.nCameras = cameras;
  options.fMeasurementsPerImage = 60;
  options.nControlPoints = 3;
  options.nCheckPoints = 2;
  return options;
}

/// A small block, and runs over it on a recording device.
class RecordedBlock {
 public:
  explicit RecordedBlock(const LayoutRow& layout, const char* iterations = "1")
      : Layout(layout), Files(Options(layout.nCameras)) {
    Files.Set("Set_EOP_Unknown", layout.bEop ? "true" : "false");
    Files.Set("Set_IOP_Unknown", layout.bIop ? "true" : "false");
    Files.Set("Max_LM_Iteration_Num", iterations);
    Files.Set("LM_Converge_Threshold", "0");
    Run.bBinary = true;
    Run.Options.At = DeviceChoice::Host;
    Run.Options.MakeDevice = [this] { return std::make_unique<RecordingDevice>(Record); };
  }
  RunOutcome Adjust(KernelForm form) {
    Record.Calls.clear();
    Run.Options.Kernels = form;
    return Files.Run(Run);
  }
  int64_t Points() const {
    const SyntheticCounts& counts = Files.Truth().Counts;
    return counts.nTiePoints + counts.nControlPoints + counts.nCheckPoints;
  }
  int64_t ImagePoints() const {
    return Files.Truth().Counts.nTieMeasurements + Files.Truth().Counts.nGroundMeasurements;
  }
  int64_t Images() const { return Files.Truth().Counts.nImages; }
  int64_t Cameras() const { return Files.Truth().Counts.nCameras; }
  int64_t Unknowns() const {
    if (Layout.mode == LayoutMergedEopIop) return 11 * Images();
    return (Layout.bEop ? 6 * Images() : 0) + (Layout.bIop ? 5 * Cameras() : 0);
  }
  int64_t Upper() const {
    if (Layout.mode == LayoutMergedEopIop) return 66 * Images();
    return (Layout.bEop ? 21 * Images() : 0) + (Layout.bIop ? 15 * Cameras() : 0);
  }
  /// Bytes of device memory that make this many GPU sections of the block.
  int64_t MemoryForSections(int sections) const {
    const double fixed =
        gpu::FixedDeviceBytes({static_cast<int32_t>(Unknowns()), static_cast<int32_t>(Upper()),
                               static_cast<int32_t>(Images()), static_cast<int32_t>(Cameras())});
    return static_cast<int64_t>((gpu::PointDeviceBytes(Points(), ImagePoints()) / (sections - 0.5) + fixed) /
                                0.64);
  }
  size_t PcgSteps() const {
    size_t steps = 0;
    const std::string log = Files.Log();
    for (size_t at = log.find("Forcing sequence:"); at != std::string::npos;
         at = log.find("Forcing sequence:", at + 1))
      ++steps;
    return steps;
  }
  std::string Log() const { return Files.Log(); }
  bool Logged(const std::string& text) const { return Log().find(text) != std::string::npos; }

  LayoutRow Layout;
  Block Files;
  DeviceRecord Record;
  BlockRun Run;
};

using Calls = std::vector<std::string>;

std::string Call(const std::string& name, int64_t bytes) { return name + " " + std::to_string(bytes); }

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

/// Fails the call with this text, the `nth` (from 0) of them, and goes on failing where `sticks`.
std::function<int(const std::string&, size_t)> FailAt(const std::string& call, int nth, int code,
                                                      bool sticks = false) {
  return [call, nth, code, sticks, seen = 0, failed = false](const std::string& text, size_t) mutable {
    if (text == call && seen++ == nth)
      failed = true;
    else if (!(failed && sticks))
      return 0;
    return code;
  };
}

class Failures : public ::testing::TestWithParam<KernelForm> {
 protected:
  bool Literal() const { return GetParam() == KernelForm::Literal; }
};

TEST_P(Failures, DownloadsEndTheRun) {
  RecordedBlock b(kEopIop);
  const int64_t n = 4 * b.Unknowns(), upper = 4 * b.Upper();
  const struct {
    std::string call;
    int nth;
    const char* message;
  } rows[] = {
      {"ToHost 16", 0, "Cuda device 0:77 Compute sum matrix failed!\n"},
      {Call("ToHost", n), 0, "Cuda device 0:77Compute const vector failed!\n"},
      {Call("ToHost", upper), 0, "Compute preconditioner failed: 77!\n"},
      {Call("ToHost", n), 1, "Compute matrix-vector Ad failed:77!\n"},
  };
  for (const auto& row : rows) {
    b.Record.Fail = FailAt(row.call, row.nth, 77);
    EXPECT_FALSE(b.Adjust(GetParam()).bDone) << row.message;
    EXPECT_TRUE(b.Logged(row.message)) << b.Log();
    EXPECT_FALSE(b.Logged(">>Generating adjustment report...\n")) << row.message;
    EXPECT_FALSE(Exists(b.Files.Output("OrvoResult.ovc"))) << row.message;
    EXPECT_EQ(b.Record.Calls.back(), "Free") << "the arrays of the run are freed all the same";
    std::filesystem::remove_all(b.Files.Output(""));
  }
}

TEST_P(Failures, ASecondSectionNamesItself) {
  RecordedBlock b(kEopIop);
  b.Run.Options.nDeviceMemory = b.MemoryForSections(2);
  b.Record.Fail = FailAt("ToHost 16", 1, 5);
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Cuda device 1:5 Compute sum matrix failed!\n"));
  // The third is the first of the products.
  b.Record.Fail = FailAt("ToHost 16", 2, 6);
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Cuda device 0:6 Compute sum matrix failed!\n"));
}

TEST_P(Failures, ClearsEndTheRun) {
  RecordedBlock b(kEopIop);
  const int64_t n = 4 * b.Unknowns(), upper = 4 * b.Upper();
  // cupR, cupD and cupAd are cleared when they are allocated, too.
  std::vector<std::tuple<std::string, int, std::string>> rows{
      {Call("Clear", n), 3, "Cuda memory allocating failed:cupR 9!\n"},
      {Call("Clear", upper), 1, "Cuda memory allocating failed:cupM 9!\n"},
      {Call("Clear", n), 4, "Cuda memset failed!\n"}};
  if (Literal()) {
    rows.push_back({Call("Clear", 64 * n), 2, "Cuda memory allocating failed:cuptR 9!\n"});
    rows.push_back({Call("Clear", 64 * upper), 1, "Cuda memory allocating failed:cuptM 9!\n"});
  }
  for (const auto& [call, nth, message] : rows) {
    b.Record.Fail = FailAt(call, nth, 9);
    EXPECT_FALSE(b.Adjust(GetParam()).bDone) << message;
    const std::string bytes = call.substr(call.find(' ') + 1);
    EXPECT_TRUE(b.Logged(message + "Error!The device failed in clearing " + bytes +
                         " bytes on the device: made up reason 9 (9). The run ends without results.\n"))
        << message << b.Log();
  }
}

TEST_P(Failures, Allocation) {
  RecordedBlock b(kEopIop);
  b.Record.Fail = FailAt(Call("Malloc", 24 * b.Images()), 0, 2);
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Cuda fixed memory allocating failed:2!\nError!The device failed in allocating " +
                       std::to_string(24 * b.Images()) + " bytes on the device: made up reason 2 (2)."))
      << b.Log();
  b.Record.Fail = FailAt("SetDevice 0", 0, 46);
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Error!The device failed in choosing device 0: made up reason 46 (46)."));
  b.Record.Fail = FailAt("ToDevice 1040", 0, 11);
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Cuda memory allocating failed:11!\nError!The device failed in copying 1040 bytes "));
}

/// Each array in turn can't be had. The run ends without results, says something, and touches nothing that is
/// not there.
TEST_P(Failures, EveryAllocation) {
  RecordedBlock b(kEopIop);
  ASSERT_TRUE(b.Adjust(GetParam()).bDone);
  std::vector<size_t> places;
  for (size_t i = 0; i < b.Record.Calls.size(); ++i) {
    if (b.Record.Calls[i].starts_with("Malloc")) places.push_back(i);
  }
  ASSERT_EQ(places.size(), Literal() ? 17u : 13u);
  for (const size_t place : places) {
    std::filesystem::remove_all(b.Files.Output(""));
    b.Record.Fail = [place](const std::string&, size_t number) { return number == place ? 2 : 0; };
    EXPECT_FALSE(b.Adjust(GetParam()).bDone) << place;
    EXPECT_TRUE(b.Logged("failed")) << b.Log();
    EXPECT_FALSE(Exists(b.Files.Output("OrvoResult.ovc"))) << place;
  }
}

/// What a run that came to its end leaves.
bool HasResults(const Block& files) {
  for (const auto& entry : std::filesystem::directory_iterator(files.Output(""))) {
    const std::string name = entry.path().filename();
    if (name.starts_with("OrvoResult") || name.starts_with("OrvoAdjustReport")) return true;
  }
  return false;
}

/// Each single call of a run fails once: the run fails and leaves no results. Only what is released behind
/// them may fail unseen.
TEST_P(Failures, EverySingleCall) {
  const size_t behindResults = Literal() ? 10 : 8;
  for (const int sections : {1, 2}) {
    RecordedBlock b({"Iop", LayoutIop, false, true, 1}, "2");
    b.Files.Set("Output_Image_Point_RMSE", sections == 1 ? "true" : "false");
    if (sections > 1) b.Run.Options.nDeviceMemory = b.MemoryForSections(sections);
    ASSERT_TRUE(b.Adjust(GetParam()).bDone);
    ASSERT_TRUE(HasResults(b.Files));
    const Calls whole = b.Record.Calls;
    size_t releases = 0;
    for (size_t place = 0; place < whole.size(); ++place) {
      if (whole[place] == "Free" && sections > 1 && ++releases % 5 != 0 &&
          place + behindResults < whole.size())
        continue;  // one release is as good as the next
      std::filesystem::remove_all(b.Files.Output(""));
      b.Record.Fail = [place](const std::string&, size_t call) { return call == place ? 700 : 0; };
      const RunOutcome outcome = b.Adjust(GetParam());
      const bool behind = place + behindResults >= whole.size();
      EXPECT_EQ(outcome.bDone, behind) << place << ' ' << whole[place];
      EXPECT_EQ(HasResults(b.Files), behind) << place << ' ' << whole[place];
      EXPECT_EQ(outcome.nOutputFailureNum, 0) << place;
      EXPECT_EQ(b.Logged("made up reason 700 (700). The run ends without results.\n"), !behind) << place;
      EXPECT_TRUE(b.Logged(">>Elapsed time:")) << place;
      for (size_t k = behind ? b.Record.Calls.size() : place + 1; k < b.Record.Calls.size(); ++k)
        EXPECT_TRUE(b.Record.Calls[k].starts_with("Free")) << "nothing is asked of it any more: " << k;
    }
  }
}

TEST_P(Failures, ADeviceThatDies) {
  RecordedBlock b(kEopIop);
  b.Record.Fail = FailAt("Launch ConstVector", 0, 719, true);
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Cuda device 0:719 Compute sum matrix failed!\n"));
}

TEST_P(Failures, Plans) {
  RecordedBlock b(kEopIop);
  b.Record.Devices = {GoodDevice(), GoodDevice()};
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Error!Unexpected image point number!\nCompute GPU section info failed!\n>>Elapsed"))
      << b.Log();
  b.Record.Devices = {GoodDevice()};
  b.Run.Options.nDeviceMemory = 1000;
  EXPECT_FALSE(b.Adjust(GetParam()).bDone);
  EXPECT_TRUE(b.Logged("Available GPU device is none!\nCompute GPU section info failed!\n")) << b.Log();
  EXPECT_EQ(b.Record.Count("Malloc 1040"), 0u);
}

TEST_P(Failures, ResidualsThatCantBeHadEndTheRun) {
  RecordedBlock b(kEopIop);
  b.Record.Fail = FailAt(Call("ToHost", (Literal() ? 16 : 8) * b.ImagePoints()), 0, 3);
  const RunOutcome outcome = b.Adjust(GetParam());
  EXPECT_FALSE(outcome.bDone);
  EXPECT_EQ(outcome.nOutputFailureNum, 0) << "no disk is full";
  EXPECT_TRUE(b.Logged("Cuda residuals can't be fetched:3!\nError!The device failed in copying ")) << b.Log();
  EXPECT_FALSE(Exists(b.Files.Output("Residuals_0_0.res")));
}

INSTANTIATE_TEST_SUITE_P(Forms, Failures, ::testing::Values(KernelForm::Literal, KernelForm::Fast),
                         [](const auto& parameter) {
                           return parameter.param == KernelForm::Literal ? "Literal" : "Fast";
                         });

TEST(LiteralFailures, TailRecordsMustBeClear) {
  RecordedBlock b(kEopIop);
  b.Record.Fail = FailAt("Clear 5120", 1, 9);
  EXPECT_FALSE(b.Adjust(KernelForm::Literal).bDone);
  EXPECT_TRUE(b.Logged("Cuda memory allocating failed:cupTR 9!\n"));
}

/// Many points of every type, so that the refresh is done in several pieces.
TEST(RefreshObjectArray, UploadsWhatTheFirstUploadDid) {
  for (const KernelForm form : {KernelForm::Literal, KernelForm::Fast}) {
    CBundleAdjustment block(MadeUpPlatform(1 << 30, 3), nullptr);
    gpu::GpuState& state = block.Gpu();
    state.pDevice = gpu::MakeHostDevice(int64_t{1} << 30, 2, gpu::kLiteralKernels);
    state.pDeviceProps = {GoodDevice()};
    state.Form = form;
    block.Images.nImageNum = block.Images.nUnknownImageNum = 2;
    block.Cameras.nCameraNum = 1;
    block.Unknowns.nUnknownNum = 17;
    block.Unknowns.nDiagUpperSize = 57;
    block.Images.pEop.resize(2);
    block.Cameras.pIop.resize(1);
    for (int32_t i = 0; i < 50000; ++i) {
      ObjectPointRecord point;
      point.X = 0.5 * i;
      point.Y = -i;
      point.Z = 3.25;
      point.nType = i % 7 == 3 ? 4 : i % 11 == 0 ? 1 : 0;
      point.nImagePointNum = 1;
      point.nFirstImagePoint = i;
      block.Points.pObjectPoints.push_back(point);
      block.Points.pImagePoints.push_back({i % 2, 0, i, 0.0f, 0.0f});
      if (point.nType != 0 && i < 40000) {
        point.Z = 0.125 * i;
        block.Points.pGcpTable.push_back(point);
      }
    }
    block.Points.Sections.ObjectPoints = {{0, 49999}};
    block.Points.Sections.ImagePoints = {{0, 49999}};
    ASSERT_EQ(block.ComputeGpuSections(0), 1);
    ASSERT_EQ(block.AllocFixedDeviceMemory(), 1);
    ASSERT_EQ(block.AllocPointDeviceMemory(0), 1);
    const auto download = [&] {
      std::vector<float> points(12 * 50000);
      EXPECT_EQ(state.pDevice->CopyToHost(points.data(), state.Arrays.cupObjPt, points.size() * 4), 0);
      return points;
    };
    const std::vector<float> first = download();
    ASSERT_EQ(state.pDevice->Clear(state.Arrays.cupObjPt, first.size() * 4), 0);
    EXPECT_EQ(block.RefreshObjectArray(0), 1);
    EXPECT_EQ(download(), first);
    block.Points.pObjectPoints[49998].X = 7;
    EXPECT_EQ(block.RefreshObjectArray(0), 1);
    EXPECT_NE(download(), first);
    EXPECT_EQ(block.FreePointDeviceMemory(), 1);
    EXPECT_EQ(block.FreeFixedDeviceMemory(), 1);
  }
}

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
