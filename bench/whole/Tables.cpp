#include "whole/Tables.h"

#include <fmt/format.h>

namespace orvo::bench {
namespace {

constexpr double kMilli = 1e3, kMegabyte = 1e6;

double Ratio(double a, double b) { return b > 0 ? a / b : 0; }

const PhaseTime* FindPhase(const Measurement& measurement, const std::string& name) {
  for (const PhaseTime& phase : measurement.Phases) {
    if (phase.szName == name) return &phase;
  }
  return nullptr;
}

}  // namespace

void PrintRunHead(std::FILE* out) {
  fmt::print(out, "{:<20} {:<10} {:>9} {:>9} {:>8} {:>5} {:>11} {:>11} {:>9} {:>9}\n", "case", "program",
             "wall ms", "cpu ms", "peak MB", "iter", "iter wall", "iter cpu", "listing", "RMSE px");
}

void PrintRunRows(std::FILE* out, std::span<const Measurement> ofCase) {
  for (const Measurement& m : ofCase) {
    fmt::print(out, "{:<20} {:<10} {:9.1f} {:9.1f} {:8.1f} {:5} {:11.2f} {:11.2f} {:9.2f} {:9.6f}\n",
               m.szCase, m.szProgram, kMilli * m.fWall, kMilli * m.fCpu,
               static_cast<double>(m.nPeakBytes) / kMegabyte, m.Iterations.size(), kMilli * m.fIterationWall,
               kMilli * m.fIterationCpu, kMilli * m.fListingWall, m.fFinalRms);
  }
  if (ofCase.size() == 2) {
    const Measurement &a = ofCase[0], &b = ofCase[1];
    fmt::print(out, "{:<20} {:<10} {:9.2f} {:9.2f} {:8.2f} {:>5} {:11.2f} {:11.2f} {:9.2f}\n", "",
               "faster by", Ratio(b.fWall, a.fWall), Ratio(b.fCpu, a.fCpu),
               Ratio(static_cast<double>(b.nPeakBytes), static_cast<double>(a.nPeakBytes)), "",
               Ratio(b.fIterationWall, a.fIterationWall), Ratio(b.fIterationCpu, a.fIterationCpu),
               Ratio(b.fListingWall, a.fListingWall));
  }
}

void PrintPhases(std::FILE* out, std::span<const Measurement> ofCase) {
  fmt::print(out, "  {:<24} {:>5}", "phase, ms", "times");
  for (const Measurement& m : ofCase) fmt::print(out, " {:>10} {:>10}", m.szProgram, "cpu");
  fmt::print(out, "\n");
  for (const PhaseTime& phase : ofCase.front().Phases) {
    fmt::print(out, "  {:<24} {:5}", phase.szName, phase.nCount);
    for (const Measurement& m : ofCase) {
      const PhaseTime* other = FindPhase(m, phase.szName);
      fmt::print(out, " {:10.2f} {:10.2f}", other ? kMilli * other->fWall : 0,
                 other ? kMilli * other->fCpu : 0);
    }
    fmt::print(out, "\n");
  }
  fmt::print(out, "  {:<24} {:>5} {:>10} {:>10} {:>10}\n", "file, ms", "times", "open", "MB", "MB/s");
  for (const OutputFileSize& file : ofCase.front().Files) {
    const double bytes = static_cast<double>(file.nBytes) / kMegabyte;
    fmt::print(out, "  {:<24} {:5} {:10.2f} {:10.2f} {:10.0f}\n", file.Time.szName, file.Time.nCount,
               kMilli * file.Time.fWall, bytes, Ratio(bytes, file.Time.fWall));
  }
}

}  // namespace orvo::bench
