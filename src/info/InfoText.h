// What is told of paths, for people and for programs.
#pragma once

#include <span>
#include <string>

#include "info/InfoOfPaths.h"

namespace orvo::info {

/// Lines of text, a paragraph a path. Faults are left out: they belong to the other stream.
std::string TextOf(const PathInfo& info);

/// An array with an object a path. Lengths are in object units, image lengths in pixels, overlaps in per
/// cent, memory in bytes; what is not known is left out.
std::string JsonOf(std::span<const PathInfo> infos);

}  // namespace orvo::info
