// What the readers of points notice on their way: what does not fit, and what gets lost.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvo {

/// How many there are of something, and the names of the first of them.
struct NamedCount {
  static constexpr size_t kMostNames = 3;
  int64_t nCount = 0;
  std::vector<std::string> Names;

  void Add(const char* name) {
    ++nCount;
    if (Names.size() < kMostNames) Names.emplace_back(name);
  }
  void Add(const NamedCount& more) {
    nCount += more.nCount;
    for (size_t i = 0; i < more.Names.size() && Names.size() < kMostNames; ++i)
      Names.push_back(more.Names[i]);
  }
};

/// Of the points of one reading.
struct PointFacts {
  int64_t nBroken = 0;  ///< lines that don't hold what they have to
  NamedCount Rejected;  ///< points with a measurement on a deleted image, or one that is not finite

  void Add(const PointFacts& more) {
    nBroken += more.nBroken;
    Rejected.Add(more.Rejected);
  }
};

/// Of a run.
struct ReadingFacts {
  int64_t nBrokenCounted = 0;  ///< found while counting: lines or records that don't fit, missing, left over
  int64_t nFewRays = 0;        ///< tie points with fewer than 2 measurements
  PointFacts Points;           ///< of the latest reading of a text project
};

}  // namespace orvo
