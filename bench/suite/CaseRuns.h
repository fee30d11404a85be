// Cases run by one program or two in turn, and by the peer beside them.
#pragma once

#include <string>
#include <vector>

#include "report/Results.h"
#include "whole/Cases.h"

namespace orvo::bench {

struct MeasuredProgram {
  std::string szPath, szLabel;
};

struct CasePlan {
  std::vector<MeasuredProgram> Programs;         ///< the peer is set beside the first
  std::string szPeer;                            ///< the peer's program; empty: without it
  std::vector<std::string> pPeerConfigurations;  ///< none: those that suit the case
  std::string szWork;                            ///< folder for blocks and output
  int nRepeats = 3;
};

/// Measures each case and adds what it took to `results`, a line on stdout for each measurement. Of a case
/// that fails nothing is kept; false after a message where there is one.
bool MeasureCases(const std::vector<BenchCase>& cases, const CasePlan& plan, Results& results);

}  // namespace orvo::bench
