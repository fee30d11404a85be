// The text of a coordinate system in the first version, where geographic heights are a system of their own.
#include <gtest/gtest.h>

#include "exchange/crs/CoordinateSystems.h"
#include "exchange/crs/WktText.h"

namespace orvo::exchange {
namespace {

TEST(WktText, Versions) {
  if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  const struct {
    const char *szCrs, *szBegin;
  } rows[] = {{"EPSG:32611", "PROJCS[\"WGS 84 / UTM zone 11N\""},
              {"EPSG:4326", "GEOGCS[\"WGS 84\""},
              {"EPSG:25832+7837", "COMPD_CS["},
              {"EPSG:4978", "GEOCCS[\"WGS 84\""},
              {"EPSG:4979", "COMPD_CS[\"WGS 84"},
              {"EPSG:7843", "COMPD_CS[\"GDA2020"}};
  for (const auto& row : rows) {
    const std::string text = WktOf(row.szCrs);
    EXPECT_TRUE(text.starts_with(row.szBegin)) << row.szCrs << ": " << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << row.szCrs;
  }
  EXPECT_NE(WktOf("EPSG:4979").find("VERT_CS["), std::string::npos);
  EXPECT_THROW(WktOf("nonsense"), CrsFault);
}

}  // namespace
}  // namespace orvo::exchange
