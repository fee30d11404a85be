#include "exchange/opensfm/Reconstruction.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/JsonBytes.h"

namespace orvo::exchange {
namespace {

constexpr const char* kCameraFields[] = {"width", "height", "focal", "focal_x", "focal_y", "c_x", "c_y",
                                         "k1",    "k2",     "k3",    "k4",      "k5",      "k6",  "p1",
                                         "p2",    "s0",     "s1",    "s2",      "s3"};

constexpr const char* kNoModel = "Give the reconstruction.json that OpenSfM or ODM wrote";

enum class Kind { Object, Array };

/// Three numbers of an array, as far as they have come.
struct Vector {
  std::array<double, 3> Values{};
  int64_t nCount = 0;
};

/// What is known of a camera, a shot or a point while its object is open.
struct Entry {
  std::string szProjection, szCamera;
  std::map<std::string, double> Numbers;
  Vector Rotation, Translation, Coordinates;
};

/// Events of the parser. The file is an array (depth 1) of objects (2) of sections (3) of entries by name (4)
/// of fields, of which some are arrays of numbers (5).
class ReconstructionEvents {
 public:
  explicit ReconstructionEvents(const JsonBytes& bytes) : Bytes(bytes) {}

  bool null() { return Other(); }
  bool boolean(bool) { return Other(); }
  bool number_integer(int64_t value) { return Number(static_cast<double>(value)); }
  bool number_unsigned(uint64_t value) { return Number(static_cast<double>(value)); }
  bool number_float(double value, const std::string&) { return Number(value); }
  bool string(std::string& text);
  bool binary(nlohmann::json::binary_t&) { return true; }
  bool start_object(size_t) { return Enter(Kind::Object); }
  bool start_array(size_t) { return Enter(Kind::Array); }
  bool key(std::string& name);
  bool end_object();
  bool end_array() { return Leave(); }
  bool parse_error(size_t, const std::string&, const nlohmann::json::exception& error);

  SfmFile File;

 private:
  [[noreturn]] void Fail(const std::string& what, const std::string& remedy = kNoModel) const {
    Refuse(Bytes.Path(), Bytes.Line(), what, remedy);
  }
  std::string Where() const { return szSection + " '" + PrintableName(szEntry) + "'"; }
  bool InEntry() const { return nDepth >= 4 && bKnownSection; }
  bool Enter(Kind kind);
  bool Leave();
  bool Number(double value);
  bool Other();
  Vector* CurrentVector();
  std::array<double, 3> Complete(const Vector& vector, const char* field) const;
  void EndEntry();
  void EndReconstruction();

  const JsonBytes& Bytes;
  int64_t nDepth = 0;
  std::string szSection, szEntry, szField;
  bool bKnownSection = false;
  Entry Current;
  SfmReconstruction Open;
  Vector Reference;  ///< of the open reconstruction; its count is the sum of the bits 1, 2, 4
  int64_t nEntryLine = 0;
};

bool ReconstructionEvents::Enter(Kind kind) {
  const bool expected = nDepth == 0                    ? kind == Kind::Array
                        : nDepth == 1                  ? kind == Kind::Object
                        : nDepth <= 3 && bKnownSection ? kind == Kind::Object
                                                       : true;
  if (!expected || (nDepth == 5 && CurrentVector() != nullptr)) {
    Fail(nDepth == 0 ? "this is no list of reconstructions" : "this is not built like a reconstruction");
  }
  if (nDepth == 3 && bKnownSection) {
    Current = {};
    nEntryLine = Bytes.Line();
  }
  ++nDepth;
  if (nDepth == 5 && CurrentVector() != nullptr) {
    if (kind != Kind::Array || CurrentVector()->nCount > 0)
      Fail("the " + szField + " of " + Where() + " is not three numbers");
  }
  return true;
}

bool ReconstructionEvents::Leave() {
  --nDepth;
  return true;
}

Vector* ReconstructionEvents::CurrentVector() {
  if (!InEntry()) return nullptr;
  if (szSection == "shots" && szField == "rotation") return &Current.Rotation;
  if (szSection == "shots" && szField == "translation") return &Current.Translation;
  if (szSection == "points" && szField == "coordinates") return &Current.Coordinates;
  return nullptr;
}

bool ReconstructionEvents::key(std::string& name) {
  if (nDepth == 2) {
    szSection = name;
    bKnownSection = name == "cameras" || name == "shots" || name == "points" || name == "reference_lla";
  } else if (nDepth == 3 && bKnownSection) {
    szEntry = name;
  } else if (nDepth == 4) {
    szField = name;
  }
  return true;
}

bool ReconstructionEvents::Number(double value) {
  if (!std::isfinite(value)) Fail("a number is not finite");
  if (nDepth == 3 && szSection == "reference_lla") {
    const size_t i = szEntry == "latitude" ? 0 : szEntry == "longitude" ? 1 : szEntry == "altitude" ? 2 : 3;
    if (i < 3) {
      Reference.Values[i] = value;
      Reference.nCount |= int64_t{1} << i;
    }
    return true;
  }
  if (nDepth <= 3) return Other();
  Vector* vector = CurrentVector();
  if (nDepth == 5 && vector != nullptr) {
    if (vector->nCount == 3) Fail("the " + szField + " of " + Where() + " is more than three numbers");
    vector->Values[static_cast<size_t>(vector->nCount++)] = value;
  } else if (nDepth == 4 && vector != nullptr) {
    Fail("the " + szField + " of " + Where() + " is not three numbers");
  } else if (nDepth == 4 && InEntry() && szSection == "cameras") {
    for (const char* field : kCameraFields) {
      if (szField == field) Current.Numbers[szField] = value;
    }
  }
  return true;
}

/// A value that is no number, or stands where an object should.
bool ReconstructionEvents::Other() {
  if (nDepth < 2 || (bKnownSection && szSection != "reference_lla" && nDepth <= 3))
    Fail("this is not built like a reconstruction");
  if (CurrentVector() != nullptr) Fail("the " + szField + " of " + Where() + " is not three numbers");
  return true;
}

bool ReconstructionEvents::string(std::string& text) {
  if (nDepth == 4 && InEntry() && CurrentVector() == nullptr) {
    if (szSection == "cameras" && szField == "projection_type") Current.szProjection = text;
    if (szSection == "shots" && szField == "camera") Current.szCamera = text;
    return true;
  }
  return Other();
}

std::array<double, 3> ReconstructionEvents::Complete(const Vector& vector, const char* field) const {
  if (vector.nCount != 3) Fail(Where() + " has no " + field + " of three numbers");
  return vector.Values;
}

void ReconstructionEvents::EndEntry() {
  if (szSection == "cameras") {
    if (Current.szProjection.empty()) Fail("camera '" + PrintableName(szEntry) + "' has no projection_type");
    Open.Cameras.push_back({szEntry, Current.szProjection, nEntryLine, std::move(Current.Numbers)});
  } else if (szSection == "shots") {
    Open.Shots.push_back({szEntry, Current.szCamera, Complete(Current.Rotation, "rotation"),
                          Complete(Current.Translation, "translation"), nEntryLine});
  } else if (szSection == "points") {
    Open.Points.push_back({szEntry, Complete(Current.Coordinates, "coordinates")});
  }
}

void ReconstructionEvents::EndReconstruction() {
  if (Reference.nCount == 7) Open.Reference = Reference.Values;
  ++File.nReconstructions;
  if (File.nReconstructions == 1 || Open.Shots.size() > File.Largest.Shots.size())
    File.Largest = std::move(Open);
  Open = {};
  Reference = {};
}

bool ReconstructionEvents::end_object() {
  if (nDepth == 4 && bKnownSection) EndEntry();
  if (nDepth == 3) bKnownSection = false;
  if (nDepth == 2) EndReconstruction();
  szField.clear();
  return Leave();
}

bool ReconstructionEvents::parse_error(size_t, const std::string&, const nlohmann::json::exception& error) {
  Bytes.CheckRead();
  const std::string text = error.what();
  const size_t colon = text.find(": ");
  constexpr size_t kMostShown = 160;
  Refuse(Bytes.Path(), Bytes.Line(),
         "this is no JSON: " +
             PrintableName(colon == std::string::npos ? text : text.substr(colon + 2, kMostShown)),
         "Look whether the file is whole, and whether it holds NaN, which JSON does not know");
}

}  // namespace

SfmFile ReadReconstructions(const std::string& path) {
  JsonBytes bytes(path);
  ReconstructionEvents events(bytes);
  nlohmann::json::sax_parse(bytes.begin(), JsonBytes::end(), &events);
  bytes.CheckRead();
  if (events.File.nReconstructions == 0) Refuse(path, 0, "it holds no reconstruction", kNoModel);
  events.File.Largest.szPath = path;
  return std::move(events.File);
}

std::optional<std::array<double, 3>> ReadReference(const std::string& path) {
  InputFile file;
  if (!file.Open(path) && !file.Failed()) return std::nullopt;
  std::string text;
  constexpr int64_t kMostBytes = 1 << 16;
  if (!ReadWholeFile(path, {false, kMostBytes}, nullptr, text))
    Refuse(path, 0, "cannot be read, or is too long for three numbers", "Take it away, or correct it");
  const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
  std::array<double, 3> values{};
  constexpr const char* kNames[] = {"latitude", "longitude", "altitude"};
  for (size_t i = 0; i < 3; ++i) {
    if (!json.is_object() || !json.contains(kNames[i]) || !json[kNames[i]].is_number())
      Refuse(path, 0, std::string("it has no ") + kNames[i], "Take it away, or correct it");
    values[i] = json[kNames[i]].get<double>();
  }
  return values;
}

}  // namespace orvo::exchange
