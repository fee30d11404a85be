// Positions and angles of other programs: the POS file that comes of them, and what is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "exchange/Angles.h"
#include "exchange/Commands.h"
#include "exchange/ExchangeFault.h"
#include "exchange/crs/FrameTransform.h"
#include "exchange/survey/Survey.h"
#include "support/Console.h"
#include "support/ResultFiles.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::Console;
using test::ReadFile;
using test::ScratchFolder;
using test::WriteFile;

const std::string kProject =
    "3 1 0\n0 4000 3000 0 5000 0 0 0 0 0\n"
    "0 0\nimages/IMG_1.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "1 0\nimages/IMG_2.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "2 0\nimages/IMG_3.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n";

struct PosRow {
  std::string szName;
  std::array<double, 6> Values{};
  int nStrip = -1;
};

/// The import into POS.txt of a folder.
struct Import {
  ScratchFolder Folder;
  ImportOptions Options;
  Console Out, Err;

  explicit Import(const std::string& table) {
    WriteFile(Folder / "places.csv", table);
    Options.szSource = Folder / "places.csv";
    Options.szOut = Folder / "POS.txt";
  }
  void WithProject() {
    WriteFile(Folder / "block.prj", kProject);
    Options.szProject = Folder / "block.prj";
  }
  std::vector<PosRow> Run() {
    ExchangeLog log(Out.Stream(), Err.Stream());
    ImportPos(Options, log);
    std::vector<PosRow> rows;
    std::istringstream text(ReadFile(Options.szOut));
    for (PosRow row; text >> row.szName;) {
      for (double& value : row.Values) text >> value;
      text >> row.nStrip;
      rows.push_back(row);
    }
    return rows;
  }
  std::string Fault() {
    try {
      Run();
    } catch (const ExchangeFault& fault) {
      EXPECT_FALSE(test::Exists(Options.szOut));
      return std::to_string(fault.What.nLine) + ": " + fault.What.szWhat;
    }
    return {};
  }
};

TEST(PosImport, AsTheyStand) {
  Import import("image,z,y,x\nimages/IMG_1.jpg,300,20,10\nIMG_2.JPG,301,40,10\nIMG_9.jpg,301,60,10\n");
  import.WithProject();
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1].szName, "IMG_2");
  EXPECT_EQ(rows[1].Values, (std::array<double, 6>{10, 40, 301, 0, 0, 0}));
  EXPECT_EQ(rows[0].nStrip, 1);
  EXPECT_NE(import.Out.Text().find("Strip 1: 2 images, IMG_1 to IMG_2, heading 0 degrees"),
            std::string::npos);
  EXPECT_NE(
      import.Err.Text().find("1 image: IMG_9.jpg: left out, for it is none of the project. Look at its name"),
      std::string::npos);
  EXPECT_NE(import.Err.Text().find("1 image of the project without a position"), std::string::npos);
  EXPECT_NE(import.Err.Text().find("it has no angles: zeros are written"), std::string::npos);
}

/// Angles of every convention come out as ours.
TEST(PosImport, AnglesAsTheyStand) {
  const Rotation R = RotationOfDegrees(AngleSystem::Orvo, {2, 3, 45});
  for (const AngleSystem system :
       {AngleSystem::Orvo, AngleSystem::Standard, AngleSystem::Body, AngleSystem::Gimbal}) {
    const bool own = system == AngleSystem::Orvo || system == AngleSystem::Standard;
    const auto degrees = DegreesOf(system, R);
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), "a.jpg,1,2,3,%.12f,%.12f,%.12f\n", degrees[0], degrees[1],
                  degrees[2]);
    Import import((own ? "image,x,y,z,omega,phi,kappa\n" : "image,x,y,z,yaw,pitch,roll\n") +
                  std::string(line.data()));
    EXPECT_NE(import.Fault(), "") << "angles of no known convention";
    import.Options.szAngles = own ? "body" : "orvo";
    EXPECT_NE(import.Fault().find("does not go with the columns"), std::string::npos);
    import.Options.szAngles = NameOf(system);
    const std::vector<PosRow> rows = import.Run();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_NEAR(rows[0].Values[3], 2, 2e-9) << NameOf(system);
    EXPECT_NEAR(rows[0].Values[4], 3, 2e-9) << NameOf(system);
    EXPECT_NEAR(rows[0].Values[5], 45, 2e-9) << NameOf(system);
  }
}

/// Of several angles those of the named system, and none of another.
TEST(PosImport, AnglesOfGimbalAndAircraft) {
  const std::string gimbal = ",GimbalYawDegree,GimbalPitchDegree,GimbalRollDegree";
  const std::string flight = ",FlightYawDegree,FlightPitchDegree,FlightRollDegree";
  const std::string own = ",omega,phi,kappa";
  const std::array<double, 3> ofGimbal = {40, -80, 1}, ofFlight = {30, 5, -2};
  const std::string gimbalValues = ",40,-80,1", flightValues = ",30,5,-2", ownValues = ",1,2,3";
  const struct {
    std::string szHeadings, szValues;
    const char* szAngles;
    AngleSystem System;
    std::array<double, 3> Degrees;
    const char* szFault;
  } rows[] = {
      {gimbal + flight, gimbalValues + flightValues, "", AngleSystem::Gimbal, ofGimbal, ""},
      {gimbal + flight, gimbalValues + flightValues, "gimbal", AngleSystem::Gimbal, ofGimbal, ""},
      {gimbal + flight, gimbalValues + flightValues, "body", AngleSystem::Body, ofFlight, ""},
      {flight + gimbal, flightValues + gimbalValues, "body", AngleSystem::Body, ofFlight, ""},
      {flight, flightValues, "body", AngleSystem::Body, ofFlight, ""},
      {own + flight, ownValues + flightValues, "body", AngleSystem::Body, ofFlight, ""},
      {own + flight, ownValues + flightValues, "orvo", AngleSystem::Orvo, {1, 2, 3}, ""},
      {gimbal, gimbalValues, "body", {}, {}, "1: --angles body does not go with the columns of the file"},
      {flight, flightValues, "gimbal", {}, {}, "1: --angles gimbal does not go with the columns"},
      {gimbal + flight, gimbalValues + flightValues, "standard", {}, {}, "1: --angles standard does not go"},
  };
  for (const auto& row : rows) {
    Import import("image,x,y,z" + row.szHeadings + "\na.jpg,1,2,3" + row.szValues + "\n");
    import.Options.szAngles = row.szAngles;
    if (*row.szFault != 0) {
      EXPECT_NE(import.Fault().find(row.szFault), std::string::npos) << row.szHeadings;
      continue;
    }
    const std::vector<PosRow> poses = import.Run();
    ASSERT_EQ(poses.size(), 1u);
    const auto expected = DegreesOf(AngleSystem::Orvo, RotationOfDegrees(row.System, row.Degrees));
    for (size_t i = 0; i < 3; ++i)
      EXPECT_NEAR(poses[0].Values[3 + i], expected[i], 2e-9) << row.szHeadings << " " << row.szAngles;
  }
}

TEST(PosImport, StripsOfTheFile) {
  Import import("image,x,y,z,strip\na,1,2,3,0\nb,2,2,3,0\nc,9,2,3,-4\nd,10,2,3,-4\n");
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0].nStrip, 1);
  EXPECT_EQ(rows[1].nStrip, 1);
  EXPECT_EQ(rows[2].nStrip, 2);
  EXPECT_EQ(rows[3].nStrip, 2);
}

TEST(PosImport, StripsByTimes) {
  Import import(
      "image,x,y,z,datetime\nf,10,0,5,2023:05:01 10:00:10\na,0,0,5,2023:05:01 10:00:00\n"
      "b,0,10,5,2023:05:01 10:00:02\nc,0,20,5,2023:05:01 10:00:04\nd,10,20,5,2023:05:01 10:00:06\n"
      "e,10,10,5,2023:05:01 10:00:08\n");
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 6u);
  const int strips[] = {2, 1, 1, 1, 2, 2};
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(rows[i].nStrip, strips[i]) << rows[i].szName;
  EXPECT_NE(import.Out.Text().find("Strip 2: 3 images, d to f, heading 180 degrees"), std::string::npos);
}

TEST(PosImport, Refused) {
  const struct {
    std::string table, fault;
  } rows[] = {
      {"", "1: the file is empty"},
      {"a b c\n", "1: 'a b c' is no line of headings"},
      {"image,x,y,z\n", "1: no image has a position"},
      {"image,x,y\na,1,2\n", "1: there is no column of heights"},
      {"image,y,z\na,1,2\n", "1: the headings have no x"},
      {"a,1,2,3\n", "1: the line of headings is missing"},
      {"x,y,z\n1,2,3\n", "1: the headings have no image"},
      {"image,x,y,z\na,1,2,3\na.jpg,1,2,3\n", "3: the image 'a' comes twice"},
      {"image,x,y,z\na b,1,2,3\n", "2: 'a b' can't be the name of an image"},
      {"image,x,y,z\n,1,2,3\n", "2: the line has no image"},
      {"name,x,y,z,image,px,py\nA,1,2,3,a.jpg,4,5\n",
       "1: the column 'px' is one of control points and their measurements"},
      {"image,x,y,z,Pixel X,Pixel Y\nA,1,2,3,4,5\n",
       "1: the column 'Pixel X' is one of control points and their measurements"},
      {"name,role,x,y,z\nA,check,1,2,3\n", "1: the column 'role' is one of control points"},
      {"image,x,y,z\na,1x,2,3\n", "2: '1x' is no coordinate"},
      {"image,x,y,z\na,1,2,nan\n", "2: 'nan' is no height"},
      {"image,x,y,z\na,1,2,1e999\n", "2: '1e999' is no height"},
      {"image,x,y,z\na,1,2,3,4\n", "2: the line has 5 fields"},
      {"image,lon,lat,z\na,1,2,3\n", "1: longitude and latitude have no coordinate system"},
      {"image,lon,lat,z\na,1x,2,3\n", "2: '1x' is no coordinate"},
      {"image,x,y,z,omega,phi\na,1,2,3,4,5\n", "1: angles need three columns"},
      {"image,x,y,z,omega,phi,kappa\na,1,2,3,4,5,6\n", "1: omega, phi and kappa are turned in another order"},
      {"image,x,y,z,yaw,pitch,roll\na,1,2,3,4,5,6\n", "1: yaw, pitch and roll may be those of the aircraft"},
      {"image,x,y,z,yaw,pitch,roll\na,1,2,3,4,5,east\n", "2: 'east' is no angle"},
      {"image,x,y,z,datetime\na,1,2,3,yesterday\n", "2: 'yesterday' is no time"},
      {"image,x,y,z,strip\na,1,2,3,1.5\n", "2: '1.5' is no number of a strip"},
      {"image,x,y,z,strip\na,1,2,3,1\nb,1,2,3,\n", "0: some images have the number of a strip"},
      {"EPSG:32611\n", "1: the list holds no image"},
      {"EPSG:32611\na.jpg 1\n", "2: 'a.jpg 1' is no line of a list"},
      {"EPSG:32611\na.jpg 1 x 3\n", "2: 'x' is no number"},
      {"EPSG:32611\na.jpg 1 2 3\nb.jpg 1 2\n", "3: the line has no height"},
  };
  for (const auto& row : rows) {
    const std::string fault = Import(row.table).Fault();
    EXPECT_NE(fault.find(row.fault), std::string::npos) << row.table << "\nfound: " << fault;
  }
  Import none("image,x,y,z\nq,1,2,3\n");
  none.WithProject();
  EXPECT_NE(none.Fault().find("0: no image is one of the project: 1 image: q"), std::string::npos);
}

TEST(GcpAndPosImport, NoFileToWrite) {
  for (const auto import : {ImportGcp, ImportPos}) {
    Import none("image,x,y,z\na,1,2,3\n");
    none.Options.szOut.clear();
    ExchangeLog log(none.Out.Stream(), none.Err.Stream());
    try {
      import(none.Options, log);
      ADD_FAILURE() << "taken";
    } catch (const ExchangeFault& fault) {
      EXPECT_EQ(fault.What.szWhat, "--out names no file");
    }
  }
  for (const char* form : {"gcp", "pos"}) {
    const test::CommandRun run = test::RunOrvo({"import", form, "table.csv", "--out", ""});
    EXPECT_EQ(run.nCode, 1) << form;
    EXPECT_NE(run.szErr.find("--out names nothing"), std::string::npos) << run.szErr;
  }
}

TEST(PosImport, ImagesThatShareAName) {
  Import import("image,x,y,z\ncam1/0001.jpg,1,2,3\ncam2/0001.jpg,4,5,6\n");
  EXPECT_NE(import.Fault().find("3: the image '0001' comes twice"), std::string::npos);
  const std::string head = "2 1 0\n0 4000 3000 0 5000 0 0 0 0 0\n";
  const std::string pose = "1 0 0 0 1 0 0 0 1\n1 2 3\n";
  WriteFile(import.Folder / "block.prj",
            head + "0 0\ncam1/0001.jpg\n" + pose + "1 0\ncam2/0001.jpg\n" + pose);
  import.Options.szProject = import.Folder / "block.prj";
  EXPECT_NE(import.Fault().find("3: several images of the project have the name '0001'"), std::string::npos);
  // As the import of a model writes them.
  WriteFile(import.Folder / "block.prj",
            head + "0 0\ncam1/0001.jpg\n" + pose + "1 0\ncam2/0001_2.jpg\n" + pose);
  WriteFile(import.Folder / "places.csv", "image,x,y,z\ncam1/0001.jpg,1,2,3\ncam2/0001_2.jpg,4,5,6\n");
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].szName, "0001");
  EXPECT_EQ(rows[1].szName, "0001_2");
}

class PosFrames : public testing::Test {
 protected:
  void SetUp() override {
    if (!HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  }
};

TEST_F(PosFrames, ListOfYawPitchRoll) {
  Import import(
      "EPSG:32611\nIMG_1.jpg 235269.88 3811198.11 0 30 5 -3 0.1 0.2\nIMG_2.jpg 235248.03 3811227.25 10\n");
  import.WithProject();
  import.Options.szHeight = "ellipsoidal";
  import.Options.szOrigin = "34.41,-119.88";
  import.Options.szAngles = "body";
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 2u);
  const std::array<double, 6> first = {-7.2200, -181.1874, -0.0026, 2.82053073, 5.10321426, -30.25673051};
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(rows[0].Values[i], first[i], i < 3 ? 1e-4 : 3e-3) << i;
  EXPECT_NEAR(rows[1].Values[0], -29.8788, 1e-4);
  EXPECT_NEAR(rows[1].Values[2], 9.9981, 1e-4);
  EXPECT_NE(import.Err.Text().find("1 image without angles: zeros are written"), std::string::npos);
}

TEST_F(PosFrames, SystemOfTheListAndTheUser) {
  Import import("EPSG:32611\nIMG_1.jpg 235269.88 3811198.11 0\n");
  import.Options.szHeight = "none";
  import.Options.szCrs = "EPSG:32612";
  EXPECT_EQ(import.Fault(), "1: its first line names EPSG:32611, and --crs EPSG:32612");
  import.Options.szCrs = "EPSG:32611";
  EXPECT_EQ(import.Run().size(), 1u);
}

/// In a map, yaw loses the meridian convergence.
TEST_F(PosFrames, YawInAMap) {
  Import import("EPSG:32611\nIMG_1.jpg 235269.88 3811198.11 0 30 0 0\n");
  import.Options.szHeight = "none";
  import.Options.Frame = FrameKind::Projected;
  import.Options.szAngles = "body";
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].Values[0], 235269.88);
  const double convergence = -1.62849;  // atan(tan(-2.880078529) sin(34.408366648)), degrees
  EXPECT_NEAR(rows[0].Values[5], -(30 - convergence), 1e-4);
}

/// Images as a camera tags them and exiftool lists them, made from a block and read back into its frame.
TEST_F(PosFrames, CameraTagsThereAndBack) {
  const std::vector<test::FileImage> given =
      test::ReadProjectFile(test::Example("seneca/seneca_start.prj")).pImages;
  ASSERT_EQ(given.size(), 165u);
  const FrameTransform transform({"EPSG:4979", ""}, {FrameKind::Topocentric, {}, -119.88, 34.41, 0});
  std::string table =
      "SourceFile,Make,GPSAltitude,GPSLatitude,GPSLongitude,GimbalRollDegree,GimbalYawDegree,"
      "GimbalPitchDegree,"
      "FlightYawDegree,FlightPitchDegree,FlightRollDegree,SubSecDateTimeOriginal,GPSDateStamp,Comment\n";
  int number = 0;
  for (const test::FileImage& image : given) {
    const auto place = transform.FromFrame(image.Position);
    const auto axes = transform.LocalAxesOfFrame(image.Position);
    const auto angles = DegreesOf(AngleSystem::Gimbal, ProductOf(TransposeOf(axes), image.R));
    const double longitude = -place[0];
    const int degrees = static_cast<int>(longitude);
    const int minutes = static_cast<int>(60 * (longitude - degrees));
    const double seconds = 3600 * (longitude - degrees - minutes / 60.0);
    std::array<char, 600> line{};
    std::snprintf(
        line.data(), line.size(),
        "./a/I%04d.JPG,\"X, Inc\",%.6f m Above Sea Level,%.12f N,\"%d deg %d' %.9f\"\" W\",%.12f,%+.12f,"
        "%.12f,1,2,3,2023:05:01 10:%02d:%02d.50+00:00,2023:05:01,\"%s\"\n",
        number, place[2], place[1], degrees, minutes, seconds, angles[2], angles[0], angles[1],
        2 * number / 60, 2 * number % 60, std::string(300, '-').c_str());
    table += line.data();
    ++number;
  }
  Import import(table);
  EXPECT_NE(import.Fault().find("elevations are given, and EPSG:4326 does not say"), std::string::npos);
  import.Options.szHeight = "ellipsoidal";
  import.Options.szOrigin = "34.41,-119.88,0";
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), given.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    for (size_t j = 0; j < 3; ++j) EXPECT_NEAR(rows[i].Values[j], given[i].Position[j], 3e-6);
    const Rotation R =
        RotationOfDegrees(AngleSystem::Orvo, {rows[i].Values[3], rows[i].Values[4], rows[i].Values[5]});
    for (size_t j = 0; j < 9; ++j) EXPECT_NEAR(R[j], given[i].R[j], 1e-6);
    EXPECT_GE(rows[i].nStrip, 1);
  }
}

/// One place in every spelling of tags: alone, in groups of which one has the sign, in one field.
TEST_F(PosFrames, TagsInGroupsAndInOneField) {
  const char* tables[] = {
      "SourceFile,GPSLatitude,GPSLongitude\na.jpg,-41.5,81.25\n",
      "SourceFile,EXIF:GPSLatitude,EXIF:GPSLatitudeRef,EXIF:GPSLongitude,EXIF:GPSLongitudeRef\n"
      "a.jpg,41.5,S,81.25,E\n",
      "SourceFile,XMP:GPSLatitude,Composite:GPSLatitude,EXIF:GPSLatitude,EXIF:GPSLongitude,"
      "Composite:GPSLongitude\na.jpg,7,-41.5,41.5,81,81.25\n",
      "SourceFile,Composite:GPSPosition,EXIF:GPSLatitude\na.jpg,\"41 deg 30' 0.00\"\" S, 81 deg 15' 0.00\"\" "
      "E\",41.5\n",
      "SourceFile,GPSPosition\na.jpg,-41.5 81.25\nb.jpg,\nc.jpg,0 0\n",
  };
  for (const char* table : tables) {
    Import import(table);
    import.Options.szHeight = "none";
    ASSERT_EQ(import.Run().size(), 1u) << table << import.Err.Text();
    EXPECT_NE(import.Out.Text().find("origin latitude -41.5, longitude 81.25"), std::string::npos) << table;
  }
  for (const char* place : {"41.5", "41.5 N", "north", "41.5;81.25", "41 81 5 3", "91 deg, 5 deg, 6 deg"}) {
    Import import(std::string("SourceFile,GPSPosition\na.jpg,\"") + place + "\"\n");
    import.Options.szHeight = "none";
    EXPECT_NE(import.Fault().find("is no latitude and longitude"), std::string::npos) << place;
  }
}

TEST_F(PosFrames, TagsWithoutAFix) {
  Import import(
      "SourceFile,GPSLatitude,GPSLongitude,GPSAltitude,GPSLatitudeRef\na.jpg,0,0,0,North\nb.jpg,,,,\n"
      "c.jpg,41.5,-81.5,200,South\nd.jpg,-,-,-,-\n");
  import.Options.szHeight = "none";
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].szName, "c");
  EXPECT_NEAR(rows[0].Values[0], 0, 1e-3);
  EXPECT_NEAR(rows[0].Values[2], 200, 1e-3);
  EXPECT_NE(import.Out.Text().find("origin latitude -41.5, longitude -81.5"), std::string::npos);
  EXPECT_NE(import.Err.Text().find("3 images without a position left out"), std::string::npos);
}

/// Omega, phi, kappa of a map come into a topocentric frame with the turn between the two.
TEST_F(PosFrames, AnglesOfAMapInATopocentricFrame) {
  Import import("image,easting,northing,h,omega,phi,kappa\na,235269.88,3811198.11,0,0,0,0\n");
  import.Options.szCrs = "EPSG:32611";
  import.Options.szHeight = "ellipsoidal";
  import.Options.szAngles = "standard";
  import.Options.szOrigin = "34.408366648,-119.880078529,0";
  const std::vector<PosRow> rows = import.Run();
  ASSERT_EQ(rows.size(), 1u);
  // The map's east lies 1.628 degrees to the south of true east there.
  EXPECT_NEAR(rows[0].Values[5], 1.62849, 1e-4);
}

}  // namespace
}  // namespace orvo::exchange
