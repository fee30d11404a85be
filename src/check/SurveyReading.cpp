#include "check/SurveyReading.h"

#include "base/Scan.h"
#include "block/ProjectForm.h"
#include "check/StrictLines.h"
#include "check/reading/HeadReading.h"
#include "check/reading/LossCheck.h"
#include "check/reading/NameCheck.h"
#include "check/reading/OvtReading.h"
#include "check/reading/PointReading.h"
#include "check/reading/PosReading.h"

namespace orvo {
namespace {

/// How much of the project was read to its end.
struct ProjectRead {
  bool bHead = false;       ///< all cameras and images
  bool bHeadSound = false;  ///< without an error
  bool bAll = false;
};

ProjectRead ReadProject(SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis) {
  const int64_t before = diagnosis.ErrorNum();
  files.szOvt = OvtPathOfProject(files.szProject);
  SurveyText text(files.szProject, diagnosis);
  SurveyHead head;
  if (!text.IsReadable() || !ReadSurveyHead(text, files.szOvt.empty(), block, head)) return {};
  const bool sound = diagnosis.ErrorNum() == before && !text.Waits();
  OrdinalCheck ordinals(block.Images);
  if (files.szOvt.empty()) return {true, sound, ReadSurveyPoints(text, head.nPointNum, ordinals, block.Tie)};
  text.TellRest(
      " stands behind the last image",
      "An .ovc ends with its images: look for a doubled line, or correct the counts in the first line", true);
  return {true, sound, ReadSurveyOvt(files.szOvt, ordinals, block.Tie, diagnosis)};
}

bool ReadGcp(const std::string& path, OrdinalCheck ordinals, SurveyBlock& block, Diagnosis& diagnosis) {
  SurveyText text(path, diagnosis);
  if (!text.IsReadable()) return false;
  std::string_view line, more;
  if (!text.Next(line)) {
    text.TellEnd("the file is empty");
    return false;
  }
  FieldScanner fields(line);
  int32_t count = 0;
  fields.Int(count);
  if (fields.NumbersAreWhole() && count >= 0 && !fields.Word(more)) {
    return ReadSurveyPoints(text, count, ordinals, block.Control);
  }
  text.Tell("S014", 1, Quoted(line) + " is not the number of points",
            RemedyOfLine(line,
                         "The first line holds the number of points alone, 0 where there is none. Lists of "
                         "other programs have to be converted"));
  return false;
}

bool ReadPos(const std::string& path, int64_t mostLines, SurveyBlock& block, Diagnosis& diagnosis) {
  SurveyText text(path, diagnosis);
  if (!text.IsReadable()) return false;
  ReadSurveyPos(text, mostLines, block.Pos);
  return true;
}

}  // namespace

bool ReadSurvey(SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis) {
  const int64_t errorsBefore = diagnosis.ErrorNum();
  const ProjectRead project = ReadProject(files, block, diagnosis);
  // Without its images nothing can be said about what refers to them.
  if (!project.bHead) return false;
  bool usable = project.bAll;
  if (!files.szGcp.empty())
    usable = ReadGcp(files.szGcp, OrdinalCheck(block.Images), block, diagnosis) && usable;
  const int64_t errorsBeforePos = diagnosis.ErrorNum();
  // Flights have more images than blocks, but not without end.
  const int64_t mostLines = 8 * std::ssize(block.Images) + 65536;
  if (!files.szPos.empty()) usable = ReadPos(files.szPos, mostLines, block, diagnosis) && usable;
  const bool posSound = diagnosis.ErrorNum() == errorsBeforePos;
  if (project.bHeadSound) CheckNames(files, block, diagnosis);
  if (project.bHeadSound && posSound && !files.szPos.empty()) CheckPosNames(files, block, diagnosis);
  // What a fault left out is no loss of its own.
  if (usable && diagnosis.ErrorNum() == errorsBefore) CheckLosses(files, block, diagnosis);
  return usable;
}

bool ReadSurveyAlone(const SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis) {
  constexpr int64_t kMostLines = int64_t{1} << 18;
  bool usable = files.szGcp.empty() || ReadGcp(files.szGcp, OrdinalCheck(), block, diagnosis);
  if (!files.szPos.empty()) usable = ReadPos(files.szPos, kMostLines, block, diagnosis) && usable;
  return usable;
}

}  // namespace orvo
