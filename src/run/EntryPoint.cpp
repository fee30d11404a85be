#include "run/EntryPoint.h"

#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "gpu/GpuState.h"
#include "run/BundleAdjustment.h"
#include "run/InputGate.h"
#include "run/RigorousFlow.h"
#include "run/RigorousInputs.h"
#include "run/RunCourse.h"
#include "run/RunOutput.h"
#include "run/RunVerdict.h"
#include "run/RunWatch.h"
#include "run/SettingsReading.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

bool IsSettingsFile(const std::string& path) {
  const std::string extension = TextFromLastDot(path);
  return extension == ".xml" || extension == ".XML" || extension == ".ini";
}

}  // namespace

std::string FindDefaultSettings(const std::string& program, std::FILE* console) {
  const std::string folder = CutAtLastSeparator(program);
  std::string xml = JoinPath(folder, "AdjPara.xml");
  // Where the system can't tell, opening the file does.
  if (!IsMissing(xml)) return xml;
  std::string ini = JoinPath(folder, "AdjPara.ini");
  if (console != nullptr) {
    std::fprintf(console, "Xml setting file does not exsit:%s\n", PrintableName(xml).c_str());
    std::fprintf(console, "Read default setting file:%s\n", PrintableName(ini).c_str());
  }
  return ini;
}

std::unique_ptr<gpu::Device> MakeDeviceOf(DeviceChoice choice, const Platform& platform,
                                          gpu::LiteralKernels literal) {
  if (choice == DeviceChoice::Cpu) return nullptr;
  if (choice != DeviceChoice::Host) return gpu::MakeCudaDevice(literal);
  // A bound on the memory for points says nothing about the device.
  return gpu::MakeHostDevice(NativePlatform().FreePhysicalBytes(), platform.ProcessorCount(), literal);
}

OutputFate FateOf(RunRules rules, const RunOutcome& outcome, bool strict) {
  // A classic run that ends early leaves what it has written until then, as it always did.
  if (rules == RunRules::Classic) {
    if (!outcome.szFault.empty()) return OutputFate::Discard;
    return outcome.bDone ? OutputFate::Replace : OutputFate::Add;
  }
  if (!outcome.szFault.empty() || !outcome.bDone || outcome.nOutputFailureNum > 0) return OutputFate::Failed;
  const Grade limit = strict ? Grade::Doubtful : Grade::Unusable;
  return outcome.Judgement.Result >= limit ? OutputFate::Unusable : OutputFate::Replace;
}

namespace {

/// Files that were named are there; one that goes away is a fault.
void ExpectInputs(const RunPaths& paths, InputFiles& inputs) {
  for (const std::string& path : {paths.szProject, paths.szGcp, paths.szPos, paths.szSettings}) {
    if (!path.empty()) inputs.Expect(path);
  }
}

/// The object of one run, from its output folder to its outcome.
class OneRun {
 public:
  OneRun(const Platform& platform, std::FILE* console, const RunOptions& options)
      : Block(platform, console), Options(options) {}

  /// Takes the output folder; empty, or why the run is refused.
  std::string Begin(RunPaths& paths);
  /// The CPU or the device flow, as settings and options say.
  void Flow(RunPaths& paths, const Platform& platform);
  RunOutcome Outcome();

  CBundleAdjustment Block;

 private:
  const RunOptions& Options;
};

std::string OneRun::Begin(RunPaths& paths) {
  if (Options.Rules == RunRules::Guarded) {
    ExpectInputs(paths, Block.Inputs);
    Block.pTrack = std::make_unique<RunTrack>();
    Block.pWatch = std::make_unique<RunWatch>(Block.System.TickMilliseconds, Options, paths);
    RunCourse(Block).Begin();
    Block.Guard.OnNote = [this](const Finding& note) { Block.pWatch->Found(note); };
  }
  const bool folderIsThere = Block.SetOutputPath(paths.szProject, paths.szOutput) == 1;
  std::string refusal = BeginOutput(Block.Outputs.Folder, Block.Paths.szOutputPath, paths, folderIsThere);
  if (!refusal.empty() && Options.Rules == RunRules::Classic) {
    Block.Log.PrintToConsole("Error!Run refused: %s!\n", refusal.c_str());
  }
  return refusal;
}

void OneRun::Flow(RunPaths& paths, const Platform& platform) {
  Block.Limits.Residuals = Options.Residuals;
  if (Options.Method == AdjustMethod::Rigorous) {
    if (!TakeRigorousSettings(Block, paths.szSettings, Options.RigorousOverrides)) return;
    RunRigorousAdjustment(Block, paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
    return;
  }
  Block.Limits.bAllProcessors = Options.bAllProcessors;
  if (Options.At != DeviceChoice::FromSettings) Block.SetApplyGpu(Options.At != DeviceChoice::Cpu);
  if (Block.Limits.Apply_GPU) {
    gpu::GpuState& state = Block.Gpu();
    state.pDevice = Options.MakeDevice ? Options.MakeDevice() : MakeDeviceOf(Options.At, platform);
    state.Form = Options.Kernels;
    state.nDeviceMemory = Options.nDeviceMemory;
  }
  if (Block.Limits.Apply_GPU && Block.DetectCudaDevices() != 0) {
    Block.Limits.Apply_PCG_Model = true;
    Block.Limits.Coor_Normalization = true;
    Block.Limits.Max_PCG_Iteration_Num = 2;
    Block.RunGpuAdjustment(paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
    return;
  }
  if (Block.Limits.Apply_GPU) {
    Block.LogPrintf(">>There is no device supporting CUDA, shift to CPU mode.\n");
    Block.SetApplyGpu(false);
  }
  Block.RunCpuAdjustment(paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
}

RunOutcome OneRun::Outcome() {
  RunOutcome outcome;
  outcome.bDone = Block.Outputs.bOutputsWritten;
  outcome.nOutputFailureNum = Block.Outputs.nOutputFailureNum;
  outcome.szOutputPath = Block.Paths.szOutputPath;
  // None is named before points were divided.
  const gpu::GpuState& state = Block.Gpu();
  if (!state.vEnabledDevices.empty()) outcome.nDeviceNum = state.nEnabledDeviceNum;
  outcome.Refusals = Block.Guard.Refusals;
  outcome.Notes = Block.Guard.Notes;
  if (Block.Inputs.Any()) {
    outcome.bDone = false;
    outcome.szFault = FaultText(Block.Inputs.First());
  }
  if (!outcome.bDone) {
    RunVerdict(Block).JudgeFailure();
    RunCourse(Block).ReportFailure(outcome);
  }
  if (Block.pTrack) outcome.Judgement = std::move(Block.pTrack->Judgement);
  EndOutput(Block.Outputs.Folder, Block.Log, Options, outcome);
  RunCourse(Block).End();
  return outcome;
}

}  // namespace

RunOutcome RunAdjustment(RunPaths paths, const Platform& platform, std::FILE* console,
                         const RunOptions& options) {
  OneRun run(platform, console, options);
  CBundleAdjustment& block = run.Block;
  if (const std::string refusal = run.Begin(paths); !refusal.empty()) {
    RunOutcome outcome;
    outcome.szOutputPath = block.Paths.szOutputPath;
    outcome.szFault = refusal;
    return outcome;
  }
  std::string logPath;
  block.OpenLogFile(logPath);
  const double start = block.System.TickMilliseconds();
  block.Chosen.Method = options.Method;
  block.Guard.bGuarded = options.Rules == RunRules::Guarded;
  for (const Finding& note : options.Notes) TellNote(note, block.Guard, block.Log);
  block.ReadSettings(paths.szSettings);
  OverrideSettings(block, options.Overrides);
  if (block.CheckInputs() == 1) run.Flow(paths, platform);
  block.CheckInputs();
  RunOutcome outcome = run.Outcome();
  const double end = block.System.TickMilliseconds();
  block.LogPrintf(">>Elapsed time:%lfs\n", (end - start) / 1000.0);
  block.CloseLogFile();
  return outcome;
}

namespace {

constexpr std::string_view kClassicHelp =
    R"(Usage: orvo_adjust [SETTINGS] PROJECT [GCP [POS [OUTPUT]]]

Adjusts a block. The places of the arguments tell them apart; an empty one ("") stands for none.

  SETTINGS  settings, known by their end: .xml, .XML or .ini. Without it: AdjPara.xml, or else AdjPara.ini,
            in the folder that the path of the program names
  PROJECT   text project, or an .ovc file with its .ovt beside it
  GCP       control and check points
  POS       GPS/IMU records, used as Apply_GPS_Data and Apply_IMU_Data in the settings say
  OUTPUT    output folder, whose parent has to be there. Without it: OrvoBundleResult beside the project

The first argument needs a dot in it. What comes behind OUTPUT is not read. The exit code is 0 whatever
becomes of the run: its messages, also in log.txt in the output folder, tell.

  -h, --help  print this and end

orvo adjust does the same with options, refuses broken files, and says what the result is worth.
)";

}  // namespace

std::string_view ClassicHelp() { return kClassicHelp; }

int ClassicMain(int argc, const char* const* argv, const Platform& platform, std::FILE* console) {
  if (argc < 2) {
    std::fprintf(console, "Command line invalid!\n");
    std::fprintf(
        console,
        "[*Exe Path] [*Project File Path] [GCP File Path] [Output Path] [Adjustment Mode:0, 1, 2]\n");
    return 0;
  }
  const auto argument = [&](int index) { return index < argc ? std::string(argv[index]) : std::string(); };
  const std::string first = argument(1);
  if (first == "--help" || first == "-h") {
    std::fwrite(kClassicHelp.data(), 1, kClassicHelp.size(), console);
    return 0;
  }
  if (first.find('.') == std::string::npos) {
    std::fprintf(console, "Invalid command line parameters!\n");
    return 0;
  }
  RunPaths paths;
  int next = 1;
  if (IsSettingsFile(first)) {
    paths.szSettings = first;
    next = 2;
  } else {
    paths.szSettings = FindDefaultSettings(argument(0), console);
  }
  paths.szProject = argument(next);
  paths.szGcp = argument(next + 1);
  paths.szPos = argument(next + 2);
  paths.szOutput = argument(next + 3);
  std::fprintf(console, "%s\n", PrintableName(paths.szProject).c_str());
  RunAdjustment(std::move(paths), platform, console);
  return 0;
}

}  // namespace orvo
