#include <fcntl.h>

#include <cstdio>
#include <exception>

#include "Allocation.h"
#include "base/Interruption.h"
#include "orvo/OrvoMain.h"

namespace {

/// A standard stream that came closed stays one that can't be written: else the next file that is opened has
/// its place, and gets what the stream is told.
void HoldStandardStreams() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", O_RDONLY) < 0) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  HoldStandardStreams();
  orvo::EndOnFailedAllocation("orvo", orvo::ExitFailed);
  try {
    const orvo::InterruptionWatch watch("orvo");
    return orvo::OrvoMain(argc, argv, {});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orvo: error: %s\n", error.what());
  }
  return orvo::ExitFailed;
}
