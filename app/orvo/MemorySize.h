// Amounts of memory as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orvo {

/// "200K", "1.5G", "4096": a decimal number, and K, M, G or T (either case) for powers of 1024. Nothing when
/// the text is anything else, below one byte or above 2^60.
std::optional<int64_t> ParseMemorySize(std::string_view text);

}  // namespace orvo
