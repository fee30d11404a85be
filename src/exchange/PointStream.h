// Points that come one after another, so that a block need not fit into memory.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// One point with its measurements, in the conventions of SurveyBlock.
struct StreamPoint {
  std::string szName;
  std::array<double, 3> P{};
  std::vector<SurveyMeasurement> Measurements;  ///< ordinals of images are within the block
};

class PointStream {
 public:
  virtual ~PointStream() = default;
  /// The next point; false behind the last one. Throws ExchangeFault.
  virtual bool Next(StreamPoint& point) = 0;
  /// Back to the first point.
  virtual void Rewind() = 0;
};

/// The tie points of a block in memory, which outlives the stream.
class SurveyPointStream : public PointStream {
 public:
  explicit SurveyPointStream(const SurveyPoints& points) : Points(points) {}
  bool Next(StreamPoint& point) override;
  void Rewind() override { nNext = 0; }

 private:
  const SurveyPoints& Points;
  size_t nNext = 0;
};

}  // namespace orvo::exchange
