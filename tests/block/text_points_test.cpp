// Tie points of text projects.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "block/SectionChecks.h"

namespace orvo::test {
namespace {

TEST(TextPoints, TextProject) {
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(3, 2,
                                      PointText("a", 0, {{0, 1000, 2000}, {2, -3000, 4}}, "10 20 30") +
                                          PointText("b", 0, {{1, 5, 6}})));
  WriteFile(files.szGcp, "1\n" + PointText("g", 1, {{0, 7, 8}, {1, 9, 10}}, "40 50 60"));
  LoggedBlock block;
  block->Settings.Object_Coor_Scale = 2;
  files.ReadAll(*block, files.szText, files.szGcp);
  block.Log();
  EXPECT_EQ(3, Read(block, 0));
  EXPECT_EQ(">>>>Reading points from prj file...\n>>>>Reading gcp file...\n", block.Log());
  EXPECT_EQ((NameList{"a", "b", "g"}), Names(*block));
  const auto& points = block->Points.pObjectPoints;
  EXPECT_EQ(20, points[0].X);
  EXPECT_EQ(40, points[0].Y);
  EXPECT_EQ(60, points[0].Z);
  EXPECT_EQ(0, points[0].nFirstImagePoint);
  EXPECT_EQ(2, points[0].nImagePointNum);
  EXPECT_EQ(2, points[1].nFirstImagePoint);
  EXPECT_EQ(40, points[2].X) << "control points are not scaled";
  EXPECT_EQ(3, points[2].nFirstImagePoint);
  EXPECT_EQ(1, points[2].nType);
  const auto& images = block->Points.pImagePoints;
  ASSERT_EQ(5u, images.size());
  EXPECT_EQ(0, images[0].nImage);
  EXPECT_EQ(1.0f, images[0].x);
  EXPECT_EQ(2.0f, images[0].y);
  EXPECT_EQ(2, images[1].nImage);
  EXPECT_EQ(1, images[2].nObjectPoint);
  EXPECT_EQ(2, images[4].nObjectPoint);
  EXPECT_EQ(0.01f, images[4].y);
  EXPECT_EQ(0, block->Points.Sections.ImagePoints[0].nFirst);
  EXPECT_EQ(4, block->Points.Sections.ImagePoints[0].nLast);
}

TEST(TextPoints, TextPointsGrowTheCamera) {
  ProjectFiles files;
  WriteFile(files.szText, "1 1 1\n0 80 60 0 50000 0 0 0 0 0\n" + ImageText(0, 0) +
                              PointText("a", 0, {{0, 40, 30}, {0, -50, 30.5}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, "");
  Read(block, 0);
  EXPECT_EQ(102, block->Cameras.pIop[0].nImageWidth);
  EXPECT_EQ(62, block->Cameras.pIop[0].nImageHeight);
}

TEST(TextPoints, AMeasureOnADeletedImageRemovesATextPoint) {
  ProjectFiles files;
  WriteFile(files.szText, "3 1 3\n" + kCamera + ImageText(0, 0) + ImageText(1, -1) + ImageText(2, 0) +
                              PointText("a", 0, {{0, 1, 1}, {1, 1, 1}, {2, 1, 1}}) +
                              PointText("b", 0, {{0, 2, 2}, {2, 3, 3}}) + PointText("c", 0, {{1, 1, 1}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, "");
  EXPECT_EQ(1, Read(block, 0));
  EXPECT_EQ((NameList{"b"}), Names(*block));
  ASSERT_EQ(2u, block->Points.pImagePoints.size());
  EXPECT_EQ(0, block->Points.pObjectPoints[0].nFirstImagePoint);
  EXPECT_EQ(0, block->Points.pImagePoints[0].nObjectPoint);
  EXPECT_EQ(0.002f, block->Points.pImagePoints[0].x);
}

TEST(TextPoints, AWrongOrdinalEndsTheTextReader) {
  ProjectFiles files;
  WriteFile(files.szText,
            ProjectText(2, 3,
                        PointText("a", 0, {{0, 1, 1}}) + PointText("b", 0, {{0, 1, 1}, {2, 1, 1}}) +
                            PointText("c", 0, {{0, 1, 1}})));
  WriteFile(files.szGcp, "1\n" + PointText("g", 1, {{0, 1, 1}}));
  LoggedBlock block;
  block->ReadTables(files.szText);
  block->Paths.szProjectPath = files.szText;
  block->Paths.szGcpPath = files.szGcp;
  block->Points.nTiePointNum = 3;
  MakeSections(*block, {{0, 3}});
  EXPECT_EQ(2, Read(block, 0));
  EXPECT_EQ(">>>>Reading points from prj file...\nError!Image ID is invalid:1 1\n>>>>Reading gcp file...\n",
            block.Log());
  EXPECT_EQ((NameList{"a", "g"}), Names(*block));
}

TEST(TextPoints, ControlPointsOfATextProjectCountOnce) {
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(1, 5,
                                      PointText("a", 1, {{0, 1, 1}}) + PointText("b", 2, {{0, 1, 1}}) +
                                          PointText("c", 3, {{0, 1, 1}}) + PointText("d", 1, {{0, 1, 1}}) +
                                          PointText("e", 0, {{0, 1, 1}})));
  WriteFile(files.szGcp, "1\n" + PointText("g", 1, {{0, 1, 1}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, files.szGcp);
  EXPECT_EQ(1, block->Points.nControlPointNum);
  for (int pass = 0; pass < 3; ++pass) {
    EXPECT_EQ(6, Read(block, 0));
    EXPECT_EQ(3, block->Points.nControlPointNum);
    EXPECT_EQ(1, block->Points.nCheckPointNum);
  }
  block->Count(files.szText, files.szGcp);
  EXPECT_EQ(1, block->Points.nControlPointNum);
  Read(block, 0);
  EXPECT_EQ(3, block->Points.nControlPointNum);
}

TEST(TextPoints, ATextPointIsPassedOverByTheOrdinalOfItsFirstMeasure) {
  // The line that stands for the count is the first measurement; the skip comes out right where that says how
  // many measurements follow it.
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(4, 4,
                                      PointText("a", 0, {{2, 1, 1}, {0, 1, 1}, {3, 1, 1}}) +
                                          PointText("b", 0, {{0, 1, 1}}) + PointText("c", 0, {{1, 5, 5}}) +
                                          PointText("d", 0, {{3, 1, 1}, {0, 1, 1}})));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, "");
  MakeSections(*block, {{0, 1}, {2, 3}});
  EXPECT_EQ(2, Read(block, 0));
  EXPECT_EQ((NameList{"a", "b"}), Names(*block));
  EXPECT_EQ(2, Read(block, 1));
  EXPECT_EQ((NameList{"c", "d"}), Names(*block));
  EXPECT_EQ(0, block->Points.pObjectPoints[0].nFirstImagePoint);
  EXPECT_EQ(0, block->Points.Sections.ImagePoints[1].nFirst);
  EXPECT_EQ(2, block->Points.Sections.ImagePoints[1].nLast);
  MakeSections(*block, {{0, 2}, {3, 3}});
  // c's first ordinal 1 swallows the line behind its measure, so that what follows is out of step.
  EXPECT_EQ(1, Read(block, 1));
  EXPECT_NE((NameList{"d"}), Names(*block));
}

TEST(TextPoints, WhatATextLineDoesNotHoldIsLeftOut) {
  struct Row {
    const char* points;
    NameList names;
    size_t measures;
  };
  ProjectFiles files;
  for (const Row& row :
       {Row{"a 1 2 3 0\n2\n0 1 1\n", {"a"}, 1}, Row{"a 1 2 3 0\n2\n0 1 1\n0 2\n", {"a"}, 1},
        Row{"a 1 2 3 0\n1\n0 1 1", {"a"}, 1}, Row{"a 1 2 3 0\n-1\nb 1 2 3 0\n1\n0 1 1\n", {"a", "b"}, 1},
        Row{"a 1 2 3 0\nmany\nb 1 2 3 0\n1\n0 1 1\n", {"a", "b"}, 1}, Row{"a", {"a"}, 0}, Row{"", {}, 0},
        Row{"a 1 2 3 0\n3\nx 1 1\n0 y 1\n1 2 2\nb 0 0 0 0\n0\n", {"a", "b"}, 1},
        Row{"a 1 2 3 0\n1\n0 nan 1\nb 1 2 3 0\n1\n0 1 1\n", {"b"}, 1},
        Row{"a nan 2 inf 0\n1\n0 1 1\nb 1 2 3 0\n0\n", {"a", "b"}, 1},
        Row{"a nan 2 3 1\n1\n0 1 1\nb 1 2 3 0\n0\n", {"b"}, 0}}) {
    WriteFile(files.szText, ProjectText(2, 2, row.points));
    LoggedBlock block;
    block->ReadTables(files.szText);
    block->Paths.szProjectPath = files.szText;
    block->Points.nTiePointNum = 2;
    MakeSections(*block, {{0, 1}});
    Read(block, 0);
    EXPECT_EQ(row.names, Names(*block)) << row.points;
    EXPECT_EQ(row.measures, block->Points.pImagePoints.size()) << row.points;
  }
}

TEST(TextPoints, ManyThreadsReadWhatOneReads) {
  struct Row {
    const char* about;
    bool deletedImage;
    int wideMeasures, types;
    const char *was, *becomes;  ///< of the same length, after the counting
  };
  const Row rows[] = {{"plain", false, 0, 0, "", ""},
                      {"a deleted image", true, 0, 30, "", ""},
                      {"measurements outside", false, 40, 3, "", ""},
                      {"an ordinal too high", true, 5, 9, "2\n5 77.5 2\n0 1 1\n", "2\n9 77.5 2\n0 1 1\n"}};
  for (const Row& row : rows) {
    std::mt19937 random(11);
    const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    std::string points;
    const int pointNum = 9000;
    for (int i = 0; i < pointNum; ++i) {
      std::vector<MeasureText> measures;
      for (int m = below(5); m > 0; --m)
        measures.push_back({below(6), below(4000) - 2000 + 0.25, static_cast<double>(below(3))});
      if (below(pointNum) < row.wideMeasures) measures.push_back({1, 2000.0 + below(8), 0.5 * below(3200)});
      if (i == 5000) measures = {{5, 77.5, 2}, {0, 1, 1}};
      const int type = below(pointNum) < row.types ? 1 + below(3) : 0;
      std::string name(i == 8500 ? 600 : 5, 'n');
      points += PointText(name + std::to_string(i), type, measures);
      if (i % 3 == 0) points.insert(points.size() - 1, "\r");
    }
    std::string text = "6 1 " + std::to_string(pointNum) + "\n" + kCamera;
    for (int i = 0; i < 6; ++i) text += ImageText(i, i == 4 && row.deletedImage ? -1 : 0);
    text += points;
    ProjectFiles files;
    const auto read = [&](LoggedBlock& block, int processors) {
      block->System.ProcessorCount = [=] { return processors; };
      WriteFile(files.szText, text);
      block->Inputs.Forget();
      files.ReadAll(*block, files.szText, "");
      std::string changed = text;
      if (row.was[0] != 0) changed.replace(changed.find(row.was), std::strlen(row.was), row.becomes);
      WriteFile(files.szText, changed);
      block->Inputs.Forget();
      Read(block, 0);
    };
    LoggedBlock one;
    read(one, 1);
    ASSERT_GT(one->Points.pObjectPoints.size(), 3000u) << row.about;
    const std::string log = one.Log();
    for (const int processors : {2, 5}) {
      LoggedBlock many;
      read(many, processors);
      EXPECT_TRUE(many.Log() == log) << row.about;
      ASSERT_EQ(many->Points.pObjectPoints.size(), one->Points.pObjectPoints.size()) << row.about;
      ASSERT_EQ(many->Points.pImagePoints.size(), one->Points.pImagePoints.size()) << row.about;
      EXPECT_TRUE(std::memcmp(many->Points.pObjectPoints.data(), one->Points.pObjectPoints.data(),
                              one->Points.pObjectPoints.size() * sizeof(ObjectPointRecord)) == 0)
          << row.about;
      EXPECT_TRUE(std::memcmp(many->Points.pImagePoints.data(), one->Points.pImagePoints.data(),
                              one->Points.pImagePoints.size() * sizeof(ImagePointRecord)) == 0)
          << row.about;
      EXPECT_EQ(many->Cameras.pIop[0].nImageWidth, one->Cameras.pIop[0].nImageWidth) << row.about;
      EXPECT_EQ(many->Cameras.pIop[0].nImageHeight, one->Cameras.pIop[0].nImageHeight) << row.about;
      EXPECT_EQ(many->Points.nControlPointNum, one->Points.nControlPointNum) << row.about;
      EXPECT_EQ(many->Points.nCheckPointNum, one->Points.nCheckPointNum) << row.about;
    }
  }
}

}  // namespace
}  // namespace orvo::test
