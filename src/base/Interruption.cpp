#include "base/Interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace orvo {
namespace {

/// Wakes the watch when there is nothing left to watch.
constexpr int kWakeSignal = SIGUSR2;

std::mutex& Gate() {
  static auto* const gate = new std::mutex;  // outlives every thread
  return *gate;
}

std::vector<Interruptible*>& Registered() {
  static auto* const list = new std::vector<Interruptible*>;
  return *list;
}

/// The last work that was interruptible is done, and has replaced what was there before. Under the gate.
bool bSettled = false;
bool bReplaced = false;

/// Who sends a signal to a program and to its group sends it twice.
constexpr std::chrono::seconds kSameSignal{1};

const char* NameOf(int signal) {
  switch (signal) {
    case SIGINT:
      return "SIGINT";
    case SIGHUP:
      return "SIGHUP";
    default:
      return "SIGTERM";
  }
}

/// The signals that end the program: those that were not ignored when it started.
sigset_t EndingSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&set, signal);
  }
  return set;
}

}  // namespace

Interruptible::Interruptible(TidyUp tidy) : Tidy(std::move(tidy)) {
  const std::lock_guard lock(Gate());
  Registered().push_back(this);
  bSettled = bReplaced = false;
}

Interruptible::~Interruptible() {
  const std::lock_guard lock(Gate());
  std::erase(Registered(), this);
}

std::unique_lock<std::mutex> Interruptible::Hold() { return std::unique_lock(Gate()); }

void Interruptible::Settle(bool replaced) {
  bSettled = true;
  bReplaced = replaced;
}

InterruptionWatch::InterruptionWatch(const char* program) : szProgram(program) {
  // The write that fails tells it, and a console that is gone is no reason to end.
  ::signal(SIGXFSZ, SIG_IGN);
  ::signal(SIGPIPE, SIG_IGN);
  sigset_t set = EndingSignals();
  sigaddset(&set, kWakeSignal);
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
  if (!Thread.Start([this] { Watch(); })) {
    // Without a thread to wait in, signals end the program at once, as they always can.
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  }
}

InterruptionWatch::~InterruptionWatch() {
  if (!Thread.IsStarted()) return;
  {
    const std::lock_guard lock(Gate());
    bLast = true;
  }
  ::pthread_kill(Thread.Handle(), kWakeSignal);
  Thread.Join();
}

void InterruptionWatch::Watch() const {
  sigset_t set = EndingSignals();
  sigaddset(&set, kWakeSignal);
  std::optional<std::chrono::steady_clock::time_point> first;
  while (true) {
    int signal = 0;
    if (::sigwait(&set, &signal) != 0) continue;
    const std::lock_guard lock(Gate());
    if (signal == kWakeSignal) {
      if (bLast) return;
      continue;
    }
    const auto now = std::chrono::steady_clock::now();
    if (!first || !bSettled) first = now;
    // When all is settled the program is ending by itself; who asks twice does not want to wait for that.
    if (!bSettled || now - *first > kSameSignal) End(signal);
  }
}

void InterruptionWatch::End(int signal) const {
  const char* name = NameOf(signal);
  if (!bSettled) {
    for (const Interruptible* one : Registered()) one->Tidy(name);
  }
  const std::string text = std::string(szProgram) + ": interrupted by " + name + "\n";
  const int code = bReplaced ? 0 : 128 + signal;
  if (::write(STDERR_FILENO, text.data(), text.size()) < 0) ::_exit(code);
  ::_exit(code);
}

}  // namespace orvo
