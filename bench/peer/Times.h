// Clocks of the peer.
#pragma once

#include <ctime>

namespace orvo::peer {

/// Wall time and processor time of all threads, seconds.
struct Times {
  double fWall = 0, fCpu = 0;

  Times operator-(const Times& other) const { return {fWall - other.fWall, fCpu - other.fCpu}; }
  Times operator+(const Times& other) const { return {fWall + other.fWall, fCpu + other.fCpu}; }
};

inline double Seconds(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline Times Now() { return {Seconds(CLOCK_MONOTONIC), Seconds(CLOCK_PROCESS_CPUTIME_ID)}; }

}  // namespace orvo::peer
