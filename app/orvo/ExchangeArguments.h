// What the commands for other programs' forms share.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "exchange/Forms.h"
#include "orvo/OrvoMain.h"

namespace orvo {

/// Names of the forms that fit, for CLI::IsMember, and "  name   what" lines for a help.
std::vector<std::string> NamesOfForms(bool (*fits)(const exchange::Form& form));
std::string HelpOfForms(bool (*fits)(const exchange::Form& form), const char* exchange::Form::*text);

/// Whether an import, an export or a conversion takes the form.
bool CanImport(const exchange::Form& form);
bool CanExport(const exchange::Form& form);

/// Arguments as texts, which the parser checks; they become options when the command runs.
struct ImportArguments {
  exchange::ImportOptions Options;
  std::string szDistortion, szFrame;
};
struct ExportArguments {
  exchange::ExportOptions Options;
  std::string szCamera;
};

/// All but form, source and --out.
void AddImportOptions(CLI::App& app, ImportArguments& arguments);
void AddExportOptions(CLI::App& app, ExportArguments& arguments);
exchange::ImportOptions OptionsOf(const ImportArguments& arguments);
exchange::ExportOptions OptionsOf(const ExportArguments& arguments);

/// Runs `work`; a fault is told on fErr and gives ExitFailed.
int RunExchange(const char* command, const FrontEnd& frontEnd,
                const std::function<void(exchange::ExchangeLog& log)>& work);

}  // namespace orvo
