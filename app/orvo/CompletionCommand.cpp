// orvo completion and orvo man: what shells and man(1) know of the program.
#include <memory>

#include "exchange/WholeFiles.h"
#include "orvo/Command.h"
#include "orvo/Completions.h"
#include "orvo/ExchangeArguments.h"
#include "orvo/ManPages.h"
#include "run/ProgramFacts.h"

namespace orvo {

std::function<int()> AddCompletion(CLI::App& app, const FrontEnd& frontEnd) {
  const auto shell = std::make_shared<std::string>();
  app.add_option("SHELL", *shell, "the shell whose completion is printed")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  app.footer(
      "bash: orvo completion bash > ~/.local/share/bash-completion/completions/orvo\n"
      "zsh:  orvo completion zsh > a folder of $fpath, as _orvo\n"
      "fish: orvo completion fish > ~/.config/fish/completions/orvo.fish");
  return [&app, shell, &frontEnd] {
    const std::vector<CommandFacts> commands = FactsOf(*app.get_parent());
    const std::string text = *shell == "bash"  ? BashCompletion(commands)
                             : *shell == "zsh" ? ZshCompletion(commands)
                                               : FishCompletion(commands);
    std::fputs(text.c_str(), frontEnd.fOut);
    return static_cast<int>(ExitDone);
  };
}

std::function<int()> AddMan(CLI::App& app, const FrontEnd& frontEnd) {
  const auto folder = std::make_shared<std::string>();
  app.add_option("--out", *folder, "folder of the man pages")->required()->type_name("DIR");
  app.group("");
  return [&app, folder, &frontEnd] {
    const auto pages = ManPagesOf(FactsOf(*app.get_parent()), ProgramVersion(), std::string(ClassicHelp()));
    return RunExchange("man", frontEnd, [&](exchange::ExchangeLog&) {
      exchange::WholeFiles files(*folder, {});
      for (const ManPage& page : pages)
        files.Write(page.szFile, [&](TextWriter& file) { file.Write(page.szText); });
      files.Commit();
    });
  };
}

}  // namespace orvo
