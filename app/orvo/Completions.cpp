#include "orvo/Completions.h"

#include <fmt/format.h>

namespace orvo {
namespace {

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::vector<std::string> NamesOfCommands(const std::vector<CommandFacts>& commands) {
  std::vector<std::string> names;
  for (const CommandFacts& command : commands) {
    if (!command.szName.empty()) names.push_back(command.szName);
  }
  return names;
}

std::vector<std::string> NamesOfOptions(const CommandFacts& command) {
  std::vector<std::string> names;
  for (const OptionFacts& option : command.Options)
    names.insert(names.end(), option.Names.begin(), option.Names.end());
  return names;
}

std::string Replaced(std::string text, const std::string& characters, const std::string& before) {
  for (size_t at = text.find_first_of(characters); at != std::string::npos;
       at = text.find_first_of(characters, at + before.size() + 1))
    text.insert(at, before);
  return text;
}

// ---- bash

const char* BashAction(ValueKind kind) {
  return kind == ValueKind::File ? "_orvo_files -f" : kind == ValueKind::Folder ? "_orvo_files -d" : "";
}

/// A line of the case that knows what the value of an option is.
std::string BashValueOf(const std::string& command, const OptionFacts& option) {
  std::vector<std::string> patterns;
  for (const std::string& name : option.Names) patterns.push_back(fmt::format("'{} {}'", command, name));
  std::string action = BashAction(option.Kind);
  if (option.Kind == ValueKind::Words) {
    const bool open = option.Words.front().back() == '=';
    action = fmt::format("_orvo_words '{}'{}", Joined(option.Words, " "), open ? " nospace" : "");
  }
  return fmt::format("    {}) {}return ;;\n", Joined(patterns, "|"), action.empty() ? "" : action + "; ");
}

std::string BashArgumentsOf(const CommandFacts& command) {
  if (command.szName.empty() || command.Arguments.empty()) return {};
  const OptionFacts& first = command.Arguments.front();
  if (first.Kind == ValueKind::Words && command.Arguments.size() == 1)
    return fmt::format("_orvo_words '{}'", Joined(first.Words, " "));
  if (first.Kind == ValueKind::Words)
    return fmt::format("if ((COMP_CWORD == 2)); then _orvo_words '{}'; else _orvo_files -f; fi",
                       Joined(first.Words, " "));
  return BashAction(first.Kind);
}

constexpr char kBashHead[] =
    R"(# bash completion for orvo                                  -*- shell-script -*-

_orvo_words() {
  [[ $2 == nospace ]] && compopt -o nospace 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur")
}

_orvo_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$cur")
}

_orvo() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command= i
  COMPREPLY=()
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]] && ((COMP_CWORD > 2)); then
    prev=${COMP_WORDS[COMP_CWORD-2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      command=${COMP_WORDS[i]}
      break
    fi
  done
  case "$command $prev" in
)";

// ---- zsh

std::string ZshText(const std::string& text) {
  // Inside of single quotes, where brackets and colons have a meaning to _arguments.
  std::string safe;
  for (const char c : text) {
    if (c == '\'') {
      safe += "'\\''";
    } else if (c == '[' || c == ']' || c == ':' || c == '\\') {
      safe += std::string("\\") + c;
    } else {
      safe += c == '\n' ? ' ' : c;
    }
  }
  return safe;
}

std::string ZshAction(const OptionFacts& option) {
  switch (option.Kind) {
    case ValueKind::Words:
      return fmt::format("({})", Joined(option.Words, " "));
    case ValueKind::File:
      return "_files";
    case ValueKind::Folder:
      return "_files -/";
    case ValueKind::None:
    case ValueKind::Other:
      break;
  }
  return " ";
}

std::string ZshOption(const OptionFacts& option, const std::string& name) {
  const std::string value =
      option.szValue.empty() ? "" : fmt::format(":{}:{}", ZshText(option.szValue), ZshAction(option));
  return fmt::format("        '{}{}[{}]{}' \\\n", option.bRepeats ? "*" : "", name,
                     ZshText(option.szDescription), value);
}

std::string ZshCommand(const CommandFacts& command) {
  std::string text = fmt::format("    {})\n      _arguments \\\n", command.szName);
  for (const OptionFacts& option : command.Options) {
    for (const std::string& name : option.Names) text += ZshOption(option, name);
  }
  int place = 0;
  for (const OptionFacts& argument : command.Arguments) {
    const std::string at = argument.bRepeats ? "*" : std::to_string(++place);
    text += fmt::format("        '{}:{}:{}' \\\n", at, ZshText(argument.szValue), ZshAction(argument));
  }
  return text + "        && return\n      ;;\n";
}

// ---- fish

std::string FishText(const std::string& text) {
  std::string safe = Replaced(text, "\\'", "\\");
  for (char& c : safe) c = c == '\n' ? ' ' : c;
  return safe;
}

std::string FishValue(const OptionFacts& option) {
  switch (option.Kind) {
    case ValueKind::Words:
      return fmt::format(" -x -a '{}'", FishText(Joined(option.Words, " ")));
    case ValueKind::File:
      return " -r -F";
    case ValueKind::Folder:
      return " -x -a '(__fish_complete_directories)'";
    case ValueKind::Other:
      return " -x";
    case ValueKind::None:
      break;
  }
  return "";
}

std::string FishOption(const std::string& condition, const OptionFacts& option) {
  std::string names;
  for (const std::string& name : option.Names)
    names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  return fmt::format("complete -c orvo -n '{}'{}{} -d '{}'\n", condition, names, FishValue(option),
                     FishText(option.szDescription));
}

std::string FishArgument(const std::string& condition, const OptionFacts& argument) {
  if (argument.Kind == ValueKind::Words)
    return fmt::format("complete -c orvo -n '{}' -f -a '{}'\n", condition,
                       FishText(Joined(argument.Words, " ")));
  if (argument.Kind == ValueKind::Folder)
    return fmt::format("complete -c orvo -n '{}' -f -a '(__fish_complete_directories)'\n", condition);
  return fmt::format("complete -c orvo -n '{}' -F\n", condition);
}

}  // namespace

std::string BashCompletion(const std::vector<CommandFacts>& commands) {
  std::string text = kBashHead;
  for (const CommandFacts& command : commands) {
    for (const OptionFacts& option : command.Options) {
      if (option.Kind != ValueKind::None) text += BashValueOf(command.szName, option);
    }
  }
  text += "  esac\n  local options=\n  case $command in\n";
  for (const CommandFacts& command : commands) {
    const std::string pattern = command.szName.empty() ? "''" : command.szName;
    text += fmt::format("    {}) options='{}' ;;\n", pattern, Joined(NamesOfOptions(command), " "));
  }
  text += fmt::format(
      "  esac\n  if [[ $cur == -* ]]; then\n    _orvo_words \"$options\"\n    return\n  fi\n"
      "  case $command in\n    '') _orvo_words '{}' ;;\n",
      Joined(NamesOfCommands(commands), " "));
  for (const CommandFacts& command : commands) {
    const std::string arguments = BashArgumentsOf(command);
    if (!arguments.empty()) text += fmt::format("    {}) {} ;;\n", command.szName, arguments);
  }
  return text + "  esac\n}\n\ncomplete -F _orvo orvo\n";
}

std::string ZshCompletion(const std::vector<CommandFacts>& commands) {
  std::string text =
      "#compdef orvo\n\nlocal context state line\nlocal -a commands\ntypeset -A opt_args\ncommands=(\n";
  for (const CommandFacts& command : commands) {
    if (!command.szName.empty())
      text += fmt::format("  '{}:{}'\n", command.szName, ZshText(command.szDescription));
  }
  text += ")\n\n_arguments -C \\\n";
  for (const OptionFacts& option : commands.front().Options) {
    for (const std::string& name : option.Names)
      text += fmt::format("  '(- *){}[{}]' \\\n", name, ZshText(option.szDescription));
  }
  text +=
      "  '1:command:->command' \\\n  '*::argument:->argument' && return\n\n"
      "case $state in\n  command) _describe command commands ;;\n  argument)\n    case $words[1] in\n";
  for (const CommandFacts& command : commands) {
    if (!command.szName.empty()) text += ZshCommand(command);
  }
  return text + "    esac\n    ;;\nesac\n";
}

std::string FishCompletion(const std::vector<CommandFacts>& commands) {
  std::string text = "# fish completion for orvo\n\ncomplete -c orvo -f\n";
  for (const CommandFacts& command : commands) {
    const bool isProgram = command.szName.empty();
    const std::string condition =
        isProgram ? "__fish_use_subcommand" : "__fish_seen_subcommand_from " + command.szName;
    if (!isProgram)
      text += fmt::format("complete -c orvo -n __fish_use_subcommand -a {} -d '{}'\n", command.szName,
                          FishText(command.szDescription));
    for (const OptionFacts& option : command.Options) text += FishOption(condition, option);
    for (const OptionFacts& argument : command.Arguments) text += FishArgument(condition, argument);
  }
  return text;
}

}  // namespace orvo
