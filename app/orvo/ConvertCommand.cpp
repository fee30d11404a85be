// orvo convert: import and export at once, without a block between.
#include <memory>

#include "orvo/Command.h"
#include "orvo/ExchangeArguments.h"

namespace orvo {

std::function<int()> AddConvert(CLI::App& app, const FrontEnd& frontEnd) {
  const auto from = std::make_shared<ImportArguments>();
  const auto to = std::make_shared<ExportArguments>();
  const auto hasModel = [](const exchange::Form& form) { return form.ReadModel != nullptr; };
  app.add_option("FORM", from->Options.szForm, "the form of the source")
      ->required()
      ->check(CLI::IsMember(NamesOfForms(hasModel)));
  app.add_option("SOURCE", from->Options.szSource, "file or folder of that form")->required();
  app.add_option("TO", to->Options.szForm, "the form to write")
      ->required()
      ->check(CLI::IsMember(NamesOfForms(CanExport)));
  app.add_option("--out", to->Options.szOut, "file or folder to write, by form")
      ->required()
      ->type_name("PATH");
  AddImportOptions(app, *from);
  AddExportOptions(app, *to);
  app.footer(HelpOfForms(CanExport, &exchange::Form::szWrites));
  return [from, to, &frontEnd] {
    return RunExchange("convert", frontEnd, [&](exchange::ExchangeLog& log) {
      ConvertForm(OptionsOf(*from), OptionsOf(*to), log);
    });
  };
}

}  // namespace orvo
