#include "base/NumberText.h"

#include <charconv>

#include "base/FixedFormat.h"

namespace orvo {
namespace {

void AppendReal(std::string& out, double value, size_t width, int precision, std::chars_format format) {
  char text[kMaxFixedDouble + 20];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value, format, precision);
  AppendPadded(out, {text, end}, width);
}

}  // namespace

void AppendPadded(std::string& out, std::string_view text, size_t width) {
  if (text.size() < width) out.append(width - text.size(), ' ');
  out.append(text);
}

void AppendInt(std::string& out, int64_t value, size_t width) {
  char text[24];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value);
  AppendPadded(out, {text, end}, width);
}

void AppendFixed(std::string& out, double value, size_t width, int precision) {
  AppendReal(out, value, width, precision, std::chars_format::fixed);
}

void AppendFixed(std::string& out, double value) {
  char text[kMaxFixedDouble];
  out.append(text, WriteFixed(text, value));
}

void AppendScientific(std::string& out, double value, size_t width, int precision) {
  AppendReal(out, value, width, precision, std::chars_format::scientific);
}

}  // namespace orvo
