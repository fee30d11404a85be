#include "base/Interruption.h"
#include "orvo/OrvoMain.h"

int main(int argc, char** argv) {
  const orvo::InterruptionWatch watch("orvo");
  return orvo::OrvoMain(argc, argv, {});
}
