#include <gtest/gtest.h>

#include "exchange/Commands.h"
#include "exchange/ExportCameras.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "exchange/ResultModel.h"
#include "exchange/colmap/ColmapForm.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ReadFile;
using test::ScratchFolder;
using test::WriteFile;

/// A made-up model as a text project, which keeps all digits.
struct Imported {
  explicit Imported(const NamedCamera& named, std::optional<DistortionMode> mode = DistortionMode::Correct)
      : Model(MakeModel(CameraLike(named))) {
    Model.Images[1].szPath = "flight/second image.JPG";
    ImportOptions options;
    options.szOut = Path;
    options.Distortion = mode;
    WriteBlock(Model, options, Silent());
  }
  ScratchFolder Scratch;
  std::string Path = Scratch / "block.prj";
  ForeignModel Model;
};

/// The points of the model are those of the result, so both stay where they are.
struct Exported {
  explicit Exported(const std::string& path, CameraChoice choice = CameraChoice::Automatic)
      : Result(ReadResult(path)) {
    ExportOptions options;
    options.Camera = choice;
    Model = ModelOfResult(Result, SidecarOf(Result, options, Silent()), options, Silent());
  }
  Exported(const Exported&) = delete;
  Exported& operator=(const Exported&) = delete;
  ResultBlock Result;
  ForeignModel Model;
};

TEST(Export, AnImportGoesBackAsItCame) {
  for (const NamedCamera& named : EveryCamera()) {
    for (const DistortionMode mode : {DistortionMode::Correct, DistortionMode::Drop}) {
      Imported imported(named, mode);
      Exported exported(imported.Path);
      const ModelDifference difference = DifferenceOf(imported.Model, exported.Model);
      EXPECT_EQ(difference.dCamera, 0) << named.szName;
      EXPECT_LT(difference.dMeasurement, 1e-9) << named.szName << " " << NameOf(mode);
      EXPECT_EQ(difference.dPoint, 0) << named.szName;
      EXPECT_EQ(difference.dCentre, 0) << named.szName;
      EXPECT_EQ(difference.dRotation, 0) << named.szName;
      EXPECT_EQ(exported.Model.Images[1].szPath, "flight/second image.JPG");
      EXPECT_EQ(exported.Model.Images[1].nId, 11);
      EXPECT_EQ(exported.Model.Cameras[0].szModel, named.szName);
    }
  }
}

/// Replaces the camera line of a project.
void ChangeCamera(const std::string& path, const std::string& numbers) {
  std::string text = ReadFile(path);
  const size_t begin = text.find('\n') + 1, end = text.find('\n', begin);
  WriteFile(path, text.replace(begin, end - begin, "7 3000 2000 0 " + numbers + " 0 0"));
}

/// Whether every measurement of an export leads in the direction that the project gives it.
double LargestAngle(Exported& exported) {
  double most = 0;
  const SurveyBlock& block = exported.Result.Block;
  const auto points = AllPoints(exported.Model);
  for (size_t i = 0; i < points.size(); ++i) {
    for (size_t k = 0; k < points[i].Measurements.size(); ++k) {
      const SurveyMeasurement& ours = block.Tie.Of(block.Tie.Points[i])[k];
      const ImageVector corrected = CorrectedMeasurement(block.Cameras[0], ours.x, ours.y);
      const SurveyMeasurement& theirs = points[i].Measurements[k];
      const auto direction = DirectionOf(exported.Model.Cameras[0], {1500 + theirs.x, 1000 - theirs.y});
      if (!direction) return HUGE_VAL;
      most = std::max(most, std::hypot(direction->u - corrected.x / block.Cameras[0].dFocal,
                                       direction->v + corrected.y / block.Cameras[0].dFocal));
    }
  }
  return most;
}

TEST(Export, AChangedCameraKeepsItsDirections) {
  const struct {
    CameraChoice Choice;
    const char* szModel;
    double dMost;  ///< of the directions
  } rows[] = {{CameraChoice::Pinhole, "PINHOLE", 1e-12},
              {CameraChoice::Refit, "FULL_OPENCV", kRefitDefaultLimit / 2400},
              {CameraChoice::Automatic, "FULL_OPENCV", kRefitDefaultLimit / 2400}};
  for (const auto& row : rows) {
    Imported imported(EveryCamera()[3]);
    ChangeCamera(imported.Path, "2401.5 0.4 -0.3 0 -1e-10 1e-17");
    Exported exported(imported.Path, row.Choice);
    EXPECT_EQ(exported.Model.Cameras[0].szModel, row.szModel);
    EXPECT_LT(LargestAngle(exported), row.dMost) << row.szModel;
  }
}

/// As an adjustment changes a camera: some tenths of a pixel.
TEST(Export, AChangedCameraStaysInAModelOfItsKind) {
  const struct {
    const char *szOriginal, *szModel;
    double dMost;  ///< that it leaves, pixels
  } rows[] = {
      {"SIMPLE_PINHOLE", "FULL_OPENCV", 1e-4},
      {"SIMPLE_RADIAL", "FULL_OPENCV", 1e-3},
      {"OPENCV", "FULL_OPENCV", 0.06},
      {"OPENCV_FISHEYE", "THIN_PRISM_FISHEYE", 0.03},
      {"SIMPLE_RADIAL_FISHEYE", "THIN_PRISM_FISHEYE", 0.03},
      {"RADIAL_FISHEYE", "THIN_PRISM_FISHEYE", 0.03},
      {"THIN_PRISM_FISHEYE", "THIN_PRISM_FISHEYE", 0.03},
      {"FULL_OPENCV", "FULL_OPENCV", 0.03},
  };
  for (const auto& row : rows) {
    for (const NamedCamera& named : EveryCamera()) {
      if (std::string(named.szName) != row.szOriginal) continue;
      Imported imported(named);
      ChangeCamera(imported.Path, "2401.5 0.4 -0.3 0 -1e-10 1e-17");
      Exported exported(imported.Path);
      EXPECT_EQ(exported.Model.Cameras[0].szModel, row.szModel) << row.szOriginal;
      EXPECT_LT(LargestAngle(exported), row.dMost / 2400) << row.szOriginal;
    }
  }
  // Where the camera keeps its principal point, its own model will do.
  Imported imported(EveryCamera()[5]);
  ChangeCamera(imported.Path, "2401.5 0 0 0 0 0");
  Exported exported(imported.Path);
  EXPECT_EQ(exported.Model.Cameras[0].szModel, std::string("OPENCV_FISHEYE"));
  EXPECT_LT(LargestAngle(exported), 0.01 / 2400);
}

TEST(Export, ModelsAreNotMixedOfMeasuredAndCorrectedImages) {
  SurveyBlock block;
  block.Cameras = {{0, 3000, 2000, 2400, 0, 0, -5e-9, 0, 0}, {1, 3000, 2000, 2400, 0, 0, -1e-7, 8e-14, 0}};
  const auto correctedOf = [&](CameraChoice choice) {
    std::vector<bool> corrected;
    for (const ExportCamera& camera : CamerasForExport(block, {}, choice, Silent())) {
      corrected.push_back(camera.bCorrected);
    }
    return corrected;
  };
  EXPECT_EQ(correctedOf(CameraChoice::Automatic), (std::vector<bool>{true, true}));
  block.Cameras.pop_back();
  EXPECT_EQ(correctedOf(CameraChoice::Automatic), (std::vector<bool>{false}));
  EXPECT_EQ(correctedOf(CameraChoice::Pinhole), (std::vector<bool>{true}));
}

TEST(Export, TheOriginalIsRefusedWhereItChanged) {
  Imported imported(EveryCamera()[3]);
  EXPECT_EQ(FaultOf([&] { Exported(imported.Path, CameraChoice::Original); }).szWhat, "");
  ChangeCamera(imported.Path, "2400.001 0 0 0 0 0");
  EXPECT_NE(FaultOf([&] { Exported(imported.Path, CameraChoice::Original); }).szWhat.find("not the original"),
            std::string::npos);
}

TEST(Export, WithoutASidecarThePinholeStaysAndDistortionIsFitted) {
  Imported imported(EveryCamera()[0], DistortionMode::Drop);
  std::filesystem::remove(imported.Scratch / "block.orvo.json");
  const Exported plain(imported.Path);
  EXPECT_EQ(plain.Model.Cameras[0].szModel, "PINHOLE");
  EXPECT_NEAR(plain.Model.Cameras[0].dCx, 1503.25, 1e-12);
  EXPECT_NEAR(plain.Model.Cameras[0].dCy, 996.5, 1e-12);
  EXPECT_EQ(plain.Model.Images[1].szPath, "flight/second_image.JPG");
  ChangeCamera(imported.Path, "2400 3.25 3.5 0 -5e-9 3e-16");
  const Exported bent(imported.Path);
  EXPECT_EQ(bent.Model.Cameras[0].szModel, "FULL_OPENCV");
}

TEST(Export, SidecarsThatDoNotBelong) {
  Imported imported(EveryCamera()[0]), other(EveryCamera()[0]);
  ExportOptions options;
  options.szSidecar = other.Scratch / "block.orvo.json";
  const ResultBlock result = ReadResult(imported.Path);
  EXPECT_TRUE(SidecarOf(result, options, Silent()));
  std::string text = ReadFile(options.szSidecar);
  WriteFile(options.szSidecar,
            text.replace(text.find("IMG_102"), 7, "IMG_109").replace(text.rfind("IMG_102"), 7, "IMG_109"));
  EXPECT_NE(FaultOf([&] { SidecarOf(result, options, Silent()); }).szWhat.find("other images"),
            std::string::npos);
  options.szSidecar = other.Scratch / "none.json";
  EXPECT_EQ(FaultOf([&] { SidecarOf(result, options, Silent()); }).szWhat, "there is no such file");
  for (const char* broken :
       {"", "{", "[]", "{\"orvoSidecar\":2}", "{\"orvoSidecar\":\"x\"}", "{\"orvoSidecar\":1}"}) {
    WriteFile(imported.Scratch / "block.orvo.json", broken);
    const Finding fault = FaultOf([&] { SidecarOf(result, {}, Silent()); });
    EXPECT_EQ(fault.szFile, imported.Scratch / "block.orvo.json") << broken;
    EXPECT_EQ(fault.szWhat.find("json.exception"), std::string::npos) << fault.szWhat;
  }
  std::filesystem::copy_file(other.Scratch / "block.orvo.json", imported.Scratch / "block.orvo.json",
                             std::filesystem::copy_options::overwrite_existing);
  const Finding beside = FaultOf([&] { SidecarOf(result, {}, Silent()); });
  EXPECT_EQ(beside.szFile, imported.Scratch / "block.orvo.json");
  EXPECT_NE(beside.szWhat.find("other images"), std::string::npos) << beside.szWhat;
}

TEST(Export, AResultFindsTheSidecarOfItsMeasurements) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[3]));
  const struct {
    const char* szBlock;
    DistortionMode Mode;
  } blocks[] = {{"a", DistortionMode::Correct}, {"b", DistortionMode::Drop}, {"c", DistortionMode::Drop}};
  for (const auto& block : blocks) {
    ImportOptions options;
    options.szOut = scratch / block.szBlock;
    options.Distortion = block.Mode;
    options.szSource = block.szBlock;
    WriteBlock(model, options, Silent());
  }
  for (const auto& block : blocks) {
    const std::string folder = scratch / ("out_" + std::string(block.szBlock));
    std::filesystem::create_directory(folder);
    for (const char* extension : {".ovc", ".ovt"}) {
      std::filesystem::copy_file(scratch / (block.szBlock + std::string(extension)),
                                 folder + "/OrvoResult" + extension);
    }
    const ResultBlock result = ReadResult(folder);
    const auto sidecar = SidecarOf(result, {}, Silent());
    ASSERT_TRUE(sidecar);
    EXPECT_EQ(sidecar->Distortion, block.Mode) << block.szBlock;
  }
  // One that is named is held to the measurements, too.
  ExportOptions named;
  named.szSidecar = scratch / "b.orvo.json";
  const Finding fault = FaultOf([&] { SidecarOf(ReadResult(scratch / "out_a"), named, Silent()); });
  EXPECT_NE(fault.szWhat.find("other measurements"), std::string::npos) << fault.szWhat;
  const ResultBlock foreign = ReadResult(scratch / "out_a", scratch / "b.ovc");
  EXPECT_EQ(FaultOf([&] { SidecarOf(foreign, {}, Silent()); }).szFile, scratch / "b.orvo.json");
  // Of two that are alike, the one that the folder of the result is named for.
  EXPECT_EQ(SidecarOf(ReadResult(scratch / "out_b"), {}, Silent())->szSource.back(), 'b');
  EXPECT_EQ(SidecarOf(ReadResult(scratch / "out_c"), {}, Silent())->szSource.back(), 'c');
  // Without the tie points beside it, by the measurements that it keeps.
  std::filesystem::remove(scratch / "a.ovt");
  std::filesystem::remove(scratch / "b.ovt");
  EXPECT_EQ(SidecarOf(ReadResult(scratch / "out_a"), {}, Silent())->szSource.back(), 'a');
  // Two that differ, of which neither can be told to be wrong.
  for (const char* block : {"a", "b"}) {
    const std::string path = scratch / (block + std::string(".orvo.json"));
    Sidecar sidecar = *ReadSidecar(path);
    sidecar.Samples.clear();
    WriteFile(path, SidecarText(sidecar));
  }
  EXPECT_NE(
      FaultOf([&] { SidecarOf(ReadResult(scratch / "out_a"), {}, Silent()); }).szWhat.find("both it and"),
      std::string::npos);
}

TEST(Export, ASidecarIsKnownByItsMeasurements) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[3]));
  for (const std::string name : {"text.prj", "plain.ovc", "drop.ovc"}) {
    ImportOptions options;
    options.szOut = scratch / name;
    options.szSource = name;
    options.Distortion = name == "plain.ovc" ? DistortionMode::Correct : DistortionMode::Drop;
    WriteBlock(model, options, Silent());
  }
  // A text project beside it does not stand in the way of a result of the binary one.
  std::filesystem::create_directory(scratch / "r");
  std::filesystem::copy_file(scratch / "plain.ovc", scratch / "r/OrvoResult.ovc");
  std::filesystem::copy_file(scratch / "plain.ovt", scratch / "r/OrvoResult.ovt");
  EXPECT_TRUE(SidecarOf(ReadResult(scratch / "r"), {}, Silent())->szSource.ends_with("plain.ovc"));
  // One of another import beside the project itself is refused.
  const auto replace = std::filesystem::copy_options::overwrite_existing;
  std::filesystem::copy_file(scratch / "plain.orvo.json", scratch / "kept.json");
  std::filesystem::copy_file(scratch / "drop.orvo.json", scratch / "plain.orvo.json", replace);
  const ResultBlock plain = ReadResult(scratch / "plain.ovc");
  const Finding fault = FaultOf([&] { SidecarOf(plain, {}, Silent()); });
  EXPECT_EQ(fault.szFile, scratch / "plain.orvo.json");
  EXPECT_NE(fault.szWhat.find("other measurements"), std::string::npos) << fault.szWhat;
  // Points that were taken out of a project do not make it another one.
  std::filesystem::copy_file(scratch / "kept.json", scratch / "plain.orvo.json", replace);
  ResultBlock thinned = ReadResult(scratch / "plain.ovc");
  std::erase_if(thinned.Block.Tie.Points, [n = 0](const SurveyPoint&) mutable { return n++ % 3 != 0; });
  EXPECT_TRUE(SidecarOf(thinned, {}, Silent()));
  for (SurveyMeasurement& measurement : thinned.Block.Tie.Measurements) measurement.x += 0.25;
  EXPECT_NE(FaultOf([&] { SidecarOf(thinned, {}, Silent()); }).szWhat.find("other measurements"),
            std::string::npos);
}

TEST(Export, SamplesOfASidecarAreSpreadAndFew) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[3]));
  ImportOptions options;
  options.szOut = scratch / "b.prj";
  const BlockTotals totals = WriteBlock(model, options, Silent());
  const auto sidecar = ReadSidecar(scratch / "b.orvo.json");
  ASSERT_TRUE(sidecar);
  ASSERT_GT(totals.nPoints, 128);
  EXPECT_GE(sidecar->Samples.size(), 64u);
  EXPECT_LT(sidecar->Samples.size(), 128u);
  const SurveyBlock block = ReadResult(scratch / "b.prj").Block;
  for (size_t k = 0; k < sidecar->Samples.size(); ++k) {
    EXPECT_EQ(sidecar->Samples[k].szPoint,
              block.Tie.Points[k * (totals.nPoints < 256 ? 2 : 4)].szName.data());
  }
}

TEST(Export, ASidecarKeepsEverything) {
  Sidecar sidecar;
  sidecar.szForm = "colmap";
  sidecar.szSource = "/data/\xff";
  sidecar.szChecksum = "crc32:00000000";
  sidecar.Distortion = DistortionMode::Fit;
  sidecar.szPixelOrigin = "somewhere";
  sidecar.Frame = {FrameKind::Topocentric, "EPSG:25832+7837", "", {50.123, 8.5, -0.1}};
  for (const NamedCamera& named : EveryCamera()) {
    sidecar.Cameras.push_back(CameraLike(named));
    sidecar.Written.push_back({0, 3000, 2000, 1.0 / 3, 2e-17, -3, 4e-9, 5e-16, 0});
  }
  sidecar.Samples = {{"P1", 0, 1.0 / 3, -2e-17}, {std::string("\xe4"), 1, -1500, 0}};
  sidecar.Images = {{4294967294, "a \"b\"\n\xc3\xa4", "./a"}, {2, std::string("\xe4\x80"), "./c"}};
  const ScratchFolder scratch;
  WriteFile(scratch / "s.orvo.json", SidecarText(sidecar));
  const auto back = ReadSidecar(scratch / "s.orvo.json");
  ASSERT_TRUE(back);
  EXPECT_EQ(SidecarText(*back), SidecarText(sidecar));
  EXPECT_EQ(back->szSource, sidecar.szSource);
  EXPECT_EQ(back->Images[1].szName, sidecar.Images[1].szName);
  EXPECT_EQ(back->Written[2].dFocal, 1.0 / 3);
  EXPECT_EQ(back->Samples[1].szPoint, "\xe4");
  EXPECT_EQ(back->Cameras[10].Parameters, sidecar.Cameras[10].Parameters);
  EXPECT_EQ(SidecarPathOf("a/b.ovc"), "a/b.orvo.json");
  EXPECT_EQ(SidecarPathOf("a.b/c"), "a.b/c.orvo.json");
  EXPECT_FALSE(ReadSidecar(scratch / "none"));
  sidecar.Written[3].dFocal = 0;
  WriteFile(scratch / "s.orvo.json", SidecarText(sidecar));
  EXPECT_EQ(FaultOf([&] { ReadSidecar(scratch / "s.orvo.json"); }).szWhat,
            "a written camera has no focal length or image size above 0");
}

TEST(Convert, BringsAModelIntoAnotherForm) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[3]));
  ExportOptions made;
  made.szOut = scratch / "colmap";
  WriteColmap(model, made, Silent());
  for (const std::vector<std::string>& row :
       {std::vector<std::string>{"colmap", "colmap", "colmap", "text", "--text"},
        {"colmap", "text", "bal", "b.txt"},
        {"bal", "b.txt", "colmap", "last"}}) {
    std::vector<std::string> arguments = {"convert", row[0],  scratch / row[1],
                                          row[2],    "--out", scratch / row[3]};
    arguments.insert(arguments.end(), row.begin() + 4, row.end());
    const test::CommandRun run = test::RunOrvo(arguments);
    EXPECT_EQ(run.nCode, ExitDone) << run.szErr;
  }
  EXPECT_TRUE(test::Exists(scratch / "text/points3D.txt"));
  EXPECT_TRUE(test::Exists(scratch / "last/points3D.bin"));
  const test::CommandRun same =
      test::RunOrvo({"convert", "bal", scratch / "b.txt", "bal", "--out", scratch / "b.txt"});
  EXPECT_EQ(same.nCode, ExitFailed);
  EXPECT_NE(same.szErr.find("this output is an input"), std::string::npos) << same.szErr;
}

}  // namespace
}  // namespace orvo::exchange
