// orvo export: a result or a project in the form of another program.
#include <memory>

#include "orvo/Command.h"
#include "orvo/ExchangeArguments.h"

namespace orvo {

std::function<int()> AddExport(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<ExportArguments>();
  exchange::ExportOptions& options = arguments->Options;
  app.add_option("FORM", options.szForm, "the form to write")
      ->required()
      ->check(CLI::IsMember(NamesOfForms(CanExport)));
  app.add_option("RESULT", options.szResult, "output folder of orvo adjust, or a project")->required();
  app.add_option("--out", options.szOut, "file or folder to write, by form")->required()->type_name("PATH");
  app.add_option("--sidecar", options.szSidecar,
                 "what an import kept of the original [BLOCK.orvo.json beside the project, or the one near "
                 "the result that has its images and measurements]")
      ->type_name("FILE");
  app.add_option("--project", options.szProject,
                 "project that the result comes from [without tie points in the result: the one .prj beside "
                 "its folder "
                 "that has its images]")
      ->type_name("FILE");
  app.add_option("--gcp", options.szGcp, "control points [none: a result does not tell its own]")
      ->type_name("FILE");
  app.add_option("--pos", options.szPos, "GPS and IMU observations [none]")->type_name("FILE");
  AddExportOptions(app, *arguments);
  app.footer(HelpOfForms(CanExport, &exchange::Form::szWrites));
  return [arguments, &frontEnd] {
    return RunExchange("export", frontEnd,
                       [&](exchange::ExchangeLog& log) { ExportForm(OptionsOf(*arguments), log); });
  };
}

}  // namespace orvo
