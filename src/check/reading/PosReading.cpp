#include "check/reading/PosReading.h"

#include <algorithm>
#include <cmath>

#include "base/Scan.h"
#include "check/StrictLines.h"

namespace orvo {
namespace {

using enum FieldKind;

constexpr FieldSpec kFields[] = {
    {Word, "the name"}, {Real, "X"},   {Real, "Y"},     {Real, "Z"},
    {Real, "omega"},    {Real, "phi"}, {Real, "kappa"}, {Integer, "the strip ID"}};

bool Take(std::string_view line, int64_t fieldNum, SurveyPos& pos) {
  FieldScanner fields(line);
  std::string_view name;
  fields.Word(name);
  pos.szName = name;
  double* const values[] = {&pos.S[0], &pos.S[1], &pos.S[2], &pos.dOmega, &pos.dPhi, &pos.dKappa};
  bool all = true;
  for (int64_t i = 1; i < std::min<int64_t>(fieldNum, 7); ++i) all &= fields.Real(*values[i - 1]);
  if (fieldNum >= 8) all &= fields.Int(pos.nStrip);
  return all && fields.NumbersAreWhole();
}

bool IsFinite(const SurveyPos& pos) {
  return std::isfinite(pos.S[0]) && std::isfinite(pos.S[1]) && std::isfinite(pos.S[2]) &&
         std::isfinite(pos.dOmega) && std::isfinite(pos.dPhi) && std::isfinite(pos.dKappa);
}

/// How many fields the lines have to have, by the first of them: with position, angles, or strip. Where the
/// next one has more, the first is short.
int64_t FieldsOfForm(std::string_view line, const std::vector<std::string>& next) {
  const int64_t count = CountFields(line, 8), behind = next.empty() ? 0 : CountFields(next.front(), 8);
  const int64_t more = behind > count && (behind == 7 || behind == 8) ? behind : count;
  return more == 4 || more == 7 ? more : 8;
}

/// Words where the coordinates have to be.
bool IsHeading(std::string_view line) {
  FieldScanner fields(line);
  std::string_view word;
  fields.Word(word);
  for (int i = 0; i < 3; ++i) {
    if (!fields.Word(word) || !((word[0] >= 'A' && word[0] <= 'Z') || (word[0] >= 'a' && word[0] <= 'z')))
      return false;
    double value = 0;
    FieldScanner number(word);
    number.Real(value);
    // Of a receiver without a fix.
    if (number.NumbersAreWhole() && !std::isfinite(value)) return false;
  }
  return true;
}

void TakeLine(SurveyText& text, std::string_view line, int64_t needed, std::vector<SurveyPos>& lines) {
  SurveyPos pos;
  pos.nStrip = -1;
  pos.nLine = text.LineNumber();
  if (CountFields(line, needed) < needed || !Take(line, needed, pos)) {
    const LineFields looked = LookAtFields(line, kFields, static_cast<size_t>(needed));
    text.Tell(looked);
    if (!looked.bUsable || !Take(looked.szRepaired, needed, pos)) return;
  }
  if (!IsFinite(pos)) {
    text.Tell("S019", 1, "the line of " + Quoted(pos.szName) + " holds a number that is not finite",
              "It is passed over: leave out the line of an image without a fix");
    return;
  }
  lines.push_back(std::move(pos));
}

}  // namespace

void ReadSurveyPos(SurveyText& text, int64_t mostLines, std::vector<SurveyPos>& lines) {
  std::string_view line;
  int64_t needed = 0;
  while (text.Next(line)) {
    const std::string_view trimmed = Trimmed(line);
    if (trimmed.empty()) continue;
    if (text.IsComment(line)) {
      text.TellNotMeant(line);
      continue;
    }
    if (needed == 0 && IsHeading(line)) {
      text.Tell("S010", 1, "headings are not known here", "Remove the line");
      continue;
    }
    if (needed == 0) {
      needed = FieldsOfForm(line, text.Following(1));
      if (needed < 8)
        text.Tell(
            "S021", 1, needed == 4 ? "the lines hold neither angles nor strips" : "the lines hold no strips",
            "All images are one group then: write name, X, Y, Z, omega, phi, kappa and strip ID, with 0 "
            "for angles that are not known");
    }
    if (std::ssize(lines) < mostLines) TakeLine(text, line, needed, lines);
  }
  text.TellOpenEnd();
}

}  // namespace orvo
