#include "orvo/ManPages.h"

#include <fmt/format.h>

#include <sstream>

namespace orvo {
namespace {

/// Text that is no request and no escape.
std::string Roff(const std::string& text) {
  std::string safe;
  bool begins = true;  // of a line
  for (const char c : text) {
    if (begins && (c == '.' || c == '\'')) safe += "\\&";
    begins = c == '\n';
    if (c == '\\') {
      safe += "\\e";
    } else if (c == '-') {
      safe += "\\-";
    } else if (c == '\'') {
      safe += "\\(aq";
    } else {
      safe += c;
    }
  }
  return safe;
}

std::string NameOfPage(const std::string& command) { return command.empty() ? "orvo" : "orvo-" + command; }

std::string Head(const std::string& name, const std::string& version, const std::string& what) {
  std::string upper = name;
  for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return fmt::format(".TH {} 1 \"\" \"orvo {}\" \"User Commands\"\n.SH NAME\n{} \\- {}\n", Roff(upper),
                     version, Roff(name), Roff(what));
}

std::string Argument(const OptionFacts& argument) {
  const std::string name =
      fmt::format("\\fI{}\\fR{}", Roff(argument.szValue), argument.bRepeats ? "..." : "");
  return argument.bRequired ? name : fmt::format("[{}]", name);
}

std::string Synopsis(const CommandFacts& command) {
  if (command.szName.empty())
    return ".SH SYNOPSIS\n.B orvo\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n";
  std::string line = fmt::format(".SH SYNOPSIS\n.B orvo {}\n", Roff(command.szName));
  for (const OptionFacts& argument : command.Arguments) line += Argument(argument) + " ";
  return line + "[\\fIOPTIONS\\fR]\n";
}

std::string Item(const OptionFacts& option) {
  std::string names;
  for (const std::string& name : option.Names)
    names += fmt::format("{}\\fB{}\\fR", names.empty() ? "" : ", ", Roff(name));
  if (!option.szValue.empty())
    names += fmt::format("{}\\fI{}\\fR", names.empty() ? "" : " ", Roff(option.szValue));
  std::string text = fmt::format(".TP\n{}\n{}\n", names, Roff(option.szDescription));
  if (!option.szDefault.empty()) text += fmt::format("Default: {}.\n", Roff(option.szDefault));
  return text;
}

std::string Items(const char* heading, const std::vector<OptionFacts>& options) {
  if (options.empty()) return {};
  std::string text = fmt::format(".SH {}\n", heading);
  for (const OptionFacts& option : options) text += Item(option);
  return text;
}

/// As it stands, line by line.
std::string Verbatim(const std::string& text) {
  return fmt::format(".nf\n{}{}.fi\n", Roff(text), text.empty() || text.back() != '\n' ? "\n" : "");
}

std::string Footer(const CommandFacts& command) {
  if (command.szFooter.empty()) return {};
  return command.szFooter.find('\n') == std::string::npos
             ? fmt::format(".SH NOTES\n{}\n", Roff(command.szFooter))
             : ".SH NOTES\n" + Verbatim(command.szFooter);
}

std::string SeeAlso(const std::vector<CommandFacts>& commands, const std::string& self) {
  std::string text;
  for (const CommandFacts& command : commands) {
    if (command.szName == self) continue;
    text += fmt::format("{}.BR {} (1)", text.empty() ? ".SH SEE ALSO\n" : " ,\n",
                        Roff(NameOfPage(command.szName)));
  }
  return text + (self == "orvo_adjust" ? "\n" : " ,\n.BR orvo_adjust (1)\n");
}

std::string CommandList(const std::vector<CommandFacts>& commands) {
  std::string text = ".SH COMMANDS\n";
  for (const CommandFacts& command : commands) {
    if (command.szName.empty()) continue;
    text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", Roff(command.szName), Roff(command.szDescription));
  }
  return text;
}

/// "Adjust a block: ..." as a title is all but its capital.
std::string Title(std::string text) {
  if (!text.empty() && text.front() >= 'A' && text.front() <= 'Z')
    text.front() = static_cast<char>(text.front() - 'A' + 'a');
  return text;
}

}  // namespace

std::vector<ManPage> ManPagesOf(const std::vector<CommandFacts>& commands, const std::string& version,
                                const std::string& classic) {
  std::vector<ManPage> pages;
  for (const CommandFacts& command : commands) {
    const std::string name = NameOfPage(command.szName);
    std::string text = Head(name, version, Title(command.szDescription)) + Synopsis(command);
    if (command.szName.empty()) text += CommandList(commands);
    text += Items("ARGUMENTS", command.Arguments) + Items("OPTIONS", command.Options) + Footer(command);
    pages.push_back({name + ".1", text + SeeAlso(commands, command.szName)});
  }
  pages.push_back(
      {"orvo_adjust.1", Head("orvo_adjust", version, "adjust a block, with a command line of places") +
                            ".SH DESCRIPTION\n" + Verbatim(classic) + SeeAlso(commands, "orvo_adjust")});
  return pages;
}

}  // namespace orvo
