// Control and check points.
#include <gtest/gtest.h>

#include "base/TextReader.h"
#include "block/SectionChecks.h"

namespace orvo::test {
namespace {

/// A text project of two images without tie points, and this GCP file.
void ReadGcp(LoggedBlock& block, ProjectFiles& files, const std::string& gcp) {
  WriteFile(files.szText, ProjectText(2, 0, ""));
  WriteFile(files.szGcp, gcp);
  block->ReadTables(files.szText);
  block->Paths.szProjectPath = files.szText;
  block->Paths.szGcpPath = files.szGcp;
  MakeSections(*block, {{0, 100}});
  Read(block, 0);
}

TEST(GcpPoints, TheTableOfControlPointsTakesThePlaceOfTheFile) {
  ProjectFiles files;
  LoggedBlock block;
  block->Settings.Object_Coor_Scale = 5;
  ReadGcp(block, files, "2\n" + PointText("g", 1, {{0, 7, 8}}, "4 5 6") + PointText("h", 2, {}, "7 8 9"));
  EXPECT_EQ(2, block->Points.nGcpFileNum);
  ASSERT_EQ(2u, block->Points.pGcpTable.size());
  EXPECT_STREQ("h", block->Points.pGcpTable[1].szName);
  EXPECT_EQ(2, block->Points.pGcpTable[1].nType);
  EXPECT_EQ(4, block->Points.pObjectPoints[0].X);
  EXPECT_EQ(9, block->Points.pObjectPoints[1].Z);
  block->Points.pGcpTable[0].X = 0.25;
  block->Points.pGcpTable[1].Z = 0.5;
  Read(block, 0);
  EXPECT_EQ(0.25, block->Points.pObjectPoints[0].X);
  EXPECT_EQ(5, block->Points.pObjectPoints[0].Y);
  EXPECT_EQ(0.5, block->Points.pObjectPoints[1].Z);
}

TEST(MakeGcpTable, TheWholeFileBeforeAnySection) {
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(2, 0, ""));
  WriteFile(files.szGcp, "3\n" + PointText("g", 1, {{0, 7, 8}, {1, 1, 1}}) + PointText("h", 2, {}) +
                             PointText("i", 0, {{0, 7, 8}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, files.szGcp);
  block.Log();
  EXPECT_TRUE(MakeGcpTable(files.szGcp, block->Points, block->Inputs, block->Log));
  EXPECT_EQ("", block.Log());
  ASSERT_EQ(3u, block->Points.pGcpTable.size());
  EXPECT_EQ(3, block->Points.nGcpFileNum);
  EXPECT_EQ(2, block->Points.pGcpTable[0].nImagePointNum);
  block->Points.pGcpTable[1].X = 77;
  EXPECT_TRUE(MakeGcpTable(files.szGcp, block->Points, block->Inputs, block->Log));
  EXPECT_EQ(77, block->Points.pGcpTable[1].X) << "a table that exists stands";
  MakeSections(*block, {{0, 0}, {1, 2}});
  EXPECT_EQ(2, Read(block, 1));
  EXPECT_EQ(77, block->Points.pObjectPoints[0].X) << "a section that starts behind the first control point";
}

TEST(MakeGcpTable, WithoutAFile) {
  ScratchFolder folder;
  LoggedBlock block;
  EXPECT_TRUE(MakeGcpTable(folder / "absent", block->Points, block->Inputs, block->Log));
  EXPECT_EQ("", block.Log());
  EXPECT_FALSE(MakeGcpTable(folder.Path(), block->Points, block->Inputs, block->Log));
  EXPECT_EQ("Error!Reading failed: can't read " + folder.Path() + ": it is a folder!\n", block.Log());
  EXPECT_TRUE(block->Points.pGcpTable.empty());
}

TEST(GcpPoints, AWrongOrdinalEndsTheGcpReader) {
  for (int wrong : {-1, 2}) {
    ProjectFiles files;
    LoggedBlock block;
    ReadGcp(block, files,
            "3\n" + PointText("g", 1, {{0, 7, 8}}) + PointText("h", 1, {{0, 1, 1}, {wrong, 1, 1}}) +
                PointText("i", 1, {{0, 1, 1}}));
    EXPECT_EQ(">>>>Reading gcp file...\nError!Image ID of the point 1 " + std::to_string(wrong) +
                  " is out of range!\n",
              block.Log());
    EXPECT_EQ((NameList{"g"}), Names(*block));
    EXPECT_EQ(1u, block->Points.pImagePoints.size());
  }
}

TEST(GcpPoints, AWrongOrdinalLeavesTheCounts) {
  ProjectFiles files;
  WriteFile(files.szText,
            ProjectText(
                2, 2, PointText("a", 0, {{0, 1, 1}, {1, 2, 2}}) + PointText("b", 0, {{0, 3, 3}, {1, 4, 4}})));
  const std::string good = PointText("g", 1, {{0, 7, 8}, {1, 8, 8}});
  for (const bool wrong : {false, true}) {
    WriteFile(files.szGcp, "2\n" + good + PointText("h", 1, {{wrong ? 2 : 1, 1, 1}}));
    LoggedBlock block;
    files.ReadAll(*block, files.szText, files.szGcp);
    EXPECT_EQ(wrong ? 2 : 4, Read(block, 0));
    EXPECT_EQ((wrong ? NameList{"a", "b", "g"} : NameList{"a", "b", "g", "h"}), Names(*block));
    EXPECT_EQ(0, block->Points.Sections.ImagePoints[0].nFirst);
    EXPECT_EQ(wrong ? 3 : 6, block->Points.Sections.ImagePoints[0].nLast);

    block->Points.pObjectPoints.clear();
    block->Points.pImagePoints.clear();
    TextReader file;
    ASSERT_TRUE(file.Open(files.szGcp));
    int64_t count = 7, imageCount = 9;
    EXPECT_EQ(wrong ? -1 : 1, ReadGcpSection(block->Gcp(), 0, count, imageCount, file));
    if (wrong) {
      EXPECT_EQ(7, count);
      EXPECT_EQ(9, imageCount);
    }
  }
}

TEST(GcpPoints, GcpOnADeletedImageStay) {
  ProjectFiles files;
  WriteFile(files.szText, "2 1 0\n" + kCamera + ImageText(0, 0) + ImageText(1, -1));
  WriteFile(files.szGcp, "1\n" + PointText("g", 1, {{0, 9e5, 8}, {1, 1, 1}}));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, files.szGcp);
  block->Images.pImageIndex = {0, -1};
  EXPECT_EQ(1, Read(block, 0));
  ASSERT_EQ(2u, block->Points.pImagePoints.size());
  EXPECT_EQ(-1, block->Points.pImagePoints[1].nImage);
  EXPECT_EQ(4000, block->Cameras.pIop[0].nImageWidth) << "no camera grows for a control point";
}

TEST(GcpPoints, WhatAGcpFileDoesNotHoldIsLeftOut) {
  struct Row {
    const char* text;
    NameList names;
    size_t measures, onKept;
  };
  for (const Row& row :
       {Row{"", {}, 0, 0}, Row{"x\ng 1 2 3 1\n0\n", {}, 0, 0}, Row{"-1\ng 1 2 3 1\n0\n", {}, 0, 0},
        Row{"5\ng 1 2 3 1\n1\n0 1 1\n", {"g"}, 1, 1}, Row{"1\ng 1 2 3 1\n5\n0 1 1\n1 2", {"g"}, 1, 1},
        Row{"1\ng 1 2 3 1", {"g"}, 0, 0}, Row{"1\r\ng 1 2 3 1\r\n1\r\n0 1 1", {"g"}, 1, 1},
        Row{"1\ng 1 nan 3 1\n1\n0 1 1\n", {"g"}, 1, 0}, Row{"1\ng 1 2 3 2\n2\n0 inf 1\n0 2 2\n", {"g"}, 2, 1},
        Row{"1\ng 1 2 3 1\n2147483647\n0 1 1\n", {"g"}, 1, 1},
        Row{"2147483647\ng 1 2 3 1\n0\n", {"g"}, 0, 0}}) {
    ProjectFiles files;
    LoggedBlock block;
    ReadGcp(block, files, row.text);
    EXPECT_EQ(row.names, Names(*block)) << row.text;
    EXPECT_EQ(row.measures, block->Points.pImagePoints.size()) << row.text;
    size_t onKept = 0;
    for (const ImagePointRecord& image : block->Points.pImagePoints) onKept += image.nImage >= 0;
    EXPECT_EQ(row.onKept, onKept) << row.text;
    EXPECT_EQ(static_cast<int32_t>(block->Points.pGcpTable.size()), block->Points.nGcpFileNum) << row.text;
  }
}

TEST(ReadGcpFile, TheWholeFileWithoutSections) {
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(2, 0, ""));
  WriteFile(files.szGcp, "3\n" + PointText("g", 1, {{0, 700, 8}, {1, 1, 1}}, "4 5 6") +
                             PointText("h", 2, {{1, 2, 2}}) + PointText("i", 1, {}));
  LoggedBlock block;
  block->Settings.Object_Coor_Scale = 5;
  block->ReadTables(files.szText);
  block->Points.nControlPointNum = 99;
  TextReader file;
  ASSERT_TRUE(file.Open(files.szGcp));
  ObjectPointArray points;
  ImagePointArray images;
  EXPECT_EQ(1, ReadGcpFile(block->Gcp(), points, images, file));
  EXPECT_EQ("", WhatIsWrongWithPoints(block->Images, block->Cameras, points, images));
  ASSERT_EQ(3u, points.size());
  EXPECT_EQ(3u, images.size());
  EXPECT_EQ(2, block->Points.nControlPointNum);
  EXPECT_EQ(4, points[0].X);
  EXPECT_EQ(2, points[1].nFirstImagePoint);
  EXPECT_EQ(0.7f, images[0].x);
}

TEST(ReadGcpFile, AWrongOrdinalEndsIt) {
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(2, 0, ""));
  WriteFile(files.szGcp, "2\n" + PointText("g", 1, {{0, 7, 8}}) + PointText("h", 1, {{2, 1, 1}}));
  LoggedBlock block;
  block->ReadTables(files.szText);
  TextReader file;
  ASSERT_TRUE(file.Open(files.szGcp));
  ObjectPointArray points;
  ImagePointArray images;
  EXPECT_EQ(-1, ReadGcpFile(block->Gcp(), points, images, file));
  EXPECT_EQ("Error!Image ID of the point 1 2 is out of range!\n", block.Log());
  EXPECT_EQ("", WhatIsWrongWithPoints(block->Images, block->Cameras, points, images));
}

}  // namespace
}  // namespace orvo::test
