// Two measurements side by side: what got faster, what slower.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "report/Results.h"

namespace orvo::bench {

/// One of the two that are compared.
struct ComparedSide {
  const Results* pResults = nullptr;
  std::string szProgram;  ///< the runs of this label count; empty: all of them
};

struct ComparedFigure {
  std::string szName, szUnit;
  double fOld = 0, fNew = 0;
  bool bWorse = false;  ///< more than so many times the old one; never for wall time, which others disturb
};

struct Comparison {
  std::string szOld, szNew;             ///< labels
  std::vector<ComparedFigure> Figures;  ///< in the order of the old one
  std::vector<std::string> pOnlyOld, pOnlyNew;

  bool IsAnyWorse() const;
};

/// The two programs of one file; the second is the old one, since the first was measured against it. False
/// with the reason in `error` where there is one only.
bool SidesOfOne(const Results& results, ComparedSide& before, ComparedSide& after, std::string& error);

/// The first programs of two files.
ComparedSide FirstSide(const Results& results);

/// Of whole runs: processor and wall time, processor time of an iteration, peak memory, instructions where
/// both were counted, and with `phases` the processor time of every phase. Of kernels: processor time.
/// `worse`: how many times as much is too much; none: nothing is.
Comparison Compare(const ComparedSide& before, const ComparedSide& after, bool phases,
                   std::optional<double> worse);

/// A line for each figure, with old / new: above 1 is a gain.
std::string ComparisonText(const Comparison& comparison);

}  // namespace orvo::bench
