#include "rigorous/MemoryPlan.h"

#include <algorithm>

#include "records/Records.h"
#include "rigorous/PrecisionFigures.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {
namespace {

constexpr int64_t kImageBytes = 40000;
/// Where points have to be on the disk, fewer than this would only be moved to and fro.
constexpr int64_t kLeastResident = int64_t{32} << 20;

/// Two estimates; places in the records and of the rays; the order while it is found.
constexpr auto kPointBytes =
    static_cast<int64_t>(sizeof(ObjectPointRecord) + 2 * sizeof(Vector3) + 6 * sizeof(int64_t));
/// Places in the records, and both once more while they are put in order.
constexpr auto kRayBytes =
    static_cast<int64_t>(sizeof(ImagePointRecord) + 2 * sizeof(Ray) + 2 * sizeof(int64_t));

}  // namespace

MemoryPlan PlanMemory(const BlockCounts& counts, PrecisionExtent precision, int64_t freeBytes) {
  MemoryPlan plan;
  const int64_t images = counts.nImages * kImageBytes * (precision == PrecisionExtent::None ? 1 : 2);
  const int64_t figures = precision == PrecisionExtent::All ? sizeof(GroundPrecision) : 0;
  plan.nPointBytes = counts.nPoints * (kPointBytes + figures) + counts.nRays * kRayBytes;
  const int64_t usable = freeBytes / 5 * 4;
  plan.bFits = images + plan.nPointBytes <= usable;
  plan.nResidentBytes = plan.bFits ? plan.nPointBytes : std::max(usable - images, kLeastResident);
  return plan;
}

}  // namespace orvo::rigorous
