#include "support/Block.h"

#include <gtest/gtest.h>

namespace orvo::test {

Block::Block(const SyntheticOptions& options, const SyntheticForms& forms)
    : Generated(GenerateBlock(options, Folder.Path(), "block", forms)) {
  EXPECT_TRUE(Generated.bDone) << Generated.szError;
}

void Block::Set(const std::string& element, const std::string& value) {
  std::string text = ReadFile(Paths().szXml);
  const std::string open = "<" + element + ">", close = "</" + element + ">";
  const size_t begin = text.find(open), end = text.find(close);
  if (begin == std::string::npos || end == std::string::npos) {
    ADD_FAILURE() << "no element " << element;
    return;
  }
  text.replace(begin + open.size(), end - begin - open.size(), value);
  WriteFile(Paths().szXml, text);
}

RunOutcome Block::Run(const BlockRun& run) {
  szOutput = Folder / run.szOutput;
  RunPaths paths;
  paths.szProject = run.bBinary ? Paths().szOvc : Paths().szText;
  if (run.bGcp) paths.szGcp = Paths().szGcp;
  if (run.bPos) paths.szPos = Paths().szPos;
  paths.szOutput = szOutput;
  paths.szSettings = run.bColonForm ? Paths().szIni : Paths().szXml;
  return RunAdjustment(std::move(paths), run.Machine, nullptr, run.Options);
}

}  // namespace orvo::test
