// Settings in the XML form.
#include "fuzz/Target.h"
#include "run/BundleAdjustment.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  const std::string path = Folder().Write("AdjPara.xml", {reinterpret_cast<const char*>(data), size});
  orvo::CBundleAdjustment block(SmallMachine(1 << 20), nullptr);
  if (block.ReadSettings(path) != 1) Require("a file that exists was not read");
  return 0;
}
