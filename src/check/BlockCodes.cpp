#include "check/Codes.h"

namespace orvo {

std::span<const CodeEntry> BlockCodes() { return {}; }

}  // namespace orvo
