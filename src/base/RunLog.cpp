#include "base/RunLog.h"

#include <cerrno>

#include "base/MemoryEnd.h"

namespace orvo {

void RunLog::PrintTo(bool file, const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  if (file && text.starts_with("Error!")) {
    szLastError = text.substr(0, text.find_last_not_of('\n') + 1);
  }
  if (pConsole != nullptr) std::fwrite(text.data(), 1, text.size(), pConsole);
  if (file) WriteToFile(text);
}

void RunLog::WriteToFile(const std::string& text) {
  if (pFile == nullptr || std::fwrite(text.data(), 1, text.size(), pFile) == text.size()) return;
  pOutputs->Fail({szPath, "write", errno});
}

void RunLog::PrintArguments(const char* format, std::va_list arguments) { PrintTo(true, format, arguments); }

void RunLog::Print(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  PrintTo(true, format, arguments);
  va_end(arguments);
}

void RunLog::PrintToConsole(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  PrintTo(false, format, arguments);
  va_end(arguments);
}

bool RunLog::Open(const std::string& path, const LocalTime& now) {
  szPath = path;
  if (!path.empty()) pFile = std::fopen(path.c_str(), "a+");
  if (pFile == nullptr) {
    Print("Create log file failed\n");
    return false;
  }
  // Each message is on its way when it is told: what ends the program leaves none out.
  std::setvbuf(pFile, nullptr, _IONBF, 0);
  pOutputs->SetLogPath(path);
  SetMemoryEndLog(::fileno(pFile));
  Print("\nAdjustment begin:%d-%02d-%02d %02d:%02d:%02d\n", now.nYear, now.nMonth, now.nDay, now.nHour,
        now.nMinute, now.nSecond);
  Print("%s\n", std::string(108, '=').c_str());
  return true;
}

bool RunLog::Close() {
  SetMemoryEndLog(-1);
  if (pFile == nullptr) return true;
  const bool failed = std::ferror(pFile) != 0;
  const bool closed = std::fclose(pFile) == 0;
  pFile = nullptr;
  return closed && !failed;
}

}  // namespace orvo
