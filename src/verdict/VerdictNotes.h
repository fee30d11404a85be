// What a guarded run notes on its way.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "geometry/Similarity.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "verdict/GroundPoints.h"
#include "verdict/RunTrack.h"

namespace orvo {

/// Points from the block's own frame and from that of the control, as a similarity transform is made of them.
/// `names` may be empty.
void NoteSimilarity(bool fromGps, std::span<const Position> source, std::span<const Position> target,
                    std::vector<std::string> names, RunTrack& track);

/// The kept images before and behind the application of the transform.
void NoteViews(bool applied, std::span<const EopRecord> images, RunTrack& track);

/// The start of an adjustment: orientations in the frame that they are adjusted in, not yet normalised.
/// `imu`: angles of the POS file take part.
void NoteStart(const std::string& pos, bool imu, const ImageTable& images, const CameraTable& cameras,
               RunTrack& track);

/// How far the control points are off at the same start.
void NoteStartMiss(const GroundPoints& ground, const ImageTable& images, const CameraTable& cameras,
                   RunTrack& track);

/// The residuals of this iteration, before its step: mean squares of x and y, working units.
void NoteIteration(double meanSquareX, double meanSquareY, RunTrack& track);

}  // namespace orvo
