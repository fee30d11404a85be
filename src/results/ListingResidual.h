// Moved to geometry/camera/ListingResidual.h.
#pragma once

#include "geometry/camera/ListingResidual.h"
