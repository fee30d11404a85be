// Cameras and images of the text forms as records in working units.
#pragma once

#include "block/ProjectText.h"
#include "records/Records.h"

namespace orvo {

/// Focal length and principal point times `imageScale`, k1 divided by its square and k2 by its fourth power,
/// and what follows them likewise; further terms that are not all finite count for none. |k1| above 1e-5 and
/// |k2| above 1e-11 (file units) count as no distortion. False, with `iop` untouched, for a camera that is to
/// be dropped: a focal length outside 0 < f <= 1e6 (file units) or a value that is not finite.
bool MakeIop(const CameraLine& camera, double imageScale, IopRecord& iop);

/// Position times `objectScale`, and phi = atan2(-a3, c3), omega = asin(-b3), kappa = atan2(b1, b2). False,
/// with `eop` untouched, where position or rotation are not finite.
bool MakeEop(const ImageBlock& image, double objectScale, EopRecord& eop);

}  // namespace orvo
