// The command line of the front end as it declares itself: what man pages and completions are made of.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace orvo {

/// What the value of an option or argument is.
enum class ValueKind { None, Words, File, Folder, Other };

struct OptionFacts {
  std::vector<std::string> Names;  ///< "--help", "-h"; empty for an argument
  std::string szValue;             ///< name of the value or argument; empty for a flag
  std::string szDescription;
  std::string szDefault;
  ValueKind Kind = ValueKind::None;
  std::vector<std::string> Words;  ///< that the value can be or begin with
  bool bRequired = false;
  bool bRepeats = false;
};

struct CommandFacts {
  std::string szName;  ///< empty for the program itself
  std::string szDescription, szFooter;
  std::vector<OptionFacts> Options, Arguments;
};

/// The program, and behind it its subcommands in their order. Hidden ones, and hidden options, are left out.
std::vector<CommandFacts> FactsOf(const CLI::App& program);

}  // namespace orvo
