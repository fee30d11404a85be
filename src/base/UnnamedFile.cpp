#include "base/UnnamedFile.h"

#include <unistd.h>

#include <cstdlib>

namespace orvo {

int OpenUnnamedFile(const std::string& folder) {
  std::string pattern = folder + "/.orvo-scratch-XXXXXX";
  const int handle = ::mkstemp(pattern.data());
  if (handle >= 0) ::unlink(pattern.c_str());
  return handle;
}

}  // namespace orvo
