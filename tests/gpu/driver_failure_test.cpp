// How a run on the device path ends when something fails.
#include <gtest/gtest.h>

#include <filesystem>

#include "RecordedBlock.h"

namespace orvo::test {
namespace {

using gpu::KernelForm;

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
  RunOutcome outcome = b.Adjust(GetParam());
  EXPECT_FALSE(outcome.bDone);
  EXPECT_EQ(outcome.nDeviceNum, 2) << "the front end names the remedy";
  EXPECT_TRUE(b.Logged("Error!Unexpected image point number!\nCompute GPU section info failed!\n>>Elapsed"))
      << b.Log();
  // A second one that can't be used is in nobody's way.
  b.Record.Devices[1].sharedMemPerBlock = 16384;
  outcome = b.Adjust(GetParam());
  EXPECT_TRUE(outcome.bDone) << b.Log();
  EXPECT_EQ(outcome.nDeviceNum, 1);
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

}  // namespace
}  // namespace orvo::test
