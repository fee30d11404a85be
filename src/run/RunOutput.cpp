#include "run/RunOutput.h"

#include "base/OutputCollision.h"
#include "block/ProjectForm.h"
#include "run/BundleAdjustment.h"

namespace orvo {

std::string BeginOutput(CBundleAdjustment& block, const RunPaths& paths, bool folderIsThere) {
  if (!folderIsThere) {
    // A folder that comes into being later would be written to without its lock.
    block.Outputs.Folder.Bar();
    return {};
  }
  const auto collision = FindOutputThatIsInput(
      block.Paths.szOutputPath,
      {paths.szProject, OvtPathOfProject(paths.szProject), paths.szGcp, paths.szPos, paths.szSettings});
  if (collision) return collision->Text();
  return block.Outputs.Folder.Begin(block.Paths.szOutputPath);
}

void EndOutput(CBundleAdjustment& block, const RunOptions& options, RunOutcome& outcome) {
  if (!block.Outputs.Folder.IsActive()) return;
  const auto note = [&] {
    const OutputFault fault = block.Outputs.Folder.Fault();
    if (!fault.Any() || !outcome.szFault.empty()) return;
    outcome.szFault = "cannot " + fault.Text();
    block.LogPrintf("Error!No result file is put in place: %s!\n", outcome.szFault.c_str());
  };
  note();
  block.Outputs.Folder.End(FateOf(options.Rules, outcome, options.bStrict));
  note();
}

}  // namespace orvo
