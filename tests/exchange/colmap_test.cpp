#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "exchange/Commands.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "exchange/ResultModel.h"
#include "exchange/colmap/ColmapForm.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ScratchFolder;
using test::WriteFile;

constexpr char kCameras[] = "# cameras\n1 SIMPLE_RADIAL 640 480 800 320 240 -0.1\n";
constexpr char kImages[] =
    "3 1 0 0 0 0 0 0 1 a/b.jpg\n100.5 200.25 7 30 40 -1\n5 2 0 0 0 -1 0.5 0 1 c d.jpg\n90 210 7\n8 1 0 0 0 1 "
    "0 0 1 e\n\n";
constexpr char kPoints[] = "7 0.1 0.2 8 10 20 30 0.5 3 0 5 0\n";

struct Model {
  std::string cameras = kCameras, images = kImages, points = kPoints;
};

ForeignModel Read(const std::string& folder) {
  ImportOptions options;
  options.szSource = folder;
  return ReadColmap(options, Silent());
}

ForeignModel Read(const ScratchFolder& scratch, const Model& model) {
  WriteFile(scratch / "cameras.txt", model.cameras);
  WriteFile(scratch / "images.txt", model.images);
  WriteFile(scratch / "points3D.txt", model.points);
  return Read(scratch.Path());
}

void Write(ForeignModel& model, const std::string& folder, bool text) {
  ExportOptions options;
  options.szOut = folder;
  options.bText = text;
  WriteColmap(model, options, Silent());
}

TEST(Colmap, TextByHand) {
  const ScratchFolder scratch;
  ForeignModel model = Read(scratch, {});
  ASSERT_EQ(model.Images.size(), 3u);
  EXPECT_EQ(model.Images[0].szPath, "a/b.jpg");
  EXPECT_EQ(model.Images[1].szPath, "c d.jpg");
  EXPECT_EQ(model.Images[1].nId, 5);
  // Unturned: y down and z to the front become y up and z back.
  EXPECT_EQ(model.Images[1].R, (std::array<double, 9>{1, 0, 0, 0, -1, 0, 0, 0, -1}));
  EXPECT_EQ(model.Images[1].S, (std::array<double, 3>{1, -0.5, 0}));
  const auto points = AllPoints(model);
  ASSERT_EQ(points.size(), 1u);
  EXPECT_EQ(points[0].szName, "7");
  ASSERT_EQ(points[0].Measurements.size(), 2u);
  EXPECT_EQ(points[0].Measurements[0].nImage, 0);
  EXPECT_EQ(points[0].Measurements[0].x, 100.5 - 320);
  EXPECT_EQ(points[0].Measurements[0].y, 240 - 200.25);
}

TEST(Colmap, EveryCameraThereAndBack) {
  for (const NamedCamera& named : EveryCamera()) {
    for (const bool text : {false, true}) {
      const ScratchFolder scratch;
      ForeignModel model = MakeModel(CameraLike(named));
      ASSERT_GT(AllPoints(model).size(), 50u) << named.szName;
      Write(model, scratch / "m", text);
      ForeignModel back = Read(scratch / "m");
      const ModelDifference difference = DifferenceOf(model, back);
      EXPECT_EQ(back.Cameras[0].szModel, named.szName);
      EXPECT_EQ(back.Images[2].szPath, model.Images[2].szPath);
      EXPECT_EQ(back.Images[2].nId, 12);
      EXPECT_EQ(difference.dCamera, 0) << named.szName;
      EXPECT_EQ(difference.dPoint, 0) << named.szName;
      EXPECT_LT(difference.dMeasurement, 1e-9) << named.szName;
      EXPECT_LT(difference.dRotation, 1e-14) << named.szName;
      EXPECT_LT(difference.dCentre, 1e-12) << named.szName;
    }
  }
}

TEST(Colmap, ABinaryModelEqualsItsTextModel) {
  const auto source = test::SharedData("exchange/sceaux/bin/cameras.bin");
  if (!source) GTEST_SKIP() << "the shared data sets are not at hand";
  const ScratchFolder scratch;
  ForeignModel binary = Read(source->substr(0, source->rfind('/')));
  Write(binary, scratch / "text", true);
  ForeignModel text = Read(scratch / "text");
  const ModelDifference difference = DifferenceOf(binary, text);
  EXPECT_EQ(difference.dCamera, 0);
  EXPECT_EQ(difference.dPoint, 0);
  EXPECT_LT(difference.dMeasurement, 1e-9);
  EXPECT_LT(difference.dRotation, 1e-14);
  EXPECT_LT(difference.dCentre, 1e-13);
}

TEST(Colmap, FilesOfRigsDoNotMatter) {
  const ScratchFolder scratch;
  WriteFile(scratch / "rigs.txt", "1 1 CAMERA 1\n");
  WriteFile(scratch / "frames.txt", "1 1 1 0 0 0 0 0 0 1 CAMERA 1 3\n");
  ForeignModel model = Read(scratch, {});
  EXPECT_EQ(AllPoints(model).size(), 1u);
}

/// What is broken, and what is said of it where.
struct BrokenModel {
  const char* szFile;
  int64_t nLine;
  const char* szWhat;
  Model Broken;
};

std::vector<BrokenModel> BrokenModels() {
  return {
      {"cameras.txt", 1, "the camera model LENS is not known", {"1 LENS 640 480 800\n"}},
      {"cameras.txt",
       1,
       "the parameters of the camera end at the end of the line, 3 are needed",
       {"1 SIMPLE_PINHOLE 640 480 800 320\n"}},
      {"cameras.txt",
       1,
       "the camera has more parameters than its model",
       {"1 SIMPLE_PINHOLE 6 4 800 3 2 1\n"}},
      {"cameras.txt",
       1,
       "the parameters of the camera end at \"3x\", 3 are needed",
       {"1 SIMPLE_PINHOLE 640 480 800 3x 240\n"}},
      {"cameras.txt",
       1,
       "camera 1 can't be used: its focal length is not above 0",
       {"1 SIMPLE_PINHOLE 640 480 -1 320 240\n"}},
      {"cameras.txt",
       1,
       "the image size is not between 1 and 1000000",
       {"1 SIMPLE_PINHOLE 0 480 1 320 240\n"}},
      {"cameras.txt",
       2,
       "camera 1 is there twice",
       {"1 SIMPLE_PINHOLE 6 4 8 3 2\n1 SIMPLE_PINHOLE 6 4 8 3 2\n"}},
      {"images.txt",
       1,
       "image 3 (b) has camera 2, which is not among the cameras",
       {kCameras, "3 1 0 0 0 0 0 0 2 b\n\n"}},
      {"images.txt", 1, "image 3 (b) has no usable pose", {kCameras, "3 0 0 0 0 0 0 0 1 b\n\n"}},
      {"images.txt",
       1,
       "IMAGE_ID, QW, QX, QY, QZ, TX, TY, TZ, CAMERA_ID end at \"nan\"",
       {kCameras, "3 1 0 0 nan 0 0 0 1 b\n\n"}},
      {"images.txt",
       3,
       "image 3 (b) is there twice",
       {kCameras, "3 1 0 0 0 0 0 0 1 b\n\n3 1 0 0 0 0 0 0 1 b\n\n"}},
      {"images.txt",
       2,
       "X, Y, POINT3D_ID end at the end of the line",
       {kCameras, "3 1 0 0 0 0 0 0 1 b\n1 2 7 3\n"}},
      {"points3D.txt",
       1,
       "POINT3D_ID, X, Y, Z, R, G, B, ERROR end at \"inf\"",
       {kCameras, kImages, "7 0 0 inf 1 2 3 0.5 3 0 5 0\n"}},
      {"points3D.txt",
       1,
       "the track of point 7 names image 4, which is not among the images",
       {kCameras, kImages, "7 0 0 8 1 2 3 0.5 4 0 5 0\n"}},
      {"points3D.txt",
       1,
       "the track of point 7 names measurement 2 of image 3, which has fewer",
       {kCameras, kImages, "7 0 0 8 1 2 3 0.5 3 2 5 0\n"}},
      {"points3D.txt",
       1,
       "the track of point 7 names measurement 1 of image 3, which belongs to another point",
       {kCameras, kImages, "7 0 0 8 1 2 3 0.5 3 1 5 0\n"}},
      {"points3D.txt",
       3,
       "point 7 is there twice",
       {kCameras, kImages, "7 0 0 8 1 2 3 0.5 3 0 5 0\n# 8\n7 0 0 8 1 2 3 0.5 3 0 5 0\n"}},
      {"points3D.txt",
       1,
       "IMAGE_ID, POINT2D_IDX end at the end of the line",
       {kCameras, kImages, "7 0 0 8 1 2 3 0.5 3\n"}},
  };
}

TEST(Colmap, BrokenText) {
  for (const BrokenModel& row : BrokenModels()) {
    const ScratchFolder scratch;
    const Finding fault = FaultOf([&] {
      ForeignModel model = Read(scratch, row.Broken);
      AllPoints(model);
    });
    EXPECT_EQ(fault.szWhat, row.szWhat);
    EXPECT_EQ(fault.szFile, scratch / row.szFile) << row.szWhat;
    EXPECT_EQ(fault.nLine, row.nLine) << row.szWhat;
    EXPECT_FALSE(fault.szRemedy.empty()) << row.szWhat;
  }
}

TEST(Colmap, APointThatComesTwiceInABinaryFileIsRefused) {
  const ScratchFolder scratch;
  ForeignModel made = MakeModel(CameraLike(EveryCamera()[0]));
  Write(made, scratch / "twice", false);
  // The first point again in place of the second.
  std::string bytes = test::ReadFile(scratch / "twice/points3D.bin");
  uint64_t length = 0;
  std::memcpy(&length, bytes.data() + 8 + 43, sizeof length);
  const size_t second = 8 + 51 + 8 * length;
  bytes.replace(second, 8, bytes.substr(8, 8));
  WriteFile(scratch / "twice/points3D.bin", bytes);
  ImportOptions options;
  options.szSource = scratch / "twice";
  ForeignModel model = ReadColmap(options, Silent());
  const Finding fault = FaultOf([&] { AllPoints(model); });
  EXPECT_EQ(fault.szWhat, "point 1000 is there twice");
  EXPECT_EQ(fault.nByte, static_cast<int64_t>(second));
}

TEST(Colmap, ABinaryFileCutOffAnywhereIsRefused) {
  const ScratchFolder scratch;
  ForeignModel made = MakeModel(CameraLike(EveryCamera()[4]));
  Write(made, scratch / "whole", false);
  for (const char* name : {"cameras.bin", "images.bin", "points3D.bin"}) {
    const std::string whole = test::ReadFile(scratch / ("whole/" + std::string(name)));
    for (const size_t length : {size_t{0}, size_t{7}, whole.size() / 2, whole.size() - 1, whole.size() + 1}) {
      Write(made, scratch / "cut", false);
      WriteFile(scratch / ("cut/" + std::string(name)), (whole + "x").substr(0, length));
      const Finding fault = FaultOf([&] {
        ForeignModel model = Read(scratch / "cut");
        AllPoints(model);
      });
      EXPECT_EQ(fault.szFile, scratch / ("cut/" + std::string(name))) << length;
      EXPECT_GE(fault.nByte, 0) << name << " " << length << " " << fault.szWhat;
    }
  }
}

TEST(Colmap, AFolderWithoutAModelIsRefusedWithTheOneBelow) {
  const ScratchFolder scratch;
  ForeignModel made = MakeModel(CameraLike(EveryCamera()[0]));
  EXPECT_NE(FaultOf([&] { Read(scratch.Path()); }).szWhat.find("neither cameras.bin"), std::string::npos);
  Write(made, scratch / "sparse/0", false);
  EXPECT_EQ(FaultOf([&] { Read(scratch.Path()); }).szRemedy, "Name " + scratch.Path() + "/sparse/0");
}

TEST(Colmap, IdsComeBackAndFitTheProject) {
  const struct {
    std::vector<int64_t> Source, Project;
  } rows[] = {
      {{3, 5, 8}, {3, 5, 8}},
      {{2147483646, 0, 1}, {2147483646, 0, 1}},
      {{2147483647, 0, 1}, {2, 0, 1}},
      {{4294967294, 2147483648, 0}, {1, 2, 0}},
      {{4000000000, 7, 2147483647}, {0, 7, 1}},
  };
  for (const auto& row : rows) {
    const ScratchFolder scratch;
    ForeignModel model = MakeModel(CameraLike(EveryCamera()[2]));
    model.Cameras.resize(3, model.Cameras[0]);
    for (size_t i = 0; i < 6; ++i) model.Images[i].nCamera = static_cast<int32_t>(i % 3);
    for (size_t i = 0; i < 3; ++i) model.Cameras[i].nId = row.Source[i];
    model.ImageIds = row.Source;
    model.ImageIds.insert(model.ImageIds.end(), {100, 101, 102});
    Write(model, scratch / "m", false);
    ForeignModel read = Read(scratch / "m");
    EXPECT_EQ(read.ImageIds, model.ImageIds);
    ImportOptions options;
    options.szOut = scratch / "b.ovc";
    WriteBlock(read, options, Silent());
    const ResultBlock result = ReadResult(scratch / "b.ovc");
    for (size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(result.Block.Images[i].nId, row.Project[i]) << row.Source[0] << " " << i;
      EXPECT_EQ(result.Block.Cameras[i].nId, row.Project[i]) << row.Source[0] << " " << i;
    }
    ForeignModel back = ModelOfResult(result, SidecarOf(result, {}, Silent()), {}, Silent());
    for (const bool text : {false, true}) {
      Write(back, scratch / (text ? "t" : "n"), text);
      const ForeignModel last = Read(scratch / (text ? "t" : "n"));
      EXPECT_EQ(last.ImageIds, model.ImageIds) << row.Source[0];
      for (size_t i = 0; i < 3; ++i) EXPECT_EQ(last.Cameras[i].nId, row.Source[i]) << i;
    }
  }
}

TEST(Colmap, NewIdsAreTold) {
  const ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "m");
  WriteFile(scratch / "m/cameras.txt", "4294967290 SIMPLE_PINHOLE 640 480 800 320 240\n");
  WriteFile(
      scratch / "m/images.txt",
      "2147483647 1 0 0 0 0.5 0 0 4294967290 a\n100.5 200.25 7\n5 1 0 0 0 -1 0.5 0 4294967290 b\n90 210 "
      "7\n");
  WriteFile(scratch / "m/points3D.txt", "7 0.1 0.2 8 10 20 30 0.5 2147483647 0 5 0\n");
  const test::CommandRun run = test::RunOrvo({"import", "colmap", scratch / "m", "--out", scratch / "b"});
  EXPECT_EQ(run.nCode, 0) << run.szErr;
  EXPECT_NE(run.szOut.find("New IDs: 1 camera whose"), std::string::npos) << run.szOut;
  EXPECT_NE(run.szOut.find("New IDs: 1 image whose"), std::string::npos) << run.szOut;
  const ResultBlock written = ReadResult(scratch / "b.ovc");
  EXPECT_EQ(written.Block.Images[0].nId, 0);
  EXPECT_EQ(written.Block.Images[1].nId, 5);
}

TEST(Colmap, CamerasThatTheFormHoldsUnderAnotherName) {
  const struct {
    LensModel Lens;
    std::vector<double> Parameters;
    bool bOneFocal;
    const char* szModel;
  } rows[] = {{LensModel::SimpleRadial, {-0.1}, false, "OPENCV"},
              {LensModel::Radial, {-0.1, 0.01}, false, "OPENCV"},
              {LensModel::Brown, {-0.1, 0.01, 1e-3, 1e-3, 0.01}, true, "FULL_OPENCV"},
              {LensModel::RadialFisheye, {-0.01, 0.001}, false, "OPENCV_FISHEYE"}};
  for (const auto& row : rows) {
    const ScratchFolder scratch;
    ForeignModel model = MakeModel(CameraLike({"perspective", row.Lens, row.Parameters, row.bOneFocal}));
    Write(model, scratch / "m", false);
    ForeignModel back = Read(scratch / "m");
    EXPECT_EQ(back.Cameras[0].szModel, row.szModel);
    for (const LensPoint direction : {LensPoint{0.4, -0.3}, {-0.5, 0.1}}) {
      const LensPoint one = PixelOf(model.Cameras[0], direction), other = PixelOf(back.Cameras[0], direction);
      EXPECT_NEAR(one.u, other.u, 1e-10) << row.szModel;
      EXPECT_NEAR(one.v, other.v, 1e-10) << row.szModel;
    }
  }
}

}  // namespace
}  // namespace orvo::exchange
