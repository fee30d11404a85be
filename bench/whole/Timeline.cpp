#include "whole/Timeline.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>

namespace orvo::bench {
namespace {

struct PhaseStart {
  const char* szPrefix;
  const char* szPhase;
};

/// By the head of the line; what is not here belongs to the phase that goes on.
constexpr PhaseStart kStarts[] = {
    {">>Pre-reading data", "pre-read"},
    {">>Reading eop and camera data", "read images"},
    {">>Reampling image point data", "thin"},
    {">>Reading points data", "read points"},
    {">>Reading pos data", "read pos"},
    {">>Adjustment preprocessing", "prepare"},
    {">>Normalizing data", "normalise"},
    {">>Computing sub-matrix position", "pattern"},
    {">>>>Computing tie point 3D coordinates", "intersect"},
    {">>>>Building normal equation", "assemble"},
    {">>>>Building GPS normal equation", "pos equations"},
    {">>>>Adding damping coefficients", "damp"},
    {">>>>Solving normal equation", "solve"},
    {">>PCG Iteration times:", "update"},
    {">>Unnormalizing data", "restore"},
    {">>Out put resut file", "write results"},
    {">>Out put adjustment report", "write report"},
    {">>Out put points data", "write ovt"},
    {">>Elapsed time:", "exit"},
};

bool StartsWith(std::string_view text, std::string_view head) { return text.substr(0, head.size()) == head; }

class Reader {
 public:
  explicit Reader(Timeline& timeline) : Result(timeline) { Enter("start"); }

  void Take(const ProcessEvent& event) {
    switch (event.eKind) {
      case ProcessEvent::Kind::Line:
        return TakeLine(event);
      case ProcessEvent::Kind::FileOpened:
        return TakeOpening(event);
      case ProcessEvent::Kind::FileClosed:
        return TakeClosing(event);
    }
  }

  void End(double wall, double cpu) {
    Pass(wall, cpu);
    for (const auto& [name, times] : FilesOpen) Count(name, times);
  }

 private:
  /// Charges the time since the last event to the phase that goes on.
  void Pass(double wall, double cpu) {
    const double wallStep = std::max(0.0, wall - fWall), cpuStep = std::max(0.0, cpu - fCpu);
    PhaseTime& phase = Result.Phases[nPhase];
    phase.fWall += wallStep;
    phase.fCpu += cpuStep;
    Iteration.fWall += wallStep;
    Iteration.fCpu += cpuStep;
    if (phase.szName == "listing") {
      Iteration.fListingWall += wallStep;
      Iteration.fListingCpu += cpuStep;
    }
    fWall = std::max(wall, fWall);
    fCpu = std::max(cpu, fCpu);
  }

  void Count(const std::string& name, const std::pair<double, double>& times) {
    const auto [opened, closed] = times;
    if (closed < opened) return;
    const std::string general = WithoutNumbers(name);
    auto file = std::find_if(Result.Files.begin(), Result.Files.end(),
                             [&](const OutputFileTime& other) { return other.szName == general; });
    if (file == Result.Files.end()) file = Result.Files.insert(file, {general, 0, 0});
    file->fWall += closed - opened;
    ++file->nCount;
  }

  void Enter(std::string_view name) {
    auto phase = std::find_if(Result.Phases.begin(), Result.Phases.end(),
                              [&](const PhaseTime& other) { return other.szName == name; });
    if (phase == Result.Phases.end()) phase = Result.Phases.insert(phase, {std::string(name), 0, 0, 0});
    ++phase->nCount;
    nPhase = static_cast<size_t>(phase - Result.Phases.begin());
  }
  bool IsIn(std::string_view name) const { return Result.Phases[nPhase].szName == name; }

  void TakeLine(const ProcessEvent& event) {
    Pass(event.fWall, event.fCpu);
    const std::string_view line = event.szText;
    if (StartsWith(line, "Sub task ") && line.find(" completed") != line.npos) {
      if (!IsIn("merge")) Enter("merge");
      return;
    }
    if (StartsWith(line, ">>PCG Iteration times:")) Iteration.nPcgIterations = std::atoi(line.data() + 22);
    double largest = 0, rmsX = 0, rmsY = 0;
    if (std::sscanf(event.szText.c_str(), ">>%lf\t%lf\t%lf", &largest, &rmsX, &rmsY) == 3) {
      Iteration.fLargest = largest;
      Iteration.fRmsX = rmsX;
      Iteration.fRmsY = rmsY;
      Result.Iterations.push_back(Iteration);
      Iteration = {};
      // The old equations are given back and the new ones made.
      return Enter("renew equations");
    }
    for (const PhaseStart& start : kStarts) {
      if (!StartsWith(line, start.szPrefix)) continue;
      // What comes before the first intersection is no iteration.
      if (!bIterates && std::string_view(start.szPhase) == "intersect") {
        bIterates = true;
        Iteration = {};
      }
      return Enter(start.szPhase);
    }
  }

  void TakeOpening(const ProcessEvent& event) {
    Pass(event.fWall, event.fCpu);
    const std::string_view name = event.szText;
    std::pair<double, double>& times = FilesOpen.try_emplace(event.szText, 0, -1).first->second;
    Count(event.szText, times);
    times = {event.fWall, -1};
    if (IsIn("merge") && StartsWith(name, "Residuals_")) return Enter("listing");
    if (IsIn("solve") && (StartsWith(name, "Corrections_") || StartsWith(name, "LM_R_Vector_")))
      Enter("update");
  }

  void TakeClosing(const ProcessEvent& event) {
    Pass(event.fWall, event.fCpu);
    if (const auto file = FilesOpen.find(event.szText); file != FilesOpen.end())
      file->second.second = event.fWall;
    if (IsIn("listing") && StartsWith(event.szText, "Residuals_")) Enter("merge");
  }

  Timeline& Result;
  size_t nPhase = 0;
  double fWall = 0, fCpu = 0;
  bool bIterates = false;
  IterationTime Iteration;
  std::map<std::string, std::pair<double, double>> FilesOpen;  ///< opened, closed
};

}  // namespace

std::string WithoutNumbers(std::string_view name) {
  std::string general;
  for (const char c : name) {
    const bool digit = c >= '0' && c <= '9';
    if (digit && !general.empty() && general.back() == '*') continue;
    general += digit ? '*' : c;
  }
  return general;
}

Timeline ReadTimeline(std::span<const ProcessEvent> events, double endWall, double endCpu) {
  Timeline timeline;
  Reader reader(timeline);
  for (const ProcessEvent& event : events) reader.Take(event);
  reader.End(endWall, endCpu);
  return timeline;
}

}  // namespace orvo::bench
