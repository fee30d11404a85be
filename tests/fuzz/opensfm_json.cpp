// A reconstruction beside tracks that fit it.
#include "fuzz/OpenSfmInvariants.h"
#include "fuzz/Target.h"

namespace {

const char kTracks[] = "a.jpg\t1\t0\t0.1\t0.2\na.jpg\t2\t1\t0.1\t-0.2\nb.jpg\t1\t0\t-0.1\t0.2\n";

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  static const std::string tracks = Folder().Write("tracks.csv", kTracks);
  const std::string json = Folder().Write("reconstruction.json", {reinterpret_cast<const char*>(data), size});
  Require(ReadAndWriteOpenSfm(json, tracks, Folder().Path() + "/out"));
  return 0;
}
