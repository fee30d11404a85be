#include "faults/Scenario.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace orvo::faults {
namespace {

struct Setting {
  const char *szFile, *szElement, *szValue;
};

// Each file holds what the generator writes with these elements changed.
constexpr Setting kSettings[] = {
    {"dense", "Max_LM_Iteration_Num", "3"},      {"earlier", "Max_LM_Iteration_Num", "5"},
    {"sparse", "Max_LM_Iteration_Num", "3"},     {"sparse", "Apply_PCG_Model", "true"},
    {"pos", "Max_LM_Iteration_Num", "3"},        {"pos", "Apply_GPS_Data", "true"},
    {"pos", "Apply_IMU_Data", "true"},           {"thin", "Max_LM_Iteration_Num", "3"},
    {"thin", "Resampling_Points", "true"},       {"thin", "Point_Resample_Number", "1"},
    {"thin", "Apply_PCG_Model", "true"},         {"direct", "Direct_Intersection", "true"},
    {"absolute", "Absolute_Orientation", "true"}};

void SetElement(std::string& xml, const std::string& element, const std::string& value) {
  const size_t open = xml.find("<" + element + ">"), close = xml.find("</" + element + ">");
  if (open == std::string::npos || close == std::string::npos) Stop("no " + element + " in the settings");
  const size_t begin = open + element.size() + 2;
  xml.replace(begin, close - begin, value);
}

std::vector<std::string> Adjust(const std::string& project, const std::string& settings,
                                std::vector<std::string> more = {}) {
  std::vector<std::string> arguments{
      "adjust", "in/" + project, "--settings",      "in/" + settings + ".xml", "--out", "out", "--processors",
      "3",      "--gcp",         "in/block_gcp.txt"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

std::vector<std::string> Classic(const std::string& project, const std::string& settings,
                                 const std::string& pos = {}) {
  return {"in/" + settings + ".xml", "in/" + project, "in/block_gcp.txt", pos, "out"};
}

std::vector<std::string> Generate(const std::string& folder, const std::string& seed) {
  return {"generate",           folder, "--seed",         seed, "--strips",       "2",
          "--images-per-strip", "4",    "--measurements", "40", "--side-overlap", "60",
          "--control",          "5",    "--check",        "2"};
}

const std::vector<std::string> kRoomy{"--memory", "1G"};

std::vector<Scenario> MakeScenarios() {
  return {
      {"dense", Program::Orvo, Adjust("block.prj", "dense", kRoomy)},
      {"dense-ovc", Program::Orvo, Adjust("block.ovc", "dense", kRoomy)},
      {"sparse", Program::Orvo, Adjust("block.prj", "sparse", kRoomy)},
      {"sections", Program::Orvo, Adjust("block.ovc", "sparse", {"--memory", "16K"})},
      {"sections-dense", Program::Orvo, Adjust("block.ovc", "dense", {"--memory", "16K"})},
      {"thinned", Program::Orvo, Adjust("block.ovc", "thin", {"--memory", "16K"})},
      {"pos", Program::Orvo, Adjust("block.prj", "pos", {"--pos", "in/block_pos.txt", "--memory", "1G"})},
      {"device", Program::Orvo, Adjust("block.ovc", "dense", {"--device", "host", "--memory", "1G"})},
      {"device-sections", Program::Orvo,
       Adjust("block.ovc", "dense", {"--device", "host", "--memory", "16K", "--device-memory", "1G"})},
      {"direct", Program::Orvo, Adjust("block.ovc", "direct", kRoomy)},
      {"absolute", Program::Orvo, Adjust("block.prj", "absolute", kRoomy)},
      {"check",
       Program::Check,
       {"check", "in/block.prj", "--gcp", "in/block_gcp.txt", "--pos", "in/block_pos.txt", "--settings",
        "in/pos.xml"}},
      {"check-ovc",
       Program::Check,
       {"check", "in/block.ovc", "--gcp", "in/block_gcp.txt", "--settings", "in/dense.xml"}},
      {"classic", Program::OrvoAdjust, Classic("block.prj", "dense")},
      {"classic-sparse", Program::OrvoAdjust, Classic("block.ovc", "sparse")},
      {"classic-pos", Program::OrvoAdjust, Classic("block.prj", "pos", "in/block_pos.txt")},
      {"classic-direct", Program::OrvoAdjust, Classic("block.prj", "direct")},
      {"classic-absolute", Program::OrvoAdjust, Classic("block.ovc", "absolute")},
      {"generate", Program::Generate, Generate("out", "1")},
  };
}

void RunOrStop(const Scenario& scenario, const Place& place) {
  const ChildEnd end = RunChild(MakeRun(scenario, place.szFolder, place.szConsole));
  if (end.bHung || end.nSignal != 0 || end.nExit != 0) {
    Stop(scenario.szName + ": " + end.Text() + " without any fault:\n" + ReadWhole(place.szConsole));
  }
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> scenarios = MakeScenarios();
  return scenarios;
}

Place::Place(const std::string& base)
    : szFolder(base + "/run"), szConsole(base + "/console"), szCounts(base + "/counts") {
  std::filesystem::create_directories(In());
}

ChildRun MakeRun(const Scenario& scenario, const std::string& folder, const std::string& console) {
  ChildRun run;
  run.Arguments = {scenario.Which == Program::OrvoAdjust ? ORVO_ADJUST_PROGRAM : ORVO_PROGRAM};
  run.Arguments.insert(run.Arguments.end(), scenario.Arguments.begin(), scenario.Arguments.end());
  run.szFolder = folder;
  run.szConsole = console;
  return run;
}

FolderState MakeInputs(const Place& place) {
  RunOrStop({"inputs", Program::Generate, Generate("in", "1")}, place);
  const std::string xml = ReadWhole(place.In() + "/AdjPara.xml");
  FolderState files;
  for (const Setting& setting : kSettings) {
    std::string& content = files[std::string(setting.szFile) + ".xml"];
    if (content.empty()) content = xml;
    SetElement(content, setting.szElement, setting.szValue);
  }
  for (const auto& [name, content] : files) WriteWhole(place.In() + "/" + name, content);
  RunOrStop({"inputs of the earlier run", Program::Generate, Generate("other", "7")}, place);
  const FolderState other = ReadFolder(place.szFolder + "/other");
  for (const char* name : {"block.prj", "block_gcp.txt"}) {
    WriteWhole(place.In() + "/earlier_" + name, other.at(name));
  }
  std::filesystem::remove_all(place.szFolder + "/other");
  return ReadFolder(place.In());
}

FolderState MakeEarlierResults(const Scenario& scenario, const Place& place) {
  std::filesystem::remove_all(place.Out());
  if (scenario.Which == Program::Generate) {
    RunOrStop({"earlier run", Program::Generate, Generate("out", "7")}, place);
  } else {
    RunOrStop({"earlier run",
               Program::Orvo,
               {"adjust", "in/earlier_block.prj", "--gcp", "in/earlier_block_gcp.txt", "--settings",
                "in/earlier.xml", "--out", "out"}},
              place);
  }
  return ReadFolder(place.Out());
}

void Stop(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  std::exit(2);
}

}  // namespace orvo::faults
