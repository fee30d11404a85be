// Ids of cameras and images on their way between forms that take different ones.
#pragma once

#include <cstdint>
#include <vector>

#include "exchange/ForeignModel.h"

namespace orvo::exchange {

/// The id that the program has for an image.
int64_t IdOfImage(const ForeignModel& model, size_t image);

struct IdRange {
  int64_t nLeast = 0, nMost = 0;
};

/// Ids out of the range, and those that came before in the list, get the smallest free ones of the range; the
/// others stay. Returns how many were replaced.
int64_t ReplaceIds(const IdRange& range, std::vector<int64_t>& ids);

}  // namespace orvo::exchange
