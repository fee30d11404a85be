#include "suite/Suite.h"

#include <algorithm>

namespace orvo::bench {

std::vector<SuitePass> SuitePasses(SuiteSize size, int repeats) {
  if (size == SuiteSize::Smoke) {
    return {{{"seneca/small", "100/eopiop", "100/dense"}, repeats, false}, {{"100/eopiop"}, repeats, true}};
  }
  const int few = std::min(repeats, 2);
  // The peer takes as long as the size of the block says, so it runs on fewer cases.
  std::vector<SuitePass> passes = {
      {{"seneca/*", "100/*", "1000/*"}, repeats, false},
      {{"seneca/small", "100/eopiop", "100/dense", "100/eop", "100/iop", "100/merged", "100/outliers",
        "1000/eopiop", "1000/eop", "1000/iop", "1000/merged", "1000/outliers"},
       few,
       true}};
  if (size == SuiteSize::Full) {
    passes.push_back({{"10000/*"}, few, false});
    // Once, and in the forms that suit the size: a minute and 5 GB each.
    passes.push_back({{"10000/eopiop"}, 1, true});
  }
  return passes;
}

std::vector<std::string> KernelArguments(SuiteSize size) {
  if (size != SuiteSize::Smoke) return {"--benchmark_min_time=0.2"};
  return {"--benchmark_filter=/100(/|$)|Residuals|Format|Reals|Lines$|n:605", "--benchmark_min_time=0.01"};
}

std::vector<std::string> DeviceArguments(SuiteSize size) {
  if (size == SuiteSize::Smoke) return {"--measurements", "100000", "--repeats", "1"};
  return {"--measurements", size == SuiteSize::Full ? "1000000,10000000" : "1000000"};
}

}  // namespace orvo::bench
