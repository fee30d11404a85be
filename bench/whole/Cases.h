// The named cases: which block, in which form, with which settings.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "synthetic/SyntheticOptions.h"

namespace orvo::bench {

struct BenchCase {
  std::string szName;                                  ///< size/variant, as 1000/eopiop
  std::string szBlock;                                 ///< folder of a generated block; empty for a real one
  SyntheticOptions Options;                            ///< of the generated block
  std::string szFolder, szProject, szGcp, szSettings;  ///< of the real one
  bool bText = false;                                  ///< the text project instead of .ovc and .ovt
  bool bHasOutliers = false;                           ///< some measurements are wrong
  int nProcessors = 0;                                 ///< to count on, 0: those that the machine has
  std::vector<std::pair<std::string, std::string>> pSettings;  ///< elements of AdjPara.xml replaced
};

/// All cases, the small ones first. Real blocks are looked for in `sourceFolder` and beside it, and left out
/// where they are not.
std::vector<BenchCase> AllCases(const std::string& sourceFolder);

/// Those of them that match one of the patterns (shell wildcards; a name with a slash matches one with a
/// slash only).
std::vector<BenchCase> MatchingCases(const std::vector<BenchCase>& cases,
                                     const std::vector<std::string>& patterns);

/// Where blocks and output go unless told otherwise: in memory where there is room, for the disk would add
/// its own moods.
std::string DefaultWorkFolder();

/// What a run of `orvo adjust` takes.
struct CaseFiles {
  std::string szProject, szGcp, szSettings;
};

/// Makes the files of a case below `workFolder`, or finds them there from an earlier time. Without a result
/// after a message on stderr.
std::optional<CaseFiles> PrepareCase(const BenchCase& bench, const std::string& workFolder);

/// The text of a settings file with the text of some elements replaced; none where one of them is not there.
std::optional<std::string> ReplaceSettings(std::string xml,
                                           const std::vector<std::pair<std::string, std::string>>& settings);

}  // namespace orvo::bench
