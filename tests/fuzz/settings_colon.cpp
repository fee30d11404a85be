// Settings in the colon form.
#include "check/RigorousReading.h"
#include "fuzz/Target.h"
#include "run/BundleAdjustment.h"
#include "settings/RigorousValues.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  const std::string path = Folder().Write("AdjPara.ini", {reinterpret_cast<const char*>(data), size});
  orvo::CBundleAdjustment block(SmallMachine(1 << 20), nullptr);
  if (block.ReadSettings(path) != 1) Require("a file that exists was not read");
  const orvo::RigorousSettings read = orvo::ReadRigorousSettings(path).Settings;
  for (const orvo::RigorousSetting& setting : orvo::RigorousTable()) {
    orvo::RigorousSettings again;
    if (!orvo::AssignValue(setting, orvo::ValueText(setting, read), again).empty())
      Require("a setting was taken that can't be");
  }
  return 0;
}
