#pragma once

#include "run/RunVerdict.h"
