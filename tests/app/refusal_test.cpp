// Runs of the front end over inputs that don't fit: exit code, words, and that nothing is touched.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "orvo/OrvoMain.h"
#include "support/Block.h"
#include "support/Console.h"

namespace orvo::test {
namespace {

struct Ended {
  int nExit = -1;
  std::string szOut, szErr;
};

SyntheticOptions Tiny() {
  SyntheticOptions options;
  options.nStrips = 1;
  options.nImagesPerStrip = 4;
  options.nControlPoints = 4;
  options.fMeasurementsPerImage = 20;
  return options;
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

class Refusal : public ::testing::Test {
 protected:
  Refusal() : block(Tiny()), szOut(block / "out") {}

  Ended Adjust(std::vector<std::string> more, bool binary = false) {
    const std::string project = binary ? block.Paths().szOvc : block.Paths().szText;
    more.insert(more.begin(), {"orvo", "adjust", project, "--out", szOut});
    std::vector<const char*> argv;
    for (const std::string& argument : more) argv.push_back(argument.c_str());
    Console out, err;
    FrontEnd frontEnd;
    frontEnd.System = MadeUpPlatform(int64_t{1} << 30, 2);
    frontEnd.fOut = out.Stream();
    frontEnd.fErr = err.Stream();
    Ended ended;
    ended.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
    ended.szOut = out.Text();
    ended.szErr = err.Text();
    return ended;
  }
  /// Refused with these words, before the folder was made.
  void ExpectRefused(const std::vector<std::string>& arguments, const std::string& words,
                     bool binary = false) {
    const Ended ended = Adjust(arguments, binary);
    EXPECT_EQ(ended.nExit, 1) << words;
    EXPECT_NE(ended.szErr.find(words), std::string::npos) << ended.szErr;
    EXPECT_NE(ended.szErr.find("orvo adjust: nothing was computed"), std::string::npos) << ended.szErr;
    EXPECT_FALSE(Exists(szOut)) << words;
  }
  void Append(const std::string& path, const std::string& text) { WriteFile(path, ReadFile(path) + text); }
  void Cut(const std::string& path) {
    const std::string good = ReadFile(path);
    WriteFile(path, good.substr(0, good.size() * 3 / 4));
  }

  Block block;
  std::string szOut;
};

TEST_F(Refusal, SoundInputsPass) {
  const Ended ended = Adjust({"--gcp", block.Paths().szGcp});
  EXPECT_EQ(ended.nExit, 0) << ended.szErr;
  EXPECT_EQ(ended.szErr, "");
  EXPECT_EQ(ended.szOut.find("note:"), std::string::npos) << ended.szOut;
}

TEST_F(Refusal, SmallFilesMakeNoFolder) {
  const SyntheticPaths& files = block.Paths();
  ExpectRefused({"--pos", files.szPos}, files.szPos + ": error: the POS file is not used");
  WriteFile(block / "gcp.txt", "# control\n0\n");
  ExpectRefused({"--gcp", block / "gcp.txt"}, block / "gcp.txt" + std::string(":1: error: "));
  WriteFile(block / "s.xml", "<A>\n<B>\n</A>\n");
  ExpectRefused({"--settings", block / "s.xml"}, "s.xml:3: error: the file is no XML");
  WriteFile(block / "s.ini", "");
  ExpectRefused({"--settings", block / "s.ini"}, "s.ini: error: no line sets anything.");
  Append(files.szOvt, "x");
  ExpectRefused({}, files.szOvt + ": error: ", true);
  Append(files.szOvc, "x\n");
  ExpectRefused({}, "stands behind the last image", true);
  block.Set("Apply_GPS_Data", "true");
  ExpectRefused({}, files.szXml + ": error: Apply_GPS_Data or Apply_IMU_Data is on");
  WriteFile(files.szPos, "IMG 1 2 3 4 5 6 1\n");
  ExpectRefused({"--pos", files.szPos}, "no image of the project has a line");
}

TEST_F(Refusal, WhatIsNoFileIsRefused) {
  for (const char* option : {"--pos", "--settings"})
    ExpectRefused({option, "/dev/null"}, "/dev/null: error: it is no plain file");
  // What every run reads twice is found out before anything else.
  const Ended ended = Adjust({"--gcp", "/dev/null"});
  EXPECT_EQ(ended.nExit, 1);
  EXPECT_NE(ended.szErr.find("the GCP file /dev/null can't be read: "), std::string::npos) << ended.szErr;
}

TEST_F(Refusal, UnusedPosDataCanBeIgnored) {
  const SyntheticPaths& files = block.Paths();
  EXPECT_EQ(Adjust({"--gcp", files.szGcp, "--pos", files.szPos, "--ignore-unused"}).nExit, 0);
  block.Set("Apply_GPS_Data", "true");
  EXPECT_EQ(Adjust({"--gcp", files.szGcp, "--ignore-unused"}).nExit, 0);
}

TEST_F(Refusal, BrokenPointsLeaveEarlierResultsAlone) {
  const SyntheticPaths& files = block.Paths();
  ASSERT_EQ(Adjust({"--gcp", files.szGcp}).nExit, 0);
  std::vector<std::string> names = FilesIn(szOut);
  names.push_back("failed");
  std::ranges::sort(names);
  const std::string result = ReadFile(JoinPath(szOut, "OrvoResult.ovc"));
  const std::string good = ReadFile(files.szText);
  for (const char* mode : {"", "Direct_Intersection", "Absolute_Orientation", "Resampling_Points"}) {
    if (*mode != '\0') block.Set(mode, "true");
    for (const std::string& text : {good.substr(0, good.size() * 9 / 10), good + "0 1 2\n"}) {
      WriteFile(files.szText, text);
      for (const char* device : {"cpu", "host"}) {
        // Without the reading beforehand, so that the run itself finds it.
        const Ended ended = Adjust({"--gcp", files.szGcp, "--device", device, "--no-check"});
        EXPECT_EQ(ended.nExit, 1) << mode << device;
        EXPECT_EQ(ended.szErr.substr(0, files.szText.size() + 1), files.szText + ":") << ended.szErr;
        EXPECT_EQ(FilesIn(szOut), names) << mode << device;
        EXPECT_EQ(ReadFile(JoinPath(szOut, "OrvoResult.ovc")), result) << mode << device;
        const std::string first = ended.szErr.substr(0, ended.szErr.find('\n') + 1);
        EXPECT_NE(ReadFile(JoinPath(szOut, "log.txt")).find(first), std::string::npos) << first;
      }
    }
    if (*mode != '\0') block.Set(mode, "false");
  }
}

TEST_F(Refusal, BrokenBlocksAreRefusedBeforeTheRun) {
  const SyntheticPaths& files = block.Paths();
  const std::string good = ReadFile(files.szText);
  WriteFile(files.szText, good + "0 1 2\n");
  ExpectRefused({"--gcp", files.szGcp}, "'0 1 2' stands behind the last of ");
  ExpectRefused({"--gcp", files.szGcp}, "[S012]\n");
  WriteFile(files.szText, good.substr(0, good.size() * 9 / 10));
  ExpectRefused({"--gcp", files.szGcp}, "[S011]\n");
  WriteFile(files.szText, good);
  EXPECT_EQ(Adjust({"--gcp", files.szGcp}).nExit, 0);
}

TEST_F(Refusal, ATextProjectInSectionsIsRefused) {
  std::vector<std::string> arguments{"--gcp", block.Paths().szGcp, "--memory", "3K"};
  const Ended ended = Adjust(arguments);
  EXPECT_EQ(ended.nExit, 1);
  EXPECT_NE(ended.szErr.find("does not fit into the memory at once"), std::string::npos) << ended.szErr;
  EXPECT_EQ(FilesIn(szOut), (std::vector<std::string>{"failed", "log.txt"}));
}

TEST_F(Refusal, NoNameReachesTheConsoleRaw) {
  const SyntheticPaths& files = block.Paths();
  const std::string evil = "\x1b[2J\x07";
  const auto expectClean = [](const Ended& ended) {
    for (const std::string& text : {ended.szOut, ended.szErr}) {
      for (const char c : text)
        EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t') << text;
    }
  };
  block.Set("Apply_GPS_Data", "true");
  Append(files.szPos, evil + " 1 2 3 4 5 6 1\n");
  Ended ended = Adjust({"--gcp", files.szGcp, "--pos", files.szPos, "--log"});
  EXPECT_EQ(ended.nExit, 0) << ended.szErr;
  EXPECT_NE(ended.szOut.find("project file:\\x1b[2J\\x07\n"), std::string::npos) << ended.szOut;
  expectClean(ended);
  expectClean(Adjust({"--gcp", files.szGcp, "--pos", files.szPos}));
  const std::string log = ReadFile(JoinPath(szOut, "log.txt"));
  EXPECT_EQ(log.find(evil), std::string::npos);

  Append(files.szPos, evil + evil + "\n");
  ended = Adjust({"--gcp", files.szGcp, "--pos", files.szPos});
  EXPECT_EQ(ended.nExit, 1);
  expectClean(ended);
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--gcp", evil},
                                                    {"--settings", evil},
                                                    {evil},
                                                    {"--" + evil},
                                                    {"--device", evil}}) {
    ended = Adjust(arguments);
    EXPECT_NE(ended.nExit, 0);
    EXPECT_NE(ended.szErr.find("\\x1b[2J\\x07"), std::string::npos) << ended.szErr;
    expectClean(ended);
  }
  szOut = block / ("out" + evil);
  block.Set("Apply_GPS_Data", "false");
  ended = Adjust({"--gcp", files.szGcp});
  EXPECT_EQ(ended.nExit, 0) << ended.szErr;
  EXPECT_NE(ended.szOut.find("out\\x1b[2J\\x07/report.html\n"), std::string::npos) << ended.szOut;
  expectClean(ended);
}

}  // namespace
}  // namespace orvo::test
