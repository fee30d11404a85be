#include "check/block/PointSample.h"

#include <algorithm>

namespace orvo {
namespace {

constexpr int32_t kEnoughRays = 8;

std::vector<size_t> SampleRuns(const SurveyPoints& points, size_t count, int32_t enough) {
  std::vector<size_t> sample;
  const size_t pointNum = points.Points.size();
  const size_t runs = std::min(count, pointNum);
  for (size_t run = 0; run < runs; ++run) {
    const size_t first = run * pointNum / runs, behind = (run + 1) * pointNum / runs;
    size_t best = behind;
    int32_t most = 1;
    for (size_t i = first; i < behind && most < enough; ++i) {
      if (points.Points[i].nMeasurementNum > most) {
        most = points.Points[i].nMeasurementNum;
        best = i;
      }
    }
    if (best < behind) sample.push_back(best);
  }
  return sample;
}

}  // namespace

std::vector<size_t> SampleOfManyRays(const SurveyPoints& points, size_t count) {
  return SampleRuns(points, count, kEnoughRays);
}

std::vector<size_t> EvenSample(const SurveyPoints& points, size_t count) {
  return SampleRuns(points, count, 2);
}

}  // namespace orvo
