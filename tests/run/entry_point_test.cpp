#include "run/EntryPoint.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "run/BundleAdjustment.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

/// Runs the classic command line and gives what it printed.
std::string Classic(std::vector<std::string> arguments) {
  Console console;
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  EXPECT_EQ(ClassicMain(static_cast<int>(argv.size()), argv.data(), NativePlatform(), console.Stream()), 0);
  return console.Text();
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class EntryPoint : public ::testing::Test {
 protected:
  ScratchFolder folder;
};

TEST_F(EntryPoint, WithoutArgumentsTellsTheUsage) {
  EXPECT_EQ(Classic({"orvo_adjust"}),
            "Command line invalid!\n"
            "[*Exe Path] [*Project File Path] [GCP File Path] [Output Path] [Adjustment Mode:0, 1, 2]\n");
}

TEST_F(EntryPoint, ProjectWithoutAnyDotIsRefused) {
  EXPECT_EQ(Classic({"orvo_adjust", "project"}), "Invalid command line parameters!\n");
}

TEST_F(EntryPoint, HelpIsPrintedWhereItIsTheFirstArgument) {
  const std::string help = Classic({"orvo_adjust", "--help"});
  EXPECT_EQ(help, ClassicHelp());
  EXPECT_EQ(Classic({"orvo_adjust", "-h", "project"}), help);
  for (const char* part : {"SETTINGS", "PROJECT", "GCP", "POS", "OUTPUT", "AdjPara.xml", "OrvoBundleResult"})
    EXPECT_TRUE(Contains(help, part)) << part;
  for (const char* other : {"--hel", "-H", "help", "--Help", "-help"})
    EXPECT_EQ(Classic({"orvo_adjust", other}), "Invalid command line parameters!\n") << other;
}

TEST_F(EntryPoint, DefaultSettingsAreSoughtBesideTheProgram) {
  Console console;
  const std::string program = folder / "orvo_adjust";
  const std::string xml = folder / "AdjPara.xml", ini = folder / "AdjPara.ini";
  EXPECT_EQ(FindDefaultSettings(program, console.Stream()), ini);
  EXPECT_EQ(console.Text(),
            "Xml setting file does not exsit:" + xml + "\nRead default setting file:" + ini + "\n");
  WriteFile(xml, "");
  EXPECT_EQ(FindDefaultSettings(program, nullptr), xml);
  EXPECT_EQ(FindDefaultSettings("orvo_adjust", nullptr), "orvo_adjust/AdjPara.ini");
}

TEST_F(EntryPoint, SettingsAloneLeaveNoProject) {
  WriteFile(folder / "a.xml", "");
  const std::string text = Classic({"orvo_adjust", folder / "a.xml"});
  EXPECT_EQ(text.substr(0, 1), "\n");
  EXPECT_TRUE(Contains(text,
                       "Create output path failed!\nCreate log file failed\n>>Pre-reading data...\n"
                       "Open prj file failed!\n>>Elapsed time:"));
}

TEST_F(EntryPoint, MixedCaseSettingsExtensionIsAProject) {
  const std::string text = Classic({folder / "orvo_adjust", folder / "a.Xml"});
  EXPECT_TRUE(Contains(text, "Xml setting file does not exsit:"));
  EXPECT_TRUE(Contains(text, (folder / "a.Xml") + "\n"));
}

TEST_F(EntryPoint, OutputFolderBesideTheProjectByDefault) {
  Classic({folder / "orvo_adjust", folder / "a.prj"});
  EXPECT_TRUE(Exists(folder / "OrvoBundleResult/log.txt"));
}

TEST_F(EntryPoint, EmptyOutputArgumentBehavesLikeNone) {
  Classic({folder / "orvo_adjust", folder / "a.prj", "", "", ""});
  EXPECT_TRUE(Exists(folder / "OrvoBundleResult/log.txt"));
}

TEST_F(EntryPoint, ArgumentsArePositional) {
  WriteFile(folder / "s.ini", "");
  Classic({"orvo_adjust", folder / "s.ini", folder / "a.prj", "", "", folder / "five"});
  EXPECT_TRUE(Exists(folder / "five/log.txt"));
  Classic({folder / "orvo_adjust", folder / "a.prj", "", "", folder / "four", folder / "unread"});
  EXPECT_TRUE(Exists(folder / "four/log.txt"));
  EXPECT_FALSE(Exists(folder / "unread"));
}

TEST_F(EntryPoint, OutputFolderWithoutParentEndsOnTheConsole) {
  const std::string text = Classic({folder / "orvo_adjust", folder / "a.prj", "", "", folder / "no/parent"});
  EXPECT_TRUE(Contains(text, "Create output path failed!\nCreate log file failed\n"));
  EXPECT_TRUE(Contains(text, ">>Elapsed time:"));
  EXPECT_FALSE(Exists(folder / "no"));
}

TEST_F(EntryPoint, RelativeProjectWithoutSeparatorHasNoFolder) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  std::string output;
  EXPECT_EQ(block.SetOutputPath("no-such-project.prj", output), 0);
  EXPECT_EQ(output, "no-such-project.prj/OrvoBundleResult");
}

TEST_F(EntryPoint, SetOutputPath) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  std::string output;
  EXPECT_EQ(block.SetOutputPath("", output), 0);
  EXPECT_EQ(output, "");
  EXPECT_EQ(block.SetOutputPath(folder / "p.prj", output), 1);
  EXPECT_EQ(output, folder / "OrvoBundleResult");
  EXPECT_EQ(block.Paths.szOutputPath, output);
  EXPECT_EQ(block.SetOutputPath(folder / "p.prj", output), 1) << "an existing folder serves";
  WriteFile(folder / "file", "");
  output = folder / "file";
  EXPECT_EQ(block.SetOutputPath(folder / "p.prj", output), 0) << "a file is no folder";
}

TEST_F(EntryPoint, GpuWithoutDeviceFallsBack) {
  WriteFile(folder / "s.ini", "Apply_GPU:1\n");
  const std::string text = Classic({"orvo_adjust", folder / "s.ini", folder / "a.prj"});
  EXPECT_TRUE(
      Contains(text, ">>There is no device supporting CUDA, shift to CPU mode.\n>>Pre-reading data...\n"));
}

TEST_F(EntryPoint, SecondRunAppendsToTheLog) {
  for (int run = 0; run < 2; ++run) Classic({folder / "orvo_adjust", folder / "a.prj"});
  const std::string log = ReadFile(folder / "OrvoBundleResult/log.txt");
  size_t headers = 0;
  for (size_t at = log.find("\nAdjustment begin:"); at != std::string::npos;
       at = log.find("\nAdjustment begin:", at + 1)) {
    ++headers;
  }
  EXPECT_EQ(headers, 2u);
  EXPECT_EQ(log.find("\nAdjustment begin:"), 0u);
}

}  // namespace
}  // namespace orvo::test
