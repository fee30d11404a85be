#include "base/FileBytes.h"

namespace orvo {

void FileBytes::Fill() {
  constexpr size_t kBlock = size_t{1} << 16;
  Buffer.resize(kBlock);
  const int64_t count = File.ReadAt(nOffset, Buffer.data(), static_cast<int64_t>(kBlock));
  Buffer.resize(count > 0 ? static_cast<size_t>(count) : 0);
  nOffset += count;
  nPlace = 0;
}

}  // namespace orvo
