// What tells whether a file is still the one that was read.
#pragma once

#include <span>
#include <string>

namespace orvo::exchange {

/// "crc32:" and eight hexadecimal digits over the files, one behind the other, by the polynomial of ISO-HDLC.
/// Throws ExchangeFault.
std::string ChecksumOf(std::span<const std::string> files);

}  // namespace orvo::exchange
