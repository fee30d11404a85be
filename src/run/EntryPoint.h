// From a command line to one run.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/OutputFolder.h"
#include "base/Platform.h"
#include "check/Finding.h"
#include "gpu/Device.h"
#include "records/AdjustMethod.h"
#include "records/ResidualExtent.h"
#include "report/RunObserver.h"
#include "run/ReportChoice.h"
#include "settings/RigorousOverrides.h"
#include "settings/SettingOverrides.h"
#include "verdict/Judge.h"

namespace orvo {

/// The paths that a command line names; empty where it names none.
struct RunPaths {
  std::string szProject, szGcp, szPos, szOutput, szSettings;
};

/// What became of a run.
struct RunOutcome {
  bool bDone = false;         ///< the flow came to its end
  int nOutputFailureNum = 0;  ///< output files that are missing or cut short
  std::string szOutputPath;
  /// What ended the run from outside (a file that can't be read or written), and why.
  std::string szFault = {};
  std::vector<Finding> Refusals = {};  ///< what a guarded run was refused for, once it had begun
  std::vector<Finding> Notes = {};     ///< what it went on without
  Verdict Judgement = {};              ///< of a guarded run that came to its end
  int nDeviceNum = 0;                  ///< CUDA devices that a run on one would have to be divided between
};

/// Default settings file beside the program: AdjPara.xml, or AdjPara.ini where that is missing, telling the
/// console. `program` is cut at its last separator; without one it stays whole.
std::string FindDefaultSettings(const std::string& program, std::FILE* console);

/// Where a run computes.
enum class DeviceChoice {
  FromSettings,  ///< on a CUDA device when Apply_GPU says so and there is one
  Cpu,           ///< on the processor, whatever the settings say
  Cuda,          ///< on a CUDA device, whatever the settings say
  Host           ///< the device path on the processor
};

/// How much a run lets pass.
enum class RunRules {
  Classic,  ///< what cannot be used is skipped, and the results stand whatever they are worth
  Guarded   ///< broken inputs are refused, the results are judged, and bad ones replace nothing
};

/// What a run takes besides its paths.
struct RunOptions {
  RunRules Rules = RunRules::Classic;
  AdjustMethod Method = AdjustMethod::Classic;  ///< the rigorous one computes on the processor alone
  bool bStrict = false;         ///< a doubtful result of a guarded run replaces nothing either
  bool bAllProcessors = false;  ///< the assembly leaves none idle
  ResidualExtent Residuals = ResidualExtent::All;
  DeviceChoice At = DeviceChoice::FromSettings;
  gpu::KernelForm Kernels = gpu::KernelForm::Fast;
  int64_t nDeviceMemory = 0;  ///< bytes that GPU sections are planned for at most; 0: what the device has
  /// Settings that count more than those of the file.
  std::vector<SettingOverride> Overrides = {};
  std::vector<RigorousOverride> RigorousOverrides = {};  ///< the same, of the rigorous method
  /// What was found before the run, for it to tell.
  std::vector<Finding> Notes = {};
  report::RunObserver* pObserver = nullptr;  ///< of a guarded run
  ReportChoice Report = {};                  ///< of a guarded run
  /// The device platform; empty for that of the choice.
  std::function<std::unique_ptr<gpu::Device>()> MakeDevice;
};

/// The device platform of a choice, null where there is none. The host device has the memory of the machine,
/// and as many processors as `platform` says. Without `literal` there are no kernels in that form.
std::unique_ptr<gpu::Device> MakeDeviceOf(DeviceChoice choice, const Platform& platform,
                                          gpu::LiteralKernels literal = {});

/// What becomes of the files of a run with this outcome. A guarded run keeps them only where everything went
/// well; a classic one does so whatever it is worth, but not after a failed read or write.
OutputFate FateOf(RunRules rules, const RunOutcome& outcome, bool strict = false);

/// One run over the given paths: object, output folder, log, settings, CPU or GPU flow, output files put in
/// place, elapsed time. A run that is refused writes nothing and has the reason in szFault.
RunOutcome RunAdjustment(RunPaths paths, const Platform& platform, std::FILE* console,
                         const RunOptions& options = {});

/// What `orvo_adjust --help` prints.
std::string_view ClassicHelp();

/// The classic command line. The exit code is 0 in every case.
int ClassicMain(int argc, const char* const* argv, const Platform& platform, std::FILE* console);

}  // namespace orvo
