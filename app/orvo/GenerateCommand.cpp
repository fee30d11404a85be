// orvo generate: a block with known truth.
#include <filesystem>
#include <memory>

#include "base/PrintableName.h"
#include "orvo/Command.h"
#include "synthetic/GenerateBlock.h"

namespace orvo {
namespace {

struct GenerateArguments {
  std::string szFolder, szName = "block";
  std::vector<std::string> pForms;
  SyntheticOptions Options;
};

struct FormName {
  const char* szName;
  bool SyntheticForms::*field;
};

constexpr FormName kForms[] = {{"prj", &SyntheticForms::bText},          {"ovc", &SyntheticForms::bBinary},
                               {"gcp", &SyntheticForms::bGcp},           {"pos", &SyntheticForms::bPos},
                               {"settings", &SyntheticForms::bSettings}, {"truth", &SyntheticForms::bTruth}};

/// All forms, or those named.
SyntheticForms ChosenForms(const std::vector<std::string>& names) {
  SyntheticForms forms;
  if (names.empty()) return forms;
  for (const FormName& form : kForms) {
    forms.*form.field = std::find(names.begin(), names.end(), form.szName) != names.end();
  }
  return forms;
}

std::string CheckName(const std::string& name) {
  return name.empty() || name.find_first_of("/\\") != std::string::npos ? "must be a file name without folder"
                                                                        : "";
}

std::string TypeName(const char* number, const char* unit) {
  return unit[0] == '\0' ? number : std::string(number) + " (" + unit + ")";
}

void AddField(CLI::App& app, SyntheticOptions& options, const SyntheticOption& option) {
  const std::string name = std::string("--") + option.szName;
  std::visit(
      [&](auto field) {
        auto& value = options.*field;
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, bool>) {
          app.add_flag(name, value, option.szHelp);
        } else {
          const char* number = std::is_same_v<Value, double> ? "REAL" : "INT";
          app.add_option(name, value, option.szHelp)
              ->capture_default_str()
              ->type_name(TypeName(number, option.szUnit));
        }
      },
      option.field);
}

void PrintSummary(const SyntheticBlock& block, std::FILE* out) {
  const SyntheticCounts& counts = block.Truth.Counts;
  std::fprintf(out, "Images: %lld in %lld strips, cameras: %lld\n", static_cast<long long>(counts.nImages),
               static_cast<long long>(counts.nStrips), static_cast<long long>(counts.nCameras));
  std::fprintf(out, "Tie points: %lld, measurements: %lld, %.2f rays a point, %d at most, outliers: %lld\n",
               static_cast<long long>(counts.nTiePoints), static_cast<long long>(counts.nTieMeasurements),
               counts.fMeanRays, counts.nMaxRays, static_cast<long long>(counts.nOutliers));
  std::fprintf(out, "Control points: %lld, check points: %lld, measurements: %lld\n",
               static_cast<long long>(counts.nControlPoints), static_cast<long long>(counts.nCheckPoints),
               static_cast<long long>(counts.nGroundMeasurements));
  const SyntheticPaths& paths = block.Paths;
  for (const std::string* path : {&paths.szText, &paths.szOvc, &paths.szOvt, &paths.szGcp, &paths.szPos,
                                  &paths.szXml, &paths.szIni, &paths.szTruth}) {
    if (!path->empty()) std::fprintf(out, "%s\n", PrintableName(*path).c_str());
  }
}

int RunGenerate(const GenerateArguments& arguments, const FrontEnd& frontEnd) {
  if (const std::string wrong = CheckSyntheticOptions(arguments.Options); !wrong.empty()) {
    std::fprintf(frontEnd.fErr, "orvo generate: %s\n", PrintableName(wrong).c_str());
    return ExitUsage;
  }
  std::error_code error;
  std::filesystem::create_directories(arguments.szFolder, error);
  if (!frontEnd.System.FolderIsWritable(arguments.szFolder)) {
    std::fprintf(frontEnd.fErr,
                 "orvo generate: the folder %s can't be made or written to: name another one\n",
                 PrintableName(arguments.szFolder).c_str());
    return ExitFailed;
  }
  const SyntheticBlock block =
      GenerateBlock(arguments.Options, arguments.szFolder, arguments.szName, ChosenForms(arguments.pForms));
  if (!block.bDone) {
    std::fprintf(frontEnd.fErr, "orvo generate: %s\n", PrintableName(block.szError).c_str());
    return ExitFailed;
  }
  PrintSummary(block, frontEnd.fOut);
  return ExitDone;
}

}  // namespace

std::function<int()> AddGenerate(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<GenerateArguments>();
  app.add_option("FOLDER", arguments->szFolder, "where the files go; it is made where it is missing")
      ->required();
  app.add_option("--name", arguments->szName, "name of the files")
      ->capture_default_str()
      ->check(CLI::Validator(CheckName, "", "name"));
  std::vector<std::string> forms;
  for (const FormName& form : kForms) forms.emplace_back(form.szName);
  app.add_option("--forms", arguments->pForms,
                 "files to write, by commas: prj, ovc (with .ovt), gcp, pos, settings, truth [all]")
      ->delimiter(',')
      ->type_name("FORM,...")
      ->check(CLI::IsMember(forms));
  for (const SyntheticOption& option : SyntheticOptionTable()) AddField(app, arguments->Options, option);
  return [arguments, &frontEnd] { return RunGenerate(*arguments, frontEnd); };
}

}  // namespace orvo
