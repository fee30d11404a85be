#include "exchange/ProjectFilesText.h"

#include <fmt/format.h>

#include <iterator>

#include "block/ProjectText.h"

namespace orvo::exchange {

void WriteProjectHead(TextWriter& file, std::span<const SurveyCamera> cameras,
                      std::span<const SurveyImage> images, int64_t pointNum) {
  file.Write(fmt::format("{} {} {}\n", images.size(), cameras.size(), pointNum));
  for (const SurveyCamera& camera : cameras) {
    const LensTerms& further = camera.Further;
    file.Write(fmt::format(
        "{} {} {} 0 {} {} {} {} {} {} {} {}{}\n", camera.nId, camera.nWidth, camera.nHeight, camera.dFocal,
        camera.dX0, camera.dY0, further.IsNone() ? 0 : kFurtherTerms, camera.dK1, camera.dK2, further.fK3,
        further.fP1,
        further.IsNone() ? std::string() : fmt::format(" {} {} {}", further.fP2, further.fB1, further.fB2)));
  }
  for (const SurveyImage& image : images) {
    file.Write(fmt::format("{} {}\n{}\n{}\n{}\n", image.nId, image.nCamera, image.szPath,
                           fmt::join(image.R, " "), fmt::join(image.S, " ")));
  }
}

void WriteProjectPoint(TextWriter& file, const StreamPoint& point) {
  fmt::memory_buffer text;
  fmt::format_to(std::back_inserter(text), "{} {} {} {} 0\n{}\n", point.szName, point.P[0], point.P[1],
                 point.P[2], point.Measurements.size());
  for (const SurveyMeasurement& measurement : point.Measurements) {
    fmt::format_to(std::back_inserter(text), "{} {} {}\n", measurement.nImage, measurement.x, measurement.y);
  }
  file.Write({text.data(), text.size()});
}

}  // namespace orvo::exchange
