// The classic command line.
#include "Allocation.h"
#include "base/Interruption.h"
#include "run/EntryPoint.h"

int main(int argc, char** argv) {
  orvo::EndOnFailedAllocation("orvo_adjust", 0);
  const orvo::InterruptionWatch watch("orvo_adjust");
  return orvo::ClassicMain(argc, argv, orvo::NativePlatform(), stdout);
}
