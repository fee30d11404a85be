// The front end called from a test.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "orvo/OrvoMain.h"

namespace orvo::test {

struct Called {
  int nExit = -1;
  std::string szOut, szErr;
};

inline std::string TextOfFile(std::FILE* file) {
  std::rewind(file);
  std::string text;
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
  std::fclose(file);
  return text;
}

inline Called CallOrvo(const std::vector<std::string>& arguments, FrontEnd frontEnd = {}) {
  std::vector<const char*> argv{"/nowhere/orvo"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  frontEnd.fOut = std::tmpfile();
  frontEnd.fErr = std::tmpfile();
  Called called;
  called.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  called.szOut = TextOfFile(frontEnd.fOut);
  called.szErr = TextOfFile(frontEnd.fErr);
  return called;
}

}  // namespace orvo::test
