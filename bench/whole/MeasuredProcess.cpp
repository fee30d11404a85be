#include "whole/MeasuredProcess.h"

#include <fcntl.h>
#include <linux/perf_event.h>
#include <poll.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

namespace orvo::bench {
namespace {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : nValue(value) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : nValue(other.nValue) { other.nValue = -1; }
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(nValue, other.nValue);
    return *this;
  }
  void Close() {
    if (nValue >= 0) ::close(nValue);
    nValue = -1;
  }
  int Get() const { return nValue; }
  bool IsOpen() const { return nValue >= 0; }

 private:
  int nValue = -1;
};

double Seconds(clockid_t clock) {
  timespec now{};
  if (::clock_gettime(clock, &now) != 0) return -1;
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/// A counter of `process` and its threads from its next exec on.
Descriptor OpenCounter(pid_t process, uint32_t type, uint64_t event) {
  perf_event_attr attributes{};
  attributes.type = type;
  attributes.size = sizeof(attributes);
  attributes.config = event;
  attributes.disabled = 1;
  attributes.inherit = 1;
  attributes.enable_on_exec = 1;
  attributes.exclude_kernel = 1;
  attributes.exclude_hv = 1;
  return Descriptor(
      static_cast<int>(::syscall(SYS_perf_event_open, &attributes, process, -1, -1, PERF_FLAG_FD_CLOEXEC)));
}

/// In user mode.
Descriptor OpenInstructionCounter(pid_t process) {
  return OpenCounter(process, PERF_TYPE_HARDWARE, PERF_COUNT_HW_INSTRUCTIONS);
}

/// Processor nanoseconds; the usual clock of another process moves in ticks only.
Descriptor OpenTaskClock(pid_t process) {
  return OpenCounter(process, PERF_TYPE_SOFTWARE, PERF_COUNT_SW_TASK_CLOCK);
}

bool ReadCounter(const Descriptor& counter, int64_t& value) {
  return counter.IsOpen() && ::read(counter.Get(), &value, sizeof(value)) == sizeof(value);
}

/// The child's side, between fork and exec. Waits for a byte first, so that the counter is in place.
[[noreturn]] void BecomeProgram(const ProcessCommand& command, int output, int gate) {
  // A measurement that is broken off takes the program with it.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  char go = 0;
  if (::read(gate, &go, 1) != 1) ::_exit(127);
  ::setenv("LD_PRELOAD", ORVO_LINE_BUFFERED, 1);
  for (const auto& [name, value] : command.pVariables) ::setenv(name.c_str(), value.c_str(), 1);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  std::vector<char*> arguments;
  for (const std::string& argument : command.pArguments)
    arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  ::execv(arguments[0], arguments.data());
  ::_exit(127);
}

/// The number of the watch, below zero where there is none.
int WatchFolder(int notifier, const std::string& folder) {
  return ::inotify_add_watch(notifier, folder.c_str(), IN_CREATE | IN_CLOSE_WRITE);
}

class Observer {
 public:
  Observer(pid_t process, const Descriptor& taskClock, double start, const std::string& watched, int watch,
           std::vector<ProcessEvent>& events)
      : TaskClock(taskClock), fStart(start), szWatched(watched), nWatch(watch), Events(events) {
    bHasClock = ::clock_getcpuclockid(process, &Clock) == 0;
  }

  /// Until the program has closed its output.
  void Watch(int output, int folder) {
    std::array<pollfd, 2> sources{{{output, POLLIN, 0}, {folder, POLLIN, 0}}};
    const nfds_t count = folder >= 0 ? 2 : 1;
    while (true) {
      if (::poll(sources.data(), count, -1) < 0) {
        if (errno == EINTR) continue;
        return;
      }
      // Files first: where a file and a line wait together, the line tells that the file's step is over.
      if (count == 2 && sources[1].revents != 0) TakeFiles(folder);
      if (sources[0].revents != 0 && !TakeLines(output)) break;
    }
    if (count == 2) TakeFiles(folder);
    if (!szRest.empty()) Add(ProcessEvent::Kind::Line, szRest);
  }

 private:
  void Add(ProcessEvent::Kind kind, std::string_view text) {
    Events.push_back({fNow, fCpu, kind, std::string(text)});
  }

  void TakeTime() {
    fNow = Seconds(CLOCK_MONOTONIC) - fStart;
    int64_t nanoseconds = 0;
    // A program that has ended has no clock any more.
    const double cpu = ReadCounter(TaskClock, nanoseconds) ? 1e-9 * static_cast<double>(nanoseconds)
                       : bHasClock                         ? Seconds(Clock)
                                                           : -1;
    if (cpu >= 0) fCpu = cpu;
  }

  bool TakeLines(int output) {
    std::array<char, 65536> buffer;
    const ssize_t count = ::read(output, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) return true;
    if (count <= 0) return false;
    TakeTime();
    szRest.append(buffer.data(), static_cast<size_t>(count));
    size_t begin = 0;
    for (size_t end; (end = szRest.find('\n', begin)) != std::string::npos; begin = end + 1) {
      std::string_view line(szRest.data() + begin, end - begin);
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
      Add(ProcessEvent::Kind::Line, line);
    }
    szRest.erase(0, begin);
    return true;
  }

  void TakeFiles(int folder) {
    alignas(inotify_event) std::array<char, 65536> buffer;
    ssize_t count = 0;
    while ((count = ::read(folder, buffer.data(), buffer.size())) > 0) {
      TakeTime();
      for (ssize_t offset = 0; offset < count;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
        if (event->len > 0) TakeFile(folder, *event);
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
    }
  }

  void TakeFile(int folder, const inotify_event& event) {
    const bool created = (event.mask & IN_CREATE) != 0;
    if ((event.mask & IN_ISDIR) != 0) {
      if (created && event.wd == nWatch) WatchFolder(folder, szWatched + "/" + event.name);
    } else if (event.name[0] != '.') {
      Add(created ? ProcessEvent::Kind::FileOpened : ProcessEvent::Kind::FileClosed, event.name);
    }
  }

  const Descriptor& TaskClock;
  double fStart;
  const std::string& szWatched;
  int nWatch;
  std::vector<ProcessEvent>& Events;
  clockid_t Clock{};
  bool bHasClock = false;
  double fNow = 0, fCpu = 0;
  std::string szRest;
};

/// Puts the observer before what it observes, where the system lets it, so that times are taken at once even
/// when all processors are busy. It sleeps nearly all the time.
class Precedence {
 public:
  Precedence() {
    const sched_param first{::sched_get_priority_min(SCHED_FIFO)};
    if (::sched_setscheduler(0, SCHED_FIFO, &first) != 0) ::setpriority(PRIO_PROCESS, 0, nFormer - 10);
  }
  ~Precedence() {
    const sched_param usual{0};
    if (::sched_setscheduler(0, SCHED_OTHER, &usual) != 0 || ::setpriority(PRIO_PROCESS, 0, nFormer) != 0)
      std::fprintf(stderr, "orvo_bench: the former priority does not come back\n");
  }
  Precedence(const Precedence&) = delete;
  Precedence& operator=(const Precedence&) = delete;

 private:
  int nFormer = ::getpriority(PRIO_PROCESS, 0);
};

}  // namespace

ProcessFigures RunMeasured(const ProcessCommand& command) {
  ProcessFigures figures;
  int gate[2], output[2];
  if (command.pArguments.empty() || ::pipe2(gate, O_CLOEXEC) != 0) return figures;
  Descriptor gateRead(gate[0]), gateWrite(gate[1]);
  if (::pipe2(output, O_CLOEXEC) != 0) return figures;
  Descriptor outputRead(output[0]), outputWrite(output[1]);
  Descriptor folder;
  int watch = -1;
  if (!command.szWatchedFolder.empty()) {
    folder = Descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    watch = WatchFolder(folder.Get(), command.szWatchedFolder);
    if (watch < 0) folder.Close();
  }

  // The peak memory of a child counts from its fork on, so whoever calls this must be small.
  const pid_t process = ::fork();
  if (process < 0) return figures;
  if (process == 0) BecomeProgram(command, outputWrite.Get(), gateRead.Get());
  outputWrite.Close();
  gateRead.Close();
  const Descriptor counter = OpenInstructionCounter(process);
  const Descriptor taskClock = OpenTaskClock(process);
  const Precedence precedence;
  const double start = Seconds(CLOCK_MONOTONIC);
  Observer observer(process, taskClock, start, command.szWatchedFolder, watch, figures.Events);
  figures.bStarted = ::write(gateWrite.Get(), "g", 1) == 1;
  observer.Watch(outputRead.Get(), folder.Get());

  int status = 0;
  rusage usage{};
  while (::wait4(process, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  figures.fWall = Seconds(CLOCK_MONOTONIC) - start;
  figures.nExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  figures.bStarted = figures.bStarted && figures.nExitCode != 127;
  figures.fUser = Seconds(usage.ru_utime);
  figures.fSystem = Seconds(usage.ru_stime);
  figures.nPeakBytes = int64_t{usage.ru_maxrss} * 1024;
  figures.nMinorFaults = usage.ru_minflt;
  figures.nMajorFaults = usage.ru_majflt;
  figures.nPreemptions = usage.ru_nivcsw;
  int64_t instructions = 0;
  if (ReadCounter(counter, instructions)) figures.nInstructions = instructions;
  return figures;
}

std::string WhyNoInstructionCounter() {
  const Descriptor counter = OpenInstructionCounter(0);
  return counter.IsOpen() ? std::string() : std::string(std::strerror(errno));
}

}  // namespace orvo::bench
