// orvo help: what the codes of orvo check mean.
#include <memory>

#include "base/PrintableName.h"
#include "check/Codes.h"
#include "orvo/Command.h"

namespace orvo {
namespace {

struct HelpArguments {
  std::string szCode;
  bool bMarkdown = false;
};

template <typename Take>
void ForEachCode(const Take& take) {
  for (const auto table : {FileCodes(), BlockCodes()}) {
    for (const CodeEntry& entry : table) take(entry);
  }
}

int TellCode(const HelpArguments& arguments, const FrontEnd& frontEnd) {
  const CodeEntry* entry = FindCode(arguments.szCode);
  if (entry == nullptr) {
    std::fprintf(frontEnd.fErr, "orvo help: there is no code %s: orvo help lists all codes\n",
                 PrintableName(arguments.szCode).c_str());
    return ExitFailed;
  }
  std::fprintf(frontEnd.fOut, "%s (%s): %s\n\nCause: %s\n\nRemedy: %s\n", entry->szCode,
               NameOf(entry->Weight), entry->szTitle, entry->szCause, entry->szRemedy);
  return ExitDone;
}

int RunHelp(const HelpArguments& arguments, const FrontEnd& frontEnd) {
  if (!arguments.szCode.empty()) return TellCode(arguments, frontEnd);
  ForEachCode([&](const CodeEntry& entry) {
    if (arguments.bMarkdown) {
      std::fprintf(frontEnd.fOut, "%s\n", MarkdownRowOf(entry).c_str());
    } else {
      std::fprintf(frontEnd.fOut, "%s  %-7s  %s\n", entry.szCode, NameOf(entry.Weight), entry.szTitle);
    }
  });
  return ExitDone;
}

}  // namespace

std::function<int()> AddHelp(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<HelpArguments>();
  app.add_option("CODE", arguments->szCode, "a code, such as S006 [all codes with their titles]");
  // Rows of the table in docs/codes.md.
  app.add_flag("--markdown", arguments->bMarkdown)->group("");
  return [arguments, &frontEnd] { return RunHelp(*arguments, frontEnd); };
}

}  // namespace orvo
