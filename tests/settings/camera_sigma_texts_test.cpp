#include "settings/CameraSigmaTexts.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

TEST(CameraSigmaTexts, AListIsReadAndWrittenByCamera) {
  CameraSigmas sigmas;
  EXPECT_EQ(ReadCameraSigmas(" 3=0.8\t 0=0.4 ", 1e-9, 1e9, sigmas), "");
  EXPECT_EQ(sigmas, (CameraSigmas{{0, 0.4}, {3, 0.8}}));
  EXPECT_EQ(CameraSigmaText(sigmas), "0=0.4 3=0.8");
  EXPECT_EQ(ReadCameraSigmas("none", 1e-9, 1e9, sigmas), "");
  EXPECT_TRUE(sigmas.empty());
  EXPECT_EQ(CameraSigmaText(sigmas), "none");
}

TEST(CameraSigmaTexts, WrongOnesSayWhyAndChangeNothing) {
  const std::string list = "no list of cameras: write none, or CAMERA=SIGMA for each: 0=0.4 1=0.8";
  const std::string range = " can have: a number from 1e-9 to 1e9";
  const struct {
    const char* text;
    std::string fault;
  } rows[] = {
      {"", list},
      {" ", list},
      {"0.4", list},
      {"None", list},
      {"-1=0.4", list},
      {"1.5=0.4", list},
      {"=0.4", list},
      {"99999999999=0.4", list},
      {"nadir=0.4", list},
      {"0 = 0.4", list},
      {"0=", "no number for camera 0"},
      {"0=0.4,1=0.8", "no number for camera 0"},
      {"1=nan", "no number for camera 1"},
      {"1=inf", "no number for camera 1"},
      {"1=1e999", "no number for camera 1"},
      {"1=0", "outside of what camera 1" + range},
      {"0=1 1=-0.4", "outside of what camera 1" + range},
      {"1=1e10", "outside of what camera 1" + range},
      {"0=1 1=2 0=1", "no list with each camera once: camera 0 stands there twice"},
  };
  for (const auto& row : rows) {
    CameraSigmas sigmas = {{7, 7}};
    EXPECT_EQ(ReadCameraSigmas(row.text, 1e-9, 1e9, sigmas), row.fault) << row.text;
    EXPECT_EQ(sigmas, (CameraSigmas{{7, 7}})) << row.text;
  }
}

}  // namespace
}  // namespace orvo::test
