// Completion of the command line in shells.
#pragma once

#include <string>
#include <vector>

#include "orvo/CommandLineFacts.h"

namespace orvo {

std::string BashCompletion(const std::vector<CommandFacts>& commands);
std::string ZshCompletion(const std::vector<CommandFacts>& commands);
std::string FishCompletion(const std::vector<CommandFacts>& commands);

}  // namespace orvo
