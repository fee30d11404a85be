// The form "opensfm": figures, round trips, and what is refused with its line.
#include "exchange/opensfm/OpenSfm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "exchange/Angles.h"
#include "exchange/ExchangeFault.h"
#include "exchange/LensModels.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ScratchFolder;
using test::WriteFile;

const std::string kCameras =
    R"("cameras": {"v2 cam": {"projection_type": "brown", "width": 4000, "height": 3000, "focal_x": 0.85,
"focal_y": 0.86, "c_x": 0.01, "c_y": -0.02, "k1": -0.1, "k2": 0.02, "p1": 0.001, "p2": -0.002, "k3": 0.003}},
)";
const std::string kShots =
    R"("shots": {"a 1.jpg": {"rotation": [3.1, 0.1, -0.2], "translation": [1, 2, 30], "camera": "v2 cam",
"gps_position": [1, 2, 3], "covariance": [[1, 2], [3, 4]], "scale": 1.0, "merge_cc": null},
"b.jpg": {"rotation": [3.0, 0.0, -0.2], "translation": [-1, 2, 31], "camera": "v2 cam"}},
)";
const std::string kPoints =
    R"("points": {"7": {"color": [1, 2, 3], "coordinates": [0.5, -1, 2]}, "9": {"coordinates": [1, 2, 3]}})";
const std::string kTracks =
    "OPENSFM_TRACKS_VERSION_v2\na 1.jpg\t7\t0\t0.1\t0.2\t0.01\t1\t2\t3\t-1\t-1\n"
    "a 1.jpg\t9\t1\t-0.1\t0.2\t0.01\t1\t2\t3\t-1\t-1\nb.jpg\t7\t0\t0.11\t-0.2\t0.01\t1\t2\t3\t-1\t-1\n"
    "b.jpg\t8\t1\t0.11\t-0.2\t0.01\t1\t2\t3\t-1\t-1\nc.jpg\t7\t1\t0.11\t-0.2\t0.01\t1\t2\t3\t-1\t-1\n";

std::string Json() { return "[{" + kCameras + kShots + kPoints + "}]"; }

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

ForeignModel Read(const ScratchFolder& folder, const std::string& json, const std::string& tracks = kTracks) {
  WriteFile(folder / "reconstruction.json", json);
  WriteFile(folder / "tracks.csv", tracks);
  ImportOptions options;
  options.szSource = folder.Path();
  ExchangeLog log;
  return ReadOpenSfm(options, log);
}

/// "file:line: what" of what is refused, empty where nothing is.
std::string FaultOf(const std::string& json, const std::string& tracks = kTracks) {
  const ScratchFolder folder;
  try {
    Read(folder, json, tracks);
  } catch (const ExchangeFault& fault) {
    const std::string& file = fault.What.szFile;
    return file.substr(file.rfind('/') + 1) + ":" + std::to_string(fault.What.nLine) + ": " +
           fault.What.szWhat;
  }
  return {};
}

std::vector<StreamPoint> PointsOf(ForeignModel& model) {
  std::vector<StreamPoint> points;
  model.Points->Rewind();
  for (StreamPoint point; model.Points->Next(point);) points.push_back(point);
  return points;
}

TEST(OpenSfm, ReadsAReconstruction) {
  const ScratchFolder folder;
  ForeignModel model = Read(folder, Json());
  ASSERT_EQ(model.Cameras.size(), 1u);
  const ForeignCamera& camera = model.Cameras[0];
  EXPECT_EQ(camera.szName, "v2 cam");
  EXPECT_EQ(camera.szModel, "brown");
  EXPECT_EQ(camera.Lens, LensModel::Brown);
  EXPECT_EQ(camera.Parameters, (std::vector<double>{-0.1, 0.02, 0.001, -0.002, 0.003}));
  EXPECT_DOUBLE_EQ(camera.dFx, 3400);
  EXPECT_DOUBLE_EQ(camera.dFy, 3440);
  EXPECT_DOUBLE_EQ(camera.dCx, 2040);
  EXPECT_DOUBLE_EQ(camera.dCy, 1420);
  ASSERT_EQ(model.Images.size(), 2u);
  EXPECT_EQ(model.Images[0].szPath, "a 1.jpg");
  EXPECT_EQ(model.Frame.Kind, FrameKind::AsIs);
  const std::vector<StreamPoint> points = PointsOf(model);
  ASSERT_EQ(points.size(), 2u);
  EXPECT_EQ(points[0].szName, "7");
  EXPECT_EQ(points[0].P, (std::array<double, 3>{0.5, -1, 2}));
  ASSERT_EQ(points[0].Measurements.size(), 2u);
  EXPECT_EQ(points[0].Measurements[1].nImage, 1);
  EXPECT_DOUBLE_EQ(points[0].Measurements[1].x, 440);
  EXPECT_DOUBLE_EQ(points[0].Measurements[1].y, 800);
}

/// The ray of a measurement is the one that the other program has, for a point in front of its camera.
TEST(OpenSfm, RaysAreThoseOfTheSource) {
  const ScratchFolder folder;
  const ForeignModel model = Read(folder, Json());
  const std::array<std::array<double, 3>, 2> r = {{{3.1, 0.1, -0.2}, {3.0, 0.0, -0.2}}},
                                             t = {{{1, 2, 30}, {-1, 2, 31}}};
  const std::array<double, 3> P = {0.5, -1, 2};
  for (size_t i = 0; i < 2; ++i) {
    const Rotation Rc = *RotationOfAngleAxis(r[i]);
    std::array<double, 3> c = t[i];
    for (size_t j = 0; j < 9; ++j) c[j / 3] += Rc[j] * P[j % 3];
    const SurveyImage& image = model.Images[i];
    std::array<double, 3> own{};
    for (size_t j = 0; j < 9; ++j) own[j % 3] += image.R[j] * (P[j / 3] - image.S[j / 3]);
    EXPECT_NEAR(1000 * own[0] / -own[2], 1000 * c[0] / c[2], 2.2e-11);
    EXPECT_NEAR(1000 * own[1] / -own[2], -1000 * c[1] / c[2], 2.2e-11);
  }
}

TEST(OpenSfm, Frames) {
  const ScratchFolder folder;
  const std::string reference = R"(, "reference_lla": {"latitude": 46.5, "longitude": 6.6, "altitude": 400})";
  ForeignModel model = Read(folder, Replaced(Json(), "}]", reference + "}]"));
  EXPECT_EQ(model.Frame.Kind, FrameKind::Topocentric);
  EXPECT_EQ(model.Frame.Origin, (std::array<double, 3>{46.5, 6.6, 400}));
  WriteFile(folder / "reference_lla.json", R"({"latitude": 1.5, "longitude": 2.6, "altitude": 3})");
  EXPECT_EQ(Read(folder, Json()).Frame.Origin, (std::array<double, 3>{1.5, 2.6, 3}));
  for (const char* wrong : {"", "[]", "{}", R"({"latitude": "x", "longitude": 2.6, "altitude": 3})"}) {
    WriteFile(folder / "reference_lla.json", wrong);
    EXPECT_THROW(Read(folder, Json()), ExchangeFault) << wrong;
  }
}

TEST(OpenSfm, TakesTheLargestOfSeveral) {
  const ScratchFolder folder;
  const std::string one = R"({"cameras": {}, "shots": {}, "points": {}})";
  EXPECT_EQ(
      Read(folder, "[" + one + "," + Json().substr(1, Json().size() - 2) + "," + one + "]").Images.size(),
      2u);
}

TEST(OpenSfm, VersionsOfTracks) {
  const std::string lines = kTracks.substr(kTracks.find('\n') + 1);
  EXPECT_EQ(FaultOf(Json(), lines), "");
  EXPECT_EQ(FaultOf(Json(), "OPENSFM_TRACKS_VERSION_v1\n" + lines), "");
  EXPECT_EQ(FaultOf(Json(), "OPENSFM_TRACKS_VERSION_v3\n" + lines),
            "tracks.csv:1: version 3 of tracks is not known");
}

TEST(OpenSfm, Refused) {
  const struct {
    std::string json, tracks, fault;
  } rows[] = {
      {"", kTracks, "reconstruction.json:1: this is no JSON: syntax error"},
      {"{}", kTracks, "reconstruction.json:1: this is no list of reconstructions"},
      {"7", kTracks, "reconstruction.json:1: this is not built like a reconstruction"},
      {"[]", kTracks, "reconstruction.json:0: it holds no reconstruction"},
      {"[7]", kTracks, "reconstruction.json:1: this is not built like"},
      {"[{}]", kTracks, "reconstruction.json:0: it holds no shot"},
      {R"([{"shots": []}])", kTracks, "reconstruction.json:1: this is not built like"},
      {R"([{"shots": {"a": 3}}])", kTracks, "reconstruction.json:1: this is not built like"},
      {Json().substr(0, 300), kTracks, "reconstruction.json:"},
      {Replaced(Json(), "brown", "fisheye_opencv"), kTracks,
       "reconstruction.json:1: camera 'v2 cam' has no k4"},
      {Replaced(Json(), "brown", "dual"), kTracks,
       "reconstruction.json:1: camera 'v2 cam' has the projection dual, which can't be read"},
      {Replaced(Json(), "\"brown\"", R"("fisheye62", "k4": 0, "k5": 0.1, "k6": 0)"), kTracks,
       "reconstruction.json:1: camera 'v2 cam' has a k5 that is not 0, which can't be read"},
      {Replaced(Json(), "brown", "spherical"), kTracks,
       "reconstruction.json:1: camera 'v2 cam' has the projection spherical"},
      {Replaced(Json(), "\"focal_y\"", "\"other\""), kTracks,
       "reconstruction.json:1: camera 'v2 cam' has no focal_y"},
      {Replaced(Json(), "0.85", "-0.85"), kTracks, "camera 'v2 cam' has a focal length that is not above 0"},
      {Replaced(Json(), "0.85", "NaN"), kTracks, "reconstruction.json:1: this is no JSON"},
      {Replaced(Json(), "0.85", "1e999"), kTracks, "reconstruction.json:1: this is no JSON"},
      {Replaced(Json(), "4000", "4000.5"), kTracks, "has a width that is no number of pixels"},
      {Replaced(Json(), "4000", "1e9"), kTracks, "has a width that is no number of pixels"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "[3.1, 0.1]"), kTracks,
       "reconstruction.json:4: shots 'a 1.jpg' has no rotation of three numbers"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "[1, 2, 3, 4]"), kTracks, "is more than three numbers"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "[1, 2, \"3\"]"), kTracks, "is not three numbers"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "[1, 2, null]"), kTracks, "is not three numbers"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "[1, 2, [3]]"), kTracks, "is not built like"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "[1e300, 0, 0]"), kTracks,
       "reconstruction.json:3: shot 'a 1.jpg' has no usable pose"},
      {Replaced(Json(), "[1, 2, 30]", "[1e308, 1e308, -1e308]"), kTracks,
       "reconstruction.json:3: shot 'a 1.jpg' has no usable pose"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "{}"), kTracks, "is not three numbers"},
      {Replaced(Json(), "[3.1, 0.1, -0.2]", "5"), kTracks, "is not three numbers"},
      {Replaced(Json(), "\"camera\": \"v2 cam\"}}", "\"camera\": \"other\"}}"), kTracks,
       "shot 'b.jpg' has the camera 'other', which is none of the reconstruction"},
      {Replaced(Json(), "b.jpg", "a 1.jpg"), kTracks, "shot 'a 1.jpg' comes twice"},
      {Replaced(Json(), "\"9\"", "\"7\""), kTracks, "point '7' comes twice"},
      {Replaced(Json(), "[1, 2, 3]}}", "[1, 2]}}"), kTracks,
       "reconstruction.json:6: points '9' has no coordinates of three numbers"},
      {Json() + "x", kTracks, "reconstruction.json:6: this is no JSON"},
      {Json(), "", "tracks.csv:0: no track belongs to a point"},
      {Json(), Replaced(kTracks, "0.1\t0.2", "0,1\t0.2"), "tracks.csv:2: 'a 1.jpg"},
      {Json(), Replaced(kTracks, "0.1\t0.2", "nan\t0.2"), "is no line of a track"},
      {Json(), Replaced(kTracks, "0.1\t0.2", "0.1x\t0.2"), "is no line of a track"},
      {Json(), kTracks + "a 1.jpg\t7\t0\n", "tracks.csv:7: 'a 1.jpg"},
      {Json(), kTracks + std::string(600, 'x') + "\n", "tracks.csv:7: 'xxxx"},
      {Json(), "q.jpg\t7\t0\t0.1\t0.2\n", "tracks.csv:0: no track belongs to a point"},
  };
  for (const auto& row : rows) {
    const std::string fault = FaultOf(row.json, row.tracks);
    EXPECT_NE(fault.find(row.fault), std::string::npos) << "expected: " << row.fault << "\nfound: " << fault;
  }
  EXPECT_EQ(FaultOf(Json()), "");
}

TEST(OpenSfm, MissingFiles) {
  const ScratchFolder folder;
  ImportOptions options;
  options.szSource = folder.Path();
  ExchangeLog log;
  EXPECT_THROW(ReadOpenSfm(options, log), ExchangeFault);
  WriteFile(folder / "reconstruction.json", Json());
  EXPECT_THROW(ReadOpenSfm(options, log), ExchangeFault);
  WriteFile(folder / "elsewhere.txt", kTracks);
  options.szTracks = folder / "elsewhere.txt";
  EXPECT_EQ(ReadOpenSfm(options, log).Images.size(), 2u);
}

/// A made-up model with every projection.
struct MadeUp {
  SurveyPoints Points;
  ForeignModel Model;

  MadeUp() {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1, 1);
    const std::pair<LensModel, std::vector<double>> lenses[] = {
        {LensModel::Pinhole, {}},
        {LensModel::Radial, {-0.1, 0.05}},
        {LensModel::SimpleRadial, {0.03}},
        {LensModel::Radial, {-0.1, 0.05}},
        {LensModel::Brown, {-0.264, 0.1, 0.001, -0.002, 0.0123}}};
    for (size_t i = 0; i < std::size(lenses); ++i) {
      const bool centred = i < 2;
      Model.Cameras.push_back({static_cast<int64_t>(i), "cam \"" + std::to_string(i) + "\"", "",
                               lenses[i].first, 4001, 2999, 3333.3, centred ? 3333.3 : 3331.7,
                               4001 / 2.0 + (centred ? 0 : 12.345), 2999 / 2.0 - (centred ? 0 : 7.25),
                               lenses[i].second});
    }
    for (int32_t i = 0; i < 10; ++i) {
      SurveyImage image;
      image.nCamera = i % 5;
      image.szPath = "folder/Straße " + std::to_string(i) + ".jpg";
      image.R = RotationOfDegrees(AngleSystem::Standard, {180 * unit(random), 80 * unit(random), 33.0 * i});
      image.S = {1000 * unit(random), 1000 * unit(random), 100 + 10 * unit(random)};
      Model.Images.push_back(image);
    }
    for (int32_t i = 0; i < 100; ++i) {
      SurveyPoint point;
      std::snprintf(point.szName.data(), point.szName.size(), "P%d", i);
      point.P = {1000 * unit(random), 1000 * unit(random), unit(random)};
      point.nFirstMeasurement = static_cast<int64_t>(Points.Measurements.size());
      point.nMeasurementNum = 2 + i % 5;
      for (int32_t m = 0; m < point.nMeasurementNum; ++m)
        Points.Measurements.push_back({(i + m) % 10, 2000 * unit(random), 1499 * unit(random)});
      Points.Points.push_back(point);
    }
    Model.Points = std::make_unique<SurveyPointStream>(Points);
    Model.Frame = {FrameKind::Topocentric, "EPSG:4979", "", {46.5, 6.625, 400.125}};
  }
};

TEST(OpenSfm, RoundTrip) {
  const ScratchFolder folder;
  MadeUp made;
  ExportOptions options;
  options.szOut = folder / "out";
  ExchangeLog log;
  WriteOpenSfm(made.Model, options, log);
  ImportOptions import;
  import.szSource = folder / "out";
  ForeignModel back = ReadOpenSfm(import, log);
  ASSERT_EQ(back.Cameras.size(), made.Model.Cameras.size());
  const char* projections[] = {"perspective", "perspective", "simple_radial", "radial", "brown"};
  for (size_t i = 0; i < back.Cameras.size(); ++i) {
    const ForeignCamera &found = back.Cameras[i], &given = made.Model.Cameras[i];
    EXPECT_EQ(found.szName, given.szName);
    EXPECT_EQ(found.szModel, projections[i]);
    EXPECT_EQ(found.nWidth, given.nWidth);
    EXPECT_EQ(found.nHeight, given.nHeight);
    EXPECT_NEAR(found.dFx, given.dFx, 1e-11);
    EXPECT_NEAR(found.dFy, given.dFy, 1e-11);
    EXPECT_NEAR(found.dCx, given.dCx, 1e-11);
    EXPECT_NEAR(found.dCy, given.dCy, 1e-11);
    if (i > 0) {
      EXPECT_EQ(found.Parameters, given.Parameters);
    }
  }
  ASSERT_EQ(back.Images.size(), made.Model.Images.size());
  for (size_t i = 0; i < back.Images.size(); ++i) {
    const SurveyImage &found = back.Images[i], &given = made.Model.Images[i];
    EXPECT_EQ(found.szPath, given.szPath);
    EXPECT_EQ(found.nCamera, given.nCamera);
    for (size_t j = 0; j < 9; ++j) EXPECT_NEAR(found.R[j], given.R[j], 1e-14);
    for (size_t j = 0; j < 3; ++j) EXPECT_NEAR(found.S[j], given.S[j], 1e-11);
  }
  const std::vector<StreamPoint> found = PointsOf(back), given = PointsOf(made.Model);
  ASSERT_EQ(found.size(), given.size());
  double most = 0;
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].szName, given[i].szName);
    EXPECT_EQ(found[i].P, given[i].P);
    ASSERT_EQ(found[i].Measurements.size(), given[i].Measurements.size());
    for (size_t m = 0; m < found[i].Measurements.size(); ++m) {
      EXPECT_EQ(found[i].Measurements[m].nImage, given[i].Measurements[m].nImage);
      most = std::max({most, std::abs(found[i].Measurements[m].x - given[i].Measurements[m].x),
                       std::abs(found[i].Measurements[m].y - given[i].Measurements[m].y)});
    }
  }
  EXPECT_LT(most, 1e-9);
  EXPECT_EQ(back.Frame.Origin, made.Model.Frame.Origin);
}

/// Models that the form does not have are fitted where that is good.
/// A direction's place in the image by the form's own formula: the angle, bent, in units of the larger side.
TEST(OpenSfm, FisheyesAreReadAsTheFormHasThem) {
  const std::string size = R"("width": 4000, "height": 3000, )";
  const std::string inside = R"("focal_x": 0.5, "focal_y": 0.51, "c_x": 0.01, "c_y": -0.02, )";
  struct Row {
    std::string szCamera;
    double fx, fy, cx, cy, k1, k2, k3, k4, p1, p2, s0, s2;
    LensModel Lens;
  };
  const Row rows[] = {
      {R"("projection_type": "fisheye", "focal": 0.5, "k1": -0.02, "k2": 0.003)", 0.5, 0.5, 0, 0, -0.02,
       0.003, 0, 0, 0, 0, 0, 0, LensModel::RadialFisheye},
      {R"("projection_type": "fisheye_opencv", )" + inside +
           R"("k1": -0.02, "k2": 0.003, "k3": 1e-3, "k4": -2e-4)",
       0.5, 0.51, 0.01, -0.02, -0.02, 0.003, 1e-3, -2e-4, 0, 0, 0, 0, LensModel::OpenCvFisheye},
      {R"("projection_type": "fisheye62", )" + inside +
           R"("k1": -0.02, "k2": 0.003, "k3": 1e-3, "k4": -2e-4, "k5": 0, "k6": 0, "p1": 5e-4, "p2": -7e-4)",
       0.5, 0.51, 0.01, -0.02, -0.02, 0.003, 1e-3, -2e-4, 5e-4, -7e-4, 0, 0, LensModel::ThinPrism},
      {R"("projection_type": "fisheye624", )" + inside +
           R"("k1": -0.02, "k2": 0.003, "k3": 1e-3, "k4": -2e-4, "k5": 0, "k6": 0, "p1": 5e-4, "p2": -7e-4, )" +
           R"("s0": 3e-4, "s1": 0, "s2": -4e-4, "s3": 0)",
       0.5, 0.51, 0.01, -0.02, -0.02, 0.003, 1e-3, -2e-4, 5e-4, -7e-4, 3e-4, -4e-4, LensModel::ThinPrism},
  };
  for (const Row& row : rows) {
    const ScratchFolder folder;
    const std::string json =
        R"([{"cameras": {"v2 cam": {)" + size + row.szCamera + "}},\n" + kShots + kPoints + "}]";
    ForeignModel model = Read(folder, json);
    EXPECT_EQ(model.Cameras[0].Lens, row.Lens) << row.szCamera;
    const auto expect = [&](const ForeignCamera& camera) {
      for (const LensPoint d : {LensPoint{0, 0}, {0.7, -0.4}, {-1.5, 2}}) {
        const double r = std::hypot(d.u, d.v), angle = r > 0 ? std::atan(r) / r : 1;
        const double x = angle * d.u, y = angle * d.v, r2 = x * x + y * y;
        const double radial = 1 + r2 * (row.k1 + r2 * (row.k2 + r2 * (row.k3 + r2 * row.k4)));
        const double xd = x * radial + 2 * row.p1 * x * y + row.p2 * (r2 + 2 * x * x) + row.s0 * r2;
        const double yd = y * radial + 2 * row.p2 * x * y + row.p1 * (r2 + 2 * y * y) + row.s2 * r2;
        const LensPoint pixel = PixelOf(camera, d);
        EXPECT_NEAR(pixel.u, 2000 + 4000 * (row.fx * xd + row.cx), 1e-9) << row.szCamera;
        EXPECT_NEAR(pixel.v, 1500 + 4000 * (row.fy * yd + row.cy), 1e-9) << row.szCamera;
      }
    };
    expect(model.Cameras[0]);
    ExportOptions options;
    options.szOut = folder / "out";
    ExchangeLog log;
    WriteOpenSfm(model, options, log);
    ImportOptions import;
    import.szSource = folder / "out";
    expect(ReadOpenSfm(import, log).Cameras[0]);
  }
}

TEST(OpenSfm, CamerasOfOtherModels) {
  const struct {
    std::vector<double> parameters;
    CameraChoice choice;
    bool written;
  } rows[] = {{{-0.05, 0.01, 0.0001, 0, 0.001, 0, 0, 0}, CameraChoice::Automatic, true},
              {{0, 0, 0, 0, 0, 0.1, 0.1, 0.05}, CameraChoice::Automatic, false},
              {{0, 0, 0, 0, 0, 0.1, 0.1, 0.05}, CameraChoice::Refit, true}};
  for (const auto& row : rows) {
    const ScratchFolder folder;
    MadeUp made;
    made.Model.Cameras[1].Lens = LensModel::FullOpenCv;
    made.Model.Cameras[1].Parameters = row.parameters;
    const ForeignCamera given = made.Model.Cameras[1];
    ExportOptions options;
    options.szOut = folder / "out";
    options.Camera = row.choice;
    ExchangeLog log;
    try {
      WriteOpenSfm(made.Model, options, log);
      EXPECT_TRUE(row.written);
    } catch (const ExchangeFault& fault) {
      EXPECT_FALSE(row.written) << fault.what();
      EXPECT_FALSE(test::Exists(folder / "out/reconstruction.json"));
      continue;
    }
    ImportOptions import;
    import.szSource = folder / "out";
    const ForeignCamera found = ReadOpenSfm(import, log).Cameras[1];
    EXPECT_EQ(found.szModel, "brown");
    EXPECT_EQ(found.szName, given.szName);
    const LensPoint corner = PixelOf(given, {0.4, -0.3}), again = PixelOf(found, {0.4, -0.3});
    const double limit = row.choice == CameraChoice::Refit ? 0.5 : 1e-6;
    EXPECT_NEAR(again.u, corner.u, limit);
    EXPECT_NEAR(again.v, corner.v, limit);
  }
}

TEST(OpenSfm, WhatCannotBeWritten) {
  const struct {
    void (*Spoil)(ForeignModel& model);
    const char* fault;
  } rows[] = {
      {[](ForeignModel& model) {
         model.Cameras[1].Lens = LensModel::FullOpenCv;
         model.Cameras[1].Parameters = {0, 0, 0, 0, 0, 0.1, 0.1, 0.05};
       },
       "this form does not have"},
      {[](ForeignModel& model) { model.Images[2].szPath = "a\tb"; }, "can't stand in tracks.csv"},
      {[](ForeignModel& model) { model.Images[2].szPath = ""; }, "can't stand in tracks.csv"},
      {[](ForeignModel& model) { model.Images[2].szPath = "\xff.jpg"; }, "is no UTF-8"},
      {[](ForeignModel& model) { model.Images[2].szPath = model.Images[0].szPath; },
       "two images have the name '"},
      {[](ForeignModel& model) { model.Cameras[2].szName = model.Cameras[0].szName; },
       "two cameras have the name '"},
      {[](ForeignModel& model) { model.Images[2].S[1] = std::nan(""); }, "is not finite"},
  };
  for (const auto& row : rows) {
    const ScratchFolder folder;
    MadeUp made;
    row.Spoil(made.Model);
    ExportOptions options;
    options.szOut = folder / "out";
    ExchangeLog log;
    try {
      WriteOpenSfm(made.Model, options, log);
      ADD_FAILURE() << row.fault;
    } catch (const ExchangeFault& fault) {
      EXPECT_NE(fault.What.szWhat.find(row.fault), std::string::npos) << fault.What.szWhat;
    }
    EXPECT_FALSE(test::Exists(folder / "out/reconstruction.json"));
    EXPECT_FALSE(test::Exists(folder / "out/tracks.csv"));
  }
}

}  // namespace
}  // namespace orvo::exchange
