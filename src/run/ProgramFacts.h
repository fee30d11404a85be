// What this program is: version, build, and what it found of its machine.
#pragma once

#include <string>
#include <string_view>

#include "base/Platform.h"
#include "report/RunFigures.h"

namespace orvo {

/// "0.3.0"
const char* ProgramVersion();

/// "GCC 12.2.0, Release, commit 1a2b3c4"; without the commit where the sources were in no repository.
std::string BuildText();

/// Lines of `orvo --version`, of which the first is "orvo VERSION"; without a line end at the end.
std::string VersionText();

/// `device`: "cpu", "host", or the name of the device on which the run computed.
report::ProgramFigure ProgramFigureOf(const Platform& platform, std::string_view device);

}  // namespace orvo
