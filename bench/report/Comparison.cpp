#include "report/Comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace orvo::bench {
namespace {

struct Figure {
  std::string szName, szUnit;
  double fValue = 0;
  bool bCounts = true;  ///< can be worse
};

std::vector<Figure> FiguresOf(const ComparedSide& side, bool phases) {
  std::vector<Figure> figures;
  for (const KernelTime& kernel : side.pResults->Kernels)
    figures.push_back({kernel.szName, "ms", 1e3 * kernel.fCpu});
  for (const Measurement& run : side.pResults->Runs) {
    if (!side.szProgram.empty() && run.szProgram != side.szProgram) continue;
    figures.push_back({run.szCase + " cpu", "ms", 1e3 * run.fCpu});
    figures.push_back({run.szCase + " wall", "ms", 1e3 * run.fWall, false});
    figures.push_back({run.szCase + " iteration cpu", "ms", 1e3 * run.fIterationCpu});
    figures.push_back({run.szCase + " peak", "MB", 1e-6 * static_cast<double>(run.nPeakBytes)});
    if (run.nInstructions)
      figures.push_back({run.szCase + " instructions", "M", 1e-6 * static_cast<double>(*run.nInstructions)});
    if (!phases) continue;
    for (const PhaseTime& phase : run.Phases)
      figures.push_back({run.szCase + "  " + phase.szName, "ms", 1e3 * phase.fCpu});
  }
  return figures;
}

}  // namespace

bool Comparison::IsAnyWorse() const {
  return std::any_of(Figures.begin(), Figures.end(), [](const ComparedFigure& f) { return f.bWorse; });
}

bool SidesOfOne(const Results& results, ComparedSide& before, ComparedSide& after, std::string& error) {
  if (results.pPrograms.size() < 2) {
    error = "one program only: name a second file";
    return false;
  }
  before = {&results, results.pPrograms[1]};
  after = {&results, results.pPrograms[0]};
  return true;
}

ComparedSide FirstSide(const Results& results) {
  return {&results, results.pPrograms.empty() ? std::string() : results.pPrograms.front()};
}

Comparison Compare(const ComparedSide& before, const ComparedSide& after, bool phases,
                   std::optional<double> worse) {
  Comparison comparison;
  comparison.szOld = before.szProgram.empty() ? "old" : before.szProgram;
  comparison.szNew = after.szProgram.empty() ? "new" : after.szProgram;
  const std::vector<Figure> old = FiguresOf(before, phases);
  std::map<std::string, double> known;
  std::vector<std::string> names;
  for (const Figure& figure : FiguresOf(after, phases)) {
    if (known.emplace(figure.szName, figure.fValue).second) names.push_back(figure.szName);
  }
  for (const Figure& figure : old) {
    const auto now = known.find(figure.szName);
    if (now == known.end()) {
      comparison.pOnlyOld.push_back(figure.szName);
      continue;
    }
    const bool tooMuch = worse && figure.bCounts && figure.fValue > 0 && now->second > *worse * figure.fValue;
    comparison.Figures.push_back({figure.szName, figure.szUnit, figure.fValue, now->second, tooMuch});
  }
  for (const std::string& name : names) {
    if (std::none_of(old.begin(), old.end(), [&](const Figure& figure) { return figure.szName == name; }))
      comparison.pOnlyNew.push_back(name);
  }
  return comparison;
}

std::string ComparisonText(const Comparison& comparison) {
  std::string text =
      fmt::format("{:<44} {:>12} {:>12} {:>8}\n", "figure", comparison.szOld, comparison.szNew, "gain");
  for (const ComparedFigure& f : comparison.Figures) {
    const std::string gain = f.fNew > 0 ? fmt::format("{:.2f}", f.fOld / f.fNew) : "-";
    text += fmt::format("{:<44} {:9.3f} {:<2} {:9.3f} {:<2} {:>8}{}\n", f.szName, f.fOld, f.szUnit, f.fNew,
                        f.szUnit, gain, f.bWorse ? "  worse" : "");
  }
  for (const std::string& name : comparison.pOnlyOld) text += name + ": only in the old one\n";
  for (const std::string& name : comparison.pOnlyNew) text += name + ": only in the new one\n";
  return text;
}

}  // namespace orvo::bench
