#include <gtest/gtest.h>

#include <cmath>

#include "results/Print.h"
#include "results/SlowModel.h"
#include "results/TinyBlock.h"

namespace orvo {
namespace {

using test::Print;
using test::TinyBlock;

/// The lines and figures of one kind of points, by the slow intersection.
struct Kind {
  std::string sLines, sErrors;
  double dFigures[6] = {}, dMax[3] = {};
  int nCount = 0;
};

/// Six decimals of an error of metres leave room for the difference of two ways to solve a 3x3 system.
Kind Collect(const TinyBlock& block, bool control) {
  Kind kind;
  for (const auto& point : block.Gcp) {
    if (control ? point.nType != 1 : point.nType < 2) continue;
    const auto rays = block.Rays(point);
    double d[3] = {};
    if (rays.size() > 1) {
      const test::Vector3 P =
          test::SlowIntersection(rays, block.Run.Images.Kept(), block.Run.Cameras.Usable());
      const double given[3] = {point.X, point.Y, point.Z};
      for (size_t i = 0; i < 3; ++i) {
        d[i] = (P[i] - given[i]) / block.Run.Settings.Object_Coor_Scale;
        kind.dFigures[i] += d[i];
        kind.dFigures[3 + i] += d[i] * d[i];
        if (std::abs(d[i]) > std::abs(kind.dMax[i])) kind.dMax[i] = d[i];
      }
      ++kind.nCount;
    }
    kind.sLines += Print("%s\t%12.6lf\t%12.6lf\t%12.6lf\t", point.sName.c_str(), point.X, point.Y, point.Z);
    kind.sLines += Print("%12.6lf\t%12.6lf\t%12.6lf\n", d[0], d[1], d[2]);
    kind.sErrors += Print("%12.6lf\t%12.6lf\t%12.6lf\t%12.6lf\t%12.6lf\t%12.6lf\t%8d\n", point.X, point.Y,
                          point.Z, d[0], d[1], d[2], point.nType);
  }
  for (size_t i = 0; i < 3 && kind.nCount > 0; ++i) {
    kind.dFigures[i] /= kind.nCount;
    kind.dFigures[3 + i] = std::sqrt(kind.dFigures[3 + i] / kind.nCount);
  }
  return kind;
}

std::string FigureText(const double* six, const double* max) {
  return Print("MEAN:%12.6lf\t%12.6lf\t%12.6lf\n", six[0], six[1], six[2]) +
         Print("RMSE:%12.6lf\t%12.6lf\t%12.6lf\n", six[3], six[4], six[5]) +
         Print("MAX:%12.6lf\t%12.6lf\t%12.6lf\n", max[0], max[1], max[2]);
}

std::string Head(const char* seconds, const double* image, double gsd) {
  return std::string("###Adjustment information\nTotal run time:") + seconds +
         "s\nImage point reprojection error:\n" + Print("MEAN:%12.6lf\t%12.6lf\n", image[0], image[1]) +
         Print("RMSE:%12.6lf\t%12.6lf\n", image[2], image[3]) + Print("GSD:%12.6lf\n\n", gsd);
}

void FillStatistics(TinyBlock::Parts& run) {
  run.Progress.fStartTick = 1000;
  run.Progress.fEndTick = 13345.4;
  run.Residuals.fMeanResidualX = 0.0001;
  run.Residuals.fMeanResidualY = -0.0002;
  run.Residuals.fRmsResidualX = 0.0007;
  run.Residuals.fRmsResidualY = 0.0009;
  run.Frame.fGsd = 0.25f;
  run.Points.nControlPointNum = 2;
  run.Points.nCheckPointNum = 2;
  for (int i = 0; i < 6; ++i) run.Residuals.dControlResidual[i] = run.Residuals.dCheckResidual[i] = 50 + i;
}

TEST(Report, ListsControlAndCheckPoints) {
  for (const double objectScale : {1.0, 0.01}) {
    TinyBlock block(0.001, objectScale);
    FillStatistics(block.Run);
    block.WriteFiles("block.prj");
    EXPECT_TRUE(block.Run.WriteReport());
    const Kind control = Collect(block, true), check = Collect(block, false);
    const double image[4] = {0.1, -0.2, 0.7, 0.9};
    EXPECT_EQ(block.Output("OrvoAdjustReport.txt"),
              Head("12.345", image, 0.25) + "Control point number:2\nControl point residuals:\n" +
                  control.sLines + FigureText(control.dFigures, control.dMax) +
                  "\nCheck point number:2\nCheck point residuals:\n" + check.sLines +
                  FigureText(check.dFigures, check.dMax));
    EXPECT_EQ(block.Output("ObjectPointError.xyz"), control.sErrors + check.sErrors);
    // Statistics stay in working units.
    EXPECT_EQ(block.Run.Residuals.fMeanResidualX, 0.0001);
    EXPECT_EQ(block.Run.Residuals.fMeanResidualY, -0.0002);
    EXPECT_EQ(block.Run.Residuals.fRmsResidualX, 0.0007);
    EXPECT_EQ(block.Run.Residuals.fRmsResidualY, 0.0009);
    for (int i = 0; i < 6; ++i) {
      EXPECT_NEAR(block.Run.Residuals.dControlResidual[i], control.dFigures[i], 1e-7 / objectScale);
      EXPECT_NEAR(block.Run.Residuals.dCheckResidual[i], check.dFigures[i], 1e-7 / objectScale);
    }
    EXPECT_EQ(block.Log(), "");
  }
}

TEST(Report, ErrorFileEndsWithTheCheckPoints) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  block.Run.WriteReport();
  std::string types;
  std::istringstream lines(block.Output("ObjectPointError.xyz"));
  for (std::string line; std::getline(lines, line);) types += line.substr(line.rfind('\t')) + "\n";
  EXPECT_EQ(types, "\t       1\n\t       1\n\t       2\n\t       3\n");
}

TEST(Report, LargestResidualKeepsItsSign) {
  TinyBlock block;
  // The surveyed height of one check point is 7 above what the images say, of the other 2 below.
  for (auto& point : block.Gcp) {
    if (point.sName == "K1") point.Z += 7;
    if (point.sName == "K2") point.Z -= 2;
  }
  block.WriteFiles("block.prj");
  block.Run.WriteReport();
  const std::string report = block.Output("OrvoAdjustReport.txt");
  const std::string max = report.substr(report.rfind("MAX:"));
  double x = 0, y = 0, z = 0;
  ASSERT_EQ(std::sscanf(max.c_str(), "MAX:%lf %lf %lf", &x, &y, &z), 3);
  EXPECT_NEAR(z, -7, 0.5);
  EXPECT_EQ(max, FigureText(block.Run.Residuals.dCheckResidual, Collect(block, false).dMax).substr(2 * 44));
}

TEST(Report, WithoutGcpFileKeepsTheFiguresOfTheIteration) {
  TinyBlock block;
  FillStatistics(block.Run);
  block.Run.Paths.szGcpPath = block.folder / "absent";
  EXPECT_TRUE(block.Run.WriteReport());
  const double image[4] = {0.1, -0.2, 0.7, 0.9}, figures[6] = {50, 51, 52, 53, 54, 55}, max[3] = {};
  EXPECT_EQ(block.Output("OrvoAdjustReport.txt"),
            Head("12.345", image, 0.25) + "Control point number:2\nControl point residuals:\n" +
                FigureText(figures, max) + "\nCheck point number:2\nCheck point residuals:\n" +
                FigureText(figures, max));
  EXPECT_EQ(block.Output("ObjectPointError.xyz"), "");
}

TEST(Report, WithoutControlPointsIsZero) {
  TinyBlock block;
  block.Gcp.clear();
  block.WriteFiles("block.prj");
  block.Run.WriteReport();
  const std::string zeros =
      "MEAN:    0.000000\t    0.000000\t    0.000000\n"
      "RMSE:    0.000000\t    0.000000\t    0.000000\n"
      "MAX:    0.000000\t    0.000000\t    0.000000\n";
  EXPECT_TRUE(block.Output("OrvoAdjustReport.txt")
                  .ends_with("Control point number:0\nControl point residuals:\n" + zeros +
                             "\nCheck point number:0\nCheck point residuals:\n" + zeros));
}

TEST(Report, StartValuesWithoutAnAdjustment) {
  TinyBlock block(0.0005);
  block.WriteFiles("block.prj");
  block.Run.WriteReport();
  EXPECT_TRUE(block.Output("OrvoAdjustReport.txt")
                  .starts_with("###Adjustment information\n"
                               "Total run time:0.000s\n"
                               "Image point reprojection error:\n"
                               "MEAN:  200.000000\t  200.000000\n"
                               "RMSE:  200.000000\t  200.000000\n"
                               "GSD:    0.100000\n\n"
                               "Control point number:0\n"));
}

TEST(Report, PointThatCannotBeIntersectedIsListedButNotCounted) {
  TinyBlock block;
  FillStatistics(block.Run);
  block.Gcp[2].Measurements.resize(1);
  block.Gcp[1].Measurements.clear();
  block.WriteFiles("block.prj");
  block.Run.WriteReport();
  const Kind control = Collect(block, true), check = Collect(block, false);
  ASSERT_EQ(control.nCount, 1);
  ASSERT_EQ(check.nCount, 1);
  const std::string report = block.Output("OrvoAdjustReport.txt");
  EXPECT_NE(report.find(control.sLines + FigureText(control.dFigures, control.dMax)), std::string::npos);
  EXPECT_NE(report.find(check.sLines + FigureText(check.dFigures, check.dMax)), std::string::npos);
  EXPECT_NE(
      report.find("C2\t  240.000000\t  180.000000\t   15.000000\t    0.000000\t    0.000000\t    0.000000\n"),
      std::string::npos);
}

TEST(Report, OtherTypesAreNeither) {
  TinyBlock block;
  block.Gcp[0].nType = 0;
  block.Gcp[1].nType = -1;
  block.WriteFiles("block.prj");
  block.Run.WriteReport();
  EXPECT_EQ(block.Output("ObjectPointError.xyz"),
            Collect(block, true).sErrors + Collect(block, false).sErrors);
  EXPECT_EQ(block.Output("OrvoAdjustReport.txt").find("C1\t"), std::string::npos);
}

TEST(Report, FilesThatCannotBeOpened) {
  for (const char* name : {"out/OrvoAdjustReport.txt", "out/ObjectPointError.xyz"}) {
    TinyBlock block;
    block.WriteFiles("block.prj");
    std::filesystem::create_directory(block.folder / name);
    EXPECT_FALSE(block.Run.WriteReport());
    EXPECT_EQ(block.Run.Outputs.nOutputFailureNum, 1);
    EXPECT_EQ(block.Run.Residuals.fRmsResidualX, 0.1);
    EXPECT_EQ(block.Log(), "");
  }
}

TEST(Report, FullDiskIsCounted) {
  if (!test::Exists("/dev/full")) GTEST_SKIP();
  TinyBlock block;
  block.WriteFiles("block.prj");
  std::filesystem::create_symlink("/dev/full", block.folder / "out/OrvoAdjustReport.txt");
  std::filesystem::create_symlink("/dev/full", block.folder / "out/ObjectPointError.xyz");
  EXPECT_TRUE(block.Run.WriteReport());
  EXPECT_EQ(block.Run.Outputs.nOutputFailureNum, 2);
}

TEST(Report, GcpFileCutAtEveryByte) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  const std::string gcp = block.GcpText();
  for (size_t length = 0; length < gcp.size(); ++length) {
    test::WriteFile(block.szGcp, gcp.substr(0, length));
    ASSERT_TRUE(block.Run.WriteReport()) << length;
    const std::string report = block.Output("OrvoAdjustReport.txt");
    ASSERT_NE(report.find("\nCheck point number:0\n"), std::string::npos) << length;
    ASSERT_TRUE(report.ends_with('\n')) << length;
  }
}

TEST(Report, LineEndsOfTheGcpFileDoNotMatter) {
  TinyBlock block, other;
  block.WriteFiles("block.prj");
  other.WriteFiles("block.prj");
  std::string text;
  for (const char c : other.GcpText()) text += c == '\n' ? std::string("\r\n") : std::string(1, c);
  test::WriteFile(other.szGcp, text);
  block.Run.WriteReport();
  other.Run.WriteReport();
  EXPECT_EQ(other.Output("OrvoAdjustReport.txt"), block.Output("OrvoAdjustReport.txt"));
  EXPECT_EQ(other.Output("ObjectPointError.xyz"), block.Output("ObjectPointError.xyz"));
}

}  // namespace
}  // namespace orvo
