// Tracks beside a small reconstruction.
#include "fuzz/OpenSfmInvariants.h"
#include "fuzz/Target.h"

namespace {

const char kJson[] =
    R"([{"cameras": {"c": {"projection_type": "perspective", "width": 40, "height": 30, "focal": 1, "k1": 0,
"k2": 0}}, "shots": {"a.jpg": {"rotation": [3, 0, 0], "translation": [0, 0, 9], "camera": "c"}, "b.jpg":
{"rotation": [3, 0, 0.1], "translation": [1, 0, 9], "camera": "c"}}, "points": {"1": {"coordinates": [0, 0, 0]},
"2": {"coordinates": [1, 0, 0]}}}])";

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  static const std::string json = Folder().Write("reconstruction.json", kJson);
  const std::string tracks = Folder().Write("tracks.csv", {reinterpret_cast<const char*>(data), size});
  Require(ReadAndWriteOpenSfm(json, tracks, Folder().Path() + "/out"));
  return 0;
}
