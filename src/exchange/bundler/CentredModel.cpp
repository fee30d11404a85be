#include "exchange/bundler/CentredModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "base/PrintableName.h"
#include "check/Finding.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

/// Points that outlive their stream by being part of it.
class OwnPoints : public PointStream {
 public:
  explicit OwnPoints(SurveyPoints points) : Points(std::move(points)), Stream(Points) {}
  bool Next(StreamPoint& point) override { return Stream.Next(point); }
  void Rewind() override { Stream.Rewind(); }

 private:
  SurveyPoints Points;
  SurveyPointStream Stream;
};

struct ImageSize {
  int32_t nWidth = 2, nHeight = 2;
};

/// Even numbers of pixels that hold every measurement.
ImageSize SizeFor(const SurveyPoints& points) {
  double x = 0, y = 0;
  for (const SurveyMeasurement& measurement : points.Measurements) {
    x = std::max(x, std::abs(measurement.x));
    y = std::max(y, std::abs(measurement.y));
  }
  return {2 * static_cast<int32_t>(std::floor(x) + 1), 2 * static_cast<int32_t>(std::floor(y) + 1)};
}

/// Measurements on images that stay, under their new ordinals.
SurveyPoints Renumbered(const SurveyPoints& points, const std::vector<int32_t>& ordinals) {
  SurveyPoints kept;
  for (SurveyPoint point : points.Points) {
    const auto measurements = points.Of(point);
    point.nFirstMeasurement = static_cast<int64_t>(kept.Measurements.size());
    for (SurveyMeasurement measurement : measurements) {
      measurement.nImage = ordinals[static_cast<size_t>(measurement.nImage)];
      if (measurement.nImage >= 0) kept.Measurements.push_back(measurement);
    }
    point.nMeasurementNum =
        static_cast<int32_t>(static_cast<int64_t>(kept.Measurements.size()) - point.nFirstMeasurement);
    kept.Points.push_back(point);
  }
  return kept;
}

ForeignCamera CameraOf(const CentredCamera& from, ImageSize size, size_t ordinal) {
  ForeignCamera camera;
  camera.nId = static_cast<int64_t>(ordinal);
  camera.szName = std::to_string(ordinal);
  camera.szModel = "f, k1, k2";
  camera.Lens = LensModel::Radial;
  camera.nWidth = size.nWidth;
  camera.nHeight = size.nHeight;
  camera.dFx = camera.dFy = from.f;
  camera.dCx = size.nWidth / 2.0;
  camera.dCy = size.nHeight / 2.0;
  camera.Parameters = {from.K1, from.K2};
  return camera;
}

SurveyImage ImageOf(const CentredCamera& from, size_t place, int32_t camera, const std::string& name) {
  SurveyImage image;
  image.nId = static_cast<int32_t>(place);
  image.nCamera = camera;
  image.szPath = name.empty() ? fmt::format("image_{:05d}.jpg", place) : name;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      image.R[3 * i + j] = from.Rb[3 * j + i];
      image.S[i] -= from.Rb[3 * j + i] * from.t[j];
    }
  }
  return image;
}

/// Cuts the last field off.
std::string_view CutField(std::string_view& line) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t end = line.find_last_not_of(kBlanks) + 1;
  const size_t begin = line.substr(0, end).find_last_of(kBlanks) + 1;
  const std::string_view field = line.substr(begin, end - begin);
  line = line.substr(0, line.substr(0, begin).find_last_not_of(kBlanks) + 1);
  return field;
}

/// NAME or NAME 0 FOCAL; a name may hold blanks.
std::string_view NameInList(std::string_view line) {
  line = StrictFields(line).Rest();
  std::string_view name = line;
  double focal = 0;
  const std::string_view last = CutField(name), zero = CutField(name);
  return zero == "0" && StrictFields(last).Real(focal) && !name.empty() ? name : line;
}

}  // namespace

bool FieldStream::Refill() {
  while (Fields.AtEnd()) {
    std::string_view line;
    if (!Lines.NextMeant(line, cComment)) return false;
    Log.Progress("Reading", Lines.BytesRead(), Lines.Size());
    Fields = StrictFields(line);
  }
  return true;
}

bool FieldStream::AtEnd() { return !Refill(); }

void FieldStream::Refuse(std::string what) const {
  Lines.Refuse(std::move(what), "Write the file again with the program that made it");
}

double FieldStream::Real(const char* what) {
  if (!Refill()) Refuse(std::string("the file ends before ") + what);
  double value = 0;
  if (!Fields.Real(value)) Refuse(Fields.Shown() + " stands where " + what + " should be");
  return value;
}

int64_t FieldStream::Int(const char* what, int64_t least, int64_t most) {
  if (!Refill()) Refuse(std::string("the file ends before ") + what);
  int64_t value = 0;
  const std::string shown = Fields.Shown();
  if (!Fields.Int(value)) Refuse(shown + " stands where " + what + " should be");
  if (value < least || value > most) {
    Refuse(fmt::format("{} is {}, which is not between {} and {}", what, value, least, most));
  }
  return value;
}

int64_t FieldStream::Count(const char* what, int64_t bytesEach) {
  return Int(what, 0, std::min<int64_t>(Lines.Size() / bytesEach, 0x7fffffff));
}

std::vector<std::string> ReadImageList(const std::string& path, size_t imageNum) {
  std::vector<std::string> names;
  if (path.empty()) return names;
  LongLines lines(path);
  std::string_view line;
  while (lines.NextMeant(line)) {
    names.emplace_back(NameInList(line));
  }
  if (names.size() != imageNum) {
    Refuse(path, 0, fmt::format("the list has {} images, the model {} cameras", names.size(), imageNum),
           "Name the list that belongs to the model with --images");
  }
  return names;
}

ForeignModel ForeignModelOf(CentredModel model, const std::string& source, ExchangeLog& log) {
  ForeignModel foreign;
  foreign.szForm = model.szForm;
  foreign.szPixelOrigin = "the image centre is 0, 0; y up";
  foreign.Files = {source};
  const ImageSize size = SizeFor(model.Points);
  std::vector<int32_t> ordinals;
  std::map<std::tuple<double, double, double>, int32_t> cameras;
  int64_t without = 0;
  for (size_t i = 0; i < model.Cameras.size(); ++i) {
    const CentredCamera& from = model.Cameras[i];
    if (from.f == 0) {
      ordinals.push_back(-1);
      ++without;
      continue;
    }
    const auto next = static_cast<int32_t>(foreign.Cameras.size());
    const auto [place, added] = cameras.emplace(std::tuple(from.f, from.K1, from.K2), next);
    if (added) foreign.Cameras.push_back(CameraOf(from, size, i));
    ordinals.push_back(static_cast<int32_t>(foreign.Images.size()));
    foreign.Images.push_back(
        ImageOf(from, i, place->second, model.Names.empty() ? std::string() : model.Names[i]));
  }
  if (without > 0) log.Say(fmt::format("Left out: {} without a pose", CountOf(without, "image", {})));
  log.Say(fmt::format("Image size: {} x {}, so that all measurements lie inside, for the form has none",
                      size.nWidth, size.nHeight));
  if (without > 0) model.Points = Renumbered(model.Points, ordinals);
  foreign.Points = std::make_unique<OwnPoints>(std::move(model.Points));
  return foreign;
}

}  // namespace orvo::exchange
