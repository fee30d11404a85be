// The subcommands of the front end.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <span>
#include <vector>

#include "orvo/OrvoMain.h"

namespace orvo {

struct Command {
  const char* szName;
  const char* szDescription;
  /// Declares the arguments; what comes back runs the command with the parsed ones and gives the exit code.
  std::function<int()> (*Add)(CLI::App& app, const FrontEnd& frontEnd);
};

std::span<const Command> Commands();

struct DeclaredCommand {
  CLI::App* pApp;
  std::function<int()> Run;
};

/// Makes `app` the front end's, with all its subcommands. Both arguments have to outlive what comes back.
std::vector<DeclaredCommand> DeclareCommands(CLI::App& app, const FrontEnd& frontEnd);

std::function<int()> AddAdjust(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddCompletion(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddMan(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddSettings(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddCheck(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddHelp(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddConvert(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddExport(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddGenerate(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddInfo(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddImport(CLI::App& app, const FrontEnd& frontEnd);
std::function<int()> AddReport(CLI::App& app, const FrontEnd& frontEnd);

}  // namespace orvo
