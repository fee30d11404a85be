// orvo adjust: one run, refused before it starts where it cannot work.
#include <filesystem>
#include <memory>
#include <optional>

#include "base/InputFile.h"
#include "base/OutputNames.h"
#include "base/PrintableName.h"
#include "block/ProjectForm.h"
#include "gpu/DeviceRules.h"
#include "gpu/kernels/literal/LiteralKernels.h"
#include "orvo/AdjustTalk.h"
#include "orvo/Command.h"
#include "orvo/MemorySize.h"
#include "orvo/ReportOptions.h"
#include "orvo/RunInputs.h"
#include "orvo/SettingOptions.h"
#include "report/tables/PointTables.h"
#include "settings/SettingRanges.h"

namespace orvo {
namespace {

struct AdjustArguments {
  RunPaths Paths;
  int nProcessors = 0;   ///< 0: what the machine has
  std::string szMemory;  ///< empty: what the machine has
  std::string szMethod;
  std::string szDevice;
  std::string szKernels;
  std::string szResiduals = "last";
  std::string szDeviceMemory;         ///< empty: what the device has
  bool bIgnoreUnused = false;         ///< POS data and the settings need not agree
  bool bNoCheck = false;              ///< the files are not read for it beforehand
  std::vector<std::string> Settings;  ///< KEY=VALUE, checked
  bool bStrict = false;               ///< a doubtful result is no success either
  TalkManner Manner;
  ReportChoice Report;
};

AdjustMethod MethodOf(const AdjustArguments& arguments) {
  return arguments.szMethod == "rigorous" ? AdjustMethod::Rigorous : AdjustMethod::Classic;
}

/// What keeps the run from working, and the remedy; empty when nothing does.
std::string FindObstacle(const RunPaths& paths) {
  struct Input {
    const std::string& szPath;
    const char* szWhat;
    const InputUse& Use;
  };
  const Input files[] = {{paths.szProject, "project", kReadAgain},
                         {paths.szGcp, "GCP file", kReadAgain},
                         {paths.szPos, "POS file", kReadOnce},
                         {paths.szSettings, "settings file", kReadAsSettings}};
  if (paths.szProject.empty()) return "the project has no name: give the path of a project";
  for (const auto& [path, what, use] : files) {
    if (path.empty()) continue;
    if (const std::string reason = FindReadingObstacle(path, use); !reason.empty()) {
      return std::string("the ") + what + " " + PrintableName(path) +
             " can't be read: check its path and permissions (" + reason + ")";
    }
  }
  const std::string ovt = OvtPathOfProject(paths.szProject);
  if (ovt.empty()) return {};
  if (const std::string reason = FindReadingObstacle(ovt, kReadAgain); !reason.empty()) {
    return "the tie points " + PrintableName(ovt) + " of " + PrintableName(paths.szProject) +
           " can't be read: an .ovc project needs its .ovt file beside it (" + reason + ")";
  }
  return {};
}

/// Makes the folder with its parents; false when it can't be written to in the end.
bool MakeOutputFolder(const std::string& path, const Platform& platform) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  return platform.FolderIsWritable(path);
}

/// Settings as ChooseSettings finds them; tells which.
std::string TellSettings(const RunPaths& paths, const FrontEnd& frontEnd, AdjustTalk& talk) {
  std::string chosen = ChooseSettings(paths, frontEnd);
  talk.Say(chosen.empty()
               ? std::string("Settings: built-in defaults, as neither the project nor the program has an "
                             "AdjPara.xml or AdjPara.ini beside it\n")
               : "Settings: " + PrintableName(chosen) + "\n");
  return chosen;
}

void TellRemarks(const AdjustArguments& arguments, AdjustTalk& talk) {
  const bool rigorous = MethodOf(arguments) == AdjustMethod::Rigorous;
  for (const std::string& remark : RemarksOn(arguments.Settings, rigorous))
    talk.TellTrouble("orvo adjust: " + PrintableName(remark) + ".");
}

/// Every error in a line of its own.
int FailWith(AdjustTalk& talk, const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    if (finding.Weight == Severity::Error) talk.TellFinding(finding);
  }
  return talk.Fail("nothing was computed, for the input is not sound");
}

/// Reads the whole block before the run does. True where nothing keeps it from being adjusted; else what does
/// is told.
bool BlockIsSound(const RunPaths& paths, const RunOptions& options, const FrontEnd& frontEnd,
                  AdjustTalk& talk) {
  Diagnosis diagnosis;
  frontEnd.Diagnose(paths, DiagnosisScope::BeforeRun, frontEnd.System, diagnosis, options.Overrides);
  if (diagnosis.ErrorNum() == 0) return true;
  for (const std::string& line : LinesOf(diagnosis, Severity::Error)) talk.TellTrouble(line);
  return false;
}

DeviceChoice ChoiceOf(const std::string& device) {
  if (device == "cpu") return DeviceChoice::Cpu;
  if (device == "cuda") return DeviceChoice::Cuda;
  return device == "host" ? DeviceChoice::Host : DeviceChoice::FromSettings;
}

ResidualExtent ResidualsOf(const std::string& residuals) {
  if (residuals == "all") return ResidualExtent::All;
  return residuals == "none" ? ResidualExtent::None : ResidualExtent::Last;
}

RunOptions OptionsOf(const AdjustArguments& arguments) {
  RunOptions options;
  options.Rules = RunRules::Guarded;
  options.bAllProcessors = true;
  options.Residuals = ResidualsOf(arguments.szResiduals);
  options.bStrict = arguments.bStrict;
  options.Report = arguments.Report;
  options.Method = MethodOf(arguments);
  options.At = ChoiceOf(arguments.szDevice);
  if (arguments.szKernels == "literal") options.Kernels = gpu::KernelForm::Literal;
  options.nDeviceMemory = ParseMemorySize(arguments.szDeviceMemory).value_or(0);
  options.Overrides = OverridesOf(arguments.Settings);
  options.RigorousOverrides = RigorousOverridesOf(arguments.Settings);
  return options;
}

/// Why the device that was asked for can't be used, and the remedy; empty where it can.
std::string FindDeviceObstacle(DeviceChoice choice, gpu::Device* device) {
  const std::string remedy = "; leave --device away, or use --device cpu or host";
  if (device == nullptr) return "this version was built without CUDA" + remedy;
  const bool host = choice == DeviceChoice::Host;
  switch (gpu::FindDeviceLack(*device)) {
    case gpu::DeviceLack::None:
      break;
    case gpu::DeviceLack::NoDevice:
      return "there is no CUDA device, or its driver does not answer" + remedy;
    case gpu::DeviceLack::TooSmall:
      return host ? "--device host needs 1 GB of free memory: free some, or use --device cpu"
                  : "no CUDA device here has 1 GB of memory, 48 KB of shared memory and 49152 registers a "
                    "block" +
                        remedy;
    case gpu::DeviceLack::Watchdog:
      return "the CUDA device has a watchdog that ends long kernels: switch it off" + remedy;
  }
  return {};
}

/// What was asked for besides the report, by its names.
std::string TablesOf(const ReportChoice& choice) {
  std::string names;
  const auto add = [&](const char* name) { names += (names.empty() ? "" : ", ") + std::string(name); };
  if (choice.Tables.bResiduals) add(report::kResidualsName);
  if (choice.Tables.bPoints) {
    add(report::kPointsName);
    add(report::kCloudName);
  }
  return names;
}

/// The page of a run that gave no result; an earlier one may lie in its place.
class FailurePage {
 public:
  explicit FailurePage(const std::string& output)
      : szPath(JoinPath(JoinPath(output, kFailedFolder), kReportPageName)), Before(Time()) {}

  /// Tells where it is, if it is new.
  void Tell(AdjustTalk& talk) const {
    const auto now = Time();
    if (now && now != Before) talk.Say("Report: " + PrintableName(szPath) + "\n");
  }

 private:
  std::optional<std::filesystem::file_time_type> Time() const {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(szPath, error);
    return error ? std::nullopt : std::optional(time);
  }

  std::string szPath;
  std::optional<std::filesystem::file_time_type> Before;
};

/// The end of a run that came to its end: report, verdict, exit code.
int TellVerdict(const RunOutcome& outcome, const AdjustArguments& arguments, const std::string& output,
                AdjustTalk& talk) {
  const bool kept = FateOf(RunRules::Guarded, outcome, arguments.bStrict) == OutputFate::Replace;
  const std::string folder = kept ? output : JoinPath(output, kUnusableFolder);
  const bool page = arguments.Report.bPage && !arguments.Manner.bLog;
  talk.TellResult(outcome.Judgement, JoinPath(folder, page ? kReportPageName : "OrvoAdjustReport.txt"),
                  arguments.Manner.bLog ? "" : TablesOf(arguments.Report));
  if (!outcome.Judgement.bJudged || kept) return ExitDone;
  talk.Say("The files of this run are in " + PrintableName(folder) + "; earlier results are as they were.\n");
  return ExitUnusable;
}

/// What a run that failed with several CUDA devices at hand lacks; empty for all others.
std::string RemedyForDevices(int devices) {
  if (devices < 2) return {};
  return "; there are " + std::to_string(devices) +
         " CUDA devices here, and a run takes one: choose it by CUDA_VISIBLE_DEVICES=0 in the "
         "environment, or use --device cpu";
}

/// What became of the run: told, and as an exit code.
int TellOutcome(const RunOutcome& outcome, const AdjustArguments& arguments, const std::string& output,
                AdjustTalk& talk) {
  if (!outcome.szFault.empty()) return talk.Fail(outcome.szFault);
  if (!outcome.Refusals.empty()) return FailWith(talk, outcome.Refusals);
  if (!outcome.bDone) {
    talk.TellLastMessages();
    talk.TellReasons(outcome.Judgement);
    return talk.Fail("the run failed: its last messages, also in " + JoinPath(output, "log.txt") +
                     ", say why" + RemedyForDevices(outcome.nDeviceNum));
  }
  if (outcome.nOutputFailureNum > 0) {
    return talk.Fail(std::to_string(outcome.nOutputFailureNum) + " output files in " + output +
                     " are missing or cut short: is the disk full?");
  }
  return TellVerdict(outcome, arguments, output, talk);
}

int RunAdjust(const AdjustArguments& arguments, const FrontEnd& frontEnd, AdjustTalk& talk) {
  RunPaths paths = arguments.Paths;
  if (const std::string obstacle = FindObstacle(paths); !obstacle.empty()) return talk.Fail(obstacle);
  RunOptions options = OptionsOf(arguments);
  options.pObserver = talk.Observer();
  Platform platform = frontEnd.System;
  if (arguments.nProcessors > 0) platform.ProcessorCount = [n = arguments.nProcessors] { return n; };
  options.MakeDevice = frontEnd.MakeDevice;
  if (!options.MakeDevice) {
    options.MakeDevice = [at = options.At, platform] {
      return MakeDeviceOf(at, platform, gpu::kLiteralKernels);
    };
  }
  const bool onDevice = options.At == DeviceChoice::Cuda || options.At == DeviceChoice::Host;
  if (onDevice && options.Method == AdjustMethod::Rigorous)
    return talk.Fail("the rigorous method computes on the processor: leave --device away");
  if (onDevice) {
    const std::string obstacle = FindDeviceObstacle(options.At, options.MakeDevice().get());
    if (!obstacle.empty()) return talk.Fail(obstacle);
  }
  paths.szSettings = TellSettings(paths, frontEnd, talk);
  TellRemarks(arguments, talk);
  options.Notes = frontEnd.Check(paths, arguments.bIgnoreUnused, options.Overrides);
  if (HasError(options.Notes)) return FailWith(talk, options.Notes);
  if (!arguments.bNoCheck && !BlockIsSound(paths, options, frontEnd, talk)) return FailWith(talk, {});
  if (paths.szOutput.empty()) paths.szOutput = JoinPath(FolderOf(paths.szProject), "OrvoBundleResult");
  if (!MakeOutputFolder(paths.szOutput, frontEnd.System)) {
    return talk.Fail("the output folder " + paths.szOutput +
                     " can't be made or written to: name another one with --out");
  }

  if (const auto bytes = ParseMemorySize(arguments.szMemory)) {
    platform.FreePhysicalBytes = [n = *bytes] { return n; };
  }
  const std::string output = paths.szOutput;
  const FailurePage failurePage(output);
  const RunOutcome outcome = frontEnd.Adjust(std::move(paths), platform, talk.Console(), options);
  std::fflush(frontEnd.fOut);
  const int code = TellOutcome(outcome, arguments, output, talk);
  if (code == ExitFailed && !arguments.Manner.bLog) failurePage.Tell(talk);
  return code;
}

std::string CheckMemorySize(const std::string& text) {
  if (ParseMemorySize(text)) return {};
  return "'" + text +
         "' is no amount of memory: write bytes, or a number with K, M, G or T, such as 200K or 1.5G";
}

void AddManner(CLI::App& app, TalkManner& manner) {
  CLI::Option* log = app.add_flag(
      "--log", manner.bLog, "the system's messages on standard output, as in log.txt, instead of the tables");
  app.add_flag("--quiet", manner.bQuiet, "nothing on standard output: findings only, on standard error")
      ->excludes(log);
  app.add_option(
         "--progress", manner.szProgress,
         "on standard error: bar, a line that is rewritten; json, a line of JSON an event; none [auto: "
         "bar on a terminal, without --log and --quiet]")
      ->type_name("FORM")
      ->check(CLI::IsMember({"auto", "bar", "json", "none"}));
}

}  // namespace

std::function<int()> AddAdjust(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<AdjustArguments>();
  RunPaths& paths = arguments->Paths;
  app.add_option("PROJECT", paths.szProject, "text project, or an .ovc file with its .ovt beside it")
      ->required();
  app.add_option("--gcp", paths.szGcp, "control and check points")->type_name("FILE");
  app.add_option("--pos", paths.szPos,
                 "GPS/IMU records, used as Apply_GPS_Data and Apply_IMU_Data in the settings say")
      ->type_name("FILE");
  app.add_option(
         "--settings", paths.szSettings,
         "settings, .xml or .ini [AdjPara.xml or AdjPara.ini beside the project, else beside the program]")
      ->type_name("FILE");
  app.add_option("--method", arguments->szMethod,
                 "classic, or rigorous: least squares of all observations by their standard deviations, to "
                 "the end, without gross ones [classic]")
      ->type_name("METHOD")
      ->check(CLI::IsMember({"classic", "rigorous"}));
  AddSettingOverrides(app, arguments->Settings);
  app.add_flag("--ignore-unused", arguments->bIgnoreUnused,
               "adjust also where a POS file is named and not used, or used and not named");
  app.add_flag("--no-check", arguments->bNoCheck,
               "leave out the reading of the whole block before the run; see orvo check");
  app.add_option("--out", paths.szOutput, "output folder [OrvoBundleResult beside the project]")
      ->type_name("DIR");
  app.add_option(
         "--residuals", arguments->szResiduals,
         "iterations that leave a file with the residuals of all measurements: last, all, none [last]")
      ->type_name("WHICH")
      ->check(CLI::IsMember({"last", "all", "none"}));
  app.add_option("--processors", arguments->nProcessors, "processors to count on")
      ->type_name("N")
      ->check(CLI::Range(1, 4096));
  app.add_option("--memory", arguments->szMemory, "free memory to count on: bytes, or with K, M, G, T")
      ->type_name("SIZE")
      ->check(CLI::Validator(CheckMemorySize, "", "memory size"));
  app.add_option("--device", arguments->szDevice,
                 "cpu, cuda, or host: the device path on the processor [as Apply_GPU in the settings says]")
      ->type_name("DEVICE")
      ->check(CLI::IsMember({"cpu", "cuda", "host"}));
  app.add_option("--kernels", arguments->szKernels,
                 "form of the kernels on a device: fast, or literal, slow and for comparison [fast]")
      ->type_name("FORM")
      ->check(CLI::IsMember({"fast", "literal"}));
  app.add_option("--device-memory", arguments->szDeviceMemory,
                 "device memory to plan for at most: bytes, or with K, M, G, T")
      ->type_name("SIZE")
      ->check(CLI::Validator(CheckMemorySize, "", "memory size"));
  app.add_flag("--strict", arguments->bStrict, "exit with 3 when the verdict is doubtful, too");
  AddReportOptions(app, arguments->Report);
  AddManner(app, arguments->Manner);
  return [arguments, &frontEnd] {
    arguments->Manner.bControl = !arguments->Paths.szGcp.empty();
    AdjustTalk talk(arguments->Manner, frontEnd);
    return talk.End(RunAdjust(*arguments, frontEnd, talk));
  };
}

}  // namespace orvo
