// orvo import: a model, control points or positions of another program become files of a block.
#include <memory>

#include "orvo/Command.h"
#include "orvo/ExchangeArguments.h"

namespace orvo {

std::function<int()> AddImport(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<ImportArguments>();
  app.add_option("FORM", arguments->Options.szForm, "the form of the source")
      ->required()
      ->check(CLI::IsMember(NamesOfForms(CanImport)));
  app.add_option("SOURCE", arguments->Options.szSource, "file or folder of that form")->required();
  app.add_option("--out", arguments->Options.szOut,
                 "BLOCK: BLOCK.ovc, BLOCK.ovt and BLOCK.orvo.json; BLOCK.prj: a text project; for forms "
                 "without a block the file to write")
      ->required()
      ->type_name("PATH");
  AddImportOptions(app, *arguments);
  app.footer(HelpOfForms(CanImport, &exchange::Form::szReads));
  return [arguments, &frontEnd] {
    return RunExchange("import", frontEnd,
                       [&](exchange::ExchangeLog& log) { ImportForm(OptionsOf(*arguments), log); });
  };
}

}  // namespace orvo
