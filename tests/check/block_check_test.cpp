// Findings about geometry, control and positions of a block, each brought about on its own.
#include <gtest/gtest.h>

#include <functional>

#include "check/SurveyBlocks.h"
#include "check/block/AngleConventions.h"
#include "check/block/BlockPieces.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.nControlPoints = 6;
  options.nCheckPoints = 3;
  return options;
}

const SurveyBlock& Sound() {
  static const SurveyBlock block = ReadGenerated(Options());
  return block;
}

struct Case {
  const char* szName;
  std::function<void(SurveyBlock&, AdjustmentSettings&)> Change;
  const char* szCodes;
};

void Expect(const Case& each) {
  SurveyBlock block = Sound();
  AdjustmentSettings settings;
  each.Change(block, settings);
  EXPECT_EQ(Codes(block, settings), each.szCodes) << each.szName;
}

/// Leaves the first `count` measurements that an image has of points.
void KeepOf(SurveyBlock& block, int32_t image, int count) {
  SurveyPoints kept;
  for (SurveyPoint point : block.Tie.Points) {
    const auto measurements = block.Tie.Of(point);
    point.nFirstMeasurement = static_cast<int64_t>(kept.Measurements.size());
    for (const SurveyMeasurement& measurement : measurements) {
      if (measurement.nImage != image || count-- > 0) kept.Measurements.push_back(measurement);
    }
    point.nMeasurementNum =
        static_cast<int32_t>(static_cast<int64_t>(kept.Measurements.size()) - point.nFirstMeasurement);
    kept.Points.push_back(point);
  }
  block.Tie = kept;
}

TEST(BlockCheck, Geometry) {
  const Case cases[] = {
      {"nothing", [](SurveyBlock&, AdjustmentSettings&) {}, ""},
      {"focal length in millimetres",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Cameras.push_back(block.Cameras[0]);
         block.Cameras[1].dFocal = 100;
       },
       "G004"},
      {"focal length of all images in millimetres",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Control = {};
         block.Pos.clear();
         block.Cameras[0].dFocal = 100;
       },
       "G004"},
      {"long focal length",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Cameras.push_back(block.Cameras[0]);
         block.Cameras[1].dFocal = 120001;
       },
       "G004"},
      {"no extent", [](SurveyBlock& block, AdjustmentSettings&) { block.Cameras[0].nWidth = 0; }, "G013"},
      {"principal point from the corner, y down",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Cameras[0].dX0 = 4010;
         block.Cameras[0].dY0 = 5990;
       },
       "G015"},
      {"principal point off with distortion",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Cameras[0].dX0 = 40;
         block.Cameras[0].dY0 = -10;
         block.Cameras[0].dK1 = 3e-10;
       },
       "G012"},
      {"few outside", [](SurveyBlock& block, AdjustmentSettings&) { block.Tie.Measurements[5].x = 4002; },
       "G003"},
      {"smaller images",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Cameras[0].nWidth = 7000;
         block.Cameras[0].nHeight = 11000;
       },
       "G002"},
      {"poor start",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (size_t i = 0; i < block.Images.size(); ++i) block.Images[i].S[i % 2] += i % 3 == 0 ? 15 : -15;
       },
       "G005"},
      {"hopeless start",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Control = {};
         block.Pos = {};
         for (size_t i = 0; i < block.Images.size(); ++i) block.Images[i].S[i % 2] += i % 3 == 0 ? 250 : -250;
       },
       "G001 G006"},
      {"few points", [](SurveyBlock& block, AdjustmentSettings&) { KeepOf(block, 0, 9); }, "G008"},
      {"too few points",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Control = {};
         KeepOf(block, 0, 3);
       },
       "G009"},
      {"no points, told by those who leave it out",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Control = {};
         KeepOf(block, 0, 0);
       },
       ""},
  };
  for (const Case& each : cases) Expect(each);
}

TEST(BlockCheck, PiecesOfABlock) {
  SurveyBlock block = Sound();
  block.Control = {};
  // Strips 1 and 2 of six images, and the third for itself.
  std::erase_if(block.Tie.Points, [&](const SurveyPoint& point) {
    const auto measurements = block.Tie.Of(point);
    const auto last = [](const SurveyMeasurement& m) { return m.nImage >= 12; };
    return std::ranges::any_of(measurements, last) && !std::ranges::all_of(measurements, last);
  });
  EXPECT_EQ(Codes(block), "G007");
  const std::vector<bool> usable(block.Images.size(), true);
  const BlockPieces pieces = FindPieces(block, usable, 3);
  ASSERT_EQ(pieces.Pieces.size(), 2u);
  EXPECT_EQ(pieces.Pieces[1], (std::vector<int32_t>{12, 13, 14, 15, 16, 17}));
}

/// A point on thousands of images costs no more than as many points.
/// Four vertical images in a row over ten points, `base` apart, with `height` above them.
SurveyBlock RowOfImages(double base, double height) {
  SurveyBlock block;
  block.Cameras.push_back({0, 4000, 3000, 3600});
  for (int i = 0; i < 4; ++i) {
    SurveyImage image;
    image.nCamera = 0;
    image.R = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    image.S = {base * i, 0, height};
    block.Images.push_back(image);
  }
  for (int k = 0; k < 20; ++k) {
    SurveyPoint point;
    const std::array<double, 3> P = {0.02 * height * k, 0.3 * height * std::sin(k),
                                     0.1 * height * std::cos(2 * k)};
    point.nFirstMeasurement = static_cast<int64_t>(block.Tie.Measurements.size());
    point.nMeasurementNum = 4;
    for (int i = 0; i < 4; ++i) {
      const double f = 3600 / (height - P[2]);
      block.Tie.Measurements.push_back({i, f * (P[0] - base * i), f * P[1]});
    }
    block.Tie.Points.push_back(point);
  }
  return block;
}

TEST(BlockCheck, ShortBase) {
  EXPECT_EQ(Codes(RowOfImages(30, 1000)), "");
  EXPECT_EQ(Codes(RowOfImages(14, 1000)), "G010");
}

TEST(BlockCheck, SomePointsBehindTheirCameras) {
  SurveyBlock block = RowOfImages(100, 1000);
  for (size_t k = 0; k < 2; ++k) {
    // Parallaxes of the wrong sign.
    auto* measurement = &block.Tie.Measurements[static_cast<size_t>(block.Tie.Points[k].nFirstMeasurement)];
    for (int i = 0; i < 4; ++i) measurement[i] = {i, 300.0 * i - 450, measurement[i].y};
  }
  EXPECT_EQ(Codes(block), "G001");
  for (SurveyMeasurement& measurement : block.Tie.Measurements) {
    measurement.x = -measurement.x;
    measurement.y = -measurement.y;
  }
  // Now nearly all of them, as in images turned by half about the viewing axis.
  EXPECT_EQ(Codes(block), "C009");
}

TEST(BlockCheck, FlatGroundUnderVerticalViews) {
  SyntheticOptions options = Options();
  options.fRelief = options.fTilt = options.fStartAngle = options.fStartPosition = 0;
  options.nControlPoints = options.nCheckPoints = 0;
  SurveyBlock block = ReadGenerated(options);
  EXPECT_EQ(Codes(block), "G011");
  AdjustmentSettings settings;
  settings.Set_IOP_Unknown = false;
  EXPECT_EQ(Codes(block, settings), "");
  settings.Set_IOP_Unknown = settings.Apply_GPS_Data = true;
  EXPECT_EQ(Codes(block, settings), "");
  options.nControlPoints = 4;
  EXPECT_EQ(Codes(ReadGenerated(options)), "");
}

void MoveImages(SurveyBlock& block, double dX, double factor) {
  for (SurveyImage& image : block.Images) {
    for (double& coordinate : image.S) coordinate *= factor;
    image.S[0] += dX;
  }
}

TEST(BlockCheck, Control) {
  const auto keep = [](SurveyBlock& block, size_t controlNum) { block.Control.Points.resize(controlNum); };
  const Case cases[] = {
      {"measured once",
       [](SurveyBlock& block, AdjustmentSettings&) { block.Control.Points[2].nMeasurementNum = 1; }, "K001"},
      {"another frame",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Pos = {};
         MoveImages(block, 50000, 0.1);
       },
       "K014"},
      {"another frame with 3 control points",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         block.Pos = {};
         keep(block, 3);
         MoveImages(block, 50000, 1);
       },
       "K012"},
      {"the same with positions",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         keep(block, 3);
         MoveImages(block, 50000, 1);
       },
       ""},
      {"one control point in its frame", [&](SurveyBlock& block, AdjustmentSettings&) { keep(block, 1); },
       ""},
      {"one control point in feet",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         keep(block, 1);
         for (double& value : block.Control.Points[0].P) value /= 0.3048;
       },
       "K003"},
      {"feet, and a frame of the block's own",
       [](SurveyBlock& block, AdjustmentSettings&) {
         MoveImages(block, 50000, 0.1);
         for (SurveyPoint& point : block.Control.Points) {
           for (double& value : point.P) value /= 0.3048;
         }
       },
       "K003"},
      {"E and N exchanged, and a frame of the block's own",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Pos = {};
         MoveImages(block, 50000, 0.1);
         for (SurveyPoint& point : block.Control.Points) std::swap(point.P[0], point.P[1]);
       },
       "K002"},
      {"exchanged in a frame of the block's own",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Pos = {};
         MoveImages(block, 50000, 0.1);
         std::swap(block.Control.Points[0].P, block.Control.Points[4].P);
       },
       "K014 K007"},
      {"nothing fits",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (size_t i = 0; i < block.Control.Points.size(); ++i) {
           for (size_t k = 0; k < 3; ++k)
             block.Control.Points[i].P[k] = 3000 * std::sin(5.0 * i * i + 2.0 * k + 1);
         }
       },
       "K013"},
  };
  for (const Case& each : cases) Expect(each);
}

/// Control points made of tie points near a place.
void ControlNear(SurveyBlock& block, double reachX, double reachY) {
  AddControl(block, 400);
  const auto middle = block.Images[8].S;
  std::erase_if(block.Control.Points, [&](const SurveyPoint& point) {
    return std::fabs(point.P[0] - middle[0]) > reachX || std::fabs(point.P[1] - middle[1]) > reachY;
  });
}

TEST(BlockCheck, ControlTogether) {
  SyntheticOptions options = Options();
  options.fHeading = options.fRelief = 0;
  options.nControlPoints = options.nCheckPoints = 0;
  options.fForwardOverlap = 80;
  options.fSideOverlap = 60;
  const SurveyBlock sound = ReadGenerated(options);
  struct Row {
    double fX, fY;
    const char* szCodes;
  };
  for (const Row& row : {Row{200, 200, "K011"}, Row{4000, 4000, ""}}) {
    SurveyBlock block = sound;
    ControlNear(block, row.fX, row.fY);
    ASSERT_GE(block.Control.Points.size(), 4u);
    EXPECT_EQ(Remedies(block).substr(0, 4), row.szCodes);
  }
  for (const size_t count : {3u, 4u}) {
    SurveyBlock block = sound;
    AddControl(block, 400);
    std::ranges::sort(block.Control.Points, {},
                      [&](const SurveyPoint& point) { return std::fabs(point.P[1] - block.Images[8].S[1]); });
    // Points of one line to the metre, over a block of kilometres.
    block.Control.Points.resize(count);
    EXPECT_EQ(Remedies(block).substr(0, 4), count == 3 ? "K010" : "K009");
  }
}

TEST(BlockCheck, Positions) {
  const Case cases[] = {
      {"strip 0", [](SurveyBlock& block, AdjustmentSettings&) { block.Pos[4].nStrip = 0; }, "P020"},
      {"strip below 0", [](SurveyBlock& block, AdjustmentSettings&) { block.Pos[4].nStrip = -3; }, "P020"},
      {"alone", [](SurveyBlock& block, AdjustmentSettings&) { block.Pos[4].nStrip = 77; }, "P019"},
      {"no angles",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (SurveyPos& pos : block.Pos) pos.dOmega = pos.dPhi = pos.dKappa = 0;
       },
       "P007"},
      {"no angles, applied",
       [](SurveyBlock& block, AdjustmentSettings& settings) {
         for (SurveyPos& pos : block.Pos) pos.dOmega = pos.dPhi = pos.dKappa = 0;
         settings.Apply_IMU_Data = true;
       },
       "P008"},
      {"angles of nothing",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (size_t i = 0; i < block.Pos.size(); ++i) block.Pos[i].dKappa += 50 * std::sin(3.0 * i * i);
       },
       "P006"},
      {"exchanged",
       [](SurveyBlock& block, AdjustmentSettings&) { std::swap(block.Pos[2].S, block.Pos[9].S); }, "P016"},
      {"without control, heights of another kind",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Control = {};
         for (SurveyPos& pos : block.Pos) pos.S[2] += 60;
       },
       "P015"},
      {"nothing fits",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (size_t i = 0; i < block.Pos.size(); ++i) {
           for (size_t k = 0; k < 3; ++k) block.Pos[i].S[k] = 3000 * std::sin(5.0 * i * i + 2.0 * k + 1);
         }
       },
       "P018"},
      {"positions of 0 are none",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (SurveyPos& pos : block.Pos) pos.S = {};
       },
       ""},
      {"a position of 0", [](SurveyBlock& block, AdjustmentSettings&) { block.Pos[3].S = {}; }, "P022"},
      {"positions of 0, and applied",
       [](SurveyBlock& block, AdjustmentSettings& settings) {
         settings.Apply_GPS_Data = true;
         block.Pos.resize(4);
         for (SurveyPos& pos : block.Pos) pos.S = {}, pos.nStrip = 1;
       },
       "P022 P022 P022 P022"},
      {"heights of positions of another kind, in the frame of the control",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (SurveyPos& pos : block.Pos) pos.S[2] += 33;
       },
       "P014"},
      {"one far off its place", [](SurveyBlock& block, AdjustmentSettings&) { block.Pos[3].S[1] += 100; },
       "P017"},
      {"all of them below strip 0, applied",
       [](SurveyBlock& block, AdjustmentSettings& settings) {
         settings.Apply_GPS_Data = true;
         for (SurveyPos& pos : block.Pos) pos.nStrip = -1;
       },
       "P020 P021"},
      {"strips 0 alone",
       [](SurveyBlock& block, AdjustmentSettings& settings) {
         settings.Apply_GPS_Data = true;
         for (SurveyPos& pos : block.Pos) pos.nStrip = 0;
       },
       "P020"},
  };
  for (const Case& each : cases) Expect(each);
}

/// Images from a circle about a place, half down.
SurveyBlock ObliqueRing() {
  SurveyBlock block;
  block.Cameras.push_back({0, 4000, 3000, 3600});
  for (int i = 0; i < 12; ++i) {
    const double angle = 0.52 * i, c = std::cos(angle), s = std::sin(angle), h = std::sqrt(0.5);
    SurveyImage image;
    image.nCamera = 0;
    image.S = {100 * c, 100 * s, 100};
    image.R = {-s, -h * c, h * c, c, -h * s, h * s, 0, h, h};
    block.Images.push_back(image);
  }
  for (int k = 0; k < 80; ++k) {
    SurveyPoint point;
    const std::array<double, 3> P = {40 * std::sin(7.0 * k), 40 * std::cos(3.0 * k), 10 * std::sin(5.0 * k)};
    point.nFirstMeasurement = static_cast<int64_t>(block.Tie.Measurements.size());
    for (int i = 0; i < 12; ++i) {
      const SurveyImage& image = block.Images[static_cast<size_t>(i)];
      double b[3] = {};
      for (size_t column = 0; column < 3; ++column) {
        for (size_t row = 0; row < 3; ++row) b[column] += image.R[3 * row + column] * (P[row] - image.S[row]);
      }
      block.Tie.Measurements.push_back({i, -3600 * b[0] / b[2], -3600 * b[1] / b[2]});
    }
    point.nMeasurementNum = 12;
    block.Tie.Points.push_back(point);
  }
  return block;
}

TEST(BlockCheck, ObliqueViews) {
  SurveyBlock block = ObliqueRing();
  EXPECT_EQ(Codes(block), "");
  AddControl(block, 6);
  EXPECT_EQ(Codes(block), "");
  for (SurveyMeasurement& measurement : block.Tie.Measurements) measurement.y = -measurement.y;
  EXPECT_EQ(Codes(block), "C001");
}

/// Frames of reconstructions have any axis up.
TEST(BlockCheck, FrameWithAnotherAxisUp) {
  const auto turn = [](SurveyBlock& block, double angle) {
    block.Pos = {};
    const double c = std::cos(angle), s = std::sin(angle);
    const Rotation3 Q = {1, 0, 0, 0, c, -s, 0, s, c};
    for (SurveyImage& image : block.Images) {
      image.R = Multiply(Q, image.R);
      const auto S = image.S;
      for (size_t row = 0; row < 3; ++row)
        image.S[row] = Q[3 * row] * S[0] + Q[3 * row + 1] * S[1] + Q[3 * row + 2] * S[2];
    }
  };
  const Case cases[] = {
      {"20 degrees", [&](SurveyBlock& block, AdjustmentSettings&) { turn(block, 0.35); }, "K014"},
      {"Y up", [&](SurveyBlock& block, AdjustmentSettings&) { turn(block, 1.5708); }, "K014"},
      {"Z down", [&](SurveyBlock& block, AdjustmentSettings&) { turn(block, 3.1); }, "K016"},
      {"Y up, E and N exchanged",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         turn(block, 1.5708);
         for (SurveyPoint& point : block.Control.Points) std::swap(point.P[0], point.P[1]);
       },
       "K002"},
  };
  for (const Case& each : cases) Expect(each);
}

/// Values that no block has are no reason to stumble.
TEST(BlockCheck, OddValues) {
  EXPECT_EQ(Codes({}), "");
  const double odd[] = {NAN, HUGE_VAL, -HUGE_VAL, 0, 1e300, -1e-300};
  for (const double value : odd) {
    for (int place = 0; place < 8; ++place) {
      SurveyBlock block = Sound();
      for (SurveyImage& image : block.Images) {
        if (place == 0) image.S[0] = value;
        if (place == 1) image.R.fill(value);
      }
      for (SurveyMeasurement& measurement : block.Tie.Measurements) {
        if (place == 2) measurement.x = value;
        if (place == 3) measurement.nImage = measurement.nImage % 2 == 0 ? -1 : 1000000;
      }
      for (SurveyCamera& camera : block.Cameras) {
        if (place == 4) camera.dFocal = value;
        if (place == 5) camera.dK2 = value;
      }
      for (SurveyPoint& point : block.Control.Points) {
        if (place == 6) point.P = {value, value, value};
      }
      for (SurveyPos& pos : block.Pos) {
        if (place == 7) pos.S = {value, 1, 2}, pos.dKappa = value;
      }
      const std::string codes = Codes(block);
      EXPECT_TRUE(codes.size() % 5 == 4 || codes.empty()) << codes;
    }
  }
}

}  // namespace
}  // namespace orvo::test
