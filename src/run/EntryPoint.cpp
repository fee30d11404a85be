#include "run/EntryPoint.h"

#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "gpu/GpuState.h"
#include "run/BundleAdjustment.h"
#include "run/InputGate.h"
#include "run/RunOutput.h"
#include "run/RunVerdict.h"
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
  const std::string xml = JoinPath(folder, "AdjPara.xml");
  // Where the system can't tell, opening the file does.
  if (!IsMissing(xml)) return xml;
  const std::string ini = JoinPath(folder, "AdjPara.ini");
  if (console != nullptr) {
    std::fprintf(console, "Xml setting file does not exsit:%s\n", PrintableName(xml).c_str());
    std::fprintf(console, "Read default setting file:%s\n", PrintableName(ini).c_str());
  }
  return ini;
}

std::unique_ptr<gpu::Device> MakeDeviceOf(DeviceChoice choice, const Platform& platform) {
  if (choice == DeviceChoice::Cpu) return nullptr;
  if (choice != DeviceChoice::Host) return gpu::MakeCudaDevice();
  // A bound on the memory for points says nothing about the device.
  return gpu::MakeHostDevice(NativePlatform().FreePhysicalBytes(), platform.ProcessorCount());
}

OutputFate FateOf(RunRules rules, const RunOutcome& outcome, bool strict) {
  if (!outcome.szFault.empty()) return OutputFate::Discard;
  // A classic run that ends early leaves what it has written until then, as it always did.
  if (rules == RunRules::Classic) return outcome.bDone ? OutputFate::Replace : OutputFate::Add;
  if (!outcome.bDone || outcome.nOutputFailureNum > 0) return OutputFate::Discard;
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

/// The CPU or the device flow, as settings and options say.
void RunFlow(CBundleAdjustment& block, RunPaths& paths, const Platform& platform, const RunOptions& options) {
  if (options.At != DeviceChoice::FromSettings) block.SetApplyGpu(options.At != DeviceChoice::Cpu);
  if (block.Limits.Apply_GPU) {
    gpu::GpuState& state = block.Gpu();
    state.pDevice = options.MakeDevice ? options.MakeDevice() : MakeDeviceOf(options.At, platform);
    state.Form = options.Kernels;
    state.nDeviceMemory = options.nDeviceMemory;
  }
  if (block.Limits.Apply_GPU && block.DetectCudaDevices() != 0) {
    block.Limits.Apply_PCG_Model = true;
    block.Limits.Coor_Normalization = true;
    block.Limits.Max_PCG_Iteration_Num = 2;
    block.RunGpuAdjustment(paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
  } else {
    if (block.Limits.Apply_GPU) {
      block.LogPrintf(">>There is no device supporting CUDA, shift to CPU mode.\n");
      block.SetApplyGpu(false);
    }
    block.RunCpuAdjustment(paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
  }
}

}  // namespace

RunOutcome RunAdjustment(RunPaths paths, const Platform& platform, std::FILE* console,
                         const RunOptions& options) {
  CBundleAdjustment block(platform, console);
  if (options.Rules == RunRules::Guarded) {
    ExpectInputs(paths, block.Inputs);
    block.pTrack = std::make_unique<RunTrack>();
  }
  const bool folderIsThere = block.SetOutputPath(paths.szProject, paths.szOutput) == 1;
  if (const std::string refusal = BeginOutput(block, paths, folderIsThere); !refusal.empty()) {
    if (options.Rules == RunRules::Classic) block.ConsolePrintf("Error!Run refused: %s!\n", refusal.c_str());
    RunOutcome outcome;
    outcome.szOutputPath = block.Paths.szOutputPath;
    outcome.szFault = refusal;
    return outcome;
  }
  std::string logPath;
  block.OpenLogFile(logPath);
  const double start = block.System.TickMilliseconds();
  block.Guard.bGuarded = options.Rules == RunRules::Guarded;
  for (const Finding& note : options.Notes) TellNote(block, note);
  block.ReadSettings(paths.szSettings);
  if (block.CheckInputs() == 1) RunFlow(block, paths, platform, options);
  block.CheckInputs();
  RunOutcome outcome;
  outcome.bDone = block.Outputs.bOutputsWritten;
  outcome.nOutputFailureNum = block.Outputs.nOutputFailureNum;
  outcome.szOutputPath = block.Paths.szOutputPath;
  outcome.Refusals = block.Guard.Refusals;
  outcome.Notes = block.Guard.Notes;
  if (block.Inputs.Any()) {
    outcome.bDone = false;
    outcome.szFault = FaultText(block.Inputs.First());
  }
  if (!outcome.bDone) JudgeFailure(block);
  if (block.pTrack) outcome.Judgement = std::move(block.pTrack->Judgement);
  EndOutput(block, options, outcome);
  const double end = block.System.TickMilliseconds();
  block.LogPrintf(">>Elapsed time:%lfs\n", (end - start) / 1000.0);
  block.CloseLogFile();
  return outcome;
}

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
