// Single runs of both programs on a block of the rigorous method.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "whole/Cases.h"
#include "whole/MeasuredProcess.h"
#include "whole/PeerRuns.h"

namespace orvo::bench {

/// A run from outside, and what its program says of it. Seconds; processor time is that of all threads.
struct RigorousRun {
  PeerTime Whole;
  int64_t nPeakBytes = 0;
  double fVpv = 0;  ///< sum of the squares of residuals over their standard deviations
  int nAccepted = 0, nRejected = 0;
  bool bConverged = false;
  PeerTime Read, Build;  ///< of the peer: files and start, making its problem
  PeerTime Solve;        ///< of the peer: to the end asked for
  PeerTime ToDefault;    ///< of the peer: until its default tolerance would have ended it
};

/// A configuration of the peer: name and options.
struct PeerConfiguration {
  std::string szName, szWhat;
  std::vector<std::string> pOptions;
};
const std::vector<PeerConfiguration>& PeerConfigurations();
/// Null where there is none of this name.
const PeerConfiguration* FindPeerConfiguration(const std::string& name);

/// From the log of `orvo adjust --method rigorous`; none where it tells no accepted iteration.
std::optional<RigorousRun> ReadOwnLog(const std::vector<ProcessEvent>& events);
/// From the line of JSON of `orvo_peer --rigorous`.
std::optional<RigorousRun> ReadPeerLine(const std::vector<ProcessEvent>& events);

struct RigorousPlan {
  std::string szProgram, szPeer;  ///< paths
  CaseFiles Files;
  std::string szOutput;  ///< a folder that is emptied
  int nThreads = 1;
  double fTolerance = 1e-12;  ///< of the peer
};

/// `precision`: none, images or all. Without a result after a message.
std::optional<RigorousRun> RunOwn(const RigorousPlan& plan, const std::string& precision);
std::optional<RigorousRun> RunPeer(const RigorousPlan& plan, const PeerConfiguration& configuration);

}  // namespace orvo::bench
