#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "support/Block.h"

namespace orvo::test {
namespace {

struct PosLine {
  std::string szName;
  double X, Y, Z, fOmega, fPhi, fKappa;  ///< degrees
  int nStrip;
};

std::vector<PosLine> ReadPos(const std::string& path) {
  std::ifstream in(path);
  std::vector<PosLine> lines;
  PosLine line;
  while (in >> line.szName >> line.X >> line.Y >> line.Z >> line.fOmega >> line.fPhi >> line.fKappa >>
         line.nStrip) {
    lines.push_back(line);
  }
  return lines;
}

constexpr double kDegree = kPi / 180;

TEST(PosFile, HasEveryImageByNameWithItsStrip) {
  SyntheticOptions options;
  options.nCrossStrips = 1;
  options.fPosNoise = options.fPosOffset = options.fPosDrift = options.fImuNoise = 0;
  const Block block(options);
  const std::vector<PosLine> pos = ReadPos(block.Paths().szPos);
  const auto& images = block.Truth().pImages;
  ASSERT_EQ(pos.size(), images.size());
  for (size_t i = 0; i < pos.size(); ++i) {
    EXPECT_EQ("images/" + pos[i].szName + ".jpg", ReadProjectFile(block.Paths().szOvc).pImages[i].szPath);
    EXPECT_EQ(pos[i].nStrip, images[i].nStrip + 1);
    EXPECT_NEAR(pos[i].X, images[i].X, 1e-6);
    EXPECT_NEAR(pos[i].Y, images[i].Y, 1e-6);
    EXPECT_NEAR(pos[i].Z, images[i].Z, 1e-6);
    EXPECT_NEAR(pos[i].fOmega, images[i].fOmega / kDegree, 1e-7);
    EXPECT_NEAR(pos[i].fPhi, images[i].fPhi / kDegree, 1e-7);
    EXPECT_NEAR(pos[i].fKappa, images[i].fKappa / kDegree, 1e-7);
  }
  EXPECT_EQ(pos.back().nStrip, 5);
}

TEST(PosFile, StripsAreOffByTheirOffsetAndDrift) {
  SyntheticOptions options;
  options.fPosNoise = options.fImuNoise = 0;
  options.fPosOffset = 2;
  options.fPosDrift = 0.05;
  options.fImuOffset = 0.1;
  options.fImuDrift = 0.002;
  options.fAircraftSpeed = 50;
  const Block block(options);
  const std::vector<PosLine> pos = ReadPos(block.Paths().szPos);
  const auto& images = block.Truth().pImages;
  ASSERT_EQ(pos.size(), images.size());
  for (size_t i = 0; i < pos.size(); ++i) {
    const size_t first = i / 8 * 8;  // of its strip
    const double dX = images[i].X - images[first].X, dY = images[i].Y - images[first].Y,
                 dZ = images[i].Z - images[first].Z;
    const double time = std::copysign(std::sqrt(dX * dX + dY * dY + dZ * dZ), dX) / 50;
    const SyntheticStripError& error = block.Truth().pStripErrors[i / 8];
    const double off[6] = {pos[i].X - images[i].X,
                           pos[i].Y - images[i].Y,
                           pos[i].Z - images[i].Z,
                           pos[i].fPhi * kDegree - images[i].fPhi,
                           pos[i].fOmega * kDegree - images[i].fOmega,
                           pos[i].fKappa * kDegree - images[i].fKappa};
    for (int k = 0; k < 6; ++k) {
      EXPECT_NEAR(off[k], error.fOffset[k] + time * error.fDrift[k], k < 3 ? 1e-6 : 1e-8) << i << " " << k;
    }
  }
  EXPECT_NE(block.Truth().pStripErrors[0].fOffset[0], block.Truth().pStripErrors[1].fOffset[0]);
}

TEST(PosFile, NoiseHasItsSigma) {
  SyntheticOptions options;
  options.nStrips = 10;
  options.nImagesPerStrip = 30;
  options.fMeasurementsPerImage = 5;
  options.fPosOffset = options.fPosDrift = 0;
  options.fPosNoise = 0.2;
  options.fImuNoise = 0.03;
  const Block block(options);
  const std::vector<PosLine> pos = ReadPos(block.Paths().szPos);
  const auto& images = block.Truth().pImages;
  double position = 0, angle = 0;
  for (size_t i = 0; i < pos.size(); ++i) {
    position += std::pow(pos[i].X - images[i].X, 2) + std::pow(pos[i].Y - images[i].Y, 2) +
                std::pow(pos[i].Z - images[i].Z, 2);
    angle += std::pow(pos[i].fPhi - images[i].fPhi / kDegree, 2) +
             std::pow(pos[i].fOmega - images[i].fOmega / kDegree, 2) +
             std::pow(pos[i].fKappa - images[i].fKappa / kDegree, 2);
  }
  const double count = 3.0 * static_cast<double>(pos.size()), bound = 5 / std::sqrt(2 * count);
  EXPECT_NEAR(std::sqrt(position / count), 0.2, 0.2 * bound);
  EXPECT_NEAR(std::sqrt(angle / count), 0.03, 0.03 * bound);
}

}  // namespace
}  // namespace orvo::test
