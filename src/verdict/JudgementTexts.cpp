#include "verdict/JudgementTexts.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "base/PrintableName.h"

namespace orvo {
namespace {

constexpr size_t kNamesTold = 5;

}  // namespace

std::string Format(const char* format, ...) {
  char text[512];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

std::string NameList(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < std::min(names.size(), kNamesTold); ++i) {
    text += (i > 0 ? ", " : "") + PrintableName(names[i]);
  }
  if (names.size() > kNamesTold) text += " and " + std::to_string(names.size() - kNamesTold) + " more";
  return text;
}

}  // namespace orvo
