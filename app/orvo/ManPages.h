// Man pages of the programs.
#pragma once

#include <string>
#include <vector>

#include "orvo/CommandLineFacts.h"

namespace orvo {

struct ManPage {
  std::string szFile;  ///< such as "orvo-adjust.1"
  std::string szText;  ///< for man(7)
};

/// A page of the front end, one of each subcommand, and that of the classic program, whose usage is
/// `classic`.
std::vector<ManPage> ManPagesOf(const std::vector<CommandFacts>& commands, const std::string& version,
                                const std::string& classic);

}  // namespace orvo
