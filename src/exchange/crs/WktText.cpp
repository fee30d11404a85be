#include "exchange/crs/WktText.h"

#include "exchange/crs/ProjObjects.h"

namespace orvo::exchange {

#ifdef ORVO_HAS_PROJ

std::string WktOf(const std::string& crs) {
  const ProjContext context;
  const ProjHandle<PJ> system = CreateCrs(context, crs);
  // The first version has no system of degrees and heights in one.
  const char* const options[] = {"MULTILINE=NO", "ALLOW_ELLIPSOIDAL_HEIGHT_AS_VERTICAL_CRS=YES", nullptr};
  const char* text = proj_as_wkt(context.Get(), system.get(), PJ_WKT1_GDAL, options);
  if (text == nullptr) text = proj_as_wkt(context.Get(), system.get(), PJ_WKT2_2019, options);
  return text == nullptr ? std::string() : std::string(text);
}

#else

std::string WktOf(const std::string&) { return {}; }

#endif

}  // namespace orvo::exchange
