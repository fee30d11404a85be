#include <gtest/gtest.h>

#include <cstring>

#include "block/OvtFile.h"
#include "geometry/Intersection.h"
#include "results/Print.h"
#include "results/TinyBlock.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

using test::Print;
using test::TinyBlock;

/// The block as the data of a run.
struct OvtRun : TinyBlock {
  explicit OvtRun(const Platform& platform = NativePlatform()) : Object(platform, fConsole.get()) {}
  /// After what the test makes of the block.
  void UseTiePointFile(const std::string& name = "block.ovc") {
    bTextPoints = false;
    WriteFiles(name);
    Hand();
  }
  void Hand() {
    Object.Settings = Run.Settings;
    Object.Paths = Run.Paths;
    Object.Images = Run.Images;
    Object.Cameras = Run.Cameras;
  }
  CBundleAdjustment Object;
};

/// The tie-point file of the block with the intersections in place of the coordinates.
std::string ExpectedOvt(const TinyBlock& block) {
  std::string bytes = block.OvtBytes();
  for (size_t i = 0; i < block.TiePoints.size(); ++i) {
    const auto& point = block.TiePoints[i];
    ObjectPointRecord record;
    record.X = point.X;
    record.Y = point.Y;
    record.Z = point.Z;
    std::vector<ImagePointRecord> rays;
    for (const auto& m : point.Measurements) {
      const int32_t image = block.Run.Images.pImageIndex[static_cast<size_t>(m.nImageOrdinal)];
      const int32_t camera = block.Run.Cameras.pCameraIndex[static_cast<size_t>(
          block.Run.Images.pImageCamera[static_cast<size_t>(m.nImageOrdinal)])];
      // The file holds single precision.
      rays.push_back(
          {image, camera, 0,
           static_cast<float>(double{static_cast<float>(m.x)} * block.Run.Settings.Image_Coor_Scale),
           static_cast<float>(double{static_cast<float>(m.y)} * block.Run.Settings.Image_Coor_Scale)});
    }
    record.nImagePointNum = static_cast<int32_t>(rays.size());
    IntersectPoints(1, &record, rays, block.Run.Images.Kept(), block.Run.Cameras.Usable());
    EncodeOvtPosition(record.X, record.Y, record.Z, bytes.data() + kOvtHeaderBytes + 68 * i);
  }
  return bytes;
}

std::string OvtOutput(const TinyBlock& block) { return block.Output("OrvoResult.ovt"); }

TEST(ResultOvt, DiffersFromItsInputInTheCoordinatesOnly) {
  OvtRun block;
  block.UseTiePointFile();
  EXPECT_EQ(block.Object.WriteResultOvt(), 1);
  const std::string input = block.OvtBytes(), output = OvtOutput(block);
  EXPECT_TRUE(output == ExpectedOvt(block));
  ASSERT_EQ(output.size(), input.size());
  const size_t points = block.TiePoints.size();
  for (size_t i = 0; i < input.size(); ++i) {
    const size_t inRecord = (i - 8) % 68;
    const bool coordinate = i >= 8 && i < 8 + 68 * points && inRecord >= 32 && inRecord < 56;
    ASSERT_TRUE(coordinate || output[i] == input[i]) << i;
  }
  // The reserved fields of the image points are among what stays; they are not 0.
  int32_t reserved = 0;
  std::memcpy(&reserved, output.data() + 8 + 68 * points + 16 + 12, 4);
  EXPECT_EQ(reserved, 1001);
  EXPECT_EQ(block.Object.Outputs.nOutputFailureNum, 0);
}

TEST(ResultOvt, ManyBlocksOnAnyNumberOfProcessors) {
  for (const int processors : {1, 2, 9}) {
    OvtRun block(test::MadeUpPlatform(int64_t{1} << 30, processors));
    const auto points = block.TiePoints;
    while (block.TiePoints.size() < 20000) {
      block.TiePoints.insert(block.TiePoints.end(), points.begin(), points.end());
      block.TiePoints.back().X += 0.25 * static_cast<double>(block.TiePoints.size());
    }
    block.UseTiePointFile();
    EXPECT_EQ(block.Object.WriteResultOvt(), 1);
    EXPECT_TRUE(OvtOutput(block) == ExpectedOvt(block)) << processors;
  }
}

TEST(ResultOvt, TellsItsSteps) {
  OvtRun block(test::MadeUpPlatform(int64_t{1} << 30, 1));
  block.UseTiePointFile();
  block.Object.WriteResultOvt();
  const std::string log = block.Log();
  size_t at = 0;
  for (const char* line : {"CPU Sections:1\n", "0/0 2/7\n", ">>>>Reading ovt file...0\n",
                           "Computing tie point 3D coordinates...\n", "Writing tie point 3D coordinates...\n",
                           "Number:3\n", "Writing image point coordinates...\n",
                           "Total image point number:8\n", "Image point number in section 0: 8\n"}) {
    const size_t found = log.find(line, at);
    ASSERT_NE(found, std::string::npos) << line << "---\n" << log;
    at = found + std::strlen(line);
  }
  EXPECT_EQ(at, log.size());
}

TEST(ResultOvt, EndsThePlanOfTheRun) {
  OvtRun block;
  block.UseTiePointFile();
  block.Object.Paths.szOvtPath = "Resampled.ovt";
  block.Object.Limits.Point_Thinned_Interval = 7;
  block.Object.Points.nTiePointNum = 1;
  block.Object.Points.nGcpNum = 4;
  block.Object.Points.Sections.ObjectPoints = {{0, 1}, {2, 5}};
  block.Object.Points.Sections.ImagePoints.resize(2);
  EXPECT_EQ(block.Object.WriteResultOvt(), 1);
  EXPECT_TRUE(OvtOutput(block) == ExpectedOvt(block));
  EXPECT_EQ(block.Object.Paths.szOvtPath, block.folder / "block.ovt");
  EXPECT_EQ(block.Object.Limits.Point_Thinned_Interval, 1);
  EXPECT_EQ(block.Object.Points.nTiePointNum, 3);
  EXPECT_EQ(block.Object.Points.Sections.Count(), 0);
  EXPECT_TRUE(block.Object.Points.pObjectPoints.empty());
}

TEST(ResultOvt, TextProjectWithATiePointFileKeepsItsName) {
  OvtRun block;
  block.UseTiePointFile("block.OVC");
  block.Object.Paths.szOvtPath = block.folder / "block.ovt";
  EXPECT_EQ(block.Object.WriteResultOvt(), 1);
  EXPECT_TRUE(OvtOutput(block) == ExpectedOvt(block));
}

TEST(ResultOvt, TextProjectHasNone) {
  OvtRun block;
  block.WriteFiles("block.prj");
  block.Hand();
  EXPECT_EQ(block.Object.WriteResultOvt(), 0);
  EXPECT_FALSE(test::Exists(block.folder / "out/OrvoResult.ovt"));
  EXPECT_EQ(block.Log(), "");
  EXPECT_EQ(block.Object.Outputs.nOutputFailureNum, 0);
}

class ResultOvtSections : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(FreeBytes, ResultOvtSections, testing::Values(1, 500, 1500, 5000, 100000));

TEST_P(ResultOvtSections, GiveTheSameFile) {
  for (const int processors : {1, 3}) {
    OvtRun block(test::MadeUpPlatform(GetParam(), processors));
    for (int i = 0; i < 20; ++i) {
      block.TiePoints.push_back(
          block.MakePoint(test::Print("S%d", i), 0, 100 + 7 * i, 150 + i, 3 * i, {0, 1, 3}));
    }
    block.UseTiePointFile();
    EXPECT_EQ(block.Object.WriteResultOvt(), 1);
    EXPECT_TRUE(OvtOutput(block) == ExpectedOvt(block)) << block.Log();
  }
}

TEST(ResultOvt, ControlPointsOfTheFileKeepTheirCoordinates) {
  // One processor and one section: the call covers all the points.
  OvtRun block(test::MadeUpPlatform(int64_t{1} << 30, 1));
  block.TiePoints[1].nType = 1;
  block.UseTiePointFile();
  EXPECT_EQ(block.Object.WriteResultOvt(), 1);
  const std::string output = OvtOutput(block), input = block.OvtBytes(), intersected = ExpectedOvt(block);
  EXPECT_EQ(output.substr(8 + 68, 68), input.substr(8 + 68, 68));
  EXPECT_EQ(output.substr(8, 68), intersected.substr(8, 68));
}

TEST(ResultOvtFailure, NotCreatable) {
  OvtRun block;
  block.UseTiePointFile();
  std::filesystem::create_directory(block.folder / "out/OrvoResult.ovt");
  EXPECT_EQ(block.Object.WriteResultOvt(), 0);
  EXPECT_EQ(block.Log(), "Error!Create ovt file failed!\n");
  EXPECT_EQ(block.Object.Outputs.nOutputFailureNum, 1);
}

TEST(ResultOvtFailure, InputNotReadable) {
  OvtRun block;
  block.UseTiePointFile();
  std::filesystem::remove(block.folder / "block.ovt");
  EXPECT_EQ(block.Object.WriteResultOvt(), 0);
  std::filesystem::create_directory(block.folder / "block.ovt");
  EXPECT_EQ(block.Object.WriteResultOvt(), 0);
  EXPECT_EQ(block.Log(), "Error!Open ovt file failed!\nError!Open ovt file failed!\n");
}

TEST(ResultOvtFailure, InputCutAtEveryByte) {
  OvtRun block(test::MadeUpPlatform(int64_t{1} << 30, 2));
  block.UseTiePointFile();
  const std::string input = block.OvtBytes();
  const size_t pointsEnd = 8 + 68 * block.TiePoints.size();
  for (size_t length = 0; length < input.size(); ++length) {
    test::WriteFile(block.folder / "block.ovt", input.substr(0, length));
    block.Object.Inputs.Forget();
    block.Object.Outputs.nOutputFailureNum = 0;
    const int result = block.Object.WriteResultOvt();
    const std::string output = OvtOutput(block);
    ASSERT_EQ(block.Object.Outputs.nOutputFailureNum, 1) << length;
    if (length < 8) {
      ASSERT_EQ(result, 0) << length;
    } else if (length < pointsEnd) {
      ASSERT_EQ(result, 0) << length;
      ASSERT_TRUE(block.Log().ends_with("Number of object point is unexpected!\n")) << length;
      ASSERT_EQ(output.size(), 8 + (length - 8) / 68 * 68) << length;
    } else {
      ASSERT_EQ(result, 1) << length;
      ASSERT_EQ(output.size(), pointsEnd + (length - pointsEnd) / 16 * 16) << length;
      ASSERT_TRUE(output.substr(pointsEnd) == input.substr(pointsEnd, output.size() - pointsEnd)) << length;
    }
  }
}

TEST(ResultOvtFailure, HeadersThatNoFileCanHold) {
  const int32_t rows[][2] = {
      {2147483647, 2147483647}, {-1, -1}, {-2147483647, 8}, {3, 2147483647}, {3, -5}, {0, 0}, {2, 8}, {5, 8}};
  for (const auto& row : rows) {
    OvtRun block(test::MadeUpPlatform(1000, 2));
    block.UseTiePointFile();
    std::string bytes = block.OvtBytes();
    EncodeOvtHeader(row[0], row[1], bytes.data());
    test::WriteFile(block.folder / "block.ovt", bytes);
    const int result = block.Object.WriteResultOvt();
    const std::string output = OvtOutput(block);
    EXPECT_EQ(output.substr(0, 8), bytes.substr(0, 8)) << row[0];
    EXPECT_LE(output.size(), bytes.size());
    EXPECT_EQ(result, row[0] == 0 || row[0] == 2 || row[0] == 3 ? 1 : 0) << row[0];
  }
}

TEST(ResultOvtFailure, FullDiskIsCounted) {
  if (!test::Exists("/dev/full")) GTEST_SKIP();
  OvtRun block;
  block.UseTiePointFile();
  std::filesystem::create_symlink("/dev/full", block.folder / "out/OrvoResult.ovt");
  EXPECT_EQ(block.Object.WriteResultOvt(), 1);
  EXPECT_EQ(block.Object.Outputs.nOutputFailureNum, 1);
}

}  // namespace
}  // namespace orvo
