// orvo info: what files and folders hold.
#include <memory>

#include "info/InfoText.h"
#include "orvo/Command.h"

namespace orvo {
namespace {

struct InfoArguments {
  std::vector<std::string> Paths;
  bool bJson = false;
};

int RunInfo(const InfoArguments& arguments, const FrontEnd& frontEnd) {
  const std::vector<info::PathInfo> infos = info::InfoOf(arguments.Paths, frontEnd.System.ProcessorCount());
  if (arguments.bJson) std::fputs(info::JsonOf(infos).c_str(), frontEnd.fOut);
  int code = ExitDone;
  for (const info::PathInfo& info : infos) {
    if (!arguments.bJson) std::fputs(info::TextOf(info).c_str(), frontEnd.fOut);
    if (!info.Fault) continue;
    std::fflush(frontEnd.fOut);
    std::fprintf(frontEnd.fErr, "%s\n", TextOf(*info.Fault).c_str());
    code = ExitFailed;
  }
  return code;
}

}  // namespace

std::function<int()> AddInfo(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<InfoArguments>();
  app.add_option(
         "PATH", arguments->Paths,
         "projects, GCP and POS files, result folders, models of other programs; a GCP and a POS file "
         "count for every project among them")
      ->required();
  app.add_flag("--json", arguments->bJson, "for programs: one array with an object for each path");
  return [arguments, &frontEnd] { return RunInfo(*arguments, frontEnd); };
}

}  // namespace orvo
