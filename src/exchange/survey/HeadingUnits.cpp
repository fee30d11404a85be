#include "exchange/survey/HeadingUnits.h"

#include <algorithm>
#include <iterator>
#include <numbers>
#include <vector>

#include "check/StrictLines.h"

namespace orvo::exchange {
namespace {

constexpr double kUsFoot = 1200.0 / 3937;
constexpr double kDegreesOfRadian = 180 / std::numbers::pi;

constexpr HeadingUnit kMetre = {UnitKind::Length, 1, false, "m"};
constexpr HeadingUnit kSomeFoot = {UnitKind::Length, 0.3048, true, "ft"};
constexpr HeadingUnit kFoot = {UnitKind::Length, 0.3048, false, "international ft"};
constexpr HeadingUnit kSurveyFoot = {UnitKind::Length, kUsFoot, false, "us-ft"};
constexpr HeadingUnit kDegree = {UnitKind::Angle, 1, false, "deg"};
constexpr HeadingUnit kRadian = {UnitKind::Angle, kDegreesOfRadian, false, "rad"};
constexpr HeadingUnit kGon = {UnitKind::Angle, 0.9, false, "gon"};
constexpr HeadingUnit kPixel = {UnitKind::Pixel, 1, false, "px"};

/// In small letters, without blanks and marks. "grad" is not among them: it is a degree in German.
constexpr struct {
  std::string_view szWord;
  HeadingUnit Unit;
} kUnits[] = {
    {"m", kMetre},
    {"metre", kMetre},
    {"metres", kMetre},
    {"meter", kMetre},
    {"meters", kMetre},
    {"mm", {UnitKind::Length, 1e-3, false, "mm"}},
    {"cm", {UnitKind::Length, 1e-2, false, "cm"}},
    {"km", {UnitKind::Length, 1e3, false, "km"}},
    {"ft", kSomeFoot},
    {"foot", kSomeFoot},
    {"feet", kSomeFoot},
    {"ift", kFoot},
    {"intft", kFoot},
    {"intlft", kFoot},
    {"internationalft", kFoot},
    {"internationalfoot", kFoot},
    {"internationalfeet", kFoot},
    {"usft", kSurveyFoot},
    {"ftus", kSurveyFoot},
    {"sft", kSurveyFoot},
    {"surveyft", kSurveyFoot},
    {"surveyfeet", kSurveyFoot},
    {"ussurveyft", kSurveyFoot},
    {"ussurveyfoot", kSurveyFoot},
    {"ussurveyfeet", kSurveyFoot},
    {"usfoot", kSurveyFoot},
    {"usfeet", kSurveyFoot},
    {"deg", kDegree},
    {"degs", kDegree},
    {"degree", kDegree},
    {"degrees", kDegree},
    {"decimaldegree", kDegree},
    {"decimaldegrees", kDegree},
    {"decdeg", kDegree},
    {"dd", kDegree},
    {"dms", kDegree},
    {"degminsec", kDegree},
    {"\xC2\xB0", kDegree},
    {"rad", kRadian},
    {"rads", kRadian},
    {"radian", kRadian},
    {"radians", kRadian},
    {"gon", kGon},
    {"gons", kGon},
    {"grads", kGon},
    {"gradian", kGon},
    {"gradians", kGon},
    {"px", kPixel},
    {"pix", kPixel},
    {"pixel", kPixel},
    {"pixels", kPixel},
};

/// What coordinates are, and of which system.
constexpr std::string_view kWords[] = {
    "x",      "y",       "z",          "e",           "n",           "h",        "u",         "v",
    "east",   "easting", "eastings",   "west",        "north",       "northing", "northings", "south",
    "up",     "lon",     "long",       "lat",         "longitude",   "latitude", "height",    "elevation",
    "elev",   "alt",     "altitude",   "right",       "rechtswert",  "hochwert", "above",     "sea",
    "level",  "mean",    "ellipsoid",  "ellipsoidal", "orthometric", "geoid",    "msl",       "amsl",
    "asl",    "hae",     "wgs",        "wgs84",       "etrs89",      "nad27",    "nad83",     "navd88",
    "egm96",  "egm2008", "utm",        "zone",        "epsg",        "crs",      "grid",      "map",
    "world",  "local",   "image",      "photo",       "camera",      "gps",      "gnss",      "rtk",
    "column", "row",     "horizontal", "vertical",    "true",        "omega",    "phi",       "kappa",
    "yaw",    "heading", "pitch",      "roll"};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Words of letters and digits, in small letters.
std::vector<std::string> WordsIn(std::string_view text) {
  std::vector<std::string> words(1);
  for (char c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (IsLetter(c) || IsDigit(c)) {
      words.back() += c;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::optional<HeadingUnit> UnitNamed(const std::string& word) {
  const auto found = std::ranges::find_if(kUnits, [&](const auto& known) { return known.szWord == word; });
  return found == std::end(kUnits) ? std::nullopt : std::optional(found->Unit);
}

/// Words that are known, and numbers of codes and zones: 4326, 32N.
bool GoesWithCoordinates(const std::string& word) {
  if (std::ranges::find(kWords, word) != std::end(kWords)) return true;
  const size_t digits = std::min(word.find_first_not_of("0123456789"), word.size());
  const std::string_view behind = std::string_view(word).substr(digits);
  return digits > 0 && (behind.empty() || behind == "n" || behind == "s");
}

/// What stands between two brackets.
UnitWords UnitOfPiece(std::string_view piece) {
  const std::vector<std::string> words = WordsIn(piece);
  std::string whole;
  for (const std::string& word : words) whole += word;
  if (const auto unit = UnitNamed(whole)) return {unit, {}};
  UnitWords found;
  bool numbers = false;
  for (const std::string& word : words) {
    const auto unit = UnitNamed(word);
    numbers = numbers || IsDigit(word[0]);
    if ((unit && found.Unit) || (!unit && !GoesWithCoordinates(word))) return {{}, std::string(piece)};
    if (unit) found.Unit = unit;
  }
  // A number may be one of units: [1000 m].
  const bool marks = words.empty() && !piece.empty();
  if (marks || (numbers && found.Unit)) return {{}, std::string(piece)};
  return found;
}

}  // namespace

size_t StartOfBracket(std::string_view heading) {
  return std::min(heading.find_first_of("(["), heading.size());
}

UnitWords UnitOfHeading(std::string_view heading) {
  UnitWords found;
  constexpr std::string_view kBrackets = "()[]";
  for (size_t at = StartOfBracket(heading); at < heading.size();) {
    const size_t end = std::min(heading.find_first_of(kBrackets, at), heading.size());
    UnitWords piece = UnitOfPiece(Trimmed(heading.substr(at, end - at)));
    if (!piece.szUnknown.empty()) return piece;
    if (piece.Unit && found.Unit && piece.Unit->szName != found.Unit->szName)
      return {{}, std::string(heading.substr(StartOfBracket(heading)))};
    if (piece.Unit) found.Unit = piece.Unit;
    at = end + 1;
  }
  return found;
}

}  // namespace orvo::exchange
