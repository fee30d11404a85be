// What puts the files of a run in place: renames in a fixed order, and the journal that finishes them later.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvo {

/// One rename. Names have no folder.
struct CommitStep {
  bool bAway = false;  ///< from the target into staging/old; else from staging into the target
  std::string szName;
};

/// Where the files of a run go.
enum class CommitTarget : char {
  Results = 'r',   ///< the output folder
  Unusable = 'u',  ///< its folder for unusable results
  Failed = 'f'     ///< its folder for what is told of a run that failed
};

/// First what is there goes away, then what is new comes in.
struct CommitPlan {
  CommitTarget Target = CommitTarget::Results;
  std::vector<CommitStep> Steps;

  /// The journal of the plan.
  std::string Text() const;
  /// Nothing where the text is no whole journal.
  static std::optional<CommitPlan> Parse(std::string_view text);
};

/// Open folders that the renames go between.
struct CommitFolders {
  int nStaging = -1, nOld = -1, nTarget = -1;
};

/// How the steps of a plan went.
struct CommitResult {
  int nError = 0;        ///< errno of the step that failed; 0 when all are done
  int nStep = -1;        ///< that step
  bool bUndone = false;  ///< the steps before it were taken back
};

/// Takes every step, or none: the steps before one that fails are taken back. Allocates nothing and takes no
/// lock, so a forked child may do it.
CommitResult ApplyPlan(const CommitPlan& plan, const CommitFolders& folders) noexcept;

/// Takes every step back, the last first; false when one could not be.
bool TakeBackPlan(const CommitPlan& plan, const CommitFolders& folders) noexcept;

/// Takes the steps that are not done yet, whichever they are; false when one fails.
bool FinishPlan(const CommitPlan& plan, const CommitFolders& folders) noexcept;

}  // namespace orvo
