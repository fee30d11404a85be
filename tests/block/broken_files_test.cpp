// Files that are cut, swollen, of another kind or of another system.
#include <gtest/gtest.h>

#include "block/SectionChecks.h"
#include "fuzz/ReadEverything.h"

namespace orvo::test {
namespace {

const std::string kPoints = PointText("a", 0, {{0, 1.5, 2.5}, {2, -3000, 4}}) +
                            PointText("b", 0, {{2, 5, 6}}) + PointText("c", 1, {{0, 7, 8}, {2, 9, 1}}) +
                            PointText("d", 0, {{0, 2, 2}});
const std::string kGcp = "3\n" + PointText("g", 1, {{0, 7, 8}, {2, 9, 10}}) + PointText("h", 2, {}) +
                         PointText("i", 1, {{2, 1, 1}});

std::string Images() { return ImageText(0, 0) + ImageText(1, -1) + ImageText(2, 0); }

std::string Ovt() {
  return OvtBytes({MakeOvtPoint("a", 0, 2, 0), MakeOvtPoint("b", 0, 1, 2), MakeOvtPoint("c", 1, 2, 3)},
                  {{0, 1, 2, 0}, {2, 3, 4, 0}, {1, 5, 6, 0}, {0, 7, 8, 0}, {2, 9, 9, 0}});
}

/// Both project forms and a GCP file, all whole.
struct WholeFiles : ProjectFiles {
  WholeFiles() {
    WriteFile(szText, "3 1 4\n" + kCamera + Images() + kPoints);
    WriteFile(szOvc, "3 1 0\n" + kCamera + Images());
    WriteFile(szOvt, Ovt());
    WriteFile(szGcp, kGcp);
  }
};

constexpr int64_t kPlenty = int64_t{1} << 40, kLittle = 500;

/// What was read by the way of an adjustment, in all sections together.
struct Harvest {
  size_t points = 0, measures = 0;
  int32_t images = 0;
};

Harvest ReadAll(const std::string& project, const std::string& gcp, int64_t memory) {
  LoggedBlock block(memory);
  EXPECT_EQ("", ReadForAdjustment(*block, project, gcp));
  Harvest harvest;
  for (int32_t s = 0; s < block->Points.Sections.Count(); ++s) {
    harvest.points += static_cast<size_t>(Read(block, s));
    harvest.measures += block->Points.pImagePoints.size();
  }
  harvest.images = block->Images.nImageNum;
  return harvest;
}

/// Cuts `path` to every length; what can be read never becomes less as the file becomes longer.
void CutEverywhere(const std::string& path, const std::string& project, const WholeFiles& files) {
  const std::string whole = ReadFile(path);
  Harvest before;
  for (size_t length = 0; length <= whole.size(); ++length) {
    SCOPED_TRACE(length);
    WriteFile(path, whole.substr(0, length));
    const Harvest now = ReadAll(project, files.szGcp, kPlenty);
    EXPECT_GE(now.points, before.points);
    EXPECT_GE(now.measures, before.measures);
    before = now;
    ReadAll(project, files.szGcp, kLittle);
    LoggedBlock results(kLittle);
    EXPECT_EQ("", ReadForResults(*results, project, files.szGcp, project == files.szOvc ? files.szOvt : ""));
  }
  EXPECT_GT(before.points, 0u);
  EXPECT_GT(before.measures, 0u);
}

TEST(BrokenFiles, TheWholeOnesAreReadWhole) {
  const WholeFiles files;
  const Harvest text = ReadAll(files.szText, files.szGcp, kPlenty);
  EXPECT_EQ(2, text.images);
  EXPECT_EQ(7u, text.points);
  EXPECT_EQ(9u, text.measures);
  const Harvest ovc = ReadAll(files.szOvc, files.szGcp, kPlenty);
  EXPECT_EQ(2, ovc.images);
  EXPECT_EQ(6u, ovc.points);
  EXPECT_EQ(8u, ovc.measures);
}

TEST(BrokenFiles, GcpCutAtEveryByte) {
  const WholeFiles files;
  CutEverywhere(files.szGcp, files.szText, files);
}

TEST(BrokenFiles, OvtCutAtEveryByte) {
  const WholeFiles files;
  // Cut among the points no measurement is left, and then no image.
  CutEverywhere(files.szOvt, files.szOvc, files);
}

TEST(BrokenFiles, TextProjectCutAtEveryByteOfItsPoints) {
  const WholeFiles files;
  const std::string whole = ReadFile(files.szText);
  const size_t points = whole.find("a 1 2 3");
  ASSERT_NE(std::string::npos, points);
  for (size_t length = points; length <= whole.size(); ++length) {
    SCOPED_TRACE(length);
    WriteFile(files.szText, whole.substr(0, length));
    ReadAll(files.szText, files.szGcp, kLittle);
    const Harvest now = ReadAll(files.szText, files.szGcp, kPlenty);
    // The three control points, and every tie point that is whole. One that lost its only measurement on an
    // image goes with the image.
    size_t complete = 3;
    for (const char* next : {"\nb 1 2", "\nc 1 2", "\nd 1 2"}) complete += whole.find(next) < length;
    EXPECT_GE(now.points, complete == 3 ? 3 : complete - 1);
    EXPECT_LE(now.points, complete + 1);
  }
}

TEST(BrokenFiles, ProjectsCutAtEveryByte) {
  const WholeFiles files;
  for (const std::string& path : {files.szText, files.szOvc}) {
    const std::string whole = ReadFile(path);
    int32_t images = 0;
    for (size_t length = 0; length <= whole.size(); ++length) {
      SCOPED_TRACE(length);
      WriteFile(path, whole.substr(0, length));
      for (int64_t memory : {kPlenty, kLittle}) {
        LoggedBlock adjusted(memory), results(memory);
        EXPECT_EQ("", ReadForAdjustment(*adjusted, path, files.szGcp));
        EXPECT_EQ("", ReadForResults(*results, path, files.szGcp, path == files.szOvc ? files.szOvt : ""));
        EXPECT_GE(results->Images.nImageNum, images);
        images = results->Images.nImageNum;
      }
    }
    EXPECT_EQ(2, images);
  }
}

TEST(BrokenFiles, CarriageReturnsAndTheLastLineEndMakeNoDifference) {
  const WholeFiles files;
  const auto withReturns = [](const std::string& text) {
    std::string result;
    for (char c : text) result += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return result;
  };
  LoggedBlock plain;
  ProjectFiles::ReadAll(*plain, files.szText, files.szGcp);
  Read(plain, 0);
  for (bool lastLineEnd : {true, false}) {
    for (const std::string& path : {files.szText, files.szGcp}) {
      std::string text = withReturns(ReadFile(path));
      if (!lastLineEnd) text.erase(text.find_last_not_of("\r\n") + 1);
      WriteFile(path, text);
    }
    LoggedBlock other;
    ProjectFiles::ReadAll(*other, files.szText, files.szGcp);
    Read(other, 0);
    EXPECT_EQ(Names(*plain), Names(*other));
    EXPECT_EQ(plain->Points.nImagePointNum, other->Points.nImagePointNum);
    ASSERT_EQ(plain->Points.pImagePoints.size(), other->Points.pImagePoints.size());
    for (size_t i = 0; i < plain->Points.pImagePoints.size(); ++i) {
      EXPECT_EQ(plain->Points.pImagePoints[i].x, other->Points.pImagePoints[i].x);
      EXPECT_EQ(plain->Points.pImagePoints[i].y, other->Points.pImagePoints[i].y);
      EXPECT_EQ(plain->Points.pImagePoints[i].nImage, other->Points.pImagePoints[i].nImage);
    }
    EXPECT_STREQ(plain->Images.pImageNames[2].sz, other->Images.pImageNames[2].sz);
    for (const std::string& path : {files.szText, files.szGcp}) {
      WriteFile(path, path == files.szGcp ? kGcp : "3 1 4\n" + kCamera + Images() + kPoints);
    }
  }
}

TEST(BrokenFiles, LinesOfAHundredThousandCharacters) {
  const std::string longLine(100000, 'x'), longNumber(100000, '9');
  for (const std::string& filling :
       {longLine, longNumber, longLine + "\n", longNumber + "\r\n", std::string(100000, '\0')}) {
    for (size_t where = 0; where < 4; ++where) {
      const WholeFiles files;
      for (const std::string& path : {files.szText, files.szOvc, files.szGcp}) {
        std::string text = ReadFile(path);
        text.insert(where * text.size() / 4, filling);
        WriteFile(path, text);
      }
      for (int64_t memory : {kPlenty, kLittle}) {
        ReadAll(files.szText, files.szGcp, memory);
        ReadAll(files.szOvc, files.szGcp, memory);
      }
    }
  }
}

TEST(BrokenFiles, OneFileInPlaceOfAnother) {
  const WholeFiles files;
  const std::vector<std::string> all = {files.szText, files.szOvc,         files.szOvt,
                                        files.szGcp,  files.folder.Path(), files.folder / "absent"};
  WriteFile(files.folder / "other.ovc", ReadFile(files.szText));
  for (const std::string& project : all) {
    for (const std::string& gcp : all) {
      SCOPED_TRACE(project + " " + gcp);
      for (int64_t memory : {kPlenty, kLittle}) {
        LoggedBlock adjusted(memory);
        EXPECT_EQ("", ReadForAdjustment(*adjusted, project, gcp));
        for (const std::string& ovt : all) {
          LoggedBlock results(memory);
          EXPECT_EQ("", ReadForResults(*results, project, gcp, ovt));
        }
      }
    }
  }
}

TEST(BrokenFiles, EmptyFiles) {
  const WholeFiles files;
  for (const std::string& path : {files.szText, files.szOvc, files.szOvt, files.szGcp}) WriteFile(path, "");
  for (const std::string& project : {files.szText, files.szOvc}) {
    LoggedBlock block;
    EXPECT_EQ(1, block->Count(project, files.szGcp));
    EXPECT_EQ(1, block->ReadTables(project));
    EXPECT_EQ("", block.Log());
    EXPECT_EQ("", ReadForAdjustment(*block, project, files.szGcp));
    EXPECT_EQ(0, block->Points.nObjectPointNum);
    EXPECT_EQ(0, block->Images.nImageNum);
  }
}

TEST(BrokenFiles, HeaderCountsDoNotMatch) {
  for (const char* header : {"0 0 0", "1 1 1", "9 1 4", "3 9 4", "3 0 4", "3 1 9", "3 1 0", "-3 1 4",
                             "3 -1 4", "3 1 -4", "2147483647 1 4", "3 2147483647 4", "3 1 2147483647",
                             "99999999999 99999999999 99999999999", "nan inf 4", "", "3", "3.5 1 4"}) {
    SCOPED_TRACE(header);
    const WholeFiles files;
    WriteFile(files.szText, header + std::string("\n") + kCamera + Images() + kPoints);
    WriteFile(files.szOvc, header + std::string("\n") + kCamera + Images());
    for (int64_t memory : {kPlenty, kLittle}) {
      ReadAll(files.szText, files.szGcp, memory);
      ReadAll(files.szOvc, files.szGcp, memory);
    }
  }
}

}  // namespace
}  // namespace orvo::test
