#include "whole/Measurement.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

namespace orvo::bench {
namespace {

template <typename T>
void KeepLeast(T& least, T value, bool first) {
  least = first ? value : std::min(least, value);
}

std::map<std::string, int64_t> FileSizes(const std::string& folder) {
  std::map<std::string, int64_t> sizes;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.is_regular_file(error))
      sizes[WithoutNumbers(entry.path().filename().string())] += static_cast<int64_t>(entry.file_size(error));
  }
  return sizes;
}

void AddPhases(std::vector<PhaseTime>& phases, const std::vector<PhaseTime>& run) {
  for (const PhaseTime& phase : run) {
    const auto known = std::find_if(phases.begin(), phases.end(),
                                    [&](const PhaseTime& other) { return other.szName == phase.szName; });
    if (known == phases.end()) {
      phases.push_back(phase);
    } else {
      known->fWall = std::min(known->fWall, phase.fWall);
      known->fCpu = std::min(known->fCpu, phase.fCpu);
    }
  }
}

}  // namespace

double ReadReportRms(const std::string& outputFolder) {
  std::ifstream file(outputFolder + "/OrvoAdjustReport.txt");
  bool ofImages = false;
  for (std::string line; std::getline(file, line);) {
    double x = 0, y = 0;
    if (line.starts_with("Image point reprojection error")) ofImages = true;
    if (ofImages && std::sscanf(line.c_str(), "RMSE:%lf%lf", &x, &y) == 2)
      return std::sqrt((x * x + y * y) / 2);
  }
  return std::nan("");
}

void AddRun(Measurement& measurement, const ProcessFigures& figures, const std::string& outputFolder) {
  const bool first = measurement.nRepeats++ == 0;
  KeepLeast(measurement.fWall, figures.fWall, first);
  KeepLeast(measurement.fCpu, figures.Cpu(), first);
  KeepLeast(measurement.fUser, figures.fUser, first);
  KeepLeast(measurement.fSystem, figures.fSystem, first);
  KeepLeast(measurement.nPeakBytes, figures.nPeakBytes, first);
  KeepLeast(measurement.nMinorFaults, figures.nMinorFaults, first);
  if (figures.nInstructions)
    measurement.nInstructions =
        std::min(measurement.nInstructions.value_or(*figures.nInstructions), *figures.nInstructions);

  const Timeline timeline = ReadTimeline(figures.Events, figures.fWall, figures.Cpu());
  AddPhases(measurement.Phases, timeline.Phases);
  const auto mean = [&](double IterationTime::*field) {
    double sum = 0;
    for (const IterationTime& iteration : timeline.Iterations) sum += iteration.*field;
    return timeline.Iterations.empty() ? 0 : sum / static_cast<double>(timeline.Iterations.size());
  };
  KeepLeast(measurement.fIterationWall, mean(&IterationTime::fWall), first);
  KeepLeast(measurement.fIterationCpu, mean(&IterationTime::fCpu), first);
  KeepLeast(measurement.fListingWall, mean(&IterationTime::fListingWall), first);
  KeepLeast(measurement.fListingCpu, mean(&IterationTime::fListingCpu), first);
  measurement.nIterations = static_cast<int64_t>(timeline.Iterations.size());
  measurement.fFinalRms = ReadReportRms(outputFolder);

  const std::map<std::string, int64_t> sizes = FileSizes(outputFolder);
  for (const OutputFileTime& file : timeline.Files) {
    const auto known =
        std::find_if(measurement.Files.begin(), measurement.Files.end(),
                     [&](const OutputFileSize& other) { return other.Time.szName == file.szName; });
    // What is not there at the end was no result.
    const auto size = sizes.find(file.szName);
    if (known != measurement.Files.end()) {
      known->Time.fWall = std::min(known->Time.fWall, file.fWall);
    } else if (size != sizes.end()) {
      measurement.Files.push_back({file, size->second});
    }
  }
}

}  // namespace orvo::bench
