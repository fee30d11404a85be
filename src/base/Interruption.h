// Control-C and termination signals: a run ends as if it had never been, or is over already.
#pragma once

#include <functional>
#include <mutex>

#include "base/Threads.h"

namespace orvo {

/// What is to be tidied up when a signal ends the program. It runs on a thread of its own while the others
/// still work, and gets the signal's name.
using TidyUp = std::function<void(const char* signal)>;

/// Keeps a tidying registered while it lives.
class Interruptible {
 public:
  explicit Interruptible(TidyUp tidy);
  ~Interruptible();
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;

  /// While the result lives no signal ends the program. One that came before has the program end here.
  static std::unique_lock<std::mutex> Hold();
  /// The work is done and stays: called while Hold's result lives. From now on a signal finds nothing to
  /// interrupt, and the program ends by itself. One that comes again a second later ends it at once, with 0
  /// where the work replaced what was there before.
  void Settle(bool replaced);

 private:
  friend class InterruptionWatch;
  TidyUp Tidy;
};

/// Waits for SIGINT, SIGTERM and SIGHUP and ends the program by them: tidies up, tells stderr, and exits with
/// 128 and the number of the signal. Signals that were ignored when the program started stay so; those that a
/// failed write sends (SIGPIPE, SIGXFSZ) are ignored. A program makes one before it starts any thread.
class InterruptionWatch {
 public:
  explicit InterruptionWatch(const char* program);
  ~InterruptionWatch();
  InterruptionWatch(const InterruptionWatch&) = delete;
  InterruptionWatch& operator=(const InterruptionWatch&) = delete;

 private:
  void Watch() const;
  [[noreturn]] void End(int signal) const;

  const char* szProgram;
  bool bLast = false;
  HelperThread Thread;
};

}  // namespace orvo
