// Moved to geometry/camera/CameraModel.h.
#pragma once

#include "geometry/camera/CameraModel.h"
