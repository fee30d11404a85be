// A whole block as orvo check reads it. The first byte says which file the input is, the other files are
// sound.
#include <cmath>
#include <cstring>

#include "check/SurveyReading.h"
#include "fuzz/Target.h"

namespace orvo::test {
namespace {

const std::string kHead =
    "2 1 1\n0 4000 3000 0 5000 0 0 0 0 0\n"
    "1 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n1 2 300\n2 0\nd/b.tif\n1 0 0 0 1 0 0 0 1\n60 2 300\n";
const std::string kPoint = "p 1 2 3 0\n2\n0 5 5\n1 6 6\n";

std::string WhatIsWrong(const SurveyPoints& points, size_t imageNum) {
  for (const SurveyMeasurement& one : points.Measurements) {
    if (one.nImage < 0 || static_cast<size_t>(one.nImage) >= imageNum) return "an image that is not there";
    if (!std::isfinite(one.x) || !std::isfinite(one.y)) return "a measurement that is not finite";
  }
  for (const SurveyPoint& point : points.Points) {
    if (std::memchr(point.szName.data(), 0, point.szName.size()) == nullptr) return "an open name";
    if (point.nMeasurementNum < 0 || point.nFirstMeasurement < 0 ||
        point.nFirstMeasurement + point.nMeasurementNum > std::ssize(points.Measurements))
      return "measurements behind the end";
    if (!std::isfinite(point.P[0] + point.P[1] + point.P[2]) && std::abs(point.P[0]) < 1e300 &&
        std::abs(point.P[1]) < 1e300 && std::abs(point.P[2]) < 1e300)
      return "a point that is not finite";
  }
  return {};
}

std::string WhatIsWrong(const SurveyBlock& block, const Diagnosis& diagnosis, bool usable) {
  if (!usable && diagnosis.ErrorNum() == 0) return "nothing is told of what can't be used";
  for (const Finding& one : diagnosis.Findings()) {
    if (FindCode(one.szCode) == nullptr || one.szWhat.empty()) return "a finding without code or words";
  }
  for (const SurveyPoints* points : {&block.Tie, &block.Control}) {
    if (std::string wrong = WhatIsWrong(*points, block.Images.size()); !wrong.empty()) return wrong;
  }
  for (const SurveyImage& image : block.Images) {
    const bool exists = image.nCamera >= 0 && image.nCamera < std::ssize(block.Cameras);
    if (!exists && diagnosis.ErrorNum() == 0) return "a camera that is not there";
  }
  return {};
}

void Read(SurveyFiles files) {
  SurveyBlock block;
  Diagnosis diagnosis;
  const bool usable = ReadSurvey(files, block, diagnosis);
  Require(WhatIsWrong(block, diagnosis, usable));
}

void ReadAlone(const SurveyFiles& files) {
  SurveyBlock block;
  Diagnosis diagnosis;
  const bool usable = ReadSurveyAlone(files, block, diagnosis);
  if (!usable && diagnosis.ErrorNum() == 0) Require("nothing is told of what can't be used");
  Require(WhatIsWrong(block.Control, size_t{1} << 31));
}

}  // namespace
}  // namespace orvo::test

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  static const std::string project = Folder().Write("sound.prj", kHead + kPoint);
  static const std::string ovc = Folder().Write("block.ovc", kHead);
  if (size < 1) return 0;
  const std::string input = Folder().Write("input", {reinterpret_cast<const char*>(data) + 1, size - 1});
  switch (data[0] % 5) {
    case 0:
      Read({input, "", "", "", ""});
      break;
    case 1:
      Read({project, "", input, "", ""});
      ReadAlone({"", "", input, "", ""});
      break;
    case 2:
      Read({project, "", "", input, ""});
      ReadAlone({"", "", "", input, ""});
      break;
    case 3:
      Folder().Write("block.ovt", {reinterpret_cast<const char*>(data) + 1, size - 1});
      Read({ovc, "", "", "", ""});
      break;
    default:
      Read({input, "", input, input, ""});
  }
  return 0;
}
