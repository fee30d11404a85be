// Threads, processes and locks that the system refuses.
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "faults/preload/Plan.h"

using orvo::faults::IsWatched;
using orvo::faults::Kind;
using orvo::faults::Strikes;

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept {
  ORVO_NEXT(pthread_create);
  return Strikes(Kind::Thread) ? errno : next(thread, attributes, start, argument);
}

pid_t fork() noexcept {
  ORVO_NEXT(fork);
  return Strikes(Kind::Fork) ? -1 : next();
}

int flock(int file, int operation) noexcept {
  ORVO_NEXT(flock);
  return IsWatched(file) && Strikes(Kind::Lock) ? -1 : next(file, operation);
}

int fcntl(int file, int command, ...) {
  ORVO_NEXT(fcntl);
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const bool locks =
      command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK || command == F_OFD_SETLKW;
  return locks && IsWatched(file) && Strikes(Kind::Lock) ? -1 : next(file, command, argument);
}

int fcntl64(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return fcntl(file, command, argument);
}
}
