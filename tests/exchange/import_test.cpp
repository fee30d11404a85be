#include <gtest/gtest.h>

#include "check/SurveyReading.h"
#include "exchange/Commands.h"
#include "exchange/ImageAliases.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "exchange/ShellWord.h"
#include "exchange/Sidecar.h"
#include "exchange/bundler/BundlerForms.h"
#include "exchange/colmap/ColmapForm.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ReadFile;
using test::ScratchFolder;
using test::SharedData;

std::string FolderOfFile(const std::string& path) { return path.substr(0, path.rfind('/')); }

SurveyBlock ReadBlock(const std::string& project) {
  SurveyFiles files;
  files.szProject = project;
  SurveyBlock block;
  Diagnosis diagnosis;
  EXPECT_TRUE(ReadSurvey(files, block, diagnosis));
  EXPECT_EQ(diagnosis.ErrorNum(), 0);
  return block;
}

struct Expected {
  DistortionMode Mode;
  double x, y;
};

/// The program's figures, and those of the text project that it wrote.
void ExpectFigures(ForeignModel model, const Expected& expected, const ScratchFolder& scratch,
                   BlockTotals& totals) {
  ImportOptions options;
  options.szOut = scratch / "block.prj";
  options.Distortion = expected.Mode;
  totals = WriteBlock(model, options, Silent());
  EXPECT_NEAR(totals.Strict.RmsX(), expected.x, 1e-6) << NameOf(expected.Mode);
  EXPECT_NEAR(totals.Strict.RmsY(), expected.y, 1e-6) << NameOf(expected.Mode);
  const SurveyBlock block = ReadBlock(options.szOut);
  const ResidualSums read = StrictResidualsOf(block, block.Tie);
  EXPECT_EQ(read.nNum, totals.nMeasurements);
  EXPECT_NEAR(read.RmsX(), totals.Strict.RmsX(), 1e-9);
  EXPECT_NEAR(read.RmsY(), totals.Strict.RmsY(), 1e-9);
}

TEST(Import, SceauxHasTheFiguresOfItsModel) {
  const auto source = SharedData("exchange/sceaux/txt/cameras.txt");
  if (!source) GTEST_SKIP() << "the shared data sets are not at hand";
  for (const Expected& expected : {Expected{DistortionMode::Correct, 0.526979, 0.631978},
                                   Expected{DistortionMode::Fit, 0.534874, 0.636016}}) {
    const ScratchFolder scratch;
    ImportOptions options;
    options.szSource = FolderOfFile(*source);
    BlockTotals totals;
    ExpectFigures(ReadColmap(options, Silent()), expected, scratch, totals);
    EXPECT_NEAR(totals.Given.RmsX(), 0.503108, 1e-6);
    EXPECT_NEAR(totals.Given.RmsY(), 0.619236, 1e-6);
    EXPECT_NEAR(totals.Given.MeanNorm(), 0.628503, 1e-6);
    EXPECT_EQ(totals.nImages, 11);
    EXPECT_EQ(totals.nPoints, 7862);
    EXPECT_EQ(totals.nMeasurements, 37123);
  }
}

TEST(Import, BalbianelloHasTheFiguresOfItsModel) {
  const auto source = SharedData("exchange/balbianello/Balbianello.out");
  if (!source) GTEST_SKIP() << "the shared data sets are not at hand";
  const ScratchFolder scratch;
  ImportOptions options;
  options.szSource = *source;
  BlockTotals totals;
  ExpectFigures(ReadBundler(options, Silent()), {DistortionMode::Correct, 0.329391, 0.270032}, scratch,
                totals);
  EXPECT_NEAR(totals.Given.RmsX(), 0.327596, 1e-6);
  EXPECT_NEAR(totals.Given.RmsY(), 0.268014, 1e-6);
  EXPECT_NEAR(totals.Given.MeanNorm(), 0.211001, 1e-6);
  EXPECT_EQ(totals.nImages, 5);
  EXPECT_EQ(totals.nPoints, 544);
  EXPECT_EQ(totals.nMeasurements, 1417);
}

TEST(Import, TheBinaryBlockIsTheTextBlockInSinglePrecision) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[4]));
  ImportOptions options;
  for (const char* name : {"block.prj", "block", "other.ovc"}) {
    options.szOut = scratch / name;
    WriteBlock(model, options, Silent());
  }
  const SurveyBlock text = ReadBlock(scratch / "block.prj"), binary = ReadBlock(scratch / "block.ovc");
  EXPECT_EQ(ReadFile(scratch / "block.ovt"), ReadFile(scratch / "other.ovt"));
  ASSERT_EQ(text.Tie.Measurements.size(), binary.Tie.Measurements.size());
  for (size_t i = 0; i < text.Tie.Measurements.size(); ++i) {
    EXPECT_EQ(text.Tie.Measurements[i].nImage, binary.Tie.Measurements[i].nImage);
    EXPECT_EQ(static_cast<float>(text.Tie.Measurements[i].x), binary.Tie.Measurements[i].x);
    EXPECT_EQ(static_cast<float>(text.Tie.Measurements[i].y), binary.Tie.Measurements[i].y);
  }
  ASSERT_EQ(text.Tie.Points.size(), binary.Tie.Points.size());
  EXPECT_EQ(text.Tie.Points[5].P, binary.Tie.Points[5].P);
  EXPECT_EQ(text.Images[3].R, binary.Images[3].R);
}

TEST(Import, CorrectedMeasurementsHaveTheIdealDirections) {
  for (const NamedCamera& named : EveryCamera()) {
    const ScratchFolder scratch;
    ForeignModel model = MakeModel(CameraLike(named));
    ImportOptions options;
    options.szOut = scratch / "block.prj";
    options.Distortion = DistortionMode::Correct;
    WriteBlock(model, options, Silent());
    const SurveyBlock block = ReadBlock(options.szOut);
    const SurveyCamera& camera = block.Cameras[0];
    EXPECT_EQ(camera.dX0, 0);
    EXPECT_EQ(camera.dK1, 0);
    const auto points = AllPoints(model);
    ASSERT_EQ(points.size(), block.Tie.Points.size());
    for (size_t i = 0; i < points.size(); ++i) {
      for (size_t k = 0; k < points[i].Measurements.size(); ++k) {
        const SurveyMeasurement& m = block.Tie.Of(block.Tie.Points[i])[k];
        const LensPoint pixel = PixelOf(model.Cameras[0], {m.x / camera.dFocal, -m.y / camera.dFocal});
        ASSERT_NEAR(pixel.u - 1500, points[i].Measurements[k].x, 2e-11) << named.szName;
        ASSERT_NEAR(1000 - pixel.v, points[i].Measurements[k].y, 2e-11) << named.szName;
      }
    }
  }
}

TEST(Import, AFitIsTakenWhereItIsGoodAndRefusedWhereItIsNot) {
  const ScratchFolder scratch;
  ImportOptions options;
  options.szOut = scratch / "block";
  ForeignModel small = MakeModel(CameraLike({"SIMPLE_RADIAL", LensModel::SimpleRadial, {-0.002}}));
  WriteBlock(small, options, Silent());
  EXPECT_EQ(ReadSidecar(scratch / "block.orvo.json")->Distortion, DistortionMode::Fit);
  ForeignModel large = MakeModel(CameraLike(EveryCamera()[3]));
  WriteBlock(large, options, Silent());
  EXPECT_EQ(ReadSidecar(scratch / "block.orvo.json")->Distortion, DistortionMode::Correct);
  options.Distortion = DistortionMode::Fit;
  options.dFitLimit = 0.05;
  const std::string before = ReadFile(scratch / "block.ovc");
  const Finding fault = FaultOf([&] { WriteBlock(large, options, Silent()); });
  EXPECT_NE(fault.szWhat.find("more than 0.05"), std::string::npos) << fault.szWhat;
  EXPECT_EQ(ReadFile(scratch / "block.ovc"), before);
}

TEST(Import, ImagesAndCamerasWithoutPointsAreLeftOut) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[0]));
  // A camera in front that no image uses any more, and an image that sees nothing.
  model.Cameras.insert(model.Cameras.begin(), model.Cameras[0]);
  for (SurveyImage& image : model.Images) image.nCamera = 1;
  model.Images[0].nCamera = 0;
  std::vector<StreamPoint> points = AllPoints(model);
  for (StreamPoint& point : points) {
    std::erase_if(point.Measurements, [](const SurveyMeasurement& m) { return m.nImage == 0; });
  }
  int64_t few = 0;
  for (const StreamPoint& point : points) few += point.Measurements.size() < 2 ? 1 : 0;
  points.push_back({"twice", {0, 0, 0}, {{1, 1, 1}, {1, 2, 2}}});
  const auto total = static_cast<int64_t>(points.size());
  model.Points = std::make_unique<HeldPoints>(points);
  ImportOptions options;
  options.szOut = scratch / "block.prj";
  const BlockTotals totals = WriteBlock(model, options, Silent());
  EXPECT_EQ(totals.nImages, 5);
  EXPECT_EQ(totals.nCameras, 1);
  EXPECT_EQ(totals.nFewRays, few + 1);
  EXPECT_EQ(totals.nPoints, total - few - 1);
  const SurveyBlock block = ReadBlock(options.szOut);
  EXPECT_EQ(block.Images[0].szPath, "flight/IMG_101.JPG");
  EXPECT_EQ(block.Images[0].nCamera, 0);
  const ResidualSums sums = StrictResidualsOf(block, block.Tie);
  EXPECT_LT(sums.RmsX(), 0.5);
  EXPECT_EQ(ReadSidecar(scratch / "block.orvo.json")->Images.size(), 5u);
}

TEST(Import, NamesThatAProjectCannotHold) {
  const ImageAliases aliases = AliasesOf({"a b.jpg", "a_b.jpg", "d/c.jpg", "d/c.jpg", "", "x\ty\n"});
  EXPECT_EQ(aliases.Paths, (std::vector<std::string>{"./a_b.jpg", "./a_b_2.jpg", "d/c.jpg", "d/c_2.jpg",
                                                     "./image", "./x_y_"}));
  EXPECT_EQ(aliases.nChanged, 5);
  const ImageAliases folders = AliasesOf({"cam1/0001.jpg", "cam2/0001.jpg", "cam2\\0001.tif", "0001_2.jpg"});
  EXPECT_EQ(folders.Paths, (std::vector<std::string>{"cam1/0001.jpg", "cam2/0001_2.jpg", "cam2\\0001_3.tif",
                                                     "./0001_2_2.jpg"}));
  EXPECT_EQ(folders.nChanged, 3);
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[0]));
  model.Images[2].szPath = "Flug 1/Bild \xe4.jpg";
  std::vector<StreamPoint> points = AllPoints(model);
  points[3].szName = "a name";
  points[4].szName = std::string(40, 'n');
  model.Points = std::make_unique<HeldPoints>(points);
  ImportOptions options;
  options.szOut = scratch / "block";
  EXPECT_EQ(WriteBlock(model, options, Silent()).nRenamedPoints, 2);
  const SurveyBlock block = ReadBlock(scratch / "block.ovc");
  EXPECT_EQ(block.Images[2].szPath, "Flug_1/Bild_\xe4.jpg");
  EXPECT_STREQ(block.Tie.Points[3].szName.data(), "P3");
  const auto sidecar = ReadSidecar(scratch / "block.orvo.json");
  ASSERT_TRUE(sidecar);
  EXPECT_EQ(sidecar->Images[2].szName, model.Images[2].szPath);
  EXPECT_EQ(sidecar->Images[2].szAlias, block.Images[2].szPath);
}

/// A model of six images in a folder of its program.
ForeignModel MakeColmap(const std::string& folder) {
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[3]));
  ExportOptions made;
  made.szOut = folder;
  WriteColmap(model, made, Silent());
  return model;
}

TEST(Import, TheCommandTellsWhatItDid) {
  const ScratchFolder scratch;
  MakeColmap(scratch / "colmap");
  const test::CommandRun run =
      test::RunOrvo({"import", "colmap", scratch / "colmap", "--out", scratch / "block"});
  EXPECT_EQ(run.nCode, ExitDone) << run.szErr;
  EXPECT_NE(run.szOut.find("Images: 6, cameras: 1, points: "), std::string::npos) << run.szOut;
  EXPECT_NE(run.szOut.find("Residuals as written: RMS x 0.2"), std::string::npos) << run.szOut;
  EXPECT_NE(run.szOut.find("Next: orvo adjust " + (scratch / "block.ovc")), std::string::npos) << run.szOut;
  for (const char* name : {"block.ovc", "block.ovt", "block.orvo.json", "block_AdjPara.xml"}) {
    EXPECT_TRUE(test::Exists(scratch / name)) << name;
  }
  const test::CommandRun none =
      test::RunOrvo({"import", "colmap", scratch / "no", "--out", scratch / "other"});
  EXPECT_EQ(none.nCode, ExitFailed);
  EXPECT_NE(none.szErr.find("nothing was written"), std::string::npos);
  EXPECT_FALSE(test::Exists(scratch / "other.ovc"));
  EXPECT_EQ(test::RunOrvo({"import", "word", "x", "--out", "y"}).nCode, ExitUsage);
}

TEST(Import, TheNextCommandIsQuotedForTheShell) {
  const struct {
    const char *szPath, *szWord;
  } rows[] = {{"a/b_1.ovc", "a/b_1.ovc"},
              {"new dir/a b.ovc", "'new dir/a b.ovc'"},
              {"it's.ovc", "'it'\\''s.ovc'"},
              {"$HOME.ovc", "'$HOME.ovc'"},
              {"a;b", "'a;b'"},
              {"fl\xc3\xbcge.ovc", "fl\xc3\xbcge.ovc"},
              {"", "''"}};
  for (const auto& row : rows) EXPECT_EQ(ShellWord(row.szPath), row.szWord);
  const ScratchFolder scratch;
  MakeColmap(scratch / "colmap");
  const test::CommandRun run =
      test::RunOrvo({"import", "colmap", scratch / "colmap", "--out", scratch / "new dir/a b"});
  EXPECT_NE(run.szOut.find("Next: orvo adjust '" + (scratch / "new dir/a b.ovc") + "' --settings '" +
                           (scratch / "new dir/a b_AdjPara.xml") + "'"),
            std::string::npos)
      << run.szOut;
}

TEST(Import, OutputsHaveNames) {
  const ScratchFolder scratch;
  ForeignModel model = MakeColmap(scratch / "colmap");
  test::WriteFile(scratch / "c.csv", "name,x,y,z\nA,1,2,3\n");
  ImportOptions options;
  options.szOut = scratch / "b.ovc";
  WriteBlock(model, options, Silent());
  const std::vector<std::string> commands[] = {
      {"import", "colmap", scratch / "colmap"},
      {"import", "gcp", scratch / "c.csv", "--frame", "as-is"},
      {"import", "pos", scratch / "c.csv", "--frame", "as-is"},
      {"export", "ply", scratch / "b.ovc"},
      {"export", "bal", scratch / "b.ovc"},
      {"convert", "colmap", scratch / "colmap", "cameras"},
  };
  for (const std::vector<std::string>& command : commands) {
    for (const std::string& out : {std::string(), std::string("."), scratch / "..", scratch / "new/"}) {
      std::vector<std::string> arguments = command;
      arguments.insert(arguments.end(), {"--out", out});
      const test::CommandRun run = test::RunOrvo(arguments);
      EXPECT_EQ(run.nCode, ExitFailed) << command[1] << " " << out;
      EXPECT_NE(run.szErr.find(out.empty() ? "--out names nothing" : "--out names a folder"),
                std::string::npos)
          << command[1] << " " << out << run.szErr;
    }
  }
  EXPECT_FALSE(test::Exists(scratch / "new"));
  const test::CommandRun none = test::RunOrvo({"export", "csv", scratch / "b.ovc", "--out", ""});
  EXPECT_EQ(none.nCode, ExitFailed);
  EXPECT_NE(none.szErr.find("--out names nothing"), std::string::npos) << none.szErr;
}

TEST(Import, NumbersOfOptionsAreFiniteAndAboveZero) {
  const ScratchFolder scratch;
  for (const char* number : {"nan", "inf", "0", "-3", "1e999", "a"}) {
    for (const auto& words : {std::vector<std::string>{"import", "colmap", "--fit-limit"},
                              std::vector<std::string>{"export", "cameras", "--pixel-size"}}) {
      const test::CommandRun run = test::RunOrvo(
          {words[0], words[1], scratch / "no", "--out", scratch / "other", words[2] + "=" + number});
      EXPECT_EQ(run.nCode, ExitUsage) << words[2] << " " << number;
      EXPECT_NE(run.szErr.find("is no finite number above 0"), std::string::npos) << run.szErr;
    }
  }
}

}  // namespace
}  // namespace orvo::exchange
