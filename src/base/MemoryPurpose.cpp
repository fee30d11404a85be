#include "base/MemoryPurpose.h"

#include <atomic>

namespace orvo {
namespace {

std::atomic<const char*> szStage{nullptr};
thread_local const char* szThread = nullptr;
thread_local int nAnswering = 0;

}  // namespace

MemoryPurpose::MemoryPurpose(const char* what, Scope scope) : Where(scope) {
  if (Where == Scope::Stage) {
    szBefore = szStage.exchange(what);
  } else {
    szBefore = szThread;
    szThread = what;
  }
}

MemoryPurpose::~MemoryPurpose() {
  if (Where == Scope::Stage) {
    szStage = szBefore;
  } else {
    szThread = szBefore;
  }
}

const char* MemoryPurpose::Current() {
  if (szThread != nullptr) return szThread;
  const char* stage = szStage.load();
  return stage != nullptr ? stage : "the run";
}

AnswersLackOfMemory::AnswersLackOfMemory() { ++nAnswering; }

AnswersLackOfMemory::~AnswersLackOfMemory() { --nAnswering; }

bool AnswersLackOfMemory::Here() { return nAnswering > 0; }

}  // namespace orvo
