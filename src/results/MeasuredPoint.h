// One object point of a text form with its measurements, as the result writers read it again.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "block/Records.h"
#include "block/TextReader.h"

namespace orvo {

/// The way from the ordinals of a file to the tables in memory.
struct ImageLookup {
  std::span<const int32_t> ImageIndex;   ///< project image ordinal -> row of Eop, -1 deleted
  std::span<const int32_t> ImageCamera;  ///< project image ordinal -> project camera ordinal
  std::span<const int32_t> CameraIndex;  ///< project camera ordinal -> row of Iop, -1 deleted
  std::span<const EopRecord> Eop;        ///< kept images
  std::span<const IopRecord> Iop;        ///< kept cameras
  double fImageScale = 1.0;              ///< file image units to working units

  /// Row of Eop; -1 for a deleted image and for an ordinal that no image has.
  int32_t KeptImage(int64_t ordinal) const;
  /// Row of Iop, likewise.
  int32_t KeptCamera(int64_t ordinal) const;
};

struct MeasuredPoint {
  ObjectPointRecord Record;  ///< coordinates as in the file
  std::vector<ImagePointRecord> Measurements;
  std::vector<int32_t> ImageOrdinals;  ///< of each measurement, as in the file

  /// Reads point line and count line; the number of measurement lines that follow.
  int32_t ReadHead(TextReader& file);
  /// Reads up to `count` measurement lines, fewer where the file ends. What can take no part in a computation
  /// (an image or camera that is not kept, a line without its three fields, a coordinate that is no number, a
  /// control point without a place) gets nImage -1.
  void ReadMeasurements(TextReader& file, int32_t count, const ImageLookup& lookup);
};

}  // namespace orvo
