#include "report/console/RunTables.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <vector>

#include "base/PrintableName.h"

namespace orvo::report {
namespace {

constexpr size_t kMostCameras = 4;  ///< with a line of their own
constexpr size_t kColumns = 80;
constexpr double kMegabyte = 1024.0 * 1024.0;

/// With a comma between every three digits.
std::string Grouped(int64_t number) {
  std::string digits = fmt::format("{}", number);
  const size_t first = number < 0 ? 1 : 0;
  for (size_t at = digits.size(); at > first + 3;) digits.insert(at -= 3, ",");
  return digits;
}

/// "1 image", "1,234 images".
std::string Counted(int64_t number, const char* one) {
  return Grouped(number) + " " + one + (number == 1 ? "" : "s");
}

/// A number right-aligned in its column; in powers of ten where it is too wide, a hyphen where it is none.
std::string Fixed(double value, int width, int decimals) {
  if (!std::isfinite(value)) return fmt::format("{:>{}}", "-", width);
  std::string text = fmt::format("{:{}.{}f}", value, width, decimals);
  if (static_cast<int>(text.size()) > width) text = fmt::format("{:{}.2e}", value, width);
  return text;
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? std::string() : text.substr(first);
}

/// As Fixed, without the blanks.
std::string Plain(double value, int decimals) { return Trimmed(Fixed(value, 10, decimals)); }

double PercentOf(int64_t part, int64_t whole) {
  return whole > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

std::string SecondsText(double seconds) { return Plain(seconds, seconds < 10 ? 2 : seconds < 100 ? 1 : 0); }

std::string MemoryText(int64_t bytes) {
  const double megabytes = static_cast<double>(bytes) / kMegabyte;
  return megabytes < 1024 ? fmt::format("{:.0f} MB", megabytes) : fmt::format("{:.1f} GB", megabytes / 1024);
}

/// A line of the summary: what, and how much, cut where the screen ends.
std::string Row(const std::string& what, const std::string& text) {
  return fmt::format("  {:<16}{}", what, text).substr(0, kColumns) + "\n";
}

/// ", 5 left out" where fewer take part than the file has.
std::string LeftOut(int64_t used, int64_t inFile) {
  return inFile > used ? ", " + Grouped(inFile - used) + " left out" : "";
}

std::string PosLack(const BlockCounts& counts) {
  return counts.nImages > counts.nPosImages ? ", none for " + Grouped(counts.nImages - counts.nPosImages)
                                            : "";
}

std::string CameraText(const CameraFigure& camera) {
  const double change = camera.End.f - camera.Start.f;
  std::string text = "f " + Plain(camera.End.f, 3) + " px";
  text += camera.bUnknown && std::isfinite(change)
              ? fmt::format(" ({}{})", change < 0 ? "" : "+", Plain(change, 3))
              : std::string(" (held)");
  return text + ", " + Counted(camera.nImages, "image");
}

/// A line a camera, and one for those that are too many.
std::string CameraRows(const std::vector<CameraFigure>& cameras) {
  std::string text;
  const size_t shown = cameras.size() > kMostCameras ? kMostCameras - 1 : cameras.size();
  for (size_t i = 0; i < shown; ++i) {
    text += Row(PrintableName(cameras[i].szName).substr(0, 15), CameraText(cameras[i]));
  }
  if (shown == cameras.size()) return text;
  double least = std::numeric_limits<double>::infinity(), most = -least;
  for (size_t i = shown; i < cameras.size(); ++i) {
    const double change = cameras[i].End.f - cameras[i].Start.f;
    least = std::fmin(least, change);
    most = std::fmax(most, change);
  }
  return text + Row("cameras", fmt::format("{} more, f changed by {} to {} px",
                                           Grouped(static_cast<int64_t>(cameras.size() - shown)),
                                           Plain(least, 3), Plain(most, 3)));
}

std::string PairRow(const std::string& what, const Pair& pair, const std::string& behind) {
  return Row(what, Fixed(pair.x, 12, 3) + Fixed(pair.y, 12, 3) + "  " + behind);
}

std::string TripleRow(const std::string& what, const Triple& triple, const std::string& behind) {
  return Row(what, Fixed(triple.X, 12, 3) + Fixed(triple.Y, 12, 3) + Fixed(triple.Z, 12, 3) + "  " + behind);
}

std::string BlockRows(const RunFigures& figures) {
  const BlockCounts& counts = figures.Counts;
  std::string images = Counted(counts.nImages, "image") + LeftOut(counts.nImages, counts.nImagesInFile);
  if (counts.nStrips > 0) images += ", " + Counted(counts.nStrips, "strip");
  std::string points = Grouped(counts.nTiePoints);
  if (figures.Points.nPoints > 0) {
    points += ", " + Plain(figures.Points.fMeanRays, 2) +
              " rays each; fewer than 3: " + Plain(figures.Points.fShareBelow3, 1) + " %";
  }
  std::string measurements = Grouped(counts.nMeasurements);
  if (figures.Residuals.nMeasurements > 0 && figures.Residuals.nGross != kUnknownCount) {
    measurements +=
        fmt::format(", {} of them gross ({} %)", Grouped(figures.Residuals.nGross),
                    Plain(PercentOf(figures.Residuals.nGross, figures.Residuals.nMeasurements), 2));
  }
  return Row("block", images) + CameraRows(figures.vCameras) + Row("tie points", points) +
         Row("measurements", measurements);
}

std::string ResidualRows(const RunFigures& figures) {
  const ResidualFigures& residuals = figures.Residuals;
  std::string text;
  if (residuals.StrictKept.nMeasurements > 0)
    text += PairRow("strict", residuals.StrictKept.Rmse, "px, without gross ones");
  if (residuals.StrictAll.nMeasurements > 0) text += PairRow("strict, all", residuals.StrictAll.Rmse, "px");
  if (residuals.Listed.nMeasurements != 0)
    text += PairRow("listed", residuals.Listed.Rmse, "px, as in OrvoAdjustReport.txt");
  return text.empty() ? text : Row("RMSE", "           x           y") + text;
}

std::string GroundRows(const RunFigures& figures) {
  const GroundStatistics &control = figures.Ground.Control, &check = figures.Ground.Check;
  std::string text;
  if (control.nNum > 0) text += TripleRow("control", control.Rmse, Counted(control.nNum, "point"));
  if (check.nNum > 0) text += TripleRow("check", check.Rmse, Counted(check.nNum, "point"));
  if (figures.Pos && figures.Pos->bGps) {
    text += TripleRow("GPS", figures.Pos->Rmse,
                      Counted(static_cast<int64_t>(figures.Pos->vImages.size()), "image"));
  }
  return text.empty() ? text : Row("RMSE", "           X           Y           Z  object units") + text;
}

std::string IterationText(const RunFigures& figures) {
  std::string text = Grouped(static_cast<int64_t>(figures.vIterations.size()));
  if (!figures.bAdjusted) return "none: not adjusted";
  if (figures.bConverged) return text + ", converged";
  const bool held = !figures.vIterations.empty() && IsHeld(figures.vIterations.back());
  return text + (held ? ", ended by their damping" : ", not converged");
}

std::string RunRows(const RunFigures& figures) {
  std::string text;
  if (figures.Points.fGsd > 0)
    text += Row("pixel on ground", Plain(figures.Points.fGsd, 4) + " object units");
  text += Row("iterations", IterationText(figures));
  // In two lines at most: phases by name and seconds.
  std::string line = SecondsText(figures.fSeconds) + " s";
  const char* joint = ": ";
  std::string what = "time";
  for (const PhaseFigure& phase : figures.vPhases) {
    const std::string part = std::string(NameOf(phase.Phase)) + " " + SecondsText(phase.fSeconds);
    if (line.size() + part.size() + 2 > kColumns - 19) {
      text += Row(what, line + ",");
      line.clear();
      joint = "";
      what.clear();
    }
    line += joint + part;
    joint = ", ";
  }
  text += Row(what, line);
  if (figures.Memory.nPeakBytes > 0)
    text += Row("memory", MemoryText(figures.Memory.nPeakBytes) + " at most");
  return text;
}

}  // namespace

std::string CountsText(const BlockCounts& counts) {
  std::string images = Counted(counts.nImages, "image") + LeftOut(counts.nImages, counts.nImagesInFile);
  if (counts.nStrips > 0) images += ", " + Counted(counts.nStrips, "strip");
  std::string text = Row("images", images);
  text += Row("cameras", Grouped(counts.nCameras) + LeftOut(counts.nCameras, counts.nCamerasInFile));
  text += Row("tie points", Grouped(counts.nTiePoints) + LeftOut(counts.nTiePoints, counts.nTiePointsInFile));
  text += Row("measurements", Grouped(counts.nMeasurements));
  text += Row("control",
              Counted(counts.nControl, "control point") + ", " + Counted(counts.nCheck, "check point"));
  text += Row("POS", counts.nPosImages > 0 ? "for " + Counted(counts.nPosImages, "image") + PosLack(counts)
                                           : std::string("none"));
  if (counts.nUnknowns > 0) {
    text += Row("unknowns", Grouped(counts.nUnknowns) + ", redundancy " + Grouped(counts.nRedundancy));
  }
  if (counts.nSections > 1) text += Row("sections", Grouped(counts.nSections) + ", for the memory");
  return text;
}

std::string IterationHead() {
  return "  iteration      RMSE x      RMSE y  correction   gross %  solver  seconds\n";
}

std::string IterationLine(const IterationFigure& figure) {
  const std::string correction = std::isfinite(figure.fLargest)
                                     ? fmt::format("{:12.3e}", std::fabs(figure.fLargest))
                                     : fmt::format("{:>12}", "-");
  const bool counted = figure.nUsed != kUnknownCount && figure.nGross != kUnknownCount;
  const double gross = counted ? PercentOf(figure.nGross, figure.nUsed + figure.nGross) : std::nan("");
  const std::string solver =
      figure.nSolverSteps > 0 ? fmt::format("{:8}", figure.nSolverSteps) : fmt::format("{:>8}", "-");
  return fmt::format("  {:9}{}{}{}{}{}{}\n", figure.nNumber, Fixed(figure.Rmse.x, 12, 4),
                     Fixed(figure.Rmse.y, 12, 4), correction, Fixed(gross, 10, 2), solver,
                     Fixed(figure.fSeconds, 9, 2));
}

std::string SummaryText(const RunFigures& figures) {
  return BlockRows(figures) + ResidualRows(figures) + GroundRows(figures) + RunRows(figures);
}

}  // namespace orvo::report
