// Loaded into a program under observation: makes its output go line by line into a pipe too.
#include <cstdio>

namespace {

[[gnu::constructor]] void BufferLines() { std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16); }

}  // namespace
