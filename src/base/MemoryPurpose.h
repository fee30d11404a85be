// What memory is taken for, so that a run that gets none can say so.
#pragma once

#include <cstddef>

namespace orvo {

/// Names what the program is making while it lives, for the messages about memory. Costs two stores.
///
/// The names of the stages of a run count for all threads. A thread of its own purpose beside the stages
/// names it for itself.
class MemoryPurpose {
 public:
  enum class Scope { Stage, Thread };

  /// @param what  a text that lives as long as the program: "the points of a section"
  explicit MemoryPurpose(const char* what, Scope scope = Scope::Stage);
  ~MemoryPurpose();
  MemoryPurpose(const MemoryPurpose&) = delete;
  MemoryPurpose& operator=(const MemoryPurpose&) = delete;

  /// The name in force on this thread; "the run" where there is none.
  static const char* Current();

 private:
  Scope Where;
  const char* szBefore;
};

/// While it lives, an allocation that fails on this thread throws std::bad_alloc, whatever the program does
/// else: the caller has an answer of its own.
class AnswersLackOfMemory {
 public:
  AnswersLackOfMemory();
  ~AnswersLackOfMemory();
  AnswersLackOfMemory(const AnswersLackOfMemory&) = delete;
  AnswersLackOfMemory& operator=(const AnswersLackOfMemory&) = delete;

  /// Whether one lives on this thread.
  static bool Here();
};

/// To be called where an allocation of that many bytes has failed. Ends the program where it has chosen so
/// (see base/MemoryEnd.h), throws std::bad_alloc else.
[[noreturn]] void LackMemory(size_t bytes);

}  // namespace orvo
