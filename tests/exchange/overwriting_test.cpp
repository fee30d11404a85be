// Whatever a command is given to read stays as it was, wherever its output is sent.
#include <gtest/gtest.h>

#include <filesystem>

#include "exchange/Commands.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ReadFile;
using test::WriteFile;

constexpr char kBal[] =
    "2 1 2\n1 0 6.5 13\n0 0 -50.25 19.5\n"
    "0 0 0 0 0 0 500 -0.1 0.02\n0\n0\n-1.5707963267948966\n1\n2\n3\n501\n0\n0\n0.1 0.2 -8\n";

/// A block n, its result r, control and positions.
class Overwriting : public ::testing::Test {
 protected:
  Overwriting() {
    ForeignModel model = MakeModel(CameraLike({"SIMPLE_PINHOLE", LensModel::Pinhole, {}}));
    ImportOptions options;
    options.szOut = Scratch / "n.ovc";
    WriteBlock(model, options, Silent());
    std::filesystem::create_directory(Scratch / "r");
    std::filesystem::copy_file(Scratch / "n.ovc", Scratch / "r/OrvoResult.ovc");
    std::filesystem::copy_file(Scratch / "n.ovt", Scratch / "r/OrvoResult.ovt");
    for (const char* name : {"r/log.txt", "r/verdict.txt", "r/OrvoResult_gcp.rst"}) {
      WriteFile(Scratch / name, "of the run");
    }
    WriteFile(Scratch / "c.csv", "name,x,y,z\nA,1,2,3\n");
    WriteFile(Scratch / "p.csv", "image,x,y,z\nIMG_100,1,2,3\nIMG_101,4,2,3\n");
    WriteFile(Scratch / "g.txt", "0\n");
    WriteFile(Scratch / "b.bal", kBal);
    WriteFile(Scratch / "names.ovc", "1.jpg\n2.jpg\n");
  }
  test::ScratchFolder Scratch;
};

TEST_F(Overwriting, IsRefused) {
  const struct {
    std::vector<std::string> Arguments;  ///< "@" stands for the folder
    const char* szFile;                  ///< that they would write
  } rows[] = {
      {{"import", "gcp", "@c.csv", "--project", "@n.ovc", "--frame", "as-is"}, "n.orvo.json"},
      {{"import", "gcp", "@c.csv", "--project", "@n.ovc", "--frame", "as-is"}, "n.ovt"},
      {{"import", "gcp", "@c.csv", "--project", "@n.ovc", "--frame", "as-is"}, "n.ovc"},
      {{"import", "gcp", "@c.csv", "--frame", "as-is"}, "n.ovc"},
      {{"import", "gcp", "@c.csv", "--frame", "as-is"}, "c.csv"},
      {{"import", "pos", "@p.csv", "--project", "@n.ovc", "--frame", "as-is"}, "n.ovt"},
      {{"import", "pos", "@p.csv", "--frame", "as-is"}, "n.orvo.json"},
      {{"import", "bal", "@b.bal", "--images", "@names.ovc"}, "names.ovc"},
      {{"export", "cameras", "@n.ovc"}, "n.orvo.json"},
      {{"export", "cameras", "@n.ovc"}, "n.ovt"},
      {{"export", "cameras", "@r"}, "n.ovc"},
      {{"export", "cameras", "@r"}, "n.ovt"},
      {{"export", "cameras", "@r"}, "n.orvo.json"},
      {{"export", "cameras", "@r/OrvoResult.ovc"}, "r/OrvoResult.ovt"},
      {{"export", "ply", "@r"}, "r/log.txt"},
      {{"export", "cameras", "@r"}, "r/verdict.txt"},
      {{"export", "cameras", "@r"}, "r/OrvoResult_gcp.rst"},
      {{"export", "cameras", "@r", "--gcp", "@g.txt"}, "g.txt"},
      {{"export", "bal", "@n.ovc"}, "n.orvo.json"},
      {{"convert", "bal", "@b.bal", "cameras", "--images", "@names.ovc"}, "names.ovc"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments = row.Arguments;
    std::string named;
    for (std::string& argument : arguments) {
      if (argument.starts_with('@')) argument = Scratch / argument.substr(1);
      named += argument + " ";
    }
    arguments.insert(arguments.end(), {"--out", Scratch / row.szFile});
    const std::string before = ReadFile(Scratch / row.szFile);
    const test::CommandRun run = test::RunOrvo(arguments);
    EXPECT_EQ(run.nCode, ExitFailed) << named;
    EXPECT_TRUE(run.szErr.find("this output is an input") != std::string::npos ||
                run.szErr.find("a file of a block is there already") != std::string::npos)
        << named << run.szErr;
    EXPECT_EQ(ReadFile(Scratch / row.szFile), before) << named << row.szFile;
  }
}

TEST_F(Overwriting, IsToldWithTheFile) {
  const test::CommandRun input =
      test::RunOrvo({"export", "cameras", Scratch / "n.ovc", "--out", Scratch / "n.orvo.json"});
  EXPECT_NE(input.szErr.find("n.orvo.json: error: this output is an input"), std::string::npos)
      << input.szErr;
  const test::CommandRun other =
      test::RunOrvo({"export", "cameras", Scratch / "r", "--out", Scratch / "n.ovt"});
  EXPECT_NE(other.szErr.find("a file of a block is there already"), std::string::npos) << other.szErr;
}

TEST_F(Overwriting, OutputsOfBeforeAreReplaced) {
  WriteFile(Scratch / "r/cameras.json", "old");
  EXPECT_EQ(test::RunOrvo({"export", "cameras", Scratch / "r", "--out", Scratch / "r/cameras.json"}).nCode,
            0);
  EXPECT_NE(ReadFile(Scratch / "r/cameras.json"), "old");
}

}  // namespace
}  // namespace orvo::exchange
