#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <vector>

#include "block/BlockFiles.h"
#include "block/OvtFile.h"
#include "block/ResampleCells.h"
#include "block/ResampleReference.h"
#include "block/ResampleScore.h"
#include "block/TextReader.h"
#include "geometry/Rotation.h"

namespace orvo {
namespace {

using test::LoggedBlock;
using test::MeasureText;
using test::ProjectFiles;
using test::ReferenceMeasure;
using test::ReferencePoint;

/// A tie point as both file forms hold it. Coordinates in file units.
struct FilePoint {
  std::string szName;
  double X = 0, Y = 0, Z = 0;
  int32_t nType = 0;
  std::vector<MeasureText> vMeasures;
};

struct FileBlock {
  std::string szHead;  ///< header without the point count, cameras, images
  int32_t nImageNum = 0, nCameraNum = 0;
  std::vector<FilePoint> vPoints;
  std::string szGcp = "0\n";

  std::string Text() const {
    std::string text = std::to_string(nImageNum) + " " + std::to_string(nCameraNum) + " " +
                       std::to_string(vPoints.size()) + "\n" + szHead;
    char position[200];
    for (const FilePoint& p : vPoints) {
      std::snprintf(position, sizeof position, "%.17g %.17g %.17g", p.X, p.Y, p.Z);
      text += test::PointText(p.szName, p.nType, p.vMeasures, position);
    }
    return text;
  }
  std::string Ovc() const {
    return std::to_string(nImageNum) + " " + std::to_string(nCameraNum) + " 0\n" + szHead;
  }
  std::string Ovt() const {
    std::vector<OvtPoint> points;
    std::vector<OvtMeasure> measures;
    for (const FilePoint& p : vPoints) {
      points.push_back(test::MakeOvtPoint(p.szName.c_str(), p.nType, static_cast<int>(p.vMeasures.size()),
                                          static_cast<int>(measures.size())));
      points.back().X = p.X;
      points.back().Y = p.Y;
      points.back().Z = p.Z;
      for (const MeasureText& m : p.vMeasures) {
        measures.push_back({m.image, static_cast<float>(m.x), static_cast<float>(m.y),
                            static_cast<int32_t>(1000 + measures.size())});
      }
    }
    return test::OvtBytes(points, measures);
  }
};

constexpr double kFlyingHeight = 500.0;

/// Nadir images in rows over flat ground and two cameras, points measured with noise, some of them outliers,
/// some repeated exactly. `deletedImage` gets the position that deletes an image, -1 for none.
FileBlock MakeRandomBlock(uint32_t seed, int32_t imageNum, int32_t pointNum, int32_t deletedImage = -1) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  FileBlock block;
  block.nImageNum = imageNum;
  block.nCameraNum = 2;
  block.szHead = "0 4000 3000 0 5000 10 -20 0 1e-9 0\n1 3001 2001 0 4000 -5 7 0 0 0\n";
  std::vector<std::pair<double, double>> centres;
  for (int32_t i = 0; i < imageNum; ++i) {
    centres.push_back({100.0 + i % 5 * 80.0, 100.0 + i / 5 * 90.0});
    const std::string position = i == deletedImage ? "0 0 0"
                                                   : std::to_string(centres.back().first) + " " +
                                                         std::to_string(centres.back().second) + " " +
                                                         std::to_string(kFlyingHeight);
    block.szHead += test::ImageText(i, i % 2, position);
  }
  for (int32_t p = 0; p < pointNum; ++p) {
    if (p % 10 == 9) {
      // The same again under another name: equal in every cell.
      block.vPoints.push_back(block.vPoints[random() % block.vPoints.size()]);
      block.vPoints.back().szName = std::to_string(p) + "P";
      continue;
    }
    FilePoint point{
        std::to_string(p) + "P", 50 + 500 * unit(random), 50 + 300 * unit(random), 10 * unit(random), 0, {}};
    for (int32_t i = 0; i < imageNum; ++i) {
      const double focal = i % 2 == 0 ? 5000 : 4000;
      const double scale = focal / (kFlyingHeight - point.Z);
      const double noise = p % 17 == 0 ? 30.0 : 1.0;
      // Rounded to a quarter of a pixel, so that equal scores turn up by themselves too.
      const auto rounded = [](double value) { return std::floor(4.0 * value) / 4.0; };
      const double x = rounded((point.X - centres[static_cast<size_t>(i)].first) * scale +
                               noise * (unit(random) - 0.5) + (i % 2 == 0 ? 10 : -5));
      const double y = rounded((point.Y - centres[static_cast<size_t>(i)].second) * scale +
                               noise * (unit(random) - 0.5) + (i % 2 == 0 ? -20 : 7));
      const bool sees =
          std::fabs(x) < (i % 2 == 0 ? 2000 : 1500) && std::fabs(y) < (i % 2 == 0 ? 1500 : 1000);
      if (sees && unit(random) < 0.8) point.vMeasures.push_back({i, x, y});
    }
    block.vPoints.push_back(point);
  }
  return block;
}

struct Form {
  bool bText;
  std::string szName;
};
const Form kForms[] = {{true, "text"}, {false, "ovt"}};

/// The files of a block and an object that has read all but the points.
struct ResamplingRun {
  ProjectFiles files;
  LoggedBlock block;
  bool bText;

  ResamplingRun(const FileBlock& content, bool text, int64_t freeBytes = int64_t{1} << 40)
      : block(freeBytes), bText(text) {
    test::WriteFile(files.szText, content.Text());
    test::WriteFile(files.szOvc, content.Ovc());
    test::WriteFile(files.szOvt, content.Ovt());
    test::WriteFile(files.szGcp, content.szGcp);
    block->PreReadData(bText ? files.szText : files.szOvc, files.szGcp);
    block->ReadProject(bText ? files.szText : files.szOvc, files.szGcp);
    block.Log();
  }
  std::string NewOvt() const { return files.folder / "Resampled.ovt"; }
  int Resample() { return block->ResamplePoints(block->szOvtPath, files.szGcp, NewOvt()); }
};

/// What the slow form keeps of the points that the form's reader accepts.
std::vector<FilePoint> ReferenceKept(const FileBlock& content, CBundleAdjustment& block, bool text) {
  std::vector<ReferencePoint> points;
  std::vector<const FilePoint*> accepted;
  std::vector<IopRecord> iop = block.pIop;
  for (const FilePoint& p : content.vPoints) {
    ReferencePoint point{p.X, p.Y, p.Z, {}};
    bool complete = true;
    for (const MeasureText& m : p.vMeasures) {
      ReferenceMeasure measure;
      measure.nImage = block.pImageIndex[static_cast<size_t>(m.image)];
      complete = complete && measure.nImage >= 0;
      if (measure.nImage >= 0) {
        measure.nCamera =
            block.pCameraIndex[static_cast<size_t>(block.pImageCamera[static_cast<size_t>(m.image)])];
        IopRecord& camera = iop[static_cast<size_t>(measure.nCamera)];
        if (std::fabs(m.x) > camera.nImageWidth / 2) {
          camera.nImageWidth = (static_cast<int32_t>(std::fabs(m.x)) + 1) * 2;
        }
        if (std::fabs(m.y) > camera.nImageHeight / 2) {
          camera.nImageHeight = (static_cast<int32_t>(std::fabs(m.y)) + 1) * 2;
        }
      }
      measure.x = static_cast<float>(m.x * block.Image_Coor_Scale);
      measure.y = static_cast<float>(m.y * block.Image_Coor_Scale);
      point.vMeasures.push_back(measure);
    }
    if (text && !complete) continue;
    points.push_back(point);
    accepted.push_back(&p);
  }
  const auto keep =
      test::ReferenceThinning(points, {block.pEop.begin(), block.pEop.begin() + block.nImageNum}, iop,
                              block.Point_Resample_Number, block.Image_Coor_Scale);
  EXPECT_TRUE(keep.has_value());
  std::vector<FilePoint> kept;
  for (size_t p = 0; keep && p < points.size(); ++p) {
    if ((*keep)[p]) kept.push_back(*accepted[p]);
  }
  return kept;
}

int64_t MeasureNum(const std::vector<FilePoint>& points) {
  int64_t sum = 0;
  for (const FilePoint& point : points) sum += static_cast<int64_t>(point.vMeasures.size());
  return sum;
}

/// The object holds these tie points, whole and in order, and nothing between them.
void ExpectInMemory(CBundleAdjustment& block, const std::vector<FilePoint>& kept) {
  ASSERT_GE(block.pObjectPoints.size(), kept.size());
  int64_t next = 0;
  for (size_t p = 0; p < kept.size(); ++p) {
    const ObjectPointRecord& point = block.pObjectPoints[p];
    ASSERT_EQ(point.szName, kept[p].szName);
    EXPECT_EQ(point.X, kept[p].X);
    EXPECT_EQ(point.nType, kept[p].nType);
    EXPECT_EQ(point.nFirstImagePoint, next);
    ASSERT_EQ(point.nImagePointNum, static_cast<int32_t>(kept[p].vMeasures.size()));
    EXPECT_EQ(block.pPointImageCount[p], point.nImagePointNum);
    for (const MeasureText& m : kept[p].vMeasures) {
      const ImagePointRecord& measure = block.pImagePoints[static_cast<size_t>(next++)];
      EXPECT_EQ(measure.nImage, block.pImageIndex[static_cast<size_t>(m.image)]);
      EXPECT_EQ(measure.nObjectPoint, static_cast<int32_t>(p));
      EXPECT_EQ(measure.x,
                static_cast<float>(static_cast<double>(static_cast<float>(m.x)) * block.Image_Coor_Scale));
      EXPECT_EQ(measure.y,
                static_cast<float>(static_cast<double>(static_cast<float>(m.y)) * block.Image_Coor_Scale));
    }
  }
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(ResampleScore, IsThatOfTheLiteralFormula) {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  for (int i = 0; i < 500; ++i) {
    const EopRecord eop{0,
                        0,
                        10 * normal(random),
                        10 * normal(random),
                        500,
                        0.3 * normal(random),
                        0.3 * normal(random),
                        2 * normal(random)};
    const IopRecord iop{3000, 4000, 5.0, 0.01 * normal(random), 0.01 * normal(random), 1e-3, 1e-3};
    const ReferencePoint point{50 * normal(random), 50 * normal(random), 5 * normal(random), {{}, {}}};
    const ReferenceMeasure measure{0, 0, static_cast<float>(normal(random)),
                                   static_cast<float>(normal(random))};
    ResampleView view{eop.X, eop.Y, eop.Z, {}};
    ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, view.R);
    const float score = ComputeResampleScore(view, ResampleGrid(iop, 6, 0.001), 0.2, point.X, point.Y,
                                             point.Z, measure.x, measure.y, 2);
    const float expected = test::ReferenceScore(eop, iop, point, measure, 0.2);
    EXPECT_NEAR(score, expected, 2e-7f * expected);
  }
}

TEST(ResampleScore, NumberOfRaysDecidesNothing) {
  const ResampleView view{0, 0, 500, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
  const ResampleGrid grid(IopRecord{3000, 4000, 5, 0, 0, 0, 0}, 6, 0.001);
  EXPECT_EQ(ComputeResampleScore(view, grid, 0.1, 3, 4, 5, 0.02f, 0.03f, 2),
            ComputeResampleScore(view, grid, 0.1, 3, 4, 5, 0.02f, 0.03f, 2000));
}

TEST(ResampleScore, OfAPointInThePlaneOfTheCentreIsNotFinite) {
  const ResampleView view{0, 0, 500, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
  const ResampleGrid grid(IopRecord{3000, 4000, 5, 0, 0, 0, 0}, 6, 0.001);
  EXPECT_FALSE(std::isfinite(ComputeResampleScore(view, grid, 0.1, 3, 4, 500, 0, 0, 2)));
  EXPECT_TRUE(std::isnan(ComputeResampleScore(view, grid, 0.1, 0, 0, 500, 0, 0, 2)));
}

TEST(ResampleCell, RowsAndColumns) {
  // 4001 / 6 + 1 = 667 and 3000 / 6 + 1 = 501, scaled by 2^-10 so that edges are exact.
  const double s = 1.0 / 1024;
  const ResampleGrid grid(IopRecord{3000, 4001, 5, 0, 0, 0, 0}, 6, s);
  EXPECT_EQ(grid.fCellWidth, 667 * s);
  EXPECT_EQ(grid.fCellHeight, 501 * s);
  struct Row {
    double x, y;
    bool bInRange;
    int32_t nColumn, nRow;
  };
  const Row kRows[] = {
      {-2000, 1500, true, 0, 0},        // upper left corner
      {-2000, 0, true, 0, 2},           // left edge
      {2000, -1500, true, 5, 5},        // lower right corner
      {-1333, 0, true, 1, 2},           // on the line between two columns
      {-1333.25, 0, true, 0, 2},        // just left of it
      {-2000.25, 1500.25, true, 0, 0},  // less than a cell outside still counts as the first
      {-2666.75, 0, true, 0, 2},        //
      {-2667, 0, false, 0, 0},          // a whole cell outside
      {0, 2001, false, 0, 0},          {2002, 0, true, 6, 2},  // beyond the grid, within the wide net
      {2e9, 0, false, 0, 0},           {-2e9, 0, false, 0, 0}};
  for (const Row& row : kRows) {
    const ResampleCell cell =
        FindResampleCell(grid, static_cast<float>(row.x * s), static_cast<float>(row.y * s));
    ASSERT_EQ(cell.bInRange, row.bInRange) << row.x << " " << row.y;
    if (!row.bInRange) continue;
    EXPECT_EQ(cell.nColumn, row.nColumn) << row.x;
    EXPECT_EQ(cell.nRow, row.nRow) << row.y;
  }
  const float kBad[] = {std::nanf(""), std::numeric_limits<float>::infinity()};
  for (const float bad : kBad) {
    EXPECT_FALSE(FindResampleCell(grid, bad, 0).bInRange);
    EXPECT_FALSE(FindResampleCell(grid, 0, bad).bInRange);
  }
  EXPECT_FALSE(FindResampleCell(ResampleGrid(IopRecord{0, 0, 5, 0, 0, 0, 0}, 6, s), 0, 0).bInRange);
  EXPECT_FALSE(FindResampleCell(ResampleGrid(IopRecord{3000, 4000, 5, 0, 0, 0, 0}, 6, 0.0), 0, 0).bInRange);
}

TEST(ResampleCell, DistanceIsFromTheCentreOfTheCell) {
  const double s = 1.0 / 1024;
  const ResampleGrid grid(IopRecord{3000, 4001, 5, 0, 0, 0, 0}, 6, s);
  const float x = static_cast<float>((-2000 + 333.5) * s), y = static_cast<float>((1500 - 250.5) * s);
  EXPECT_NEAR(FindResampleCell(grid, x, y).fDistance, 0.0, 1e-7);
  EXPECT_NEAR(FindResampleCell(grid, x + static_cast<float>(3 * s), y - static_cast<float>(4 * s)).fDistance,
              5 * s, 1e-7);
}

TEST(ResampleCells, FirstOfEqualScoresStaysAndNotANumberLoses) {
  ResampleCells cells(2, 3);
  EXPECT_EQ(cells.CellNum(), 12);
  EXPECT_EQ(cells.Index(2, 1, 1), 11);
  cells.Offer(5, std::nanf(""), 1);
  cells.Offer(5, std::numeric_limits<float>::infinity(), 2);
  EXPECT_EQ(cells.Number(5), 0);
  cells.Offer(5, 2.0f, 3);
  cells.Offer(5, 2.0f, 4);
  cells.Offer(5, std::nanf(""), 5);
  EXPECT_EQ(cells.Number(5), 3);
  cells.Offer(5, 1.5f, 6);
  EXPECT_EQ(cells.Number(5), 6);
}

TEST(ResamplePoints, KeepsWhatTheObviousFormKeeps) {
  for (const Form& form : kForms) {
    for (const int32_t deleted : {-1, 3}) {
      for (const int32_t N : {1, 2, 6, 9}) {
        SCOPED_TRACE(form.szName + " N " + std::to_string(N) + " deleted " + std::to_string(deleted));
        const FileBlock content = MakeRandomBlock(static_cast<uint32_t>(N), 12, 700, deleted);
        ResamplingRun run(content, form.bText);
        run.block->Point_Resample_Number = N;
        const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, form.bText);
        const int64_t total = run.block->nTiePointNum, imageTotal = run.block->nTieImagePointNum;
        ASSERT_EQ(run.Resample(), 1);
        ASSERT_LT(kept.size(), content.vPoints.size());
        const auto K = static_cast<int64_t>(kept.size());
        EXPECT_EQ(run.block->nTiePointNum, K);
        EXPECT_EQ(run.block->nObjectPointNum, K);
        EXPECT_EQ(run.block->nImagePointNum, MeasureNum(kept));
        EXPECT_EQ(run.block->pObjectPoints.size(), kept.size());
        EXPECT_EQ(run.block->pImagePoints.size(), static_cast<size_t>(MeasureNum(kept)));
        EXPECT_EQ(run.block->pPointImageCount.size(), kept.size());
        ExpectInMemory(*run.block, kept);
        const std::string tail = "Sampling object points " + std::to_string(K) + " from " +
                                 std::to_string(total) + "\nSampling image points " +
                                 std::to_string(MeasureNum(kept)) + " from " + std::to_string(imageTotal) +
                                 "\n>>>>Reading gcp file...\n";
        const std::string log = run.block.Log();
        EXPECT_EQ(log.substr(log.size() - tail.size()), tail);
        EXPECT_FALSE(run.block->bResampledToFile);
        EXPECT_FALSE(test::Exists(run.NewOvt()));
      }
    }
  }
}

TEST(ResamplePoints, MakesOneSectionOfWhatIsKept) {
  FileBlock content = MakeRandomBlock(5, 12, 300);
  content.szGcp =
      "2\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}}) + test::PointText("C1", 2, {{2, 5, 6}});
  for (const Form& form : kForms) {
    ResamplingRun run(content, form.bText);
    ASSERT_EQ(run.Resample(), 1);
    const PointSectionTable& sections = run.block->Sections;
    ASSERT_EQ(sections.Count(), 1);
    EXPECT_EQ(sections.ObjectPoints[0].nFirst, 0);
    EXPECT_EQ(sections.ObjectPoints[0].nLast, run.block->nObjectPointNum - 1);
    EXPECT_EQ(sections.ImagePoints[0].nFirst, 0);
    EXPECT_EQ(sections.ImagePoints[0].nLast, run.block->nImagePointNum - 1);
    EXPECT_EQ(run.block->nCurrentSection, 0);
    EXPECT_EQ(static_cast<int64_t>(run.block->pObjectPoints.size()), run.block->nObjectPointNum);
    EXPECT_EQ(static_cast<int64_t>(run.block->pImagePoints.size()), run.block->nImagePointNum);
  }
}

TEST(ResamplePoints, AppendsControlAndCheckPoints) {
  FileBlock content = MakeRandomBlock(6, 12, 200, 3);
  content.szGcp = "3\n" + test::PointText("G1", 1, {{0, 1, 2}, {3, 3, 4}}, "7 8 9") +
                  test::PointText("C1", 2, {{99, 5, 6}, {2, 7, 8}}) + test::PointText("G2", 1, {});
  for (const Form& form : kForms) {
    ResamplingRun run(content, form.bText);
    run.block->Object_Coor_Scale = 10.0;
    run.block->nControlPointNum = 77;
    ASSERT_EQ(run.Resample(), 1) << run.block.Log();
    CBundleAdjustment& block = *run.block;
    const auto K = static_cast<size_t>(block.nTiePointNum);
    ASSERT_EQ(block.pObjectPoints.size(), K + 3);
    EXPECT_EQ(block.nObjectPointNum, static_cast<int64_t>(K) + 3);
    EXPECT_EQ(block.nControlPointNum, 2) << "counted anew";
    EXPECT_EQ(block.nCheckPointNum, 1);
    EXPECT_EQ(block.nGcpFileNum, 3);
    const ObjectPointRecord& control = block.pObjectPoints[K];
    EXPECT_STREQ(control.szName, "G1");
    EXPECT_EQ(control.X, 7.0) << "never scaled";
    EXPECT_EQ(control.nImagePointNum, 2);
    const auto first = static_cast<size_t>(control.nFirstImagePoint);
    EXPECT_EQ(block.pImagePoints[first].nObjectPoint, static_cast<int32_t>(K));
    EXPECT_EQ(block.pImagePoints[first].nImage, 0);
    EXPECT_EQ(block.pImagePoints[first + 1].nImage, -1) << "on the deleted image";
    EXPECT_EQ(block.pImagePoints[first + 2].nImage, -1) << "an ordinal out of range ends nothing";
    EXPECT_EQ(block.pImagePoints[first + 3].nImage, block.pImageIndex[2]);
    ASSERT_EQ(block.pGcpTable.size(), 3u);
    EXPECT_EQ(block.pGcpTable[0].X, 7.0);
    EXPECT_EQ(block.pPointImageCount.size(), K + 3);
    EXPECT_EQ(block.pPointImageCount[K], 0);
  }
}

TEST(ResamplePoints, TakesNormalisedCoordinatesFromTheTable) {
  FileBlock content = MakeRandomBlock(6, 12, 100);
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}}, "7 8 9");
  ResamplingRun run(content, false);
  ASSERT_EQ(run.block->ReadGcpTable(run.files.szGcp), 1);
  run.block->pGcpTable[0].X = 0.25;
  ASSERT_EQ(run.Resample(), 1);
  EXPECT_EQ(run.block->pObjectPoints.back().X, 0.25);
  EXPECT_EQ(run.block->pObjectPoints.back().Y, 8.0);
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
  EXPECT_EQ(many.block->Sections.Count(), 1);
}

TEST(ResamplePoints, KeepsAtMostACellsWorthOfPoints) {
  const FileBlock content = MakeRandomBlock(8, 100, 6000);
  ResamplingRun run(content, false);
  ASSERT_EQ(run.Resample(), 1);
  EXPECT_LE(run.block->nTiePointNum, 3600);
  EXPECT_GT(run.block->nTiePointNum, 100);
}

/// One image, one cell, points that differ in what the row says.
FileBlock OneCellBlock(const std::vector<FilePoint>& points) {
  FileBlock content;
  content.nImageNum = content.nCameraNum = 1;
  content.szHead = "0 4000 3000 0 5000 0 0 0 0 0\n" + test::ImageText(0, 0, "0 0 500");
  content.vPoints = points;
  return content;
}

TEST(ResamplePoints, FirstOfEqualScoresStays) {
  const FilePoint better{"better", 10, 10, 0, 0, {{0, 100, 100}}},
      worse{"worse", 10, 10, 0, 0, {{0, 120, 100}}};
  FilePoint again = better;
  again.szName = "again";
  for (const Form& form : kForms) {
    for (const auto& points : {std::vector<FilePoint>{better, again, worse}, {worse, better, again}}) {
      ResamplingRun run(OneCellBlock(points), form.bText);
      run.block->Point_Resample_Number = 1;
      ASSERT_EQ(run.Resample(), 1);
      ASSERT_EQ(run.block->pObjectPoints.size(), 1u);
      EXPECT_STREQ(run.block->pObjectPoints[0].szName, "better");
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
    run->block->Point_Resample_Number = 1;
    ASSERT_EQ(run->Resample(), 1);
    ASSERT_EQ(run->block->pObjectPoints.size(), 1u);
  }
  EXPECT_STREQ(binary.block->pObjectPoints[0].szName, "both");
  ASSERT_EQ(binary.block->pImagePoints.size(), 2u);
  EXPECT_EQ(binary.block->pImagePoints[0].nImage, 0);
  EXPECT_EQ(binary.block->pImagePoints[1].nImage, -1);
  EXPECT_STREQ(text.block->pObjectPoints[0].szName, "worse");
}

TEST(ResamplePoints, NotANumberTakesNoPart) {
  const FilePoint bad{"bad", 10, 10, 0, 0, {{0, std::nan(""), 100}}},
      good{"good", 10, 10, 0, 0, {{0, 130, 100}}};
  for (const Form& form : kForms) {
    ResamplingRun run(OneCellBlock({bad, good}), form.bText);
    run.block->Point_Resample_Number = 1;
    ASSERT_EQ(run.Resample(), 1);
    ASSERT_EQ(run.block->pObjectPoints.size(), 1u);
    EXPECT_STREQ(run.block->pObjectPoints[0].szName, "good");
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
  run.block->Point_Resample_Number = 1;
  ASSERT_EQ(run.Resample(), 1);
  ASSERT_EQ(run.block->pObjectPoints.size(), 1u);
  EXPECT_STREQ(run.block->pObjectPoints[0].szName, "best");
}

TEST(ResamplePoints, TextPointsComeWithoutTheObjectScale) {
  FileBlock content = OneCellBlock({{"a", 1, 1, 0, 0, {{0, 100, 100}}}});
  ResamplingRun run(content, true);
  run.block->Object_Coor_Scale = 10.0;
  ASSERT_EQ(run.Resample(), 1);
  ASSERT_EQ(run.block->pObjectPoints.size(), 1u);
  EXPECT_EQ(run.block->pObjectPoints[0].X, 1.0);
}

TEST(ResamplePoints, ControlPointsAmongTextPointsAreCountedBeforeTheGcp) {
  FileBlock content =
      OneCellBlock({{"a", 10, 10, 0, 1, {{0, 100, 100}}}, {"b", 10, 10, 0, 2, {{0, 1000, 700}}}});
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}});
  ResamplingRun run(content, true);
  ASSERT_EQ(run.Resample(), 1);
  EXPECT_EQ(run.block->nControlPointNum, 1) << "those of the GCP file alone";
  EXPECT_EQ(run.block->nCheckPointNum, 1);
}

TEST(ResamplePoints, WithoutPointsKeepsNone) {
  for (const Form& form : kForms) {
    ResamplingRun run(OneCellBlock({}), form.bText);
    EXPECT_EQ(run.Resample(), 1);
    EXPECT_EQ(run.block->nObjectPointNum, 0);
    EXPECT_EQ(run.block->Sections.Count(), 1);
    EXPECT_EQ(run.block->Sections.ObjectPoints[0].Count(), 0);
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
      run.block->Point_Resample_Number = N;
      EXPECT_EQ(run.Resample(), 0) << N;
      EXPECT_EQ(run.block.Log(), "Error!Point_Resample_Number " + std::to_string(N) + " cannot be used!\n");
    }
  }
}

TEST(ResamplePoints, LargeGridsWorkWhateverTheMemoryIsSaidToBe) {
  ResamplingRun run(MakeRandomBlock(11, 5, 50), false, 1 << 20);
  run.block->Point_Resample_Number = 400;
  EXPECT_EQ(run.Resample(), 1);
}

/// One image and one point in memory, without a reader that makes the camera fit.
struct InMemory {
  LoggedBlock block;
  ResampleCells cells{6, 2};
  std::vector<ResampleView> views;

  explicit InMemory(ImagePointRecord measure) {
    block->nImageNum = 2;
    block->nCameraNum = 1;
    block->pEop.resize(2);
    block->pIop = {IopRecord{3000, 4000, 5, 0, 0, 0, 0}};
    block->pObjectPoints.resize(1);
    block->pObjectPoints[0].nImagePointNum = 1;
    block->pImagePoints = {measure};
    block->Sections.ObjectPoints = {{0, 0}};
    block->Sections.ImagePoints = {{0, 0}};
    views.assign(2, {0, 0, 500, {1, 0, 0, 0, 1, 0, 0, 0, 1}});
  }
  int Offer() { return block->OfferSectionPoints(0, views, cells); }
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
    run.block->Point_Resample_Number = 12;
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
    EXPECT_EQ(fewer.Resample(), 0);
    EXPECT_TRUE(Contains(fewer.block.Log(), "Error!GCP number is unexpected!\n"));

    ResamplingRun measures(content, form.bText);
    test::WriteFile(measures.files.szGcp,
                    "2\n" + test::PointText("G1", 1, {{0, 1, 2}}) + test::PointText("C1", 2, {{2, 5, 6}}));
    EXPECT_EQ(measures.Resample(), 0);
    EXPECT_TRUE(Contains(measures.block.Log(), "Error!GCP image point number is unexpected!\n"));

    ResamplingRun gone(content, form.bText);
    std::filesystem::remove(gone.files.szGcp);
    EXPECT_EQ(gone.Resample(), 0);
    EXPECT_TRUE(
        Contains(gone.block.Log(),
                 ">>>>Reading gcp file...\nOpen gcp file falied!\nError!GCP number is unexpected!\n"));
  }
}

TEST(ResamplePoints, WithoutAGcpFileThereAreNoGcp) {
  for (const Form& form : kForms) {
    ResamplingRun run(MakeRandomBlock(13, 12, 100), form.bText);
    std::filesystem::remove(run.files.szGcp);
    run.block->PreReadData(run.block->szProjectPath, run.files.szGcp);
    EXPECT_EQ(run.Resample(), 1);
    EXPECT_TRUE(Contains(run.block.Log(), ">>>>Reading gcp file...\nOpen gcp file falied!\n"));
    EXPECT_EQ(run.block->nControlPointNum, 0);
  }
}

TEST(ResamplePoints, GcpMeasurementWithoutCoordinatesIsLeftOut) {
  FileBlock content = MakeRandomBlock(14, 12, 100);
  content.szGcp = "1\nG1 1 2 3 1\n2\n0\n1 3 4\n";
  ResamplingRun run(content, false);
  ASSERT_EQ(run.Resample(), 1) << run.block.Log();
  EXPECT_EQ(run.block->pObjectPoints.back().nImagePointNum, 1);
  EXPECT_EQ(run.block->nImagePointNum, static_cast<int64_t>(run.block->pImagePoints.size()));
}

TEST(ResamplePoints, ProjectThatVanishedEndsTheRun) {
  ResamplingRun run(MakeRandomBlock(15, 12, 100), true);
  std::filesystem::remove(run.files.szText);
  EXPECT_EQ(run.Resample(), 0);
  const std::string log = run.block.Log();
  EXPECT_TRUE(Contains(log, "Error!Open prj file failed!\n"));
  EXPECT_TRUE(Contains(
      log,
      "\nOpen prj file failed:2\n>>>>Reading gcp file...\nError!GCP image point number is unexpected!\n"));
}

TEST(FilterPoints, MissingSourceIsLoggedWithItsPath) {
  LoggedBlock block;
  int64_t sum = 0;
  block->FilterPoints("/nowhere/a.ovt", 0, {}, 0, sum, nullptr);
  EXPECT_EQ(block.Log(), "Open pts file failed:/nowhere/a.ovt\n");
}

TEST(FilterPoints, SourceWithMorePointsThanCountedIsRefused) {
  const FileBlock content = MakeRandomBlock(16, 5, 50);
  for (const Form& form : kForms) {
    ResamplingRun run(content, form.bText);
    int64_t sum = 0;
    run.block->FilterPoints(run.block->szOvtPath, 49, std::vector<uint8_t>(49, 1), 49, sum, nullptr);
    EXPECT_EQ(run.block.Log(), "Total object point number is unexpected!\n");
    EXPECT_TRUE(run.block->pObjectPoints.empty());
  }
}

TEST(FilterPoints, TextPointBeyondTheTotalIsLoggedAndNotKept) {
  const FileBlock content = MakeRandomBlock(17, 5, 50);
  ResamplingRun run(content, true);
  std::string text = content.Text();
  text.replace(text.find(" 50\n"), 4, " 3\n");
  test::WriteFile(run.files.szText, text);
  std::vector<int32_t> counts(50);
  int64_t sum = 0;
  TextReader file;
  ASSERT_TRUE(file.Open(run.files.szText));
  EXPECT_EQ(run.block->FilterTextPoints(3, std::vector<uint8_t>(3, 1), sum, counts, file), 1);
  EXPECT_EQ(run.block->pObjectPoints.size(), 3u);
}

// ---- Into a new tie-point file ----------------------------------------------------------------------------

TEST(ResampleToFile, LimitIsTenMillionAndReachingItStaysInMemory) {
  const FileBlock content = MakeRandomBlock(20, 12, 300);
  ResamplingRun probe(content, false);
  EXPECT_EQ(probe.block->nResampleFileLimit, 10000000);
  ASSERT_EQ(probe.Resample(), 1);
  const int64_t K = probe.block->nTiePointNum;

  ResamplingRun equal(content, false);
  equal.block->nResampleFileLimit = K;
  ASSERT_EQ(equal.Resample(), 1);
  EXPECT_FALSE(equal.block->bResampledToFile);
  EXPECT_FALSE(test::Exists(equal.NewOvt()));

  ResamplingRun above(content, false);
  above.block->nResampleFileLimit = K - 1;
  ASSERT_EQ(above.Resample(), 1);
  EXPECT_TRUE(above.block->bResampledToFile);
  EXPECT_TRUE(test::Exists(above.NewOvt()));
}

TEST(ResampleToFile, WritesTheKeptPointsWithAllTheirMeasurements) {
  FileBlock content = MakeRandomBlock(21, 12, 700, 3);
  content.szGcp = "1\n" + test::PointText("G1", 1, {{0, 1, 2}, {1, 3, 4}});
  for (const int64_t freeBytes : {int64_t{1} << 40, int64_t{40000}}) {
    ResamplingRun run(content, false, freeBytes);
    run.block->nResampleFileLimit = 10;
    const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, false);
    const int64_t total = run.block->nTiePointNum, imageTotal = run.block->nTieImagePointNum;
    ASSERT_EQ(run.Resample(), 1);
    CBundleAdjustment& block = *run.block;
    EXPECT_EQ(block.szOvtPath, run.NewOvt());
    EXPECT_TRUE(block.pObjectPoints.empty());
    EXPECT_EQ(block.nTiePointNum, static_cast<int64_t>(kept.size()));
    EXPECT_EQ(block.nObjectPointNum, block.nTiePointNum + 1);
    EXPECT_EQ(block.nImagePointNum, MeasureNum(kept) + 2);
    EXPECT_EQ(block.pPointImageCount.size(), kept.size() + 1);
    const std::string log = block.nOutputFailureNum == 0 ? run.block.Log() : "";
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
  file.block->nResampleFileLimit = 0;
  ASSERT_EQ(memory.Resample(), 1);
  ASSERT_EQ(file.Resample(), 1);
  CBundleAdjustment &a = *memory.block, &b = *file.block;
  b.PlanSections(b.nImageNum, b.nCameraNum, b.nObjectPointNum, b.nImagePointNum, &b.pPointImageCount);
  int64_t count = 0;
  ASSERT_EQ(b.ReadSectionPoints(0, b.szProjectPath, file.files.szGcp, count), 1);
  ASSERT_EQ(a.pObjectPoints.size(), b.pObjectPoints.size());
  ASSERT_EQ(a.pImagePoints.size(), b.pImagePoints.size());
  for (size_t i = 0; i < a.pObjectPoints.size(); ++i) {
    EXPECT_STREQ(a.pObjectPoints[i].szName, b.pObjectPoints[i].szName);
    EXPECT_EQ(a.pObjectPoints[i].nFirstImagePoint, b.pObjectPoints[i].nFirstImagePoint);
    EXPECT_EQ(a.pObjectPoints[i].nImagePointNum, b.pObjectPoints[i].nImagePointNum);
  }
  for (size_t i = 0; i < a.pImagePoints.size(); ++i) {
    EXPECT_EQ(a.pImagePoints[i].nImage, b.pImagePoints[i].nImage);
    EXPECT_EQ(a.pImagePoints[i].nCamera, b.pImagePoints[i].nCamera);
    EXPECT_EQ(a.pImagePoints[i].nObjectPoint, b.pImagePoints[i].nObjectPoint);
    EXPECT_EQ(a.pImagePoints[i].x, b.pImagePoints[i].x);
  }
}

TEST(ResampleToFile, SourceOfTheSameNameIsLeftAlone) {
  const FileBlock content = MakeRandomBlock(23, 12, 300);
  ResamplingRun run(content, false);
  run.block->nResampleFileLimit = 0;
  ASSERT_EQ(run.block->ResamplePoints(run.files.szOvt, run.files.szGcp, run.files.szOvt), 1);
  EXPECT_EQ(test::ReadFile(run.files.szOvt), content.Ovt());
  EXPECT_EQ(run.block->szOvtPath, run.files.folder / "block_1.ovt");
  OvtReader reader;
  ASSERT_TRUE(reader.Open(run.block->szOvtPath));
  EXPECT_EQ(reader.PointNum(), run.block->nTiePointNum);
}

TEST(ResampleToFile, FolderThatTakesNoFileEndsTheRun) {
  for (const Form& form : kForms) {
    ResamplingRun run(MakeRandomBlock(24, 12, 300), form.bText);
    run.block->nResampleFileLimit = 0;
    const std::string source = run.block->szOvtPath;
    EXPECT_EQ(run.block->ResamplePoints(source, run.files.szGcp, run.files.folder / "no/Resampled.ovt"), 0);
    EXPECT_TRUE(Contains(run.block.Log(), "Create new ovt file failed!\n"));
    EXPECT_EQ(run.block->nOutputFailureNum, 1);
    EXPECT_EQ(run.block->szOvtPath, source);
  }
}

TEST(ResampleToFile, FullDiskEndsTheRun) {
  if (!test::Exists("/dev/full")) GTEST_SKIP();
  ResamplingRun run(MakeRandomBlock(25, 12, 300), false);
  run.block->nResampleFileLimit = 0;
  const std::string source = run.block->szOvtPath;
  EXPECT_EQ(run.block->ResamplePoints(source, run.files.szGcp, "/dev/full"), 0);
  EXPECT_TRUE(Contains(run.block.Log(), "Create new ovt file failed!\n"));
  EXPECT_EQ(run.block->nOutputFailureNum, 1);
  EXPECT_EQ(run.block->szOvtPath, source);
}

TEST(ResampleToFile, TextProjectWritesAHeaderAndStaysInMemory) {
  const FileBlock content = MakeRandomBlock(26, 12, 300);
  ResamplingRun run(content, true);
  const std::vector<FilePoint> kept = ReferenceKept(content, *run.block, true);
  run.block->nResampleFileLimit = 0;
  ASSERT_EQ(run.Resample(), 1);
  ExpectInMemory(*run.block, kept);
  EXPECT_TRUE(run.block->szOvtPath.empty());
  EXPECT_FALSE(run.block->bResampledToFile) << "or the flow would plan sections over a file without points";
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
    run.block->PreReadData(run.files.szOvc, run.files.szGcp);
    run.block->nResampleFileLimit = limit;
    ASSERT_EQ(run.Resample(), 1) << run.block.Log();
    EXPECT_EQ(run.block->nImagePointNum, 4);
    EXPECT_EQ(run.block->nTiePointNum, 2);
  }
}

}  // namespace
}  // namespace orvo
