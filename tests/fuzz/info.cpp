// Any file as orvo info looks at it, and the views of a block where it is one.
#include <cmath>
#include <nlohmann/json.hpp>

#include "check/SurveyReading.h"
#include "exchange/views/CameraFile.h"
#include "exchange/views/GeoJson.h"
#include "exchange/views/Las.h"
#include "exchange/views/Ply.h"
#include "exchange/views/Tables.h"
#include "fuzz/Target.h"
#include "info/InfoText.h"

namespace {

using namespace orvo;

template <typename Write>
void WriteView(const char* name, const Write& write) {
  TextWriter file;
  if (!file.Open(test::Folder().Path() + "/" + name)) test::Require("the output can't be created");
  write(file);
  if (!file.Close()) test::Require("the output was not written");
}

void WriteViews(const SurveyBlock& block) {
  using namespace exchange;
  const ViewBlock view = ViewOf(block);
  for (const StrictPoint& point : view.Tie) {
    if (point.bSolved && !(std::isfinite(point.P[0] + point.P[1] + point.P[2]) && point.nRays > 1)) {
      test::Require("a solved point is no place");
    }
  }
  const PlaceOnEarth map = [](const std::array<double, 3>& P) { return P; };
  WriteView("a.ply", [&](TextWriter& file) { WritePointsPly(view, file); });
  WriteView("b.ply", [&](TextWriter& file) { WriteCamerasPly(block, PyramidDepth(block), file); });
  WriteView("a.las", [&](TextWriter& file) { WriteLas(view, {}, file); });
  WriteView("a.csv", [&](TextWriter& file) { WriteOrientations(view, file); });
  WriteView("b.csv", [&](TextWriter& file) { WriteResiduals(view, file); });
  WriteView("a.json", [&](TextWriter& file) { file.Write(CameraFileText(block, 4)); });
  WriteView("a.geojson", [&](TextWriter& file) { WriteGeoJson(view, map, file); });
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string paths[] = {test::Folder().Write("block.prj", bytes)};
  const auto infos = info::InfoOf(paths, 1);
  if (infos.size() != 1 || (infos[0].Fault && infos[0].Figures))
    test::Require("a block at fault has figures");
  if (info::TextOf(infos[0]).empty()) test::Require("nothing was told");
  if (!nlohmann::json::accept(info::JsonOf(infos))) test::Require("what was told is no JSON");
  if (!infos[0].Figures) return 0;
  SurveyFiles files;
  files.szProject = paths[0];
  SurveyBlock block;
  Diagnosis diagnosis;
  if (ReadSurvey(files, block, diagnosis)) WriteViews(block);
  return 0;
}
