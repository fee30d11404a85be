// cameras.bin, images.bin and points3D.bin. Two lengths of two bytes come first, of cameras and images.
#include <algorithm>

#include "exchange/colmap/ColmapForm.h"
#include "fuzz/ForeignModels.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  if (size < 4) return 0;
  std::string_view rest(reinterpret_cast<const char*>(data) + 4, size - 4);
  const size_t lengths[3] = {data[0] + 256u * data[1], data[2] + 256u * data[3], rest.size()};
  const char* const names[3] = {"cameras.bin", "images.bin", "points3D.bin"};
  for (int i = 0; i < 3; ++i) {
    const size_t length = std::min(lengths[i], rest.size());
    Folder().Write(names[i], rest.substr(0, length));
    rest.remove_prefix(length);
  }
  TakeForeignModel(orvo::exchange::ReadColmap, Folder().Path());
  return 0;
}
