// What the weights of a run mean in its block, and what memory it will plan for.
#pragma once

#include "check/BlockCheck.h"

namespace orvo {

/// Notes what the weights in use say of GPS positions, angles and control points in object units and degrees,
/// beside measurements that are good to half a pixel.
void TellWeights(const BlockCheckInput& input, Diagnosis& diagnosis);

/// Notes what points and equations will take, and in how many sections a run with `freeBytes` of memory reads
/// the points; an error where it would be refused for that.
void ReckonMemory(const BlockCheckInput& input, int64_t freeBytes, Diagnosis& diagnosis);

}  // namespace orvo
