// A file that nobody else can find.
#pragma once

#include <string>

namespace orvo {

/// Empty, open for reading and writing, gone when it is closed and with the process. Below 0 where it can't
/// be made, with errno.
int OpenUnnamedFile(const std::string& folder);

}  // namespace orvo
