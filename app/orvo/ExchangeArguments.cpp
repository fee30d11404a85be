#include "orvo/ExchangeArguments.h"

#include <algorithm>
#include <filesystem>
#include <new>

#include "base/MemoryPurpose.h"
#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/survey/DelimitedTable.h"

namespace orvo {
namespace {

/// A range of CLI11 lets pass what compares with nothing.
std::string CheckAboveZero(const std::string& text) {
  const auto value = exchange::NumberIn(text);
  return value && *value > 0 ? std::string() : text + " is no finite number above 0";
}

}  // namespace

namespace {

std::string FaultOfOrigin(const std::string& text) {
  std::vector<std::string> fields;
  const bool good = exchange::SplitFields(text, ',', fields) && (fields.size() == 2 || fields.size() == 3) &&
                    std::ranges::all_of(fields, [](const std::string& field) {
                      return exchange::NumberIn(field).has_value();
                    });
  return good ? ""
              : "'" + PrintableName(text) +
                    "' is no origin: write LATITUDE,LONGITUDE or "
                    "LATITUDE,LONGITUDE,HEIGHT";
}

/// Only what can be no vertical system is told here: whether a system exists is for PROJ to say.
std::string FaultOfHeight(const std::string& text) {
  const bool kind = text == "none" || text.starts_with("ellipsoidal");
  if (kind || text.find_first_of(":[+= 0123456789") != std::string::npos) return "";
  return "'" + PrintableName(text) +
         "' is no kind of height: say ellipsoidal, ellipsoidal:m, "
         "ellipsoidal:ft, ellipsoidal:us-ft, none, or a vertical system such as EPSG:5773";
}

}  // namespace

bool CanImport(const exchange::Form& form) { return form.ReadModel != nullptr || form.Import != nullptr; }
bool CanExport(const exchange::Form& form) { return form.WriteModel != nullptr || form.Export != nullptr; }

std::vector<std::string> NamesOfForms(bool (*fits)(const exchange::Form& form)) {
  std::vector<std::string> names;
  for (const exchange::Form& form : exchange::Forms()) {
    if (fits(form)) names.emplace_back(form.szName);
  }
  return names;
}

std::string HelpOfForms(bool (*fits)(const exchange::Form& form), const char* exchange::Form::*text) {
  std::string help = "Forms:";
  for (const exchange::Form& form : exchange::Forms()) {
    if (fits(form)) help += std::string("\n  ") + form.szName + ": " + form.*text;
  }
  return help;
}

void AddImportOptions(CLI::App& app, ImportArguments& arguments) {
  exchange::ImportOptions& options = arguments.Options;
  app.add_option("--distortion", arguments.szDistortion,
                 "correct: measurements are freed of the distortion; fit: f, k1, k2 that come nearest; drop "
                 "[fit where it leaves less than 0.01 px, else correct]")
      ->type_name("MODE")
      ->check(CLI::IsMember({"correct", "fit", "drop"}));
  app.add_option("--fit-limit", options.dFitLimit, "pixels that a fit may leave anywhere in the image")
      ->capture_default_str()
      ->type_name("PX")
      ->check(CLI::Validator(CheckAboveZero, "", "above zero"));
  app.add_option("--images", options.szImages, "list of image names, a line each, for forms without names")
      ->type_name("FILE");
  app.add_option("--tracks", options.szTracks, "tracks.csv, where it does not lie beside the source")
      ->type_name("FILE");
  app.add_option("--project", options.szProject, "project whose images the names belong to")
      ->type_name("FILE");
  app.add_option("--crs", options.szCrs, "coordinate system of the source, such as EPSG:25832+7837")
      ->type_name("CRS");
  app.add_option("--frame", arguments.szFrame, "frame of the block: topocentric, projected or as-is")
      ->type_name("FRAME")
      ->check(CLI::IsMember({"topocentric", "projected", "as-is"}));
  app.add_option("--height", options.szHeight, "what heights are, where the coordinate system has none")
      ->type_name("KIND")
      ->check(CLI::Validator(FaultOfHeight, ""));
  app.add_option("--origin", options.szOrigin, "origin of a topocentric frame [the middle of the block]")
      ->type_name("LAT,LON[,H]")
      ->check(CLI::Validator(FaultOfOrigin, ""));
  app.add_option("--check", options.CheckPoints, "names of points that become check points, by commas")
      ->delimiter(',')
      ->type_name("NAME,...");
  app.add_option("--check-prefix", options.szCheckPrefix, "points whose names begin so become check points")
      ->type_name("TEXT");
  app.add_option("--angles", options.szAngles, "convention of the angles in the source")
      ->type_name("KIND")
      ->check(CLI::IsMember({"orvo", "standard", "body", "gimbal"}));
}

void AddExportOptions(CLI::App& app, ExportArguments& arguments) {
  exchange::ExportOptions& options = arguments.Options;
  app.add_option("--camera", arguments.szCamera,
                 "camera of an exported model: original, refit (one camera for the whole way), pinhole (with "
                 "corrected measurements) [the first of these that is good]")
      ->type_name("CAMERA")
      ->check(CLI::IsMember({"automatic", "original", "refit", "pinhole"}));
  app.add_flag("--text", options.bText, "text files, where a form has both");
  app.add_option("--to-crs", options.szCrs, "coordinate system of what is written")->type_name("CRS");
  app.add_option("--block-crs", options.szBlockCrs,
                 "coordinate system that the block is in, where its sidecar does not tell")
      ->type_name("CRS");
  app.add_option("--pixel-size", options.dPixelSize, "micrometres of a pixel, for lengths in millimetres")
      ->type_name("UM")
      ->check(CLI::Validator(CheckAboveZero, "", "above zero"));
}

exchange::ImportOptions OptionsOf(const ImportArguments& arguments) {
  exchange::ImportOptions options = arguments.Options;
  options.Distortion = exchange::DistortionModeOf(arguments.szDistortion);
  options.Frame = exchange::FrameKindOf(arguments.szFrame);
  return options;
}

exchange::ExportOptions OptionsOf(const ExportArguments& arguments) {
  exchange::ExportOptions options = arguments.Options;
  if (const auto camera = exchange::CameraChoiceOf(arguments.szCamera)) options.Camera = *camera;
  return options;
}

int RunExchange(const char* command, const FrontEnd& frontEnd,
                const std::function<void(exchange::ExchangeLog& log)>& work) {
  exchange::ExchangeLog log(frontEnd.fOut, frontEnd.fErr);
  const AnswersLackOfMemory answers;
  try {
    work(log);
    return ExitDone;
  } catch (const exchange::ExchangeFault& fault) {
    log.Tell(fault.What);
  } catch (const std::filesystem::filesystem_error& error) {
    log.Tell({Severity::Error, error.path1().string(), 0, -1, error.code().message(), ""});
  } catch (const std::bad_alloc&) {
    log.Tell({Severity::Error, "", 0, -1, "there is not enough memory", "Use a machine with more"});
  }
  std::fprintf(frontEnd.fErr, "orvo %s: nothing was written\n", command);
  return ExitFailed;
}

}  // namespace orvo
