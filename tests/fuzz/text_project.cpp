// A text project, in one section and in several.
#include "fuzz/ReadEverything.h"
#include "fuzz/Target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  const std::string project = Folder().Write("block.prj", {reinterpret_cast<const char*>(data), size});
  static const std::string gcp =
      Folder().Write("gcp.txt", "2\ng 1 2 3 1\n1\n0 1 1\nh 1 2 3 2\n2\n0 1 1\n1 2 2\n");
  for (int64_t memory : {int64_t{1} << 40, int64_t{2000}}) {
    BlockParts block(SmallMachine(memory));
    Require(ReadForAdjustment(block, project, gcp));
  }
  return 0;
}
