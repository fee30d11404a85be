#include "orvo/OrvoMain.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/NearestName.h"
#include "base/PrintableName.h"
#include "orvo/Command.h"
#include "run/ProgramFacts.h"

namespace orvo {
namespace {

constexpr Command kCommands[] = {
    {"adjust", "Adjust a block: orientations, cameras and points from its measurements", AddAdjust},
    {"check", "Find what is wrong with the files of a block before it is adjusted", AddCheck},
    {"report", "Make the page of a run of its summary.json", AddReport},
    {"settings", "Write a settings file with every element explained, or tell what a setting means",
     AddSettings},
    {"help", "Tell what a code of orvo check means", AddHelp},
    {"generate", "Generate a block with known truth, for tests and trials", AddGenerate},
    {"info", "Tell what files and folders hold: a block's size, heights, overlaps, memory", AddInfo},
    {"import", "Make a block of another program's files", AddImport},
    {"export", "Write a result in the form of another program", AddExport},
    {"convert", "Bring a model from one form into another as it is", AddConvert},
    {"completion", "Print what a shell needs to complete the command line", AddCompletion},
    {"man", "Write the man pages", AddMan},
};

/// The first argument that nothing takes; empty where there is none.
std::string FirstUnknown(const CLI::App& app) {
  const std::vector<std::string> unknown = app.remaining(true);
  return unknown.empty() ? std::string() : unknown.front();
}

/// The commands, and below one its own.
std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(command->get_name());
  return names;
}

/// Where a command was misspelt: which, and what was meant. Empty elsewhere.
std::string WrongCommand(const CLI::App& app) {
  const std::string wrong = FirstUnknown(app);
  if (!app.get_subcommands().empty() || wrong.empty() || wrong.front() == '-') return {};
  const std::string nearest = NearestName(wrong, CommandNames(app));
  return "orvo: there is no command '" + wrong + "'" +
         (nearest.empty() ? "" : "; did you mean '" + nearest + "'?") +
         "\nRun with --help for more information.\n";
}

/// Where an option was misspelt: what was meant. Empty elsewhere.
std::string NearestOption(const CLI::App& app) {
  const std::string argument = FirstUnknown(app), wrong = argument.substr(0, argument.find('='));
  if (!wrong.starts_with("--")) return {};
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  std::vector<std::string> names;
  for (const CLI::Option* option : command->get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back(name);
  }
  const std::string nearest = NearestName(wrong.substr(2), names);
  return nearest.empty() ? std::string() : "Did you mean --" + nearest + "?\n";
}

bool IsPipe(std::FILE* file) {
  struct stat facts {};
  return ::fstat(::fileno(file), &facts) == 0 && (S_ISFIFO(facts.st_mode) || S_ISSOCK(facts.st_mode));
}

/// What a command tells is lost where the console can't be written, as on a full disk. The reader of a pipe
/// that goes away has what it wanted; the files of an adjustment are there all the same.
int EndOfRun(int code, bool adjusted, const FrontEnd& frontEnd) {
  const bool failed = std::fflush(frontEnd.fOut) != 0 || std::ferror(frontEnd.fOut) != 0;
  if (!failed || adjusted || IsPipe(frontEnd.fOut)) return code;
  std::fputs("orvo: error: standard output can't be written\n", frontEnd.fErr);
  return code == ExitDone ? ExitFailed : code;
}

/// Help and version are no errors; everything else that the parser throws is wrong usage.
int EndOfParsing(const CLI::App& app, const CLI::ParseError& error, const FrontEnd& frontEnd) {
  std::ostringstream out, err;
  const int code = app.exit(error, out, err);
  std::fputs(out.str().c_str(), frontEnd.fOut);
  // Arguments are repeated in it.
  const std::string command = code == 0 ? std::string() : WrongCommand(app);
  std::istringstream lines(!command.empty() ? command
                           : code == 0      ? err.str()
                                            : NearestOption(app) + err.str());
  for (std::string line; std::getline(lines, line);)
    std::fprintf(frontEnd.fErr, "%s\n", PrintableName(line).c_str());
  return EndOfRun(code == 0 ? ExitDone : ExitUsage, false, frontEnd);
}

}  // namespace

std::span<const Command> Commands() { return kCommands; }

std::vector<DeclaredCommand> DeclareCommands(CLI::App& app, const FrontEnd& frontEnd) {
  app.name("orvo");
  app.description("Bundle block adjustment for aerial photogrammetry");
  app.set_version_flag("--version", [] { return VersionText(); });
  app.require_subcommand(1);
  app.footer(
      "Exit codes: 0 done, 1 the run failed or was refused, 2 wrong usage, 3 the result is unusable, or with "
      "--strict doubtful.");
  std::vector<DeclaredCommand> commands;
  for (const Command& command : Commands()) {
    CLI::App* subcommand = app.add_subcommand(command.szName, command.szDescription);
    commands.push_back({subcommand, command.Add(*subcommand, frontEnd)});
  }
  return commands;
}

namespace {

/// Before it took a word, --residuals asked for the table.
bool AsksForTable(int argc, const char* const* argv, int i) {
  constexpr std::string_view words[] = {"last", "all", "none"};
  return std::string_view(argv[i]) == "--residuals" &&
         (i + 1 == argc || std::ranges::find(words, argv[i + 1]) == std::end(words));
}

/// Those behind the name of the program, the last one first.
std::vector<std::string> ReversedArguments(int argc, const char* const* argv) {
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i)
    arguments.emplace_back(AsksForTable(argc, argv, i) ? "--residuals-csv" : argv[i]);
  return arguments;
}

}  // namespace

int OrvoMain(int argc, const char* const* argv, FrontEnd frontEnd) {
  frontEnd.szProgram = argc > 0 ? argv[0] : "";
  CLI::App app;
  const std::vector<DeclaredCommand> commands = DeclareCommands(app, frontEnd);
  try {
    app.parse(ReversedArguments(argc, argv));
  } catch (const CLI::ParseError& error) {
    return EndOfParsing(app, error, frontEnd);
  }
  for (const auto& [subcommand, run] : commands) {
    if (subcommand->parsed()) return EndOfRun(run(), subcommand->get_name() == "adjust", frontEnd);
  }
  return ExitUsage;
}

}  // namespace orvo
