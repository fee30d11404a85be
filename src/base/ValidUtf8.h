// Text of any bytes on its way to forms that are UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace orvo {

/// The text with every byte that is part of no UTF-8 character written as \xNN, so that names in another
/// encoding still differ. What is UTF-8 stays as it is, control characters too.
std::string ValidUtf8(std::string_view text);

}  // namespace orvo
