// Tables for spreadsheets, and the file of the cameras.
#include "exchange/views/Tables.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "exchange/Angles.h"
#include "exchange/VerticalBlock.h"
#include "exchange/WrittenText.h"
#include "exchange/views/CameraFile.h"

namespace orvo::test {
namespace {

using namespace exchange;

TEST(Tables, FieldsAreQuotedWhereTheyHaveTo) {
  struct Case {
    const char *szText, *szField;
  };
  const Case cases[] = {{"IMG_1", "IMG_1"},   {"", ""},      {"a,b", "\"a,b\""}, {"a\"b", "\"a\"\"b\""},
                        {"a\nb", "\"a\nb\""}, {"a b", "a b"}};
  for (const Case& each : cases) {
    std::string out;
    AppendField(out, each.szText);
    EXPECT_EQ(out, each.szField);
  }
}

/// Two images 200 apart, 1000 above the ground, and one that nothing is measured in.
class TwoImages : public ::testing::Test {
 protected:
  TwoImages() {
    VerticalLayout layout;
    layout.nStrips = 1;
    layout.nImages = 2;
    Block = MakeVerticalBlock(layout);
    Block.Tie = {};
    AddPoint(Block, Block.Tie, "A", {100, 0, 50}, 0);
    // Half a pixel of parallax in y: residuals of 0.5 and -0.5.
    Block.Tie.Measurements[0].y += 0.5;
    Block.Tie.Measurements[1].y -= 0.5;
    AddPoint(Block, Block.Tie, "once", {-290, 0, 50}, 0);
    AddPoint(Block, Block.Control, "C", {80, 20, 40}, 1);
    AddPoint(Block, Block.Control, "far", {-290, 20, 40}, 2);
    Block.Control.Points[0].P = {80, 20.25, 39.5};
    Block.Images.push_back(Block.Images[0]);
    Block.Images.back().szName = "left, too";
    Block.Images.back().nCamera = 0;
    // Standard omega, phi, kappa of 2, 3, 45 degrees.
    Block.Images.back().R = RotationOfDegrees(AngleSystem::Standard, {2, 3, 45});
  }
  SurveyBlock Block;
};

TEST_F(TwoImages, Orientations) {
  const std::string text = Written([&](TextWriter& file) { WriteOrientations(ViewOf(Block), file); });
  EXPECT_EQ(
      text,
      "image,path,camera,X,Y,Z,orvo_phi,orvo_omega,orvo_kappa,omega,phi,kappa,measurements,rms_x,rms_y\n"
      "IMG_100,images/IMG_100.jpg,0,0.000000,0.000000,1050.000000,"
      "0.000000000,0.000000000,0.000000000,0.000000000,0.000000000,0.000000000,2,0.0000,0.3536\n"
      "IMG_101,images/IMG_101.jpg,0,200.000000,0.000000,1050.000000,"
      "0.000000000,0.000000000,0.000000000,0.000000000,0.000000000,0.000000000,2,0.0000,0.3536\n"
      "\"left, too\",images/IMG_100.jpg,0,0.000000,0.000000,1050.000000,"
      "-3.001825289,1.997257958,45.104714330,2.000000000,3.000000000,45.000000000,0,,\n");
}

TEST_F(TwoImages, PointsAndControl) {
  EXPECT_EQ(Written([&](TextWriter& file) { WritePoints(ViewOf(Block), file); }),
            "point,X,Y,Z,rays,rms\nA,100.000000,0.000000,50.000000,2,0.3536\n");
  EXPECT_EQ(Written([&](TextWriter& file) { WriteControl(ViewOf(Block), file); }),
            "point,role,X,Y,Z,dX,dY,dZ,rays,rms\n"
            "C,control,80.000000,20.250000,39.500000,0.000000,-0.250000,0.500000,2,0.0000\n"
            "far,check,-290.000000,20.000000,40.000000,,,,1,\n");
}

TEST_F(TwoImages, Residuals) {
  EXPECT_EQ(Written([&](TextWriter& file) { WriteResiduals(ViewOf(Block), file); }),
            "point,role,image,x,y,vx,vy\n"
            "A,tie,IMG_100,500.0000,0.5000,0.0000,0.5000\n"
            "A,tie,IMG_101,-500.0000,-0.5000,0.0000,-0.5000\n"
            "C,control,IMG_100,396.0396,99.0099,0.0000,0.0000\n"
            "C,control,IMG_101,-594.0594,99.0099,0.0000,0.0000\n");
}

TEST_F(TwoImages, Cameras) {
  Block.Cameras[0].dK1 = -5.524530325465e-09;
  EXPECT_EQ(Written([&](TextWriter& file) { WriteCameras(Block, file); }),
            "camera,id,width,height,f,x0,y0,k1,k2,k3,p1,p2,b1,b2\n"
            "0,7,3000,4000,5000,0,0,-5.524530325465e-09,0,0,0,0,0,0\n");
  const auto json = nlohmann::json::parse(CameraFileText(Block, 4));
  ASSERT_EQ(json["cameras"].size(), 1u);
  const auto& camera = json["cameras"][0];
  EXPECT_EQ(camera["images"], 3);
  EXPECT_DOUBLE_EQ(camera["f_px"], 5000);
  EXPECT_DOUBLE_EQ(camera["f_mm"], 20);
  EXPECT_DOUBLE_EQ(camera["k1_per_mm2"], -5.524530325465e-09 / 16e-6);
  // The corner is 2500 pixels off; 2500 times 5.52...e-9 times 6.25e6 outwards.
  EXPECT_DOUBLE_EQ(camera["distortion"][9]["radius_px"], 2500);
  EXPECT_NEAR(camera["distortion"][9]["correction_px"], 86.32, 0.01);
  EXPECT_FALSE(nlohmann::json::parse(CameraFileText(Block, 0))["cameras"][0].contains("f_mm"));
  EXPECT_FALSE(camera.contains("k3_per_px6"));
}

TEST_F(TwoImages, FurtherTermsOfACamera) {
  Block.Cameras[0].Further = {2e-22, 1e-8, -2e-8, 3e-4, -4e-4};
  EXPECT_EQ(Written([&](TextWriter& file) { WriteCameras(Block, file); }),
            "camera,id,width,height,f,x0,y0,k1,k2,k3,p1,p2,b1,b2\n"
            "0,7,3000,4000,5000,0,0,0,0,2e-22,1e-08,-2e-08,0.0003,-0.0004\n");
  const auto camera = nlohmann::json::parse(CameraFileText(Block, 4))["cameras"][0];
  EXPECT_DOUBLE_EQ(camera["k3_per_px6"], 2e-22);
  EXPECT_DOUBLE_EQ(camera["p2_per_px"], -2e-8);
  EXPECT_DOUBLE_EQ(camera["b2"], -4e-4);
  EXPECT_DOUBLE_EQ(camera["k3_per_mm6"], 2e-22 / std::pow(4e-3, 6));
  EXPECT_DOUBLE_EQ(camera["p1_per_mm"], 1e-8 / 4e-3);
  EXPECT_NEAR(camera["distortion"][9]["correction_px"], -2e-22 * std::pow(2500.0, 7), 1e-9);
}

}  // namespace
}  // namespace orvo::test
