// The lines and records of a project, from its values.
#pragma once

#include <span>
#include <string>

#include "base/TextWriter.h"
#include "exchange/PointStream.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// Counts, cameras and images; numbers with all digits that they need. `pointNum`: 0 for an .ovc.
void WriteProjectHead(TextWriter& file, std::span<const SurveyCamera> cameras,
                      std::span<const SurveyImage> images, int64_t pointNum);
/// An object point block of a text project.
void WriteProjectPoint(TextWriter& file, const StreamPoint& point);

}  // namespace orvo::exchange
