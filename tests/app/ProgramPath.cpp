#include "app/ProgramPath.h"

namespace orvo::test {

std::string ProgramPath() { return ORVO_PROGRAM; }

}  // namespace orvo::test
