// A real model through the form "opensfm": nothing of it changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "exchange/Forms.h"
#include "exchange/LensModels.h"
#include "exchange/StrictResiduals.h"
#include "exchange/opensfm/OpenSfm.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

/// Of measured pixels, with points and cameras as they are.
ResidualSums ResidualsOf(ForeignModel& model) {
  ResidualSums sums;
  model.Points->Rewind();
  for (StreamPoint point; model.Points->Next(point);) {
    std::vector<ImageVector> residuals;
    for (const SurveyMeasurement& measured : point.Measurements) {
      const SurveyImage& image = model.Images[static_cast<size_t>(measured.nImage)];
      const ForeignCamera& camera = model.Cameras[static_cast<size_t>(image.nCamera)];
      std::array<double, 3> c{};
      for (size_t j = 0; j < 9; ++j) c[j % 3] += image.R[j] * (point.P[j / 3] - image.S[j / 3]);
      const LensPoint pixel = PixelOf(camera, {c[0] / -c[2], -c[1] / -c[2]});
      residuals.push_back(
          {measured.x - (pixel.u - camera.nWidth / 2.0), measured.y - (camera.nHeight / 2.0 - pixel.v)});
    }
    sums.Add(residuals);
  }
  return sums;
}

TEST(OpenSfmData, ColmapModelThereAndBack) {
  const auto cameras = test::SharedData("exchange/sceaux/txt/cameras.txt");
  if (!cameras) GTEST_SKIP() << "the shared data set exchange/sceaux is not at hand";
  const test::ScratchFolder folder;
  ExchangeLog log;
  ImportOptions from;
  from.szForm = "colmap";
  from.szSource = cameras->substr(0, cameras->rfind('/'));
  ExportOptions to;
  to.szForm = "opensfm";
  to.szOut = folder / "out";
  ConvertForm(from, to, log);
  ForeignModel given = FindForm("colmap")->ReadModel(from, log);
  ImportOptions again;
  again.szSource = folder / "out";
  ForeignModel found = ReadOpenSfm(again, log);
  ASSERT_EQ(found.Images.size(), 11u);
  EXPECT_EQ(found.Cameras[0].szModel, "simple_radial");
  const ResidualSums before = ResidualsOf(given), after = ResidualsOf(found);
  EXPECT_EQ(after.nNum, 37123);
  EXPECT_NEAR(after.RmsX(), 0.503108, 1e-6);
  EXPECT_NEAR(after.RmsY(), 0.619236, 1e-6);
  EXPECT_NEAR(after.MeanNorm(), 0.628503, 1e-6);
  EXPECT_NEAR(after.RmsX(), before.RmsX(), 1e-9);
  EXPECT_NEAR(after.RmsY(), before.RmsY(), 1e-9);
  double most = 0;
  given.Points->Rewind(), found.Points->Rewind();
  StreamPoint one, other;
  while (given.Points->Next(one)) {
    ASSERT_TRUE(found.Points->Next(other));
    ASSERT_EQ(one.szName, other.szName);
    ASSERT_EQ(one.Measurements.size(), other.Measurements.size());
    for (size_t i = 0; i < one.Measurements.size(); ++i) {
      ASSERT_EQ(given.Images[static_cast<size_t>(one.Measurements[i].nImage)].szPath,
                found.Images[static_cast<size_t>(other.Measurements[i].nImage)].szPath);
      most = std::max({most, std::abs(one.Measurements[i].x - other.Measurements[i].x),
                       std::abs(one.Measurements[i].y - other.Measurements[i].y)});
    }
  }
  EXPECT_LT(most, 1e-9);
}

}  // namespace
}  // namespace orvo::exchange
