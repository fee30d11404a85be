#include "exchange/crs/CoordinateSystems.h"

#include "exchange/crs/ProjObjects.h"

namespace orvo::exchange {

#ifdef ORVO_HAS_PROJ

bool HasCoordinateSystems() { return true; }

SystemFacts DescribeSystem(const SourceSystem& system) {
  const ProjContext context;
  return FactsOf(context, CreateCrs(context, system.szCrs).get(), system.szCrs);
}

bool IsSameMap(const std::string& one, const std::string& other) {
  const ProjContext context;
  const ProjSystem first = CreateSystem(context, {one, ""}, false);
  const ProjSystem second = CreateSystem(context, {other, ""}, false);
  if (!first.pHorizontal || !second.pHorizontal) return one == other;
  return proj_is_equivalent_to_with_ctx(context.Get(), first.pHorizontal.get(), second.pHorizontal.get(),
                                        PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS) != 0;
}

#else

bool HasCoordinateSystems() { return false; }

SystemFacts DescribeSystem(const SourceSystem&) {
  throw CrsFault("this program was built without PROJ, which knows the coordinate systems",
                 "Build it with PROJ (Debian package libproj-dev), or use --frame as-is");
}

bool IsSameMap(const std::string& one, const std::string& other) {
  DescribeSystem({one, ""});
  return one == other;
}

#endif

}  // namespace orvo::exchange
