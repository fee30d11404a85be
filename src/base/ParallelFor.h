// Moved to base/Threads.h.
#pragma once

#include "base/Threads.h"
