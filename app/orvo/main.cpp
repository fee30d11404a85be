#include "Allocation.h"
#include "base/Interruption.h"
#include "orvo/OrvoMain.h"

int main(int argc, char** argv) {
  orvo::EndOnFailedAllocation("orvo", orvo::ExitFailed);
  const orvo::InterruptionWatch watch("orvo");
  return orvo::OrvoMain(argc, argv, {});
}
