// The messages of a run, for the console and for log.txt.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#include "base/OutputFolder.h"
#include "base/Platform.h"

namespace orvo {

/// Not for threads beside that of the run.
class RunLog {
 public:
  /// `console` receives every message besides the log file; null keeps the run silent. What can't be written
  /// to the log file is a fault of `outputs`, which stays alive as long as the log.
  RunLog(std::FILE* console, OutputFolder& outputs) : pConsole(console), pOutputs(&outputs) {}
  ~RunLog() { Close(); }
  RunLog(const RunLog&) = delete;
  RunLog& operator=(const RunLog&) = delete;

  /// Opens the file for appending and writes the run's header; false, with a message, when it can't be
  /// opened. An empty path is none.
  bool Open(const std::string& path, const LocalTime& now);
  bool IsOpen() const { return pFile != nullptr; }
  /// False when not all of it was written.
  bool Close();

  /// The formatted text, verbatim, to console and log file.
  void Print(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void PrintArguments(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
  /// The same to one of them alone.
  void PrintToConsole(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void WriteToFile(const std::string& text);
  /// The last message that told of an error, without line ends; empty without any.
  const std::string& LastError() const { return szLastError; }

 private:
  void PrintTo(bool file, const char* format, std::va_list arguments) __attribute__((format(printf, 3, 0)));

  std::FILE* pConsole;
  OutputFolder* pOutputs;
  std::FILE* pFile = nullptr;
  std::string szPath, szLastError;
};

}  // namespace orvo
