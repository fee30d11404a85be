#include "base/FixedFormat.h"

#include <cstdio>

namespace orvo::fixed_format {

char* WriteSlowly(char* out, double value) {
  char text[kMaxFixedDouble + 1];
  const int length = std::snprintf(text, sizeof text, "%12.6lf", value);
  std::memcpy(out, text, static_cast<size_t>(length));
  return out + length;
}

}  // namespace orvo::fixed_format
