// What orvo adjust shows, by stream: to people, to terminals, to other programs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/ProgramPath.h"
#include "orvo/OrvoMain.h"
#include "support/Block.h"
#include "support/Console.h"

namespace orvo::test {
namespace {

using Json = nlohmann::json;

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

size_t Count(const std::string& text, const std::string& part) {
  size_t num = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++num;
  return num;
}

/// The lines of the table of iterations.
size_t TableLines(const std::string& text) {
  size_t num = 0;
  bool inTable = false;
  for (const std::string& line : LinesOf(text)) {
    if (line.starts_with("  iteration ")) {
      inTable = true;
    } else if (line.empty()) {
      inTable = false;
    } else {
      num += inTable;
    }
  }
  return num;
}

/// What a terminal shows in the end.
class Screen {
 public:
  explicit Screen(const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (c == '\r') {
        nColumn = 0;
      } else if (c == '\n') {
        vLines.emplace_back();
      } else if (c == '\033') {
        const size_t end = text.find_first_of("Km", i);
        if (end == std::string::npos) break;
        if (text[end] == 'K') vLines.back().resize(std::min(nColumn, vLines.back().size()));
        i = end;
      } else {
        vLines.back().resize(std::max(vLines.back().size(), nColumn + 1), ' ');
        vLines.back()[nColumn++] = c;
      }
    }
  }
  std::string Text() const {
    std::string text;
    for (const std::string& line : vLines) text += line + "\n";
    return text;
  }
  const std::vector<std::string>& Lines() const { return vLines; }

 private:
  std::vector<std::string> vLines{""};
  size_t nColumn = 0;
};

struct Ended {
  int nExit = -1;
  std::string szOut, szErr;  ///< on a terminal all is in szOut
};

/// How a program is started.
struct Start {
  bool bTerminalOut = false, bTerminalErr = false;
  std::vector<std::pair<std::string, std::string>> vEnvironment{{"TERM", "xterm"}};
  int nColumns = 80;
  /// Called with all that was shown on the terminal so far, each time that more was.
  std::function<void(pid_t, const std::string&)> Meanwhile;
};

class AdjustConsole : public ::testing::Test {
 protected:
  AdjustConsole() : Tried(Options()) {}

  static SyntheticOptions Options() {
    SyntheticOptions options;
    options.nStrips = 3;
    options.nImagesPerStrip = 5;
    options.fMeasurementsPerImage = 200;
    return options;
  }

  std::vector<std::string> Arguments(std::vector<std::string> more = {}) const {
    const SyntheticPaths& paths = Tried.Paths();
    std::vector<std::string> all{ProgramPath(), "adjust",    paths.szText, "--gcp",      paths.szGcp,
                                 "--settings",  paths.szXml, "--out",      Tried / "out"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  /// The program in a process of its own; what it shows goes to files, or to a terminal.
  Ended Run(const std::vector<std::string>& arguments, const Start& start = {}) const {
    int master = -1, slave = -1;
    winsize size{24, static_cast<unsigned short>(start.nColumns), 0, 0};
    if (::openpty(&master, &slave, nullptr, nullptr, &size) != 0) throw std::runtime_error("no terminal");
    const std::string out = Tried / "stdout", err = Tried / "stderr";
    const pid_t child = ::fork();
    if (child == 0) {
      ::setsid();
      const auto to = [&](int descriptor, bool terminal, const std::string& path) {
        ::dup2(terminal ? slave : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), descriptor);
      };
      to(1, start.bTerminalOut, out);
      to(2, start.bTerminalErr, err);
      ::close(master);
      ::unsetenv("NO_COLOR");
      for (const auto& [name, value] : start.vEnvironment) ::setenv(name.c_str(), value.c_str(), 1);
      std::vector<char*> argv;
      for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
      argv.push_back(nullptr);
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    ::close(slave);
    Ended ended;
    // A terminal without anybody behind it fails with EIO: the end of what is read.
    char buffer[4096];
    for (ssize_t got; (got = ::read(master, buffer, sizeof buffer)) > 0;) {
      ended.szOut.append(buffer, static_cast<size_t>(got));
      if (start.Meanwhile) start.Meanwhile(child, ended.szOut);
    }
    ::close(master);
    int status = 0;
    ::waitpid(child, &status, 0);
    ended.nExit = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    if (!start.bTerminalOut) ended.szOut = ReadFile(out);
    if (!start.bTerminalErr) ended.szErr = ReadFile(err);
    return ended;
  }

  Block Tried;
};

TEST_F(AdjustConsole, PeopleReadTablesAndProgramsTheLog) {
  const Ended people = Run(Arguments());
  EXPECT_EQ(people.nExit, 0);
  EXPECT_EQ(people.szErr, "");
  EXPECT_GE(TableLines(people.szOut), 3u) << people.szOut;
  for (const char* part :
       {"Settings: ", "  images ", "  iterations ", "  time ", "Report: ", "\nVerdict: good\n"})
    EXPECT_TRUE(Has(people.szOut, part)) << part << people.szOut;
  EXPECT_FALSE(Has(people.szOut, ">>"));
  EXPECT_FALSE(Has(people.szOut, "\033") || Has(people.szOut, "\r"));
  for (const std::string& line : LinesOf(people.szOut)) {
    if (!line.starts_with("Settings: ") && !line.starts_with("Report: ")) {
      EXPECT_LE(line.size(), 80u) << line;
    }
  }

  const Ended log = Run(Arguments({"--log"}));
  EXPECT_EQ(log.nExit, 0);
  EXPECT_EQ(log.szErr, "");
  EXPECT_EQ(TableLines(log.szOut), 0u);
  EXPECT_TRUE(Has(log.szOut, "\nVerdict: good\n"));
  // Both runs are in the file, the second as it was shown, but for what is for the console alone.
  const std::string file = ReadFile(Tried / "out/log.txt");
  EXPECT_EQ(Count(file, "Adjustment begin:"), 2u);
  EXPECT_EQ(Count(log.szOut, "Adjustment begin:"), 1u);
  for (const std::string& line : LinesOf(file.substr(file.rfind("Adjustment begin:"))))
    EXPECT_TRUE(Has(log.szOut, line + "\n")) << line;
}

TEST_F(AdjustConsole, QuietRunsTellFindingsOnly) {
  const Ended good = Run(Arguments({"--quiet"}));
  EXPECT_EQ(good.nExit, 0);
  EXPECT_EQ(good.szOut, "");
  EXPECT_EQ(good.szErr, "");
  const Ended refused = Run(Arguments({"--quiet", "--pos", Tried.Paths().szPos}));
  EXPECT_EQ(refused.nExit, 1);
  EXPECT_EQ(refused.szOut, "");
  EXPECT_TRUE(Has(refused.szErr, ": error: ")) << refused.szErr;
}

TEST_F(AdjustConsole, JsonIsAllOfStandardError) {
  for (const bool good : {true, false}) {
    std::vector<std::string> arguments = Arguments({"--progress", "json"});
    if (!good) arguments[2] += ".none";
    const Ended ended = Run(arguments);
    EXPECT_EQ(ended.nExit, good ? 0 : 1);
    std::map<std::string, size_t> events;
    std::vector<Json> lines;
    for (const std::string& line : LinesOf(ended.szErr)) {
      lines.push_back(Json::parse(line));
      ++events[lines.back()["event"].get<std::string>()];
    }
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front()["event"], "begin");
    EXPECT_EQ(lines.back()["event"], "end");
    EXPECT_EQ(lines.back()["exit"], ended.nExit);
    EXPECT_EQ(events["iteration"], TableLines(ended.szOut));
    EXPECT_EQ(events["failure"], good ? 0u : 1u);
    EXPECT_EQ(events["counts"], good ? 1u : 0u);
    if (good) {
      EXPECT_GE(events["iteration"], 3u);
      EXPECT_EQ(lines.back()["verdict"], "good");
      double before = 0;
      for (const Json& line : lines) {
        EXPECT_GE(line["seconds"].get<double>(), before);
        before = line["seconds"].get<double>();
      }
    } else {
      EXPECT_TRUE(lines.back()["verdict"].is_null());
      EXPECT_TRUE(Has(lines[1]["message"], ".none can't be read")) << lines[1];
    }
  }
}

TEST_F(AdjustConsole, ATerminalHasABarAndColours) {
  const struct {
    const char* szWhat;
    std::vector<std::string> more;
    std::vector<std::pair<std::string, std::string>> vEnvironment;
    bool bBar, bColour;
  } rows[] = {
      {"as it is", {}, {{"TERM", "xterm"}}, true, true},
      {"without colour", {}, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}, true, false},
      {"with an empty NO_COLOR", {}, {{"TERM", "xterm"}, {"NO_COLOR", ""}}, true, true},
      {"on a dumb one", {}, {{"TERM", "dumb"}}, false, false},
      {"without progress", {"--progress", "none"}, {{"TERM", "xterm"}}, false, true},
      {"with the log", {"--log"}, {{"TERM", "xterm"}}, false, true},
      {"with the log and the bar", {"--log", "--progress", "bar"}, {{"TERM", "xterm"}}, true, true},
  };
  for (const auto& row : rows) {
    const Ended ended = Run(Arguments(row.more), {true, true, row.vEnvironment, 60, {}});
    EXPECT_EQ(ended.nExit, 0) << row.szWhat;
    EXPECT_EQ(Has(ended.szOut, "\033[K"), row.bBar) << row.szWhat;
    EXPECT_EQ(Has(ended.szOut, "Verdict: \033[1;32mgood\033[0m"), row.bColour) << row.szWhat;
    EXPECT_EQ(Has(ended.szOut, "\033[1"), row.bColour) << row.szWhat;
    EXPECT_EQ(Has(ended.szOut, "iterating 1 of at most"), row.bBar) << row.szWhat;
    const Screen screen(ended.szOut);
    const std::string text = screen.Text();
    EXPECT_TRUE(Has(text, "\nVerdict: good\n")) << row.szWhat << text;
    EXPECT_FALSE(Has(text, " of at most ")) << row.szWhat << text;
    EXPECT_FALSE(Has(text, "[--") || Has(text, "[##") || Has(text, " s left")) << row.szWhat << text;
    if (row.more.empty() || row.more[0] != "--log") {
      EXPECT_GE(TableLines(text), 3u) << row.szWhat << text;
    }
    // No drawing goes beyond the last column but one.
    for (size_t at = ended.szOut.find('\r'); at != std::string::npos; at = ended.szOut.find('\r', at + 1)) {
      const size_t end = ended.szOut.find_first_of("\r\n\033", at + 1);
      if (end == std::string::npos || ended.szOut[end] != '\033') continue;
      EXPECT_LT(end - at, 61u) << row.szWhat;
    }
  }
}

TEST_F(AdjustConsole, ABarOnTheTerminalLeavesAPipeClean) {
  const Ended ended = Run(Arguments(), {false, true, {{"TERM", "xterm"}}, 80, {}});
  EXPECT_EQ(ended.nExit, 0);
  EXPECT_FALSE(Has(ended.szOut, "\033") || Has(ended.szOut, "\r")) << ended.szOut;
  EXPECT_TRUE(Has(ended.szOut, "\nVerdict: good\n")) << ended.szOut;
}

TEST_F(AdjustConsole, ASignalLeavesTheTerminalClean) {
  Tried.Set("LM_Converge_Threshold", "0");
  Tried.Set("Free_LM_Iteration_Num", "500");
  Tried.Set("GCP_LM_Iteration_Num", "500");
  Tried.Set("Max_LM_Iteration_Num", "500");
  for (const int signal : {SIGINT, SIGTERM}) {
    bool sent = false;
    Start start{true, true, {{"TERM", "xterm"}}, 80, {}};
    start.Meanwhile = [&](pid_t child, const std::string& shown) {
      if (sent || !Has(shown, " of at most 500")) return;
      sent = true;
      ::kill(child, signal);
    };
    const Ended ended = Run(Arguments(), start);
    ASSERT_EQ(ended.nExit, 128 + signal);
    EXPECT_TRUE(sent);
    const std::vector<std::string> lines = Screen(ended.szOut).Lines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[lines.size() - 2],
              std::string("orvo: interrupted by ") + (signal == SIGINT ? "SIGINT" : "SIGTERM"));
    EXPECT_EQ(lines.back(), "");
    EXPECT_FALSE(Has(Screen(ended.szOut).Text(), " of at most "));
  }
}

TEST_F(AdjustConsole, WhatCantBeShownChangesNoResult) {
  ASSERT_EQ(Run(Arguments()).nExit, 0);
  const std::string expected = ReadFile(Tried / "out/OrvoResult.ovc");
  std::string line;
  for (const std::string& argument : Arguments()) line += "'" + argument + "' ";
  for (const char* more :
       {"", "--log", "--quiet", "--progress json", "--progress bar", "--progress bar --log"}) {
    for (const char* streams : {">/dev/full 2>/dev/full", ">&- 2>&-", ">/dev/full 2>&-"}) {
      std::filesystem::remove_all(Tried / "out");
      const int status = std::system((line + more + " " + streams).c_str());
      EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 0) << more << streams;
      EXPECT_TRUE(ReadFile(Tried / "out/OrvoResult.ovc") == expected) << more << streams;
      // A file that is opened where a stream was would get what the stream is told.
      for (const auto& entry : std::filesystem::directory_iterator(Tried / "out")) {
        const std::string text = entry.is_regular_file() ? ReadFile(entry.path().string()) : "";
        for (const char* shown : {"Settings: ", "Report: ", "\"event\"", "\r", "  iteration "})
          EXPECT_FALSE(Has(text, shown)) << entry.path() << more << streams;
      }
    }
  }
}

/// A run that is only told of: what it shows, and how it ends.
struct ToldRun {
  std::vector<std::string> more;
  std::function<RunOutcome(std::FILE* console, report::RunObserver& observer)> Tell;
};

Ended Call(const ToldRun& told) {
  ScratchFolder folder;
  WriteFile(folder / "b.prj", "1\n");
  std::vector<std::string> arguments{"orvo", "adjust", folder / "b.prj"};
  arguments.insert(arguments.end(), told.more.begin(), told.more.end());
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  Console out, err;
  FrontEnd frontEnd;
  frontEnd.Check = [](const RunPaths&, bool, Overrides) { return std::vector<Finding>(); };
  frontEnd.Diagnose = [](const RunPaths&, DiagnosisScope, const Platform&, Diagnosis&, Overrides) {};
  frontEnd.fOut = out.Stream();
  frontEnd.fErr = err.Stream();
  frontEnd.Adjust = [&](const RunPaths&, const Platform&, std::FILE* console, const RunOptions& options) {
    return told.Tell(console, *options.pObserver);
  };
  Ended ended;
  ended.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  ended.szOut = out.Text();
  ended.szErr = err.Text();
  return ended;
}

TEST(AdjustTalk, AFailedRunShowsItsLastMessages) {
  const auto fail = [](std::FILE* console, report::RunObserver&) {
    for (int i = 0; i < 20; ++i) std::fprintf(console, ">>message %d\n", i);
    std::fputs("Error!It broke!\nEnd of ", console);
    std::fputs("it\n", console);
    return RunOutcome{false, 0, ""};
  };
  const Ended people = Call({{}, fail});
  EXPECT_EQ(people.nExit, 1);
  EXPECT_TRUE(people.szErr.starts_with("Error!It broke!\n>>message 13\n")) << people.szErr;
  EXPECT_TRUE(Has(people.szErr, ">>message 19\nEnd of it\norvo adjust: the run failed: ")) << people.szErr;
  EXPECT_FALSE(Has(people.szOut, "message"));
  const Ended log = Call({{"--log"}, fail});
  EXPECT_TRUE(Has(log.szOut, ">>message 0\n"));
  EXPECT_TRUE(Has(log.szOut, ">>message 19\nError!It broke!\nEnd of it\n"));
  EXPECT_TRUE(log.szErr.starts_with("orvo adjust: the run failed: ")) << log.szErr;
}

TEST(AdjustTalk, FindingsAndReasonsGoToStandardError) {
  const auto doubtful = [](std::FILE*, report::RunObserver& observer) {
    observer.OnFinding({Severity::Note, "a\x1b", 3, -1, "left out", ""});
    RunOutcome outcome{true, 0, ""};
    outcome.Judgement = {true, Grade::Doubtful, {{Grade::Doubtful, "too few", "3", "Add some"}}};
    return outcome;
  };
  const std::string note = "a\\x1b:3: note: left out.\n", reason = "doubtful: too few; limit 3. Add some.\n";
  const Ended people = Call({{}, doubtful});
  EXPECT_EQ(people.nExit, 0);
  EXPECT_EQ(people.szErr, note);
  EXPECT_TRUE(Has(people.szOut, "\nVerdict: doubtful\n" + reason)) << people.szOut;
  const Ended quiet = Call({{"--quiet"}, doubtful});
  EXPECT_EQ(quiet.szErr, note + reason);
  EXPECT_EQ(quiet.szOut, "");
  const Ended strict = Call({{"--quiet", "--strict"}, doubtful});
  EXPECT_EQ(strict.nExit, 3);
  EXPECT_EQ(strict.szOut, "");
  const Ended json = Call({{"--quiet", "--progress", "json"}, doubtful});
  const std::vector<std::string> lines = LinesOf(json.szErr);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(Json::parse(lines[1])["what"], "left out");
  EXPECT_EQ(Json::parse(lines[2])["reasons"][0]["what"], "too few");
  EXPECT_EQ(Json::parse(lines[2])["verdict"], "doubtful");
}

TEST(AdjustTalk, TheBarGivesWayToTheLog) {
  const Ended ended =
      Call({{"--log", "--progress", "bar"}, [](std::FILE* console, report::RunObserver& observer) {
              observer.OnPhase(report::RunPhase::Reading);
              std::fputs(">>one\n>>two\n", console);
              return RunOutcome{true, 0, ""};
            }});
  EXPECT_TRUE(Has(ended.szOut, ">>one\n>>two\nReport: ")) << ended.szOut;
  EXPECT_FALSE(Has(ended.szOut, "\r"));
  EXPECT_EQ(Count(ended.szErr, "\rreading "), 3u) << ended.szErr;
  EXPECT_TRUE(ended.szErr.ends_with("\r\033[K")) << ended.szErr;
}

TEST(AdjustTalk, NobodyMissesControlThatWasNotNamed) {
  for (const char* message : {"Warning!Open gcp file failed!\n", "Error!Open gcp file falied!\n"}) {
    const auto run = [&](std::FILE* console, report::RunObserver&) {
      std::fputs(message, console);
      return RunOutcome{true, 0, ""};
    };
    for (const std::string more : {"", "--quiet"}) {
      std::vector<std::string> arguments;
      if (!more.empty()) arguments.push_back(more);
      EXPECT_EQ(Call({arguments, run}).szErr, "") << message << more;
    }
    // In the log it stays; what else the system warns of is told all the same.
    EXPECT_TRUE(Has(Call({{"--log"}, run}).szOut, message));
    const auto other = [&](std::FILE* console, report::RunObserver& observer) {
      std::fputs("Warning!Open ovt file failed!\n", console);
      return run(console, observer);
    };
    EXPECT_EQ(Call({{}, other}).szErr, "Warning!Open ovt file failed!\n");
  }
}

TEST(AdjustTalk, FilesThatWereAskedForAreNamed) {
  const struct {
    std::vector<std::string> more;
    const char* szLine;
  } rows[] = {{{}, ""},
              {{"--residuals-csv"}, "Beside it: residuals.csv\n"},
              {{"--residuals"}, "Beside it: residuals.csv\n"},
              {{"--points"}, "Beside it: points.csv, points.ply\n"},
              {{"--points", "--residuals-csv", "--residuals", "none"},
               "Beside it: residuals.csv, points.csv, points.ply\n"},
              {{"--points", "--no-report"}, "Beside it: points.csv, points.ply\n"}};
  for (const auto& row : rows) {
    const Ended ended = Call({row.more, [](std::FILE*, report::RunObserver&) {
                                return RunOutcome{true, 0, ""};
                              }});
    const size_t report = ended.szOut.find("Report: ");
    ASSERT_NE(report, std::string::npos) << ended.szOut;
    EXPECT_EQ(ended.szOut.substr(ended.szOut.find('\n', report) + 1), row.szLine);
  }
}

TEST(AdjustTalk, AFailedRunNamesItsPage) {
  const ScratchFolder folder;
  const std::string out = folder / "out", page = folder / "out/failed/report.html";
  bool writes = true;
  const auto fail = [&](std::FILE*, report::RunObserver&) {
    if (writes) {
      std::filesystem::create_directories(out + "/failed");
      WriteFile(page, "page");
    }
    return RunOutcome{false, 0, "", "it broke"};
  };
  EXPECT_TRUE(Has(Call({{"--out", out}, fail}).szOut, "Report: " + page + "\n"));
  EXPECT_EQ(Call({{"--out", out, "--quiet"}, fail}).szOut, "");
  // That of an earlier run is none of this one.
  writes = false;
  const Ended later = Call({{"--out", out}, fail});
  EXPECT_EQ(later.nExit, ExitFailed);
  EXPECT_FALSE(Has(later.szOut, "Report: ")) << later.szOut;
}

}  // namespace
}  // namespace orvo::test
