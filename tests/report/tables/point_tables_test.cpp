#include "report/tables/PointTables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>

#include "report/RunFigures.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

using namespace report;

constexpr double kScale = 0.5;  // working units of a pixel
constexpr double kFocal = 1000 * kScale;

/// Five images in a row, 100 apart and 1000 above the ground, that look straight down. Their frame is
/// normalised.
struct Survey {
  std::vector<EopRecord> Eop;
  std::vector<IopRecord> Iop;
  ObjectFrame Frame;
  std::vector<ObjectPointRecord> Points;
  std::vector<ImagePointRecord> Measurements;

  Survey() {
    Frame.bNormalized = true;
    Frame.dCoorMean[0] = 7000;
    Frame.dCoorMean[1] = 8000;
    Frame.dCoorMean[2] = 500;
    Frame.dCoorScale = 0.01;
    for (int32_t k = 0; k < 5; ++k) {
      EopRecord image;
      image.X = k;
      image.Z = 10;
      Eop.push_back(image);
    }
    IopRecord camera;
    camera.nImageWidth = camera.nImageHeight = 1000;
    camera.fFocal = kFocal;
    Iop.push_back(camera);
  }

  /// In metres of the files, seen by these images.
  ObjectPointRecord& Add(const std::string& name, Triple place, std::vector<int32_t> images,
                         int32_t type = 0) {
    ObjectPointRecord point;
    std::memcpy(point.szName, name.data(), std::min(name.size(), sizeof point.szName));
    point.X = (place.X - 7000) * 0.01;
    point.Y = (place.Y - 8000) * 0.01;
    point.Z = (place.Z - 500) * 0.01;
    point.nType = type;
    point.nImagePointNum = static_cast<int32_t>(images.size());
    point.nFirstImagePoint = std::ssize(Measurements);
    for (const int32_t image : images) {
      const EopRecord& eop = Eop[static_cast<size_t>(std::max(image, 0))];
      const double depth = eop.Z - point.Z;
      Measurements.push_back({image, 0, 0, static_cast<float>(kFocal * (point.X - eop.X) / depth),
                              static_cast<float>(kFocal * (point.Y - eop.Y) / depth)});
    }
    Points.push_back(point);
    return Points.back();
  }
};

struct Tables {
  std::string szResiduals, szPoints, szCloud;
};

/// Of a survey given in sections of so many points.
Tables TablesOf(const Survey& survey, size_t section = 1000000, int threads = 1) {
  const ScratchFolder folder;
  TextWriter residuals, points, cloud;
  EXPECT_TRUE(residuals.Open(folder / kResidualsName));
  EXPECT_TRUE(points.Open(folder / kPointsName));
  EXPECT_TRUE(cloud.Open(folder / kCloudName));
  TableSources sources;
  sources.Pass = {survey.Eop, survey.Iop, 3 * kScale, 3 * kScale};
  sources.Frame = survey.Frame;
  sources.fImageScale = kScale;
  sources.vImageNames = {"left", "a,b", "=c", "d\"\n", "right"};
  sources.nThreads = threads;
  PointTables tables(sources, {&residuals, &points, &cloud});
  tables.Begin();
  const std::span<const ObjectPointRecord> all = survey.Points;
  for (size_t first = 0; first < all.size(); first += section)
    tables.Add(all.subspan(first, std::min(section, all.size() - first)), survey.Measurements);
  tables.End();
  EXPECT_TRUE(residuals.Close() && points.Close() && cloud.Close());
  return {ReadFile(folder / kResidualsName), ReadFile(folder / kPointsName), ReadFile(folder / kCloudName)};
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(PointTables, ListEveryMeasurementAndPoint) {
  Survey survey;
  survey.Add("T1", {7100, 8050, 500}, {0, 1, 2});
  survey.Add("=T,2", {7200, 7900, 500}, {2, 3});
  survey.Add("lost", {7200, 7900, 500}, {4});
  survey.Add("C", {7200, 8000, 500}, {1, 3}, 1);
  survey.Add("K", {7200, 8000, 500}, {-1, 0, 4}, 2);
  const Tables tables = TablesOf(survey);
  EXPECT_EQ(
      LinesOf(tables.szResiduals),
      (std::vector<std::string>{
          "image,point,x,y,vx,vy,kept,against", "left,T1,100.0000,50.0000,0.0000,0.0000,1,kept",
          "\"a,b\",T1,0.0000,50.0000,0.0000,0.0000,1,kept", "'=c,T1,-100.0000,50.0000,0.0000,0.0000,1,kept",
          "'=c,\"'=T,2\",0.0000,-100.0000,0.0000,0.0000,1,kept",
          "\"d\"\"\\x0a\",\"'=T,2\",-100.0000,-100.0000,0.0000,0.0000,1,kept",
          "right,lost,-200.0000,-100.0000,,,1,", "\"a,b\",C,100.0000,0.0000,0.0000,0.0000,1,kept",
          "\"d\"\"\\x0a\",C,-100.0000,0.0000,0.0000,0.0000,1,kept",
          "left,K,200.0000,0.0000,0.0000,0.0000,1,kept", "right,K,-200.0000,0.0000,0.0000,0.0000,1,kept"}));
  const std::string angle2 = "11.421", angle4 = "22.620";  // 2 atan(0.1), 2 atan(0.2)
  const std::vector<std::string> points = LinesOf(tables.szPoints);
  ASSERT_EQ(points.size(), 6u);
  EXPECT_EQ(points[0], "point,X,Y,Z,type,rays,kept_rays,rmse,largest_angle");
  EXPECT_EQ(points[3], "lost,,,,tie,1,1,,");
  EXPECT_EQ(points[4], "C,7200.000000,8000.000000,500.000000,control,2,2,0.0000," + angle2);
  EXPECT_EQ(points[5], "K,7200.000000,8000.000000,500.000000,check,2,2,0.0000," + angle4);
  EXPECT_EQ(points[2].substr(0, 9), "\"'=T,2\",7");
}

TEST(PointTables, TakeGrossMeasurementsOutOfThePoint) {
  Survey survey;
  survey.Add("T", {7200, 8000, 500}, {0, 1, 2, 3, 4});
  survey.Measurements[4].y += static_cast<float>(8 * kScale);
  const Tables tables = TablesOf(survey);
  const std::vector<std::string> lines = LinesOf(tables.szResiduals);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[3], "'=c,T,0.0000,0.0000,0.0000,0.0000,1,kept");
  EXPECT_EQ(lines[5], "right,T,-200.0000,8.0000,0.0000,8.0000,0,kept");
  EXPECT_EQ(LinesOf(tables.szPoints)[1], "T,7200.000000,8000.000000,500.000000,tie,5,4,0.0000,17.021");
}

TEST(PointTables, TellGrossMeasurementsOfPointsThatTheKeptOnesDoNotGive) {
  // Of two rays across the base nothing is left when both are gross, but both together meet in between.
  Survey survey;
  survey.Add("T", {7200, 8000, 500}, {1, 3});
  survey.Measurements[0].y += static_cast<float>(8 * kScale);
  survey.Measurements[1].y -= static_cast<float>(8 * kScale);
  // Parallel rays meet nowhere.
  survey.Add("far", {7200, 8000, 500}, {1, 3});
  survey.Measurements[3].x = survey.Measurements[2].x;
  const Tables tables = TablesOf(survey);
  const std::vector<std::string> lines = LinesOf(tables.szResiduals);
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[1], "\"a,b\",T,100.0000,8.0000,0.0000,8.0000,0,all");
  EXPECT_EQ(lines[2], "\"d\"\"\\x0a\",T,-100.0000,-8.0000,0.0000,-8.0000,0,all");
  EXPECT_EQ(lines[3], "\"a,b\",far,100.0000,0.0000,,,1,");
  EXPECT_EQ(lines[4], "\"d\"\"\\x0a\",far,100.0000,0.0000,,,1,");
  EXPECT_EQ(LinesOf(tables.szPoints)[1], "T,,,,tie,2,0,,");
}

TEST(PointTables, TellTheRmseOfLengths) {
  // Both images see the point off by a pixel in y, one up, one down: no place of the point takes any of it.
  Survey survey;
  survey.Add("T", {7200, 8000, 500}, {1, 3});
  survey.Measurements[0].y += static_cast<float>(kScale);
  survey.Measurements[1].y -= static_cast<float>(kScale);
  const Tables tables = TablesOf(survey);
  EXPECT_EQ(LinesOf(tables.szResiduals)[1], "\"a,b\",T,100.0000,1.0000,0.0000,1.0000,1,kept");
  EXPECT_EQ(LinesOf(tables.szResiduals)[2], "\"d\"\"\\x0a\",T,-100.0000,-1.0000,0.0000,-1.0000,1,kept");
  EXPECT_EQ(LinesOf(tables.szPoints)[1].substr(0, 57),
            "T,7200.000000,8000.000000,500.000000,tie,2,2,1.0000,11.42");
}

template <typename Number>
Number NumberAt(const std::string& bytes, size_t at) {
  Number value{};
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

TEST(PointTables, MakeACloudOfPoints) {
  Survey survey;
  survey.Add("T", {7100, 8050, 520}, {0, 1, 2});
  survey.Add("lost", {7200, 7900, 500}, {4});
  survey.Add("C", {7200, 8000, 500}, {1, 3}, 1);
  const std::string cloud = TablesOf(survey).szCloud;
  const std::string end = "end_header\n";
  const size_t body = cloud.find(end) + end.size();
  constexpr size_t kRow = 3 * 8 + 4 + 2 + 1;
  ASSERT_EQ(cloud.size(), body + 2 * kRow);
  const std::vector<std::string> head = LinesOf(cloud.substr(0, body));
  EXPECT_EQ(head[0], "ply");
  EXPECT_EQ(head[1], "format binary_little_endian 1.0");
  EXPECT_EQ(head[3], "element vertex 2");
  EXPECT_NEAR(NumberAt<double>(cloud, body), 7100, 1e-4);
  EXPECT_NEAR(NumberAt<double>(cloud, body + 8), 8050, 1e-4);
  EXPECT_NEAR(NumberAt<double>(cloud, body + 16), 520, 1e-3);
  EXPECT_LT(NumberAt<float>(cloud, body + 24), 1e-3f);
  EXPECT_EQ(NumberAt<uint16_t>(cloud, body + 28), 3);
  EXPECT_EQ(NumberAt<uint8_t>(cloud, body + 30), 0);
  EXPECT_EQ(NumberAt<uint16_t>(cloud, body + kRow + 28), 2);
  EXPECT_EQ(NumberAt<uint8_t>(cloud, body + kRow + 30), 1);
}

TEST(PointTables, AreTheSameForEveryDivisionAndNumberOfThreads) {
  Survey survey;
  for (int k = 0; k < 5000; ++k) {
    survey.Add("T" + std::to_string(k), {7000 + 0.1 * k, 8000 + 100 * std::sin(k), 500 + 10 * std::cos(k)},
               {k % 3, k % 3 + 1, k % 3 + 2});
    survey.Measurements.back().y += static_cast<float>(2 * std::sin(5 * k));
  }
  const Tables one = TablesOf(survey);
  EXPECT_EQ(LinesOf(one.szResiduals).size(), 15001u);
  EXPECT_EQ(LinesOf(one.szPoints).size(), 5001u);
  for (const auto& [section, threads] : {std::pair<size_t, int>{1000000, 4}, {1234, 1}, {700, 3}}) {
    const Tables other = TablesOf(survey, section, threads);
    EXPECT_TRUE(other.szResiduals == one.szResiduals);
    EXPECT_TRUE(other.szPoints == one.szPoints);
    EXPECT_TRUE(other.szCloud == one.szCloud);
  }
}

TEST(PointTables, SurviveMeasurementsOfNothing) {
  Survey survey;
  survey.Add(std::string(32, 'n'), {7100, 8050, 500}, {0, 1, 2});
  survey.Points[0].nImagePointNum = 1000000;
  survey.Add("nan", {7100, 8050, 500}, {0, 1, 2});
  survey.Measurements[4].x = NAN;
  survey.Measurements[5].nImage = 99;
  survey.Add("none", {7100, 8050, 500}, {});
  const Tables tables = TablesOf(survey);
  const std::vector<std::string> points = LinesOf(tables.szPoints);
  ASSERT_EQ(points.size(), 4u);
  EXPECT_EQ(points[1].substr(0, 33), std::string(32, 'n') + ",");
  EXPECT_EQ(points[2], "nan,,,,tie,2,2,,");
  EXPECT_EQ(points[3], "none,,,,tie,0,0,,");
}

}  // namespace
}  // namespace orvo::test
