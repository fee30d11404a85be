#include "exchange/crs/CoordinateSystems.h"

#include "exchange/crs/ProjObjects.h"

namespace orvo::exchange {

#ifdef ORVO_HAS_PROJ

bool HasCoordinateSystems() { return true; }

SystemFacts DescribeSystem(const SourceSystem& system) {
  const ProjContext context;
  return FactsOf(context, CreateCrs(context, system.szCrs).get(), system.szCrs);
}

#else

bool HasCoordinateSystems() { return false; }

SystemFacts DescribeSystem(const SourceSystem&) {
  throw CrsFault("this program was built without PROJ, which knows the coordinate systems",
                 "Build it with PROJ (Debian package libproj-dev), or use --frame as-is");
}

#endif

}  // namespace orvo::exchange
