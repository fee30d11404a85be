// Exports that are no models, from a result to its files.
#include "exchange/views/Views.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "exchange/ExchangeFault.h"
#include "exchange/Sidecar.h"
#include "exchange/VerticalBlock.h"
#include "exchange/WrittenText.h"
#include "exchange/views/MapOfBlock.h"
#include "exchange/views/ViewBlock.h"
#include "support/Console.h"

namespace orvo::test {
namespace {

using namespace exchange;

class Views : public ::testing::Test {
 protected:
  Views() {
    Result.Block = MakeVerticalBlock({.nStrips = 2, .nImages = 3});
    Result.Files.szProject = Result.szOrigin = Folder / "block.prj";
    WriteFile(Result.Files.szProject, "the project");
    Options.szResult = Result.Files.szProject;
  }
  /// The finding of an export that is refused; empty where it is not.
  template <typename Export>
  Finding Refusal(Export&& run) {
    try {
      run(Result, Options, Log);
    } catch (const ExchangeFault& fault) {
      return fault.What;
    }
    return {};
  }

  /// Beside the project.
  void WriteSidecar(const ModelFrame& frame) {
    Sidecar sidecar;
    sidecar.szForm = "colmap";
    sidecar.Frame = frame;
    sidecar.Written = Result.Block.Cameras;
    ForeignCamera camera;
    camera.szModel = "PINHOLE";
    camera.nWidth = Result.Block.Cameras[0].nWidth;
    camera.nHeight = Result.Block.Cameras[0].nHeight;
    camera.dFx = camera.dFy = Result.Block.Cameras[0].dFocal;
    sidecar.Cameras = {camera};
    for (const SurveyImage& image : Result.Block.Images) {
      sidecar.Images.push_back({image.nId, image.szPath, image.szPath});
    }
    WriteFile(Folder / "block.orvo.json", SidecarText(sidecar));
  }

  ScratchFolder Folder;
  ResultBlock Result;
  ExportOptions Options;
  ExchangeLog Log;
};

TEST_F(Views, PlyComesWithItsCameras) {
  Options.szOut = Folder / "cloud.ply";
  ExportPly(Result, Options, Log);
  EXPECT_TRUE(ReadFile(Folder / "cloud.ply").starts_with("ply\nformat binary_little_endian 1.0\n"));
  EXPECT_NE(ReadFile(Folder / "cloud_cameras.ply").find("element vertex 30\n"), std::string::npos);
}

TEST_F(Views, TablesComeIntoAFolder) {
  Options.szOut = Folder / "tables";
  ExportTables(Result, Options, Log);
  for (const char* name : {"orientations.csv", "cameras.csv", "points.csv", "control.csv", "residuals.csv"}) {
    EXPECT_TRUE(Exists(Folder / (std::string("tables/") + name))) << name;
  }
}

TEST_F(Views, CamerasAreJson) {
  Options.szOut = Folder / "cameras.json";
  Options.dPixelSize = 6;
  ExportCameras(Result, Options, Log);
  EXPECT_DOUBLE_EQ(nlohmann::json::parse(ReadFile(Options.szOut))["cameras"][0]["f_mm"], 30);
}

TEST_F(Views, NoInputIsWrittenOver) {
  Options.szOut = Result.Files.szProject;
  for (const auto run : {ExportPly, ExportLas, ExportCameras}) {
    EXPECT_EQ(Refusal(run).szWhat, "this output is an input");
    EXPECT_EQ(ReadFile(Result.Files.szProject), "the project");
  }
}

TEST_F(Views, AMapNeedsACoordinateSystem) {
  Options.szOut = Folder / "map.geojson";
  const Finding finding = Refusal(ExportGeoJson);
  EXPECT_EQ(finding.szWhat, "nothing tells in which coordinate system the block is");
  EXPECT_NE(finding.szRemedy.find("--block-crs"), std::string::npos);
  EXPECT_FALSE(Exists(Options.szOut));
}

TEST_F(Views, SystemsThatCantBeAreRefused) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  Options.szOut = Folder / "map.geojson";
  for (const char* crs : {"EPSG:4326", "EPSG:99999999", "nonsense"}) {
    Options.szBlockCrs = crs;
    EXPECT_FALSE(Refusal(ExportGeoJson).szWhat.empty()) << crs;
    EXPECT_FALSE(Exists(Options.szOut));
  }
}

TEST_F(Views, TheSystemOfTheBlockMakesAMap) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  Result.Block.Images[0].S = {235269.88, 3811198.11, 400};
  Options.szOut = Folder / "map.geojson";
  Options.szBlockCrs = "EPSG:32611";
  ExportGeoJson(Result, Options, Log);
  const auto map = nlohmann::json::parse(ReadFile(Options.szOut));
  const auto& first = map["features"][0]["geometry"]["coordinates"];
  // Nothing tells what its heights are, so that there is none.
  ASSERT_EQ(first.size(), 2u);
  EXPECT_NEAR(first[0].get<double>(), -119.880078529, 2e-9);
  EXPECT_NEAR(first[1].get<double>(), 34.408366648, 2e-9);
}

TEST_F(Views, TopocentricFramesGoBack) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  BlockOnEarth block;
  block.Frame = {FrameKind::Topocentric, {}, -119.88, 34.41, 0};
  block.bHeights = true;
  const auto degrees = ToWgs84(block)({-29.8788, -152.6935, 9.9981});
  const auto metres = ToSystem(block, "EPSG:32611")({-29.8788, -152.6935, 9.9981});
  EXPECT_NEAR(degrees[2], 10, 1e-3);
  EXPECT_NEAR(metres[0], 235248.03, 1e-3);
  EXPECT_NEAR(metres[1], 3811227.25, 1e-3);
  EXPECT_NEAR(metres[2], 10, 1e-3);
  // Heights stay in metres where the map is in feet. False origins of the two differ by a tenth of a
  // millimetre.
  const auto feet = ToSystem(block, "EPSG:2229")({-29.8788, -152.6935, 9.9981});
  const auto same = ToSystem(block, "EPSG:26945")({-29.8788, -152.6935, 9.9981});
  for (size_t c = 0; c < 2; ++c) EXPECT_NEAR(feet[c] * 1200 / 3937, same[c], 2e-4);
  EXPECT_NEAR(feet[2], 10, 1e-3);
}

TEST_F(Views, LasCarriesTheSystemItIsIn) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  Options.szOut = Folder / "cloud.las";
  Options.szBlockCrs = Options.szCrs = "EPSG:32611";
  ExportLas(Result, Options, Log);
  const std::string bytes = ReadFile(Options.szOut);
  EXPECT_EQ(NumberAt<uint32_t>(bytes, 100), 2u);
  EXPECT_NE(bytes.find("UTM zone 11N"), std::string::npos);
  const ViewBlock view = ViewOf(Result.Block);
  EXPECT_EQ(NumberAt<uint64_t>(bytes, 247), static_cast<uint64_t>(SolvedNum(view.Tie)));
}

/// The points would stay where they are, and the file without a system.
TEST_F(Views, LasTakesNoSystemOfTheBlockAlone) {
  Options.szBlockCrs = "EPSG:25832";
  EXPECT_NE(Refusal(ExportLas).szWhat.find("--block-crs has no use"), std::string::npos);
}

TEST_F(Views, LasInDegreesKeepsTenthsOfAMillimetre) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  for (SurveyImage& image : Result.Block.Images) image.S[0] += 235000, image.S[1] += 3811000;
  Options.szOut = Folder / "cloud.las";
  Options.szBlockCrs = "EPSG:32611";
  Options.szCrs = "EPSG:4326";
  ExportLas(Result, Options, Log);
  const std::string bytes = ReadFile(Options.szOut);
  const ViewBlock view = ViewOf(Result.Block);
  const auto first = std::ranges::find(view.Tie, true, &StrictPoint::bSolved);
  ASSERT_NE(first, view.Tie.end());
  const auto expected = ToSystem(FindBlockOnEarth(Result, Options, Log), "EPSG:4326")(first->P);
  const size_t body = NumberAt<uint32_t>(bytes, 96);
  for (size_t c = 0; c < 2; ++c) {
    EXPECT_EQ(NumberAt<double>(bytes, 131 + 8 * c), 1e-9);
    const double read = NumberAt<int32_t>(bytes, body + 4 * c) * NumberAt<double>(bytes, 131 + 8 * c) +
                        NumberAt<double>(bytes, 155 + 8 * c);
    EXPECT_NEAR(read, expected[c], 1e-9);
  }
}

TEST_F(Views, TheFrameOfTheSidecarIsTheOneThatIsUsed) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  const ModelFrame topocentric = {FrameKind::Topocentric, "EPSG:32611", "none", {34.41, -119.88, 0}};
  const ModelFrame map = {FrameKind::Projected, "EPSG:32611", "none", {}};
  const struct {
    const char* szWhat;
    ModelFrame Frame;
    bool bOfControl, bResult;
    const char* szBlockCrs;
    const char* szFault;
  } rows[] = {
      {"topocentric", topocentric, false, false, "", ""},
      {"its control, adjusted", topocentric, true, true, "", ""},
      {"its control, not adjusted", topocentric, true, false, "", "was never adjusted"},
      {"a map, not adjusted", map, true, false, "", "was never adjusted"},
      {"what it is before", topocentric, true, false, "EPSG:32611", ""},
      {"topocentric, named a map", topocentric, false, false, "EPSG:25832", "its frame is topocentric"},
      {"topocentric result, named a map", topocentric, true, true, "EPSG:25832", "its frame is topocentric"},
      {"a map", map, false, false, "", ""},
      {"a map, the same", map, true, true, "EPSG:32611", ""},
      {"a map, with heights", map, true, true, "EPSG:32611+5773", ""},
      {"a map, another", map, true, true, "EPSG:25832", "says that it is in EPSG:32611"},
      {"nothing", {}, false, false, "EPSG:25832", ""},
  };
  for (const auto& row : rows) {
    ModelFrame frame = row.Frame;
    frame.bOfControl = row.bOfControl;
    WriteSidecar(frame);
    Result.bResult = row.bResult;
    Options.szBlockCrs = row.szBlockCrs;
    std::string fault;
    try {
      FindBlockOnEarth(Result, Options, Log);
    } catch (const ExchangeFault& refused) {
      fault = refused.What.szWhat;
    }
    EXPECT_EQ(fault.empty(), *row.szFault == '\0') << row.szWhat << ": " << fault;
    EXPECT_NE(fault.find(row.szFault), std::string::npos) << row.szWhat << ": " << fault;
  }
}

TEST_F(Views, HeightsOfNoKnownMeaningStayWhatTheyAre) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  for (SurveyImage& image : Result.Block.Images) image.S[0] += 235000, image.S[1] += 3811000;
  Options.szOut = Folder / "cloud.las";
  Options.szBlockCrs = "EPSG:32611";
  for (const char* crs : {"EPSG:4979", "EPSG:4978", "EPSG:32611+5773"}) {
    Options.szCrs = crs;
    EXPECT_NE(Refusal(ExportLas).szWhat.find("nothing tells what those of the block are above"),
              std::string::npos)
        << crs;
    EXPECT_FALSE(Exists(Options.szOut));
  }
  Options.szCrs = "EPSG:4326";
  Console err;
  ExchangeLog log(nullptr, err.Stream());
  ExportLas(Result, Options, log);
  EXPECT_NE(err.Text().find("nothing tells what they are above"), std::string::npos) << err.Text();
  EXPECT_EQ(err.Text().find("lie outside"), std::string::npos) << err.Text();
}

TEST_F(Views, PlacesOutsideTheAreaOfTheirSystemAreTold) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  for (SurveyImage& image : Result.Block.Images) image.S[0] += 235000, image.S[1] += 3811000;
  Options.szOut = Folder / "cloud.las";
  Options.szBlockCrs = "EPSG:32611";
  Options.szCrs = "EPSG:32616";
  Console err;
  ExchangeLog log(nullptr, err.Stream());
  ExportLas(Result, Options, log);
  EXPECT_NE(err.Text().find("outside the area in which EPSG:32616 is used"), std::string::npos) << err.Text();
}

}  // namespace
}  // namespace orvo::test
