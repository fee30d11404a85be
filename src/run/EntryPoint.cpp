#include "run/EntryPoint.h"

#include <unistd.h>

#include "gpu/GpuState.h"
#include "run/BundleAdjustment.h"
#include "verdict/RunTrack.h"
#include "verdict/VerdictOfRun.h"

namespace orvo {
namespace {

bool IsSettingsFile(const std::string& path) {
  const std::string extension = TextFromLastDot(path);
  return extension == ".xml" || extension == ".XML" || extension == ".ini";
}

bool FileExists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

}  // namespace

std::string FindDefaultSettings(const std::string& program, std::FILE* console) {
  const std::string folder = CutAtLastSeparator(program);
  const std::string xml = JoinPath(folder, "AdjPara.xml");
  if (FileExists(xml)) return xml;
  const std::string ini = JoinPath(folder, "AdjPara.ini");
  if (console != nullptr) {
    std::fprintf(console, "Xml setting file does not exsit:%s\n", xml.c_str());
    std::fprintf(console, "Read default setting file:%s\n", ini.c_str());
  }
  return ini;
}

std::unique_ptr<gpu::Device> MakeDeviceOf(DeviceChoice choice, const Platform& platform) {
  if (choice == DeviceChoice::Cpu) return nullptr;
  if (choice != DeviceChoice::Host) return gpu::MakeCudaDevice();
  // A bound on the memory for points says nothing about the device.
  return gpu::MakeHostDevice(NativePlatform().FreePhysicalBytes(), platform.ProcessorCount());
}

RunOutcome RunAdjustment(RunPaths paths, const Platform& platform, std::FILE* console,
                         const RunOptions& options) {
  CBundleAdjustment block(platform, console);
  if (options.Rules == RunRules::Guarded) block.pTrack = std::make_unique<RunTrack>();
  block.SetOutputPath(paths.szProject, paths.szOutput);
  std::string logPath;
  block.OpenLogFile(logPath);
  const double start = block.System.TickMilliseconds();
  block.ReadSettings(paths.szSettings);
  if (options.At != DeviceChoice::FromSettings) block.SetApplyGpu(options.At != DeviceChoice::Cpu);
  if (block.Apply_GPU) {
    gpu::GpuState& state = block.Gpu();
    state.pDevice = options.MakeDevice ? options.MakeDevice() : MakeDeviceOf(options.At, platform);
    state.Form = options.Kernels;
    state.nDeviceMemory = options.nDeviceMemory;
  }
  if (block.Apply_GPU && block.DetectCudaDevices() != 0) {
    block.Apply_PCG_Model = true;
    block.Coor_Normalization = true;
    block.Max_PCG_Iteration_Num = 2;
    block.RunGpuAdjustment(paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
  } else {
    if (block.Apply_GPU) {
      block.LogPrintf(">>There is no device supporting CUDA, shift to CPU mode.\n");
      block.SetApplyGpu(false);
    }
    block.RunCpuAdjustment(paths.szProject, paths.szGcp, paths.szPos, paths.szOutput);
  }
  const double end = block.System.TickMilliseconds();
  block.LogPrintf(">>Elapsed time:%lfs\n", (end - start) / 1000.0);
  block.CloseLogFile();
  RunOutcome outcome{block.bOutputsWritten, block.nOutputFailureNum, block.szOutputPath, {}, {}};
  if (!outcome.bDone) JudgeFailure(block);
  if (block.pTrack) outcome.Judgement = std::move(block.pTrack->Judgement);
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
  std::fprintf(console, "%s\n", paths.szProject.c_str());
  RunAdjustment(std::move(paths), platform, console);
  return 0;
}

}  // namespace orvo
