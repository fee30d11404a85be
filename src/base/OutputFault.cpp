#include "base/OutputFault.h"

#include <system_error>

namespace orvo {

std::string OutputFault::Reason() const { return std::generic_category().message(nError); }

}  // namespace orvo
