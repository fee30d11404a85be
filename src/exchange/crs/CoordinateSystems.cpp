#include "exchange/crs/CoordinateSystems.h"

#include "exchange/crs/ProjObjects.h"

namespace orvo::exchange {

#ifdef ORVO_HAS_PROJ

bool HasCoordinateSystems() { return true; }

SystemFacts DescribeSystem(const SourceSystem& system) {
  const ProjContext context;
  return FactsOf(context, CreateCrs(context, system.szCrs).get(), system.szCrs);
}

double MetresOfHeights(const SourceSystem& system) {
  const ProjContext context;
  const ProjSystem created = CreateSystem(context, system, true);
  return created.dHeightScale * created.dMetresOfHeight;
}

bool IsSameMap(const std::string& one, const std::string& other) {
  const ProjContext context;
  const ProjSystem first = CreateSystem(context, {one, ""}, false);
  const ProjSystem second = CreateSystem(context, {other, ""}, false);
  if (!first.pHorizontal || !second.pHorizontal) return one == other;
  const ProjHandle<PJ> flatFirst(proj_crs_demote_to_2D(context.Get(), nullptr, first.pHorizontal.get()));
  const ProjHandle<PJ> flatSecond(proj_crs_demote_to_2D(context.Get(), nullptr, second.pHorizontal.get()));
  if (!flatFirst || !flatSecond) return one == other;
  return proj_is_equivalent_to_with_ctx(context.Get(), flatFirst.get(), flatSecond.get(),
                                        PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS) != 0;
}

#else

bool HasCoordinateSystems() { return false; }

SystemFacts DescribeSystem(const SourceSystem&) {
  throw CrsFault("this program was built without PROJ, which knows the coordinate systems",
                 "Build it with PROJ (Debian package libproj-dev), or use --frame as-is");
}

double MetresOfHeights(const SourceSystem& system) {
  DescribeSystem(system);
  return 1;
}

bool IsSameMap(const std::string& one, const std::string& other) {
  DescribeSystem({one, ""});
  return one == other;
}

#endif

}  // namespace orvo::exchange
