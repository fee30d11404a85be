// Tie points of binary tie-point files.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "block/Measurement.h"
#include "block/OvtPoints.h"
#include "block/OvtRange.h"
#include "block/SectionChecks.h"

namespace orvo::test {
namespace {

/// `n` points with the measurements of `perPoint` each, on `imageNum` images in turn.
std::string ManyOvtPoints(int n, int perPoint, int imageNum) {
  std::vector<OvtPoint> points;
  std::vector<OvtMeasure> measures;
  for (int i = 0; i < n; ++i) {
    std::string name("p");
    name += std::to_string(i);
    points.push_back(MakeOvtPoint(name.c_str(), 0, perPoint, perPoint * i));
    for (int m = 0; m < perPoint; ++m) {
      measures.push_back({(i + m) % imageNum, static_cast<float>(i), static_cast<float>(m), 0});
    }
  }
  return OvtBytes(points, measures);
}

TEST(OvtPoints, OvcProject) {
  ProjectFiles files;
  WriteFile(files.szOvc, ProjectText(3, 0, ""));
  WriteFile(files.szOvt, OvtBytes({MakeOvtPoint("a", 0, 2, 0), MakeOvtPoint("b", 0, 1, 2)},
                                  {{0, 1000, 2000, 0}, {2, 3, 4, 0}, {1, 5, 6, 0}}));
  WriteFile(files.szGcp, "1\n" + PointText("g", 1, {{0, 7, 8}, {1, 9, 10}}));
  LoggedBlock block;
  block->Settings.Object_Coor_Scale = 2;
  files.ReadAll(*block, files.szOvc, files.szGcp);
  block.Log();
  EXPECT_EQ(3, Read(block, 0));
  EXPECT_EQ(">>>>Reading ovt file...0\n>>>>Reading gcp file...\n", block.Log());
  EXPECT_EQ((NameList{"a", "b", "g"}), Names(*block));
  EXPECT_EQ(1, block->Points.pObjectPoints[0].X) << "the coordinates of an .ovt are not scaled";
  EXPECT_EQ(0, block->Points.pObjectPoints[0].nFirstImagePoint);
  EXPECT_EQ(3, block->Points.pObjectPoints[2].nFirstImagePoint)
      << "the first one of the GCP stands right behind the last";
  ASSERT_EQ(5u, block->Points.pImagePoints.size());
  EXPECT_EQ(1.0f, block->Points.pImagePoints[0].x);
  EXPECT_EQ(2, block->Points.pImagePoints[1].nImage);
  EXPECT_EQ(1, block->Points.pImagePoints[2].nObjectPoint);
  EXPECT_EQ(2, block->Points.pImagePoints[3].nObjectPoint);
  EXPECT_EQ(4, block->Points.Sections.ImagePoints[0].nLast);
}

TEST(OvtPoints, OvtPointsGrowTheCamera) {
  ProjectFiles files;
  WriteFile(files.szOvc, "1 1 0\n0 80 60 0 50000 0 0 0 0 0\n" + ImageText(0, 0));
  WriteFile(files.szOvt, OvtBytes({MakeOvtPoint("a", 0, 2, 0)}, {{0, 40, 30, 0}, {0, 50, -31, 0}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szOvc, "");
  Read(block, 0);
  EXPECT_EQ(102, block->Cameras.pIop[0].nImageWidth);
  EXPECT_EQ(64, block->Cameras.pIop[0].nImageHeight);
}

TEST(OvtPoints, AMeasureOnADeletedImageStaysInAnOvt) {
  ProjectFiles files;
  WriteFile(files.szOvc, "3 1 0\n" + kCamera + ImageText(0, 0) + ImageText(1, -1) + ImageText(2, 0));
  WriteFile(files.szOvt,
            OvtBytes({MakeOvtPoint("a", 0, 3, 0)}, {{0, 1, 1, 0}, {1, 99999, 1, 0}, {2, 1, 1, 0}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szOvc, "");
  block.Log();
  EXPECT_EQ(1, Read(block, 0));
  EXPECT_EQ(">>>>Reading ovt file...0\nImage ID is invalid:1 1\n", block.Log());
  ASSERT_EQ(3u, block->Points.pImagePoints.size());
  EXPECT_EQ(0, block->Points.pImagePoints[0].nImage);
  EXPECT_EQ(-1, block->Points.pImagePoints[1].nImage);
  EXPECT_EQ(1, block->Points.pImagePoints[2].nImage);
  EXPECT_EQ(4000, block->Cameras.pIop[0].nImageWidth);
}

/// A block of 2 images whose tie points are read though nobody counted them.
void ReadOvtUncounted(LoggedBlock& block, ProjectFiles& files, const std::string& ovt, int64_t points) {
  WriteFile(files.szOvc, ProjectText(2, 0, ""));
  WriteFile(files.szOvt, ovt);
  block->ReadTables(files.szOvc);
  block->Paths.szProjectPath = files.szOvc;
  block->Paths.szOvtPath = files.szOvt;
  block->Points.nTiePointNum = points;
  MakeSections(*block, {{0, points - 1}});
  Read(block, 0);
}

TEST(OvtPoints, AnOrdinalOfAnOvtOutOfRangeEndsTheReader) {
  for (int wrong : {-1, 3, 2147483647, INT32_MIN}) {
    ProjectFiles files;
    LoggedBlock block;
    ReadOvtUncounted(
        block, files,
        OvtBytes({MakeOvtPoint("a", 0, 1, 0), MakeOvtPoint("b", 0, 2, 1), MakeOvtPoint("c", 0, 1, 3)},
                 {{0, 1, 1, 0}, {0, 1, 1, 0}, {wrong, 1, 1, 0}, {0, 1, 1, 0}}),
        3);
    EXPECT_EQ(">>>>Reading ovt file...0\nError!Image ID of the point 1 is out of range!\n", block.Log());
    EXPECT_EQ((NameList{"a", "b", "c"}), Names(*block));
    EXPECT_EQ(1, block->Points.pObjectPoints[0].nImagePointNum);
    EXPECT_EQ(1, block->Points.pObjectPoints[1].nImagePointNum);
    EXPECT_EQ(0, block->Points.pObjectPoints[2].nImagePointNum);
  }
}

TEST(OvtPoints, AnOrdinalEqualToTheImageCountPassesAsADeletedImage) {
  ProjectFiles files;
  LoggedBlock block;
  ReadOvtUncounted(block, files, OvtBytes({MakeOvtPoint("a", 0, 2, 0)}, {{2, 1, 1, 0}, {1, 1, 1, 0}}), 1);
  EXPECT_EQ(">>>>Reading ovt file...0\nImage ID is invalid:0 2\n", block.Log());
  ASSERT_EQ(2u, block->Points.pImagePoints.size());
  EXPECT_EQ(-1, block->Points.pImagePoints[0].nImage);
  EXPECT_EQ(1, block->Points.pImagePoints[1].nImage);
}

TEST(OvtPoints, CoordinatesOfAnOvtThatAreNotFinite) {
  const float nan = std::nanf("");
  ProjectFiles files;
  LoggedBlock block;
  std::vector<OvtPoint> points = {MakeOvtPoint("a", 0, 1, 0), MakeOvtPoint("b", 0, 1, 1),
                                  MakeOvtPoint("c", 1, 1, 2)};
  points[1].X = nan;
  points[2].Z = nan;
  ReadOvtUncounted(block, files, OvtBytes(points, {{0, nan, 1, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}), 3);
  EXPECT_EQ(">>>>Reading ovt file...0\n", block.Log());
  ASSERT_EQ(3u, block->Points.pImagePoints.size());
  EXPECT_EQ(-1, block->Points.pImagePoints[0].nImage);
  EXPECT_EQ(1, block->Points.pImagePoints[1].nImage);
  EXPECT_EQ(0, block->Points.pObjectPoints[1].X);
  EXPECT_EQ(-1, block->Points.pImagePoints[2].nImage);
}

TEST(OvtPoints, IndicesOfAnOvtThatMakeNoSense) {
  struct Row {
    const char* about;
    int countA, firstA, countB, firstB, countC, firstC;
    std::vector<int> read;
  };
  const std::vector<OvtMeasure> measures = {{0, 1, 1, 0}, {0, 2, 2, 0}, {0, 3, 3, 0},
                                            {0, 4, 4, 0}, {0, 5, 5, 0}, {0, 6, 6, 0}};
  for (const Row& row :
       {Row{"in order", 2, 0, 2, 2, 2, 4, {1, 2, 3, 4, 5, 6}}, Row{"gap", 1, 0, 1, 2, 2, 4, {1, 3, 5, 6}},
        Row{"starts late", 1, 1, 2, 2, 2, 4, {2, 3, 4, 5, 6}},
        Row{"overlap", 3, 0, 2, 2, 2, 4, {1, 2, 3, 5, 6}}, Row{"backwards", 2, 4, 2, 2, 2, 0, {5, 6}},
        Row{"behind the end", 2, 0, 2, 6, 2, 4, {1, 2, 5, 6}},
        Row{"far behind", 2, 0, 2, 2147483647, 2, 4, {1, 2, 5, 6}},
        Row{"negative index", 2, 0, 2, -1, 2, 4, {1, 2, 5, 6}},
        Row{"negative count", 2, 0, -2, 2, 2, 4, {1, 2, 5, 6}},
        Row{"huge count", 2, 0, 2, 2, 2147483647, 4, {1, 2, 3, 4, 5, 6}},
        Row{"huge count first", 2147483647, 0, 2, 2, 2, 4, {1, 2, 3, 4, 5, 6}},
        Row{"empty with any index", 2, 0, 0, 77, 2, 4, {1, 2, 5, 6}}}) {
    ProjectFiles files;
    LoggedBlock block;
    ReadOvtUncounted(
        block, files,
        OvtBytes({MakeOvtPoint("a", 0, row.countA, row.firstA), MakeOvtPoint("b", 0, row.countB, row.firstB),
                  MakeOvtPoint("c", 0, row.countC, row.firstC)},
                 measures),
        3);
    std::vector<int> read;
    for (const ImagePointRecord& image : block->Points.pImagePoints)
      read.push_back(static_cast<int>(std::lround(image.x * 1000)));
    EXPECT_EQ(row.read, read) << row.about;
    EXPECT_EQ(3u, block->Points.pObjectPoints.size()) << row.about;
  }
}

/// The points of the file in its order, and then all measurements one by one.
void ReadOvtOneByOne(LoggedBlock& block, const std::string& path) {
  OvtReader file;
  ASSERT_TRUE(file.Open(path));
  block->Log.Print(">>>>Reading ovt file...0\n");
  OvtRangeCheck ranges(file.MeasureNum());
  char record[kOvtPointBytes];
  for (int64_t i = 0; i < file.PointNum() && file.ReadPoints(i, 1, record) == 1; ++i) {
    block->Points.pObjectPoints.push_back(MakeObjectPoint(DecodeOvtPoint(record)));
    ObjectPointRecord& point = block->Points.pObjectPoints.back();
    point.nImagePointNum = ranges.Take(point.nFirstImagePoint, point.nImagePointNum);
  }
  const auto references = MakeImageReferences(block->Images, block->Cameras);
  OvtMeasureWindow window(file);
  bool readable = true;
  ReadOvtMeasuresOneByOne(block->Section(), {block->Points.pObjectPoints}, references, window, readable);
}

TEST(OvtPoints, ManyThreadsReadWhatOneByOneReads) {
  struct Row {
    const char* about;
    int deletedImages, wrongOrdinals, wideMeasures, strangePoints;
    int64_t cutBytes;
  };
  const Row rows[] = {{"plain", 0, 0, 0, 0, 0},
                      {"deleted images", 1, 0, 0, 0, 0},
                      {"an ordinal too high", 1, 1, 0, 0, 0},
                      {"measurements outside", 0, 0, 40, 0, 0},
                      {"gaps and nonsense", 1, 0, 9, 50, 0},
                      {"cut file", 0, 0, 1, 3, 50000},
                      {"cut among points", 0, 0, 0, 0, 700000},
                      {"all of it", 1, 2, 30, 90, 3000}};
  for (const Row& row : rows) {
    std::mt19937 random(7);
    const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    std::vector<OvtPoint> points;
    std::vector<OvtMeasure> measures;
    for (int i = 0; i < 9000; ++i) {
      const int count = below(7);
      points.push_back(MakeOvtPoint("p", i % 500 == 0 ? 1 : 0, count, static_cast<int>(measures.size())));
      points.back().X = i % 700 == 0 ? std::nan("") : i;
      for (int m = 0; m < count; ++m)
        measures.push_back(
            {below(6), static_cast<float>(below(4000) - 2000), static_cast<float>(below(3)), 0});
    }
    const auto anyMeasure = [&]() -> OvtMeasure& { return measures[random() % measures.size()]; };
    for (int i = 0; i < row.wrongOrdinals; ++i) anyMeasure().nImageOrdinal = 7;
    for (int i = 0; i < row.wideMeasures; ++i)
      anyMeasure().x = static_cast<float>(2000 + below(8)) + 0.5f * static_cast<float>(i % 2);
    for (int i = 0; i < row.strangePoints; ++i) {
      OvtPoint& point = points[random() % points.size()];
      (i % 3 == 0 ? point.nImagePointNum : point.nFirstImagePoint) += below(200) - 100;
    }
    std::string bytes = OvtBytes(points, measures);
    bytes.resize(bytes.size() - static_cast<size_t>(row.cutBytes));
    ProjectFiles files;
    std::string project = "6 1 0\n" + kCamera;
    for (int i = 0; i < 6; ++i) project += ImageText(i, i == 4 && row.deletedImages > 0 ? -1 : 0);
    WriteFile(files.szOvc, project);
    WriteFile(files.szOvt, bytes);
    LoggedBlock slow;
    slow->ReadTables(files.szOvc);
    slow.Log();
    ReadOvtOneByOne(slow, files.szOvt);
    const std::string log = slow.Log();
    for (const int processors : {1, 2, 5}) {
      LoggedBlock fast;
      fast->System.ProcessorCount = [=] { return processors; };
      fast->ReadTables(files.szOvc);
      fast.Log();
      fast->Paths.szProjectPath = files.szOvc;
      fast->Paths.szOvtPath = files.szOvt;
      fast->Points.nTiePointNum = 9000;
      MakeSections(*fast, {{0, 8999}});
      Read(fast, 0);
      EXPECT_TRUE(fast.Log() == log) << row.about;
      ASSERT_EQ(fast->Points.pObjectPoints.size(), slow->Points.pObjectPoints.size()) << row.about;
      ASSERT_EQ(fast->Points.pImagePoints.size(), slow->Points.pImagePoints.size()) << row.about;
      for (size_t i = 0; i < slow->Points.pObjectPoints.size(); ++i) {
        const ObjectPointRecord &a = slow->Points.pObjectPoints[i], &b = fast->Points.pObjectPoints[i];
        ASSERT_TRUE(std::memcmp(&a, &b, sizeof a) == 0) << row.about << " " << i;
      }
      for (size_t i = 0; i < slow->Points.pImagePoints.size(); ++i) {
        const ImagePointRecord &a = slow->Points.pImagePoints[i], &b = fast->Points.pImagePoints[i];
        ASSERT_TRUE(std::memcmp(&a, &b, sizeof a) == 0) << row.about << " " << i;
      }
      EXPECT_EQ(fast->Cameras.pIop[0].nImageWidth, slow->Cameras.pIop[0].nImageWidth) << row.about;
      EXPECT_EQ(fast->Cameras.pIop[0].nImageHeight, slow->Cameras.pIop[0].nImageHeight) << row.about;
    }
  }
}

TEST(OvtPoints, SeveralSectionsOfAnOvtAreTheOneSection) {
  ProjectFiles files;
  WriteFile(files.szOvc, ProjectText(5, 0, ""));
  WriteFile(files.szOvt, ManyOvtPoints(50, 3, 5));
  WriteFile(files.szGcp, "3\n" + PointText("g", 1, {{0, 7, 8}}) + PointText("h", 2, {{1, 9, 10}, {2, 1, 1}}) +
                             PointText("i", 1, {}));
  LoggedBlock whole;
  files.ReadAll(*whole, files.szOvc, files.szGcp);
  ASSERT_EQ(1, whole->Points.Sections.Count());
  ASSERT_EQ(53, Read(whole, 0));

  for (int64_t memory : {0, 300, 1000, 3000, 8000}) {
    LoggedBlock parts(memory);
    files.ReadAll(*parts, files.szOvc, files.szGcp);
    EXPECT_EQ("", WhatIsWrongWithSections(parts->Points.Sections, 53));
    EXPECT_GT(parts->Points.Sections.Count(), 1);
    size_t point = 0, imagePoint = 0;
    for (int32_t s = 0; s < parts->Points.Sections.Count(); ++s) {
      const int64_t count = Read(parts, s);
      EXPECT_EQ(parts->Points.Sections.ObjectPoints[static_cast<size_t>(s)].Count(), count);
      for (const ObjectPointRecord& read : parts->Points.pObjectPoints) {
        const ObjectPointRecord& expected = whole->Points.pObjectPoints[point++];
        EXPECT_STREQ(expected.szName, read.szName);
        ASSERT_EQ(expected.nImagePointNum, read.nImagePointNum);
        for (int32_t m = 0; m < read.nImagePointNum; ++m) {
          const ImagePointRecord& a = whole->Points.pImagePoints[imagePoint++];
          const ImagePointRecord& b =
              parts->Points.pImagePoints[static_cast<size_t>(read.nFirstImagePoint + m)];
          EXPECT_EQ(a.nImage, b.nImage);
          EXPECT_EQ(a.x, b.x);
          EXPECT_EQ(a.y, b.y);
        }
      }
    }
    EXPECT_EQ(53u, point);
    EXPECT_EQ(whole->Points.pImagePoints.size(), imagePoint);
  }
}

TEST(OvtPoints, MoreOvtRecordsThanOneReadTakes) {
  ProjectFiles files;
  WriteFile(files.szOvc, ProjectText(3, 0, ""));
  WriteFile(files.szOvt, ManyOvtPoints(40000, 5, 3));
  LoggedBlock block;
  files.ReadAll(*block, files.szOvc, "");
  EXPECT_EQ(40000, Read(block, 0));
  ASSERT_EQ(200000u, block->Points.pImagePoints.size());
  for (size_t i = 0; i < 200000; i += 7) {
    ASSERT_EQ(static_cast<float>(static_cast<double>(i / 5) * 0.001), block->Points.pImagePoints[i].x);
    ASSERT_EQ(static_cast<int32_t>((i / 5 + i % 5) % 3), block->Points.pImagePoints[i].nImage);
  }
}

TEST(OvtPoints, TheSectionBeginsInTheMiddleOfTheGcp) {
  ProjectFiles files;
  WriteFile(files.szOvc, ProjectText(2, 0, ""));
  WriteFile(files.szOvt, ManyOvtPoints(4, 1, 2));
  WriteFile(files.szGcp, "3\n" + PointText("g", 1, {{0, 7, 8}, {1, 1, 1}}) + PointText("h", 2, {{1, 9, 10}}) +
                             PointText("i", 1, {{0, 3, 3}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szOvc, files.szGcp);
  MakeSections(*block, {{0, 4}, {5, 5}, {6, 6}, {7, 6}});
  EXPECT_EQ(5, Read(block, 0));
  EXPECT_EQ((NameList{"p0", "p1", "p2", "p3", "g"}), Names(*block));
  EXPECT_EQ(1, Read(block, 1));
  EXPECT_EQ((NameList{"h"}), Names(*block));
  EXPECT_EQ(0, block->Points.pObjectPoints[0].nFirstImagePoint);
  EXPECT_EQ(1, Read(block, 2));
  EXPECT_EQ((NameList{"i"}), Names(*block));
  block.Log();
  EXPECT_EQ(0, Read(block, 3));
  EXPECT_EQ("", block.Log());
}

}  // namespace
}  // namespace orvo::test
