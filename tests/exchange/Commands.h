// The front end, run within a test.
#pragma once

#include <string>
#include <vector>

#include "orvo/OrvoMain.h"
#include "support/Console.h"

namespace orvo::test {

struct CommandRun {
  int nCode = -1;
  std::string szOut, szErr;
};

inline CommandRun RunOrvo(const std::vector<std::string>& arguments) {
  Console out, err;
  FrontEnd frontEnd;
  frontEnd.fOut = out.Stream();
  frontEnd.fErr = err.Stream();
  std::vector<const char*> argv = {"orvo"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  CommandRun run;
  run.nCode = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  run.szOut = out.Text();
  run.szErr = err.Text();
  return run;
}

}  // namespace orvo::test
