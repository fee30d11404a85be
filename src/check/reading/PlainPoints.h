// Points of a text in which nothing is wrong, read in pieces by several threads.
#pragma once

#include <cstdint>
#include <string>

#include "records/SurveyBlock.h"

namespace orvo {

/// Where the points of a text begin or end.
struct PointsPlace {
  int64_t nByte = 0;
  int64_t nLine = 0;  ///< of the line before it, from 1
};

/// Reads `pointNum` points from `place` on, which becomes the place behind them; only blank lines may follow.
/// False, with `points` empty and `place` left alone, where anything is not as it should be: then they are to
/// be read line by line.
bool ReadPlainPoints(const std::string& path, int64_t pointNum, int64_t imageNum, PointsPlace& place,
                     SurveyPoints& points);

}  // namespace orvo
