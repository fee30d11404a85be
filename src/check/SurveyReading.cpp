#include "check/SurveyReading.h"

#include "base/Scan.h"
#include "block/ProjectForm.h"
#include "check/StrictLines.h"
#include "check/reading/HeadReading.h"
#include "check/reading/OvtReading.h"
#include "check/reading/PointReading.h"
#include "check/reading/PosReading.h"

namespace orvo {
namespace {

bool ReadProject(SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis) {
  files.szOvt = OvtPathOfProject(files.szProject);
  SurveyText text(files.szProject, diagnosis);
  SurveyHead head;
  if (!text.IsReadable() || !ReadSurveyHead(text, files.szOvt.empty(), block, head)) return false;
  if (files.szOvt.empty()) return ReadSurveyPoints(text, head.nPointNum, block.Tie);
  text.TellRest(
      " stands behind the last image",
      "An .ovc ends with its images: look for a doubled line, or correct the counts in the first line", true);
  return ReadSurveyOvt(files.szOvt, block.Tie, diagnosis);
}

bool ReadGcp(const std::string& path, SurveyBlock& block, Diagnosis& diagnosis) {
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
  if (fields.NumbersAreWhole() && count >= 0 && !fields.Word(more))
    return ReadSurveyPoints(text, count, block.Control);
  text.Tell("S014", 1, Quoted(line) + " is not the number of points",
            RemedyOfLine(line,
                         "The first line holds the number of points alone, 0 where there is none. Lists of "
                         "other programs have to be converted"));
  return false;
}

bool ReadPos(const std::string& path, SurveyBlock& block, Diagnosis& diagnosis) {
  SurveyText text(path, diagnosis);
  if (!text.IsReadable()) return false;
  ReadSurveyPos(text, block.Pos);
  return true;
}

}  // namespace

bool ReadSurvey(SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis) {
  bool usable = ReadProject(files, block, diagnosis);
  if (!files.szGcp.empty()) usable = ReadGcp(files.szGcp, block, diagnosis) && usable;
  if (!files.szPos.empty()) usable = ReadPos(files.szPos, block, diagnosis) && usable;
  return usable;
}

}  // namespace orvo
