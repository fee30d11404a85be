// What files are taken for, and what is told of them.
#include "info/KindOfPath.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "info/InfoText.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

using namespace info;

struct Case {
  const char *szName, *szHead, *szKind, *szForm;
};

TEST(KindOfPath, IsToldByTheFirstLines) {
  const Case cases[] = {
      {"a.prj", "165 1 6787\n0 3600 2700 0 2552.5 0 0 0 -5e-9 3e-16\n447 0\n", "text project", ""},
      {"a.prj",
       "\xef\xbb\xbf"
       "165 1 6787\r\n0 3600 2700 0 2552.5 0 0 0 -5e-9 3e-16\r\n",
       "text project", ""},
      {"a.ovc", "165 1 0\n0 3600 2700 0 2552.5 0 0 0 -5e-9 3e-16\n", "binary project", ""},
      {"a.ovt", "\x01\x02\x03", "tie points", ""},
      {"gcp.txt", "0\n", "GCP file", ""},
      {"gcp.txt", "1\nC1 150.0 80.0 10.0 2\n2\n0 1 2\n1 2 3\n", "GCP file", ""},
      {"pos.txt", "IMG_0447 11.3191 -193.1770 283.8211 0.0 0.0 0.0 1\n", "POS file", ""},
      {"AdjPara.xml", "<AdjPara>", "settings", ""},
      {"b.out", "# Bundle file v0.3\n5 544\n", "bundler model", "bundler"},
      {"problem-16-22106-pre.txt", "16 22106 83718\n0 0     -3.859900e+02 3.871200e+02\n", "bal model",
       "bal"},
      {"reconstruction.json", "[\n{\"cameras\": {", "opensfm model", "opensfm"},
      {"gcp_list.txt", "EPSG:32611\n235269.88 3811198.11 10 1200 800 IMG_1.JPG\n", "table of control points",
       "gcp"},
      {"gcp_list.txt", "+proj=utm +zone=11\n1 2 3 4 5 a.jpg\n", "table of control points", "gcp"},
      {"geo.txt", "EPSG:4326\nIMG_1.JPG -91.99 46.84 198.6\n", "table of positions", "pos"},
      {"gcp.csv", "name,easting,northing,height,role\nA,1,2,3,check\n", "table of control points", "gcp"},
      {"log.csv", "image;X;Y;Z;omega;phi;kappa\na.jpg;1;2;3;0;0;0\n", "table of positions", "pos"},
      {"exif.csv", "SourceFile,GPSLatitude,GPSLongitude\na.jpg,1,2\n", "table of positions", "pos"},
      {"passwd", "root:x:0:0:root:/root:/bin/bash\n", "unknown", ""},
      {"empty", "", "unknown", ""},
      {"blank", "\n \n\t\n", "unknown", ""},
      {"a.json", "{\"a\": 1}", "unknown", ""},
      {"cameras.json", "{\"cameras\": [], \"shots\": {}}", "unknown", ""},
      {"block.orvo.json", "{\"cameras\": []}", "unknown", ""},
      {"a.csv", "1,2,3\n", "unknown", ""},
  };
  for (const Case& each : cases) {
    const KindOfPath kind = KindOfText(each.szName, each.szHead);
    EXPECT_EQ(TextOf(kind), each.szKind) << each.szName << "\n" << each.szHead;
    EXPECT_EQ(kind.szForm, each.szForm) << each.szName;
  }
}

TEST(KindOfPath, SaysWhatTheUnknownLooksLike) {
  EXPECT_NE(KindOfText("b.orvo.json", "{\"cameras\": []}").szWhy.find("the sidecar of a project"),
            std::string::npos);
  EXPECT_NE(KindOfText("truth.json", "{\"cameras\": []}").szWhy.find("no list of reconstructions"),
            std::string::npos);
  EXPECT_EQ(KindOfText("a.csv", "1,2,3\n").szWhy, "");
  const ScratchFolder folder;
  std::filesystem::create_directory(folder / "unusable");
  WriteFile(folder / "unusable/OrvoResult.ovc", "");
  EXPECT_EQ(LookAt(folder.Path()).Kind, PathKind::Unknown);
  EXPECT_NE(LookAt(folder.Path()).szWhy.find("its folder unusable"), std::string::npos);
  const std::string paths[] = {folder.Path()};
  const auto infos = InfoOf(paths, 1);
  ASSERT_TRUE(infos[0].Fault);
  EXPECT_EQ(infos[0].Fault->szWhat, LookAt(folder.Path()).szWhy);
}

TEST(KindOfPath, NamesWhatIsNoText) {
  using namespace std::string_literals;
  const struct {
    std::string szName, szHead, szWhy;
  } rows[] = {
      {"a.las", "LASF\0\0,name;id"s, "this is a LAS file of points, which Orvo writes alone"},
      {"a", "LASF\0\0"s, "this is a LAS file of points, which Orvo writes alone"},
      {"a.ply", "ply\nformat binary_little_endian 1.0\ncomment point, id\n",
       "this is a PLY file, which Orvo writes alone"},
      {"ls",
       "\x7f"
       "ELF\2\1\1\0\0 point,id;name"s,
       "this is a binary file that Orvo does not know"},
      {"a.csv", "\xff\xfen\0a\0m\0e\0,\0"s, "this is text as UTF-16: save it as UTF-8"},
      {"a.geojson", "{\"type\": \"FeatureCollection\", \"features\": [",
       "this is a GeoJSON file, which Orvo writes alone"},
      {"cameras.json", "{\n  \"program\": \"orvo\",\n", "this is a file of cameras, which Orvo writes alone"},
      {"a.json", "{\"a\": 1}", "this is JSON, but no list of reconstructions"},
  };
  for (const auto& row : rows) {
    const KindOfPath kind = KindOfText(row.szName, row.szHead);
    EXPECT_EQ(kind.Kind, PathKind::Unknown) << row.szName;
    EXPECT_EQ(kind.szWhy, row.szWhy) << row.szName;
  }
}

TEST(KindOfPath, OfFoldersIsToldByTheirFiles) {
  const ScratchFolder folder;
  EXPECT_EQ(LookAt(folder.Path()).Kind, PathKind::Unknown);
  WriteFile(folder / "cameras.txt", "");
  EXPECT_EQ(LookAt(folder.Path()).Kind, PathKind::Unknown);
  WriteFile(folder / "images.txt", "");
  EXPECT_EQ(LookAt(folder.Path()).szForm, "colmap");
  WriteFile(folder / "OrvoResult.ovc", "");
  EXPECT_EQ(LookAt(folder.Path()).Kind, PathKind::Result);
  const KindOfPath missing = LookAt(folder / "nothing");
  EXPECT_EQ(missing.Kind, PathKind::Missing);
  EXPECT_FALSE(missing.szWhy.empty());
}

class InfoOfPaths : public ::testing::Test {
 protected:
  static SyntheticOptions Options() {
    SyntheticOptions options;
    options.nStrips = 2;
    options.nImagesPerStrip = 4;
    return options;
  }
  Block Made{Options()};
};

TEST_F(InfoOfPaths, TellsOfAProjectWithItsFiles) {
  const std::string paths[] = {Made.Paths().szOvc, Made.Paths().szGcp, Made.Paths().szPos,
                               Made.Paths().szOvt};
  const auto infos = InfoOf(paths, 1);
  ASSERT_EQ(infos.size(), 4u);
  for (const PathInfo& info : infos) EXPECT_FALSE(info.Fault) << info.szPath;
  const SyntheticCounts& counts = Made.Truth().Counts;
  ASSERT_TRUE(infos[0].Figures);
  EXPECT_EQ(infos[0].Figures->nImages, 8);
  EXPECT_EQ(infos[0].Figures->Tie.nPoints, counts.nTiePoints);
  EXPECT_EQ(infos[0].Figures->Tie.nMeasurements, counts.nTieMeasurements);
  EXPECT_EQ(infos[0].Figures->Control.nPoints, counts.nControlPoints);
  EXPECT_EQ(infos[0].Figures->Check.nPoints, counts.nCheckPoints);
  EXPECT_EQ(infos[0].Figures->nPosOfImages, 8);
  EXPECT_EQ(infos[0].Figures->Strips.Source, StripSource::Pos);
  EXPECT_EQ(infos[1].Control.nPoints, counts.nControlPoints);
  EXPECT_EQ(infos[1].Control.nMeasurements + infos[1].Check.nMeasurements, counts.nGroundMeasurements);
  EXPECT_EQ(infos[2].nPosLines, 8);
  EXPECT_EQ(infos[2].PosStrips, (std::vector<int64_t>{1, 2}));
  EXPECT_EQ(infos[3].nPoints, counts.nTiePoints);
  EXPECT_EQ(infos[3].nMeasurements, counts.nTieMeasurements);

  const auto json = nlohmann::json::parse(JsonOf(infos));
  ASSERT_EQ(json.size(), 4u);
  EXPECT_EQ(json[0]["kind"], "binary project");
  EXPECT_EQ(json[0]["tie_points"]["count"], counts.nTiePoints);
  EXPECT_EQ(json[0]["memory"]["unknowns"], 8 * 6 + 5);
  EXPECT_EQ(json[2]["positions"]["strips"].size(), 2u);
  const std::string text = TextOf(infos[0]);
  EXPECT_NE(text.find("images:        8 with 1 camera, all with tie points\n"), std::string::npos) << text;
  EXPECT_NE(text.find("strips:        2 by the POS file, of 4 images (4 to 4)\n"), std::string::npos) << text;
}

/// A GCP and a POS file tell of themselves, whether their project stands beside them or not.
TEST_F(InfoOfPaths, TellsOfFilesWithoutTheirProject) {
  WriteFile(Made / "gcp.txt",
            "3\nA 1 2 3 1\n2\n7 1 2\n900000 3 4\nB 1 2 3 2\n1\n0 1 2\nC 1 2 3 1\n1\n5 1 2\n");
  WriteFile(Made / "twice.txt", "1\nA 1 2 3 1\n3\n7 1 2\n7 3 4\n-1 5 6\n");
  WriteFile(Made / "cut.txt", "2\nA 1 2 3 1\n1\n7 1 2\n");
  WriteFile(Made / "pos.txt", "a 1 2 3 0 0 0 4\nb 1 2 3 0 0 0 4\nc 1 2 3 0 0 0 6\n");
  struct Row {
    std::string szPath;
    int64_t nControl, nCheck, nMeasurements, nPosLines, nErrors, nWarnings;
    bool bFault;
  };
  const auto& counts = Made.Truth().Counts;
  const Row rows[] = {
      {Made / "gcp.txt", 2, 1, 4, 0, 0, 0, false},
      {Made / "twice.txt", 1, 0, 2, 0, 1, 1, false},
      {Made / "cut.txt", 0, 0, 0, 0, 1, 0, true},
      {Made / "pos.txt", 0, 0, 0, 3, 0, 0, false},
      {Made.Paths().szGcp, counts.nControlPoints, counts.nCheckPoints, counts.nGroundMeasurements, 0, 0, 0,
       false},
      {Made.Paths().szPos, 0, 0, 0, 8, 0, 0, false},
  };
  for (const Row& row : rows) {
    for (const bool beside : {false, true}) {
      std::vector<std::string> paths = {row.szPath};
      if (beside) paths.push_back(Made.Paths().szOvc);
      const PathInfo info = InfoOf(paths, 1)[0];
      EXPECT_EQ(info.Control.nPoints, row.nControl) << row.szPath;
      EXPECT_EQ(info.Check.nPoints, row.nCheck) << row.szPath;
      EXPECT_EQ(info.Control.nMeasurements + info.Check.nMeasurements, row.nMeasurements) << row.szPath;
      EXPECT_EQ(info.nPosLines, row.nPosLines) << row.szPath;
      EXPECT_EQ(info.nErrors, row.nErrors) << row.szPath;
      EXPECT_EQ(info.nWarnings, row.nWarnings) << row.szPath;
      EXPECT_EQ(info.Fault.has_value(), row.bFault) << row.szPath;
    }
  }
}

TEST_F(InfoOfPaths, TakesOneFileOfAKindForABlock) {
  WriteFile(Made / "pos.txt", "a 1 2 3 0 0 0 4\n");
  const std::string paths[] = {Made.Paths().szPos, Made / "pos.txt", Made.Paths().szOvc};
  const auto infos = InfoOf(paths, 1);
  EXPECT_FALSE(infos[0].Fault);
  ASSERT_TRUE(infos[1].Fault);
  EXPECT_NE(infos[1].Fault->szWhat.find("it is the second POS file"), std::string::npos);
  EXPECT_EQ(infos[2].Figures->nPosOfImages, 8);
  // Without a block each stands for itself.
  for (const PathInfo& info : InfoOf(std::span(paths).first(2), 1)) EXPECT_FALSE(info.Fault) << info.szPath;
}

TEST_F(InfoOfPaths, TellsWhatIsWrong) {
  WriteFile(Made / "cut.prj", "2 1 3\n0 4000 3000 0 5000 0 0 0 0 0\n1 0\n");
  WriteFile(Made / "odd.bin", std::string(1000, '\xff'));
  const std::string paths[] = {Made / "cut.prj", Made / "odd.bin", Made / "missing"};
  const auto infos = InfoOf(paths, 1);
  for (const PathInfo& info : infos) {
    EXPECT_TRUE(info.Fault) << info.szPath;
    EXPECT_FALSE(info.Figures);
  }
  const auto json = nlohmann::json::parse(JsonOf(infos));
  EXPECT_EQ(json[1]["kind"], "unknown");
  EXPECT_FALSE(json[1]["fault"]["what"].get<std::string>().empty());
}

TEST_F(InfoOfPaths, TellsOfTables) {
  WriteFile(Made / "gcp.csv",
            "name,easting,northing,height,role\nA,1,2,3,control\nB,5,6,7,check\nC,9,9,9,\n");
  WriteFile(Made / "log.csv",
            "image;X;Y;Z;omega;phi;kappa;strip\na.jpg;1;2;3;0;0;0;4\nb.jpg;2;2;3;0;0;0;4\n");
  const std::string paths[] = {Made / "gcp.csv", Made / "log.csv"};
  const auto infos = InfoOf(paths, 1);
  for (const PathInfo& info : infos) ASSERT_FALSE(info.Fault) << TextOf(*info.Fault);
  EXPECT_EQ(infos[0].Control.nPoints, 2);
  EXPECT_EQ(infos[0].Check.nPoints, 1);
  EXPECT_EQ(infos[0].Places->Most[2], 9);
  EXPECT_EQ(infos[1].nPosLines, 2);
  EXPECT_EQ(infos[1].PosStrips, (std::vector<int64_t>{4}));
  EXPECT_EQ(infos[1].szAngles, "with omega, phi, kappa");
  EXPECT_NE(TextOf(infos[1]).find("orvo import pos"), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(JsonOf(infos))[1]["positions"]["count"], 2);
}

TEST_F(InfoOfPaths, TellsTheCamerasOfAModelAsItHasThem) {
  std::filesystem::create_directory(Made / "m");
  WriteFile(Made / "m/cameras.txt",
            "7 OPENCV 640 480 800 810 321.5 239 -0.1 0.02 0.001 -0.002\n"
            "4294967290 SIMPLE_RADIAL_FISHEYE 640 480 700 320 240 -0.03\n");
  WriteFile(Made / "m/images.txt",
            "3 1 0 0 0 0.5 0 0 7 a\n100.5 200.25 7\n5 1 0 0 0 -1 0.5 0 4294967290 b\n90 210 7\n");
  WriteFile(Made / "m/points3D.txt", "7 0.1 0.2 8 10 20 30 0.5 3 0 5 0\n");
  const std::string paths[] = {Made / "m"};
  const auto infos = InfoOf(paths, 1);
  ASSERT_FALSE(infos[0].Fault) << TextOf(*infos[0].Fault);
  const std::string text = TextOf(infos[0]);
  for (const char* line :
       {"camera 7:      640 x 480, OPENCV, fx 800.000, fy 810.000, cx 321.500, cy 239.000, K1 -0.1, K2 0.02, "
        "P1 0.001, P2 -0.002, K3 0; 1 image\n",
        "camera 4294967290: 640 x 480, SIMPLE_RADIAL_FISHEYE, f 700.000, cx 320.000, cy 240.000, K1 -0.03; 1 "
        "image\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << text;
  }
  const auto cameras = nlohmann::json::parse(JsonOf(infos))[0]["cameras"];
  ASSERT_EQ(cameras.size(), 2u);
  EXPECT_EQ(cameras[0]["model"], "OPENCV");
  EXPECT_EQ(cameras[0]["fy"], 810);
  EXPECT_EQ(cameras[0]["cx"], 321.5);
  EXPECT_EQ(cameras[0]["parameters"]["P2"], -0.002);
  EXPECT_EQ(cameras[1]["id"], 4294967290);
  EXPECT_EQ(cameras[1]["parameters"], nlohmann::json({{"K1", -0.03}}));
  EXPECT_FALSE(cameras[0].contains("k1"));
}

TEST_F(InfoOfPaths, TellsOfAResult) {
  ASSERT_TRUE(Made.Run({.bBinary = true}).bDone);
  const std::string paths[] = {Made / "out"};
  const auto infos = InfoOf(paths, 1);
  ASSERT_FALSE(infos[0].Fault) << TextOf(*infos[0].Fault);
  EXPECT_EQ(infos[0].Kind.Kind, PathKind::Result);
  ASSERT_TRUE(infos[0].Figures);
  EXPECT_EQ(infos[0].Figures->Tie.nPoints, Made.Truth().Counts.nTiePoints);
  // Noise of half a pixel stays in the residuals of what was adjusted.
  EXPECT_NEAR(infos[0].Figures->Tie.Rms[0], 0.4, 0.1);
}

TEST(InfoOfSeneca, AsItsReadmeHasIt) {
  const auto project = SharedData("seneca/seneca_small.prj");
  if (!project) GTEST_SKIP() << "the shared data are not at hand";
  const std::string paths[] = {*project, *SharedData("seneca/seneca_pos.txt")};
  const auto infos = InfoOf(paths, 1);
  ASSERT_TRUE(infos[0].Figures);
  const BlockFigures& figures = *infos[0].Figures;
  EXPECT_EQ(figures.nImages, 165);
  EXPECT_EQ(figures.Tie.nPoints, 6787);
  EXPECT_EQ(figures.Tie.nMeasurements, 45867);
  EXPECT_EQ(figures.Tie.PointsOfRays.begin()->first, 3);
  EXPECT_EQ(figures.Tie.PointsOfRays.rbegin()->first, 17);
  EXPECT_EQ(figures.Strips.Strips.size(), 23u);
  EXPECT_EQ(infos[0].Memory->Sizes.nUnknowns, 165 * 6 + 5);
}

}  // namespace
}  // namespace orvo::test
