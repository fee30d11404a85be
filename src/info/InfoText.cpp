#include "info/InfoText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "base/PrintableName.h"
#include "exchange/LensModels.h"

namespace orvo::info {
namespace {

/// Gathers lines "  name: text".
class Paragraph {
 public:
  template <typename... Values>
  void Add(const char* name, fmt::format_string<Values...> format, Values&&... values) {
    const std::string head = *name == '\0' ? std::string() : std::string(name) + ":";
    fmt::format_to(std::back_inserter(szText), "  {:<14} ", head);
    fmt::format_to(std::back_inserter(szText), format, std::forward<Values>(values)...);
    szText.push_back('\n');
  }
  std::string szText;
};

std::string Counted(int64_t count, const char* kind) {
  return fmt::format("{} {}{}", count, kind, count == 1 ? "" : "s");
}

std::string RangeOf(const Spread& spread, int decimals, const char* unit) {
  if (spread.nNum == 0) return "not known";
  return fmt::format("{:.{}f}{} ({:.{}f} to {:.{}f})", spread.dMedian, decimals, unit, spread.dLeast,
                     decimals, spread.dMost, decimals);
}

std::string Megabytes(double bytes) {
  return bytes < 1e9 ? fmt::format("{:.1f} MB", bytes / 1e6) : fmt::format("{:.1f} GB", bytes / 1e9);
}

std::string RaysText(const PointFigures& points) {
  constexpr int32_t kMostShown = 9;
  std::string text;
  int64_t more = 0;
  for (const auto& [rays, count] : points.PointsOfRays) {
    if (rays > kMostShown) {
      more += count;
      continue;
    }
    text += fmt::format("{}{} x {}", text.empty() ? "" : ", ", count, rays);
  }
  if (more > 0) text += fmt::format("{}{} x {} and more", text.empty() ? "" : ", ", more, kMostShown + 1);
  return text;
}

void AddExtent(const char* name, const Extent& extent, Paragraph& out) {
  out.Add(name, "X {:.3f} to {:.3f}, Y {:.3f} to {:.3f}, Z {:.3f} to {:.3f}", extent.Least[0], extent.Most[0],
          extent.Least[1], extent.Most[1], extent.Least[2], extent.Most[2]);
}

void AddPoints(const char* name, const PointFigures& points, Paragraph& out) {
  if (points.nPoints == 0) return;
  out.Add(name, "{} with {}, {:.2f} rays a point; by rays: {}", points.nPoints,
          Counted(points.nMeasurements, "measurement"), points.dMeanRays, RaysText(points));
  if (points.nSolved == 0) return;
  out.Add("", "{} meet, with residuals of {:.3f} / {:.3f} pixels (x / y, RMS)", points.nSolved, points.Rms[0],
          points.Rms[1]);
}

void AddStrips(const BlockFigures& block, Paragraph& out) {
  const char* source = block.Strips.Source == StripSource::Pos ? "by the POS file" : "by course";
  if (block.Strips.Source == StripSource::None) {
    out.Add("strips", "none found in the order of the images");
    return;
  }
  out.Add("strips", "{} {}, of {:.0f} images ({:.0f} to {:.0f})", block.Strips.Strips.size(), source,
          block.OfStrips.Images.dMedian, block.OfStrips.Images.dLeast, block.OfStrips.Images.dMost);
  out.Add("base", "{}", RangeOf(block.OfStrips.Base, 2, ""));
  out.Add("overlap", "forward {}, side {}", RangeOf(block.OfStrips.Forward, 0, " %"),
          RangeOf(block.OfStrips.Side, 0, " %"));
}

/// As its program has it: pixels from the upper left corner.
std::string TextOf(const exchange::ForeignCamera& camera) {
  std::string text =
      fmt::format("{} x {}, {}, ", camera.nWidth, camera.nHeight,
                  camera.szModel.empty() ? NameOf(camera.Lens) : PrintableName(camera.szModel));
  text += camera.dFx == camera.dFy ? fmt::format("f {:.3f}", camera.dFx)
                                   : fmt::format("fx {:.3f}, fy {:.3f}", camera.dFx, camera.dFy);
  text += fmt::format(", cx {:.3f}, cy {:.3f}", camera.dCx, camera.dCy);
  const auto names = exchange::ParameterNames(camera.Lens);
  for (size_t k = 0; k < std::min(names.size(), camera.Parameters.size()); ++k) {
    text += fmt::format(", {} {:.6g}", names[k], camera.Parameters[k]);
  }
  return text;
}

void AddForeignCameras(const PathInfo& info, Paragraph& out) {
  constexpr size_t kMostShown = 10;
  for (size_t k = 0; k < std::min(info.Cameras.size(), kMostShown); ++k) {
    out.Add(("camera " + PrintableName(info.Cameras[k].szName)).c_str(), "{}; {}", TextOf(info.Cameras[k]),
            Counted(info.Figures->Cameras[k].nImages, "image"));
  }
  if (info.Cameras.size() > kMostShown) out.Add("", "and {} more", info.Cameras.size() - kMostShown);
}

std::string TextOf(const LensTerms& terms) {
  if (terms.IsNone()) return {};
  return fmt::format(", k3 {:.4g}, p1 {:.4g}, p2 {:.4g}, b1 {:.4g}, b2 {:.4g}", terms.fK3, terms.fP1,
                     terms.fP2, terms.fB1, terms.fB2);
}

void AddCameras(const BlockFigures& block, Paragraph& out) {
  constexpr size_t kMostShown = 10;
  for (size_t k = 0; k < std::min(block.Cameras.size(), kMostShown); ++k) {
    const CameraFigures& each = block.Cameras[k];
    const SurveyCamera& camera = each.Camera;
    out.Add(fmt::format("camera {}", k).c_str(),
            "{} x {}, f {:.3f}, x0 {:.3f}, y0 {:.3f}, k1 {:.4g}, k2 {:.4g}{}; {}", camera.nWidth,
            camera.nHeight, camera.dFocal, camera.dX0, camera.dY0, camera.dK1, camera.dK2,
            TextOf(camera.Further), Counted(each.nImages, "image"));
  }
  if (block.Cameras.size() > kMostShown) out.Add("", "and {} more", block.Cameras.size() - kMostShown);
}

void AddBlock(const PathInfo& info, Paragraph& out) {
  const BlockFigures& block = *info.Figures;
  out.Add("images", "{} with {}, {}", block.nImages, Counted(std::ssize(block.Cameras), "camera"),
          block.nImagesWithoutPoint == 0 ? std::string("all with tie points")
                                         : fmt::format("{} without tie point", block.nImagesWithoutPoint));
  if (info.Cameras.empty()) {
    AddCameras(block, out);
  } else {
    AddForeignCameras(info, out);
  }
  AddPoints("tie points", block.Tie, out);
  AddPoints("control", block.Control, out);
  AddPoints("check points", block.Check, out);
  if (block.nPosLines > 0) out.Add("positions", "{}, {} with an image", block.nPosLines, block.nPosOfImages);
  AddExtent("centres", block.Centres, out);
  if (block.Ground) AddExtent("ground", *block.Ground, out);
  if (block.bLooksDown) {
    out.Add("above ground", "{}, relief {:.2f}", RangeOf(block.Height, 2, ""), block.dRelief);
  } else {
    out.Add("above ground", "not known, for most images do not look down: Z is not up");
  }
  out.Add("GSD", "{}", RangeOf(block.Gsd, 4, ""));
  out.Add("tilt", "{}", RangeOf(block.Tilt, 1, " degrees"));
  AddStrips(block, out);
  out.Add("base/height", "{}", RangeOf(block.BaseToHeight, 2, ""));
  out.Add("points/image", "{}", RangeOf(block.MeasurementsOfImage, 0, ""));
}

void AddMemory(const MemoryFigures& memory, Paragraph& out) {
  out.Add("unknowns", "{} of images and cameras{}, {} of the normal matrix", memory.Sizes.nUnknowns,
          memory.Layout == LayoutMergedEopIop ? " together" : "", Counted(memory.nBlocks, "block"));
  out.Add("memory", "dense {}, sparse {}, on a device {}; points {}", Megabytes(memory.dDenseBytes),
          Megabytes(memory.dSparseBytes), Megabytes(memory.dDeviceBytes),
          Megabytes(static_cast<double>(memory.nRecordBytes)));
}

void AddAlone(const PathInfo& info, Paragraph& out) {
  switch (info.Kind.Kind) {
    case PathKind::Gcp:
    case PathKind::GcpTable:
      if (info.Control.nPoints + info.Check.nPoints == 0) out.Add("points", "none");
      AddPoints("control", info.Control, out);
      AddPoints("check points", info.Check, out);
      break;
    case PathKind::Pos:
    case PathKind::PosTable:
      out.Add("positions", "{}, in {}{}", info.nPosLines, Counted(std::ssize(info.PosStrips), "strip"),
              info.szAngles.empty() ? "" : ", " + info.szAngles);
      break;
    case PathKind::Ovt:
      out.Add("tie points", "{} with {}", info.nPoints, Counted(info.nMeasurements, "measurement"));
      break;
    default:
      break;
  }
  if (info.Places) AddExtent("places", *info.Places, out);
  if (!info.Kind.szForm.empty()) out.Add("read by", "orvo import {}", info.Kind.szForm);
}

}  // namespace

std::string TextOf(const PathInfo& info) {
  Paragraph out;
  out.szText = PrintableName(info.szPath) + ": " + TextOf(info.Kind) + "\n";
  if (!info.Fault) AddAlone(info, out);
  if (info.Figures) AddBlock(info, out);
  for (const Finding& finding : exchange::FindingsOf(info.Left, info.szPath)) {
    out.Add("left out", "{}", finding.szWhat);
  }
  if (!info.szFrame.empty()) out.Add("frame", "{}", PrintableName(info.szFrame));
  if (info.Memory) AddMemory(*info.Memory, out);
  if (info.nErrors + info.nWarnings > 0) {
    out.Add("files", "{}, {}: see orvo check", Counted(info.nErrors, "error"),
            Counted(info.nWarnings, "warning"));
  }
  return out.szText;
}

}  // namespace orvo::info
