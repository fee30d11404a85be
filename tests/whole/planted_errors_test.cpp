// Errors planted in generated blocks stand in summary.json where they belong, and nowhere else.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "whole/BlockChanges.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

// A field of residuals: y parallaxes, which no point and no camera parameter takes up.

constexpr double kFieldSize = 2;  ///< pixels
constexpr double kWidth = 8000;

double Wave(double x) { return std::sin(4 * std::numbers::pi * x / kWidth); }

SyntheticOptions TwoCameras() {
  SyntheticOptions options;
  options.nCameras = 2;
  options.fMeasurementsPerImage = 600;
  options.fNoise = 0.3;
  options.nControlPoints = options.nCheckPoints = 0;
  return options;
}

/// Adds the field to the measurements of a camera's images.
void PlantField(Block& block, int32_t camera) {
  ChangeProject(block, kMeasurements, [&](Fields& m) {
    const SyntheticImage& image = block.Truth().pImages.at(std::stoul(m.at(0)));
    if (image.nCamera == camera) Add(m.at(2), kFieldSize * Wave(std::stod(m.at(1))));
  });
}

/// How much of the wave is in the field of a camera, pixels: by least squares over its cells.
double WaveIn(const json& camera) {
  double product = 0, square = 0;
  for (size_t cell = 0; cell < 300; ++cell) {
    const double column = static_cast<double>(cell % 20);
    const double count = camera["field"].at(cell)[0], wave = Wave(((column + 0.5) / 20 - 0.5) * kWidth);
    product += count * wave * camera["field"][cell][2].get<double>();
    square += count * wave * wave;
  }
  EXPECT_GT(square, 1000);
  return product / square;
}

TEST(PlantedErrors, AFieldOfResidualsIsThatOfItsCamera) {
  for (const int32_t camera : {-1, 0, 1}) {
    Block block(TwoCameras());
    if (camera >= 0) PlantField(block, camera);
    block.Set("Set_IOP_Unknown", "true");
    const json summary = SummaryOfRun(block);
    ASSERT_EQ(summary["cameras"].size(), 2U);
    for (int32_t k = 0; k < 2; ++k) {
      const double wave = WaveIn(summary["cameras"][static_cast<size_t>(k)]);
      if (k == camera) {
        EXPECT_GT(wave, 0.4 * kFieldSize) << camera;
        EXPECT_LT(wave, kFieldSize) << camera;
      } else {
        EXPECT_LT(std::abs(wave), 0.05 * kFieldSize) << camera << k;
      }
    }
  }
}

// POS.

SyntheticOptions SoundPos() {
  SyntheticOptions options;
  options.fPosOffset = options.fPosDrift = 0;
  options.fPosNoise = 0.02;
  options.fNoise = 0.1;
  options.fSideOverlap = 60;
  options.nControlPoints = 20;
  options.fStartFocal = options.fStartPrincipal = 0;
  return options;
}

/// Moves the records of a strip by a metre in X.
void ShiftStrip(Block& block, int32_t strip) {
  Lines pos = ReadLines(block.Paths().szPos);
  for (size_t i = 0; i < block.Truth().pImages.size(); ++i) {
    if (block.Truth().pImages[i].nStrip == strip) Add(pos.at(i).at(1), 1);
  }
  WriteLines(block.Paths().szPos, pos);
}

/// The summary's POS of a run with a constant or with a linear drift of strips.
json PosOf(int32_t strip, bool constant) {
  Block block(SoundPos());
  if (strip >= 0) ShiftStrip(block, strip);
  block.Set("Apply_GPS_Data", "true");
  block.Set("Correct_Const_Error", constant ? "true" : "false");
  block.Set("Correct_LinearError", constant ? "false" : "true");
  block.Set("GCP_Accuracy", "0.01");
  // Worth a metre: the images alone have to hold a strip in its place.
  block.Set("GPS_Accuracy_XY", "100");
  block.Set("GPS_Accuracy_Z", "100");
  BlockRun run;
  run.bPos = true;
  const json summary = SummaryOfRun(block, run);
  EXPECT_EQ(summary["pos"]["strips"].size(), 4U);
  EXPECT_EQ(summary["pos"]["constant_drift"], constant);
  EXPECT_EQ(summary["pos"]["linear_drift"], !constant);
  return summary["pos"];
}

TEST(PlantedErrors, AWrongStripOffsetIsTheDriftOfItsStrip) {
  for (const int32_t strip : {-1, 2}) {
    const json pos = PosOf(strip, true);
    for (const json& drift : pos["strips"]) {
      const double planted = drift["strip"] == strip ? 1 : 0;
      EXPECT_NEAR(drift["constant"][0].get<double>(), planted, 0.15) << drift;
      EXPECT_NEAR(drift["constant"][1].get<double>(), 0, 0.15) << drift;
      EXPECT_LT(drift["rmse"][0].get<double>(), 0.15) << drift;
    }
  }
}

TEST(PlantedErrors, AWrongStripOffsetThatNoConstantTakesUpStaysInTheDifferences) {
  for (const int32_t strip : {-1, 2}) {
    const json pos = PosOf(strip, false);
    double square = 0;
    for (const json& drift : pos["strips"]) {
      EXPECT_EQ(drift["constant"][0], 0);
      EXPECT_EQ(drift["rmse"][0].get<double>() > 0.25, drift["strip"] == strip) << drift;
      square += drift["rmse"][0].get<double>() * drift["rmse"][0].get<double>() / 4;
    }
    EXPECT_NEAR(pos["rmse"][0].get<double>(), std::sqrt(square), 1e-9);
    double largest = 0;
    int32_t where = -1;
    for (const json& image : pos["images"]) {
      const double off = std::abs(image["difference"][0].get<double>());
      if (off > largest) where = image["strip"].get<int32_t>();
      largest = std::max(largest, off);
    }
    EXPECT_EQ(largest > 0.5, strip >= 0) << largest;
    if (strip >= 0) {
      EXPECT_EQ(where, strip);
    }
  }
}

// Control.

/// Which point's value is largest, and how many times that of the next.
struct Worst {
  std::string szName;
  double fValue = 0, fRatio = 0;
};

Worst WorstOf(const json& rows, const std::function<double(const json&)>& value) {
  std::vector<std::pair<double, std::string>> values;
  for (const json& row : rows) values.emplace_back(value(row), row["name"].get<std::string>());
  std::sort(values.rbegin(), values.rend());
  if (values.size() < 2) return {};
  return {values[0].second, values[0].first, values[0].first / values[1].first};
}

json ControlOf(double up) {
  SyntheticOptions options;
  options.nControlPoints = 12;
  options.nCheckPoints = 0;
  options.fNoise = 0.2;
  options.fSideOverlap = 60;
  Block block(options);
  ChangeGcp(block, [up](Lines& gcp, const auto& rows) { Add(gcp[rows.at(4)].at(3), up); });
  return SummaryOfRun(block)["ground"]["points"];
}

TEST(PlantedErrors, AControlPointThatIsTooHighIsTheWorst) {
  const auto height = [](const json& point) { return std::abs(point["difference"][2].get<double>()); };
  const auto pixels = [](const json& point) { return point["rmse"].get<double>(); };
  const json clean = ControlOf(0), wrong = ControlOf(0.5);
  EXPECT_LT(WorstOf(clean, height).fValue, 0.25);
  const Worst off = WorstOf(wrong, height), seen = WorstOf(wrong, pixels);
  EXPECT_EQ(off.szName, "G00004");
  EXPECT_GT(off.fValue, 0.3);
  EXPECT_GT(off.fRatio, 2);
  EXPECT_EQ(seen.szName, "G00004");
  EXPECT_GT(seen.fRatio, 1.3);
}

// Images.

json ImagesOf(double shift) {
  SyntheticOptions options;
  options.fNoise = 0.8;
  options.fMeasurementsPerImage = 200;
  // A turn of the image would take the shift up: here it stays where it is.
  options.fStartPosition = options.fStartAngle = 0;
  Block block(options);
  ChangeProject(block, kMeasurements, [shift](Fields& m) {
    if (m.at(0) == "10") Add(m.at(2), shift);
  });
  block.Set("Set_EOP_Unknown", "false");
  block.Set("Set_IOP_Unknown", "true");
  return SummaryOfRun(block)["images"];
}

TEST(PlantedErrors, AShiftedImageIsTheWorst) {
  const auto mean = [](const json& image) { return std::abs(image["mean"][1].get<double>()); };
  const auto rmse = [](const json& image) { return image["rmse"][1].get<double>(); };
  const json clean = ImagesOf(0), wrong = ImagesOf(3);
  ASSERT_EQ(wrong.size(), 32U);
  const std::string name = wrong[10]["name"];
  EXPECT_LT(WorstOf(clean, mean).fValue, 0.3);
  const Worst shifted = WorstOf(wrong, mean), worst = WorstOf(wrong, rmse);
  EXPECT_EQ(shifted.szName, name);
  EXPECT_GT(wrong[10]["mean"][1].get<double>(), 1);
  EXPECT_GT(shifted.fRatio, 1.5);
  EXPECT_EQ(worst.szName, name);
}

}  // namespace
}  // namespace orvo::test
