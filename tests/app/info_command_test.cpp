// orvo info: exit codes, and which stream tells what.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "orvo/OrvoMain.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

struct Ended {
  int nExit = -1;
  std::string szOut, szErr;
};

std::string Drain(std::FILE* file) {
  std::rewind(file);
  std::string text;
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
  std::fclose(file);
  return text;
}

Ended Info(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{"/nowhere/orvo", "info"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  FrontEnd frontEnd;
  frontEnd.System = MadeUpPlatform(1 << 30, 3);
  frontEnd.fOut = std::tmpfile();
  frontEnd.fErr = std::tmpfile();
  Ended ended;
  ended.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  ended.szOut = Drain(frontEnd.fOut);
  ended.szErr = Drain(frontEnd.fErr);
  return ended;
}

TEST(InfoCommand, EndsByWhatItFinds) {
  const Block block;
  WriteFile(block / "odd", "nothing of ours\n");
  struct Case {
    std::vector<std::string> Arguments;
    int nExit;
    const char *szOut, *szErr;
  };
  const Case cases[] = {
      {{block.Paths().szText}, ExitDone, ": text project\n", ""},
      {{block.Paths().szOvc, block.Paths().szPos}, ExitDone, ": POS file\n", ""},
      {{block / "odd"}, ExitFailed, ": unknown\n", "odd: error: this is nothing that Orvo knows."},
      {{block / "odd", block.Paths().szText}, ExitFailed, ": text project\n", "nothing that Orvo knows"},
      {{block / "missing"}, ExitFailed, ": missing\n", "missing: error:"},
      {{}, ExitUsage, "", "PATH"},
      {{"--yaml", block / "odd"}, ExitUsage, "", "--yaml"},
  };
  for (const Case& each : cases) {
    const Ended ended = Info(each.Arguments);
    EXPECT_EQ(ended.nExit, each.nExit) << ended.szErr;
    EXPECT_NE(ended.szOut.find(each.szOut), std::string::npos) << ended.szOut;
    EXPECT_NE(ended.szErr.find(each.szErr), std::string::npos) << ended.szErr;
    EXPECT_EQ(ended.szErr.empty(), each.nExit == ExitDone) << ended.szErr;
  }
}

TEST(InfoCommand, WhatCantBeWrittenIsNotDone) {
  const Block block;
  const std::string path = block.Paths().szText;
  const char* const argv[] = {"/nowhere/orvo", "info", path.c_str()};
  FrontEnd frontEnd;
  frontEnd.fOut = std::fopen("/dev/full", "w");
  if (frontEnd.fOut == nullptr) GTEST_SKIP() << "there is no /dev/full";
  frontEnd.fErr = std::tmpfile();
  EXPECT_EQ(OrvoMain(3, argv, frontEnd), ExitFailed);
  EXPECT_EQ(Drain(frontEnd.fErr), "orvo: error: standard output can't be written\n");
  std::fclose(frontEnd.fOut);
}

TEST(InfoCommand, NeitherAreHelpAndVersion) {
  for (const std::vector<const char*>& argv :
       {std::vector<const char*>{"orvo", "--version"}, {"orvo", "--help"}, {"orvo", "adjust", "--help"}}) {
    FrontEnd frontEnd;
    frontEnd.fOut = std::fopen("/dev/full", "w");
    if (frontEnd.fOut == nullptr) GTEST_SKIP() << "there is no /dev/full";
    frontEnd.fErr = std::tmpfile();
    EXPECT_EQ(OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd), ExitFailed) << argv.back();
    EXPECT_EQ(Drain(frontEnd.fErr), "orvo: error: standard output can't be written\n");
    std::fclose(frontEnd.fOut);
  }
}

TEST(InfoCommand, JsonHasEveryPath) {
  const Block block;
  const Ended ended = Info({"--json", block.Paths().szText, block / "missing"});
  EXPECT_EQ(ended.nExit, ExitFailed);
  const auto json = nlohmann::json::parse(ended.szOut);
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0]["images"], 32);
  EXPECT_EQ(json[1]["kind"], "missing");
}

}  // namespace
}  // namespace orvo::test
