#include "exchange/ExchangeOptions.h"

#include <gtest/gtest.h>

namespace orvo::exchange {
namespace {

TEST(ExchangeOptions, NamesLeadBackToTheirValues) {
  for (const DistortionMode mode : {DistortionMode::Correct, DistortionMode::Fit, DistortionMode::Drop}) {
    EXPECT_EQ(DistortionModeOf(NameOf(mode)), mode);
  }
  for (const FrameKind kind : {FrameKind::AsIs, FrameKind::Projected, FrameKind::Topocentric}) {
    EXPECT_EQ(FrameKindOf(NameOf(kind)), kind);
  }
  EXPECT_EQ(CameraChoiceOf("pinhole"), CameraChoice::Pinhole);
  EXPECT_FALSE(DistortionModeOf("Correct"));
  EXPECT_FALSE(FrameKindOf(""));
  EXPECT_FALSE(CameraChoiceOf("brown"));
}

}  // namespace
}  // namespace orvo::exchange
