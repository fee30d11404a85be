// Signals at any moment of a run: the output folder holds one whole run, whichever.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include "app/ProgramPath.h"
#include "base/FolderLock.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Interruption : public ::testing::Test {
 protected:
  Interruption() : Tried(Options()) {
    Long = FilesOf(End(0, milliseconds(0)));
    Tried.Set("Max_LM_Iteration_Num", "1");
    Short = FilesOf(End(0, milliseconds(0)));
    Tried.Set("Max_LM_Iteration_Num", "20");
  }

  static SyntheticOptions Options() {
    SyntheticOptions options;
    options.nStrips = 3;
    options.nImagesPerStrip = 6;
    return options;
  }

  std::string Out() const { return Tried / "out"; }

  /// With the console nowhere; what is to be otherwise in the new process comes last.
  pid_t Start(const std::function<void()>& change = [] {}) const {
    const SyntheticPaths& paths = Tried.Paths();
    const std::string program = ProgramPath();
    const pid_t child = ::fork();
    if (child != 0) return child;
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, 1);
    ::dup2(nowhere, 2);
    change();
    ::execl(program.c_str(), program.c_str(), "adjust", paths.szText.c_str(), "--gcp", paths.szGcp.c_str(),
            "--settings", paths.szXml.c_str(), "--out", Out().c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }

  /// One run, with this signal after this time; its exit code, or minus the signal that killed it.
  int End(
      int signal, milliseconds after, const std::function<void()>& change = [] {}) const {
    const pid_t child = Start(change);
    if (signal != 0) {
      std::this_thread::sleep_for(after);
      ::kill(child, signal);
    }
    return CodeOf(child);
  }

  static int CodeOf(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  /// The results once nobody writes any more; the report without its time.
  std::map<std::string, std::string> FilesOf(int exitCode) const {
    EXPECT_NE(exitCode, 127);
    FolderLock lock;
    while (lock.Take(Out()) == FolderLock::Result::Busy) std::this_thread::sleep_for(milliseconds(1));
    lock.Release();
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Out())) {
      const std::string name = entry.path().filename().string();
      // What a killed run leaves stays until a run gets as far as to take the folder.
      if (entry.is_directory() && exitCode < 0) LeftByKills.insert(name);
      if (name == "log.txt" || LeftByKills.contains(name)) continue;
      std::string text = entry.is_directory() ? "" : ReadFile(entry.path().string());
      if (const size_t at = text.find("Total run time:"); at != std::string::npos) {
        text.erase(at, text.find('\n', at) - at);
      }
      // Times and memory stand in these, but their ends tell whether they are whole.
      if (name == "summary.json" || name == "report.html")
        text.erase(0, text.size() - std::min<size_t>(text.size(), 2));
      files[name] = text;
    }
    return files;
  }

  Block Tried;
  std::map<std::string, std::string> Long, Short;
  mutable std::set<std::string> LeftByKills;
};

TEST_F(Interruption, FolderHoldsOneWholeRunAtEveryMoment) {
  ASSERT_GT(Long.size(), Short.size());
  std::map<std::string, std::string> there = Short;
  for (const int signal : {SIGKILL, SIGINT, SIGTERM, SIGHUP}) {
    for (int after = 0; after < 40; after += 4) {
      const bool toLong = there == Short;
      Tried.Set("Max_LM_Iteration_Num", toLong ? "20" : "1");
      const int code = End(signal, milliseconds(after));
      const auto files = FilesOf(code);
      EXPECT_TRUE(files == Long || files == Short) << "signal " << signal << " after " << after << " ms";
      EXPECT_TRUE(code == 0 || code == -signal || code == 128 + signal) << code;
      if (code == 0) {
        EXPECT_TRUE(files == (toLong ? Long : Short));
      }
      if (code > 0) {
        EXPECT_TRUE(files == there) << "signal " << signal << " after " << after << " ms";
      }
      there = files;
    }
  }
}

TEST_F(Interruption, LeavesALineInTheLogWithinASecond) {
  int code = 0;
  // On a busy machine a run may be over before it can be interrupted.
  for (int i = 0; i < 20 && code == 0; ++i) {
    const std::string log = Out() + "/log.txt";
    const auto size = std::filesystem::file_size(log);
    const auto there = FilesOf(0);
    const pid_t child = Start();
    while (std::filesystem::file_size(log) == size)
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    const auto begin = steady_clock::now();
    ::kill(child, SIGTERM);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(1));
    ASSERT_TRUE(WIFEXITED(status));
    code = WEXITSTATUS(status);
    if (code == 0) continue;
    EXPECT_EQ(FilesOf(code), there);
    EXPECT_NE(ReadFile(log).substr(size).find(
                  "Error!Interrupted by SIGTERM: the results are as they were before!\n"),
              std::string::npos);
  }
  EXPECT_EQ(code, 143);
}

TEST_F(Interruption, SignalsThatWereIgnoredStaySo) {
  EXPECT_EQ(End(SIGINT, milliseconds(5), [] { ::signal(SIGINT, SIG_IGN); }), 0);
  EXPECT_EQ(FilesOf(0), Long);
}

// As timeout sends it: to the process, and then to its group.
TEST_F(Interruption, SameSignalTwiceIsOne) {
  const std::string log = Out() + "/log.txt";
  for (int i = 0; i < 20; ++i) {
    const auto size = std::filesystem::file_size(log);
    const auto there = FilesOf(0);
    Tried.Set("Max_LM_Iteration_Num", there == Short ? "20" : "1");
    const pid_t child = Start();
    // The last line before the files come in place.
    while (ReadFile(log).substr(size).find(">>Out put points data...\n") == std::string::npos)
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    std::this_thread::sleep_for(std::chrono::microseconds(200 * i));
    ::kill(child, SIGTERM);
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    ::kill(child, SIGTERM);
    const int code = CodeOf(child);
    const auto files = FilesOf(code);
    if (code == 0) {
      EXPECT_EQ(files, there == Short ? Long : Short);
    } else {
      EXPECT_EQ(code, 143);
      EXPECT_EQ(files, there);
    }
  }
}

TEST_F(Interruption, ConsoleThatIsGoneEndsNoRun) {
  const auto intoNothing = [] {
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(127);
    ::dup2(ends[1], 1);
    ::close(ends[0]);
    ::close(ends[1]);
  };
  EXPECT_EQ(End(0, milliseconds(0), intoNothing), 0);
  EXPECT_EQ(FilesOf(0), Long);
}

TEST_F(Interruption, LimitOfFileSizesIsAFailedWrite) {
  const auto limited = [] {
    const rlimit limit{2000, 2000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  EXPECT_EQ(End(0, milliseconds(0), limited), 1);
  EXPECT_EQ(FilesOf(1), Short);
}

}  // namespace
}  // namespace orvo::test
