#include "report/json/SummaryReading.h"

#include <memory>

#include "base/FileBytes.h"
#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "report/json/PartReading.h"
#include "report/json/SummaryJson.h"

namespace orvo::report {
namespace {

using nlohmann::json;

/// Gathers the keys of the form, and makes each list of the figures take its elements.
class KeyGatherer {
 public:
  explicit KeyGatherer(SummaryKeys& keys, std::string prefix = {})
      : Keys(keys), szPrefix(std::move(prefix)) {}

  template <class Part>
  void operator()(const char* key, Part& /*part*/, int64_t /*least*/ = 0) {
    Keys.Known.insert(szPrefix + key);
  }
  template <class Value, class Values>
  void Enum(const char* key, Value& /*value*/, const Values& /*all*/) {
    Keys.Known.insert(szPrefix + key);
  }
  template <class Value, class Values>
  void EnumIf(const char* key, bool /*has*/, Value& /*value*/, const Values& /*all*/) {
    Keys.Known.insert(szPrefix + key);
  }
  template <class Part>
  void Group(const char* key, Part& part) {
    Keys.Known.insert(szPrefix + key);
    Keys.Groups.insert(szPrefix + key);
    KeyGatherer group(Keys, szPrefix + key + ".");
    Describe(group, part);
  }
  template <class Part>
  void Maybe(const char* key, std::optional<Part>& part) {
    Group(key, part.emplace());
  }
  template <class Part>
  void Later(const char* key, std::optional<Part>& part) {
    Maybe(key, part);
  }
  template <class Part>
  void List(const char* key, std::vector<Part>& parts) {
    const std::string path = szPrefix + key;
    Keys.Known.insert(path);
    Keys.Lists[path] = [path, &parts](const json& element, int64_t place) {
      Part& part = parts.emplace_back();
      const JsonPlace at{nullptr, path, place};
      ReadPart(element, part, at, 0);
      Check(part, at);
    };
  }

 private:
  template <class Part>
  static void Check(const Part& /*part*/, const JsonPlace& /*at*/) {}
  static void Check(const CameraFigure& camera, const JsonPlace& at) {
    const auto check = [&](const char* key, size_t count, int32_t whole) {
      if (count != 0 && count != static_cast<size_t>(whole))
        JsonPlace{&at, key}.Fail("has to have no element or " + std::to_string(whole));
    };
    check("field", camera.vField.size(), kGridColumns * kGridRows);
    check("rings", camera.vRings.size(), kRadialBins);
  }

  SummaryKeys& Keys;
  std::string szPrefix;
};

[[noreturn]] void FailAt(const char* list, size_t place, const char* key, const std::string& what) {
  const JsonPlace element{nullptr, list, static_cast<int64_t>(place)};
  JsonPlace{&element, key}.Fail(what);
}

void CheckHistogram(const Histogram& histogram, const char* key) {
  if (!(histogram.fStep > 0) || !std::isfinite(histogram.fFirst))
    JsonPlace{nullptr, key}.Fail("has to have a first value, and a step above 0");
}

void CheckCells(const std::vector<GroundCell>& cells) {
  for (size_t k = 1; k < cells.size(); ++k) {
    const GroundCell &before = cells[k - 1], &cell = cells[k];
    if (cell.nRow < before.nRow || (cell.nRow == before.nRow && cell.nColumn <= before.nColumn))
      FailAt("points.cells", k, "column", "is not behind the cell before, by row and then by column");
  }
}

std::string OutOfRange(int64_t index, int64_t num, const char* kind) {
  return "is " + std::to_string(index) + ", but there " + (num == 1 ? "is " : "are ") +
         CountOf(num, kind, {});
}

/// What one part says of another.
void CheckPlaces(const RunFigures& run) {
  for (size_t k = 0; k < run.vImages.size(); ++k) {
    if (run.vImages[k].nCamera >= std::ssize(run.vCameras))
      FailAt("images", k, "camera", OutOfRange(run.vImages[k].nCamera, std::ssize(run.vCameras), "camera"));
  }
  const std::vector<PosImageFigure> none;
  const std::vector<PosImageFigure>& images = run.Pos ? run.Pos->vImages : none;
  for (size_t k = 0; k < images.size(); ++k) {
    if (images[k].nImage >= std::ssize(run.vImages))
      FailAt("pos.images", k, "image", OutOfRange(images[k].nImage, std::ssize(run.vImages), "image"));
  }
  CheckCells(run.Points.vCells);
  CheckHistogram(run.Residuals.X, "residuals.histogram_x");
  CheckHistogram(run.Residuals.Y, "residuals.histogram_y");
  CheckHistogram(run.Points.Rays, "points.rays");
  CheckHistogram(run.Points.Angles, "points.angles");
}

/// "1.0", "1.12": two whole numbers.
bool IsVersion(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789";
  const size_t point = text.find('.');
  return point != 0 && point != std::string_view::npos && point + 1 < text.size() &&
         text.find_first_not_of(kDigits) == point &&
         text.find_first_not_of(kDigits, point + 1) == std::string_view::npos;
}

void CheckMember(const std::string& key, const json& value) {
  if (key == "form" && value != kSummaryForm)
    throw SummaryFault("it is no summary of a run: its form is not \"" + std::string(kSummaryForm) + "\"");
  if (key != "version") return;
  const std::string version = value.is_string() ? value.get<std::string>() : std::string();
  const std::string known = kSummaryVersion;
  const std::string first = known.substr(0, known.find('.') + 1);
  if (IsVersion(version) && version.starts_with(first)) return;
  constexpr size_t kMostShown = 40;
  throw SummaryFault("it is of version \"" + PrintableName(version.substr(0, kMostShown)) +
                     "\" of the form, and this program reads " + first + "x");
}

void ReadInto(FileBytes& bytes, RunFigures& run) {
  SummaryKeys keys;
  keys.Known = {"form", "version"};
  keys.Member = CheckMember;
  KeyGatherer gatherer(keys);
  Describe(gatherer, run);
  SummaryEvents events(keys, bytes);
  json::sax_parse(bytes.begin(), FileBytes::end(), &events);
  for (const char* key : {"form", "version"}) {
    if (!events.Document().contains(key))
      throw SummaryFault("it is no summary of a run: it has no \"" + std::string(key) + "\"");
  }
  const JsonPlace top;
  PartReader reader(events.Document(), top, false);
  Describe(reader, run);
  CheckPlaces(run);
}

std::string ReasonOf(const InputFile& file) { return "it cannot be read: " + file.Fault().szReason; }

}  // namespace

SummaryOrFault ReadSummary(const std::string& path, InputFiles& inputs) {
  InputFile file(&inputs);
  if (!file.Open(path)) return file.Failed() ? ReasonOf(file) : std::string("there is no such file");
  FileBytes bytes(file);
  RunFigures run;
  try {
    ReadInto(bytes, run);
  } catch (const SummaryFault& fault) {
    return file.Failed() ? ReasonOf(file) : std::string(fault.what());
  }
  file.Close();
  if (file.Failed()) return ReasonOf(file);
  return run;
}

}  // namespace orvo::report
