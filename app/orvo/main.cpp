#include "Allocation.h"
#include "orvo/OrvoMain.h"

int main(int argc, char** argv) {
  orvo::EndOnFailedAllocation("orvo", orvo::ExitFailed);
  return orvo::OrvoMain(argc, argv, {});
}
