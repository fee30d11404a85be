// What is measured when no case is named: which cases, how often, which kernels.
#pragma once

#include <string>
#include <vector>

namespace orvo::bench {

enum class SuiteSize { Smoke, Standard, Full };

struct SuitePass {
  std::vector<std::string> pCases;  ///< names with wildcards
  int nRepeats = 1;
  bool bPeer = false;  ///< with the peer, and then without the program measured against
};

/// `repeats` as asked for; passes that take long have fewer.
std::vector<SuitePass> SuitePasses(SuiteSize size, int repeats);

std::vector<std::string> KernelArguments(SuiteSize size);  ///< of orvo_bench_kernels
std::vector<std::string> DeviceArguments(SuiteSize size);  ///< of orvo_bench_device

}  // namespace orvo::bench
