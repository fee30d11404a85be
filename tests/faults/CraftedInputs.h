// Files that are made to cost a reader more memory than they are long.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvo::faults {

/// A file that stands for one of the inputs of a run.
struct CraftedInput {
  const char* szName;
  const char* szFile;  ///< file that it stands for: "block.prj"
  std::string szHead;  ///< what the file begins with; the first line may hold N, how often the body follows
  std::string szBody;  ///< what follows again and again
  std::string szTail = {};
};

const std::vector<CraftedInput>& CraftedInputs();

/// Writes about that many bytes.
void WriteCrafted(const CraftedInput& input, const std::string& path, int64_t bytes);

}  // namespace orvo::faults
