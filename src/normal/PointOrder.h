// An order of the points in which neighbours share images, for sections that do not come in one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "normal/AssemblyKernel.h"
#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// The order in which a thread takes the points of its slice.
struct PointOrder {
  int32_t nSection = -1, nFirst = 0, nLast = -1;  ///< the slice that it was made for
  std::vector<int32_t> vPoints;                   ///< empty: as they come
};

/// True where points that follow each other seldom share an image: every block that they add to then comes
/// from far memory. Looks at a few thousand points.
bool IsScattered(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
                 int32_t first, int32_t last);

/// True where the measurements of the points first to last stand one after the other without gap: a
/// measurement's place in the listing follows from its place in memory then.
bool FollowEachOther(std::span<const ObjectPointRecord> points, int64_t imagePointNum, int32_t first,
                     int32_t last);

/// The points first to last, sorted by their lowest kept image, then by their second and by their highest.
/// Empty where the points' measurements do not follow each other.
std::vector<int32_t> OrderByImages(std::span<const ObjectPointRecord> points,
                                   std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                                   int32_t first, int32_t last);

/// The figure that becomes fMinResidualY, which depends on the order of the points, found in the order of the
/// listing: beginning with `start`, each residual in y below the figure makes it the residual in x.
/// `residuals` and `flags` are the listing of the points first to last.
double SmallestResidualY(const AssemblyInput& in, int32_t first, int32_t last, const float* residuals,
                         const int32_t* flags, double start);

}  // namespace orvo
