// orvo check: everything that can be told of the files of a run before an hour is spent.
#include <memory>
#include <nlohmann/json.hpp>

#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "orvo/Command.h"
#include "orvo/RunInputs.h"
#include "orvo/SettingOptions.h"
#include "settings/SettingRanges.h"

namespace orvo {
namespace {

struct CheckArguments {
  RunPaths Paths;
  std::vector<std::string> Settings;  ///< KEY=VALUE, checked
  bool bStrict = false;               ///< a warning is a failure, too
  bool bJson = false;
};

std::string PluralOf(int64_t count, const std::string& kind) { return CountOf(count, kind, {}); }

void PrintLines(const Diagnosis& diagnosis, int64_t fileNum, std::FILE* out) {
  for (const std::string& line : LinesOf(diagnosis)) std::fprintf(out, "%s\n", line.c_str());
  std::fprintf(out, "%s, %s in %s\n", PluralOf(diagnosis.ErrorNum(), "error").c_str(),
               PluralOf(diagnosis.WarningNum(), "warning").c_str(), PluralOf(fileNum, "file").c_str());
}

nlohmann::ordered_json JsonOf(const Finding& finding) {
  nlohmann::ordered_json one;
  one["code"] = finding.szCode;
  one["severity"] = NameOf(finding.Weight);
  one["file"] = PrintableName(finding.szFile);
  if (finding.nLine > 0) one["line"] = finding.nLine;
  if (finding.nColumn > 0) one["column"] = finding.nColumn;
  if (finding.nByte >= 0) one["offset"] = finding.nByte;
  one["what"] = PrintableName(finding.szWhat);
  one["remedy"] = PrintableName(finding.szRemedy);
  return one;
}

void PrintJson(const Diagnosis& diagnosis, int64_t fileNum, std::FILE* out) {
  nlohmann::ordered_json all;
  all["findings"] = nlohmann::ordered_json::array();
  all["counts"] = nlohmann::ordered_json::object();
  for (const Finding& finding : diagnosis.Findings()) {
    all["findings"].push_back(JsonOf(finding));
    all["counts"][finding.szCode] = diagnosis.CountOf(finding.szCode);
  }
  all["errors"] = diagnosis.ErrorNum();
  all["warnings"] = diagnosis.WarningNum();
  all["files"] = fileNum;
  // Names may hold bytes that are no UTF-8.
  const std::string text = all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::fprintf(out, "%s\n", text.c_str());
}

int RunCheck(const CheckArguments& arguments, const FrontEnd& frontEnd) {
  RunPaths paths = arguments.Paths;
  Diagnosis diagnosis;
  // One that is named has to be there.
  if (!paths.szSettings.empty() && IsMissing(paths.szSettings)) {
    diagnosis.Add("A001", {paths.szSettings}, "there is no such file", "Check its path");
    paths.szSettings.clear();
  } else {
    paths.szSettings = ChooseSettings(paths, frontEnd);
  }
  for (const std::string& remark : RemarksOn(arguments.Settings))
    std::fprintf(frontEnd.fErr, "orvo check: %s.\n", PrintableName(remark).c_str());
  frontEnd.Diagnose(paths, DiagnosisScope::Everything, frontEnd.System, diagnosis,
                    OverridesOf(arguments.Settings));
  const int64_t fileNum = FileNumOf(paths);
  (arguments.bJson ? PrintJson : PrintLines)(diagnosis, fileNum, frontEnd.fOut);
  const bool failed = diagnosis.ErrorNum() > 0 || (arguments.bStrict && diagnosis.WarningNum() > 0);
  return failed ? ExitFailed : ExitDone;
}

}  // namespace

std::function<int()> AddCheck(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<CheckArguments>();
  RunPaths& paths = arguments->Paths;
  app.add_option("PROJECT", paths.szProject, "text project, or an .ovc file with its .ovt beside it")
      ->required();
  app.add_option("--gcp", paths.szGcp, "control and check points")->type_name("FILE");
  app.add_option("--pos", paths.szPos, "GPS/IMU records")->type_name("FILE");
  app.add_option("--settings", paths.szSettings, "settings, .xml or .ini [those that orvo adjust would find]")
      ->type_name("FILE");
  AddSettingOverrides(app, arguments->Settings);
  app.add_flag("--strict", arguments->bStrict, "exit with 1 when there are warnings, too");
  app.add_flag("--json", arguments->bJson, "print the findings as JSON");
  return [arguments, &frontEnd] { return RunCheck(*arguments, frontEnd); };
}

}  // namespace orvo
