// Thinning into a new tie-point file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "block/ResampleBlocks.h"

namespace orvo {
namespace {

using test::Contains;
using test::ExpectInMemory;
using test::FileBlock;
using test::FilePoint;
using test::Form;
using test::kForms;
using test::MakeRandomBlock;
using test::MeasureNum;
using test::OneCellBlock;
using test::ReferenceKept;
using test::ResamplingRun;

TEST(ResampleToFile, LimitIsTenMillionAndReachingItStaysInMemory) {
  const FileBlock content = MakeRandomBlock(20, 12, 300);
  ResamplingRun probe(content, false);
  EXPECT_EQ(probe.block->Points.nResampleFileLimit, 10000000);
  ASSERT_EQ(probe.Resample(), 1);
  const int64_t K = probe.block->Points.nTiePointNum;

  ResamplingRun equal(content, false);
  equal.block->Points.nResampleFileLimit = K;
  ASSERT_EQ(equal.Resample(), 1);
  EXPECT_FALSE(equal.block->Points.bResampledToFile);
  EXPECT_FALSE(test::Exists(equal.NewOvt()));

  ResamplingRun above(content, false);
  above.block->Points.nResampleFileLimit = K - 1;
  ASSERT_EQ(above.Resample(), 1);
  EXPECT_TRUE(above.block->Points.bResampledToFile);
  EXPECT_TRUE(test::Exists(above.NewOvt()));
}

TEST(ResampleToFile, WritesTheKeptPointsWithAllTheirMeasurements) {
  FileBlock content = MakeRandomBlock(21, 12, 700, 3);
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}});
  for (const int64_t freeBytes : {int64_t{1} << 40, int64_t{40000}}) {
    ResamplingRun run(content, false, freeBytes);
    run.block->Points.nResampleFileLimit = 10;
    const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, false);
    const int64_t total = run.block->Points.nTiePointNum, imageTotal = run.block->Points.nTieImagePointNum;
    ASSERT_EQ(run.Resample(), 1);
    test::BlockParts& block = *run.block;
    EXPECT_EQ(block.Paths.szOvtPath, run.NewOvt());
    EXPECT_TRUE(block.Points.pObjectPoints.empty());
    EXPECT_EQ(block.Points.nTiePointNum, static_cast<int64_t>(kept.size()));
    EXPECT_EQ(block.Points.nObjectPointNum, block.Points.nTiePointNum + 1);
    EXPECT_EQ(block.Points.nImagePointNum, MeasureNum(kept) + 2);
    EXPECT_EQ(block.Points.pPointImageCount.size(), kept.size() + 1);
    const std::string log = block.Outputs.nOutputFailureNum == 0 ? run.block.Log() : "";
    const std::string tail = "Sampling object points " + std::to_string(kept.size()) + " from " +
                             std::to_string(total) + "\nSampling image points " +
                             std::to_string(MeasureNum(kept)) + " from " + std::to_string(imageTotal) + "\n";
    EXPECT_EQ(log.substr(log.size() - tail.size()), tail);

    // Byte for byte: the source's records with new first indices, reserved fields and all.
    const std::string source = content.Ovt(), bytes = test::ReadFile(run.NewOvt());
    std::string points, measures;
    for (size_t p = 0, at = 0; p < content.vPoints.size(); ++p) {
      const size_t count = content.vPoints[p].vMeasures.size();
      const bool isKept = std::any_of(kept.begin(), kept.end(), [&](const FilePoint& k) {
        return k.szName == content.vPoints[p].szName;
      });
      if (isKept) {
        std::string record = source.substr(8 + 68 * p, 68);
        const auto first = static_cast<int32_t>(measures.size() / 16);
        std::memcpy(record.data() + 64, &first, 4);
        points += record;
        measures += source.substr(8 + 68 * content.vPoints.size() + 16 * at, 16 * count);
      }
      at += count;
    }
    std::string header(8, '\0');
    EncodeOvtHeader(static_cast<int32_t>(kept.size()), static_cast<int32_t>(MeasureNum(kept)), header.data());
    EXPECT_TRUE(bytes == header + points + measures);
    EXPECT_EQ(test::ReadFile(run.files.szOvt), source);
  }
}

TEST(ResampleToFile, NewFileReadsLikeTheKeptPointsInMemory) {
  FileBlock content = MakeRandomBlock(22, 12, 500, 3);
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}});
  ResamplingRun memory(content, false), file(content, false);
  file.block->Points.nResampleFileLimit = 0;
  ASSERT_EQ(memory.Resample(), 1);
  ASSERT_EQ(file.Resample(), 1);
  test::BlockParts &a = *memory.block, &b = *file.block;
  b.Plan();
  int64_t count = 0;
  ASSERT_EQ(b.Read(0, count), 1);
  ASSERT_EQ(a.Points.pObjectPoints.size(), b.Points.pObjectPoints.size());
  ASSERT_EQ(a.Points.pImagePoints.size(), b.Points.pImagePoints.size());
  for (size_t i = 0; i < a.Points.pObjectPoints.size(); ++i) {
    EXPECT_STREQ(a.Points.pObjectPoints[i].szName, b.Points.pObjectPoints[i].szName);
    EXPECT_EQ(a.Points.pObjectPoints[i].nFirstImagePoint, b.Points.pObjectPoints[i].nFirstImagePoint);
    EXPECT_EQ(a.Points.pObjectPoints[i].nImagePointNum, b.Points.pObjectPoints[i].nImagePointNum);
  }
  for (size_t i = 0; i < a.Points.pImagePoints.size(); ++i) {
    EXPECT_EQ(a.Points.pImagePoints[i].nImage, b.Points.pImagePoints[i].nImage);
    EXPECT_EQ(a.Points.pImagePoints[i].nCamera, b.Points.pImagePoints[i].nCamera);
    EXPECT_EQ(a.Points.pImagePoints[i].nObjectPoint, b.Points.pImagePoints[i].nObjectPoint);
    EXPECT_EQ(a.Points.pImagePoints[i].x, b.Points.pImagePoints[i].x);
  }
}

TEST(ResampleToFile, FolderThatTakesNoFileEndsTheRun) {
  for (const Form& form : kForms) {
    ResamplingRun run(MakeRandomBlock(24, 12, 300), form.bText);
    run.block->Points.nResampleFileLimit = 0;
    const std::string source = run.block->Paths.szOvtPath;
    EXPECT_EQ(run.Resample(run.files.folder / "no/Resampled.ovt"), 0);
    EXPECT_TRUE(Contains(run.block.Log(), "Create new ovt file failed!\n"));
    EXPECT_EQ(run.block->Outputs.nOutputFailureNum, 1);
    EXPECT_EQ(run.block->Paths.szOvtPath, source);
  }
}

TEST(ResampleToFile, FullDiskEndsTheRun) {
  if (!test::Exists("/dev/full")) GTEST_SKIP();
  ResamplingRun run(MakeRandomBlock(25, 12, 300), false);
  run.block->Points.nResampleFileLimit = 0;
  const std::string source = run.block->Paths.szOvtPath;
  EXPECT_EQ(run.Resample("/dev/full"), 0);
  EXPECT_TRUE(Contains(run.block.Log(), "Create new ovt file failed!\n"));
  EXPECT_EQ(run.block->Outputs.nOutputFailureNum, 1);
  EXPECT_EQ(run.block->Paths.szOvtPath, source);
}

TEST(ResampleToFile, TextProjectWritesAHeaderAndStaysInMemory) {
  const FileBlock content = MakeRandomBlock(26, 12, 300);
  ResamplingRun run(content, true);
  const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, true);
  run.block->Points.nResampleFileLimit = 0;
  ASSERT_EQ(run.Resample(), 1);
  ExpectInMemory(*run.block, kept);
  EXPECT_TRUE(run.block->Paths.szOvtPath.empty());
  EXPECT_FALSE(run.block->Points.bResampledToFile)
      << "or the flow would plan sections over a file without points";
  std::string header(8, '\0');
  EncodeOvtHeader(static_cast<int32_t>(kept.size()), 0, header.data());
  EXPECT_EQ(test::ReadFile(run.NewOvt()), header);
}

TEST(ResampleToFile, BrokenRangesTakeNothingTwice) {
  // The second point claims records of the first one, the third leaves the file, the fourth claims before it.
  std::vector<OvtPoint> points = {test::MakeOvtPoint("a", 0, 2, 0), test::MakeOvtPoint("b", 0, 2, 1),
                                  test::MakeOvtPoint("c", 0, 100, 2), test::MakeOvtPoint("d", 0, 1, -7)};
  const std::vector<OvtMeasure> measures = {
      {0, 1, 1, 0}, {0, 900, 1, 0}, {0, -900, 700, 0}, {0, 1500, -900, 0}};
  for (const int64_t limit : {int64_t{0}, int64_t{100}}) {
    ResamplingRun run(OneCellBlock({{"x", 1, 2, 3, 0, {{0, 1, 1}}}}), false);
    test::WriteFile(run.files.szOvt, test::OvtBytes(points, measures));
    run.block->Inputs.Forget();
    run.block->Count(run.files.szOvc, run.files.szGcp);
    run.block->Points.nResampleFileLimit = limit;
    ASSERT_EQ(run.Resample(), 1) << run.block.Log();
    EXPECT_EQ(run.block->Points.nImagePointNum, 4);
    EXPECT_EQ(run.block->Points.nTiePointNum, 2);
  }
}

}  // namespace
}  // namespace orvo
