#include "kernels/LoadedBlock.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "normal/UnknownStorage.h"
#include "prepared/PreparedBlock.h"
#include "whole/Cases.h"

namespace orvo::bench {
namespace {

CaseFiles FilesOf(const std::string& caseName) {
  const std::string work = DefaultWorkFolder();
  std::error_code error;
  std::filesystem::create_directories(work, error);
  const auto cases = MatchingCases(AllCases(ORVO_SOURCE_DIR), {caseName});
  const auto files = cases.empty() ? std::nullopt : PrepareCase(cases.front(), work);
  if (!files) {
    std::fprintf(stderr, "The block of %s can't be made\n", caseName.c_str());
    std::exit(1);
  }
  return *files;
}

}  // namespace

CBundleAdjustment& LoadedBlock(const std::string& caseName) {
  static std::map<std::string, std::unique_ptr<CBundleAdjustment>> blocks;
  std::unique_ptr<CBundleAdjustment>& block = blocks[caseName];
  if (!block) {
    const CaseFiles files = FilesOf(caseName);
    block = std::make_unique<CBundleAdjustment>(NativePlatform(), nullptr);
    if (!PrepareBlock(*block, files.szProject, files.szGcp, files.szSettings)) std::exit(1);
    if (block->ComputeSubMatrixPosition() == 0) std::exit(1);
  }
  return *block;
}

CBundleAdjustment& AssembledBlock(const std::string& caseName) {
  CBundleAdjustment& block = LoadedBlock(caseName);
  static std::set<std::string> assembled;
  if (!assembled.insert(caseName).second) return block;
  // The listing goes nowhere.
  block.Paths.szOutputPath = "/dev/null";
  MakeEquations(block.Normal, block.Unknowns.nUnknownNum, block.Limits.Apply_PCG_Model);
  std::vector<int32_t> threads(1, 1);
  if (block.BuildNormalEquation(0, 0, threads) != 1 || block.AddDampingCoefficients(0) == 0) std::exit(1);
  return block;
}

std::string ProjectOf(const std::string& caseName) { return FilesOf(caseName).szProject; }

}  // namespace orvo::bench
