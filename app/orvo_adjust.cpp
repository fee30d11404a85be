// The classic command line.
#include "base/Interruption.h"
#include "run/EntryPoint.h"

int main(int argc, char** argv) {
  const orvo::InterruptionWatch watch("orvo_adjust");
  return orvo::ClassicMain(argc, argv, orvo::NativePlatform(), stdout);
}
