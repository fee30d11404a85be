#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "exchange/LensModels.h"
#include "info/InfoText.h"

namespace orvo::info {
namespace {

using Json = nlohmann::ordered_json;

Json JsonOf(const Spread& spread) {
  return {
      {"count", spread.nNum}, {"least", spread.dLeast}, {"median", spread.dMedian}, {"most", spread.dMost}};
}

void Put(Json& json, const char* name, const Spread& spread) {
  if (spread.nNum > 0) json[name] = JsonOf(spread);
}

Json JsonOf(const Extent& extent) { return {{"least", extent.Least}, {"most", extent.Most}}; }

Json JsonOf(const PointFigures& points) {
  Json rays = Json::object();
  for (const auto& [number, count] : points.PointsOfRays) rays[std::to_string(number)] = count;
  return {{"count", points.nPoints},  {"measurements", points.nMeasurements},
          {"solved", points.nSolved}, {"rays_mean", points.dMeanRays},
          {"points_of_rays", rays},   {"rms_px", points.Rms}};
}

Json JsonOf(const CameraFigures& each) {
  const SurveyCamera& camera = each.Camera;
  Json json = {{"id", camera.nId},   {"width", camera.nWidth}, {"height", camera.nHeight},
               {"f", camera.dFocal}, {"x0", camera.dX0},       {"y0", camera.dY0},
               {"k1", camera.dK1},   {"k2", camera.dK2},       {"images", each.nImages}};
  if (const LensTerms& terms = camera.Further; !terms.IsNone())
    json["further"] = {
        {"k3", terms.fK3}, {"p1", terms.fP1}, {"p2", terms.fP2}, {"b1", terms.fB1}, {"b2", terms.fB2}};
  Put(json, "gsd", each.Gsd);
  return json;
}

/// As its program has it: pixels from the upper left corner.
Json JsonOf(const exchange::ForeignCamera& camera, const CameraFigures& figures) {
  Json parameters = Json::object();
  const auto names = exchange::ParameterNames(camera.Lens);
  for (size_t k = 0; k < std::min(names.size(), camera.Parameters.size()); ++k) {
    parameters[names[k]] = camera.Parameters[k];
  }
  Json json = {{"id", camera.nId},
               {"name", camera.szName},
               {"model", camera.szModel.empty() ? exchange::NameOf(camera.Lens) : camera.szModel.c_str()},
               {"width", camera.nWidth},
               {"height", camera.nHeight},
               {"fx", camera.dFx},
               {"fy", camera.dFy},
               {"cx", camera.dCx},
               {"cy", camera.dCy},
               {"parameters", parameters},
               {"images", figures.nImages}};
  Put(json, "gsd", figures.Gsd);
  return json;
}

Json StripsOf(const BlockFigures& block) {
  Json json = {{"source", block.Strips.Source == StripSource::Pos      ? "pos"
                          : block.Strips.Source == StripSource::Course ? "course"
                                                                       : "none"},
               {"count", block.Strips.Strips.size()}};
  Put(json, "images", block.OfStrips.Images);
  Put(json, "base", block.OfStrips.Base);
  Put(json, "forward_overlap", block.OfStrips.Forward);
  Put(json, "side_overlap", block.OfStrips.Side);
  return json;
}

void PutBlock(Json& json, const PathInfo& info) {
  const BlockFigures& block = *info.Figures;
  json["images"] = block.nImages;
  json["images_without_tie_point"] = block.nImagesWithoutPoint;
  json["cameras"] = Json::array();
  for (size_t k = 0; k < block.Cameras.size(); ++k) {
    json["cameras"].push_back(info.Cameras.empty() ? JsonOf(block.Cameras[k])
                                                   : JsonOf(info.Cameras[k], block.Cameras[k]));
  }
  json["tie_points"] = JsonOf(block.Tie);
  json["control_points"] = JsonOf(block.Control);
  json["check_points"] = JsonOf(block.Check);
  json["positions"] = {{"count", block.nPosLines}, {"with_image", block.nPosOfImages}};
  json["centres"] = JsonOf(block.Centres);
  if (block.Ground) json["ground"] = JsonOf(*block.Ground);
  json["looks_down"] = block.bLooksDown;
  json["relief"] = block.dRelief;
  Put(json, "height_above_ground", block.Height);
  Put(json, "gsd", block.Gsd);
  Put(json, "tilt", block.Tilt);
  Put(json, "measurements_of_image", block.MeasurementsOfImage);
  Put(json, "base_to_height", block.BaseToHeight);
  json["strips"] = StripsOf(block);
}

void PutMemory(Json& json, const MemoryFigures& memory) {
  json["memory"] = {{"layout", memory.Layout == LayoutMergedEopIop ? "merged" : "images and cameras"},
                    {"unknowns", memory.Sizes.nUnknowns},
                    {"blocks", memory.nBlocks},
                    {"records", memory.nRecordBytes},
                    {"blocks_of_thread", memory.nStoreBytes},
                    {"dense", memory.dDenseBytes},
                    {"sparse", memory.dSparseBytes},
                    {"device", memory.dDeviceBytes}};
}

void PutAlone(Json& json, const PathInfo& info) {
  switch (info.Kind.Kind) {
    case PathKind::Gcp:
    case PathKind::GcpTable:
      json["control_points"] = JsonOf(info.Control);
      json["check_points"] = JsonOf(info.Check);
      break;
    case PathKind::Pos:
    case PathKind::PosTable:
      json["positions"] = {{"count", info.nPosLines}, {"strips", info.PosStrips}};
      if (!info.szAngles.empty()) json["angles"] = info.szAngles;
      break;
    case PathKind::Ovt:
      json["tie_points"] = {{"count", info.nPoints}, {"measurements", info.nMeasurements}};
      break;
    default:
      break;
  }
  if (info.Places) json["places"] = JsonOf(*info.Places);
}

Json JsonOf(const PathInfo& info) {
  Json json = {{"path", info.szPath}, {"kind", TextOf(info.Kind)}};
  if (!info.Kind.szForm.empty()) json["form"] = info.Kind.szForm;
  if (info.Fault) {
    json["fault"] = {
        {"file", info.Fault->szFile}, {"what", info.Fault->szWhat}, {"remedy", info.Fault->szRemedy}};
  }
  if (info.nErrors > 0) json["errors"] = info.nErrors;
  if (info.nWarnings > 0) json["warnings"] = info.nWarnings;
  if (!info.szFrame.empty()) json["frame"] = info.szFrame;
  if (!info.Fault) PutAlone(json, info);
  if (info.Figures) PutBlock(json, info);
  if (!info.Left.Images.empty()) {
    json["images_left_out"] = Json::array();
    for (const exchange::LeftOutImage& image : info.Left.Images)
      json["images_left_out"].push_back(image.szPath);
  }
  if (info.Memory) PutMemory(json, *info.Memory);
  return json;
}

}  // namespace

std::string JsonOf(std::span<const PathInfo> infos) {
  Json json = Json::array();
  for (const PathInfo& info : infos) json.push_back(JsonOf(info));
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace orvo::info
