#include "exchange/Checksum.h"

#include <cstdint>
#include <vector>

#include "base/Crc32.h"
#include "base/InputFile.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {

std::string ChecksumOf(std::span<const std::string> files) {
  std::vector<unsigned char> buffer(size_t{1} << 20);
  Crc32 sum;
  for (const std::string& path : files) {
    InputFile file;
    if (!file.Open(path)) Refuse(path, 0, "the file can't be read", "Check its path and permissions");
    for (int64_t place = 0; place < file.Size();) {
      const int64_t got = file.ReadAt(place, buffer.data(), static_cast<int64_t>(buffer.size()));
      if (got <= 0) Refuse(path, 0, "the file can't be read on", "Check the disk");
      sum.Add(buffer.data(), static_cast<size_t>(got));
      place += got;
    }
  }
  return sum.Text();
}

}  // namespace orvo::exchange
