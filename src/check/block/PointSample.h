// A few of many points.
#pragma once

#include <cstdint>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

/// Ordinals of up to `count` points with two measurements or more, one from each of `count` equal runs of the
/// list: the one with the most measurements, but none is preferred for more than eight. Points of a block
/// stand by place or in no order at all, so the sample spreads over it.
std::vector<size_t> SampleOfManyRays(const SurveyPoints& points, size_t count);

/// The same without preference: the first of each run.
std::vector<size_t> EvenSample(const SurveyPoints& points, size_t count);

}  // namespace orvo
