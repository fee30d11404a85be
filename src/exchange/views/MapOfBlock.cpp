#include "exchange/views/MapOfBlock.h"

#include <limits>
#include <memory>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ResultModel.h"
#include "exchange/crs/FrameTransform.h"

namespace orvo::exchange {
namespace {

/// Runs what needs PROJ; its faults become ours.
template <typename Work>
auto OnEarth(const Work& work) {
  try {
    return work();
  } catch (const CrsFault& fault) {
    Refuse("", 0, fault.what(), fault.Remedy);
  }
}

BlockOnEarth InSystem(const std::string& crs, const std::string& height) {
  const SystemFacts facts = DescribeSystem({crs, height});
  if (!facts.bProjected) {
    throw CrsFault(facts.szName + " is no projected system, so no block is adjusted in it",
                   "Name the system of the block's X and Y with --block-crs");
  }
  BlockOnEarth block;
  block.Frame.Kind = FrameKind::Projected;
  block.Frame.System = {crs, height};
  block.bHeights = facts.bHeights || (!height.empty() && height != "none");
  return block;
}

/// What the user names has to be what the sidecar says. Throws CrsFault.
void CheckAgainst(const ModelFrame& kept, const std::string& crs) {
  const char* remedy = "Leave --block-crs away, or name with --sidecar the file that belongs to the block";
  if (kept.Kind == FrameKind::Topocentric) {
    throw CrsFault("the sidecar of the block says that its frame is topocentric, and --block-crs " +
                       PrintableName(crs) + " that it is a map",
                   remedy);
  }
  if (!kept.szCrs.empty() && !IsSameMap(kept.szCrs, crs)) {
    throw CrsFault("the sidecar of the block says that it is in " + PrintableName(kept.szCrs) +
                       ", and --block-crs " + PrintableName(crs),
                   remedy);
  }
}

PlaceOnEarth ToSource(const BlockOnEarth& block, const SourceSystem& system) {
  const auto transform =
      OnEarth([&] { return std::make_shared<const FrameTransform>(system, block.Frame, block.bHeights); });
  return [transform, heights = block.bHeights](const std::array<double, 3>& place) {
    return OnEarth([&] {
      std::array<double, 3> p = transform->FromFrame({place[0], place[1], heights ? place[2] : 0});
      if (!heights) p[2] = std::numeric_limits<double>::quiet_NaN();
      return p;
    });
  };
}

}  // namespace

BlockOnEarth FindBlockOnEarth(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) {
  const auto sidecar = SidecarOf(result, options, log);
  const bool pending = sidecar && sidecar->Frame.bOfControl && !result.bResult;
  if (!options.szBlockCrs.empty()) {
    if (sidecar && !pending) OnEarth([&] { CheckAgainst(sidecar->Frame, options.szBlockCrs); });
    return OnEarth([&] { return InSystem(options.szBlockCrs, {}); });
  }
  if (pending) {
    Refuse(result.Files.szProject, 0,
           "the frame that its sidecar keeps is that of the control, to which the block was never adjusted",
           "Export a result of orvo adjust, or name the system that the block is in now with --block-crs");
  }
  if (!sidecar || (sidecar->Frame.Kind != FrameKind::Topocentric && sidecar->Frame.szCrs.empty())) {
    Refuse(result.Files.szProject, 0, "nothing tells in which coordinate system the block is",
           sidecar
               ? "Its sidecar has none: name it with --block-crs, such as --block-crs EPSG:25832"
               : "Name it with --block-crs, such as --block-crs EPSG:25832, or with --sidecar the file that "
                 "an import wrote");
  }
  if (sidecar->Frame.Kind != FrameKind::Topocentric) {
    return OnEarth([&] { return InSystem(sidecar->Frame.szCrs, sidecar->Frame.szHeight); });
  }
  BlockOnEarth block;
  block.Frame.Kind = FrameKind::Topocentric;
  block.Frame.dLatitude = sidecar->Frame.Origin[0];
  block.Frame.dLongitude = sidecar->Frame.Origin[1];
  block.Frame.dHeight = sidecar->Frame.Origin[2];
  block.bHeights = true;
  return block;
}

PlaceOnEarth ToWgs84(const BlockOnEarth& block) {
  return ToSource(block, {block.bHeights ? "EPSG:4979" : "EPSG:4326", ""});
}

PlaceOnEarth ToSystem(const BlockOnEarth& block, const std::string& crs) {
  const SystemFacts facts = OnEarth([&] { return DescribeSystem({crs, ""}); });
  if (facts.bHeights && !block.bHeights) {
    Refuse("", 0, facts.szName + " has heights, and nothing tells what those of the block are above",
           "Name a system without heights, or that of the block with its own: --block-crs EPSG:25832+7837");
  }
  if (facts.bHeights || !block.bHeights) return ToSource(block, {crs, ""});
  const bool inFeet = facts.bProjected && facts.dMetresOfUnit != 1;
  return ToSource(block, {crs, inFeet ? "ellipsoidal:m" : "ellipsoidal"});
}

}  // namespace orvo::exchange
