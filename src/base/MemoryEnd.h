// How a program ends that gets no memory.
#pragma once

#include <cstddef>

namespace orvo {

/// From now on an allocation that fails, on any thread, ends the program: with a message to stderr that says
/// what was being made and how large, and this exit code. So do std::bad_alloc and std::length_error that
/// nobody catches.
/// @param program  its name for the message; a text that lives as long as the program
void EndOnLackOfMemory(const char* program, int exitCode);

/// Another exit code from now on: 0 once the results are in place.
void SetMemoryEndExitCode(int exitCode);

/// The log of the run, which gets the message, too; -1: none. Kept open by the caller until it says -1.
void SetMemoryEndLog(int descriptor);

/// Memory for the last steps of a program that gets none: a few hundred kilobytes that are there from the
/// start. Null before the end has begun, and when they are used up. Nothing is ever given back.
void* LastMemory(size_t bytes, size_t alignment);
bool IsLastMemory(const void* memory);

}  // namespace orvo
