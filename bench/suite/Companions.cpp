#include "suite/Companions.h"

#include <spawn.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "whole/MeasuredProcess.h"

namespace orvo::bench {
namespace {

/// Its exit code; -1 where it did not start or a signal ended it.
int RunOnTerminal(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  std::fflush(stdout);
  pid_t process = 0;
  if (::posix_spawn(&process, arguments[0], nullptr, nullptr, arguments.data(), ::environ) != 0) return -1;
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Lines that git says about a folder; false where it fails.
bool AskGit(const std::string& folder, std::vector<std::string> question, std::vector<std::string>& lines) {
  ProcessCommand command;
  command.pArguments = {"/usr/bin/env", "git", "-C", folder};
  command.pArguments.insert(command.pArguments.end(), question.begin(), question.end());
  const ProcessFigures figures = RunMeasured(command);
  for (const ProcessEvent& event : figures.Events) lines.push_back(event.szText);
  return figures.bStarted && figures.nExitCode == 0;
}

std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const size_t colon = line.find(": ");
    if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown";
}

}  // namespace

std::string ProgramBeside(const std::string& name) {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::string path = (self.parent_path() / name).string();
  if (!error && ::access(path.c_str(), X_OK) == 0) return path;
  std::fprintf(stderr, "orvo_bench: there is no %s beside this program, so it is left out\n", name.c_str());
  return "";
}

bool TakeResultsOf(const std::vector<std::string>& command, const std::string& json, Results& results) {
  const int code = RunOnTerminal(command);
  Results read;
  std::string error;
  const bool good = code == 0 && ReadResults(json, read, error);
  if (code != 0)
    std::fprintf(stderr, "orvo_bench: %s failed with exit code %d\n", command[0].c_str(), code);
  else if (!good)
    std::fprintf(stderr, "orvo_bench: %s\n", error.c_str());
  std::error_code ignored;
  std::filesystem::remove(json, ignored);
  if (!good) return false;
  for (const KernelTime& kernel : read.Kernels) AddKernel(results.Kernels, kernel);
  results.Devices.insert(results.Devices.end(), read.Devices.begin(), read.Devices.end());
  return true;
}

std::string CommitLabel(const std::string& sourceFolder) {
  std::vector<std::string> commit, changes;
  if (!AskGit(sourceFolder, {"rev-parse", "--short", "HEAD"}, commit) || commit.size() != 1) return "unknown";
  if (!AskGit(sourceFolder, {"status", "--porcelain", "-uno"}, changes)) return commit[0];
  return commit[0] + (changes.empty() ? "" : "-changed");
}

MachineFacts ThisMachine() {
  utsname system{};
  ::uname(&system);
  const std::string why = WhyNoInstructionCounter();
  MachineFacts machine;
  machine.szProcessor = ProcessorName();
  machine.szKernel = system.release;
  machine.nProcessors = ::sysconf(_SC_NPROCESSORS_ONLN);
  machine.szInstructionCounter = why.empty() ? "yes" : "no: " + why;
  return machine;
}

}  // namespace orvo::bench
