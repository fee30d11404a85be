#include "exchange/crs/CoordinateSystems.h"

namespace orvo::exchange {

bool HasCoordinateSystems() {
#ifdef ORVO_HAS_PROJ
  return true;
#else
  return false;
#endif
}

}  // namespace orvo::exchange
