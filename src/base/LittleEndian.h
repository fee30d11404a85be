// Numbers as binary files have them: the lowest byte first, whatever the machine.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace orvo {

template <typename Number>
void AppendLittle(std::string& out, Number value) {
  static_assert(std::is_arithmetic_v<Number>);
  if constexpr (std::is_same_v<Number, double>) {
    AppendLittle(out, std::bit_cast<uint64_t>(value));
  } else if constexpr (std::is_same_v<Number, float>) {
    AppendLittle(out, std::bit_cast<uint32_t>(value));
  } else {
    auto bits = static_cast<std::make_unsigned_t<Number>>(value);
    for (size_t k = 0; k < sizeof(Number); ++k) {
      out.push_back(static_cast<char>(static_cast<uint64_t>(bits) >> (8 * k) & 0xff));
    }
  }
}

/// `text` cut or filled with zero bytes to `width`.
inline void AppendFilled(std::string& out, std::string_view text, size_t width) {
  const std::string_view kept = text.substr(0, width);
  out.append(kept);
  out.append(width - kept.size(), '\0');
}

}  // namespace orvo
