// The object's part of the log.
#include <cstdarg>

#include "base/ReadingFailed.h"
#include "run/BundleAdjustment.h"

namespace orvo {

void CBundleAdjustment::LogPrintf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log.PrintArguments(format, arguments);
  va_end(arguments);
}

int CBundleAdjustment::OpenLogFile(std::string& path) {
  path = JoinPath(Paths.szOutputPath, "log.txt");
  // Without an output folder there is nowhere to put a log; "/log.txt" is nobody's file.
  return Log.Open(Paths.szOutputPath.empty() ? std::string() : path, System.Now()) ? 1 : 0;
}

int CBundleAdjustment::CloseLogFile() {
  if (!Log.Close()) ++Outputs.nOutputFailureNum;
  return 1;
}

int CBundleAdjustment::CheckInputs() { return ReadingFailed(Inputs, Log) ? 0 : 1; }

}  // namespace orvo
