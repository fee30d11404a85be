// Figures of made-up runs, for the tests of what is written from them.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::test {

/// A run of `images` images (12 at least) in strips to and fro over hills, with control, GPS and two cameras,
/// in which nothing is empty: every field has a value that few others have. The same at every call, and quick
/// for 100,000 images.
///
/// What sections have to show is in it: the last check point is off by metres, the image in the middle has
/// the largest residuals and gross measurements, the first camera has a radial field, the second strip drifts
/// most.
report::RunFigures MakeSampleFigures(int32_t images = 40);

/// A run that ended in its reading: a reason, its inputs and findings, nothing else.
report::RunFigures MakeFailedFigures();

/// A name that a form has to take apart: quotes, tags, an end of script, an ampersand, a backslash, ends of
/// lines, control characters, bytes that are no UTF-8, an emoji and a change of direction.
std::string NastyName();

}  // namespace orvo::test
