// The program under test.
#pragma once

#include <string>

namespace orvo::test {

/// Of the built orvo. A function, as SourceFolder is.
std::string ProgramPath();

}  // namespace orvo::test
