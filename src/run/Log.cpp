#include <cerrno>
#include <cstdarg>
#include <string>

#include "base/MemoryEnd.h"
#include "run/BundleAdjustment.h"

namespace orvo {

void CBundleAdjustment::LogText(const char* format, std::va_list arguments, bool toLog) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  if (fConsole != nullptr) std::fwrite(text.data(), 1, text.size(), fConsole);
  if (toLog && fLogFile != nullptr && std::fwrite(text.data(), 1, text.size(), fLogFile) != text.size()) {
    Outputs.Fail({JoinPath(szOutputPath, "log.txt"), "write", errno});
  }
}

void CBundleAdjustment::LogPrintf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  LogText(format, arguments, true);
  va_end(arguments);
}

void CBundleAdjustment::ConsolePrintf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  LogText(format, arguments, false);
  va_end(arguments);
}

int CBundleAdjustment::OpenLogFile(std::string& path) {
  path = JoinPath(szOutputPath, "log.txt");
  // Without an output folder there is nowhere to put a log; "/log.txt" is nobody's file.
  if (!szOutputPath.empty()) fLogFile = std::fopen(path.c_str(), "a+");
  if (fLogFile != nullptr) {
    // Each message is on its way when it is told: what ends the program leaves none out.
    std::setvbuf(fLogFile, nullptr, _IONBF, 0);
    Outputs.SetLogPath(path);
  } else {
    LogPrintf("Create log file failed\n");
    return 0;
  }
  SetMemoryEndLog(::fileno(fLogFile));
  const LocalTime now = System.Now();
  LogPrintf("\nAdjustment begin:%d-%02d-%02d %02d:%02d:%02d\n", now.nYear, now.nMonth, now.nDay, now.nHour,
            now.nMinute, now.nSecond);
  LogPrintf("%s\n", std::string(108, '=').c_str());
  return 1;
}

int CBundleAdjustment::CloseLogFile() {
  SetMemoryEndLog(-1);
  if (fLogFile != nullptr) {
    const bool failed = std::ferror(fLogFile) != 0;
    if (std::fclose(fLogFile) != 0 || failed) ++nOutputFailureNum;
  }
  fLogFile = nullptr;
  return 1;
}

int CBundleAdjustment::CheckInputs() {
  if (!Inputs.Any()) return 1;
  if (Inputs.TakeUntold()) LogPrintf("Error!Reading failed: %s!\n", FaultText(Inputs.First()).c_str());
  return 0;
}

}  // namespace orvo
