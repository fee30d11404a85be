// cameras.txt, images.txt and points3D.txt, with a line of "%" between them.
#include "exchange/colmap/ColmapForm.h"
#include "fuzz/ForeignModels.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  for (const char* name : {"cameras.txt", "images.txt", "points3D.txt"}) {
    const size_t end = rest.find("%\n");
    Folder().Write(name, rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 2);
  }
  TakeForeignModel(orvo::exchange::ReadColmap, Folder().Path());
  return 0;
}
