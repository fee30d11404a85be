// Seven parameters of a block in memory: from GPS positions, from control points, applied to the images.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/Similarity.h"
#include "geometry/camera/Rotation.h"
#include "run/BundleAdjustment.h"
#include "support/CapturedLog.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

using test::CapturedLog;
using test::ScratchFolder;
using test::WriteFile;

constexpr double kPi = std::numbers::pi;

/// From the block's own frame to that of the control points and of the GPS.
struct Frame {
  double fScale, fPhi, fOmega, fKappa;
  Position T;

  Position Of(const Position& p) const {
    double R[9];
    ComputeRotationMatrix(fPhi, fOmega, fKappa, R);
    Position to;
    for (size_t i = 0; i < 3; ++i) {
      to[i] = fScale * (R[3 * i] * p[0] + R[3 * i + 1] * p[1] + R[3 * i + 2] * p[2]) + T[i];
    }
    return to;
  }
};

const Frame kFrame = {25, 0.05, -0.08, 2.6, {430000, 5100000, 120}};

class SevenParameters : public ::testing::Test {
 protected:
  SevenParameters() {
    block.Paths.szOutputPath = folder.Path();
    block.Limits.Apply_GPS_Data = true;
  }

  /// Two strips of `perStrip` images over ground at height 0, looking down, in the block's own frame.
  void MakeImages(int perStrip) {
    for (int strip = 0; strip < 2; ++strip) {
      for (int k = 0; k < perStrip; ++k) {
        EopRecord image;
        image.X = 10.0 * k;
        image.Y = 12.0 * strip;
        image.Z = 40 + 0.3 * k * (strip - 0.7);
        image.fPhi = 0.01 * k;
        image.fOmega = -0.02 * strip;
        image.fKappa = strip == 0 ? 0.02 : kPi - 0.01 * k;
        block.Images.pEop.push_back(image);
      }
    }
    block.Images.nImageNum = block.Images.nUnknownImageNum = block.Images.nImageFileNum =
        static_cast<int32_t>(block.Images.pEop.size());
  }

  void MakeGps() {
    for (const EopRecord& image : block.Images.pEop) {
      const Position gps = kFrame.Of({image.X, image.Y, image.Z});
      PosRecord record;
      record.X = gps[0];
      record.Y = gps[1];
      record.Z = gps[2];
      block.Images.pPos.push_back(record);
    }
  }

  /// The images went to the frame with their rotations.
  void ExpectInFrame(const std::vector<EopRecord>& before) {
    double R[9];
    ComputeRotationMatrix(kFrame.fPhi, kFrame.fOmega, kFrame.fKappa, R);
    for (size_t i = 0; i < before.size(); ++i) {
      const Position expected = kFrame.Of({before[i].X, before[i].Y, before[i].Z});
      EXPECT_NEAR(block.Images.pEop[i].X, expected[0], 1e-6);
      EXPECT_NEAR(block.Images.pEop[i].Y, expected[1], 1e-6);
      EXPECT_NEAR(block.Images.pEop[i].Z, expected[2], 1e-6);
      double own[9], now[9];
      ComputeRotationMatrix(before[i].fPhi, before[i].fOmega, before[i].fKappa, own);
      ComputeRotationMatrix(block.Images.pEop[i].fPhi, block.Images.pEop[i].fOmega,
                            block.Images.pEop[i].fKappa, now);
      for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
          EXPECT_NEAR(now[3 * r + c],
                      R[3 * r] * own[c] + R[3 * r + 1] * own[3 + c] + R[3 * r + 2] * own[6 + c], 1e-8);
        }
      }
    }
  }

  void ExpectUnmoved(const std::vector<EopRecord>& before) {
    for (size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(block.Images.pEop[i].X, before[i].X);
      EXPECT_EQ(block.Images.pEop[i].Z, before[i].Z);
      EXPECT_EQ(block.Images.pEop[i].fKappa, before[i].fKappa);
    }
  }

  bool ParametersAreClear() const {
    return std::all_of(block.Frame.fSevenParam, block.Frame.fSevenParam + 16,
                       [](double value) { return value == 0; });
  }

  ScratchFolder folder;
  CapturedLog log;
  CBundleAdjustment block{NativePlatform(), log.Console()};
};

std::string Line(const Position& own, const Position& gps) {
  char text[512];
  std::snprintf(text, sizeof text, "%lf\t %lf\t %lf\t %lf\t %lf\t %lf\n", own[0], own[1], own[2], gps[0],
                gps[1], gps[2]);
  return text;
}

// ---- GPS ------------------------------------------------------------------------------------------------

TEST_F(SevenParameters, GpsBringsTheBlockToItsPositions) {
  MakeImages(5);
  MakeGps();
  const std::vector<EopRecord> before = block.Images.pEop;
  EXPECT_EQ(block.ComputeSevenParametersFromGps(), 1);
  EXPECT_NEAR(block.Frame.fSevenParam[14] / block.Frame.fSevenParam[13] * block.Frame.fSevenParam[3], 25,
              1e-7);
  EXPECT_EQ(block.ApplySevenParameters(), 1);
  ExpectInFrame(before);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(block.Outputs.nOutputFailureNum, 0);
}

TEST_F(SevenParameters, AnImageAtGpsZeroTakesNoPartAndIsMovedAndWritten) {
  MakeImages(5);
  MakeGps();
  block.Images.pPos[3] = PosRecord();
  block.Images.pPos[6].Z = std::nan("");
  const std::vector<EopRecord> before = block.Images.pEop;
  EXPECT_EQ(block.ComputeSevenParametersFromGps(), 1);
  const std::string text = test::ReadFile(folder / "Test.txt");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 10);
  const Position own = {before[3].X, before[3].Y, before[3].Z};
  Position moved;
  TransformPoints({&own, 1}, block.Frame.fSevenParam, {&moved, 1});
  EXPECT_NE(text.find(Line(own, moved)), std::string::npos);
  block.ApplySevenParameters();
  ExpectInFrame(before);
}

TEST_F(SevenParameters, TestFileHoldsThePositionsAndTheirDifferences) {
  MakeImages(2);
  MakeGps();
  block.Images.pPos[0].X += 4;
  block.Images.pPos[3].Z -= 2;
  ASSERT_EQ(block.ComputeSevenParametersFromGps(), 1);
  std::string expected;
  for (size_t i = 0; i < 4; ++i) {
    const Position own = {block.Images.pEop[i].X, block.Images.pEop[i].Y, block.Images.pEop[i].Z};
    Position moved;
    TransformPoints({&own, 1}, block.Frame.fSevenParam, {&moved, 1});
    expected += Line(own, {moved[0] - block.Images.pPos[i].X, moved[1] - block.Images.pPos[i].Y,
                           moved[2] - block.Images.pPos[i].Z});
  }
  EXPECT_EQ(test::ReadFile(folder / "Test.txt"), expected);
}

TEST_F(SevenParameters, FailedGpsLeavesTheBlockAsItIs) {
  MakeImages(5);
  MakeGps();
  // A single strip in a straight line.
  for (size_t i = 0; i < 10; ++i) {
    block.Images.pEop[i].X = 10.0 * static_cast<double>(i);
    block.Images.pEop[i].Y = block.Images.pEop[i].Z = 0;
  }
  const std::vector<EopRecord> before = block.Images.pEop;
  EXPECT_EQ(block.ComputeSevenParametersFromGps(), 0);
  EXPECT_EQ(log.Text(), "Calculate seven parameters from GPS data failed!0\n");
  EXPECT_TRUE(ParametersAreClear());
  std::string expected;
  for (size_t i = 0; i < 10; ++i) {
    expected += Line({before[i].X, before[i].Y, before[i].Z},
                     {block.Images.pPos[i].X, block.Images.pPos[i].Y, block.Images.pPos[i].Z});
  }
  EXPECT_EQ(test::ReadFile(folder / "Test.txt"), expected);
  EXPECT_EQ(block.ApplySevenParameters(), 1);
  ExpectUnmoved(before);
}

TEST_F(SevenParameters, WithoutGpsPairsTheStartsFail) {
  MakeImages(2);
  block.Images.pPos.resize(4);
  EXPECT_EQ(block.ComputeSevenParametersFromGps(), 0);
  EXPECT_EQ(log.Count("Calculate seven parameters from GPS data failed!0\n"), 1);
}

TEST_F(SevenParameters, ImagesBehindThePosTableAreReported) {
  MakeImages(5);
  MakeGps();
  block.Images.pPos.resize(8);
  EXPECT_EQ(block.ComputeSevenParametersFromGps(), 1);
  EXPECT_EQ(log.Text(),
            "Error!=================\nError!=================\n"    // the fit
            "Error!=================\nError!=================\n");  // the file
  const std::string text = test::ReadFile(folder / "Test.txt");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8);
}

TEST_F(SevenParameters, ATestFileThatCannotBeMadeCounts) {
  MakeImages(5);
  MakeGps();
  block.Paths.szOutputPath = folder / "absent";
  EXPECT_EQ(block.ComputeSevenParametersFromGps(), 1);
  EXPECT_EQ(block.Outputs.nOutputFailureNum, 1);
}

// ---- Control points -------------------------------------------------------------------------------------

class SevenParametersFromGcp : public SevenParameters {
 protected:
  SevenParametersFromGcp() {
    MakeImages(3);
    IopRecord camera;
    camera.fFocal = 5;
    block.Cameras.pIop.push_back(camera);
    block.Cameras.nCameraNum = block.Cameras.nCameraFileNum = 1;
    for (int32_t i = 0; i < block.Images.nImageNum; ++i) {
      block.Images.pImageIndex.push_back(i);
      block.Images.pImageOrdinal.push_back(i);
      block.Images.pImageCamera.push_back(0);
    }
    block.Cameras.pCameraIndex.push_back(0);
  }

  /// One point of the file, given in the target frame and measured on the images of the own frame.
  std::string Point(const Position& own, int type, size_t imageNum) {
    const Position given = kFrame.Of(own);
    return Measured(own, imageNum, given, type);
  }

  std::string Measured(const Position& own, size_t imageNum, const Position& given, int type) {
    char text[256];
    std::snprintf(text, sizeof text, "P %.9f %.9f %.9f %d\n%zu\n", given[0], given[1], given[2], type,
                  imageNum);
    std::string lines = text;
    for (size_t i = 0; i < imageNum; ++i) {
      const EopRecord& image = block.Images.pEop[i];
      double R[9];
      ComputeRotationMatrix(image.fPhi, image.fOmega, image.fKappa, R);
      const double d[3] = {own[0] - image.X, own[1] - image.Y, own[2] - image.Z};
      double b[3];
      for (int axis = 0; axis < 3; ++axis) b[axis] = R[axis] * d[0] + R[3 + axis] * d[1] + R[6 + axis] * d[2];
      const double f = block.Cameras.pIop[0].fFocal / block.Settings.Image_Coor_Scale;
      std::snprintf(text, sizeof text, "%zu %.9f %.9f\n", i, -f * b[0] / b[2], -f * b[1] / b[2]);
      lines += text;
    }
    return lines;
  }

  int Solve(const std::vector<std::string>& points) {
    std::string text = std::to_string(points.size()) + "\n";
    for (const std::string& point : points) text += point;
    WriteFile(folder / "gcp.txt", text);
    block.Inputs.Forget();
    return block.ComputeSevenParametersFromGcp(folder / "gcp.txt");
  }

  // Measurements are held in single precision, so the frame comes back to about 1e-6 of the block.
  void ExpectNearFrame(const std::vector<EopRecord>& before) {
    for (size_t i = 0; i < before.size(); ++i) {
      const Position expected = kFrame.Of({before[i].X, before[i].Y, before[i].Z});
      EXPECT_NEAR(block.Images.pEop[i].X, expected[0], 0.01);
      EXPECT_NEAR(block.Images.pEop[i].Y, expected[1], 0.01);
      EXPECT_NEAR(block.Images.pEop[i].Z, expected[2], 0.01);
    }
  }

  const Position corners[5] = {{0, 0, 1}, {20, 0, 0}, {20, 12, 2}, {0, 12, 0}, {10, 6, 1}};
};

TEST_F(SevenParametersFromGcp, ABlockInAForeignFrameComesToItsControlPoints) {
  const std::vector<EopRecord> before = block.Images.pEop;
  EXPECT_EQ(Solve({Point(corners[0], 1, 6), Point(corners[1], 1, 6), Point(corners[2], 1, 4),
                   Point(corners[3], 1, 2)}),
            1);
  EXPECT_EQ(block.Points.nControlPointNum, 4);
  EXPECT_EQ(log.Text(), "Read Gcp file...\nGcp number:4\nCalculate seven parameters successed!4\n");
  EXPECT_EQ(block.ApplySevenParameters(), 1);
  ExpectNearFrame(before);
}

TEST_F(SevenParametersFromGcp, CheckPointsTakeNoPart) {
  const std::vector<EopRecord> before = block.Images.pEop;
  EXPECT_EQ(Solve({Point(corners[0], 1, 6), Measured(corners[1], 6, {0, 0, 0}, 2), Point(corners[2], 1, 6),
                   Measured(corners[4], 6, {1, 1, 1}, 0), Point(corners[3], 1, 6)}),
            1);
  EXPECT_EQ(log.Count("Gcp number:5\n"), 1);
  block.ApplySevenParameters();
  ExpectNearFrame(before);
}

TEST_F(SevenParametersFromGcp, PointsThatGiveNoPairAreLeftOut) {
  const std::vector<EopRecord> before = block.Images.pEop;
  EXPECT_EQ(Solve({Point(corners[0], 1, 6), Point(corners[1], 1, 6), Point(corners[2], 1, 6),
                   Point(corners[3], 1, 6), Point(corners[4], 1, 1), Point(corners[4], 1, 0),
                   "P nan 1 2 1\n2\n0 1 1\n1 2 2\n", "P 1 2 3 1\n3\n2 100 200\n2 100 201\n2 101 200\n"}),
            1);
  block.ApplySevenParameters();
  ExpectNearFrame(before);
}

TEST_F(SevenParametersFromGcp, DegenerateControlFails) {
  const struct {
    const char* szName;
    std::vector<std::string> vPoints;
  } rows[] = {
      {"two of three are check points",
       {Point(corners[0], 1, 6), Point(corners[1], 2, 6), Point(corners[2], 2, 6)}},
      {"two control points", {Point(corners[0], 1, 6), Point(corners[1], 1, 6), Point(corners[2], 2, 6)}},
      {"collinear",
       {Point({0, 0, 0}, 1, 6), Point({10, 0, 0}, 1, 6), Point({20, 0, 0}, 1, 6), Point({5, 0, 0}, 1, 6)}},
      {"coincident", {Point(corners[0], 1, 6), Point(corners[0], 1, 6), Point(corners[0], 1, 6)}},
  };
  const std::vector<EopRecord> before = block.Images.pEop;
  for (const auto& row : rows) {
    std::fill_n(block.Frame.fSevenParam, 16, 7.0);
    EXPECT_EQ(Solve(row.vPoints), 0) << row.szName;
    EXPECT_EQ(log.Text().substr(log.Text().rfind("Calculate")),
              "Calculate seven parameters failed!" + std::to_string(block.Points.nControlPointNum) + "\n")
        << row.szName;
    EXPECT_TRUE(ParametersAreClear()) << row.szName;
    block.ApplySevenParameters();
    ExpectUnmoved(before);
  }
}

TEST_F(SevenParametersFromGcp, FewerThanThreePointsAreRefused) {
  EXPECT_EQ(Solve({Point(corners[0], 1, 6), Point(corners[1], 1, 6)}), 0);
  EXPECT_EQ(log.Text(), "Read Gcp file...\nGcp number less than 3\n");
}

TEST_F(SevenParametersFromGcp, AFileThatCannotBeOpenedIsAHardFailure) {
  for (const std::string& path : {folder / "absent.txt", folder.Path(), std::string()}) {
    EXPECT_EQ(block.ComputeSevenParametersFromGcp(path), -1);
  }
  EXPECT_EQ(log.Count("Read Gcp file...\nError!Open gcp file falied!\n"), 3);
}

}  // namespace
}  // namespace orvo
