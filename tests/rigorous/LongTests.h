// Tests that take minutes, only where they are asked for.
#pragma once

#include <cstdlib>

namespace orvo::rigorous::test {

/// By the environment variable ORVO_LONG_TESTS, of any value.
inline bool AreLongTestsWanted() { return std::getenv("ORVO_LONG_TESTS") != nullptr; }

}  // namespace orvo::rigorous::test
