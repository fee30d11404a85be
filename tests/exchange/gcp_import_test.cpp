// Control points of other programs: the GCP file that comes of them, and what is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "exchange/ExchangeFault.h"
#include "exchange/GcpFixture.h"
#include "exchange/LensModels.h"
#include "exchange/Sidecar.h"
#include "exchange/crs/FrameTransform.h"
#include "exchange/survey/Survey.h"
#include "support/Console.h"
#include "support/ResultFiles.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::FilePoint;
using test::ReadFile;
using Import = test::GcpTable;
using test::GcpFrames;
using test::kList;
using test::WriteFile;

const std::string kTable =
    "name,x,y,z,image,px,py\nA,10,20,30,IMG_1.jpg,2100,1400\nA,10,20,30,images/IMG_2.jpg,0,3000\n"
    "B,11,21,31,img_1,2000.5,1500.25\n";

const char* const kExpected =
    "2\nA 10.000000 20.000000 30.000000 1\n2\n0 100.000000000 100.000000000\n1 -2000.000000000 "
    "-1500.000000000\n"
    "B 11.000000 21.000000 31.000000 1\n1\n0 0.500000000 -0.250000000\n";

TEST(GcpImport, TablesOfOneMeaning) {
  const std::string rows[] = {
      kTable,
      "py;px;image;z;y;x;name\n1400;2100;IMG_1.jpg;30;20;10;A\n3000;0;images/IMG_2.jpg;30,0;20;10;A\n"
      "1500,25;2000,5;img_1;31;21;11;B\n",
      "\xEF\xBB\xBFLabel\tEasting [m]\tNorthing [m]\tElevation\tPhoto\tPixel X\tPixel_Y\tRemark\r\n"
      "A\t10\t20\t30\tIMG_1.jpg\t2100\t1400\tred, \r\n\r\nA\t\t\t\timages/IMG_2.jpg\t0\t3000\t\r\n"
      "B\t11\t21\t31\timg_1\t2000.5\t1500.25\t\r\n",
      "sep=,\n" + kTable,
      "\"SEP=,\"\r\n# points\n\n# of 2024, corrected\n" + kTable,
      "# points of 2024\n#" + kTable + "# the end\n",
      "sep=\t\nname\tx\ty\tz\timage\tpx\tpy\nA\t10\t20\t30\tIMG_1.jpg\t2100\t1400\n"
      "A\t10\t20\t30\timages/IMG_2.jpg\t0\t3000\nB\t11\t21\t31\timg_1\t2000,5\t1500,25\n",
      "\"name\",\"x\",\"y\",\"z\",\"image\",\"px\",\"py\"\n\"A\",\"10\",20,30,\"/far/away/"
      "IMG_1.tif\",2100,1400\n"
      "A,10,20,30,images/IMG_2.jpg,0,3000\nB,11,21,31,IMG_1.JPG,+2000.5,1500.25",
  };
  for (const std::string& row : rows) EXPECT_EQ(Import(row).Run(), kExpected) << row;
}

TEST(GcpImport, RolesOfPoints) {
  const std::string table = "name,role,x,y,z\nA,control,1,2,3\nB,Check,1,2,3\nC,,1,2,3\nK1,GCP,1,2,3\n";
  Import import(table);
  import.Options.CheckPoints = {"C"};
  import.Options.szCheckPrefix = "K";
  EXPECT_EQ(import.Run(),
            "4\nA 1.000000 2.000000 3.000000 1\n0\nB 1.000000 2.000000 3.000000 2\n0\n"
            "C 1.000000 2.000000 3.000000 2\n0\nK1 1.000000 2.000000 3.000000 2\n0\n");
  EXPECT_NE(import.Out.Text().find("Control points: 1, check points: 3, measurements: 0"), std::string::npos);
  EXPECT_NE(import.Err.Text().find("4 points: A, B, C ...: without measurements"), std::string::npos);
}

TEST(GcpImport, WhatIsTold) {
  Import import(
      "name,x,y,z,sx,sz,image,px,py,colour\nA,10,20,30,0.01,0.03,IMG_1,2100,1400,red\n"
      "A,10,20,30,0.01,0.03,none.jpg,2100,1400,red\n");
  import.Run();
  EXPECT_NE(import.Out.Text().find("Standard deviations from 0.01 to 0.03"), std::string::npos);
  EXPECT_NE(import.Err.Text().find("1 measurement: none.jpg: left out, for its image is none of the project"),
            std::string::npos);
  EXPECT_NE(
      import.Err.Text().find("1 point: A: with one measurement, which can't be intersected. Measure it"),
      std::string::npos)
      << import.Err.Text();
  EXPECT_NE(import.Err.Text().find("1 column: colour: not read"), std::string::npos);
}

TEST(GcpImport, Refused) {
  const struct {
    std::string table, fault;
  } rows[] = {
      {"", "1: the file is empty"},
      {"\n\n", "1: the file is empty"},
      {"A B C\n", "1: 'A B C' is no line of headings"},
      {"sep=;\n", "1: the file is empty"},
      {"sep=;\nname,x,y,z\nA,1,2,3\n", "2: there is no column name"},
      {"sep=|\nname|x|y|z\n", "1: 'sep=|' is no line of headings"},
      {"# points\nA,1,2,3\n", "2: '# points' is no line of headings"},
      {std::string("\xFF\xFEn\0a\0m\0e\0,\0x\0\n\0", 16), "1: the file is in UTF-16"},
      {std::string("\xFE\xFF\0n\0a\0,\0x\0\n", 12), "1: the file is in UTF-16"},
      {std::string("n\0a\0,\0x\0\n\0", 10), "1: the file is in UTF-16"},
      {"A,1,2,3\n", "1: the line of headings is missing"},
      {"name,x,y,z\n", "1: there is no point behind the headings"},
      {"x,y,z\n1,2,3\n", "1: there is no column name"},
      {"name,y,z\nA,2,3\n", "1: there is no column x"},
      {"name,x,z\nA,2,3\n", "1: there is no column y"},
      {"name,x,y\nA,2,3\n", "1: there is no column of heights"},
      {"name,x,easting,y,z\nA,2,3,4,5\n", "1: the columns 'x' and 'easting' mean the same"},
      {"name,x,lat,z\nA,2,3,4\n", "1: the columns 'x' and 'lat' do not go together"},
      {"name,x,y,z,image\nA,2,3,4,IMG_1\n", "1: measurements need three columns"},
      {"name,lon,lat,z\nA,2,3,4\n", "1: longitude and latitude have no coordinate system"},
      {"name,x,y,z\nA\n", "2: the line has 1 field, the headings are 4"},
      {"name,x,y,z\n# A\nB,1,2\n", "3: the line has 3 fields"},
      {"name,x,y,z\n#B,1,2\n", "2: the line has 3 fields"},
      {"name,x,y,z\nA,1,2\n", "2: the line has 3 fields, the headings are 4"},
      {"name,x,y,z\nA,2497,0,1,2\n", "2: the line has 5 fields, the headings are 4"},
      {"name,x,y,z\nA,\"2497,0\",1,2\n", "2: '2497,0' is no coordinate"},
      {"name;x;y;z\nA;2.497,0;1;2\n", "2: '2.497,0' is no coordinate"},
      {"name,x,y,z\nA,12abc,1,2\n", "2: '12abc' is no coordinate"},
      {"name,x,y,z\nA,1,2,nan\n", "2: 'nan' is no height"},
      {"name,x,y,z\nA,1,2,inf\n", "2: 'inf' is no height"},
      {"name,x,y,z\nA,1,2,\n", "2: an empty field is no height"},
      {"name,x,y,z\n,1,2,3\n", "2: the point has no name"},
      {"name,x,y,z\nA,1,\"2,3\n", "2: quotes are not closed"},
      {"name,x,y,z,role\nA,1,2,3,maybe\n", "2: 'maybe' is no role"},
      {"name,x,y,z,sx\nA,1,2,3,-1\n", "2: '-1' is no standard deviation"},
      {"name,x,y,z\nA,1,2,3\nA,1,2,4\n",
       "3: the point A has other coordinates or another role than in line 2"},
      {"name,x,y,z\nA 1,1,2,3\n", "2: 'A 1' can't be the name of a point"},
      {"name,x,y,z\n" + std::string(32, 'A') + ",1,2,3\n", "can't be the name of a point"},
      {"name,x,y,z,image,px,py\nA,1,2,3,IMG_1,4000.1,10\n", "2: the pixel 4000.1, 10 lies outside"},
      {"name,x,y,z,image,px,py\nA,1,2,3,IMG_1,-1,10\n", "2: the pixel -1, 10 lies outside"},
      {"name,x,y,z,image,px,py\nA,1,2,3,IMG_2,10,10\n", "2: several images have the name 'IMG_2'"},
      {"name,x,y,z,image,px,py\nA,1,2,3,none,10,10\n",
       "0: no image of the measurements is one of the project"},
      {"name,x,y,z,image,px,py\nA,1,2,3,IMG_1,10,10\nA,1,2,3,IMG_1.jpg,10,10\n",
       "3: the point A is measured twice in 'IMG_1.jpg'"},
      {"EPSG:32611\n", "1: the list holds no point"},
      {"EPSG:32611\n1 2 3 4 IMG_1.jpg A\n", "2: '1 2 3 4 IMG_1.jpg A' is no line of a list"},
      {"EPSG:32611\n1 2 nan 4 5 IMG_1.jpg A\n", "is no line of a list"},
      {"EPSG:32611\n1 2 3 4 5 IMG_1.jpg A\n1 2 4 4 5 IMG_1.jpg A\n", "3: the point A has other coordinates"},
  };
  for (const auto& row : rows) {
    const std::string fault = Import(row.table).Fault();
    EXPECT_NE(fault.find(row.fault), std::string::npos) << row.table << "\nfound: " << fault;
  }
}

TEST(GcpImport, RefusedOptions) {
  const struct {
    void (*Change)(Import& import);
    const char* fault;
  } rows[] = {
      {[](Import& import) { import.Options.szProject.clear(); },
       "2: measurements need the images of a project"},
      {[](Import& import) { import.Options.szProject += "x"; }, ""},
      {[](Import& import) { import.Options.szSource += "x"; }, "0: there is no such file"},
      {[](Import& import) { import.Options.CheckPoints = {"C"}; }, "0: there is no point 'C'"},
      {[](Import& import) { import.Options.szCheckPrefix = "CP"; },
       "0: there is no point that begins with 'CP', as --check-prefix says"},
      {[](Import& import) { import.Options.szOrigin = "1,2"; }, "0: --origin has no use with --frame as-is"},
      {[](Import& import) {
         import.Options.Frame = FrameKind::Projected;
         import.Options.szCrs = "EPSG:25832";
         import.Options.szHeight = "ellipsoidal";
         import.Options.szOrigin = "1,2";
       },
       HasCoordinateSystems() ? "0: --origin has no use with --frame projected"
                              : "0: this program was built without"},
      {[](Import& import) { import.Options.szAngles = "orvo"; }, "0: --angles has no use with"},
      {[](Import& import) { import.Options.Distortion = DistortionMode::Fit; },
       "0: --distortion has no use with"},
      {[](Import& import) { import.Options.Frame = FrameKind::Topocentric; }, "no coordinate system"},
      {[](Import& import) { import.Options.szOut = import.Options.szSource; }, "this output is an input"},
  };
  for (const auto& row : rows) {
    Import import(kTable);
    row.Change(import);
    const std::string before = ReadFile(import.Options.szSource);
    try {
      import.Run();
      ADD_FAILURE() << row.fault;
    } catch (const ExchangeFault& fault) {
      const std::string text = std::to_string(fault.What.nLine) + ": " + fault.What.szWhat;
      EXPECT_NE(text.find(row.fault), std::string::npos) << text;
    }
    EXPECT_EQ(ReadFile(import.Options.szSource), before);
  }
}

/// A sidecar of the block whose camera has distortion, with images of other names.
Sidecar MadeUpSidecar(DistortionMode mode) {
  Sidecar sidecar;
  sidecar.szForm = "colmap";
  sidecar.Distortion = mode;
  sidecar.Cameras = {
      {1, "1", "SIMPLE_RADIAL", LensModel::SimpleRadial, 4000, 3000, 5000, 5000, 2010, 1490, {-0.1}}};
  SurveyCamera written;
  written.nWidth = 4000, written.nHeight = 3000, written.dFocal = 5000;
  sidecar.Written = {written};
  sidecar.Images = {{1, "a one.jpg", "./IMG_1.jpg"}, {2, "b.jpg", "./IMG_2.jpg"}, {3, "c.jpg", "./x.jpg"}};
  return sidecar;
}

TEST(GcpImport, MeasurementsAreTreatedAsThoseOfTheBlock) {
  const std::string table = "name,x,y,z,image,px,py\nA,10,20,30,a one.jpg,3500,400\n";
  for (const DistortionMode mode : {DistortionMode::Correct, DistortionMode::Fit, DistortionMode::Drop}) {
    Import import(table);
    const Sidecar sidecar = MadeUpSidecar(mode);
    WriteFile(import.Folder / "block.orvo.json", SidecarText(sidecar));
    import.Run();
    const std::vector<FilePoint> points = test::ReadGcpFile(import.Options.szOut);
    ASSERT_EQ(points.size(), 1u);
    ASSERT_EQ(points[0].pMeasurements.size(), 1u);
    const auto& measured = points[0].pMeasurements[0];
    EXPECT_EQ(measured.nImage, 0);
    if (mode != DistortionMode::Correct) {
      EXPECT_DOUBLE_EQ(measured.x, 1500);
      EXPECT_DOUBLE_EQ(measured.y, 1100);
      continue;
    }
    // The direction of the corrected measurement leads to the pixel.
    const double u = measured.x / 5000, v = -measured.y / 5000, bent = 1 - 0.1 * (u * u + v * v);
    EXPECT_NEAR(5000 * u * bent + 2010, 3500, 1e-8);
    EXPECT_NEAR(5000 * v * bent + 1490, 400, 1e-8);
  }
}

TEST_F(GcpFrames, ListInATopocentricFrame) {
  Import import(kList);
  import.Options.szHeight = "ellipsoidal";
  import.Options.szOrigin = "34.41,-119.88";
  import.Run();
  const std::vector<FilePoint> points = test::ReadGcpFile(import.Options.szOut);
  ASSERT_EQ(points.size(), 2u);
  const std::array<double, 3> expected[] = {{-7.2200, -181.1874, -0.0026}, {-29.8788, -152.6935, 9.9981}};
  for (size_t p = 0; p < 2; ++p) {
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(points[p].Position[i], expected[p][i], 1e-4);
  }
  EXPECT_EQ(points[0].szName, "P1");
  EXPECT_EQ(points[1].szName, "GCP1");
  EXPECT_EQ(points[1].pMeasurements.size(), 2u);
  EXPECT_NE(import.Out.Text().find("topocentric, origin latitude 34.41, longitude -119.88"),
            std::string::npos);
}

TEST_F(GcpFrames, FrameIsKeptInTheSidecar) {
  Import import(kList);
  import.Options.szHeight = "none";
  WriteFile(import.Folder / "block.orvo.json", SidecarText(MadeUpSidecar(DistortionMode::Correct)));
  import.Run();
  const auto kept = ReadSidecar(import.Folder / "block.orvo.json");
  ASSERT_TRUE(kept.has_value());
  EXPECT_EQ(kept->Frame.Kind, FrameKind::Topocentric);
  EXPECT_EQ(kept->Frame.Origin, (std::array<double, 3>{34.408, -119.88, 0}));
  EXPECT_EQ(kept->Frame.szCrs, "EPSG:32611");
  EXPECT_EQ(kept->Frame.szHeight, "none");
  EXPECT_TRUE(kept->Frame.bOfControl);
  EXPECT_EQ(kept->Cameras.size(), 1u);
  // A second import comes into the same frame, and no other is taken.
  const std::string first = ReadFile(import.Options.szOut);
  WriteFile(import.Folder / "points.csv", kList.substr(0, kList.find("235248")));
  import.Run();
  EXPECT_EQ(ReadFile(import.Options.szOut).substr(2, 40), first.substr(2, 40));
  import.Options.szOrigin = "34,-119";
  EXPECT_THROW(import.Run(), ExchangeFault);
  import.Options.szOrigin.clear();
  for (const FrameKind other : {FrameKind::Projected, FrameKind::AsIs}) {
    import.Options.Frame = other;
    EXPECT_THROW(import.Run(), ExchangeFault) << NameOf(other);
    EXPECT_EQ(ReadFile(import.Options.szOut).substr(2, 40), first.substr(2, 40));
  }
  import.Options.Frame = FrameKind::Topocentric;
  import.Run();
}

/// One place in degrees, minutes and seconds as they are written, metres behind heights.
TEST_F(GcpFrames, DegreesMinutesAndSeconds) {
  const char* rows[] = {
      "id;lat;lon;h\nA;34.408366648;-119.880078529;10\n",
      "id;lat;lon;h\nA;34,408366648;-119,880078529;10,0\n",
      "id;lat;lon;h\nA;34\xC2\xB0"
      "24'30.1199328\"N;119\xC2\xB0"
      "52'48.2827044\"W;10\n",
      "id;lat;lon;h\nA;34 deg 24' 30.1199328\" N;119 deg 52' 48.2827044\" W;10 m\n",
      "id,lat,lon,h\nA,34 24 30.1199328 N,119 52 48.2827044 W,10\n",
      "id,lat,lon,h\nA,34 24 30.1199328,-119 52 48.2827044,10 m\n",
  };
  for (const char* row : rows) {
    Import import(row);
    import.Options.szCrs = "EPSG:4326";
    import.Options.szHeight = "ellipsoidal";
    import.Options.szOrigin = "34.41,-119.88";
    ASSERT_EQ(import.Fault(), "") << row;
    const std::vector<FilePoint> points = test::ReadGcpFile(import.Options.szOut);
    ASSERT_EQ(points.size(), 1u);
    const std::array<double, 3> expected = {-7.2200, -181.1877, 9.9974};
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(points[0].Position[i], expected[i], 2e-3) << row;
  }
  for (const char* wrong : {"34 24 W", "34 24 60.5 N", "34 deg 24", "34.5 24 30"}) {
    Import import(std::string("id,lat,lon,h\nA,") + wrong + ",9,10\n");
    EXPECT_NE(import.Fault().find("is no coordinate"), std::string::npos) << wrong;
  }
}

/// From the origin of a topocentric frame.
TEST_F(GcpFrames, PlacesFarOff) {
  const struct {
    const char *szOrigin, *szWarning, *szFault;
  } rows[] = {{"34.41,-119.88", "", ""},
              {"34.41,-119", "", ""},
              {"34.41,-118", "coordinates are up to 173 km from the frame's origin", ""},
              {"34.41,119.88", "", "0: all coordinates are 9"},
              {"-33,151", "", "0: all coordinates are 1"}};
  for (const auto& row : rows) {
    Import import(kList);
    import.Options.szHeight = "ellipsoidal";
    import.Options.szOrigin = row.szOrigin;
    const std::string fault = import.Fault();
    EXPECT_EQ(fault.substr(0, std::string(row.szFault).size()), row.szFault) << row.szOrigin;
    EXPECT_EQ(fault.empty(), *row.szFault == '\0') << fault;
    const std::string told = import.Err.Text();
    EXPECT_EQ(told.find("km from") != std::string::npos, *row.szWarning != '\0') << row.szOrigin << told;
    EXPECT_NE(told.find(row.szWarning), std::string::npos) << told;
  }
}

TEST_F(GcpFrames, Projected) {
  Import import(kList);
  import.Options.szHeight = "none";
  import.Options.Frame = FrameKind::Projected;
  EXPECT_EQ(import.Run().substr(0, 47), "2\nP1 235269.880000 3811198.110000 0.000000 1\n1\n");
}

TEST_F(GcpFrames, AsTheyStandOnlyInMetres) {
  const struct {
    const char *crs, *fault;
  } rows[] = {{"EPSG:25832", ""},
              {"EPSG:2263", "0: the unit of EPSG:2263 is the US survey foot, and a block is in metres"},
              {"OGC:CRS84", "0: longitude and latitude are no frame for a block"}};
  for (const auto& row : rows) {
    Import import("name,x,y,z\nA,9,50,3\n");
    import.Options.szCrs = row.crs;
    import.Options.Frame = FrameKind::AsIs;
    EXPECT_EQ(import.Fault(), row.fault);
  }
}

TEST_F(GcpFrames, Refused) {
  const struct {
    std::string table;
    const char *crs, *height, *fault;
  } rows[] = {
      {kList, "", "", "0: elevations are given, and EPSG:32611 does not say"},
      {"EPSG:999999\n1 2 3 4 5 IMG_1.jpg A\n", "", "", "0: 'EPSG:999999' is no coordinate system"},
      {"name,lon,lat,z\nA,9,50,3\n", "EPSG:25832", "none", "the columns are longitude and latitude"},
      {"name,easting,northing,z\nA,9,50,3\n", "EPSG:4326", "none", "the columns are easting and northing"},
      {"name,x,y,z\nA,9,50,3\n", "EPSG:4326", "none", "x and y do not say which of them is north"},
      {"name,x,y,z\nA,3500000,5500000,3\n", "EPSG:31467", "none",
       "x and y do not say which of them is north"},
      {"name,x,y,z\nA,5500000,450000,3\n", "EPSG:25832", "none", "when east and north are exchanged"},
      {"name,lon,lat,z\nA,50,120,3\n", "EPSG:4326", "none", "0: the coordinates lie outside the area"},
      {"name,lon,lat,z\nA,9,50,3\nB,9,50,3\nC,50,120,3\n", "EPSG:4326", "none",
       "4: point C: its latitude is above 90 degrees"},
      {"name,easting,northing,z\nA,450000,5500000,3\nB,450000,5500000,3\nC,1e30,5500000,3\n", "EPSG:25832",
       "none", "4: point C: its coordinates have no place in the other system"},
      {"name,lon,lat,z\nA,9,50,3\n", "EPSG:25832+7837", "", "the columns are longitude and latitude"},
      {"name,x,y,z\nA,987654,210000,3\n", "EPSG:2263", "ellipsoidal", "the unit of EPSG:2263"},
      {"name,x,y,z\nA,987654,210000,3\n", "EPSG:4326+5773", "none", "x and y do not say"},
  };
  for (const auto& row : rows) {
    Import import(row.table);
    import.Options.szCrs = row.crs;
    import.Options.szHeight = row.height;
    const std::string fault = import.Fault();
    EXPECT_NE(fault.find(row.fault), std::string::npos) << row.table << "\nfound: " << fault;
  }
}

/// Places in a frame, written in degrees and read again, are where they were.
TEST_F(GcpFrames, ThereAndBack) {
  const std::vector<test::FileImage> given =
      test::ReadProjectFile(test::Example("seneca/seneca_start.prj")).pImages;
  ASSERT_GT(given.size(), 100u);
  const FrameTransform transform({"EPSG:4979", ""}, {FrameKind::Topocentric, {}, -119.88, 34.41, 0});
  std::string table = "id,lat,lon,elevation\n";
  for (const test::FileImage& image : given) {
    const auto place = transform.FromFrame(image.Position);
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), "P%lld,%.12f,%.12f,%.7f\n", static_cast<long long>(image.nId),
                  place[1], place[0], place[2]);
    table += line.data();
  }
  Import import(table);
  import.Options.szCrs = "EPSG:4979";
  import.Options.szOrigin = "34.41,-119.88,0";
  import.Run();
  const std::vector<FilePoint> found = test::ReadGcpFile(import.Options.szOut);
  ASSERT_EQ(found.size(), given.size());
  for (size_t p = 0; p < given.size(); ++p) {
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[p].Position[i], given[p].Position[i], 2e-6);
  }
}

}  // namespace
}  // namespace orvo::exchange
