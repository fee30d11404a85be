#include "check/block/FindingTexts.h"

#include <fmt/format.h>

#include <cmath>
#include <cstring>

#include "base/PrintableName.h"

namespace orvo {

std::string NameOfImage(const SurveyImage& image) {
  return image.szName.empty() ? std::to_string(image.nId) : PrintableName(image.szName);
}

std::string NameOfPoint(const SurveyPoint& point) {
  return PrintableName(
      std::string_view(point.szName.data(), strnlen(point.szName.data(), point.szName.size())));
}

std::string Sentence(std::string clause) {
  if (!clause.empty() && clause[0] >= 'a' && clause[0] <= 'z')
    clause[0] = static_cast<char>(clause[0] - 'a' + 'A');
  return clause;
}

std::string Figure(double value) {
  const double size = std::fabs(value);
  return size >= 100 && size < 1e7 ? fmt::format("{:.0f}", value) : fmt::format("{:.3g}", value);
}

}  // namespace orvo
