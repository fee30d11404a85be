// Bulk output of text with numbers of fixed decimals, gathered into large writes.
#pragma once

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <string_view>

#include "base/TextWriter.h"

namespace orvo {

class FixedText {
 public:
  explicit FixedText(TextWriter& writer) : Writer(writer) {}
  ~FixedText() { Flush(); }
  FixedText(const FixedText&) = delete;
  FixedText& operator=(const FixedText&) = delete;

  void Text(std::string_view text) {
    if (Buffer.size() > kFlushBytes) Flush();
    Buffer.append(text.data(), text.data() + text.size());
  }
  void Int(int64_t value) {
    const fmt::format_int digits(value);
    Text({digits.data(), digits.size()});
  }
  /// The value times 10^decimals, rounded to an integer, with its decimal point; the product must stay below
  /// 9e18. A sixth of the time of a general conversion.
  void Fixed(double value, int decimals) {
    static constexpr int64_t kPowers[] = {1,      10,      100,      1000,      10000,
                                          100000, 1000000, 10000000, 100000000, 1000000000};
    const int64_t power = kPowers[decimals];
    const int64_t scaled = std::llround(value * static_cast<double>(power));
    const auto magnitude = static_cast<uint64_t>(scaled < 0 ? -scaled : scaled);
    char text[32];
    char* end = text + sizeof text;
    char* head = end;
    uint64_t rest = magnitude;
    for (int i = 0; i < decimals; ++i, rest /= 10) *--head = static_cast<char>('0' + rest % 10);
    if (decimals > 0) *--head = '.';
    do *--head = static_cast<char>('0' + rest % 10);
    while ((rest /= 10) != 0);
    if (scaled < 0) *--head = '-';
    Text({head, static_cast<size_t>(end - head)});
  }
  template <typename... Arguments>
  void Format(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    if (Buffer.size() > kFlushBytes) Flush();
    fmt::format_to(std::back_inserter(Buffer), format, std::forward<Arguments>(arguments)...);
  }
  void Flush() {
    Writer.Write({Buffer.data(), Buffer.size()});
    Buffer.clear();
  }

 private:
  static constexpr size_t kFlushBytes = size_t{1} << 18;
  TextWriter& Writer;
  fmt::memory_buffer Buffer;
};

}  // namespace orvo
