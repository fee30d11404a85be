// Whatever a command is given to read stays as it was, wherever its output is sent.
#include <gtest/gtest.h>

#include <filesystem>

#include "exchange/Commands.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "exchange/colmap/ColmapForm.h"
#include "exchange/opensfm/OpenSfm.h"
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

/// A block that was imported from another program's model, in the form that it came in.
struct ImportedFrom {
  ImportedFrom() {
    ForeignModel model = MakeModel(CameraLike({"SIMPLE_RADIAL", LensModel::SimpleRadial, {-0.1}}));
    ExportOptions made;
    for (const bool text : {false, true}) {
      made.bText = text;
      made.szOut = Scratch / (text ? "colmap/txt" : "colmap/bin");
      WriteColmap(model, made, Silent());
    }
    made.szOut = Scratch / "opensfm";
    made.bText = false;
    WriteOpenSfm(model, made, Silent());
    WriteFile(Scratch / "b.bal", kBal);
  }
  test::ScratchFolder Scratch;
};

TEST(Source, IsNotReplacedByAnExport) {
  constexpr char kSource[] = "this output is the model that the block was imported from";
  const struct {
    std::vector<std::string> Import;  ///< form and source
    const char *szForm, *szOut;       ///< of the export
    bool bText, bRefused;
  } rows[] = {
      {{"colmap", "colmap/bin"}, "colmap", "colmap/bin", false, true},
      {{"colmap", "colmap/bin"}, "colmap", "colmap/bin/", false, true},
      {{"colmap", "colmap/bin"}, "colmap", "colmap/../colmap/bin", false, true},
      {{"colmap", "colmap/bin"}, "csv", "colmap/bin", false, true},
      {{"colmap", "colmap/bin"}, "ply", "colmap/bin/points3D.bin", false, true},
      {{"colmap", "colmap/bin"}, "ply", "colmap/bin/points.ply", false, false},
      {{"colmap", "colmap/txt"}, "colmap", "colmap/txt", true, true},
      {{"colmap", "colmap/bin"}, "colmap", "colmap/new", false, false},
      {{"opensfm", "opensfm"}, "opensfm", "opensfm", false, true},
      {{"opensfm", "opensfm/reconstruction.json"}, "opensfm", "opensfm", false, true},
      {{"opensfm", "opensfm/reconstruction.json"}, "cameras", "opensfm/tracks.csv", false, true},
      {{"opensfm", "opensfm/reconstruction.json"}, "cameras", "opensfm/cameras.json", false, false},
      {{"bal", "b.bal"}, "bal", "b.bal", false, true},
      {{"bal", "b.bal"}, "bal", "new.bal", false, false},
  };
  for (const auto& row : rows) {
    const ImportedFrom from;
    const auto in = [&](const std::string& name) { return from.Scratch / name; };
    const test::CommandRun import =
        test::RunOrvo({"import", row.Import[0], in(row.Import[1]), "--out", in("block.ovc")});
    ASSERT_EQ(import.nCode, ExitDone) << import.szErr;
    std::vector<std::string> arguments = {"export", row.szForm, in("block.ovc"), "--out", in(row.szOut)};
    if (row.bText) arguments.push_back("--text");
    const test::CommandRun run = test::RunOrvo(arguments);
    EXPECT_EQ(run.nCode, row.bRefused ? ExitFailed : ExitDone) << row.szForm << " " << row.szOut;
    EXPECT_EQ(run.szErr.find(kSource) != std::string::npos, row.bRefused) << run.szErr;
    if (row.bRefused) {
      const ImportedFrom untouched;
      for (const char* name : {"colmap/bin/points3D.bin", "colmap/txt/points3D.txt", "opensfm/tracks.csv",
                               "opensfm/reconstruction.json", "b.bal"}) {
        EXPECT_EQ(ReadFile(in(name)), ReadFile(untouched.Scratch / name)) << row.szOut << " " << name;
      }
    }
  }
}

TEST(Source, IsKnownWhereItWasMoved) {
  const ImportedFrom from;
  const auto in = [&](const std::string& name) { return from.Scratch / name; };
  ASSERT_EQ(test::RunOrvo({"import", "colmap", in("colmap/bin"), "--out", in("block.ovc")}).nCode, ExitDone);
  std::filesystem::rename(in("colmap/bin"), in("elsewhere"));
  const test::CommandRun run = test::RunOrvo({"export", "colmap", in("block.ovc"), "--out", in("elsewhere")});
  EXPECT_EQ(run.nCode, ExitFailed);
  EXPECT_NE(run.szErr.find("imported from"), std::string::npos) << run.szErr;
}

TEST(Source, NoModelIsWrittenBesideOneOfTheOtherForm) {
  for (const bool text : {false, true}) {
    const ImportedFrom from;
    const std::string place = from.Scratch / (text ? "colmap/bin" : "colmap/txt");
    std::vector<std::string> arguments = {"convert", "opensfm", from.Scratch / "opensfm",
                                          "colmap",  "--out",   place};
    if (text) arguments.push_back("--text");
    const test::CommandRun run = test::RunOrvo(arguments);
    EXPECT_EQ(run.nCode, ExitFailed) << text;
    EXPECT_NE(run.szErr.find(text ? "cameras.bin: error: the folder holds a binary model"
                                  : "cameras.txt: error: the folder holds a text model"),
              std::string::npos)
        << run.szErr;
    EXPECT_FALSE(test::Exists(place + (text ? "/points3D.txt" : "/points3D.bin")));
  }
}

TEST_F(Overwriting, OutputsOfBeforeAreReplaced) {
  WriteFile(Scratch / "r/cameras.json", "old");
  EXPECT_EQ(test::RunOrvo({"export", "cameras", Scratch / "r", "--out", Scratch / "r/cameras.json"}).nCode,
            0);
  EXPECT_NE(ReadFile(Scratch / "r/cameras.json"), "old");
}

}  // namespace
}  // namespace orvo::exchange
