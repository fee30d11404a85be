// Texts as the C library prints them: what every writer is compared with.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace orvo::test {

inline std::string Print(const char* format, ...) __attribute__((format(printf, 1, 2)));

inline std::string Print(const char* format, ...) {
  char text[4096];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return {text, static_cast<size_t>(length)};
}

}  // namespace orvo::test
