// orvo settings: a settings file for a block, and what settings mean.
#include <fmt/format.h>

#include <cmath>
#include <memory>

#include "base/InputFile.h"
#include "base/Platform.h"
#include "base/PrintableName.h"
#include "base/Scan.h"
#include "block/ProjectForm.h"
#include "check/Diagnosis.h"
#include "exchange/WholeFiles.h"
#include "orvo/Command.h"
#include "orvo/ExchangeArguments.h"
#include "run/BlockReading.h"
#include "run/ProgramFacts.h"
#include "settings/SettingNames.h"
#include "settings/SettingTexts.h"
#include "settings/SettingsFile.h"

namespace orvo {
namespace {

struct SettingsArguments {
  RunPaths Paths;
  std::string szPreset = "drone", szOut, szKey, szPixelSigma, szGpsSigmas, szGcpSigma;
  bool bForce = false, bList = false, bMarkdown = false;
};

std::optional<double> SigmaIn(const std::string& text) {
  FieldScanner fields(text);
  double value = 0;
  std::string_view more;
  if (!fields.Real(value) || !fields.NumbersAreWhole() || fields.Word(more)) return std::nullopt;
  return value >= 1e-9 && value <= 1e9 ? std::optional(value) : std::nullopt;
}

std::string CheckSigma(const std::string& text) {
  return SigmaIn(text)
             ? ""
             : "'" + text + "' is no standard deviation: write a number from 1e-9 to 1e9, such as 0.02";
}

std::string CheckOut(const std::string& path) {
  const std::string extension = TextFromLastDot(path);
  return extension == ".xml" || extension == ".XML"
             ? ""
             : "'" + path + "' does not end in .xml, as a settings file of this form has to";
}

/// Before and behind the comma; the same twice where there is none.
std::pair<std::string, std::string> PartsOf(const std::string& text) {
  const size_t comma = text.find(',');
  return comma == std::string::npos ? std::pair(text, text)
                                    : std::pair(text.substr(0, comma), text.substr(comma + 1));
}

std::string CheckSigmas(const std::string& text) {
  const auto [xy, z] = PartsOf(text);
  const std::string fault = CheckSigma(xy);
  return fault.empty() ? CheckSigma(z) : fault;
}

StatedSigmas SigmasOf(const SettingsArguments& arguments) {
  StatedSigmas sigmas;
  if (!arguments.szPixelSigma.empty()) sigmas.Pixel = SigmaIn(arguments.szPixelSigma);
  if (!arguments.szGcpSigma.empty()) sigmas.Gcp = SigmaIn(arguments.szGcpSigma);
  if (arguments.szGpsSigmas.empty()) return sigmas;
  const auto [xy, z] = PartsOf(arguments.szGpsSigmas);
  sigmas.GpsXY = SigmaIn(xy);
  sigmas.GpsZ = SigmaIn(z);
  return sigmas;
}

std::string FirstLine(const Setting& setting) {
  std::string names = setting.szName;
  for (const char* other : {setting.szColonKey, setting.szXmlElement}) {
    if (other != nullptr && names != other && std::string(setting.szName) != other)
      names += fmt::format(" ({})", other);
  }
  return fmt::format("{:<42} {}", names, PlainText(DescriptionOf(setting).szMeaning));
}

int List(const SettingsArguments& arguments, const FrontEnd& frontEnd) {
  for (const Setting& setting : SettingsTable()) {
    const std::string line = arguments.bMarkdown ? MarkdownRowOf(setting) : FirstLine(setting);
    std::fprintf(frontEnd.fOut, "%s\n", line.c_str());
  }
  return ExitDone;
}

int Explain(const std::string& key, const FrontEnd& frontEnd) {
  const NamedSetting named = FindSetting(key);
  if (named.pSetting != nullptr) {
    std::fputs(ExplanationOf(*named.pSetting).c_str(), frontEnd.fOut);
    return ExitDone;
  }
  const std::string nearest = NearestSettingName(key);
  std::fprintf(
      frontEnd.fErr, "orvo settings: there is no setting '%s': %s\n", PrintableName(key).c_str(),
      nearest.empty() ? "orvo settings --list tells all" : ("did you mean " + nearest + "?").c_str());
  return ExitUsage;
}

std::vector<std::string> HeadOf(const SettingsArguments& arguments, const SettingPreset& preset,
                                const std::optional<BlockFacts>& facts) {
  std::vector<std::string> head{
      fmt::format("Settings of orvo {}, preset {}: {}", ProgramVersion(), preset.szName, preset.szFor)};
  if (facts)
    head.push_back(fmt::format("Fitted to {}: images {}, cameras {}, control points {}",
                               PrintableName(arguments.Paths.szProject), facts->nImages, facts->nCameras,
                               facts->nControl));
  return head;
}

int Write(const SettingsArguments& arguments, const std::string& text, const FrontEnd& frontEnd) {
  if (arguments.szOut.empty()) {
    std::fputs(text.c_str(), frontEnd.fOut);
    return ExitDone;
  }
  if (!arguments.bForce && !IsMissing(arguments.szOut)) {
    std::fprintf(frontEnd.fErr, "orvo settings: %s is there already: name another file, or add --force\n",
                 PrintableName(arguments.szOut).c_str());
    return ExitFailed;
  }
  const RunPaths& paths = arguments.Paths;
  return RunExchange("settings", frontEnd, [&](exchange::ExchangeLog&) {
    std::vector<std::string> inputs{paths.szProject, OvtPathOfProject(paths.szProject), paths.szGcp,
                                    paths.szPos};
    std::erase(inputs, std::string());
    exchange::WholeFiles files(exchange::WholeFiles::FolderOf(arguments.szOut), std::move(inputs));
    const std::string name = arguments.szOut.substr(arguments.szOut.find_last_of('/') + 1);
    files.Write(name, [&](TextWriter& file) { file.Write(text); });
    files.Commit();
  });
}

int RunSettings(const SettingsArguments& arguments, const FrontEnd& frontEnd) {
  if (arguments.bList) return List(arguments, frontEnd);
  if (!arguments.szKey.empty()) return Explain(arguments.szKey, frontEnd);
  const SettingPreset& preset = *FindPreset(arguments.szPreset);
  const StatedSigmas sigmas = SigmasOf(arguments);
  std::optional<BlockFacts> facts;
  if (!arguments.Paths.szProject.empty()) {
    Diagnosis diagnosis;
    facts = ReadBlockFacts(arguments.Paths, SettingsFor(preset, std::nullopt, sigmas).Settings,
                           frontEnd.System, diagnosis);
    for (const std::string& line : LinesOf(diagnosis, Severity::Error))
      std::fprintf(frontEnd.fErr, "%s\n", line.c_str());
    if (!facts) {
      std::fputs("orvo settings: nothing was written, for the block is not sound\n", frontEnd.fErr);
      return ExitFailed;
    }
  }
  const ChosenSettings chosen = SettingsFor(preset, facts, sigmas);
  for (const std::string& note : chosen.Notes)
    std::fprintf(frontEnd.fErr, "orvo settings: note: %s.\n", PrintableName(note).c_str());
  return Write(arguments, SettingsFileText(chosen, HeadOf(arguments, preset, facts)), frontEnd);
}

std::string HelpOfPresets() {
  std::string help = "Presets:";
  for (const SettingPreset& preset : SettingPresets())
    help += fmt::format("\n  {}: {}", preset.szName, preset.szFor);
  return help;
}

void AddSigmas(CLI::App& app, SettingsArguments& arguments) {
  const CLI::Validator isSigma(CheckSigma, "", "standard deviation");
  app.add_option("--pixel-sigma", arguments.szPixelSigma,
                 "standard deviation of a measurement in pixels, for the weights [0.5]")
      ->type_name("PX")
      ->check(isSigma);
  app.add_option("--gps-sigma", arguments.szGpsSigmas,
                 "standard deviation of GPS positions in object units, in X and Y, and in Z; switches "
                 "Apply_GPS_Data on [that of the preset]")
      ->type_name("XY[,Z]")
      ->check(CLI::Validator(CheckSigmas, "", "standard deviations"));
  app.add_option("--gcp-sigma", arguments.szGcpSigma,
                 "standard deviation of the coordinates of control points in object units [none]")
      ->type_name("M")
      ->check(isSigma);
}

}  // namespace

std::function<int()> AddSettings(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<SettingsArguments>();
  RunPaths& paths = arguments->Paths;
  std::vector<std::string> presets;
  for (const SettingPreset& preset : SettingPresets()) presets.emplace_back(preset.szName);
  app.add_option("--preset", arguments->szPreset, "settings to start from, see below")
      ->capture_default_str()
      ->type_name("NAME")
      ->check(CLI::IsMember(presets));
  CLI::Option* project = app.add_option("--for", paths.szProject,
                                        "project that the settings shall fit: weights follow from its size")
                             ->type_name("FILE");
  app.add_option("--gcp", paths.szGcp, "control and check points of that project")
      ->type_name("FILE")
      ->needs(project);
  app.add_option("--pos", paths.szPos, "GPS/IMU records of that project")->type_name("FILE")->needs(project);
  AddSigmas(app, *arguments);
  CLI::Option* out = app.add_option("--out", arguments->szOut, "file to write [standard output]")
                         ->type_name("FILE")
                         ->check(CLI::Validator(CheckOut, "", "settings file"));
  app.add_flag("--force", arguments->bForce, "write over a file that is there, but never over an input")
      ->needs(out);
  CLI::Option* key = app.add_option("--explain", arguments->szKey,
                                    "tell everything on one setting, by any of its names, and end")
                         ->type_name("KEY");
  app.add_flag("--list", arguments->bList, "tell all settings, and end")->excludes(key);
  // Rows of the table in docs/settings.md.
  app.add_flag("--markdown", arguments->bMarkdown)->group("");
  app.footer(HelpOfPresets());
  return [arguments, &frontEnd] { return RunSettings(*arguments, frontEnd); };
}

}  // namespace orvo
