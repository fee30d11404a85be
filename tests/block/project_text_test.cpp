// The lines of the text forms and the records made of them.
#include "block/ProjectText.h"

#include <gtest/gtest.h>

#include <cmath>

#include "block/Measurement.h"
#include "block/ProjectForm.h"
#include "block/ProjectRecords.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ProjectForm, OnlyTheExactExtensionIsAnOvcProject) {
  EXPECT_EQ("a/b.ovt", OvtPathOfProject("a/b.ovc"));
  EXPECT_EQ("a.b.ovt", OvtPathOfProject("a.b.ovc"));
  for (const char* path : {"a.OVC", "a.ovc2", "a.ovc.txt", "a", "", "a.ovc/b"})
    EXPECT_EQ("", OvtPathOfProject(path));
}

TEST(ProjectText, Header) {
  struct Row {
    const char* line;
    int32_t images, cameras;
    int64_t points;
  };
  for (const Row& row :
       {Row{"3 1 20", 3, 1, 20}, Row{"3 1", 3, 1, 0}, Row{"", 0, 0, 0}, Row{"3 x 20", 3, 0, 0},
        Row{"3 1 5000000000", 3, 1, 5000000000}, Row{"-3 -1 -20 7", -3, -1, -20}}) {
    const ProjectHeader header = ParseHeader(row.line);
    EXPECT_EQ(row.images, header.nImageNum) << row.line;
    EXPECT_EQ(row.cameras, header.nCameraNum) << row.line;
    EXPECT_EQ(row.points, header.nObjectPointNum) << row.line;
  }
}

TEST(ProjectText, CountsAreCutToWhatTheFileCanHold) {
  const ProjectHeader huge = CutToFile({INT32_MAX, INT32_MAX, INT64_MAX}, 1000);
  EXPECT_EQ(250, huge.nImageNum);
  EXPECT_EQ(1000, huge.nCameraNum);
  EXPECT_EQ(500, huge.nObjectPointNum);
  const ProjectHeader negative = CutToFile({-1, INT32_MIN, -1}, 1000);
  EXPECT_EQ(0, negative.nImageNum);
  EXPECT_EQ(0, negative.nCameraNum);
  EXPECT_EQ(0, negative.nObjectPointNum);
  const ProjectHeader fitting = CutToFile({250, 1000, 500}, 1000);
  EXPECT_EQ(250, fitting.nImageNum);
  EXPECT_EQ(1000, fitting.nCameraNum);
  EXPECT_EQ(500, fitting.nObjectPointNum);
}

TEST(ProjectText, CountsOfALargeFileAreCutToWholeRecords) {
  struct Row {
    ProjectHeader counts;
    int64_t bytes;
    int32_t images, cameras;
    int64_t points;
  };
  constexpr int64_t kBytes = 12000000;
  for (const Row& row :
       {Row{{INT32_MAX, 0, 0}, kBytes, kBytes / 44, 0, 0}, Row{{0, INT32_MAX, 0}, kBytes, 0, kBytes / 20, 0},
        Row{{0, 0, INT64_MAX}, kBytes, 0, 0, kBytes / 12},
        // Lines that stand side by side share the file.
        Row{{100000, 50000, INT64_MAX}, kBytes, 100000, 50000, (kBytes - 100000 * 44 - 50000 * 20) / 12},
        Row{{100000, 50000, 550000}, kBytes, 100000, 50000, 550000},
        Row{{INT32_MAX, INT32_MAX, INT64_MAX}, kBytes, 32768, kBytes / 20, 32768},
        // As many may have empty lines.
        Row{{32768, 32768, 32768}, 32768 * 4, 32768, 32768, 32768},
        // The last line may have no end.
        Row{{100000, 0, 0}, 100000 * 44 - 1, 100000, 0, 0},
        Row{{100000, 0, 0}, 100000 * 44 - 2, 99999, 0, 0}}) {
    const ProjectHeader cut = CutToFile(row.counts, row.bytes);
    EXPECT_EQ(row.images, cut.nImageNum) << row.counts.nImageNum;
    EXPECT_EQ(row.cameras, cut.nCameraNum) << row.counts.nCameraNum;
    EXPECT_EQ(row.points, cut.nObjectPointNum) << row.counts.nObjectPointNum;
  }
}

TEST(ProjectText, GcpCountIsCutToWhatTheFileCanHold) {
  EXPECT_EQ(50, CutGcpCount(INT32_MAX, 100));
  EXPECT_EQ(32768, CutGcpCount(32768, 32768 * 2));
  EXPECT_EQ(32768, CutGcpCount(INT32_MAX, 32768 * 2));
  EXPECT_EQ(400000, CutGcpCount(400000, 28 * 400000));
  EXPECT_EQ(400000, CutGcpCount(400001, 28 * 400000));
  EXPECT_EQ(0, CutGcpCount(-1, 12000000));
}

TEST(ProjectText, APointOfTooManyMeasurementsIsAFault) {
  ScratchFolder folder;
  for (const int32_t more : {0, 1}) {
    const int32_t count = kMostMeasures + more;
    std::string text = "2147483647\n";
    for (int32_t i = 0; i < count; ++i) text += "0 1 1\n";
    WriteFile(folder / "text", text);
    TextReader file;
    ASSERT_TRUE(file.Open(folder / "text"));
    EXPECT_EQ(kMostMeasures, SkipMeasures(file));
    EXPECT_EQ(more == 1, file.Failed());
    EXPECT_EQ(more == 1 ? "a point has more than 16384 measurements" : "", file.Fault().szReason);
    EXPECT_TRUE(file.AtEnd());
  }
}

TEST(ProjectText, CameraLine) {
  const CameraLine camera = ParseCameraLine("7 4000 3000 0.5 100000 10 -20 9 1e-9 1e-15 8 8 8 8 8");
  EXPECT_EQ(4000, camera.nImageWidth);
  EXPECT_EQ(3000, camera.nImageHeight);
  EXPECT_EQ(0.5, camera.fReserved);
  EXPECT_EQ(100000, camera.fFocal);
  EXPECT_EQ(10, camera.fPrincipalX);
  EXPECT_EQ(-20, camera.fPrincipalY);
  EXPECT_EQ(1e-9, camera.fK1);
  EXPECT_EQ(1e-15, camera.fK2);
  const CameraLine cut = ParseCameraLine("7 4000 3000 0.5 100000 text");
  EXPECT_EQ(100000, cut.fFocal);
  EXPECT_EQ(0, cut.fPrincipalX);
  EXPECT_EQ(0, cut.fK2);
}

TEST(ProjectText, TermsBehindK2CountWhereTheLineIsMarked) {
  const LensTerms terms =
      ParseCameraLine("7 4000 3000 0 5000 10 -20 1 1e-9 1e-15 1e-24 2e-8 -3e-8 4e-4 -5e-4").Further;
  EXPECT_EQ(terms, (LensTerms{1e-24, 2e-8, -3e-8, 4e-4, -5e-4}));
  for (const char* line :
       {"7 4000 3000 0 5000 10 -20 0 1e-9 1e-15 8 8 8 8 8",
        "7 4000 3000 0 5000 10 -20 9 1e-9 1e-15 8 8 8 8 8",
        "7 4000 3000 0 5000 10 -20 1.5 1e-9 1e-15 8 8 8 8 8", "7 4000 3000 0 5000 10 -20"}) {
    EXPECT_TRUE(ParseCameraLine(line).Further.IsNone()) << line;
  }
  for (const char* line : {"7 4000 3000 0 5000 10 -20 1 1e-9 1e-15 8 8 8 8", "7 4000 3000 0 5000 10 -20 1",
                           "7 4000 3000 0 5000 10 -20 1 1e-9 1e-15 8 8 text 8 8"}) {
    EXPECT_FALSE(ParseCameraLine(line).Further.IsFinite()) << line;
  }
}

TEST(ProjectText, ImageNames) {
  struct Row {
    const char *path, *name;
  };
  for (const Row& row : {Row{"d/a.tif", "a"}, Row{"D:\\x\\a.tif", "a"}, Row{"a.tif", ""}, Row{"", ""},
                         Row{"d.e/a", "a"}, Row{"d/a.b.tif", "a.b"}, Row{"d/", ""}, Row{"d/.tif", ""},
                         Row{"D:\\x/a.tif", "x/a"}, Row{"D:\\x.y/a", "x"}, Row{"/", ""}}) {
    char name[128];
    ImageNameOfPath(row.path, name);
    EXPECT_STREQ(row.name, name) << row.path;
  }
  char name[128];
  ImageNameOfPath(std::string(1, '/').append(126, 'n').append("mo.tif"), name);
  EXPECT_EQ(std::string(126, 'n').append("m"), name);
}

TEST(ProjectText, BareNames) {
  struct Row {
    const char *path, *name;
  };
  for (const Row& row : {Row{"a.tif", "a"}, Row{"a.b.tif", "a.b"}, Row{"a", "a"}, Row{".tif", ".tif"},
                         Row{"d/.tif", ".tif"}, Row{"d\\.tif", ".tif"}, Row{"", ""}, Row{"d/", ""}})
    EXPECT_EQ(BareNameOfPath(row.path), row.name) << row.path;
  EXPECT_EQ(BareNameOfPath(std::string(200, 'n') + ".tif"), std::string(127, 'n'));
}

TEST(ProjectText, ImageBlockWithoutAFolderKeepsItsNameBeside) {
  ScratchFolder folder;
  WriteFile(folder / "text",
            "1 0\nd/a.tif\n1 2 3 4 5 6 7 8 9\n1 2 3\n2 0\nb.tif\n1 2 3 4 5 6 7 8 9\n1 2 3\n");
  TextReader file;
  ASSERT_TRUE(file.Open(folder / "text"));
  const ImageBlock inFolder = ReadImageBlock(file), bare = ReadImageBlock(file);
  EXPECT_STREQ(inFolder.szName, "a");
  EXPECT_EQ(inFolder.szBareName, "");
  EXPECT_STREQ(bare.szName, "");
  EXPECT_EQ(bare.szBareName, "b");
}

TEST(ProjectText, ImageBlock) {
  ScratchFolder folder;
  const std::string good = "12 3\nd/a.tif\n1 2 3 4 5 6 7 8 9\n10 20 30\n";
  struct Row {
    std::string text;
    bool complete;
  };
  for (const Row& row : {Row{good, true}, Row{"12 3\n\n1 2 3 4 5 6 7 8 9 10 11 12\n10 20 30 40\n", true},
                         Row{"12\nd/a.tif\n1 2 3 4 5 6 7 8 9\n10 20 30\n", false},
                         Row{"12 3\nd/a.tif\n1 2 3 4 5 6 7 8\n10 20 30\n", false},
                         Row{"12 3\nd/a.tif\n1 2 3 4 x 6 7 8 9\n10 20 30\n", false},
                         Row{"12 3\nd/a.tif\n1 2 3 4 5 6 7 8 9\n10 20\n", false},
                         Row{"12 3\nd/a.tif\n1 2 3 4 5 6 7 8 9\n", false}, Row{"", false}}) {
    WriteFile(folder / "text", row.text);
    TextReader file;
    ASSERT_TRUE(file.Open(folder / "text"));
    EXPECT_EQ(row.complete, ReadImageBlock(file).bComplete) << row.text;
    EXPECT_TRUE(file.AtEnd());
  }
  WriteFile(folder / "text", good);
  TextReader file;
  ASSERT_TRUE(file.Open(folder / "text"));
  const ImageBlock image = ReadImageBlock(file);
  EXPECT_EQ(12, image.nId);
  EXPECT_EQ(3, image.nCamera);
  EXPECT_STREQ("a", image.szName);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(i + 1, image.dRotation[i]);
  EXPECT_EQ(10, image.X);
  EXPECT_EQ(20, image.Y);
  EXPECT_EQ(30, image.Z);
}

TEST(ProjectText, PointLine) {
  const ObjectPointRecord point = ParsePointLine("  name 1.5 -2 3e2 1 more");
  EXPECT_STREQ("name", point.szName);
  EXPECT_EQ(1.5, point.X);
  EXPECT_EQ(-2, point.Y);
  EXPECT_EQ(300, point.Z);
  EXPECT_EQ(1, point.nType);
  EXPECT_EQ(0, point.nImagePointNum);
  EXPECT_STREQ("", ParsePointLine("").szName);
  const ObjectPointRecord incomplete = ParsePointLine("name 1.5 north 3 1");
  EXPECT_EQ(1.5, incomplete.X);
  EXPECT_EQ(0, incomplete.Y);
  EXPECT_EQ(0, incomplete.nType);
  const std::string longName(40, 'n');
  EXPECT_EQ(std::string(31, 'n'), ParsePointLine(longName + " 1 2 3 0").szName);
}

TEST(ProjectText, Measure) {
  MeasureLine measure;
  EXPECT_TRUE(ParseMeasure("4 1.5 -2.5 0", measure));
  EXPECT_EQ(4, measure.nImageOrdinal);
  EXPECT_EQ(1.5, measure.x);
  EXPECT_EQ(-2.5, measure.y);
  for (const char* line : {"", "4", "4 1.5", "x 1.5 2", "4 x 2", "4 1.5 y"})
    EXPECT_FALSE(ParseMeasure(line, measure));
}

CameraLine MakeCamera(double focal, double k1 = 0, double k2 = 0) {
  CameraLine camera;
  camera.nImageWidth = 4000;
  camera.nImageHeight = 3000;
  camera.fFocal = focal;
  camera.fPrincipalX = 10;
  camera.fPrincipalY = -20;
  camera.fK1 = k1;
  camera.fK2 = k2;
  return camera;
}

TEST(ProjectRecords, CameraInWorkingUnits) {
  IopRecord iop;
  ASSERT_TRUE(MakeIop(MakeCamera(100000, 1e-9, 1e-15), 0.001, iop));
  EXPECT_DOUBLE_EQ(100, iop.fFocal);
  EXPECT_DOUBLE_EQ(0.01, iop.fPrincipalX);
  EXPECT_DOUBLE_EQ(-0.02, iop.fPrincipalY);
  EXPECT_DOUBLE_EQ(1e-3, iop.fK1);
  EXPECT_DOUBLE_EQ(1e-3, iop.fK2);
  EXPECT_EQ(4000, iop.nImageWidth);
  EXPECT_EQ(3000, iop.nImageHeight);
}

TEST(ProjectRecords, FurtherTermsInWorkingUnits) {
  IopRecord iop;
  CameraLine camera = MakeCamera(5000);
  camera.Further = {1e-21, 2e-8, -3e-8, 4e-4, -5e-4};
  ASSERT_TRUE(MakeIop(camera, 0.001, iop));
  EXPECT_DOUBLE_EQ(1e-3, iop.Further.fK3);
  EXPECT_DOUBLE_EQ(2e-5, iop.Further.fP1);
  EXPECT_DOUBLE_EQ(-3e-5, iop.Further.fP2);
  EXPECT_EQ(4e-4, iop.Further.fB1);
  EXPECT_EQ(-5e-4, iop.Further.fB2);
  EXPECT_FALSE(iop.bStrict);
  for (const double odd : {std::nan(""), kInfinity, 1e300}) {
    camera.Further.fK3 = odd;
    ASSERT_TRUE(MakeIop(camera, 0.001, iop));
    EXPECT_TRUE(iop.Further.IsNone()) << odd;
  }
}

TEST(ProjectRecords, FocalLengthDecidesOnTheCamera) {
  IopRecord iop;
  for (double focal : {1e-300, 1.0, 1e6}) EXPECT_TRUE(MakeIop(MakeCamera(focal), 0.001, iop)) << focal;
  for (double focal : {0.0, -1.0, 1000000.1, kInfinity, -kInfinity, std::nan("")}) {
    EXPECT_FALSE(MakeIop(MakeCamera(focal), 0.001, iop)) << focal;
  }
}

TEST(ProjectRecords, LargeDistortionCountsAsNone) {
  struct Row {
    double k1, k2, storedK1, storedK2;
  };
  for (const Row& row :
       {Row{2e-5, 2e-11, 0, 0}, Row{1e-5, 1e-11, 1e-5, 1e-11}, Row{-1e-5, -1e-11, -1e-5, -1e-11},
        Row{-2e-5, -2e-11, 0, 0}, Row{std::nan(""), kInfinity, 0, 0}}) {
    IopRecord iop;
    ASSERT_TRUE(MakeIop(MakeCamera(1, row.k1, row.k2), 1.0, iop));
    EXPECT_EQ(row.storedK1, iop.fK1);
    EXPECT_EQ(row.storedK2, iop.fK2);
  }
}

TEST(ProjectRecords, CameraValuesThatAreNotFinite) {
  IopRecord iop;
  CameraLine camera = MakeCamera(1);
  camera.fPrincipalX = std::nan("");
  EXPECT_FALSE(MakeIop(camera, 1.0, iop));
  camera = MakeCamera(1);
  camera.fPrincipalY = kInfinity;
  EXPECT_FALSE(MakeIop(camera, 1.0, iop));
  EXPECT_FALSE(MakeIop(MakeCamera(1), std::nan(""), iop));
  ASSERT_TRUE(MakeIop(MakeCamera(1, 1e-9, 1e-15), 0.0, iop));
  EXPECT_EQ(0, iop.fK1);
  EXPECT_EQ(0, iop.fK2);
}

ImageBlock MakeImage(std::initializer_list<double> rotation) {
  ImageBlock image;
  std::copy(rotation.begin(), rotation.end(), image.dRotation);
  image.X = 1;
  image.Y = 2;
  image.Z = 3;
  return image;
}

TEST(ProjectRecords, Orientation) {
  EopRecord eop;
  ASSERT_TRUE(MakeEop(MakeImage({.1, .2, .3, .4, .5, .6, .7, .8, .9}), 10.0, eop));
  EXPECT_EQ(10, eop.X);
  EXPECT_EQ(20, eop.Y);
  EXPECT_EQ(30, eop.Z);
  EXPECT_DOUBLE_EQ(std::atan2(-.3, .9), eop.fPhi);
  EXPECT_DOUBLE_EQ(std::asin(-.6), eop.fOmega);
  EXPECT_DOUBLE_EQ(std::atan2(.4, .5), eop.fKappa);
  EXPECT_EQ(0, eop.fTime);
  EXPECT_EQ(0, eop.nStatus);
  ASSERT_TRUE(MakeEop(MakeImage({0, 0, 0, 0, 0, 1.0000005, 0, 0, 0}), 1.0, eop));
  EXPECT_DOUBLE_EQ(-std::acos(0.0), eop.fOmega);
}

TEST(ProjectRecords, OrientationThatIsNotFinite) {
  EopRecord eop;
  EXPECT_FALSE(MakeEop(MakeImage({1, 0, 0, 0, 1, 1.1, 0, 0, 1}), 1.0, eop));
  for (int i = 0; i < 9; ++i) {
    ImageBlock image = MakeImage({1, 0, 0, 0, 1, 0, 0, 0, 1});
    image.dRotation[i] = std::nan("");
    EXPECT_FALSE(MakeEop(image, 1.0, eop)) << i;
  }
  ImageBlock image = MakeImage({1, 0, 0, 0, 1, 0, 0, 0, 1});
  EXPECT_FALSE(MakeEop(image, kInfinity, eop));
  image.Z = kInfinity;
  EXPECT_FALSE(MakeEop(image, 1.0, eop));
}

TEST(Measurement, TheCameraGrowsWithItsMeasurements) {
  EXPECT_EQ(80, EnlargedExtent(80, 40.0));
  EXPECT_EQ(102, EnlargedExtent(80, 50.0));
  EXPECT_EQ(102, EnlargedExtent(80, -50.0f));
  EXPECT_EQ(102, EnlargedExtent(80, 50.9));
  EXPECT_EQ(82, EnlargedExtent(81, 40.5));  // half of 81 is 40
  EXPECT_EQ(2, EnlargedExtent(-5, 0.0));
  EXPECT_EQ(2000000002, EnlargedExtent(80, 1e300));
  EXPECT_EQ(2000000002, EnlargedExtent(80, 1e30f));
  EXPECT_EQ(80, EnlargedExtent(80, std::nan("")));
}

TEST(Measurement, CoordinatesThatAreNotFiniteStandOnADeletedImage) {
  const ImagePointRecord good = MakeImagePoint({3, 1}, 100, -200, 0.001, 7);
  EXPECT_EQ(3, good.nImage);
  EXPECT_EQ(1, good.nCamera);
  EXPECT_EQ(7, good.nObjectPoint);
  EXPECT_EQ(0.1f, good.x);
  EXPECT_EQ(-0.2f, good.y);
  for (double bad : {std::nan(""), kInfinity, -kInfinity, 1e300}) {
    EXPECT_EQ(-1, MakeImagePoint({3, 1}, bad, 0, 0.001, 7).nImage);
    EXPECT_EQ(-1, MakeImagePoint({3, 1}, 0, bad, 0.001, 7).nImage);
  }
}

TEST(Measurement, ReferencesLeadToKeptImagesAndCamerasOnly) {
  ImageTable images;
  images.nImageNum = 3;
  images.pImageIndex = {0, -1, 1, 2, 9};
  images.pImageCamera = {0, 0, 1, 5, 0};
  CameraTable cameras;
  cameras.nCameraNum = 1;
  cameras.pCameraIndex = {0, -1};
  const auto references = MakeImageReferences(images, cameras);
  ASSERT_EQ(5u, references.size());
  EXPECT_EQ(0, references[0].nImage);
  EXPECT_EQ(0, references[0].nCamera);
  for (size_t i = 1; i < 5; ++i) EXPECT_EQ(-1, references[i].nImage) << i;
}

TEST(Measurement, PositionsThatAreNotFinite) {
  ObjectPointRecord point;
  point.X = std::nan("");
  point.Y = 5;
  EXPECT_TRUE(MakePositionUsable(point));
  EXPECT_EQ(0, point.X);
  EXPECT_EQ(0, point.Y);
  for (int32_t type : {1, 2, 9}) {
    point.nType = type;
    point.X = kInfinity;
    EXPECT_FALSE(MakePositionUsable(point));
    EXPECT_EQ(kInfinity, point.X);
  }
}

}  // namespace
}  // namespace orvo::test
