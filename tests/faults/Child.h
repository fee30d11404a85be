// A program run beside this one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvo::faults {

struct ChildRun {
  std::vector<std::string> Arguments;    ///< the program first
  std::string szFolder;                  ///< working folder
  std::string szConsole;                 ///< file that takes both its outputs
  std::vector<std::string> Environment;  ///< "NAME=value", beside that of this process
  double fLimitSeconds = 30;             ///< then it counts as hanging and is killed
  int nSignal = 0;                       ///< sent when fSignalSeconds have passed
  double fSignalSeconds = 0;
  uint64_t nAddressBytes = 0;  ///< most address space; 0: no limit
};

struct ChildEnd {
  bool bHung = false;
  int nSignal = 0;  ///< that ended it; 0: it ended itself
  int nExit = 0;
  double fSeconds = 0;
  int64_t nPeakBytes = 0;  ///< most resident memory

  std::string Text() const;  ///< "exit code 1", "signal 11", "hung"
};

ChildEnd RunChild(const ChildRun& run);

}  // namespace orvo::faults
