#include "check/BlockCheck.h"

namespace orvo {

void CheckBlock(const BlockCheckInput& input, Diagnosis& diagnosis) {
  if (CheckConventions(input, diagnosis)) return;
  CheckGeometry(input, diagnosis);
  CheckControl(input, diagnosis);
  CheckPositions(input, diagnosis);
}

}  // namespace orvo
