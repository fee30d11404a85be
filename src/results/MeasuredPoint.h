// One object point of a text form with its measurements, as the result writers read it again.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/TextReader.h"
#include "block/Measurement.h"
#include "records/Records.h"

namespace orvo {

struct MeasuredPoint {
  ObjectPointRecord Record;  ///< coordinates as in the file
  std::vector<ImagePointRecord> Measurements;
  std::vector<int32_t> ImageOrdinals;  ///< of each measurement, as in the file

  /// Reads point line and count line; the number of measurement lines that follow.
  int32_t ReadHead(TextReader& file);
  /// Reads up to `count` measurement lines, fewer where the file ends. `references`: by project image
  /// ordinal; `imageScale`: file image units to working units. What can take no part in a computation (an
  /// image or camera that is not kept, a line without its three fields, a coordinate that is no number, a
  /// control or check point without a place) gets nImage -1.
  void ReadMeasurements(TextReader& file, int32_t count, std::span<const ImageReference> references,
                        double imageScale);
};

}  // namespace orvo
