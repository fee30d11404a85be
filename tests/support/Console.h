// A console whose text a test can read.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace orvo::test {

class Console {
 public:
  Console() : fStream(::open_memstream(&pText, &nSize)) {}
  ~Console() {
    std::fclose(fStream);
    std::free(pText);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  std::FILE* Stream() { return fStream; }
  std::string Text() {
    std::fflush(fStream);
    return {pText, nSize};
  }

 private:
  char* pText = nullptr;
  size_t nSize = 0;
  std::FILE* fStream;
};

}  // namespace orvo::test
