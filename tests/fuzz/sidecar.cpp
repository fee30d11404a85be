// BLOCK.orvo.json: what can be read is written as it was read.
#include "exchange/Sidecar.h"
#include "exchange/ExchangeFault.h"
#include "fuzz/Target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo;
  using test::Folder, test::Require;
  const std::string path = Folder().Write("block.orvo.json", {reinterpret_cast<const char*>(data), size});
  try {
    const auto sidecar = exchange::ReadSidecar(path);
    if (!sidecar) Require("a file that is not there");
    const std::string text = SidecarText(*sidecar);
    const auto again = exchange::ReadSidecar(Folder().Write("again.orvo.json", text));
    if (SidecarText(*again) != text) Require("a sidecar that changes on its way");
  } catch (const exchange::ExchangeFault& fault) {
    if (fault.What.szWhat.empty()) Require("a fault without a word");
  }
  return 0;
}
