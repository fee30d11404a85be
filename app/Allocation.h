// Where the programs get memory from.
#pragma once

namespace orvo {

/// The first call of a main: from now on an allocation that fails ends the program with a message and this
/// exit code. Built with sanitizers, which have allocators of their own, it does nothing.
/// @param program  its name for the message; a text that lives as long as the program
void EndOnFailedAllocation(const char* program, int exitCode);

}  // namespace orvo
