#include "exchange/bundler/BundlerForms.h"
#include "fuzz/ForeignModels.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  const std::string path = Folder().Write("problem.txt", {reinterpret_cast<const char*>(data), size});
  TakeForeignModel(orvo::exchange::ReadBal, path);
  return 0;
}
