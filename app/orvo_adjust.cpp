// The classic command line.
#include "Allocation.h"
#include "run/EntryPoint.h"

int main(int argc, char** argv) {
  orvo::EndOnFailedAllocation("orvo_adjust", 0);
  return orvo::ClassicMain(argc, argv, orvo::NativePlatform(), stdout);
}
