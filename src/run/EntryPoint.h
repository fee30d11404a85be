// From a command line to one run.
#pragma once

#include <cstdio>
#include <string>

#include "run/Platform.h"

namespace orvo {

/// The paths that a command line names; empty where it names none.
struct RunPaths {
  std::string szProject, szGcp, szPos, szOutput, szSettings;
};

/// What became of a run.
struct RunOutcome {
  bool bDone = false;         ///< the flow came to its end
  int nOutputFailureNum = 0;  ///< output files that are missing or cut short
  std::string szOutputPath;
};

/// Default settings file beside the program: AdjPara.xml, or AdjPara.ini where that is missing, telling the
/// console. `program` is cut at its last separator; without one it stays whole.
std::string FindDefaultSettings(const std::string& program, std::FILE* console);

/// Where a run computes.
enum class Device {
  FromSettings,  ///< as Apply_GPU says
  Cpu            ///< on the processor, whatever the settings say
};

/// One run over the given paths: object, output folder, log, settings, CPU or GPU flow, elapsed time.
RunOutcome RunAdjustment(RunPaths paths, const Platform& platform, std::FILE* console,
                         Device device = Device::FromSettings);

/// The classic command line. The exit code is 0 in every case.
int ClassicMain(int argc, const char* const* argv, const Platform& platform, std::FILE* console);

}  // namespace orvo
