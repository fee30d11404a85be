// All that was measured in one go, or read back from files of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "whole/Measurement.h"
#include "whole/PeerRuns.h"

namespace orvo::bench {

struct MachineFacts {
  std::string szProcessor, szKernel;
  int64_t nProcessors = 0;
  std::string szInstructionCounter;  ///< "yes", or why there is none
};

/// One kernel, the best of its repetitions. Seconds a call.
struct KernelTime {
  std::string szName;
  double fWall = 0, fCpu = 0;
  double fItems = 0, fBytes = 0;  ///< a second; 0 where they are not counted
};

/// The kernels of the device path on one block; seconds, the best of several.
struct DeviceTime {
  std::string szForm;  ///< fast or literal
  int64_t nRays = 0, nPoints = 0, nImages = 0;
  double fUpload = 0, fRefresh = 0, fSumMatrix = 0, fConstVector = 0, fPreconditioner = 0;
  double fProduct = 0, fStep = 0;  ///< one product by itself, and with its transfers
  double fIteration = 0;
  double fBytesPerRay = 0, fPercentOfCopy = 0;
};

struct DeviceFigures {
  std::string szDevice;
  int64_t nProcessors = 0, nLayout = 0, nProducts = 0;  ///< nProducts: in an iteration
  double fCopyBytes = 0;                                ///< a second
  std::vector<DeviceTime> Times;
};

struct Results {
  MachineFacts Machine;
  std::vector<std::string> pPrograms;  ///< labels, the one that counts first; none: no whole runs
  std::vector<Measurement> Runs;       ///< one for each case and program
  std::vector<PeerRun> Peers;
  std::vector<KernelTime> Kernels;
  std::vector<DeviceFigures> Devices;
};

/// Adds a measurement; of two of the same case and program the one of less wall time stays, at the place of
/// the first.
void AddMeasurement(std::vector<Measurement>& runs, const Measurement& measurement);

/// Adds a kernel; of two of the same name the least times stay, with the rates of the one of less wall time.
void AddKernel(std::vector<KernelTime>& kernels, const KernelTime& time);

/// What tables are made of: the runs of each one's first program, and all else. Whoever has the most runs
/// says in which order the cases stand; label and machine are that one's.
Results Merged(std::vector<Results> results);

std::string ResultsText(const Results& results);

/// Reads what ResultsText wrote, what orvo_bench_kernels wrote with --benchmark_out (of the repetitions of a
/// kernel the least counts), or what orvo_bench_device wrote. False with the reason in `error`.
bool ParseResults(std::string_view text, Results& results, std::string& error);

/// A file of at most 64 MB. False with its path and the reason in `error`.
bool ReadResults(const std::string& path, Results& results, std::string& error);

}  // namespace orvo::bench
