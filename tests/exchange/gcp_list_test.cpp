// Lists of control points behind the line of their coordinate system.
#include <gtest/gtest.h>

#include "exchange/GcpFixture.h"
#include "support/ResultFiles.h"

namespace orvo::exchange {
namespace {

using Import = test::GcpTable;
using test::FilePoint;
using test::kList;
using test::ReadFile;
using GcpList = test::GcpFrames;

/// A list counts the centre of the first pixel as 0, a table as 0.5.
TEST_F(GcpList, PixelsOfAList) {
  const struct {
    const char *szPixel, *szMeasured, *szFault;
  } rows[] = {{"0 0", "-1999.500000000 1499.500000000", ""},
              {"1999.5 1499.5", "0.000000000 0.000000000", ""},
              {"3999.5 -0.5", "2000.000000000 1500.000000000", ""},
              {"3999.6 0", "", "2: the pixel 3999.6, 0 lies outside its image"}};
  for (const auto& row : rows) {
    Import import(std::string("EPSG:32611\n235269.88 3811198.11 0 ") + row.szPixel + " IMG_1.jpg P1\n");
    import.Options.szHeight = "none";
    import.Options.Frame = FrameKind::Projected;
    EXPECT_EQ(import.Fault(), row.szFault) << row.szPixel;
    if (*row.szFault != 0) continue;
    const std::string text = ReadFile(import.Options.szOut), head = "0.000000 1\n1\n0 ";
    ASSERT_NE(text.find(head), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.find(head) + head.size()), std::string(row.szMeasured) + "\n");
  }
}

TEST_F(GcpList, ListOfLongitudeAndLatitude) {
  Import import("WGS84\n-119.880078529 34.408366648 0 2100 1400 IMG_1.jpg P1\n");
  import.Options.szHeight = "ellipsoidal";
  import.Options.szOrigin = "34.41,-119.88";
  import.Run();
  const std::vector<FilePoint> points = test::ReadGcpFile(import.Options.szOut);
  ASSERT_EQ(points.size(), 1u);
  const std::array<double, 3> expected = {-7.2200, -181.1874, -0.0026};
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(points[0].Position[i], expected[i], 2e-4);
}

/// Another map than that of the first line is refused, heights for it are not.
TEST_F(GcpList, SystemOfTheListAndTheUser) {
  const std::string degrees = "WGS84\n-119.88 34.41 0 2100 1400 IMG_1.jpg P1\n";
  const struct {
    std::string szList;
    const char *szCrs, *szHeight, *szFault;
  } rows[] = {
      {kList, "EPSG:32611", "none", ""},
      {kList, "+proj=utm +zone=11 +datum=WGS84", "none", ""},
      {kList, "EPSG:32611+5773", "", ""},
      {degrees, "EPSG:4979", "", ""},
      {kList, "EPSG:32612", "none", "1: its first line names EPSG:32611, and --crs EPSG:32612"},
      {kList, "EPSG:4326", "none", "1: its first line names EPSG:32611, and --crs EPSG:4326"},
      {degrees, "EPSG:32611", "none", "1: its first line names EPSG:4326, and --crs EPSG:32611"},
  };
  for (const auto& row : rows) {
    Import import(row.szList);
    import.Options.szCrs = row.szCrs;
    import.Options.szHeight = row.szHeight;
    const std::string fault = import.Fault();
    const bool grid = fault.find("needs a grid") != std::string::npos;  // of the geoid, where it is missing
    EXPECT_EQ(grid ? "" : fault, row.szFault) << row.szCrs;
  }
}

}  // namespace
}  // namespace orvo::exchange
