// The parts of a run that the device path takes, and its log.
#pragma once

#include <string>

#include "base/RunLog.h"
#include "gpu/GpuState.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/UnknownLayout.h"
#include "support/CapturedLog.h"

namespace orvo::test {

struct DeviceParts {
  CapturedLog console;
  OutputFolder Outputs;
  RunLog Log{console.Console(), Outputs};
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  UnknownCounts Unknowns;
  gpu::GpuState State;
};

}  // namespace orvo::test
