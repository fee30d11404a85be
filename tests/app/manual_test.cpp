// Man pages, completions and the version: made of the options that the program declares.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdlib>
#include <set>
#include <sstream>

#include "app/CommandCall.h"
#include "base/simd/InstructionSet.h"
#include "orvo/Command.h"
#include "orvo/Completions.h"
#include "orvo/ManPages.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// The front end with its options, as it is.
struct Tree {
  FrontEnd Front;
  CLI::App App;
  std::vector<DeclaredCommand> Declared = DeclareCommands(App, Front);
  std::vector<CommandFacts> Commands = FactsOf(App);
};

/// What a shell command prints, and its exit status.
std::pair<int, std::string> Shell(const std::string& command) {
  std::string text;
  std::FILE* pipe = ::popen(command.c_str(), "r");
  std::array<char, 4096> piece{};
  for (size_t got = 0; (got = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
    text.append(piece.data(), got);
  const int status = ::pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

bool IsThere(const char* program) {
  return Shell(std::string("command -v ") + program + " >/dev/null 2>&1").first == 0;
}

std::string Roffed(std::string name) {
  for (size_t at = name.find('-'); at != std::string::npos; at = name.find('-', at + 2))
    name.insert(at, "\\");
  return name;
}

/// The part of a completion that is about one command.
std::string PartOf(const std::string& text, const std::string& begin, const std::string& end) {
  const size_t at = text.find(begin);
  return at == std::string::npos ? "" : text.substr(at, text.find(end, at) - at);
}

TEST(Manual, EveryOptionIsInEveryForm) {
  const Tree tree;
  const std::string bash = BashCompletion(tree.Commands), zsh = ZshCompletion(tree.Commands),
                    fish = FishCompletion(tree.Commands);
  const std::vector<ManPage> pages = ManPagesOf(tree.Commands, "1.2.3", "usage\n");
  ASSERT_EQ(pages.size(), tree.Commands.size() + 1);
  std::set<std::string> seen;
  for (const CLI::App* app : tree.App.get_subcommands([](const CLI::App*) { return true; })) {
    if (app->get_group().empty()) continue;
    const std::string name = app->get_name();
    seen.insert(name);
    const auto page = std::ranges::find(pages, "orvo-" + name + ".1", &ManPage::szFile);
    ASSERT_NE(page, pages.end()) << name;
    const std::string ofBash = PartOf(bash, "    " + name + ") options=", "\n"),
                      ofZsh = PartOf(zsh, "    " + name + ")\n", "&& return");
    for (const CLI::Option* option : app->get_options()) {
      if (option->get_group().empty()) continue;
      for (const std::string& one : option->get_lnames()) {
        const std::string full = "--" + one;
        EXPECT_TRUE(Has(page->szText, "\\fB" + Roffed(full) + "\\fR")) << name << full;
        EXPECT_TRUE(Has(ofBash + " ", full + " ") || Has(ofBash, full + "'")) << name << full;
        EXPECT_TRUE(Has(ofZsh, full + "[")) << name << full;
        EXPECT_TRUE(Has(fish, "__fish_seen_subcommand_from " + name + "' -l " + one + " ")) << name << full;
      }
      if (!option->get_lnames().empty() || !option->get_snames().empty()) continue;
      EXPECT_TRUE(Has(page->szText, "\\fI" + Roffed(option->get_name()) + "\\fR")) << name;
    }
  }
  EXPECT_TRUE(seen.contains("adjust") && seen.contains("settings") && seen.contains("completion"));
  EXPECT_FALSE(seen.contains("man")) << "that is for the build";
  EXPECT_EQ(seen.size() + 1, tree.Commands.size());
  EXPECT_EQ(pages.back().szFile, "orvo_adjust.1");
}

TEST(Manual, NoTextIsTakenForARequest) {
  CommandFacts command{"odd", "What -- 'it' does", ".dot\n'quote\\n", {}, {}};
  command.Options.push_back({{"--a-b"}, "", ".begins \\ with", "", ValueKind::None, {}, false, false});
  const std::string text = ManPagesOf({command}, "1", "").front().szText;
  EXPECT_TRUE(Has(text, "\n\\&.dot\n\\&\\(aqquote\\en\n")) << text;
  EXPECT_TRUE(Has(text, "\n\\&.begins \\e with\n")) << text;
  EXPECT_TRUE(Has(text, "\\fB\\-\\-a\\-b\\fR")) << text;
}

TEST(Manual, PagesAreFormattedWithoutWarning) {
  if (!IsThere("groff")) GTEST_SKIP() << "groff is not installed";
  ScratchFolder folder;
  ASSERT_EQ(CallOrvo({"man", "--out", folder / "man1"}).nExit, 0);
  const Tree tree;
  for (const ManPage& page : ManPagesOf(tree.Commands, "1", "")) {
    const auto [status, said] =
        Shell("groff -ww -man -Tutf8 " + (folder / ("man1/" + page.szFile)) + " 2>&1 >/dev/null");
    EXPECT_EQ(status, 0) << page.szFile;
    EXPECT_EQ(said, "") << page.szFile;
  }
}

TEST(Manual, BashCompletes) {
  if (!IsThere("bash")) GTEST_SKIP() << "bash is not installed";
  ScratchFolder folder;
  WriteFile(folder / "c.bash", CallOrvo({"completion", "bash"}).szOut);
  WriteFile(folder / "my block.prj", "");
  std::filesystem::create_directory(folder / "my folder");
  const struct {
    const char *words, *replies;  ///< each reply in a line
  } rows[] = {
      {"orvo ad", "adjust\n"},
      {"orvo --v", "--version\n"},
      {"orvo adjust --device-", "--device-memory\n"},
      {"orvo adjust --device ''", "cpu\ncuda\nhost\n"},
      {"orvo adjust --device = c", "cpu\ncuda\n"},
      {"orvo adjust --device =", "cpu\ncuda\nhost\n"},
      {"orvo adjust --set GPS_WeightX", "GPS_WeightXY=\n"},
      {"orvo adjust --set GPS_Ac", "GPS_Accuracy_XY=\nGPS_Accuracy_Z=\n"},
      {"orvo check --set GCP_", "GCP_Accuracy=\nGCP_LM_Iteration_Num=\nGCP_Weight=\n"},
      {"orvo settings --explain Thread", "Thread_Num\n"},
      {"orvo adjust --memory ''", ""},
      {"orvo adjust my", "my block.prj\nmy folder\n"},
      {"orvo adjust --gcp my", "my block.prj\nmy folder\n"},
      {"orvo adjust --out my", "my folder\n"},
      {"orvo settings --preset dr", "drone\ndrone-rtk\n"},
      {"orvo settings --explain GCP_W", "GCP_Weight\n"},
      {"orvo help S00", "S001\nS002\nS003\nS004\nS005\nS006\nS007\nS008\nS009\n"},
      {"orvo import col", "colmap\n"},
      {"orvo import colmap my", "my block.prj\nmy folder\n"},
      {"orvo completion z", "zsh\n"},
      {"orvo nonsense --x", ""},
  };
  for (const auto& row : rows) {
    WriteFile(folder / "run.bash", std::string("cd '") + folder.Path() + "'; source c.bash\nCOMP_WORDS=(" +
                                       row.words +
                                       ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_orvo\n"
                                       "((${#COMPREPLY[@]})) && printf '%s\\n' \"${COMPREPLY[@]}\" | sort\n"
                                       "complete -p orvo >/dev/null\n");
    const auto [status, replies] = Shell("LC_ALL=C bash --norc " + (folder / "run.bash") + " 2>&1");
    EXPECT_EQ(status, 0) << row.words;
    EXPECT_EQ(replies, row.replies) << row.words;
  }
}

TEST(Manual, ZshReadsItsCompletion) {
  if (!IsThere("zsh")) GTEST_SKIP() << "zsh is not installed";
  ScratchFolder folder;
  WriteFile(folder / "_orvo", CallOrvo({"completion", "zsh"}).szOut);
  const auto [status, said] = Shell("zsh -n " + (folder / "_orvo") + " 2>&1");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(said, "");
}

TEST(Manual, FishCompletes) {
  if (!IsThere("fish")) GTEST_SKIP() << "fish is not installed";
  ScratchFolder folder;
  WriteFile(folder / "c.fish", CallOrvo({"completion", "fish"}).szOut);
  const struct {
    const char *line, *reply;
  } rows[] = {{"orvo adj", "adjust\t"},
              {"orvo adjust --device-m", "--device-memory\t"},
              {"orvo adjust --device cu", "cuda\t"},
              {"orvo settings --preset dr", "drone-rtk\t"}};
  for (const auto& row : rows) {
    const auto [status, replies] = Shell("HOME=" + folder.Path() + " fish --no-config -c 'source " +
                                         (folder / "c.fish") + "; complete -C \"" + row.line + "\"' 2>&1");
    EXPECT_EQ(status, 0) << row.line;
    EXPECT_TRUE(Has(replies, row.reply)) << row.line << ": " << replies;
  }
}

TEST(Manual, OnlyKnownShells) {
  EXPECT_EQ(CallOrvo({"completion"}).nExit, 2);
  EXPECT_EQ(CallOrvo({"completion", "tcsh"}).nExit, 2);
  EXPECT_EQ(CallOrvo({"man"}).nExit, 2);
}

TEST(Version, TellsTheBuild) {
  const std::string text = CallOrvo({"--version"}).szOut;
  std::vector<std::string> lines;
  std::istringstream all(text);
  for (std::string line; std::getline(all, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 5u) << text;
  EXPECT_EQ(lines[0], "orvo " ORVO_TEST_VERSION);
  EXPECT_TRUE(lines[1].starts_with("Build: GCC ") || lines[1].starts_with("Build: Clang ")) << text;
  EXPECT_TRUE(lines[2].starts_with("Instruction sets: baseline")) << text;
  EXPECT_TRUE(lines[2].ends_with(std::string("; chosen on this machine: ") + NameOf(BestInstructionSet())));
  EXPECT_TRUE(lines[3].starts_with("CUDA: ") && lines[3].size() > 6) << text;
  EXPECT_TRUE(lines[4].starts_with("PROJ: ") && lines[4].size() > 6) << text;
}

}  // namespace
}  // namespace orvo::test
