#include "Allocation.h"

namespace orvo {

void EndOnFailedAllocation(const char*, int) {}

}  // namespace orvo
