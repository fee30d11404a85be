#include "check/reading/NameCheck.h"

#include <unordered_map>

#include "check/StrictLines.h"
#include "check/reading/NameDistance.h"
#include "records/ReadingFacts.h"

namespace orvo {
namespace {

constexpr const char* kSpelling =
    "Names stand without folder and extension, upper and lower case as in the project";

std::string LineText(int64_t line) { return "line " + std::to_string(line); }

void CheckImageNames(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis) {
  const bool withPos = !files.szPos.empty();
  std::unordered_map<std::string_view, int64_t> lineOf;
  for (const SurveyImage& image : block.Images) {
    const int64_t line = image.nLine + 1;
    if (image.szName.empty()) {
      diagnosis.Add(withPos ? "R005" : "R006", {files.szProject, line},
                    "the path " + Quoted(image.szPath) + " gives the image no name",
                    "Write a folder before the file name, such as ./, and no blank in the path");
      continue;
    }
    const auto [known, first] = lineOf.try_emplace(image.szName, line);
    if (!first)
      diagnosis.Add(
          withPos ? "R003" : "R004", {files.szProject, line},
          "the name " + Quoted(image.szName) + " is that of another image, in " + LineText(known->second),
          "POS lines reach only the first of them: rename one");
  }
}

void CheckControlNames(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis) {
  std::unordered_map<std::string_view, int64_t> lineOf;
  for (const SurveyPoint& point : block.Control.Points) {
    const auto [known, first] = lineOf.try_emplace(point.szName.data(), point.nPlace);
    if (!first)
      diagnosis.Add(
          "R021", {files.szGcp, point.nPlace, 1},
          "point " + Quoted(point.szName.data()) + " stands in " + LineText(known->second) + " already",
          "They count as two points: put their measurements together, or rename one");
  }
}

/// The names of a POS file as they are taken by the images.
class PosNameChecker {
 public:
  PosNameChecker(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis)
      : Files(files), Block(block), Result(diagnosis) {
    for (const SurveyImage& image : block.Images) {
      if (!image.szName.empty()) LineOfName.try_emplace(image.szName, 0);
    }
  }

  void TakeLines() {
    for (const SurveyPos& pos : Block.Pos) {
      const auto known = LineOfName.find(pos.szName);
      if (known == LineOfName.end()) {
        Unknown.push_back(&pos);
      } else if (known->second != 0) {
        Result.Add("R011", {Files.szPos, pos.nLine, 1},
                   Quoted(pos.szName) + " has a line already, " + LineText(known->second),
                   "Remove one of the two lines");
      } else {
        known->second = pos.nLine;
        ++nTaken;
      }
    }
  }
  void TellUnknown();
  void TellUnobserved();

 private:
  void TellNoneKnown();

  const SurveyFiles& Files;
  const SurveyBlock& Block;
  Diagnosis& Result;
  std::unordered_map<std::string_view, int64_t> LineOfName;  ///< of each image's name, 0 without a line
  std::vector<const SurveyPos*> Unknown;
  int64_t nTaken = 0;
};

void PosNameChecker::TellNoneKnown() {
  if (LineOfName.empty()) return;  // told as images without names
  std::string what = "no image of the project has a line";
  if (!Unknown.empty() && !Block.Images.empty())
    what += ": the names here are such as " + Quoted(Unknown[0]->szName) + ", those of the project such as " +
            Quoted(Block.Images[0].szName);
  Result.Add("R009", {Files.szPos}, what, kSpelling);
}

void PosNameChecker::TellUnknown() {
  if (nTaken == 0) return TellNoneKnown();
  std::vector<std::string_view> waiting;  // names of images without a line
  for (const SurveyImage& image : Block.Images) {
    if (!image.szName.empty() && LineOfName[image.szName] == 0) waiting.push_back(image.szName);
  }
  int64_t compared = 0;
  for (const SurveyPos* pos : Unknown) {
    // Each comparison walks over all names.
    const bool compare = compared++ < 2 * Diagnosis::kMostOfACode;
    const int64_t nearest = compare ? NearestPlace(pos->szName, waiting) : -1;
    const std::string what = "no image of the project is called " + Quoted(pos->szName);
    if (nearest < 0) {
      Result.Add("R008", {Files.szPos, pos->nLine, 1}, what, "The line is passed over");
      continue;
    }
    const std::string_view name = waiting[static_cast<size_t>(nearest)];
    const bool same = HaveSameNumbers(pos->szName, name);
    Result.Add(same ? "R007" : "R008", {Files.szPos, pos->nLine, 1},
               what + "; the nearest without a line is " + Quoted(name), kSpelling);
  }
}

void PosNameChecker::TellUnobserved() {
  if (nTaken == 0) return;
  NamedCount unobserved;
  for (const SurveyImage& image : Block.Images) {
    const auto known = LineOfName.find(image.szName);
    if (known != LineOfName.end() && known->second == 0) unobserved.Add(image.szName.c_str());
  }
  if (unobserved.nCount > 0)
    Result.Add("R010", {Files.szPos},
               CountOf(unobserved.nCount, "image", unobserved.Names) + ": without a line, and not observed",
               "");
}

}  // namespace

void CheckNames(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis) {
  CheckImageNames(files, block, diagnosis);
  CheckControlNames(files, block, diagnosis);
}

void CheckPosNames(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis) {
  PosNameChecker checker(files, block, diagnosis);
  checker.TakeLines();
  checker.TellUnknown();
  checker.TellUnobserved();
}

}  // namespace orvo
