// Where a guarded run looks at what its readers noticed, and ends or goes on.
#pragma once

#include <optional>
#include <string>

#include "base/RunLog.h"
#include "check/Finding.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "run/RunGuard.h"

namespace orvo {

/// Each question is answered with true in a classic run. False leaves the refusal in the guard.
class InputGate {
 public:
  InputGate(RunGuard& guard, RunLog& log, const FilePaths& paths, const ImageTable& images,
            const PointStore& points)
      : Guard(guard), Log(log), Paths(paths), Images(images), Points(points) {}

  /// Behind the counting: whether everything fits that it found.
  bool CountsHold();
  /// The same when the points are read, or an .ovt is about to be. Tells what images and points the run goes
  /// on without.
  bool PointsHold();
  /// The same where a run takes its points only to write them: reads the project from end to end for it.
  bool WholeProjectHolds();

 private:
  std::optional<Finding> FindFault() const;
  bool Keep(const Finding& refusal);
  bool Refuse();
  void Tell(std::string text);
  void TellLostImages();
  void TellLostPoints();

  RunGuard& Guard;
  RunLog& Log;
  const FilePaths& Paths;
  const ImageTable& Images;
  const PointStore& Points;
};

/// In a guarded run of the classic method, which takes terms of the distortion beyond k1 and k2 for 0.
void TellFurtherTerms(const CameraTable& cameras, const std::string& project, RunGuard& guard, RunLog& log);

/// Keeps a finding, and tells a note to console and log.
void TellNote(const Finding& note, RunGuard& guard, RunLog& log);

}  // namespace orvo
