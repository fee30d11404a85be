// Handles of PROJ that free themselves, and systems and operations made of them.
#pragma once

#ifdef ORVO_HAS_PROJ
#include <proj.h>
#include <proj_experimental.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "exchange/crs/CoordinateSystems.h"

namespace orvo::exchange {

struct ProjFree {
  void operator()(PJ* object) const { proj_destroy(object); }
  void operator()(PJ_CONTEXT* context) const { proj_context_destroy(context); }
  void operator()(PJ_OBJ_LIST* list) const { proj_list_destroy(list); }
  void operator()(PJ_OPERATION_FACTORY_CONTEXT* context) const {
    proj_operation_factory_context_destroy(context);
  }
};
template <typename T>
using ProjHandle = std::unique_ptr<T, ProjFree>;

/// A context that prints nothing and keeps what PROJ says last.
class ProjContext {
 public:
  ProjContext();
  PJ_CONTEXT* Get() const { return pContext.get(); }
  const std::string& LastWords() const { return *pWords; }

 private:
  std::unique_ptr<std::string> pWords;
  ProjHandle<PJ_CONTEXT> pContext;
};

/// A system with heights, and what its numbers are multiplied by.
struct ProjSystem {
  ProjHandle<PJ> pCrs;         ///< three axes
  ProjHandle<PJ> pHorizontal;  ///< as named, without heights; null where it is geocentric
  SystemFacts Facts;
  double dHeightScale = 1;     ///< of file heights to those of pCrs
  double dMetresOfHeight = 1;  ///< of heights of pCrs
  std::vector<std::string> Notes;
};

/// What is named, as it is: heights are looked at by WithHeights.
ProjHandle<PJ> CreateCrs(const ProjContext& context, const std::string& text);
SystemFacts FactsOf(const ProjContext& context, const PJ* crs, const std::string& text);
ProjSystem CreateSystem(const ProjContext& context, const SourceSystem& system, bool heights);

/// Between the two systems, east first on both sides; `note` tells of it. Throws CrsFault where it would be a
/// ballpark one or a grid is missing.
ProjHandle<PJ> CreateOperation(const ProjContext& context, const PJ* from, const PJ* to, std::string& note);

/// Throws CrsFault where the result is not finite.
std::array<double, 3> Transformed(PJ* operation, PJ_DIRECTION direction, const std::array<double, 3>& place);

}  // namespace orvo::exchange
#endif
