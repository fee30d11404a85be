// A generated block in a folder of its own, and runs over it.
#pragma once

#include <string>

#include "run/EntryPoint.h"
#include "support/ResultFiles.h"
#include "support/TestFiles.h"
#include "synthetic/GenerateBlock.h"

namespace orvo::test {

/// What a run over a generated block takes.
struct BlockRun {
  bool bBinary = false;  ///< the .ovc and .ovt instead of the text project
  bool bGcp = true;
  bool bPos = false;
  bool bColonForm = false;  ///< AdjPara.ini instead of AdjPara.xml
  std::string szOutput = "out";
  Platform Machine = NativePlatform();
  RunOptions Options = {};
};

class Block {
 public:
  /// Generates the block; a test that goes on with one that could not be made fails.
  explicit Block(const SyntheticOptions& options = {}, const SyntheticForms& forms = {});

  const SyntheticTruth& Truth() const { return Generated.Truth; }
  const SyntheticPaths& Paths() const { return Generated.Paths; }
  /// A path in the block's folder.
  std::string operator/(const std::string& name) const { return Folder / name; }

  /// Replaces the value of an element of AdjPara.xml.
  void Set(const std::string& element, const std::string& value);

  /// A silent run.
  RunOutcome Run(const BlockRun& run = {});

  // Of the latest run.
  std::string Output(const std::string& name) const { return JoinPath(szOutput, name); }
  ProjectFile Result() const { return ReadProjectFile(Output("OrvoResult.ovc")); }
  Report AdjustReport() const { return ReadReport(Output("OrvoAdjustReport.txt")); }
  std::string Log() const { return ReadMaskedLog(Output("log.txt")); }

 private:
  ScratchFolder Folder;
  SyntheticBlock Generated;
  std::string szOutput;
};

}  // namespace orvo::test
