// Guarded runs and what summary.json tells of them.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "support/Block.h"

namespace orvo::test {

/// The folder that a run's summary is in: its output folder, or what that has for other runs.
inline std::string SummaryFolder(const std::string& output) {
  for (const char* name : {"", "/unusable", "/failed"}) {
    if (Exists(output + name + "/summary.json")) return output + name;
  }
  ADD_FAILURE() << "no summary in " << output;
  return output;
}

inline nlohmann::json SummaryIn(const std::string& folder) {
  return nlohmann::json::parse(ReadFile(folder + "/summary.json"), nullptr, false);
}

/// Of a guarded run over the block.
inline nlohmann::json SummaryOfRun(Block& block, BlockRun run = {}) {
  run.Options.Rules = RunRules::Guarded;
  run.Options.Report.bPage = false;
  EXPECT_TRUE(block.Run(run).bDone) << block.Log();
  return SummaryIn(SummaryFolder(block.Output("")));
}

}  // namespace orvo::test
