// Counting before reading.
#include <gtest/gtest.h>

#include "block/BlockFiles.h"

namespace orvo::test {
namespace {

using Counts = std::vector<int32_t>;

TEST(PreReadData, TextProject) {
  ProjectFiles files;
  WriteFile(files.szText, ProjectText(3, 2,
                                      PointText("a", 0, {{0, 1, 2}, {2, 3, 4}}) +
                                          PointText("b", 0, {{2, 5, 6}, {0, 7, 8}, {2, 9, 9}})));
  WriteFile(files.szGcp, "4\n" + PointText("c", 1, {{0, 1, 1}}) + PointText("d", 2, {{1, 1, 1}, {2, 1, 1}}) +
                             PointText("e", 3, {}) + PointText("f", 0, {{1, 1, 1}}));
  LoggedBlock block;
  ASSERT_EQ(1, block->Count(files.szText, files.szGcp));
  EXPECT_EQ("", block.Log());
  EXPECT_EQ(files.szText, block->Paths.szProjectPath);
  EXPECT_EQ(files.szGcp, block->Paths.szGcpPath);
  EXPECT_EQ("", block->Paths.szOvtPath);
  EXPECT_EQ((Counts{2, 0, 3}), block->Images.pImagePointCount);
  EXPECT_EQ((Counts{2, 3}), block->Points.pPointImageCount);
  EXPECT_EQ(2, block->Points.nTiePointNum);
  EXPECT_EQ(5, block->Points.nTieImagePointNum);
  EXPECT_EQ(4, block->Points.nGcpNum);
  EXPECT_EQ(4, block->Points.nGcpImagePointNum);
  EXPECT_EQ(1, block->Points.nControlPointNum);
  EXPECT_EQ(2, block->Points.nCheckPointNum);
  EXPECT_EQ(6, block->Points.nObjectPointNum);
  EXPECT_EQ(9, block->Points.nImagePointNum);
}

TEST(PreReadData, OvcProject) {
  ProjectFiles files;
  WriteFile(files.szOvc, ProjectText(3, 77, ""));
  WriteFile(files.szOvt, OvtBytes({MakeOvtPoint("a", 0, 2, 0), MakeOvtPoint("b", 0, 1, 2)},
                                  {{0, 1, 1, 0}, {2, 1, 1, 0}, {2, 1, 1, 0}}));
  LoggedBlock block;
  ASSERT_EQ(1, block->Count(files.szOvc, files.szGcp));
  EXPECT_EQ("Open Gcp file failed!\n", block.Log());
  EXPECT_EQ(files.szOvt, block->Paths.szOvtPath);
  EXPECT_EQ((Counts{1, 0, 2}), block->Images.pImagePointCount);
  EXPECT_EQ((Counts{2, 1}), block->Points.pPointImageCount);
  EXPECT_EQ(2, block->Points.nTiePointNum);
  EXPECT_EQ(3, block->Points.nTieImagePointNum);
  EXPECT_EQ(0, block->Points.nGcpNum);
  EXPECT_EQ(2, block->Points.nObjectPointNum);
  EXPECT_EQ(3, block->Points.nImagePointNum);
}

TEST(PreReadData, FilesThatCannotBeOpened) {
  ProjectFiles files;
  LoggedBlock block;
  for (const std::string& path : {files.szText, files.folder.Path(), std::string()}) {
    EXPECT_EQ(0, block->Count(path, files.szGcp)) << path;
    EXPECT_EQ("Open prj file failed!\n", block.Log());
  }
  WriteFile(files.szOvc, ProjectText(1, 0, ""));
  EXPECT_EQ(0, block->Count(files.szOvc, files.szGcp));
  EXPECT_EQ("Can not open ovt file!\n", block.Log());
  WriteFile(files.szText, "");
  block->Inputs.Forget();
  for (const std::string& gcp : {files.szGcp, std::string()}) {
    EXPECT_EQ(1, block->Count(files.szText, gcp));
    EXPECT_EQ("Open Gcp file failed!\n", block.Log());
  }
  EXPECT_EQ(0, block->Points.nObjectPointNum);
  EXPECT_EQ(0, block->Count(files.szText, files.folder.Path()));
  EXPECT_EQ("Open Gcp file failed!\nError!Reading failed: can't read " + files.folder.Path() +
                ": it is a folder!\n",
            block.Log());
}

TEST(PreReadData, ImageOrdinalOutOfRange) {
  ProjectFiles files;
  LoggedBlock block;
  WriteFile(files.szGcp, "0\n");
  for (int wrong : {-1, 3, 2147483647}) {
    WriteFile(
        files.szText,
        ProjectText(3, 2, PointText("a", 0, {{0, 1, 2}}) + PointText("b", 0, {{0, 1, 2}, {wrong, 3, 4}})));
    EXPECT_EQ(0, block->Count(files.szText, files.szGcp));
    EXPECT_EQ("Image ID is invalid:1 1 " + std::to_string(wrong) + "!\n", block.Log());
    WriteFile(files.szOvc, ProjectText(3, 0, ""));
    WriteFile(files.szOvt, OvtBytes({MakeOvtPoint("a", 0, 2, 0)}, {{0, 1, 1, 0}, {wrong, 1, 1, 0}}));
    EXPECT_EQ(0, block->Count(files.szOvc, files.szGcp));
    EXPECT_EQ("Image ID is invalid:1 " + std::to_string(wrong) + "!\n", block.Log());
  }
}

TEST(PreReadData, OrdinalsOfControlPointsAreNotTested) {
  ProjectFiles files;
  LoggedBlock block;
  WriteFile(files.szText, ProjectText(1, 0, ""));
  WriteFile(files.szGcp, "1\n" + PointText("c", 1, {{-5, 1, 1}, {99, 1, 1}}));
  EXPECT_EQ(1, block->Count(files.szText, files.szGcp));
  EXPECT_EQ("", block.Log());
  EXPECT_EQ(2, block->Points.nGcpImagePointNum);
}

TEST(PreReadData, CountsThatTheTextCannotHold) {
  struct Row {
    const char* points;
    int64_t tiePointNum;  // a count that fits the file's size stands, even if the points are not there
    Counts counts;
  };
  ProjectFiles files;
  WriteFile(files.szGcp, "");
  const std::string images = "0 0 ";
  for (const Row& row :
       {Row{"3\na 1 2 3 0\n0\n", 3, {0, 0, 0}}, Row{"1\na 1 2 3 0\n-4\n", 1, {0}},
        Row{"1\na 1 2 3 0\nmany\n", 1, {0}}, Row{"1\na 1 2 3 0\n", 1, {0}}, Row{"-3\n", 0, {}},
        Row{"999999999\n", 7, {0, 0, 0, 0, 0, 0, 0}}, Row{"2\na 1 2 3 0\n2147483647\nx\n\n", 2, {2, 0}}}) {
    WriteFile(files.szText, images + row.points);
    LoggedBlock block;
    ASSERT_EQ(1, block->Count(files.szText, files.szGcp)) << row.points;
    EXPECT_EQ(row.tiePointNum, block->Points.nTiePointNum) << row.points;
    EXPECT_EQ(row.counts, block->Points.pPointImageCount) << row.points;
  }
}

TEST(PreReadData, CountsThatTheGcpFileCannotHold) {
  struct Row {
    const char* text;
    int32_t points, imagePoints, control;
  };
  ProjectFiles files;
  WriteFile(files.szText, "0 0 0\n");
  for (const Row& row :
       {Row{"", 0, 0, 0}, Row{"x", 0, 0, 0}, Row{"-2\na 1 2 3 1\n0\n", 0, 0, 0},
        Row{"9\na 1 2 3 1\n0\n", 1, 0, 1}, Row{"2147483647\na 1 2 3 1\n2147483647\n0 1 1\n0 1 1", 1, 2, 1},
        Row{"1\na 1 2 3 1", 1, 0, 1}, Row{"1\na 1 2 x 1\n-7\n", 1, 0, 0},
        Row{"1\r\na 1 2 3 1\r\n1\r\n0 1 1\r\n", 1, 1, 1}}) {
    WriteFile(files.szGcp, row.text);
    LoggedBlock block;
    ASSERT_EQ(1, block->Count(files.szText, files.szGcp)) << row.text;
    EXPECT_EQ(row.points, block->Points.nGcpNum) << row.text;
    EXPECT_EQ(row.imagePoints, block->Points.nGcpImagePointNum) << row.text;
    EXPECT_EQ(row.control, block->Points.nControlPointNum) << row.text;
  }
}

TEST(PreReadData, AMeasureWithoutOrdinalIsOnNoImage) {
  ProjectFiles files;
  WriteFile(files.szGcp, "0");
  WriteFile(files.szText, ProjectText(2, 1, "a 1 2 3 0\n3\n1 5 5\nleft 5 5\n\n"));
  LoggedBlock block;
  EXPECT_EQ(1, block->Count(files.szText, files.szGcp));
  EXPECT_EQ((Counts{0, 1}), block->Images.pImagePointCount);
}

TEST(PreReadData, MeasureCountsOfAnOvtThatMakeNoSense) {
  ProjectFiles files;
  WriteFile(files.szGcp, "0");
  WriteFile(files.szOvc, ProjectText(1, 0, ""));
  WriteFile(files.szOvt, OvtBytes({MakeOvtPoint("a", 0, -2, 0), MakeOvtPoint("b", 0, INT32_MAX, 0)},
                                  {{0, 1, 1, 0}, {0, 1, 1, 0}}));
  LoggedBlock block;
  EXPECT_EQ(1, block->Count(files.szOvc, files.szGcp));
  EXPECT_EQ((Counts{0, 2}), block->Points.pPointImageCount);
}

TEST(PreReadData, MoreRecordsThanOneReadTakes) {
  ProjectFiles files;
  WriteFile(files.szGcp, "0");
  WriteFile(files.szOvc, ProjectText(3, 0, ""));
  std::vector<OvtPoint> points;
  std::vector<OvtMeasure> measures;
  for (int i = 0; i < 40000; ++i) {
    points.push_back(MakeOvtPoint("p", 0, 2, 2 * i));
    measures.push_back({i % 2, 1, 1, 0});
    measures.push_back({2, 1, 1, 0});
  }
  points.back().nImagePointNum = 1;
  WriteFile(files.szOvt, OvtBytes(points, measures));
  for (const int processors : {1, 2, 20}) {
    LoggedBlock block;
    block->System.ProcessorCount = [=] { return processors; };
    EXPECT_EQ(1, block->Count(files.szOvc, files.szGcp));
    EXPECT_EQ((Counts{20000, 20000, 40000}), block->Images.pImagePointCount);
    EXPECT_EQ(40000u, block->Points.pPointImageCount.size());
    EXPECT_EQ(1, block->Points.pPointImageCount.back());
    EXPECT_EQ(2, block->Points.pPointImageCount.front());
  }
  for (const size_t wrong : {79000u, 33001u, 33000u, 50000u}) measures[wrong].nImageOrdinal = 3;
  WriteFile(files.szOvt, OvtBytes(points, measures));
  for (const int processors : {1, 2, 20}) {
    LoggedBlock block;
    block->System.ProcessorCount = [=] { return processors; };
    EXPECT_EQ(0, block->Count(files.szOvc, files.szGcp));
    EXPECT_EQ("Image ID is invalid:33000 3!\n", block.Log());
  }
}

}  // namespace
}  // namespace orvo::test
