#include "faults/Child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace orvo::faults {
namespace {

/// What exec takes, made before the fork: between the two nothing may be allocated.
struct Prepared {
  std::vector<char*> Arguments, Environment;
};

Prepared Prepare(const ChildRun& run) {
  Prepared prepared;
  for (const std::string& text : run.Arguments) prepared.Arguments.push_back(const_cast<char*>(text.c_str()));
  for (char** entry = environ; *entry != nullptr; ++entry) prepared.Environment.push_back(*entry);
  for (const std::string& text : run.Environment)
    prepared.Environment.push_back(const_cast<char*>(text.c_str()));
  prepared.Arguments.push_back(nullptr);
  prepared.Environment.push_back(nullptr);
  return prepared;
}

[[noreturn]] void BecomeChild(const ChildRun& run, const Prepared& prepared) {
  // A crash counts by its signal, its memory is of no use.
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  if (run.nAddressBytes != 0) {
    const rlimit most{run.nAddressBytes, run.nAddressBytes};
    ::setrlimit(RLIMIT_AS, &most);
  }
  const int console = ::open(run.szConsole.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (console < 0 || ::dup2(console, 1) < 0 || ::dup2(console, 2) < 0 || ::chdir(run.szFolder.c_str()) != 0) {
    ::_exit(126);
  }
  ::close(console);
  ::execve(prepared.Arguments[0], prepared.Arguments.data(), prepared.Environment.data());
  ::_exit(127);
}

/// Waits until the process has ended; false when the time is over before.
bool WaitFor(int handle, double seconds) {
  pollfd wait{handle, POLLIN, 0};
  return ::poll(&wait, 1, std::max(0, static_cast<int>(seconds * 1000))) > 0;
}

}  // namespace

std::string ChildEnd::Text() const {
  if (bHung) return "hung";
  if (nSignal != 0) return "signal " + std::to_string(nSignal);
  return "exit code " + std::to_string(nExit);
}

ChildEnd RunChild(const ChildRun& run) {
  using Clock = std::chrono::steady_clock;
  const Prepared prepared = Prepare(run);
  const Clock::time_point begin = Clock::now();
  const auto passed = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
  const pid_t process = ::fork();
  if (process == 0) BecomeChild(run, prepared);
  if (process < 0) {
    std::perror("fork");
    std::exit(2);
  }
  const auto handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  ChildEnd end;
  if (run.nSignal != 0) {
    // Kills fall on tenths of milliseconds, finer than poll waits.
    const double wait = run.fSignalSeconds - passed();
    if (wait > 0) ::usleep(static_cast<useconds_t>(wait * 1e6));
    ::kill(process, run.nSignal);
  }
  if (!WaitFor(handle, run.fLimitSeconds - passed())) {
    end.bHung = true;
    ::kill(process, SIGKILL);
  }
  ::close(handle);
  int status = 0;
  rusage usage{};
  ::wait4(process, &status, 0, &usage);
  end.fSeconds = passed();
  end.nPeakBytes = usage.ru_maxrss * int64_t{1024};
  if (WIFSIGNALED(status)) end.nSignal = WTERMSIG(status);
  if (WIFEXITED(status)) end.nExit = WEXITSTATUS(status);
  return end;
}

}  // namespace orvo::faults
