// An .ovc project with its .ovt. The first two bytes of the input say how much of the rest is the .ovc.
#include <algorithm>

#include "fuzz/ReadEverything.h"
#include "fuzz/Target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  if (size < 2) return 0;
  const std::string_view rest(reinterpret_cast<const char*>(data) + 2, size - 2);
  const size_t length = std::min<size_t>(data[0] + 256u * data[1], rest.size());
  const std::string project = Folder().Write("block.ovc", rest.substr(0, length));
  const std::string ovt = Folder().Write("block.ovt", rest.substr(length));
  static const std::string gcp =
      Folder().Write("gcp.txt", "2\ng 1 2 3 1\n1\n0 1 1\nh 1 2 3 2\n2\n0 1 1\n1 2 2\n");
  for (int64_t memory : {int64_t{1} << 40, int64_t{400}}) {
    BlockParts adjusted(SmallMachine(memory));
    Require(ReadForAdjustment(adjusted, project, gcp));
    BlockParts intersected(SmallMachine(memory));
    Require(ReadForResults(intersected, project, gcp, ovt));
  }
  return 0;
}
