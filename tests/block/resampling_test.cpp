// Thinning in memory; into a file: resampling_file_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "base/TextReader.h"
#include "block/ResampleBlocks.h"
#include "block/ResampleCells.h"
#include "block/ResampleScore.h"

namespace orvo {
namespace {

using test::BlockParts;
using test::Contains;
using test::ExpectInMemory;
using test::FileBlock;
using test::FilePoint;
using test::Form;
using test::kForms;
using test::LoggedBlock;
using test::MakeRandomBlock;
using test::MeasureNum;
using test::OneCellBlock;
using test::ReferenceKept;
using test::ResamplingRun;
using test::ThinningOf;

TEST(ResamplePoints, KeepsWhatTheObviousFormKeeps) {
  for (const Form& form : kForms) {
    for (const int32_t deleted : {-1, 3}) {
      for (const int32_t N : {1, 2, 6, 9}) {
        SCOPED_TRACE(form.szName + " N " + std::to_string(N) + " deleted " + std::to_string(deleted));
        const FileBlock content = MakeRandomBlock(static_cast<uint32_t>(N), 12, 700, deleted);
        ResamplingRun run(content, form.bText);
        run.block->Settings.Point_Resample_Number = N;
        const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, form.bText);
        const int64_t total = run.block->Points.nTiePointNum,
                      imageTotal = run.block->Points.nTieImagePointNum;
        ASSERT_EQ(run.Resample(), 1);
        ASSERT_LT(kept.size(), content.vPoints.size());
        const auto K = static_cast<int64_t>(kept.size());
        EXPECT_EQ(run.block->Points.nTiePointNum, K);
        EXPECT_EQ(run.block->Points.nObjectPointNum, K);
        EXPECT_EQ(run.block->Points.nImagePointNum, MeasureNum(kept));
        EXPECT_EQ(run.block->Points.pObjectPoints.size(), kept.size());
        EXPECT_EQ(run.block->Points.pImagePoints.size(), static_cast<size_t>(MeasureNum(kept)));
        EXPECT_EQ(run.block->Points.pPointImageCount.size(), kept.size());
        ExpectInMemory(*run.block, kept);
        const std::string tail = "Sampling object points " + std::to_string(K) + " from " +
                                 std::to_string(total) + "\nSampling image points " +
                                 std::to_string(MeasureNum(kept)) + " from " + std::to_string(imageTotal) +
                                 "\n>>>>Reading gcp file...\n";
        const std::string log = run.block.Log();
        EXPECT_EQ(log.substr(log.size() - tail.size()), tail);
        EXPECT_FALSE(run.block->Points.bResampledToFile);
        EXPECT_FALSE(test::Exists(run.NewOvt()));
      }
    }
  }
}

TEST(ResamplePoints, KeepsTheSameOnAnyNumberOfProcessors) {
  // Three pieces of work; the points of the second half are those of the first, so that every score comes
  // twice.
  FileBlock content = MakeRandomBlock(3, 12, 5000, 3);
  const std::vector<FilePoint> half = content.vPoints;
  content.vPoints.insert(content.vPoints.end(), half.begin(), half.end());
  for (const Form& form : kForms) {
    for (const int processors : {1, 2, 5}) {
      ResamplingRun run(content, form.bText);
      run.block->System.ProcessorCount = [=] { return processors; };
      run.block->Settings.Point_Resample_Number = 9;
      const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, form.bText);
      ASSERT_EQ(run.Resample(), 1);
      SCOPED_TRACE(form.szName + " " + std::to_string(processors));
      ExpectInMemory(*run.block, kept);
    }
  }
}

TEST(ResamplePoints, FirstFaultEndsTheRunOnAnyNumberOfProcessors) {
  FileBlock content = MakeRandomBlock(3, 12, 9000);
  // Cells finer than two pixels: most columns lie beyond the half extent.
  for (const int processors : {1, 2, 5}) {
    ResamplingRun run(content, false);
    run.block->System.ProcessorCount = [=] { return processors; };
    run.block->Settings.Point_Resample_Number = 3000;
    run.block.Log();
    EXPECT_EQ(run.Resample(), 0);
    EXPECT_TRUE(run.block.Log().ends_with("\nImage point coordinates out of range!\n"));
  }
}

TEST(ResamplePoints, MakesOneSectionOfWhatIsKept) {
  FileBlock content = MakeRandomBlock(5, 12, 300);
  content.szGcp =
      "2\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}}) + test::PointText("C1", 2, {{2, 5, 6}});
  for (const Form& form : kForms) {
    ResamplingRun run(content, form.bText);
    ASSERT_EQ(run.Resample(), 1);
    const PointSectionTable& sections = run.block->Points.Sections;
    ASSERT_EQ(sections.Count(), 1);
    EXPECT_EQ(sections.ObjectPoints[0].nFirst, 0);
    EXPECT_EQ(sections.ObjectPoints[0].nLast, run.block->Points.nObjectPointNum - 1);
    EXPECT_EQ(sections.ImagePoints[0].nFirst, 0);
    EXPECT_EQ(sections.ImagePoints[0].nLast, run.block->Points.nImagePointNum - 1);
    EXPECT_EQ(run.block->Points.nCurrentSection, 0);
    EXPECT_EQ(static_cast<int64_t>(run.block->Points.pObjectPoints.size()),
              run.block->Points.nObjectPointNum);
    EXPECT_EQ(static_cast<int64_t>(run.block->Points.pImagePoints.size()), run.block->Points.nImagePointNum);
  }
}

TEST(ResamplePoints, AppendsControlAndCheckPoints) {
  FileBlock content = MakeRandomBlock(6, 12, 200, 3);
  content.szGcp = "3\n" + test::PointText("G1", 1, {{0, 1, 2}, {3, 3, 4}}, "7 8 9") +
                  test::PointText("C1", 2, {{99, 5, 6}, {2, 7, 8}}) + test::PointText("G2", 1, {});
  for (const Form& form : kForms) {
    ResamplingRun run(content, form.bText);
    run.block->Settings.Object_Coor_Scale = 10.0;
    run.block->Points.nControlPointNum = 77;
    ASSERT_EQ(run.Resample(), 1) << run.block.Log();
    test::BlockParts& block = *run.block;
    const auto K = static_cast<size_t>(block.Points.nTiePointNum);
    ASSERT_EQ(block.Points.pObjectPoints.size(), K + 3);
    EXPECT_EQ(block.Points.nObjectPointNum, static_cast<int64_t>(K) + 3);
    EXPECT_EQ(block.Points.nControlPointNum, 2) << "counted anew";
    EXPECT_EQ(block.Points.nCheckPointNum, 1);
    EXPECT_EQ(block.Points.nGcpFileNum, 3);
    const ObjectPointRecord& control = block.Points.pObjectPoints[K];
    EXPECT_STREQ(control.szName, "G1");
    EXPECT_EQ(control.X, 7.0) << "never scaled";
    EXPECT_EQ(control.nImagePointNum, 2);
    const auto first = static_cast<size_t>(control.nFirstImagePoint);
    EXPECT_EQ(block.Points.pImagePoints[first].nObjectPoint, static_cast<int32_t>(K));
    EXPECT_EQ(block.Points.pImagePoints[first].nImage, 0);
    EXPECT_EQ(block.Points.pImagePoints[first + 1].nImage, -1) << "on the deleted image";
    EXPECT_EQ(block.Points.pImagePoints[first + 2].nImage, -1) << "an ordinal out of range ends nothing";
    EXPECT_EQ(block.Points.pImagePoints[first + 3].nImage, block.Images.pImageIndex[2]);
    ASSERT_EQ(block.Points.pGcpTable.size(), 3u);
    EXPECT_EQ(block.Points.pGcpTable[0].X, 7.0);
    EXPECT_EQ(block.Points.pPointImageCount.size(), K + 3);
    EXPECT_EQ(block.Points.pPointImageCount[K], 0);
  }
}

TEST(ResamplePoints, TakesNormalisedCoordinatesFromTheTable) {
  FileBlock content = MakeRandomBlock(6, 12, 100);
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}}, "7 8 9");
  ResamplingRun run(content, false);
  ASSERT_TRUE(MakeGcpTable(run.files.szGcp, run.block->Points, run.block->Inputs, run.block->Log));
  run.block->Points.pGcpTable[0].X = 0.25;
  ASSERT_EQ(run.Resample(), 1);
  EXPECT_EQ(run.block->Points.pObjectPoints.back().X, 0.25);
  EXPECT_EQ(run.block->Points.pObjectPoints.back().Y, 8.0);
}

TEST(ResamplePoints, SeveralSectionsKeepTheSame) {
  const FileBlock content = MakeRandomBlock(7, 12, 700, 3);
  ResamplingRun one(content, false), many(content, false, 40000);
  const std::vector<FilePoint> kept = ReferenceKept(content, *one.block, false);
  ASSERT_EQ(one.Resample(), 1);
  ASSERT_EQ(many.Resample(), 1);
  EXPECT_TRUE(Contains(one.block.Log(), "CPU Sections:1\n"));
  const std::string log = many.block.Log();
  EXPECT_FALSE(Contains(log, "CPU Sections:1\n"));
  EXPECT_TRUE(Contains(log, ">>>>Reading ovt file...2\n"));
  ExpectInMemory(*one.block, kept);
  ExpectInMemory(*many.block, kept);
  EXPECT_EQ(many.block->Points.Sections.Count(), 1);
}

TEST(ResamplePoints, KeepsAtMostACellsWorthOfPoints) {
  const FileBlock content = MakeRandomBlock(8, 100, 6000);
  ResamplingRun run(content, false);
  ASSERT_EQ(run.Resample(), 1);
  EXPECT_LE(run.block->Points.nTiePointNum, 3600);
  EXPECT_GT(run.block->Points.nTiePointNum, 100);
}

TEST(ResamplePoints, FirstOfEqualScoresStays) {
  const FilePoint better{"better", 10, 10, 0, 0, {{0, 100, 100}}},
      worse{"worse", 10, 10, 0, 0, {{0, 120, 100}}};
  FilePoint again = better;
  again.szName = "again";
  for (const Form& form : kForms) {
    for (const auto& points : {std::vector<FilePoint>{better, again, worse}, {worse, better, again}}) {
      ResamplingRun run(OneCellBlock(points), form.bText);
      run.block->Settings.Point_Resample_Number = 1;
      ASSERT_EQ(run.Resample(), 1);
      ASSERT_EQ(run.block->Points.pObjectPoints.size(), 1u);
      EXPECT_STREQ(run.block->Points.pObjectPoints[0].szName, "better");
    }
  }
}

TEST(ResamplePoints, MeasurementsOnDeletedImagesTakeNoPart) {
  FileBlock content;
  content.nImageNum = 2;
  content.nCameraNum = 1;
  content.szHead =
      "0 4000 3000 0 5000 0 0 0 0 0\n" + test::ImageText(0, 0, "0 0 500") + test::ImageText(1, 0, "0 0 0");
  content.vPoints = {{"both", 10, 10, 0, 0, {{0, 100, 100}, {1, 0, 0}}},
                     {"gone", 10, 10, 0, 0, {{1, 5, 5}}},
                     {"worse", 10, 10, 0, 0, {{0, 120, 100}}}};
  // In the tie-point file the measurement stays with its point; a text project drops the point.
  ResamplingRun binary(content, false), text(content, true);
  for (ResamplingRun* run : {&binary, &text}) {
    run->block->Settings.Point_Resample_Number = 1;
    ASSERT_EQ(run->Resample(), 1);
    ASSERT_EQ(run->block->Points.pObjectPoints.size(), 1u);
  }
  EXPECT_STREQ(binary.block->Points.pObjectPoints[0].szName, "both");
  ASSERT_EQ(binary.block->Points.pImagePoints.size(), 2u);
  EXPECT_EQ(binary.block->Points.pImagePoints[0].nImage, 0);
  EXPECT_EQ(binary.block->Points.pImagePoints[1].nImage, -1);
  EXPECT_STREQ(text.block->Points.pObjectPoints[0].szName, "worse");
}

TEST(ResamplePoints, NotANumberTakesNoPart) {
  const FilePoint bad{"bad", 10, 10, 0, 0, {{0, std::nan(""), 100}}},
      good{"good", 10, 10, 0, 0, {{0, 130, 100}}};
  for (const Form& form : kForms) {
    ResamplingRun run(OneCellBlock({bad, good}), form.bText);
    run.block->Settings.Point_Resample_Number = 1;
    ASSERT_EQ(run.Resample(), 1);
    ASSERT_EQ(run.block->Points.pObjectPoints.size(), 1u);
    EXPECT_STREQ(run.block->Points.pObjectPoints[0].szName, "good");
  }
}

TEST(ResamplePoints, RejectedTextPointsTakeNoNumber) {
  FileBlock content = OneCellBlock({{"a", 10, 10, 0, 0, {{0, 500, 100}}},
                                    {"rejected", 10, 10, 0, 0, {{0, 100, 100}, {1, 0, 0}}},
                                    {"rejected too", 10, 10, 0, 0, {{1, 0, 0}}},
                                    {"best", 10, 10, 0, 0, {{0, 100, 100}}},
                                    {"b", 10, 10, 0, 0, {{0, 500, 100}}}});
  content.vPoints[2].szName = "rejected_too";
  content.nImageNum = 2;
  content.szHead += test::ImageText(1, 0, "0 0 0");
  ResamplingRun run(content, true);
  run.block->Settings.Point_Resample_Number = 1;
  ASSERT_EQ(run.Resample(), 1);
  ASSERT_EQ(run.block->Points.pObjectPoints.size(), 1u);
  EXPECT_STREQ(run.block->Points.pObjectPoints[0].szName, "best");
}

TEST(ResamplePoints, TextPointsComeWithoutTheObjectScale) {
  FileBlock content = OneCellBlock({{"a", 1, 1, 0, 0, {{0, 100, 100}}}});
  ResamplingRun run(content, true);
  run.block->Settings.Object_Coor_Scale = 10.0;
  ASSERT_EQ(run.Resample(), 1);
  ASSERT_EQ(run.block->Points.pObjectPoints.size(), 1u);
  EXPECT_EQ(run.block->Points.pObjectPoints[0].X, 1.0);
}

TEST(ResamplePoints, ControlPointsAmongTextPointsAreCountedBeforeTheGcp) {
  FileBlock content =
      OneCellBlock({{"a", 10, 10, 0, 1, {{0, 100, 100}}}, {"b", 10, 10, 0, 2, {{0, 1000, 700}}}});
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}});
  ResamplingRun run(content, true);
  ASSERT_EQ(run.Resample(), 1);
  EXPECT_EQ(run.block->Points.nControlPointNum, 1) << "those of the GCP file alone";
  EXPECT_EQ(run.block->Points.nCheckPointNum, 1);
}

TEST(ResamplePoints, WithoutPointsKeepsNone) {
  for (const Form& form : kForms) {
    ResamplingRun run(OneCellBlock({}), form.bText);
    EXPECT_EQ(run.Resample(), 1);
    EXPECT_EQ(run.block->Points.nObjectPointNum, 0);
    EXPECT_EQ(run.block->Points.Sections.Count(), 1);
    EXPECT_EQ(run.block->Points.Sections.ObjectPoints[0].Count(), 0);
  }
}

TEST(ResamplePoints, MissingTieFileEndsTheRun) {
  ResamplingRun run(MakeRandomBlock(9, 5, 50), false);
  std::filesystem::remove(run.files.szOvt);
  EXPECT_EQ(run.Resample(), 0);
  EXPECT_EQ(run.block.Log(), "Can not open ovt file!\n");
}

TEST(ResamplePoints, ImpossibleGridEndsTheRun) {
  for (const Form& form : kForms) {
    for (const int32_t N : {0, -1, std::numeric_limits<int32_t>::min(), 2000000000, 100000}) {
      ResamplingRun run(MakeRandomBlock(10, 30, 50), form.bText, int64_t{8} << 30);
      run.block->Settings.Point_Resample_Number = N;
      EXPECT_EQ(run.Resample(), 0) << N;
      EXPECT_EQ(run.block.Log(), "Error!Point_Resample_Number " + std::to_string(N) + " cannot be used!\n");
    }
  }
}

TEST(ResamplePoints, LargeGridsWorkWhateverTheMemoryIsSaidToBe) {
  ResamplingRun run(MakeRandomBlock(11, 5, 50), false, 1 << 20);
  run.block->Settings.Point_Resample_Number = 400;
  EXPECT_EQ(run.Resample(), 1);
}

/// One image and one point in memory, without a reader that makes the camera fit.
struct InMemory {
  LoggedBlock block;
  ResampleCells cells{6, 2};
  std::vector<ResampleView> views;

  explicit InMemory(ImagePointRecord measure) {
    block->Images.nImageNum = 2;
    block->Cameras.nCameraNum = 1;
    block->Images.pEop.resize(2);
    block->Cameras.pIop = {IopRecord{3000, 4000, 5, 0, 0, 0, 0}};
    block->Points.pObjectPoints.resize(1);
    block->Points.pObjectPoints[0].nImagePointNum = 1;
    block->Points.pImagePoints = {measure};
    block->Points.Sections.ObjectPoints = {{0, 0}};
    block->Points.Sections.ImagePoints = {{0, 0}};
    views.assign(2, {0, 0, 500, {1, 0, 0, 0, 1, 0, 0, 0, 1}});
  }
  bool Offer() { return OfferSectionPoints(ThinningOf(*block), 0, views, cells); }
};

TEST(ResamplePoints, MeasurementFarOutsideItsImageEndsTheRun) {
  for (const auto& [x, y] : {std::pair{-2.7f, 0.0f}, {0.0f, 2.1f}, {3000.0f, 0.0f}, {0.0f, -3000.0f}}) {
    InMemory run({0, 0, 0, x, y});
    EXPECT_EQ(run.Offer(), 0);
    EXPECT_EQ(run.block.Log(), "Image point coordinates out of range!\n");
  }
}

TEST(ResamplePoints, MeasurementBelowTheLastImageHasNoCell) {
  InMemory last({1, 0, 0, 0.0f, -2.0f});
  EXPECT_EQ(last.Offer(), 0);
  EXPECT_EQ(last.block.Log(), "Error!Grid ID is invalid! 74 72\n");
  // Below another image it deliberately falls into a cell of the next one.
  InMemory first({0, 0, 0, 0.0f, -2.0f});
  EXPECT_EQ(first.Offer(), 1);
  EXPECT_EQ(first.cells.Number(first.cells.Index(1, 0, 2)), 1);
}

TEST(ResamplePoints, MeasurementsWithoutAKeptImageOrCameraAreSkipped) {
  for (const auto& [image, camera] : {std::pair{-1, 0}, {2, 0}, {0, -1}, {0, 1}}) {
    InMemory run({image, camera, 0, 3000.0f, 0.0f});
    EXPECT_EQ(run.Offer(), 1);
    EXPECT_EQ(run.block.Log(), "");
  }
}

TEST(ResamplePoints, GridFinerThanHalfThePixelsEndsTheRunThroughTheWideNet) {
  FileBlock content = OneCellBlock({{"a", 10, 10, 0, 0, {{0, -3.5, 2.5}}}});
  content.szHead = "0 10 10 0 5000 0 0 0 0 0\n" + test::ImageText(0, 0, "0 0 500");
  for (const auto& [x, result] : {std::pair{-3.5, 1}, {-0.5, 1}, {0.5, 0}, {3.5, 0}}) {
    content.vPoints[0].vMeasures[0].x = x;
    ResamplingRun run(content, false);
    run.block->Settings.Point_Resample_Number = 12;
    EXPECT_EQ(run.Resample(), result) << "columns of one pixel, of which five pass: " << x;
    EXPECT_EQ(Contains(run.block.Log(), "Image point coordinates out of range!\n"), result == 0);
  }
}

TEST(ResamplePoints, GcpFileThatChangedEndsTheRun) {
  FileBlock content = MakeRandomBlock(12, 12, 100);
  content.szGcp =
      "2\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}}) + test::PointText("C1", 2, {{2, 5, 6}});
  for (const Form& form : kForms) {
    ResamplingRun fewer(content, form.bText);
    test::WriteFile(fewer.files.szGcp, "1\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}, {2, 5, 6}}));
    fewer.block->Inputs.Forget();
    EXPECT_EQ(fewer.Resample(), 0);
    EXPECT_TRUE(Contains(fewer.block.Log(), "Error!GCP number is unexpected!\n"));

    ResamplingRun measures(content, form.bText);
    test::WriteFile(measures.files.szGcp,
                    "2\n" + test::PointText("G1", 1, {{0, 1, 2}}) + test::PointText("C1", 2, {{2, 5, 6}}));
    measures.block->Inputs.Forget();
    EXPECT_EQ(measures.Resample(), 0);
    EXPECT_TRUE(Contains(measures.block.Log(), "Error!GCP image point number is unexpected!\n"));

    ResamplingRun gone(content, form.bText);
    std::filesystem::remove(gone.files.szGcp);
    EXPECT_EQ(gone.Resample(), 0);
    EXPECT_TRUE(Contains(gone.block.Log(),
                         ">>>>Reading gcp file...\nOpen gcp file falied!\nError!Reading failed: can't open " +
                             gone.files.szGcp + ": No such file or directory!\n"));
  }
}

TEST(ResamplePoints, WithoutAGcpFileThereAreNoGcp) {
  for (const Form& form : kForms) {
    ResamplingRun run(MakeRandomBlock(13, 12, 100), form.bText);
    std::filesystem::remove(run.files.szGcp);
    run.block->Inputs.Forget();
    run.block->Count(run.block->Paths.szProjectPath, run.files.szGcp);
    EXPECT_EQ(run.Resample(), 1);
    EXPECT_TRUE(Contains(run.block.Log(), ">>>>Reading gcp file...\nOpen gcp file falied!\n"));
    EXPECT_EQ(run.block->Points.nControlPointNum, 0);
  }
}

TEST(ResamplePoints, GcpMeasurementWithoutCoordinatesIsLeftOut) {
  FileBlock content = MakeRandomBlock(14, 12, 100);
  content.szGcp = "1\nG1 1 2 3 1\n2\n0\n1 3 4\n";
  ResamplingRun run(content, false);
  ASSERT_EQ(run.Resample(), 1) << run.block.Log();
  EXPECT_EQ(run.block->Points.pObjectPoints.back().nImagePointNum, 1);
  EXPECT_EQ(run.block->Points.nImagePointNum, static_cast<int64_t>(run.block->Points.pImagePoints.size()));
}

TEST(ResamplePoints, ProjectThatVanishedEndsTheRun) {
  ResamplingRun run(MakeRandomBlock(15, 12, 100), true);
  std::filesystem::remove(run.files.szText);
  EXPECT_EQ(run.Resample(), 0);
  const std::string log = run.block.Log();
  EXPECT_TRUE(Contains(log, "Error!Open prj file failed!\n"));
  EXPECT_TRUE(Contains(
      log, "\nError!Reading failed: can't open " + run.files.szText + ": No such file or directory!\n"));
}

TEST(KeepPoints, MissingSourceIsLoggedWithItsPath) {
  LoggedBlock block;
  int64_t sum = 0;
  KeepPoints(ThinningOf(*block), {0, {}, 0}, "/nowhere/a.ovt", sum, nullptr);
  EXPECT_EQ(block.Log(), "Open pts file failed:/nowhere/a.ovt\n");
}

TEST(KeepPoints, SourceWithMorePointsThanCountedIsRefused) {
  const FileBlock content = MakeRandomBlock(16, 5, 50);
  for (const Form& form : kForms) {
    ResamplingRun run(content, form.bText);
    int64_t sum = 0;
    KeepPoints(ThinningOf(*run.block), {49, std::vector<uint8_t>(49, 1), 49}, run.block->Paths.szOvtPath, sum,
               nullptr);
    EXPECT_EQ(run.block.Log(), "Total object point number is unexpected!\n");
    EXPECT_TRUE(run.block->Points.pObjectPoints.empty());
  }
}

TEST(KeepPoints, TextPointBeyondTheTotalIsLoggedAndNotKept) {
  const FileBlock content = MakeRandomBlock(17, 5, 50);
  ResamplingRun run(content, true);
  std::string text = content.Text();
  text.replace(text.find(" 50\n"), 4, " 3\n");
  test::WriteFile(run.files.szText, text);
  std::vector<int32_t> counts(50);
  int64_t sum = 0;
  TextReader file;
  ASSERT_TRUE(file.Open(run.files.szText));
  BlockParts& block = *run.block;
  EXPECT_TRUE(KeepTextPoints({block.Settings, block.Images, block.Cameras, block.Points, block.Log},
                             {3, std::vector<uint8_t>(3, 1)}, sum, counts, file));
  EXPECT_EQ(run.block->Points.pObjectPoints.size(), 3u);
}

}  // namespace
}  // namespace orvo
