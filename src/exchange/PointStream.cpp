#include "exchange/PointStream.h"

namespace orvo::exchange {

bool SurveyPointStream::Next(StreamPoint& point) {
  if (nNext == Points.Points.size()) return false;
  const SurveyPoint& from = Points.Points[nNext++];
  point.szName = from.szName.data();
  point.P = from.P;
  const auto measurements = Points.Of(from);
  point.Measurements.assign(measurements.begin(), measurements.end());
  return true;
}

}  // namespace orvo::exchange
