// The console of a run, kept for comparison.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace orvo::test {

/// Hand Console() to the object of a run; Text() is everything that it said.
class CapturedLog {
 public:
  CapturedLog() : fConsole(open_memstream(&pText, &nSize)) {}
  ~CapturedLog() {
    std::fclose(fConsole);
    std::free(pText);
  }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::FILE* Console() { return fConsole; }
  std::string Text() {
    std::fflush(fConsole);
    return {pText, nSize};
  }
  int Count(const std::string& part) {
    int count = 0;
    const std::string text = Text();
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
      ++count;
    return count;
  }

 private:
  char* pText = nullptr;
  size_t nSize = 0;
  std::FILE* fConsole;
};

}  // namespace orvo::test
