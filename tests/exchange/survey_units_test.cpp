// Units in the headings of tables: converted, or refused where that would be a guess.
#include <gtest/gtest.h>

#include <array>
#include <numbers>
#include <span>
#include <sstream>
#include <vector>

#include "exchange/Angles.h"
#include "exchange/ExchangeFault.h"
#include "exchange/crs/CoordinateSystems.h"
#include "exchange/survey/HeadingUnits.h"
#include "exchange/survey/Survey.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

constexpr double kUsFoot = 1200.0 / 3937;

TEST(HeadingUnits, Words) {
  const struct {
    const char *szHeading, *szUnit, *szUnknown;
    double dFactor = 1;
  } rows[] = {
      {"height", "", ""},
      {"height [m]", "m", ""},
      {"height(M)", "m", ""},
      {"Elevation (ft)", "ft", "", 0.3048},
      {"Elevation (Feet)", "ft", "", 0.3048},
      {"z [us-ft]", "us-ft", "", kUsFoot},
      {"z [US survey foot]", "us-ft", "", kUsFoot},
      {"z [ftUS]", "us-ft", "", kUsFoot},
      {"z [ift]", "international ft", "", 0.3048},
      {"z [mm]", "mm", "", 0.001},
      {"z [cm]", "cm", "", 0.01},
      {"z [km]", "km", "", 1000},
      {"omega [rad]", "rad", "", 180 / std::numbers::pi},
      {"kappa (gon)", "gon", "", 0.9},
      {"lat (\xC2\xB0)", "deg", ""},
      {"lat (deg min sec)", "deg", ""},
      {"px [pixels]", "px", ""},
      {"X (Easting)", "", ""},
      {"E [east] (m)", "m", ""},
      {"Latitude (WGS84)", "", ""},
      {"Latitude (EPSG:4326)", "", ""},
      {"Easting (UTM 32N) [m]", "m", ""},
      {"Altitude (m ASL)", "m", ""},
      {"Height (ellipsoidal) ft", "ft", "", 0.3048},
      {"height []", "", ""},
      {"height [", "", ""},
      {"height [fathom]", "", "fathom"},
      {"kappa [grad]", "", "grad"},
      {"height [1000 m]", "", "1000 m"},
      {"height [m] (ft)", "", "[m] (ft)"},
      {"height [m, ft]", "", "m, ft"},
      {"height [']", "", "'"},
      {"height [\xD0\xBC]", "", "\xD0\xBC"},
  };
  for (const auto& row : rows) {
    const UnitWords found = UnitOfHeading(row.szHeading);
    EXPECT_EQ(found.Unit ? found.Unit->szName : std::string(), row.szUnit) << row.szHeading;
    EXPECT_EQ(found.szUnknown, row.szUnknown) << row.szHeading;
    if (found.Unit) {
      EXPECT_DOUBLE_EQ(found.Unit->dFactor, row.dFactor) << row.szHeading;
    }
  }
}

/// A table brought into a file, its numbers behind the name; or what is refused, with its remedy.
struct Import {
  test::ScratchFolder Folder;
  ImportOptions Options;
  test::Console Out, Err;
  std::vector<double> Numbers;

  Import(const std::string& table, const std::string& crs, const std::string& height) {
    test::WriteFile(Folder / "table.csv", table);
    Options.szSource = Folder / "table.csv";
    Options.szOut = Folder / "out.txt";
    Options.szCrs = crs;
    Options.szHeight = height;
    if (!crs.empty()) Options.Frame = FrameKind::Projected;
  }
  std::string Fault(void (*import)(const ImportOptions& options, ExchangeLog& log)) {
    ExchangeLog log(Out.Stream(), Err.Stream());
    try {
      import(Options, log);
    } catch (const ExchangeFault& fault) {
      EXPECT_FALSE(test::Exists(Options.szOut));
      return fault.What.szWhat + ". " + fault.What.szRemedy;
    }
    std::istringstream text(test::ReadFile(Options.szOut));
    std::string name;
    if (import == ImportGcp) std::getline(text, name);
    text >> name;
    for (double number = 0; text >> number;) Numbers.push_back(number);
    return {};
  }
};

struct Row {
  const char *szHeadings, *szValues, *szCrs, *szHeight, *szFault;
  std::array<double, 3> Place{};
};

void ExpectPoints(std::span<const Row> rows) {
  for (const Row& row : rows) {
    Import import(std::string("name,") + row.szHeadings + "\nA," + row.szValues + "\n", row.szCrs,
                  row.szHeight);
    const std::string what = std::string(row.szHeadings) + " in " + row.szCrs + " " + row.szHeight;
    const std::string fault = import.Fault(ImportGcp);
    EXPECT_NE(fault.find(row.szFault), std::string::npos) << what << "\nfound: " << fault;
    EXPECT_EQ(fault.empty(), *row.szFault == '\0') << what << "\nfound: " << fault;
    if (!fault.empty()) continue;
    ASSERT_GE(import.Numbers.size(), 3u);
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(import.Numbers[i], row.Place[i], 1e-6) << what;
  }
}

TEST(SurveyUnits, PointsAsTheyStand) {
  const Row rows[] = {
      {"x [m],y [m],z [m]", "10,20,30", "", "", "", {10, 20, 30}},
      {"x,y,z [ft]", "10,20,30", "", "", "", {10, 20, 9.144}},
      {"x [us-ft],y [us-ft],z [ft]", "3937,7874,10", "", "", "", {1200, 2400, 3.048}},
      {"x [ift],y [ift],z", "1000,2000,3", "", "", "", {304.8, 609.6, 3}},
      {"x [mm],y [mm],z [cm]", "1000,2000,300", "", "", "", {1, 2, 3}},
      {"x (Easting),y (Northing),z (Height)", "1,2,3", "", "", "", {1, 2, 3}},
      {"Easting (ft),Northing (ft),z", "1,2,3", "", "", "Write [ift] or [us-ft] in the headings"},
      {"x [m],y [ft],z", "1,2,3", "", "", "the columns 'x [m]' and 'y [ft]' have two units"},
      {"x [m],y,z", "1,2,3", "", "", "have two units"},
      {"x [deg],y [deg],z", "1,2,3", "", "", "coordinates in deg have no coordinate system"},
      {"x,y,z [furlong]", "1,2,3", "", "", "'furlong' in the heading 'z [furlong]' is no unit"},
      {"x [px],y [px],z", "1,2,3", "", "", "the unit px does not go with the column 'x [px]'"},
      {"x,y,z [rad]", "1,2,3", "", "", "the unit rad does not go with the column 'z [rad]'"},
      {"x [km],y [km],z", "1e308,2,3", "", "", "a coordinate is no finite number"},
      {"x,y,z,sx [km]", "1,2,3,1e308", "", "", "'1e308' is no standard deviation"},
      {"x,y,z,sx [deg]", "1,2,3,4", "", "", "the unit deg does not go with the column 'sx [deg]'"},
      {"x,y,z,image,px [mm],py [mm]", "1,2,3,a,4,5", "", "", "the unit mm does not go with the column"},
  };
  ExpectPoints(rows);
}

TEST(SurveyUnits, StandardDeviations) {
  Import import("name,x,y,z,sx [mm],sz [cm]\nA,1,2,3,20,5\n", "", "");
  EXPECT_EQ(import.Fault(ImportGcp), "");
  EXPECT_NE(import.Out.Text().find("Standard deviations from 0.02 to 0.05"), std::string::npos)
      << import.Out.Text();
}

class SurveyUnitsOnEarth : public testing::Test {
 protected:
  void SetUp() override {
    if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  }
};

/// In the projected frame of the system itself: EPSG:2229 is in feet of the US survey, EPSG:2222 in
/// international ones, EPSG:6360 heights in feet of the US survey.
TEST_F(SurveyUnitsOnEarth, Points) {
  const std::array<double, 3> feet = {6000000 * kUsFoot, 2000000 * kUsFoot, 30.48};
  const Row rows[] = {
      {"easting,northing,height [ft]",
       "235000,3811000,100",
       "EPSG:32611",
       "ellipsoidal",
       "",
       {235000, 3811000, 30.48}},
      {"easting,northing,height [ft]",
       "235000,3811000,100",
       "EPSG:32611",
       "none",
       "",
       {235000, 3811000, 30.48}},
      {"easting,northing,height [ft]",
       "235000,3811000,100",
       "EPSG:32611",
       "ellipsoidal:ft",
       "",
       {235000, 3811000, 30.48}},
      {"easting,northing,height [m]", "235000,3811000,100", "EPSG:32611", "ellipsoidal:ft",
       "the column of heights is in m, and --height says ellipsoidal:ft"},
      {"easting,northing,height [ift]", "235000,3811000,100", "EPSG:32611", "ellipsoidal:us-ft",
       "the column of heights is in international ft"},
      {"easting,northing,height", "235000,3811000,100 m", "EPSG:32611", "ellipsoidal:ft",
       "the column of heights is in m"},
      {"easting,northing,height [ft]", "235000,3811000,100", "EPSG:32611", "",
       "does not say what they are above"},
      {"easting [ft],northing [ft],height", "6000000,2000000,30.48", "EPSG:2229", "ellipsoidal:m", "", feet},
      {"easting [us-ft],northing [us-ft],height [m]", "6000000,2000000,30.48", "EPSG:2229", "ellipsoidal", "",
       feet},
      {"easting [us-ft],northing [us-ft],height [ft]", "6000000,2000000,100", "EPSG:2229", "ellipsoidal", "",
       feet},
      {"easting,northing,height [m]", "6000000,2000000,30.48", "EPSG:2229+6360", "", "", feet},
      {"easting,northing,height [us-ft]",
       "6000000,2000000,100",
       "EPSG:2229+6360",
       "",
       "",
       {feet[0], feet[1], 100 * kUsFoot}},
      {"easting [us-ft],northing [us-ft],height", "600000,1000000,3", "EPSG:2222", "ellipsoidal:m",
       "the columns of east and north are in us-ft, and the unit of EPSG:2222 is the foot"},
      {"easting [m],northing [m],height", "6000000,2000000,3", "EPSG:2229", "ellipsoidal:m",
       "and the unit of EPSG:2229 is the US survey foot. Name the system"},
      {"easting [ft],northing [ft],height", "235000,3811000,3", "EPSG:32611", "none",
       "the columns of east and north are in ft, and the unit of EPSG:32611 is the metre"},
      {"lon [m],lat [m],height", "9,50,3", "EPSG:4326", "none", "and EPSG:4326 is in degrees"},
      {"easting [deg],northing [deg],height", "9,50,3", "EPSG:25832", "none", "is in a unit of length"},
  };
  ExpectPoints(rows);
}

/// The same place in degrees, radians and gon.
TEST_F(SurveyUnitsOnEarth, LongitudeAndLatitude) {
  const char* tables[] = {"name,lon [deg],lat [deg],h\nA,9,45,3\n", "name,lon [gon],lat [gon],h\nA,10,50,3\n",
                          "name,lon [rad],lat [rad],h\nA,0.15707963267948966,0.7853981633974483,3\n"};
  for (const char* table : tables) {
    Import import(table, "EPSG:4326", "none");
    import.Options.Frame = FrameKind::Topocentric;
    import.Options.szOrigin = "45,9";
    EXPECT_EQ(import.Fault(ImportGcp), "") << table;
    ASSERT_GE(import.Numbers.size(), 3u);
    const std::array<double, 3> expected = {0, 0, 3};
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(import.Numbers[i], expected[i], 1e-6) << table;
  }
}

TEST(SurveyUnits, Angles) {
  const struct {
    const char *szHeadings, *szValues, *szAngles, *szFault;
  } rows[] = {
      {"omega [deg],phi [deg],kappa [deg]", "1.8,-2.7,45", "orvo", ""},
      {"omega [gon],phi [gon],kappa [gon]", "2,-3,50", "orvo", ""},
      {"omega [rad],phi [rad],kappa [rad]", "0.031415926535898,-0.047123889803847,0.785398163397448", "orvo",
       ""},
      {"omega [gon],phi,kappa [rad]", "2,-2.7,0.785398163397448", "orvo", ""},
      {"omega [grad],phi [grad],kappa [grad]", "2,-3,50", "orvo", "'grad' in the heading"},
      {"omega [rad],phi [rad],kappa [rad]", "0,0,1e308", "orvo", "'1e308' is no angle"},
      {"yaw [m],pitch,roll", "1,2,3", "body", "the unit m does not go with the column 'yaw [m]'"},
  };
  for (const auto& row : rows) {
    Import import(std::string("image,x,y,z [ft],") + row.szHeadings + "\na.jpg,1,2,10," + row.szValues + "\n",
                  "", "");
    import.Options.szAngles = row.szAngles;
    const std::string fault = import.Fault(ImportPos);
    EXPECT_NE(fault.find(row.szFault), std::string::npos) << row.szHeadings << "\nfound: " << fault;
    EXPECT_EQ(fault.empty(), *row.szFault == '\0') << fault;
    if (!fault.empty()) continue;
    ASSERT_EQ(import.Numbers.size(), 7u);
    const std::array<double, 6> expected = {1, 2, 3.048, 1.8, -2.7, 45};
    for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(import.Numbers[i], expected[i], 2e-9) << row.szHeadings << i;
  }
}

}  // namespace
}  // namespace orvo::exchange
