// Counting, before anything big is read.
#pragma once

#include "base/InputFiles.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"

namespace orvo {

/// What counting works on.
struct ProjectCounting {
  const FilePaths& Paths;  ///< szOvtPath empty for a text project
  ImageTable& Images;      ///< pImagePointCount alone
  PointStore& Points;      ///< counts and facts, and the places in a text project
  InputFiles& Inputs;
  const Platform& System;
  RunLog& Log;
};

/// Counts the points and measurements of the project and of its GCP file. False, with a message, where the
/// project can't be opened, refers to an image that it doesn't have, or reading failed.
bool CountProject(const ProjectCounting& counting);

}  // namespace orvo
