#include "orvo/OrvoMain.h"

#include <sys/stat.h>

#include <cstdio>
#include <sstream>

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
};

/// Help and version are no errors; everything else that the parser throws is wrong usage.
int EndOfParsing(const CLI::App& app, const CLI::ParseError& error, const FrontEnd& frontEnd) {
  std::ostringstream out, err;
  const int code = app.exit(error, out, err);
  std::fputs(out.str().c_str(), frontEnd.fOut);
  // Arguments are repeated in it.
  std::istringstream lines(err.str());
  for (std::string line; std::getline(lines, line);)
    std::fprintf(frontEnd.fErr, "%s\n", PrintableName(line).c_str());
  return code == 0 ? ExitDone : ExitUsage;
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

}  // namespace

std::span<const Command> Commands() { return kCommands; }

int OrvoMain(int argc, const char* const* argv, FrontEnd frontEnd) {
  frontEnd.szProgram = argc > 0 ? argv[0] : "";
  CLI::App app("Bundle block adjustment for aerial photogrammetry", "orvo");
  app.set_version_flag("--version", [] { return VersionText(); });
  app.require_subcommand(1);
  app.footer(
      "Exit codes: 0 done, 1 the run failed or was refused, 2 wrong usage, 3 the result is unusable, or with "
      "--strict "
      "doubtful.");
  std::vector<std::pair<CLI::App*, std::function<int()>>> commands;
  for (const Command& command : Commands()) {
    CLI::App* subcommand = app.add_subcommand(command.szName, command.szDescription);
    commands.emplace_back(subcommand, command.Add(*subcommand, frontEnd));
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return EndOfParsing(app, error, frontEnd);
  }
  for (const auto& [subcommand, run] : commands) {
    if (subcommand->parsed()) return EndOfRun(run(), subcommand->get_name() == "adjust", frontEnd);
  }
  return ExitUsage;
}

}  // namespace orvo
