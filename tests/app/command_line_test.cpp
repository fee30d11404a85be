// Argument lists of the front end, what they make of a run, and exit codes.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "app/ProgramPath.h"
#include "orvo/OrvoMain.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

/// What a run was asked to do.
struct AskedRun {
  RunPaths Paths;
  RunOptions Options;
  int nProcessors = 0;
  int64_t nFreeBytes = 0;
};

struct Ended {
  int nExit = -1;
  std::string szOut, szErr;
  std::optional<AskedRun> Asked;
};

std::string Drain(std::FILE* file) {
  std::rewind(file);
  std::string text;
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
  std::fclose(file);
  return text;
}

using MakeDevice = std::function<std::unique_ptr<gpu::Device>()>;

/// A device with this much memory, or none with 0.
MakeDevice DeviceOf(int64_t bytes) {
  return [bytes] { return bytes > 0 ? gpu::MakeHostDevice(bytes, 1) : nullptr; };
}

/// The front end on a machine of 3 processors, 777 free bytes and a device of 2 GB, unless told otherwise.
/// Without an outcome the run is a real one. The files are checked with `checked` only.
Ended Call(const std::vector<std::string>& arguments,
           std::optional<RunOutcome> outcome = RunOutcome{true, 0, ""},
           const MakeDevice& device = DeviceOf(int64_t{2} << 30), bool checked = false) {
  std::vector<const char*> argv{"/nowhere/orvo"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  Ended ended;
  FrontEnd frontEnd;
  frontEnd.System = MadeUpPlatform(777, 3);
  frontEnd.MakeDevice = device;
  if (!checked) {
    frontEnd.Check = [](const RunPaths&, bool, Overrides) { return std::vector<Finding>(); };
    frontEnd.Diagnose = [](const RunPaths&, DiagnosisScope, const Platform&, Diagnosis&, Overrides) {};
  }
  frontEnd.fOut = std::tmpfile();
  frontEnd.fErr = std::tmpfile();
  if (outcome) {
    frontEnd.Adjust = [&](RunPaths paths, const Platform& platform, std::FILE*, const RunOptions& options) {
      ended.Asked = {std::move(paths), options, platform.ProcessorCount(), platform.FreePhysicalBytes()};
      return *outcome;
    };
  }
  ended.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  ended.szOut = Drain(frontEnd.fOut);
  ended.szErr = Drain(frontEnd.fErr);
  return ended;
}

/// A folder with files that can be read; nothing of their content matters to the front end.
class CommandLine : public ::testing::Test {
 protected:
  CommandLine() {
    for (const char* name : {"b.prj", "b.ovc", "b.ovt", "gcp.txt", "pos.txt", "set.xml", "lone.ovc"}) {
      WriteFile(Folder / name, "1\n");
    }
  }
  std::string In(const std::string& name) const { return Folder / name; }
  ScratchFolder Folder;
};

/// A command line and its exit code.
struct ExitRow {
  std::vector<std::string> arguments;
  int nExit;
};

/// Something is told on standard error exactly where the code is another than 0.
void ExpectExit(const ExitRow& row) {
  const Ended ended = Call(row.arguments);
  std::string line = "orvo";
  for (const std::string& argument : row.arguments) line += " '" + argument + "'";
  EXPECT_EQ(ended.nExit, row.nExit) << line << "\n" << ended.szErr;
  EXPECT_EQ(ended.szErr.empty(), row.nExit == 0) << line << "\n" << ended.szErr;
}

TEST_F(CommandLine, ExitCodes) {
  const std::string prj = In("b.prj"), out = In("out");
  const ExitRow rows[] = {
      {{}, 2},
      {{"--help"}, 0},
      {{"-h"}, 0},
      {{"--version"}, 0},
      {{"adjust", "--help"}, 0},
      {{"generate", "--help"}, 0},
      {{"check"}, 2},
      {{"--nonsense"}, 2},
      {{"adjust"}, 2},
      {{"adjust", prj}, 0},
      {{"adjust", prj, "--out", out}, 0},
      {{"adjust", prj, "another"}, 2},
      {{"adjust", prj, "--out"}, 2},
      {{"adjust", prj, "--nonsense"}, 2},
      {{"adjust", prj, "--processors", "1"}, 0},
      {{"adjust", prj, "--processors", "0"}, 2},
      {{"adjust", prj, "--processors", "-2"}, 2},
      {{"adjust", prj, "--processors", "two"}, 2},
      {{"adjust", prj, "--processors", "1.5"}, 2},
      {{"adjust", prj, "--processors", "99999999999999999999"}, 2},
      {{"adjust", prj, "--processors"}, 2},
      {{"adjust", prj, "--memory", "200K"}, 0},
      {{"adjust", prj, "--memory", "1.5G"}, 0},
      {{"adjust", prj, "--memory", "64M"}, 0},
      {{"adjust", prj, "--memory", "64"}, 0},
      {{"adjust", prj, "--memory", "64Q"}, 2},
      {{"adjust", prj, "--memory", "-1"}, 2},
      {{"adjust", prj, "--memory", "0"}, 2},
      {{"adjust", prj, "--memory", ""}, 2},
      {{"adjust", prj, "--device", "cpu"}, 0},
      {{"adjust", prj, "--device", "cuda"}, 0},
      {{"adjust", prj, "--device", "host"}, 0},
      {{"adjust", prj, "--device", "tpu"}, 2},
      {{"adjust", prj, "--device", "host", "--kernels", "literal"}, 0},
      {{"adjust", prj, "--kernels", "fast"}, 0},
      {{"adjust", prj, "--kernels", "quick"}, 2},
      {{"adjust", prj, "--device-memory", "1.5G"}, 0},
      {{"adjust", prj, "--device-memory", "0"}, 2},
      {{"adjust", prj, "--device-memory", "much"}, 2},
      {{"adjust", In("b.ovc"), "--gcp", In("gcp.txt"), "--pos", In("pos.txt"), "--settings", In("set.xml")},
       0},
      {{"adjust", In("missing.prj")}, 1},
      {{"adjust", Folder.Path()}, 1},
      {{"adjust", ""}, 1},
      {{"adjust", In("lone.ovc")}, 1},
      {{"adjust", prj, "--gcp", In("missing.txt")}, 1},
      {{"adjust", prj, "--pos", In("missing.txt")}, 1},
      {{"adjust", prj, "--settings", In("missing.xml")}, 1},
      {{"adjust", prj, "--gcp", Folder.Path()}, 1},
      {{"adjust", prj, "--out", In("gcp.txt")}, 1},
      {{"adjust", prj, "--out", In("gcp.txt/below")}, 1},
      {{"adjust", prj, "--out", In("new/with/parents")}, 0},
      {{"generate"}, 2},
      {{"generate", In("g1"), "--measurements", "10"}, 0},
      {{"generate", In("g2"), "--strips", "0"}, 2},
      {{"generate", In("g2"), "--strips", "many"}, 2},
      {{"generate", In("g2"), "--noise", "nan"}, 2},
      {{"generate", In("g2"), "--noise", "-1"}, 2},
      {{"generate", In("g2"), "--name", "a/b"}, 2},
      {{"generate", In("g2"), "--forms", "prj,dwg"}, 2},
      {{"generate", In("gcp.txt")}, 1},
      {{"generate", In("gcp.txt/below")}, 1},
      {{"generate", In("g3"), "--forms", "ovc,gcp", "--frame-shift-x", "-1e4", "--k1", "-1e-10"}, 0},
  };
  for (const ExitRow& row : rows) ExpectExit(row);
  EXPECT_FALSE(Exists(In("g2"))) << "wrong usage leaves nothing behind";
}

TEST_F(CommandLine, ExitCodesOfTheConsole) {
  const std::string prj = In("b.prj");
  const ExitRow rows[] = {
      {{"adjust", prj, "--log"}, 0},
      {{"adjust", prj, "--quiet"}, 0},
      {{"adjust", prj, "--quiet", "--log"}, 2},
      {{"adjust", prj, "--progress", "auto"}, 0},
      {{"adjust", prj, "--progress", "none"}, 0},
      {{"adjust", prj, "--progress", "dots"}, 2},
      {{"adjust", prj, "--progress"}, 2},
  };
  for (const ExitRow& row : rows) ExpectExit(row);
}

TEST_F(CommandLine, HelpAndVersionGoToTheConsole) {
  EXPECT_TRUE(Call({"--version"}).szOut.starts_with("orvo " ORVO_TEST_VERSION "\n"));
  const std::string adjust = Call({"adjust", "--help"}).szOut;
  for (const char* option : {"PROJECT", "--gcp", "--pos", "--settings", "--out", "--processors", "--memory",
                             "--device", "--kernels", "--device-memory", "--log", "--quiet", "--progress"}) {
    EXPECT_NE(adjust.find(option), std::string::npos) << option;
  }
  const std::string generate = Call({"generate", "--help"}).szOut;
  for (const SyntheticOption& option : SyntheticOptionTable()) {
    EXPECT_NE(generate.find(std::string("--") + option.szName + " "), std::string::npos) << option.szName;
    EXPECT_NE(generate.find(option.szUnit), std::string::npos) << option.szName;
  }
}

TEST_F(CommandLine, MisspeltNamesGetTheNearest) {
  const struct {
    std::vector<std::string> arguments;
    std::string szErr;
  } rows[] = {
      {{"ajust"},
       "orvo: there is no command 'ajust'; did you mean 'adjust'?\nRun with --help for more information.\n"},
      {{"chekc", In("b.prj"), "--gcp", "x"},
       "orvo: there is no command 'chekc'; did you mean 'check'?\nRun with --help for more information.\n"},
      {{"Generate", "x"},
       "orvo: there is no command 'Generate'; did you mean 'generate'?\nRun with --help for more "
       "information.\n"},
      {{"solve"}, "orvo: there is no command 'solve'\nRun with --help for more information.\n"},
      {{"a\x1bust"},
       "orvo: there is no command 'a\\x1bust'; did you mean 'adjust'?\n"
       "Run with --help for more information.\n"},
      {{"adjust", In("b.prj"), "--gpc", "x"},
       "Did you mean --gcp?\nThe following arguments were not expected: x --gpc\n"
       "Run with --help for more information.\n"},
      {{"adjust", In("b.prj"), "--procesors=3"},
       "Did you mean --processors?\nThe following argument was not expected: --procesors=3\n"
       "Run with --help for more information.\n"},
      {{"adjust", In("b.prj"), "--nonsense"},
       "The following argument was not expected: --nonsense\nRun with --help for more information.\n"}};
  for (const auto& row : rows) {
    const Ended ended = Call(row.arguments);
    EXPECT_EQ(ended.nExit, 2);
    EXPECT_EQ(ended.szErr, row.szErr);
    EXPECT_EQ(ended.szOut, "");
    EXPECT_FALSE(ended.Asked);
  }
}

TEST_F(CommandLine, EverythingNamedReachesTheRun) {
  const Ended ended =
      Call({"adjust",          In("b.ovc"),   "--gcp",    In("gcp.txt"),  "--pos",        In("pos.txt"),
            "--settings",      In("set.xml"), "--out",    In("deep/out"), "--processors", "9",
            "--memory",        "200K",        "--device", "host",         "--kernels",    "literal",
            "--device-memory", "3M"});
  ASSERT_TRUE(ended.Asked) << ended.szErr;
  EXPECT_EQ(ended.Asked->Paths.szProject, In("b.ovc"));
  EXPECT_EQ(ended.Asked->Paths.szGcp, In("gcp.txt"));
  EXPECT_EQ(ended.Asked->Paths.szPos, In("pos.txt"));
  EXPECT_EQ(ended.Asked->Paths.szSettings, In("set.xml"));
  EXPECT_EQ(ended.Asked->Paths.szOutput, In("deep/out"));
  EXPECT_TRUE(std::filesystem::is_directory(In("deep/out")));
  EXPECT_EQ(ended.Asked->nProcessors, 9);
  EXPECT_EQ(ended.Asked->nFreeBytes, 200 * 1024);
  EXPECT_EQ(ended.Asked->Options.At, DeviceChoice::Host);
  EXPECT_EQ(ended.Asked->Options.Kernels, gpu::KernelForm::Literal);
  EXPECT_EQ(ended.Asked->Options.nDeviceMemory, 3 << 20);
  EXPECT_NE(ended.szOut.find("Settings: " + In("set.xml") + "\n"), std::string::npos) << ended.szOut;
  EXPECT_NE(ended.szOut.find("Report: " + In("deep/out/report.html") + "\n"), std::string::npos)
      << ended.szOut;
}

TEST_F(CommandLine, WithoutOptionsTheMachineAndTheProjectDecide) {
  const Ended ended = Call({"adjust", In("b.prj")});
  ASSERT_TRUE(ended.Asked) << ended.szErr;
  EXPECT_EQ(ended.Asked->Paths.szGcp, "");
  EXPECT_EQ(ended.Asked->Paths.szPos, "");
  EXPECT_EQ(ended.Asked->Paths.szOutput, In("OrvoBundleResult"));
  EXPECT_EQ(ended.Asked->nProcessors, 3);
  EXPECT_TRUE(ended.Asked->Options.bAllProcessors);
  EXPECT_EQ(ended.Asked->nFreeBytes, 777);
  EXPECT_EQ(ended.Asked->Options.At, DeviceChoice::FromSettings);
  EXPECT_EQ(ended.Asked->Options.Kernels, gpu::KernelForm::Fast);
  EXPECT_EQ(ended.Asked->Options.nDeviceMemory, 0);
  EXPECT_EQ(ended.Asked->Paths.szSettings, "");
  EXPECT_NE(ended.szOut.find("Settings: built-in defaults"), std::string::npos) << ended.szOut;
}

TEST_F(CommandLine, SettingsBesideTheProjectAreFound) {
  WriteFile(In("AdjPara.ini"), "Apply_GPU:0\n");
  EXPECT_EQ(Call({"adjust", In("b.prj")}).Asked->Paths.szSettings, In("AdjPara.ini"));
  WriteFile(In("AdjPara.xml"), "");
  const Ended ended = Call({"adjust", In("b.prj")});
  EXPECT_EQ(ended.Asked->Paths.szSettings, In("AdjPara.xml"));
  EXPECT_NE(ended.szOut.find("Settings: " + In("AdjPara.xml") + "\n"), std::string::npos);
  EXPECT_EQ(Call({"adjust", In("b.prj"), "--settings", In("set.xml")}).Asked->Paths.szSettings,
            In("set.xml"));
}

TEST_F(CommandLine, AProjectWithoutFolderHasItsResultsBesideIt) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(Folder.Path());
  WriteFile(In("AdjPara.xml"), "");
  const Ended ended = Call({"adjust", "b.prj"});
  std::filesystem::current_path(before);
  ASSERT_TRUE(ended.Asked) << ended.szErr;
  EXPECT_EQ(ended.Asked->Paths.szOutput, "./OrvoBundleResult");
  EXPECT_EQ(ended.Asked->Paths.szSettings, "./AdjPara.xml");
  EXPECT_TRUE(std::filesystem::is_directory(In("OrvoBundleResult")));
}

TEST_F(CommandLine, RefusalsNameFileAndRemedyAndStartNothing) {
  const struct {
    std::vector<std::string> arguments;
    std::string szNamed, szRemedy;
  } rows[] = {
      {{In("missing.prj")}, In("missing.prj"), "check its path"},
      {{In("lone.ovc")}, In("lone.ovt"), "beside it"},
      {{In("b.prj"), "--gcp", In("no.txt")}, In("no.txt"), "check its path"},
      {{In("b.prj"), "--pos", In("no.txt")}, In("no.txt"), "check its path"},
      {{In("b.prj"), "--settings", In("no.xml")}, In("no.xml"), "check its path"},
      {{In("b.prj"), "--gcp", Folder.Path()}, Folder.Path(), "it is a folder"},
      {{In("b.prj"), "--gcp", "/dev/null"}, "/dev/null", "it is no file on a disk"},
      {{In("b.prj"), "--out", In("gcp.txt/x")}, In("gcp.txt/x"), "--out"},
  };
  for (auto row : rows) {
    row.arguments.insert(row.arguments.begin(), "adjust");
    const Ended ended = Call(row.arguments);
    EXPECT_EQ(ended.nExit, 1);
    EXPECT_FALSE(ended.Asked);
    EXPECT_NE(ended.szErr.find(row.szNamed), std::string::npos) << ended.szErr;
    EXPECT_NE(ended.szErr.find(row.szRemedy), std::string::npos) << ended.szErr;
  }
  EXPECT_FALSE(Exists(In("OrvoBundleResult"))) << "a refused run makes no folder";
}

TEST_F(CommandLine, AFailedRunGivesOne) {
  const Ended failed = Call({"adjust", In("b.prj")}, RunOutcome{false, 0, ""});
  EXPECT_EQ(failed.nExit, 1);
  EXPECT_NE(failed.szErr.find("log.txt"), std::string::npos);
  EXPECT_EQ(failed.szOut.find("Report:"), std::string::npos);
  const Ended unread = Call({"adjust", In("b.prj")}, RunOutcome{false, 0, "", "can't read it: no reason"});
  EXPECT_EQ(unread.nExit, 1);
  EXPECT_EQ(unread.szErr, "orvo adjust: can't read it: no reason\n");
  const Ended cut = Call({"adjust", In("b.prj")}, RunOutcome{true, 2, ""});
  EXPECT_EQ(cut.nExit, 1);
  EXPECT_NE(cut.szErr.find("2 output files"), std::string::npos) << cut.szErr;
}

TEST_F(CommandLine, SeveralDevicesAreTold) {
  for (const int devices : {0, 1, 2, 8}) {
    RunOutcome outcome{false, 0, ""};
    outcome.nDeviceNum = devices;
    const Ended ended = Call({"adjust", In("b.prj")}, outcome);
    EXPECT_EQ(ended.nExit, 1);
    EXPECT_NE(ended.szErr.find("log.txt, say why"), std::string::npos) << ended.szErr;
    const bool told = ended.szErr.find("say why; there are " + std::to_string(devices) +
                                       " CUDA devices here, and a run takes one: choose it by "
                                       "CUDA_VISIBLE_DEVICES=0 in the environment, or use --device cpu") !=
                      std::string::npos;
    EXPECT_EQ(told, devices > 1) << ended.szErr;
    EXPECT_EQ(ended.szErr.find("CUDA_VISIBLE_DEVICES") != std::string::npos, devices > 1) << ended.szErr;
  }
}

TEST_F(CommandLine, RubbishIsRefusedBeforeAnythingIsMade) {
  const Ended ended = Call({"adjust", In("b.prj")}, std::nullopt, {}, true);
  EXPECT_EQ(ended.nExit, 1) << ended.szOut;
  EXPECT_NE(ended.szErr.find(In("b.prj") + ":1: error: '1' are not the counts of a project."),
            std::string::npos)
      << ended.szErr;
  EXPECT_FALSE(Exists(In("OrvoBundleResult")));
}

TEST_F(CommandLine, TheVerdictDecidesTheExitCode) {
  const struct {
    Grade Result;
    bool bStrict;
    int nExit;
  } rows[] = {{Grade::Good, false, 0},    {Grade::Good, true, 0},      {Grade::Doubtful, false, 0},
              {Grade::Doubtful, true, 3}, {Grade::Unusable, false, 3}, {Grade::Unusable, true, 3}};
  for (const auto& row : rows) {
    RunOutcome outcome{true, 0, ""};
    outcome.Judgement.bJudged = true;
    outcome.Judgement.Result = row.Result;
    outcome.Judgement.vReasons = {{row.Result, "what was found", "5 px", "What to do"}};
    std::vector<std::string> arguments = {"adjust", In("b.prj")};
    if (row.bStrict) arguments.push_back("--strict");
    const Ended ended = Call(arguments, outcome);
    EXPECT_EQ(ended.nExit, row.nExit);
    const std::string grade = GradeName(row.Result);
    EXPECT_NE(ended.szOut.find("\nVerdict: " + grade + "\n" + grade +
                               ": what was found; limit 5 px. What to do.\n"),
              std::string::npos)
        << ended.szOut;
  }
}

TEST_F(CommandLine, ARealRunOverRubbishFails) {
  const Ended ended = Call({"adjust", In("b.prj"), "--log"}, std::nullopt);
  EXPECT_EQ(ended.nExit, 1) << ended.szOut;
  EXPECT_NE(ended.szOut.find(">>Elapsed time:"), std::string::npos) << ended.szOut;
  EXPECT_TRUE(Exists(In("OrvoBundleResult/log.txt")));
}

/// A device with a watchdog, or without any device behind its driver.
class UnusableDevice final : public gpu::Device {
 public:
  explicit UnusableDevice(bool watchdog) : bWatchdog(watchdog) {}
  int GetDeviceCount(int32_t& count) override {
    count = bWatchdog ? 1 : 0;
    return 0;
  }
  int GetProperties(int32_t, gpu::DeviceProperties& properties) override {
    properties = {"Watched", uint64_t{4} << 30, 49152, 65536, 7, 5, 1};
    return 0;
  }
  int SetDevice(int32_t) override { return 1; }
  int Malloc(void*&, size_t) override { return 1; }
  int Free(void*) override { return 1; }
  int CopyToDevice(void*, const void*, size_t) override { return 1; }
  int CopyToHost(void*, const void*, size_t) override { return 1; }
  int Clear(void*, size_t) override { return 1; }
  int Launch(const gpu::KernelCall&) override { return 1; }

 private:
  bool bWatchdog;
};

TEST_F(CommandLine, DevicesThatCantBeUsedAreRefused) {
  const auto unusable = [](bool watchdog) {
    return
        [watchdog]() -> std::unique_ptr<gpu::Device> { return std::make_unique<UnusableDevice>(watchdog); };
  };
  const struct {
    const char* choice;
    MakeDevice device;
    const char* szNamed;
  } rows[] = {{"cuda", DeviceOf(0), "built without CUDA"},
              {"cuda", DeviceOf(1000), "1 GB of memory"},
              {"cuda", unusable(false), "there is no CUDA device"},
              {"cuda", unusable(true), "watchdog"},
              {"host", DeviceOf(1000), "1 GB of free memory"}};
  for (const auto& row : rows) {
    const Ended ended =
        Call({"adjust", In("b.prj"), "--device", row.choice}, RunOutcome{true, 0, ""}, row.device);
    EXPECT_EQ(ended.nExit, 1) << row.szNamed;
    EXPECT_FALSE(ended.Asked);
    EXPECT_NE(ended.szErr.find(row.szNamed), std::string::npos) << ended.szErr;
    if (std::string(row.szNamed) != "watchdog") {
      EXPECT_NE(ended.szErr.find("--device cpu"), std::string::npos) << ended.szErr;
    }
  }
  EXPECT_FALSE(Exists(In("OrvoBundleResult"))) << "a refused run makes no folder";
}

TEST_F(CommandLine, DeviceOverridesTheSettings) {
  WriteFile(In("gpu.ini"), "Apply_GPU:1\n");
  WriteFile(In("cpu.ini"), "Apply_GPU:0\n");
  const auto log = [&](const char* settings, const char* choice, int64_t deviceBytes) {
    std::vector<std::string> arguments{"adjust",     In("b.prj"), "--log",  "--settings",
                                       In(settings), "--out",     In("out")};
    if (choice != nullptr) arguments.insert(arguments.end(), {"--device", choice});
    return Call(arguments, std::nullopt, DeviceOf(deviceBytes)).szOut;
  };
  const std::string none = ">>There is no device supporting CUDA, shift to CPU mode.\n";
  const std::string cpu = ">>Pre-reading data...\n", device = ">>Reading data...\n";
  const int64_t much = int64_t{2} << 30;
  EXPECT_NE(log("gpu.ini", nullptr, 0).find(none + cpu), std::string::npos);
  EXPECT_NE(log("gpu.ini", nullptr, 1000).find(none + cpu), std::string::npos);
  EXPECT_NE(log("gpu.ini", nullptr, much).find(device), std::string::npos);
  EXPECT_EQ(log("gpu.ini", "cpu", much).find("device"), std::string::npos);
  EXPECT_NE(log("gpu.ini", "cpu", much).find(cpu), std::string::npos);
  EXPECT_EQ(log("cpu.ini", nullptr, much).find(device), std::string::npos);
  EXPECT_NE(log("cpu.ini", "host", much).find(device), std::string::npos);
  EXPECT_NE(log("cpu.ini", "cuda", much).find(device), std::string::npos);
}

TEST_F(CommandLine, GenerateWritesWhatItSays) {
  const Ended ended = Call({"generate", In("gen/deep"), "--name", "my", "--forms", "ovc,gcp,truth", "--seed",
                            "9", "--strips", "2", "--random-order", "--cameras", "0", "--noise", "0.25"});
  ASSERT_EQ(ended.nExit, 0) << ended.szErr;
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(In("gen/deep"))) {
    files.push_back(entry.path().filename().string());
    EXPECT_NE(ended.szOut.find(entry.path().string() + "\n"), std::string::npos);
  }
  std::sort(files.begin(), files.end());
  EXPECT_EQ(files, (std::vector<std::string>{"my.ovc", "my.ovt", "my_gcp.txt", "truth.json"}));
  const std::string truth = ReadFile(In("gen/deep/truth.json"));
  for (const char* line : {"\"seed\": 9,", "\"strips\": 2,", "\"random-order\": true,", "\"cameras\": 0,",
                           "\"noise\": 0.25,", "\"images-per-strip\": 8,"}) {
    EXPECT_NE(truth.find(line), std::string::npos) << line;
  }
  EXPECT_NE(ended.szOut.find("Images: 16 in 2 strips, cameras: 16\n"), std::string::npos) << ended.szOut;
}

int Spawn(const std::string& arguments) {
  const int status = std::system((ProgramPath() + " " + arguments + " >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(CommandLine, TheProgramItselfGivesTheExitCodes) {
  EXPECT_EQ(Spawn("--version"), 0);
  EXPECT_EQ(Spawn("adjust"), 2);
  EXPECT_EQ(Spawn("adjust " + In("missing.prj")), 1);
  EXPECT_EQ(Spawn("generate " + In("g") + " --measurements 10"), 0);
  EXPECT_TRUE(Exists(In("g/block.ovt")));
}

}  // namespace
}  // namespace orvo::test
