#include "report/FigurePass.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "FigureBlock.h"
#include "geometry/camera/Rotation.h"

namespace orvo::report {
namespace {

using test::FigureBlock;
using test::kScale;

FigurePassInput InputOf(const FigureBlock& block, double grossPixels = 3) {
  FigurePassInput input;
  input.Pass = {block.Eop, block.Iop, grossPixels * kScale, grossPixels * kScale};
  input.fImageScale = kScale;
  input.Rmse = {0.5, 0.5};
  input.vCameraImages.assign(block.Iop.size(), 0);
  for (const int32_t camera : block.CameraOf) ++input.vCameraImages[static_cast<size_t>(camera)];
  return input;
}

FigureSums SumsOf(const FigureBlock& block, int threads = 1) {
  FigurePass pass(InputOf(block), threads);
  pass.Add(block.Points, block.Rays);
  return pass.Sums();
}

/// With everything that a run may bring.
FigureBlock MixedBlock() {
  FigureBlock block(6, 4, 2);
  block.AddTiePoints(2.5, 0.5);
  for (size_t i = 0; i < block.Rays.size(); i += 97) block.Rays[i].x += static_cast<float>(40 * kScale);
  for (size_t i = 3; i < block.Rays.size(); i += 211) block.Rays[i].nImage = -1;
  for (size_t i = 5; i < block.Rays.size(); i += 977) block.Rays[i].nCamera = -1;
  for (size_t i = 0; i < block.Points.size(); i += 50) block.Points[i].nImagePointNum = 1;
  block.Points[7].nImagePointNum = 0;
  block.Points[9].nFirstImagePoint = std::ssize(block.Rays) + 5;
  block.Rays[block.Rays.size() / 2].y = std::nanf("");
  block.AddPoint({30, 30, FigureBlock::Ground(30, 30) + 1}, 1, 0.5, "control");
  block.AddPoint({50, 20, FigureBlock::Ground(50, 20)}, 2, 30, "check");
  block.AddPoint({60, 60, 300}, 1, 0.5, "behind");
  return block;
}

TEST(FigurePass, CountsAsTheVerdictsPassDoes) {
  const FigureBlock block = MixedBlock();
  ASSERT_GT(block.Points.size(), 2000U);
  PointPass verdict(InputOf(block).Pass, 2);
  verdict.Add(block.Points, block.Rays);
  const PointPassSums& expected = verdict.Sums();
  const FigureSums sums = SumsOf(block, 2);
  EXPECT_EQ(sums.nPoints, expected.nPoints);
  EXPECT_EQ(sums.nNotSolved, expected.nNotSolved);
  EXPECT_EQ(sums.nNotInFront, expected.nNotInFront);
  EXPECT_EQ(sums.nMeasurements, expected.nMeasurements);
  EXPECT_EQ(sums.nUsed, expected.nUsed);
  EXPECT_EQ(sums.nGross, expected.nGross);
  EXPECT_GT(sums.nGross, 20);
  EXPECT_GT(sums.nNotSolved, 20);
  EXPECT_EQ(sums.nTie, sums.nPoints - std::ranges::count_if(
                                          block.Points, [](const auto& point) { return point.nType != 0; }));
  for (size_t i = 0; i < block.Eop.size(); ++i) {
    EXPECT_EQ(sums.vImages[i].nUsed, expected.vImages[i].nUsed) << i;
    EXPECT_EQ(sums.vImages[i].nGross, expected.vImages[i].nGross) << i;
    EXPECT_NEAR(sums.vImages[i].fHeights, expected.vImages[i].fHeights, 1e-6) << i;
  }
  for (size_t i = 0; i < block.Iop.size(); ++i) {
    EXPECT_EQ(sums.vCameras[i].nUsed, expected.vCameras[i].nUsed) << i;
    EXPECT_EQ(sums.vCameras[i].nGross, expected.vCameras[i].nGross) << i;
  }
}

/// Everything that is counted, one behind the other.
std::vector<int64_t> CountsIn(const FigureSums& sums) {
  std::vector<int64_t> counts = {
      sums.nPoints,       sums.nNotSolved,     sums.nNotInFront,   sums.nUsed,           sums.nGross,
      sums.nMeasurements, sums.nTie,           sums.nTieNotSolved, sums.nTieNotInFront,  sums.nTieRays,
      sums.nTieBelow3,    sums.StrictAll.nNum, sums.vX.front(),    sums.StrictKept.nNum, sums.Cells.Level()};
  counts.insert(counts.end(), sums.vX.begin(), sums.vX.end());
  counts.insert(counts.end(), sums.vY.begin(), sums.vY.end());
  counts.insert(counts.end(), sums.vRays.begin(), sums.vRays.end());
  counts.insert(counts.end(), sums.vAngles.begin(), sums.vAngles.end());
  for (const FigureImageSums& image : sums.vImages)
    counts.insert(counts.end(), {image.nUsed, image.nGross, image.Strict.nNum});
  for (const ResidualField& field : sums.vFields) {
    for (const ResidualField::Cell& cell : field.vCells) counts.push_back(cell.nNum);
    for (const PlainSums& ring : field.vRings) counts.push_back(ring.nNum);
  }
  for (const CellMap::Cell& cell : sums.Cells.Cells())
    counts.insert(counts.end(), {cell.nColumn, cell.nRow, cell.nPoints, cell.nRays});
  return counts;
}

std::vector<double> ValuesIn(const FigureSums& sums) {
  std::vector<double> values;
  const auto append = [&](const PlainSums& plain) {
    values.insert(values.end(), {plain.fX, plain.fY, plain.fSquaresX, plain.fSquaresY});
  };
  append(sums.StrictAll);
  append(sums.StrictKept);
  for (const FigureImageSums& image : sums.vImages) {
    append(image.Strict);
    values.push_back(image.fHeights);
  }
  for (const FigureCameraSums& camera : sums.vCameras) append(camera.Strict);
  for (const ResidualField& field : sums.vFields) {
    for (const ResidualField::Cell& cell : field.vCells) values.insert(values.end(), {cell.fX, cell.fY});
    for (const PlainSums& ring : field.vRings) append(ring);
  }
  return values;
}

/// The points in sections of about equal size, each with measurements of its own.
FigureSums SumsInSections(const FigureBlock& block, size_t sections, int threads) {
  FigurePass pass(InputOf(block), threads);
  for (size_t s = 0; s < sections; ++s) {
    const size_t first = block.Points.size() * s / sections, end = block.Points.size() * (s + 1) / sections;
    std::vector<ObjectPointRecord> points;
    std::vector<ImagePointRecord> rays;
    for (size_t i = first; i < end; ++i) {
      points.push_back(block.Points[i]);
      const auto own = MeasurementsOf(block.Points[i], block.Rays);
      points.back().nFirstImagePoint = std::ssize(rays);
      rays.insert(rays.end(), own.begin(), own.end());
    }
    pass.Add(points, rays);
  }
  return pass.Sums();
}

TEST(FigurePass, DependsNeitherOnThreadsNorOnSections) {
  const FigureBlock block = MixedBlock();
  const FigureSums one = SumsOf(block);
  const std::vector<int64_t> counts = CountsIn(one);
  const std::vector<double> values = ValuesIn(one);
  for (const auto& [sections, threads] : {std::pair{1, 2}, {1, 5}, {3, 1}, {7, 2}, {500, 3}}) {
    const FigureSums other = SumsInSections(block, static_cast<size_t>(sections), threads);
    EXPECT_EQ(CountsIn(other), counts) << sections << " " << threads;
    const std::vector<double> otherValues = ValuesIn(other);
    ASSERT_EQ(otherValues.size(), values.size());
    for (size_t i = 0; i < values.size(); ++i)
      EXPECT_NEAR(otherValues[i], values[i], 1e-9 * (1 + std::fabs(values[i]))) << i;
    // Heights of cells are exact.
    EXPECT_TRUE(std::ranges::equal(other.Cells.Cells(), one.Cells.Cells(), {}, &CellMap::Cell::fMeanZ,
                                   &CellMap::Cell::fMeanZ));
  }
  EXPECT_EQ(ValuesIn(SumsOf(block, 4)), ValuesIn(SumsOf(block, 4)));
}

TEST(FigurePass, StrictResidualsOfAllAndOfKept) {
  FigureBlock block(6, 4);
  block.AddTiePoints(4, 0.5);
  const FigureSums clean = SumsOf(block);
  EXPECT_EQ(clean.nGross, 0);
  EXPECT_EQ(clean.StrictAll.nNum, std::ssize(block.Rays));
  EXPECT_EQ(clean.StrictAll.nNum, clean.StrictKept.nNum);
  EXPECT_EQ(clean.StrictAll.fSquaresX, clean.StrictKept.fSquaresX);
  // 2n - 3 of 2n degrees of freedom are left to the residuals of a point.
  const auto n = static_cast<double>(block.Rays.size()), p = static_cast<double>(block.Points.size());
  const double expected = 0.25 * (2 * n - 3 * p);
  EXPECT_NEAR((clean.StrictAll.fSquaresX + clean.StrictAll.fSquaresY) / expected, 1, 0.05);

  // A point with an outlier of 60 pixels on one of its many rays.
  const auto many = std::ranges::max_element(block.Points, {}, &ObjectPointRecord::nImagePointNum);
  ASSERT_GE(many->nImagePointNum, 8);
  block.Rays[static_cast<size_t>(many->nFirstImagePoint + many->nImagePointNum - 1)].x +=
      static_cast<float>(60 * kScale);
  FigurePass pass(InputOf(block, 20), 1);
  pass.Add(block.Points, block.Rays);
  const FigureSums gross = pass.Sums();
  EXPECT_GE(gross.nGross, 1);
  EXPECT_EQ(gross.StrictAll.nNum, std::ssize(block.Rays));
  EXPECT_EQ(gross.StrictKept.nNum, std::ssize(block.Rays) - gross.nGross);
  EXPECT_GT(gross.StrictAll.fSquaresX, clean.StrictAll.fSquaresX + 1000);
  EXPECT_NEAR(gross.StrictKept.fSquaresX, clean.StrictAll.fSquaresX, 20);
}

TEST(FigurePass, RaysAndAnglesByHand) {
  FigureBlock block(0, 0, 1);
  block.Iop[0].fPrincipalX = block.Iop[0].fPrincipalY = block.Iop[0].fK1 = block.Iop[0].fK2 = 0;
  for (int i = 0; i < 3; ++i) {
    EopRecord image;
    image.X = 20 * i;
    image.Z = 100;
    block.Eop.push_back(image);
    block.CameraOf.push_back(0);
  }
  block.AddPoint({20, 0, 0}, 0, 0);   // from all three: 40 apart
  block.AddPoint({-10, 0, 0}, 0, 0);  // from 10, 30 and 50 off, the last outside
  const FigureSums sums = SumsOf(block);
  ASSERT_EQ(sums.nTie, 2);
  EXPECT_EQ(sums.vRays[1], 1);  // two rays
  EXPECT_EQ(sums.vRays[2], 1);
  EXPECT_EQ(sums.nTieRays, 5);
  EXPECT_EQ(sums.nTieBelow3, 1);
  const auto degrees = [](double tangent) { return std::atan(tangent) * 180 / 3.14159265358979; };
  const auto bin = [](double angle) { return static_cast<size_t>(angle * 10); };
  EXPECT_EQ(sums.vAngles[bin(2 * degrees(0.2))], 1);
  EXPECT_EQ(sums.vAngles[bin(degrees(0.3) - degrees(0.1))], 1);
  const std::vector<CellMap::Cell> cells = sums.Cells.Cells();
  ASSERT_EQ(cells.size(), 2U);
  EXPECT_NEAR(cells[0].fMeanZ, 0, 1e-3);
  EXPECT_EQ(cells[0].nRays, 2);
  EXPECT_EQ(cells[1].nRays, 3);
}

/// The largest mean of a field's cells with a fair number, in the upper right quarter or elsewhere.
double LargestMean(const ResidualField& field, bool upperRight) {
  double most = 0;
  for (size_t i = 0; i < field.vCells.size(); ++i) {
    const ResidualField::Cell& cell = field.vCells[i];
    const size_t row = i / kGridColumns, column = i % kGridColumns;
    if (cell.nNum < 40 || upperRight != (row < 7 && column >= 10)) continue;
    most = std::max(most, std::hypot(cell.fX, cell.fY) / static_cast<double>(cell.nNum));
  }
  return most;
}

TEST(FigurePass, AFieldPlantedInOneCameraShowsInItAlone) {
  FigureBlock block(9, 7, 5);
  block.AddTiePoints(1.25, 0.2);
  for (ImagePointRecord& ray : block.Rays) {
    if (ray.nCamera == 3 && ray.x > 0 && ray.y > 0.1F) ray.y += static_cast<float>(1.0 * kScale);
  }
  FigurePass pass(InputOf(block, 10), 2);
  pass.Add(block.Points, block.Rays);
  const FigureSums sums = pass.Sums();
  for (size_t camera = 0; camera < 5; ++camera) {
    const ResidualField& field = sums.vFields[static_cast<size_t>(pass.FieldOf(camera))];
    if (camera == 3) {
      EXPECT_GT(LargestMean(field, true), 0.7);
    } else {
      EXPECT_LT(LargestMean(field, true), 0.3) << camera;
    }
    EXPECT_LT(LargestMean(field, false), 0.3) << camera;
  }
}

TEST(FigurePass, AShiftedImageShowsInItsMean) {
  FigureBlock block(6, 4);
  block.AddTiePoints(3, 0.3);
  for (ImagePointRecord& ray : block.Rays) {
    if (ray.nImage == 8) ray.y += static_cast<float>(3 * kScale);
  }
  FigurePass pass(InputOf(block, 30), 2);
  pass.Add(block.Points, block.Rays);
  const FigureSums sums = pass.Sums();
  for (size_t i = 0; i < sums.vImages.size(); ++i) {
    const Pair mean = sums.vImages[i].Strict.Mean();
    if (i == 8) {
      EXPECT_GT(mean.y, 1.8);
      EXPECT_LT(std::fabs(mean.x), 0.3);
    } else {
      EXPECT_LT(std::hypot(mean.x, mean.y), 1) << i;
    }
  }
}

TEST(FigurePass, NormalisedCoordinatesComeBack) {
  FigureBlock block(6, 4);
  block.AddTiePoints(5, 0.5);
  const FigureSums plain = SumsOf(block);

  FigureBlock normal = block;
  FigurePassInput input = InputOf(normal);
  input.Frame.bNormalized = true;
  input.Frame.dCoorScale = 8;
  input.Frame.dCoorMean[0] = 50;
  input.Frame.dCoorMean[1] = 40;
  input.Frame.dCoorMean[2] = 100;
  for (EopRecord& image : normal.Eop) {
    image.X = (image.X - 50) * 8;
    image.Y = (image.Y - 40) * 8;
    image.Z = (image.Z - 100) * 8;
  }
  FigurePass pass(input, 1);
  pass.Add(normal.Points, normal.Rays);
  const FigureSums sums = pass.Sums();
  EXPECT_EQ(sums.StrictKept.nNum, plain.StrictKept.nNum);
  EXPECT_NEAR(sums.StrictKept.fSquaresY, plain.StrictKept.fSquaresY, 1e-6);
  EXPECT_EQ(sums.Cells.Level(), plain.Cells.Level());
  for (size_t i = 0; i < sums.vImages.size(); ++i)
    EXPECT_NEAR(sums.vImages[i].fHeights, plain.vImages[i].fHeights, 1e-5) << i;
}

TEST(FigurePass, FieldsAreOfTheCamerasWithMostImages) {
  FigureBlock block(1, 1, 100);
  FigurePassInput input = InputOf(block);
  for (size_t i = 0; i < 100; ++i) input.vCameraImages[i] = static_cast<int64_t>(i / 2);
  block.Iop[99].nImageWidth = 0;
  const FigurePass pass(input, 1);
  EXPECT_EQ(pass.Sums().vFields.size(), kMostFields);
  EXPECT_EQ(pass.FieldOf(98), 0);
  EXPECT_EQ(pass.FieldOf(99), -1);  // without an extent
  EXPECT_EQ(pass.FieldOf(36), 62);
  EXPECT_EQ(pass.FieldOf(35), -1);
  EXPECT_EQ(pass.FieldOf(1000), -1);
}

TEST(FigurePass, ReachOfTheHistograms) {
  const FigureBlock block(1, 1);
  FigurePassInput input = InputOf(block);
  for (const auto& [rmse, reach] :
       {std::pair{0.5, 2.0}, {0.0, 4.0}, {-1.0, 4.0}, {std::nan(""), 4.0}, {1e308, 4.0}}) {
    input.Rmse = {rmse, 0.25};
    EXPECT_EQ(FigurePass(input, 1).HistogramReach().x, reach) << rmse;
    EXPECT_EQ(FigurePass(input, 1).HistogramReach().y, 1);
  }
}

TEST(FigurePass, StraysAreNoGround) {
  FigureBlock block(6, 4);
  block.AddTiePoints(10, 0);
  const size_t before = SumsOf(block).Cells.Cells().size();
  ASSERT_GT(before, 50U);
  // Nearly parallel rays: far below the ground, but in front.
  FigureBlock stray = block;
  const auto point = std::ranges::find(stray.Points, 2, &ObjectPointRecord::nImagePointNum);
  ASSERT_NE(point, stray.Points.end());
  const double far[3] = {point->X * 3000, point->Y * 3000, -1e6};
  for (int64_t i = 0; i < 2; ++i) {
    ImagePointRecord& ray = stray.Rays[static_cast<size_t>(point->nFirstImagePoint + i)];
    stray.Project(static_cast<size_t>(ray.nImage), far, ray);
  }
  EXPECT_EQ(SumsOf(stray).Cells.Cells().size(), before - 1);
}

TEST(FigurePass, WithoutPointsOrImages) {
  FigureBlock block(2, 1);
  EXPECT_EQ(SumsOf(block).nPoints, 0);
  block.AddTiePoints(5, 0);
  FigureBlock empty(0, 0, 0);
  FigurePass pass(InputOf(empty), 4);
  pass.Add(block.Points, block.Rays);
  const FigureSums sums = pass.Sums();
  EXPECT_EQ(sums.nPoints, std::ssize(block.Points));
  EXPECT_EQ(sums.nNotSolved, sums.nPoints);
  EXPECT_EQ(sums.StrictAll.nNum, 0);
  EXPECT_EQ(pass.RingWidth(0), 0);
}

}  // namespace
}  // namespace orvo::report
