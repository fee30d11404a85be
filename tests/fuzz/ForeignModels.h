// What the targets of foreign models do with a model.
#pragma once

#include <cmath>
#include <string>

#include "exchange/ExchangeFault.h"
#include "exchange/ResultModel.h"
#include "fuzz/Target.h"

namespace orvo::test {

/// Reads all of it and brings it into a block; what comes out has to be sound.
template <class Read>
void TakeForeignModel(const Read& read, const std::string& source) {
  exchange::ExchangeLog log;
  exchange::ImportOptions options;
  options.szSource = source;
  exchange::ResultBlock block;
  try {
    exchange::ForeignModel model = read(options, log);
    options.Distortion = exchange::DistortionMode::Correct;
    block = ResultOfModel(model, options, log);
  } catch (const exchange::ExchangeFault& fault) {
    if (fault.What.szWhat.empty()) Require("a fault without a word");
    return;
  }
  for (const SurveyImage& image : block.Block.Images) {
    if (image.nCamera < 0 || static_cast<size_t>(image.nCamera) >= block.Block.Cameras.size()) {
      Require("an image without a camera");
    }
  }
  for (const SurveyMeasurement& measurement : block.Block.Tie.Measurements) {
    if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= block.Block.Images.size()) {
      Require("a measurement outside the block");
    }
    if (!std::isfinite(measurement.x) || !std::isfinite(measurement.y)) Require("a measurement in no place");
  }
}

}  // namespace orvo::test
