#include "run/RunOutput.h"

#include "base/OutputCollision.h"
#include "block/ProjectForm.h"

namespace orvo {

std::string BeginOutput(OutputFolder& folder, const std::string& output, const RunPaths& paths,
                        bool folderIsThere) {
  if (!folderIsThere) {
    // A folder that comes into being later would be written to without its lock.
    folder.Bar();
    return {};
  }
  const auto collision = FindOutputThatIsInput(output, {paths.szProject, OvtPathOfProject(paths.szProject),
                                                        paths.szGcp, paths.szPos, paths.szSettings});
  if (collision) return collision->Text();
  return folder.Begin(output);
}

void EndOutput(OutputFolder& folder, RunLog& log, const RunOptions& options, RunOutcome& outcome) {
  if (!folder.IsActive()) return;
  const auto note = [&] {
    const OutputFault fault = folder.Fault();
    if (!fault.Any() || !outcome.szFault.empty()) return;
    outcome.szFault = "cannot " + fault.Text();
    log.Print("Error!No result file is put in place: %s!\n", outcome.szFault.c_str());
  };
  note();
  folder.End(FateOf(options.Rules, outcome, options.bStrict));
  note();
}

}  // namespace orvo
