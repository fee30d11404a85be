// What an import or export tells while it works.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "check/Finding.h"

namespace orvo::exchange {

/// Sentences go to the output, findings (warnings and notes) to the other stream, and so does the progress,
/// where that is a terminal. Streams may be null.
class ExchangeLog {
 public:
  ExchangeLog() = default;
  ExchangeLog(std::FILE* out, std::FILE* err);
  ~ExchangeLog() { EndProgress(); }
  ExchangeLog(const ExchangeLog&) = delete;
  ExchangeLog& operator=(const ExchangeLog&) = delete;

  /// A line without its end; names in it are printable already.
  void Say(const std::string& line);
  void Tell(const Finding& finding);

  /// "what: 37 %" in one line that is written over, at most ten times a second. Cheap enough for every point.
  void Progress(const char* what, int64_t done, int64_t of);
  void EndProgress();

 private:
  std::FILE* fOut = nullptr;
  std::FILE* fErr = nullptr;
  bool bTerminal = false;
  bool bShown = false;
  int64_t nLastShown = 0;  ///< milliseconds
  uint32_t nCalls = 0;
};

}  // namespace orvo::exchange
