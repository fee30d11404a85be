// Which call is to fail.
#pragma once

#include <dlfcn.h>

#include <cstdio>

#include "faults/FaultKinds.h"

namespace orvo::faults {

/// Counts a call; true when it is the one to fail, with errno set.
bool Strikes(Kind kind);
Manner HowToFail();

/// Whether a path lies below the root, seen from the working folder, or from an open folder.
bool IsBelowRoot(const char* path);
bool IsBelowRoot(int folder, const char* path);

/// Descriptors of files and folders below the root.
bool IsWatched(int descriptor);
bool IsWatched(std::FILE* stream);
void Watch(int descriptor);
void Forget(int descriptor);

/// The C library's own function of that name.
template <typename Function>
Function* Next(Function*& known, const char* name) {
  if (known == nullptr) known = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
  return known;
}

}  // namespace orvo::faults

/// Defines `next` as the C library's function behind the one of the same name here.
#define ORVO_NEXT(name)                 \
  static decltype(::name)* next_##name; \
  auto* const next = orvo::faults::Next(next_##name, #name)
