// orvo report: the page of a run, made later.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>

#include "orvo/OrvoMain.h"
#include "report/SampleFigures.h"
#include "report/html/ReportPage.h"
#include "report/json/SummaryJson.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

namespace fs = std::filesystem;

struct Ended {
  int nExit = -1;
  std::string szOut, szErr;
};

Ended Report(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{"/nowhere/orvo", "report"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  Console out, err;
  FrontEnd frontEnd;
  frontEnd.fOut = out.Stream();
  frontEnd.fErr = err.Stream();
  Ended ended;
  ended.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  ended.szOut = out.Text();
  ended.szErr = err.Text();
  return ended;
}

void WriteSummaryTo(const std::string& path, const report::RunFigures& figures) {
  TextWriter file;
  ASSERT_TRUE(file.Open(path));
  report::WriteSummary(figures, file);
  ASSERT_TRUE(file.Close());
}

std::string PageOf(const report::RunFigures& figures) {
  const ScratchFolder folder;
  TextWriter file;
  EXPECT_TRUE(file.Open(folder / "page"));
  report::WriteReportPage(figures, file);
  EXPECT_TRUE(file.Close());
  return ReadFile(folder / "page");
}

/// Names of what is in a folder.
std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(ReportCommand, MakesThePageThatTheRunWouldHaveMade) {
  for (const auto& figures : {MakeSampleFigures(), MakeFailedFigures()}) {
    const ScratchFolder folder;
    WriteSummaryTo(folder / "summary.json", figures);
    const std::string page = PageOf(figures);
    ASSERT_NE(page, "");
    // By the folder, by the file, over an earlier page, and to another place.
    const Ended byFolder = Report({folder.Path()});
    EXPECT_EQ(byFolder.nExit, ExitDone) << byFolder.szErr;
    EXPECT_NE(byFolder.szOut.find(folder / "report.html"), std::string::npos);
    EXPECT_EQ(byFolder.szErr, "");
    EXPECT_EQ(ReadFile(folder / "report.html"), page);
    WriteFile(folder / "report.html", "an earlier one");
    EXPECT_EQ(Report({folder / "summary.json"}).nExit, ExitDone);
    EXPECT_EQ(ReadFile(folder / "report.html"), page);
    EXPECT_EQ(Report({folder.Path(), "--out", folder / "new/page.html"}).nExit, ExitDone);
    EXPECT_EQ(ReadFile(folder / "new/page.html"), page);
  }
}

TEST(ReportCommand, TellsWhatHelps) {
  const ScratchFolder folder;
  fs::create_directory(folder / "old");
  fs::create_directories(folder / "bad/unusable");
  fs::create_directories(folder / "gone/failed");
  WriteSummaryTo(folder / "bad/unusable/summary.json", MakeSampleFigures());
  WriteSummaryTo(folder / "gone/failed/summary.json", MakeFailedFigures());
  WriteFile(folder / "other.json", "{\"type\":\"FeatureCollection\"}");
  WriteFile(folder / "cut.json", "{\"form\":\"orvo-summary\",");
  WriteFile(folder / "odd.json", "{\"form\":\"orvo-summary\",\"version\":\"1.x\"}");
  ASSERT_EQ(::mkfifo((folder / "pipe.json").c_str(), 0600), 0);
  WriteFile(folder / "newer.json", "{\"form\":\"orvo-summary\",\"version\":\"2.1\"}");
  const struct {
    const char* szSource;
    const char* szErr;
  } cases[] = {
      {"old", "old: error: it has no summary.json. orvo adjust writes one from version 0.4.0 on"},
      {"bad", "That of a run that gave no result is in "},
      {"gone", "/gone/failed."},
      {"missing", "missing: error: there is no such file."},
      {"other.json",
       "other.json: error: it is no summary of a run: it has no \"form\". Give the folder of a run"},
      {"cut.json", "cut.json: error: line 1: it is no JSON: "},
      {"newer.json", "newer.json: error: it is of version \"2.1\" of the form, and this program reads 1.x."},
      {"odd.json", "odd.json: error: it is of version \"1.x\" of the form, and this program reads 1.x."},
      {"pipe.json", "pipe.json: error: it is no file on a disk. Write the summary to a file first"}};
  for (const auto& each : cases) {
    const Ended ended = Report({folder / each.szSource});
    EXPECT_EQ(ended.nExit, ExitFailed);
    EXPECT_EQ(ended.szOut, "");
    EXPECT_NE(ended.szErr.find(each.szErr), std::string::npos) << ended.szErr;
    EXPECT_NE(ended.szErr.find("orvo report: nothing was written\n"), std::string::npos);
  }
  EXPECT_EQ(NamesIn(folder / "old"), std::vector<std::string>());
  EXPECT_EQ(Report({folder / "bad/unusable"}).nExit, ExitDone);
  EXPECT_EQ(Report({}).nExit, ExitUsage);
  EXPECT_EQ(Report({folder.Path(), "--csv"}).nExit, ExitUsage);
}

TEST(ReportCommand, WritesOverNothingElse) {
  const ScratchFolder folder;
  WriteSummaryTo(folder / "summary.json", MakeSampleFigures());
  WriteSummaryTo(folder / "summary.html", MakeSampleFigures());
  fs::create_symlink(folder / "summary.html", folder / "link.html");
  for (const char* name : {"block.prj", "block.ovt", "notes.txt", "OrvoAdjustReport.txt"})
    WriteFile(folder / name, name);
  const std::string summary = ReadFile(folder / "summary.json");
  for (const char* name : {"summary.json", "block.prj", "block.ovt", "notes.txt", "OrvoAdjustReport.txt"}) {
    const std::string before = ReadFile(folder / name);
    const Ended ended = Report({folder.Path(), "--out", folder / name});
    EXPECT_EQ(ended.nExit, ExitFailed) << name;
    EXPECT_NE(ended.szErr.find("Name another place with --out"), std::string::npos) << ended.szErr;
    EXPECT_EQ(ReadFile(folder / name), before);
  }
  // A page that is the summary under another name.
  for (const char* name : {"summary.html", "link.html"}) {
    EXPECT_EQ(Report({folder / "summary.html", "--out", folder / name}).nExit, ExitFailed) << name;
    EXPECT_EQ(ReadFile(folder / "summary.html"), summary);
  }
  EXPECT_EQ(Report({folder.Path(), "--out", folder.Path()}).nExit, ExitFailed);
  EXPECT_FALSE(Exists(folder / "report.html"));
}

TEST(ReportCommand, WritesOverItsOwnPagesAlone) {
  const ScratchFolder folder;
  WriteSummaryTo(folder / "summary.json", MakeSampleFigures());
  const std::string page = PageOf(MakeSampleFigures()), out = folder / "page.html";
  EXPECT_NE(page.substr(0, 1024).find("<meta name=\"generator\" content=\"orvo\">"), std::string::npos);
  WriteFile(out, PageOf(MakeFailedFigures()));
  EXPECT_EQ(Report({folder.Path(), "--out", out}).nExit, ExitDone);
  EXPECT_EQ(ReadFile(out), page);
  const std::string others[] = {"", "<!DOCTYPE html><title>notes</title>",
                                std::string(5000, ' ') + "<meta name=\"generator\" content=\"orvo\">\n"};
  for (const std::string& other : others) {
    WriteFile(out, other);
    const Ended ended = Report({folder.Path(), "--out", out});
    EXPECT_EQ(ended.nExit, ExitFailed);
    EXPECT_NE(ended.szErr.find("a file is there already that orvo did not write. Name another place with "
                               "--out, or add --force."),
              std::string::npos)
        << ended.szErr;
    EXPECT_EQ(ReadFile(out), other);
    EXPECT_EQ(Report({folder.Path(), "--out", out, "--force"}).nExit, ExitDone);
    EXPECT_EQ(ReadFile(out), page);
  }
  // What is no page at all is left alone all the same, and so is the summary.
  WriteFile(folder / "notes.txt", "notes");
  EXPECT_EQ(Report({folder.Path(), "--out", folder / "notes.txt", "--force"}).nExit, ExitFailed);
  EXPECT_EQ(ReadFile(folder / "notes.txt"), "notes");
  WriteSummaryTo(folder / "summary.html", MakeSampleFigures());
  EXPECT_EQ(Report({folder / "summary.html", "--out", folder / "summary.html", "--force"}).nExit, ExitFailed);
  EXPECT_EQ(ReadFile(folder / "summary.html"), ReadFile(folder / "summary.json"));
  EXPECT_EQ(Report({folder.Path(), "--force"}).nExit, ExitUsage);
}

}  // namespace
}  // namespace orvo::test
