// What a guarded run notes for its verdict, and when. Every function does nothing in a classic run.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "geometry/Similarity.h"
#include "records/Records.h"
#include "verdict/GroundPoints.h"
#include "verdict/VerdictPoints.h"

namespace orvo {

class CBundleAdjustment;

class RunVerdict {
 public:
  explicit RunVerdict(CBundleAdjustment& of) : run(of) {}

  /// Points from the block's own frame and from that of the control, as a similarity transform is made of
  /// them. `names` may be empty.
  void NoteSimilarity(bool fromGps, std::span<const Position> source, std::span<const Position> target,
                      std::vector<std::string> names);
  /// Before and behind the application of the transform.
  void NoteViews(bool applied);
  /// The start of an adjustment: orientations in the frame that they are adjusted in, not yet normalised.
  void NoteStart(const std::string& pos);
  /// The residuals of this iteration, before its step: mean squares of x and y.
  void NoteIteration(double meanSquareX, double meanSquareY);
  /// The last pass over the points, and the misclosures of the GPS observations: at the result, before
  /// coordinates are restored. With several sections the points are read once more.
  void JudgePoints();
  /// The points of one section in memory, in a run without adjustment.
  void JudgeSectionPoints(std::span<const ObjectPointRecord> points);
  /// Collects the rest, judges, and writes verdict.txt: the last stage of a run.
  void JudgeRun();
  /// For a run that ended early, over a similarity transform that was not found: what is wrong with its
  /// points.
  void JudgeFailure();

  /// Control and check points as the GCP file has them.
  GroundPoints ReadGroundPoints();

 private:
  EverySection SectionsOf();
  PointPass& PassWithoutAdjustment();
  void PassOverTextProject();
  void NoteHeights();

  CBundleAdjustment& run;
};

}  // namespace orvo
