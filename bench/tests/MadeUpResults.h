// Measurements that nobody took.
#pragma once

#include <initializer_list>
#include <string>

#include "report/Results.h"

namespace orvo::bench {

/// `cpu` seconds of processor time, twice as long by the clock, a tenth for an iteration, half for solving.
inline Measurement MadeUpRun(const std::string& name, const std::string& program, double cpu,
                             int64_t peak = 8000000) {
  Measurement run;
  run.szCase = name;
  run.szProgram = program;
  run.nRepeats = 1;
  run.fCpu = cpu;
  run.fWall = 2 * cpu;
  run.nPeakBytes = peak;
  run.nIterations = 5;
  run.fIterationCpu = run.fIterationWall = cpu / 10;
  run.fFinalRms = 0.5;
  run.Phases = {{"solve", 1, cpu / 2, 5}};
  return run;
}

inline Results MadeUpResults(std::initializer_list<const char*> programs,
                             std::initializer_list<Measurement> runs) {
  Results results;
  results.Machine = {"made up", "6.1", 2, "yes"};
  results.pPrograms.assign(programs.begin(), programs.end());
  results.Runs = runs;
  return results;
}

}  // namespace orvo::bench
