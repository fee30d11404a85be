// One run of a program under observation: what it took, and when it said and wrote what.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvo::bench {

/// Something seen from outside, with the seconds since the start and the processor seconds of all threads
/// until then.
struct ProcessEvent {
  enum class Kind { Line, FileOpened, FileClosed };
  double fWall = 0, fCpu = 0;
  Kind eKind = Kind::Line;
  std::string szText;  ///< the line without its end, or the name of the file
};

struct ProcessCommand {
  std::vector<std::string> pArguments;                          ///< the program first
  std::vector<std::pair<std::string, std::string>> pVariables;  ///< set in its environment
  /// Files made here, and in folders made here by the run, become events, but for hidden ones; may be empty.
  std::string szWatchedFolder;
};

struct ProcessFigures {
  bool bStarted = false;
  int nExitCode = -1;  ///< -1 where a signal ended it
  double fWall = 0;    ///< from just before the program is loaded until its end, seconds
  double fUser = 0, fSystem = 0;
  int64_t nPeakBytes = 0;
  int64_t nMinorFaults = 0, nMajorFaults = 0;
  int64_t nPreemptions = 0;              ///< involuntary switches: others wanted the processor
  std::optional<int64_t> nInstructions;  ///< in user mode; none where the machine does not count them
  std::vector<ProcessEvent> Events;

  double Cpu() const { return fUser + fSystem; }
};

/// Runs the command to its end. Its output goes through a pipe, line by line, so that the time of each line
/// can be taken here, without any help from the program.
ProcessFigures RunMeasured(const ProcessCommand& command);

/// Empty when instructions can be counted here, otherwise why not.
std::string WhyNoInstructionCounter();

}  // namespace orvo::bench
