#ifdef ORVO_HAS_PROJ
#include "exchange/crs/ProjObjects.h"

#include <cmath>
#include <cstdio>

#include "base/PrintableName.h"

namespace orvo::exchange {
namespace {

std::string Quoted(const std::string& text) {
  constexpr size_t kMostShown = 60;
  return "'" + PrintableName(text.size() > kMostShown ? text.substr(0, kMostShown) + "..." : text) + "'";
}

/// What a bound system is bound to is its transformation to WGS 84; its axes are those of its base.
ProjHandle<PJ> Unbound(const ProjContext& context, const PJ* crs) {
  if (proj_get_type(crs) == PJ_TYPE_BOUND_CRS) return ProjHandle<PJ>(proj_get_source_crs(context.Get(), crs));
  return ProjHandle<PJ>(proj_clone(context.Get(), crs));
}

bool IsGeographic(PJ_TYPE type) {
  return type == PJ_TYPE_GEOGRAPHIC_2D_CRS || type == PJ_TYPE_GEOGRAPHIC_3D_CRS;
}

struct Axis {
  std::string szDirection, szUnit;
  double dFactor = 1;
};

std::vector<Axis> AxesOf(const ProjContext& context, const PJ* crs) {
  std::vector<Axis> axes;
  const ProjHandle<PJ> system(proj_crs_get_coordinate_system(context.Get(), crs));
  if (!system) return axes;
  const int count = proj_cs_get_axis_count(context.Get(), system.get());
  for (int i = 0; i < count; ++i) {
    const char *direction = nullptr, *unit = nullptr;
    double factor = 1;
    if (proj_cs_get_axis_info(context.Get(), system.get(), i, nullptr, nullptr, &direction, &factor, &unit,
                              nullptr, nullptr) == 0)
      return {};
    axes.push_back({direction != nullptr ? direction : "", unit != nullptr ? unit : "", factor});
  }
  return axes;
}

/// The horizontal part, unbound: of a compound system its first one.
ProjHandle<PJ> HorizontalOf(const ProjContext& context, const PJ* crs) {
  ProjHandle<PJ> base = Unbound(context, crs);
  if (base && proj_get_type(base.get()) == PJ_TYPE_COMPOUND_CRS) {
    const ProjHandle<PJ> first(proj_crs_get_sub_crs(context.Get(), base.get(), 0));
    if (first) return Unbound(context, first.get());
  }
  return base;
}

double MetresOfHeight(const ProjContext& context, const PJ* crs) {
  const ProjHandle<PJ> base = Unbound(context, crs);
  if (proj_get_type(base.get()) == PJ_TYPE_COMPOUND_CRS) {
    const ProjHandle<PJ> second(proj_crs_get_sub_crs(context.Get(), base.get(), 1));
    if (!second) return 1;
    const ProjHandle<PJ> vertical = Unbound(context, second.get());
    const std::vector<Axis> axes = AxesOf(context, vertical.get());
    return axes.empty() ? 1 : axes[0].dFactor;
  }
  const std::vector<Axis> axes = AxesOf(context, base.get());
  return axes.size() == 3 ? axes[2].dFactor : 1;
}

/// Heights of the ellipsoid: metres of a unit behind "ellipsoidal".
double MetresOf(const std::string& height, const SystemFacts& facts) {
  const std::string unit = height.substr(std::string("ellipsoidal").size());
  if (unit == ":m") return 1;
  if (unit == ":ft") return 0.3048;
  if (unit == ":us-ft") return 1200.0 / 3937;
  if (!unit.empty()) {
    throw CrsFault(Quoted(height) + " is no kind of height",
                   "Kinds are ellipsoidal, ellipsoidal:ft, ellipsoidal:us-ft, none, and vertical systems "
                   "such as EPSG:5773");
  }
  if (facts.bProjected && facts.dMetresOfUnit != 1) {
    throw CrsFault(
        "the unit of " + facts.szName + " is the " + facts.szUnit + ", and that of the heights is not known",
        "Say --height ellipsoidal:m, ellipsoidal:ft or ellipsoidal:us-ft");
  }
  return 1;
}

ProjHandle<PJ> CreateVertical(const ProjContext& context, const std::string& text) {
  const bool number = text.find_first_not_of("0123456789") == std::string::npos;
  ProjHandle<PJ> vertical(proj_create(context.Get(), number ? ("EPSG:" + text).c_str() : text.c_str()));
  if (!vertical || proj_get_type(vertical.get()) != PJ_TYPE_VERTICAL_CRS) {
    throw CrsFault(Quoted(text) + " is no vertical coordinate system that PROJ knows",
                   "Name one by its code (--height EPSG:5773), or say --height ellipsoidal or none");
  }
  return vertical;
}

[[noreturn]] void RefuseHeights(const std::string& name) {
  throw CrsFault("elevations are given, and " + name +
                     " does not say what they are above: ellipsoid and geoid differ by up to 100 m",
                 "Say --height EPSG:CODE of a vertical system, --height ellipsoidal, or --height none to "
                 "take them as they stand");
}

ProjHandle<PJ> Promoted(const ProjContext& context, const PJ* crs, const std::string& text) {
  ProjHandle<PJ> promoted(proj_crs_promote_to_3D(context.Get(), nullptr, crs));
  if (!promoted) throw CrsFault(Quoted(text) + " can't be given heights: " + context.LastWords(), "");
  return promoted;
}

std::string NameOfObject(const PJ* object) {
  const char* name = proj_get_name(object);
  return name != nullptr ? PrintableName(name) : std::string();
}

/// Gives heights to a system without: what the user says of them.
void AddHeights(const ProjContext& context, const SourceSystem& named, bool heights, PJ* crs,
                ProjSystem& system) {
  const std::string& height = named.szHeight;
  if (height.empty() && heights) RefuseHeights(system.Facts.szName);
  if (height.starts_with("ellipsoidal")) {
    system.dHeightScale = MetresOf(height, system.Facts);
    system.pCrs = Promoted(context, crs, named.szCrs);
  } else if (height.empty() || height == "none") {
    system.pCrs = Promoted(context, crs, named.szCrs);
    if (heights) {
      system.Notes.push_back(
          "Heights are taken as they stand, in metres: they may be off by the undulation of the geoid.");
    }
  } else {
    const ProjHandle<PJ> vertical = CreateVertical(context, height);
    const std::string name = NameOfObject(crs) + " with " + NameOfObject(vertical.get());
    system.pCrs.reset(proj_create_compound_crs(context.Get(), name.c_str(), crs, vertical.get()));
    if (!system.pCrs) {
      throw CrsFault(Quoted(named.szCrs) + " and " + Quoted(height) + " make no system together", "");
    }
  }
}

struct MissingGrids {
  std::string szNames;  ///< by commas
  std::string szFirst;
  std::string szUrl;  ///< of the first, where PROJ knows it
};

MissingGrids MissingGridsOf(const ProjContext& context, const PJ* operation) {
  MissingGrids missing;
  const int count = proj_coordoperation_get_grid_used_count(context.Get(), operation);
  for (int i = 0; i < count; ++i) {
    const char *name = nullptr, *url = nullptr;
    int available = 0;
    if (proj_coordoperation_get_grid_used(context.Get(), operation, i, &name, nullptr, nullptr, &url, nullptr,
                                          nullptr, &available) == 0 ||
        available != 0 || name == nullptr) {
      continue;
    }
    if (missing.szFirst.empty()) {
      missing.szFirst = PrintableName(name);
      missing.szUrl = url != nullptr ? PrintableName(url) : "";
    }
    missing.szNames += (missing.szNames.empty() ? "" : ", ") + PrintableName(name);
  }
  return missing;
}

std::string RemedyOf(const MissingGrids& grids) {
  if (!grids.szUrl.empty()) {
    return "Fetch it with projsync --file " + grids.szFirst + " (from " + grids.szUrl +
           "), or install the Debian package proj-data where that has it";
  }
  return "Look for it in the Debian package proj-data and at https://cdn.proj.org (projsync fetches from "
         "there), or put it into a folder that PROJ_DATA names";
}

/// Refuses what would be off by metres.
void CheckOperation(const ProjContext& context, const PJ* operation, const std::string& between) {
  const MissingGrids grids = MissingGridsOf(context, operation);
  if (proj_coordoperation_is_instantiable(context.Get(), operation) == 0 || !grids.szNames.empty()) {
    throw CrsFault(
        between + " needs a grid that is not installed" + (grids.szNames.empty() ? "" : ": " + grids.szNames),
        RemedyOf(grids));
  }
  if (proj_coordoperation_has_ballpark_transformation(context.Get(), operation) != 0) {
    throw CrsFault(between +
                       " is known to PROJ as a ballpark operation only, which may be off by many metres: " +
                       NameOfObject(operation),
                   "Name a system that PROJ has an operation for, or transform the coordinates beforehand");
  }
}

}  // namespace

ProjContext::ProjContext() : pWords(std::make_unique<std::string>()), pContext(proj_context_create()) {
  proj_log_level(pContext.get(), PJ_LOG_ERROR);
  proj_log_func(pContext.get(), pWords.get(), [](void* words, int, const char* text) {
    *static_cast<std::string*>(words) = PrintableName(text);
  });
}

ProjHandle<PJ> CreateCrs(const ProjContext& context, const std::string& text) {
  std::string definition = text;
  const bool string = text.find("+proj=") != std::string::npos || text.find("+init=") != std::string::npos;
  if (string && text.find("+type=crs") == std::string::npos) definition += " +type=crs";
  ProjHandle<PJ> crs;
  if (text.find('\0') == std::string::npos && !text.empty())
    crs.reset(proj_create(context.Get(), definition.c_str()));
  if (!crs || proj_is_crs(crs.get()) == 0) {
    const std::string& words = context.LastWords();
    throw CrsFault(
        Quoted(text) + " is no coordinate system that PROJ knows" + (words.empty() ? "" : " (" + words + ")"),
        "Codes have the form EPSG:25832 or, with heights, EPSG:25832+7837; WKT and PROJ strings "
        "will do, too");
  }
  return crs;
}

SystemFacts FactsOf(const ProjContext& context, const PJ* crs, const std::string& text) {
  SystemFacts facts;
  facts.szName = PrintableName(text.size() < 40 ? text : NameOfObject(crs));
  const ProjHandle<PJ> horizontal = HorizontalOf(context, crs);
  const PJ_TYPE type = horizontal ? proj_get_type(horizontal.get()) : PJ_TYPE_UNKNOWN;
  facts.bGeographic = IsGeographic(type);
  facts.bProjected = type == PJ_TYPE_PROJECTED_CRS;
  facts.bGeocentric = type == PJ_TYPE_GEOCENTRIC_CRS;
  if (!facts.bGeographic && !facts.bProjected && !facts.bGeocentric) {
    throw CrsFault(Quoted(text) + " is no geographic, projected or geocentric system",
                   "Name the horizontal system, or the compound one: EPSG:25832+7837");
  }
  const std::vector<Axis> axes = AxesOf(context, horizontal.get());
  if (axes.size() < 2) throw CrsFault(Quoted(text) + " has no two axes", "Name another system");
  const ProjHandle<PJ> base = Unbound(context, crs);
  facts.bHeights = proj_get_type(base.get()) == PJ_TYPE_COMPOUND_CRS || axes.size() == 3;
  facts.bNorthFirst =
      !facts.bGeocentric && (axes[0].szDirection == "north" || axes[0].szDirection == "south");
  facts.szUnit = axes[0].szUnit;
  if (!facts.bGeographic) facts.dMetresOfUnit = axes[0].dFactor;
  std::array<double, 4> area{};
  if (proj_get_area_of_use(context.Get(), crs, &area[0], &area[1], &area[2], &area[3], nullptr) != 0 &&
      area[0] > -1000) {
    facts.WestSouthEastNorth = area;
  }
  return facts;
}

ProjSystem CreateSystem(const ProjContext& context, const SourceSystem& named, bool heights) {
  ProjSystem system;
  ProjHandle<PJ> crs = CreateCrs(context, named.szCrs);
  system.Facts = FactsOf(context, crs.get(), named.szCrs);
  system.pHorizontal = HorizontalOf(context, crs.get());
  if (system.Facts.bHeights) {
    const bool same =
        named.szHeight.empty() || (named.szHeight == "ellipsoidal" && system.Facts.bGeographic &&
                                   proj_get_type(crs.get()) == PJ_TYPE_GEOGRAPHIC_3D_CRS);
    if (!same) {
      throw CrsFault(system.Facts.szName + " says itself what heights are, and --height " +
                         PrintableName(named.szHeight) + " says it again",
                     "Leave --height out, or name the system without heights");
    }
    system.pCrs = std::move(crs);
  } else {
    AddHeights(context, named, heights, crs.get(), system);
  }
  system.dMetresOfHeight = MetresOfHeight(context, system.pCrs.get());
  return system;
}

ProjHandle<PJ> CreateOperation(const ProjContext& context, const PJ* from, const PJ* to, std::string& note) {
  const std::string between = "the way from " + NameOfObject(from) + " to " + NameOfObject(to);
  const ProjHandle<PJ_OPERATION_FACTORY_CONTEXT> factory(
      proj_create_operation_factory_context(context.Get(), nullptr));
  const ProjHandle<PJ_OBJ_LIST> list(proj_create_operations(context.Get(), from, to, factory.get()));
  if (!list || proj_list_get_count(list.get()) == 0) {
    throw CrsFault(between + " is not known to PROJ", "Name another system");
  }
  const ProjHandle<PJ> operation(proj_list_get(context.Get(), list.get(), 0));
  if (!operation) throw CrsFault(between + " is not known to PROJ", "Name another system");
  CheckOperation(context, operation.get(), between);
  ProjHandle<PJ> ordered(proj_normalize_for_visualization(context.Get(), operation.get()));
  if (!ordered) throw CrsFault(between + " can't be used: " + context.LastWords(), "Name another system");
  const double accuracy = proj_coordoperation_get_accuracy(context.Get(), operation.get());
  note = NameOfObject(operation.get());
  if (accuracy > 0) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), ", accuracy %g m", accuracy);
    note += text.data();
  }
  note += ".";
  return ordered;
}

std::array<double, 3> Transformed(PJ* operation, PJ_DIRECTION direction, const std::array<double, 3>& place) {
  const PJ_COORD to = proj_trans(operation, direction, proj_coord(place[0], place[1], place[2], HUGE_VAL));
  const std::array<double, 3> result = {to.xyz.x, to.xyz.y, to.xyz.z};
  const bool finite = std::isfinite(result[0]) && std::isfinite(result[1]) && std::isfinite(result[2]);
  if (!finite) {
    const int error = proj_errno(operation);
    const char* words = error != 0 ? proj_errno_string(error) : nullptr;
    proj_errno_reset(operation);
    throw CrsFault(std::string("its coordinates have no place in the other system") +
                       (words != nullptr ? std::string(" (") + words + ")" : ""),
                   "Look at the coordinate system, the order of the coordinates and their unit");
  }
  return result;
}

}  // namespace orvo::exchange
#endif
