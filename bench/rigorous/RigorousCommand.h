// orvo_bench rigorous: the rigorous method beside the peer.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "whole/Cases.h"

namespace orvo::bench {

struct RigorousCommand {
  std::vector<int64_t> pSizes = {100, 1000};
  std::vector<int> pThreads = {1, 2};
  std::vector<std::string> pConfigurations = {"sparse-wide", "sparse"};
  int nRepeats = 5;
  double fPeerTolerance = 1e-12;
  std::string szProgram, szPeer, szWork = DefaultWorkFolder(), szResults, szLabel;
  bool bNoPeer = false, bNoPrecision = false;
};

/// Adds the options to its subcommand.
void AddRigorousOptions(CLI::App& app, RigorousCommand& command);

/// Measures, prints the tables and leaves them and the JSON as rigorous-LABEL in the results folder; `label`
/// where none was told. Without a peer it says so and measures ours alone. The exit status: 0, or 1 where
/// something failed.
int RunRigorousCommand(RigorousCommand command, const std::string& label);

}  // namespace orvo::bench
