// A file of control points beside a small project.
#include "fuzz/ReadEverything.h"
#include "fuzz/Target.h"

namespace {

const char kProject[] =
    "3 1 2\n0 4000 3000 0 50000 0 0 0 0 0\n"
    "0 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "1 -1\nd/b.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "2 0\nd/c.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "p 1 2 3 0\n2\n1 5 5\n0 5 5\nq 1 2 3 0\n3\n2 5 5\n0 6 6\n0 7 7\n";

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  static const std::string project = Folder().Write("block.prj", kProject);
  const std::string gcp = Folder().Write("gcp.txt", {reinterpret_cast<const char*>(data), size});
  for (int64_t memory : {int64_t{1} << 40, int64_t{400}}) {
    BlockParts adjusted(SmallMachine(memory));
    Require(ReadForAdjustment(adjusted, project, gcp));
  }
  BlockParts listed(SmallMachine(int64_t{1} << 40));
  Require(ReadForResults(listed, project, gcp, ""));
  return 0;
}
