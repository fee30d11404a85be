// Moved to geometry/camera/ImagePointPartials.h.
#pragma once

#include "geometry/camera/ImagePointPartials.h"
