// What must hold of a reconstruction that was read, and of the files that it is written to.
#pragma once

#include <cmath>
#include <string>

#include "exchange/ExchangeFault.h"
#include "exchange/opensfm/OpenSfm.h"

namespace orvo::test {

struct SfmCounts {
  int64_t nPoints = 0, nMeasurements = 0;
  bool operator==(const SfmCounts&) const = default;
};

/// Empty when all is well, else what is wrong.
inline std::string WhatIsWrongWithModel(exchange::ForeignModel& model, SfmCounts& counts) {
  for (const SurveyImage& image : model.Images) {
    if (image.nCamera < 0 || image.nCamera >= std::ssize(model.Cameras)) return "camera of an image";
    for (const double value : image.R) {
      if (!(std::abs(value) < 1.001)) return "rotation of an image";
    }
  }
  model.Points->Rewind();
  for (exchange::StreamPoint point; model.Points->Next(point); ++counts.nPoints) {
    counts.nMeasurements += std::ssize(point.Measurements);
    for (const SurveyMeasurement& measured : point.Measurements) {
      if (measured.nImage < 0 || measured.nImage >= std::ssize(model.Images)) return "image of a measurement";
      if (std::isnan(measured.x) || std::isnan(measured.y)) return "measurement";
    }
  }
  return {};
}

/// Reads the two files, and writes and reads again what came of them.
inline std::string ReadAndWriteOpenSfm(const std::string& json, const std::string& tracks,
                                       const std::string& out) {
  exchange::ExchangeLog log;
  exchange::ImportOptions import;
  import.szSource = json;
  import.szTracks = tracks;
  SfmCounts counts, again;
  exchange::ExportOptions options;
  options.szOut = out;
  try {
    exchange::ForeignModel model = exchange::ReadOpenSfm(import, log);
    const std::string wrong = WhatIsWrongWithModel(model, counts);
    if (!wrong.empty()) return wrong;
    exchange::WriteOpenSfm(model, options, log);
  } catch (const exchange::ExchangeFault&) {
    return {};
  }
  import.szSource = out;
  import.szTracks.clear();
  try {
    exchange::ForeignModel model = exchange::ReadOpenSfm(import, log);
    const std::string wrong = WhatIsWrongWithModel(model, again);
    if (!wrong.empty()) return wrong + ", when it was written";
  } catch (const exchange::ExchangeFault& fault) {
    return std::string("written and not readable: ") + fault.what();
  }
  return counts == again ? std::string() : "counts, when it was written";
}

}  // namespace orvo::test
