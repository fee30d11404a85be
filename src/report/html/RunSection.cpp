#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/html/Frames.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

constexpr double kWidth = 440, kLeft = 12;

std::string InputTable(const std::vector<InputFigure>& inputs) {
  HtmlTable table({{"Input"}, {"File"}, {"Size", true}, {"Checksum"}},
                  "What was read. A checksum tells whether a file is still the same.");
  for (const InputFigure& input : inputs) {
    table.Row({input.szRole, input.szPath, Bytes(input.nBytes), input.szChecksum});
  }
  return std::move(table).Finish();
}

std::string SettingTable(const std::vector<SettingFigure>& settings) {
  HtmlTable table({{"Setting"}, {"Value", true}, {"From"}},
                  "Settings in force. Those that the settings file, the command line or the run itself gave "
                  "come first, in "
                  "bold type.");
  for (const bool own : {true, false}) {
    for (const SettingFigure& setting : settings) {
      if ((setting.Origin != SettingOrigin::Default) != own) continue;
      table.Row({setting.szKey, setting.szValue, NameOf(setting.Origin)}, own ? "changed" : "");
    }
  }
  return std::move(table).Finish();
}

std::string CountTable(const RunFigures& figures) {
  const BlockCounts& counts = figures.Counts;
  if (counts.nImages == 0 && counts.nImagesInFile == 0) return {};
  HtmlTable table({{"Block"}, {"Taking part", true}, {"In the files", true}});
  table.Row({"Images", Thousands(int64_t{counts.nImages}), Thousands(int64_t{counts.nImagesInFile})});
  table.Row({"Cameras", Thousands(int64_t{counts.nCameras}), Thousands(int64_t{counts.nCamerasInFile})});
  table.Row({"Tie points", Thousands(counts.nTiePoints), Thousands(counts.nTiePointsInFile)});
  const auto row = [&](const char* name, int64_t value) {
    if (value > 0) table.Row({name, Thousands(value)});
  };
  row("Measurements", counts.nMeasurements);
  row("Control points", counts.nControl);
  row("Check points", counts.nCheck);
  row("Strips", counts.nStrips);
  row("Images with GPS or attitudes", counts.nPosImages);
  row("Unknowns of images, cameras and drift", counts.nUnknowns);
  row("Redundancy", counts.nRedundancy);
  row("Sections of points in memory", counts.nSections);
  return std::move(table).Finish();
}

std::string ProgramTable(const RunFigures& figures) {
  HtmlTable table({{"Program and machine"}, {""}});
  const auto row = [&](const char* name, const std::string& value) {
    if (!value.empty()) table.Row({name, value});
  };
  const ProgramFigure& program = figures.Program;
  row("Version", program.szVersion);
  row("Build", program.szBuild);
  row("Instruction set", program.szInstructionSet);
  row("Device", program.szDevice);
  if (program.nProcessors > 0) row("Processors", Thousands(int64_t{program.nProcessors}));
  row("Method", figures.szMethod);
  row("Solver", figures.szSolver);
  row("Begin", figures.szBegin);
  if (figures.fSeconds > 0) row("Time", Duration(figures.fSeconds));
  if (figures.Memory.nPeakBytes > 0) row("Memory, largest", Bytes(figures.Memory.nPeakBytes));
  if (figures.Memory.nAvailableBytes > 0) row("Memory at hand", Bytes(figures.Memory.nAvailableBytes));
  return std::move(table).Finish();
}

std::string TimeFigure(const std::vector<PhaseFigure>& phases) {
  double sum = 0;
  for (const PhaseFigure& phase : phases) sum += std::max(phase.fSeconds, 0.0);
  if (!(sum > 0) || !std::isfinite(sum)) return {};
  const double width = kWidth - 2 * kLeft;
  std::vector<LegendEntry> legend;
  for (size_t i = 0; i < phases.size(); ++i) {
    legend.push_back({LegendShape::Area, fmt::format("area s{}", i % 8 + 1),
                      fmt::format("{} {} ({} %)", NameOf(phases[i].Phase), Duration(phases[i].fSeconds),
                                  Fixed(100 * phases[i].fSeconds / sum, 0))});
  }
  Svg svg(kWidth, 48 + LegendHeight(legend, width), "Time by phase",
          fmt::format("A bar of {} in all.", Duration(sum)));
  double x = kLeft;
  for (size_t i = 0; i < phases.size(); ++i) {
    const double length = width * std::max(phases[i].fSeconds, 0.0) / sum;
    svg.Rect(x, 8, length, 26, legend[i].szStyle.c_str(), legend[i].szText);
    x += length;
    if (i + 1 < phases.size()) svg.Line(x, 8, x, 34, "gap");
  }
  DrawLegend(svg, legend, kLeft, 54, width);
  return FigureOf(std::move(svg).Finish(), "Where the time of the run went, phase by phase from the left.");
}

}  // namespace

std::string RunSection(const RunFigures& figures) {
  std::string body = TimeFigure(figures.vPhases);
  const std::string tables[] = {ProgramTable(figures), CountTable(figures), InputTable(figures.vInputs),
                                SettingTable(figures.vSettings)};
  for (const std::string& table : tables) {
    if (!table.empty()) body += "<div>\n" + table + "</div>\n";
  }
  return SectionOf("run", "The run", body.empty() ? body : "<div class=\"columns\">\n" + body + "</div>\n");
}

}  // namespace orvo::report
