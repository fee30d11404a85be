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
#include "check/RigorousReading.h"
#include "exchange/WholeFiles.h"
#include "orvo/Command.h"
#include "orvo/ExchangeArguments.h"
#include "run/BlockReading.h"
#include "run/InputCheck.h"
#include "run/ProgramFacts.h"
#include "run/SettingsReading.h"
#include "settings/RigorousFile.h"
#include "settings/RigorousTexts.h"
#include "settings/SettingNames.h"
#include "settings/SettingTexts.h"
#include "settings/SettingsFile.h"

namespace orvo {
namespace {

struct SettingsArguments {
  RunPaths Paths;
  std::string szPreset = "drone", szOut, szKey, szPixelSigma, szGpsSigmas, szGcpSigma;
  std::string szMethod;  ///< empty: the settings that all methods have
  std::string szFrom;    ///< settings in place of the preset
  bool bForce = false, bList = false, bMarkdown = false;

  bool IsRigorous() const { return szMethod == "rigorous"; }
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

std::string FirstLine(const RigorousSetting& setting) {
  const std::string name = std::string(setting.szName) + " (rigorous)";
  return fmt::format("{:<42} {}", name, PlainText(setting.szMeaning));
}

template <typename Row>
void PrintRows(std::span<const Row> table, bool markdown, std::FILE* out) {
  for (const Row& row : table)
    std::fprintf(out, "%s\n", (markdown ? MarkdownRowOf(row) : FirstLine(row)).c_str());
}

/// A table of the documentation holds the settings of one kind.
int List(const SettingsArguments& arguments, const FrontEnd& frontEnd) {
  const bool markdown = arguments.bMarkdown, rigorous = arguments.IsRigorous();
  if (!rigorous) PrintRows(SettingsTable(), markdown, frontEnd.fOut);
  if (rigorous || !markdown) PrintRows(RigorousTable(), markdown, frontEnd.fOut);
  return ExitDone;
}

int Explain(const std::string& key, const FrontEnd& frontEnd) {
  const NamedSetting named = FindSetting(key);
  if (named.pSetting != nullptr) {
    std::fputs(ExplanationOf(*named.pSetting).c_str(), frontEnd.fOut);
    return ExitDone;
  }
  if (const RigorousSetting* setting = FindRigorousSetting(key)) {
    std::fputs(ExplanationOf(*setting).c_str(), frontEnd.fOut);
    return ExitDone;
  }
  std::fprintf(frontEnd.fErr, "orvo settings: there is no setting '%s': %s\n", PrintableName(key).c_str(),
               HintForName(key).c_str());
  return ExitUsage;
}

std::vector<std::string> HeadOf(const SettingsArguments& arguments, const SettingPreset& preset,
                                const std::optional<BlockFacts>& facts) {
  std::vector<std::string> head;
  if (arguments.szFrom.empty()) {
    head.push_back(
        fmt::format("Settings of orvo {}, preset {}: {}", ProgramVersion(), preset.szName, preset.szFor));
  } else {
    head.push_back(
        fmt::format("Settings of orvo {}, from {}", ProgramVersion(), PrintableName(arguments.szFrom)));
  }
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
                                    paths.szPos, arguments.szFrom};
    std::erase(inputs, std::string());
    exchange::WholeFiles files(exchange::WholeFiles::FolderOf(arguments.szOut), std::move(inputs));
    const std::string name = arguments.szOut.substr(arguments.szOut.find_last_of('/') + 1);
    files.Write(name, [&](TextWriter& file) { file.Write(text); });
    files.Commit();
  });
}

/// The settings of a file, in place of those of a preset. False where it is not sound, which is told.
bool ReadFrom(const std::string& path, const FrontEnd& frontEnd, ChosenSettings& chosen,
              ChosenRigorous& rigorous) {
  std::vector<Finding> findings = CheckSettings(path, KnownSettings());
  const RigorousReading reading = ReadRigorousSettings(path);
  if (!HasError(findings)) Append(findings, reading.Findings);
  for (const Finding& one : findings) {
    if (one.Weight == Severity::Error) std::fprintf(frontEnd.fErr, "%s\n", TextOf(one).c_str());
  }
  if (HasError(findings)) {
    std::fputs("orvo settings: nothing was written, for the settings are not sound\n", frontEnd.fErr);
    return false;
  }
  InputFiles inputs;
  chosen = {};
  ReadSettingsFile(path, inputs, chosen.Settings);
  rigorous = {reading.Settings, {}};
  return true;
}

/// False where a run would refuse the block, which is told. Without a project there are no facts.
bool ReadFacts(const SettingsArguments& arguments, const AdjustmentSettings& settings,
               const FrontEnd& frontEnd, std::optional<BlockFacts>& facts) {
  if (arguments.Paths.szProject.empty()) return true;
  Diagnosis diagnosis;
  facts = ReadBlockFacts(arguments.Paths, settings, frontEnd.System, diagnosis);
  for (const std::string& line : LinesOf(diagnosis, Severity::Error))
    std::fprintf(frontEnd.fErr, "%s\n", line.c_str());
  if (!facts) std::fputs("orvo settings: nothing was written, for the block is not sound\n", frontEnd.fErr);
  return facts.has_value();
}

int RunSettings(const SettingsArguments& arguments, const FrontEnd& frontEnd) {
  if (arguments.bList) return List(arguments, frontEnd);
  if (!arguments.szKey.empty()) return Explain(arguments.szKey, frontEnd);
  const SettingPreset& preset = *FindPreset(arguments.szPreset);
  const StatedSigmas sigmas = SigmasOf(arguments);
  const bool fromFile = !arguments.szFrom.empty();
  ChosenSettings chosen = SettingsFor(preset, std::nullopt, sigmas);
  ChosenRigorous rigorous = RigorousFor(preset);
  if (fromFile && !ReadFrom(arguments.szFrom, frontEnd, chosen, rigorous)) return ExitFailed;
  std::optional<BlockFacts> facts;
  if (!ReadFacts(arguments, chosen.Settings, frontEnd, facts)) return ExitFailed;
  if (!fromFile) chosen = SettingsFor(preset, facts, sigmas);
  for (const std::string& note : chosen.Notes)
    std::fprintf(frontEnd.fErr, "orvo settings: note: %s.\n", PrintableName(note).c_str());
  std::string text = SettingsFileText(chosen, HeadOf(arguments, preset, facts));
  if (arguments.IsRigorous()) {
    State(sigmas, rigorous);
    if (facts)
      TellWeightSigmas(SigmasOfWeights(chosen.Settings, *facts, rigorous.Settings.Sigma_Image), rigorous);
    text += RigorousSectionText(rigorous);
  }
  return Write(arguments, text, frontEnd);
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

void AddMethod(CLI::App& app, SettingsArguments& arguments, CLI::Option* preset) {
  CLI::Option* method = app.add_option("--method", arguments.szMethod,
                                       "with the settings of this method of adjustment: standard deviations "
                                       "that are stated go there as they are [those that all methods have]")
                            ->type_name("NAME")
                            ->check(CLI::IsMember({"rigorous"}));
  app.add_option(
         "--from", arguments.szFrom,
         "settings file to start from, in place of a preset; with --for, what its weights stand for is "
         "told beside the standard deviations")
      ->type_name("FILE")
      ->needs(method)
      ->excludes(preset);
}

}  // namespace

std::function<int()> AddSettings(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<SettingsArguments>();
  RunPaths& paths = arguments->Paths;
  std::vector<std::string> presets;
  for (const SettingPreset& preset : SettingPresets()) presets.emplace_back(preset.szName);
  CLI::Option* preset = app.add_option("--preset", arguments->szPreset, "settings to start from, see below")
                            ->capture_default_str()
                            ->type_name("NAME")
                            ->check(CLI::IsMember(presets));
  AddMethod(app, *arguments, preset);
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
