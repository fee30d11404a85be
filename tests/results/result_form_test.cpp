#include <gtest/gtest.h>

#include <cmath>

#include "geometry/Intersection.h"
#include "geometry/camera/ListingResidual.h"
#include "results/Print.h"
#include "results/SlowModel.h"
#include "results/TinyBlock.h"

namespace orvo {
namespace {

using test::Print, test::TinyBlock;
constexpr ResultListing kTie = ResultListing::TiePoints, kGround = ResultListing::GroundPoints;

struct Scales {
  const char* szName;
  double fImage, fObject;
};

/// Row of the block's tables for a project ordinal, -1 where it was dropped.
int32_t ImageRow(const TinyBlock& block, int32_t ordinal) {
  return block.Run.Images.pImageIndex[static_cast<size_t>(ordinal)];
}

std::string CameraText(const TinyBlock& block) {
  const double s = block.Run.Settings.Image_Coor_Scale;
  const auto line = [s](int ordinal, int width, int height, double reserved, const IopRecord& c) {
    return Print(
        "%8d\t%8d\t%8d\t%20.10e %20.10e %20.10e %20.10e %20.10e %20.10e "
        "%20.10e %20.10e %20.10e %20.10e %20.10e %20.10e\n",
        ordinal, width, height, reserved, c.fFocal / s, c.fPrincipalX / s, c.fPrincipalY / s, 0.0,
        c.fK1 * (s * s), c.fK2 * (s * s * s * s), 0.0, 0.0, 0.0, 0.0, 0.0);
  };
  return line(0, 8000, 6000, 12.5, block.Run.Cameras.pIop[0]) + block.CameraLines[1] + "\n" +
         line(2, 4000, 3000, -1.25, block.Run.Cameras.pIop[1]);
}

std::string RotationText(const EopRecord& image) {
  const test::Matrix3 R = test::SlowRotation(image.fPhi, image.fOmega, image.fKappa);
  return Print("%20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e %20.10e\n", R[0][0], R[0][1],
               R[0][2], R[1][0], R[1][1], R[1][2], R[2][0], R[2][1], R[2][2]);
}

std::string OrientationText(const EopRecord& e, double S) {
  return Print("%20.10lf %20.10lf %20.10lf %15.10lf %15.10lf %15.10lf\n", e.X / S, e.Y / S, e.Z / S, e.fPhi,
               e.fOmega, e.fKappa);
}

std::string ExpectedOvc(const TinyBlock& block) {
  const double S = block.Run.Settings.Object_Coor_Scale;
  std::string text = Print("4 3 %zu\n", block.bTextPoints ? block.TiePoints.size() : size_t{0});
  text += CameraText(block);
  for (int32_t i = 0; i < 4; ++i) {
    const auto& lines = block.ImageLines[static_cast<size_t>(i)];
    text += lines[0] + "\n" + lines[1] + "\n";
    if (i == TinyBlock::kDroppedImage) {
      text += lines[2] + "\n" + lines[3] + "\n";
      continue;
    }
    const EopRecord& e = block.Run.Images.pEop[static_cast<size_t>(ImageRow(block, i))];
    text += RotationText(e) + Print("%20.10e %20.10e %20.10e\n", e.X / S, e.Y / S, e.Z / S);
  }
  return text;
}

/// The intersection as the geometry gives it, checked against the slow one.
test::Vector3 IntersectionOf(const TinyBlock& block, const TinyBlock::Point& point) {
  const std::vector<ImagePointRecord> rays = block.Rays(point);
  ObjectPointRecord record;
  record.nType = point.nType;
  record.nImagePointNum = static_cast<int32_t>(rays.size());
  IntersectPoints(1, &record, rays, block.Run.Images.Kept(), block.Run.Cameras.Usable());
  const test::Vector3 slow =
      test::SlowIntersection(rays, block.Run.Images.Kept(), block.Run.Cameras.Usable());
  const double S = block.Run.Settings.Object_Coor_Scale;
  EXPECT_NEAR(record.X, slow[0], 1e-7 * S);
  EXPECT_NEAR(record.Y, slow[1], 1e-7 * S);
  EXPECT_NEAR(record.Z, slow[2], 1e-7 * S);
  return {record.X, record.Y, record.Z};
}

std::string PointText(const TinyBlock& block, const TinyBlock::Point& point) {
  const double s = block.Run.Settings.Image_Coor_Scale;
  const test::Vector3 P = IntersectionOf(block, point);
  std::string text =
      Print("%8s\t%20.10e\t%20.10e\t%20.10e\t%d\n", point.sName.c_str(), P[0], P[1], P[2], point.nType);
  text += Print("%d\n", static_cast<int>(point.Measurements.size()));
  const std::vector<ImagePointRecord> rays = block.Rays(point);
  size_t ray = 0;
  for (const auto& m : point.Measurements) {
    double v[2] = {0, 0};
    auto x = static_cast<float>(m.x * s), y = static_cast<float>(m.y * s);
    if (ImageRow(block, m.nImageOrdinal) >= 0) {
      const ImagePointRecord& r = rays[ray++];
      x = r.x;
      y = r.y;
      const auto residual =
          test::SlowListingResidual(r, block.Run.Images.pEop[static_cast<size_t>(r.nImage)],
                                    block.Run.Cameras.pIop[static_cast<size_t>(r.nCamera)], P);
      std::copy_n(residual.begin(), 2, v);
    }
    text += Print("%8d\t%12.6lf\t%12.6lf\t%12.6lf\t%12.6lf\n", m.nImageOrdinal, static_cast<double>(x) / s,
                  static_cast<double>(y) / s, v[0] / s, v[1] / s);
  }
  return text;
}

std::string ExpectedGcpListing(const TinyBlock& block, bool withPoints = true) {
  std::string text = Print("4 3 %zu\n", withPoints ? block.Gcp.size() : size_t{0}) + CameraText(block);
  for (int32_t i = 0; i < 4; ++i) {
    const auto& lines = block.ImageLines[static_cast<size_t>(i)];
    text += lines[0] + "\n" + lines[1] + "\n";
    if (i == TinyBlock::kDroppedImage) {
      text += lines[2] + "\n" + lines[3] + "\n";
      continue;
    }
    const EopRecord& e = block.Run.Images.pEop[static_cast<size_t>(ImageRow(block, i))];
    text += RotationText(e) + OrientationText(e, block.Run.Settings.Object_Coor_Scale);
  }
  if (!withPoints) return text;
  for (const auto& point : block.Gcp) text += PointText(block, point);
  return text;
}

std::string ExpectedTiePointListing(const TinyBlock& block) {
  std::string text = Print("4 3 %zu\n", block.TiePoints.size()) + CameraText(block);
  for (int32_t i = 0; i < 4; ++i) {
    const auto& lines = block.ImageLines[static_cast<size_t>(i)];
    if (i == TinyBlock::kDroppedImage) {
      text += lines[2] + "\n" + lines[3] + "\n";
    } else {
      text += OrientationText(block.Run.Images.pEop[static_cast<size_t>(ImageRow(block, i))],
                              block.Run.Settings.Object_Coor_Scale);
    }
  }
  if (!block.bTextPoints) return text;
  for (const auto& point : block.TiePoints) text += PointText(block, point);
  return text;
}

class ResultForm : public testing::TestWithParam<Scales> {};

INSTANTIATE_TEST_SUITE_P(Scales, ResultForm,
                         testing::Values(Scales{"Default", 0.001, 1.0}, Scales{"Millimetres", 0.0046, 1.0},
                                         Scales{"Unscaled", 1.0, 1.0}, Scales{"ObjectScaled", 0.001, 0.01}),
                         [](const auto& row) { return std::string(row.param.szName); });

TEST_P(ResultForm, WritesOrientationsAndControlPoints) {
  TinyBlock block(GetParam().fImage, GetParam().fObject);
  block.WriteFiles("block.prj");
  EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kGround));
  EXPECT_EQ(block.Output("OrvoResult.ovc"), ExpectedOvc(block));
  EXPECT_EQ(block.Output("OrvoResult_gcp.rst"), ExpectedGcpListing(block));
  EXPECT_FALSE(test::Exists(block.folder / "out/OrvoResult.rst"));
  EXPECT_EQ(block.Log(), "");
  EXPECT_EQ(block.Run.Outputs.nOutputFailureNum, 0);
}

TEST_P(ResultForm, WritesOrientationsAndTiePoints) {
  TinyBlock block(GetParam().fImage, GetParam().fObject);
  block.Run.Settings.Gross_Point_Threshold = 1e9;
  block.WriteFiles("block.prj");
  EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kTie));
  EXPECT_EQ(block.Output("OrvoResult.ovc"), ExpectedOvc(block));
  EXPECT_EQ(block.Output("OrvoResult.rst"), ExpectedTiePointListing(block));
  EXPECT_FALSE(test::Exists(block.folder / "out/OrvoResult_gcp.rst"));
}

/// Residuals of every measurement on a kept image, in working units.
std::vector<std::array<double, 2>> ResidualsOf(const TinyBlock& block,
                                               const std::vector<TinyBlock::Point>& points) {
  std::vector<std::array<double, 2>> all;
  for (const auto& point : points) {
    const test::Vector3 P = IntersectionOf(block, point);
    for (const ImagePointRecord& r : block.Rays(point)) {
      all.push_back(test::SlowListingResidual(r, block.Run.Images.pEop[static_cast<size_t>(r.nImage)],
                                              block.Run.Cameras.pIop[static_cast<size_t>(r.nCamera)], P));
    }
  }
  return all;
}

void ExpectStatistics(const TinyBlock::Parts& run, const std::vector<std::array<double, 2>>& residuals) {
  double sum[2] = {}, square[2] = {};
  for (const auto& v : residuals) {
    for (size_t i = 0; i < 2; ++i) {
      sum[i] += v[i];
      square[i] += v[i] * v[i];
    }
  }
  const auto n = static_cast<double>(residuals.size());
  EXPECT_NEAR(run.Residuals.fMeanResidualX, sum[0] / n, 1e-12);
  EXPECT_NEAR(run.Residuals.fMeanResidualY, sum[1] / n, 1e-12);
  EXPECT_NEAR(run.Residuals.fRmsResidualX, std::sqrt(square[0] / n), 1e-12);
  EXPECT_NEAR(run.Residuals.fRmsResidualY, std::sqrt(square[1] / n), 1e-12);
}

TEST(ResultFormStatistics, AreReplacedByTheTiePointsOnly) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  block.Run.WriteResultForm(block.szProject, block.szGcp, kGround);
  EXPECT_EQ(block.Run.Residuals.fMeanResidualX, 0.1);
  EXPECT_EQ(block.Run.Residuals.fMeanResidualY, 0.1);
  EXPECT_EQ(block.Run.Residuals.fRmsResidualX, 0.1);
  EXPECT_EQ(block.Run.Residuals.fRmsResidualY, 0.1);
  block.Run.WriteResultForm(block.szProject, block.szGcp, kTie);
  ExpectStatistics(block.Run, ResidualsOf(block, block.TiePoints));
}

TEST(ResultFormStatistics, TiePointAtTheLimitIsListedButNotCounted) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  auto residuals = ResidualsOf(block, block.TiePoints);
  // The limit is the magnitude of one residual exactly: with a power of two as the threshold nothing is
  // rounded.
  const ImagePointRecord r = block.Rays(block.TiePoints[0])[1];
  const test::Vector3 P = IntersectionOf(block, block.TiePoints[0]);
  const EopRecord& image = block.Run.Images.pEop[static_cast<size_t>(r.nImage)];
  double R[9];
  for (size_t i = 0; i < 9; ++i)
    R[i] = test::SlowRotation(image.fPhi, image.fOmega, image.fKappa)[i / 3][i % 3];
  const ImageResidual v = ComputeListingResidual(
      R, image, block.Run.Cameras.pIop[static_cast<size_t>(r.nCamera)], r.x, r.y, P.data());
  ASSERT_NEAR(v.x, residuals[1][0], 1e-12);
  const double limit = std::abs(v.x);
  block.Run.Settings.Gross_Point_Threshold = 4;
  block.Run.Residuals.fRmsResidualX = limit / 4 * (1 - 1e-9);
  block.Run.Residuals.fRmsResidualY = 1e9;
  block.Run.WriteResultForm(block.szProject, block.szGcp, kTie);
  EXPECT_EQ(block.Output("OrvoResult.rst"), ExpectedTiePointListing(block));
  std::erase_if(residuals, [limit](const auto& w) { return std::abs(w[0]) > limit * (1 - 1e-9); });
  ASSERT_LT(residuals.size(), 8u);
  ASSERT_GT(residuals.size(), 0u);
  ExpectStatistics(block.Run, residuals);
}

TEST(ResultFormStatistics, LimitIsStrict) {
  // A camera that looks straight down and two opposite measurements: vx is a power of two times a float.
  TinyBlock block(1.0);
  block.Run.Images.pEop[0] = {0, 0, 0, 0, 128, 0, 0, 0};
  block.Run.Cameras.pIop[0] = {100, 100, 128, 0, 0, 0, 0};
  block.TiePoints = {{"T", 7, 0, 0, 0, {{0, 2, 1}}}};
  block.TiePoints[0].X = block.TiePoints[0].Y = 0;
  block.TiePoints[0].nType = 0;
  block.WriteFiles("block.prj");
  // One ray has no intersection, so the point stays at the origin below the camera, and vx = 2, vy = 1.
  for (const auto& [limitX, limitY, counted] :
       {std::tuple{2.0, 9.0, false}, {2.5, 1.0, false}, {2.5, 1.5, true}}) {
    block.Run.Settings.Gross_Point_Threshold = 0.5;
    block.Run.Residuals.fMeanResidualX = -1;
    block.Run.Residuals.fRmsResidualX = 2 * limitX;
    block.Run.Residuals.fRmsResidualY = 2 * limitY;
    block.Run.WriteResultForm(block.szProject, block.szGcp, kTie);
    EXPECT_EQ(block.Run.Residuals.fMeanResidualX, counted ? 2 : -1) << limitX << " " << limitY;
    EXPECT_NE(block.Output("OrvoResult.rst")
                  .find(Print("%8d\t%12.6lf\t%12.6lf\t%12.6lf\t%12.6lf\n", 0, 2., 1., 2., 1.)),
              std::string::npos);
  }
}

TEST(ResultFormStatistics, OtherTypesAlwaysCount) {
  TinyBlock block;
  for (auto& point : block.TiePoints) point.nType = 1;
  block.TiePoints[1].nType = 5;
  block.Run.Residuals.fRmsResidualX = block.Run.Residuals.fRmsResidualY = 0;
  block.WriteFiles("block.prj");
  block.Run.WriteResultForm(block.szProject, block.szGcp, kTie);
  ExpectStatistics(block.Run, ResidualsOf(block, block.TiePoints));
}

TEST(ResultFormStatistics, DeletedImagesAddNothing) {
  TinyBlock block;
  block.TiePoints[0].Measurements.push_back({TinyBlock::kDroppedImage, 1000, 1000});
  block.TiePoints[1].Measurements.push_back({4, 1000, 1000});
  block.WriteFiles("block.prj");
  block.Run.WriteResultForm(block.szProject, block.szGcp, kTie);
  block.TiePoints[1].Measurements.pop_back();
  ExpectStatistics(block.Run, ResidualsOf(block, block.TiePoints));
  EXPECT_NE(block.Output("OrvoResult.rst")
                .find("       4\t 1000.000000\t 1000.000000\t    0.000000\t    0.000000\n"),
            std::string::npos);
}

TEST(ResultFormProject, WithoutPointsTakesTheCountOfTheTiePointFile) {
  TinyBlock block;
  block.bTextPoints = false;
  block.WriteFiles("block.v2.ovc");
  EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kTie));
  EXPECT_EQ(block.Output("OrvoResult.rst"), ExpectedTiePointListing(block));
  EXPECT_EQ(block.Output("OrvoResult.ovc"), ExpectedOvc(block));
  EXPECT_EQ(block.Output("OrvoResult.ovc").substr(0, 6), "4 3 0\n");
  EXPECT_EQ(block.Run.Paths.szOvtPath, block.folder / "block.v2.ovt");
  EXPECT_EQ(block.Run.Residuals.fMeanResidualX, 0.1);
  EXPECT_EQ(block.Log(), "");
}

TEST(ResultFormProject, WithoutPointsAndTiePointFileGoesOnWithNone) {
  for (const size_t bytes : {size_t{0}, size_t{7}}) {
    TinyBlock block;
    block.bTextPoints = false;
    block.WriteFiles("block.prj");
    const std::string ovt = block.folder / "block.ovt";
    if (bytes == 0) {
      std::filesystem::remove(ovt);
    } else {
      test::WriteFile(ovt, std::string(bytes, '\1'));
    }
    EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kTie));
    EXPECT_EQ(block.Output("OrvoResult.rst").substr(0, 6), "4 3 0\n");
    EXPECT_EQ(block.Log(), "Open ovt file '" + ovt + "' failed!\n");
  }
}

TEST(ResultFormProject, LineEndsOfTheInputDoNotMatter) {
  TinyBlock plain, other;
  plain.WriteFiles("block.prj");
  other.WriteFiles("block.prj");
  const auto withCr = [](const std::string& text) {
    std::string result;
    for (const char c : text) result += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return result.substr(0, result.size() - 2);
  };
  test::WriteFile(other.szProject, withCr(other.ProjectText()));
  test::WriteFile(other.szGcp, withCr(other.GcpText()));
  for (const ResultListing kind : {kTie, kGround}) {
    plain.Run.WriteResultForm(plain.szProject, plain.szGcp, kind);
    other.Run.WriteResultForm(other.szProject, other.szGcp, kind);
  }
  for (const char* name : {"OrvoResult.ovc", "OrvoResult.rst", "OrvoResult_gcp.rst"}) {
    EXPECT_EQ(other.Output(name), plain.Output(name)) << name;
    EXPECT_EQ(other.Output(name).find('\r'), std::string::npos) << name;
  }
}

TEST(ResultFormProject, LastLineOfADroppedImageGetsItsLineEnd) {
  TinyBlock block;
  block.Run.Images.pImageIndex[3] = -1;
  block.Run.Images.nImageNum = 2;
  block.TiePoints.clear();
  block.WriteFiles("block.prj");
  std::string text = block.ProjectText();
  test::WriteFile(block.szProject, text.substr(0, text.size() - 1));
  block.Run.WriteResultForm(block.szProject, block.szGcp, kGround);
  const std::string ovc = block.Output("OrvoResult.ovc");
  EXPECT_TRUE(ovc.ends_with("\n3 2 3\n"));
}

TEST(ResultFormProject, CameraBeyondTheKeptOnesIsCopied) {
  // A deleted camera leaves a hole, and the index behind it points past the kept ones.
  TinyBlock block;
  block.Run.Cameras.nCameraNum = 1;
  block.WriteFiles("block.prj");
  block.Run.WriteResultForm(block.szProject, block.szGcp, kGround);
  EXPECT_NE(block.Output("OrvoResult.ovc").find("\n" + block.CameraLines[2] + "\n"), std::string::npos);
  // Its image is kept and written, but nothing is computed with it.
  EXPECT_NE(block.Output("OrvoResult.ovc").find(RotationText(block.Run.Images.pEop[1])), std::string::npos);
  EXPECT_NE(block.Output("OrvoResult_gcp.rst").find("\t    0.000000\t    0.000000\n"), std::string::npos);
}

TEST(ResultFormFailure, OutputFolderMissing) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  block.Run.Paths.szOutputPath = block.folder / "absent";
  EXPECT_FALSE(block.Run.WriteResultForm(block.szProject, block.szGcp, kGround));
  EXPECT_EQ(block.Log(), "Create ovc file failed:" + (block.folder / "absent/OrvoResult.ovc") + "!\n");
  EXPECT_EQ(block.Run.Outputs.nOutputFailureNum, 1);
}

TEST(ResultFormFailure, ProjectMissing) {
  TinyBlock block;
  const std::string absent = block.folder / "absent.prj";
  EXPECT_FALSE(block.Run.WriteResultForm(absent, block.szGcp, kGround));
  EXPECT_EQ(block.Log(), "Error!Open prj file failed:" + absent + "!\n");
}

TEST(ResultFormFailure, GcpFileMissing) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  for (const std::string& path : {block.folder / "absent", std::string(), block.folder.Path()}) {
    EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, path, kGround));
    EXPECT_EQ(block.Output("OrvoResult_gcp.rst"), ExpectedGcpListing(block, false));
  }
  const std::string warning = "Warning!Open gcp file failed!\n";
  EXPECT_EQ(block.Log(), warning + warning + warning);
}

TEST(ResultFormFailure, ListingNotCreatableStillSavesTheOrientations) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  const std::string listing = block.folder / "out/OrvoResult_gcp.rst";
  std::filesystem::create_directory(listing);
  EXPECT_FALSE(block.Run.WriteResultForm(block.szProject, block.szGcp, kGround));
  EXPECT_EQ(block.Log(), "Error!Create rst file failed:" + listing + "!\n");
  EXPECT_EQ(block.Output("OrvoResult.ovc"), ExpectedOvc(block));
  EXPECT_EQ(block.Run.Outputs.nOutputFailureNum, 1);
}

TEST(ResultFormFailure, FullDiskIsCountedAndTheRunGoesOn) {
  if (!test::Exists("/dev/full")) GTEST_SKIP();
  TinyBlock block;
  block.WriteFiles("block.prj");
  for (const char* name : {"out/OrvoResult.ovc", "out/OrvoResult_gcp.rst"}) {
    std::filesystem::create_symlink("/dev/full", block.folder / name);
  }
  EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kGround));
  EXPECT_EQ(block.Run.Outputs.nOutputFailureNum, 2);
  EXPECT_EQ(block.Log(), "");
}

TEST(ResultFormInput, CutAtEveryByte) {
  TinyBlock block;
  block.WriteFiles("block.prj");
  const std::string project = block.ProjectText(), gcp = block.GcpText();
  for (size_t length = 0; length < project.size(); ++length) {
    test::WriteFile(block.szProject, project.substr(0, length));
    ASSERT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kTie)) << length;
    const std::string ovc = block.Output("OrvoResult.ovc");
    ASSERT_TRUE(ovc.ends_with('\n')) << length;
    // Whatever is kept in memory is not lost with its lines.
    const bool headed = length > 0;
    ASSERT_EQ(ovc.find(RotationText(block.Run.Images.pEop[2])) != std::string::npos, headed) << length;
    ASSERT_TRUE(block.Output("OrvoResult.rst").ends_with('\n')) << length;
  }
  test::WriteFile(block.szProject, project);
  const std::string whole = ExpectedGcpListing(block);
  for (size_t length = 0; length < gcp.size(); ++length) {
    test::WriteFile(block.szGcp, gcp.substr(0, length));
    ASSERT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kGround)) << length;
    const std::string listing = block.Output("OrvoResult_gcp.rst");
    ASSERT_TRUE(listing.ends_with('\n')) << length;
    ASSERT_LE(listing.size(), whole.size()) << length;
  }
}

TEST(ResultFormInput, CountsThatNoFileCanHold) {
  const char* const heads[] = {"2000000000 2000000000 9000000000000000000\n", "-5 -7 -9\n",
                               "99999999999 1 1\n", "a b c\n", "4 3 2147483648\n"};
  for (const char* head : heads) {
    TinyBlock block;
    block.WriteFiles("block.prj");
    const std::string text = block.ProjectText();
    test::WriteFile(block.szProject, head + text.substr(text.find('\n') + 1));
    test::WriteFile(block.szGcp, std::string("2000000000\nP 1 2 3 1\n2000000000\n0 1 1\n"));
    EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kTie));
    EXPECT_TRUE(block.Run.WriteResultForm(block.szProject, block.szGcp, kGround));
    EXPECT_LT(block.Output("OrvoResult.ovc").size(), 20000u) << head;
    EXPECT_LT(block.Output("OrvoResult.rst").size(), 20000u) << head;
    EXPECT_TRUE(block.Output("OrvoResult_gcp.rst").ends_with("\n1\n       0\t    1.000000\t    1.000000\t") ||
                block.Output("OrvoResult_gcp.rst").find("\t1\n1\n       0\t    1.000000\t") !=
                    std::string::npos)
        << head;
  }
  TinyBlock block;
  block.WriteFiles("block.prj");
  const std::string text = block.ProjectText();
  test::WriteFile(block.szProject, "4 3 2147483648\n" + text.substr(text.find('\n') + 1));
  block.Run.WriteResultForm(block.szProject, block.szGcp, kTie);
  EXPECT_TRUE(block.Output("OrvoResult.ovc").starts_with("4 3 2147483648\n"));
}

TEST(ResultFiles, ListingsFollowTheRunMode) {
  const struct {
    bool direct, absolute, tiePoints;
  } rows[] = {{false, false, false}, {false, true, true}, {true, false, false}, {true, true, false}};
  for (const auto& row : rows) {
    TinyBlock block;
    block.WriteFiles("block.prj");
    block.Run.Settings.Direct_Intersection = row.direct;
    block.Run.Settings.Absolute_Orientation = row.absolute;
    block.Run.WriteResultFiles(block.szProject, block.szGcp);
    EXPECT_EQ(test::Exists(block.folder / "out/OrvoResult.rst"), row.tiePoints);
    EXPECT_TRUE(test::Exists(block.folder / "out/OrvoResult_gcp.rst"));
    EXPECT_EQ(block.Output("OrvoResult.ovc"), ExpectedOvc(block));
  }
}

TEST(ResultFiles, AbsoluteOrientationTestsAgainstTheStartValues) {
  TinyBlock block;
  block.Run.Settings.Absolute_Orientation = true;
  // The start values are 0.1 working units, 100 pixels here, and the threshold 5: a point 600 pixels off is
  // gross.
  block.TiePoints.push_back(block.MakePoint("T4", 0, 150, 150, 10, {0, 1, 3}));
  block.TiePoints.back().Measurements[0].x += 2400;
  block.WriteFiles("block.prj");
  const auto residuals = ResidualsOf(block, block.TiePoints);
  std::vector<std::array<double, 2>> counted;
  for (const auto& v : residuals) {
    if (std::abs(v[0]) < 0.5 && std::abs(v[1]) < 0.5) counted.push_back(v);
  }
  ASSERT_LT(counted.size(), residuals.size());
  block.Run.WriteResultFiles(block.szProject, block.szGcp);
  EXPECT_EQ(block.Output("OrvoResult.rst"), ExpectedTiePointListing(block));
  ExpectStatistics(block.Run, counted);
}

}  // namespace
}  // namespace orvo
