#include "report/Results.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "report/Json.h"
#include "report/ResultFields.h"

namespace orvo::bench {
namespace {

constexpr int kSchema = 2;
constexpr uintmax_t kMostBytes = 64 << 20;

Json PhasesJson(const Measurement& run) {
  Json::Object phases;
  for (const PhaseTime& phase : run.Phases) {
    phases.emplace_back(phase.szName,
                        Json::Object{{"wall", phase.fWall}, {"cpu", phase.fCpu}, {"count", phase.nCount}});
  }
  return phases;
}

Json FilesJson(const Measurement& run) {
  Json::Object files;
  for (const OutputFileSize& file : run.Files) {
    files.emplace_back(
        file.Time.szName,
        Json::Object{{"wall", file.Time.fWall}, {"count", file.Time.nCount}, {"bytes", file.nBytes}});
  }
  return files;
}

Json RunJson(const Measurement& run) {
  Json::Object json = FieldsJson(run);
  json.emplace_back("instructions", run.nInstructions ? Json(*run.nInstructions) : Json());
  json.emplace_back("final_rms", run.fFinalRms);
  if (!run.Phases.empty()) json.emplace_back("phases", PhasesJson(run));
  if (!run.Files.empty()) json.emplace_back("files", FilesJson(run));
  return json;
}

bool ParseRun(const FieldReader& reader, Measurement& run) {
  bool good = ReadFields(reader, run) && reader.ReadOrNull("final_rms", run.fFinalRms, std::nan(""));
  double instructions = 0;
  good = good && reader.ReadOrNull("instructions", instructions, -1);
  if (instructions >= 0 && instructions < 9e15) run.nInstructions = static_cast<int64_t>(instructions);
  for (const char* name : {"phases", "files"}) {
    if (!reader[name].IsNull() && !reader[name].IsObject()) return reader.Fail(name, "no object");
  }
  for (const auto& [name, member] : reader["phases"].AsObject()) {
    const FieldReader phase = reader.Inside(member, "phases." + name);
    PhaseTime& time = run.Phases.emplace_back();
    time.szName = name;
    good = good && phase.Read("wall", time.fWall) && phase.Read("cpu", time.fCpu) &&
           phase.Read("count", time.nCount);
  }
  for (const auto& [name, member] : reader["files"].AsObject()) {
    const FieldReader file = reader.Inside(member, "files." + name);
    OutputFileSize& size = run.Files.emplace_back();
    size.Time.szName = name;
    good = good && file.Read("wall", size.Time.fWall) && file.Read("count", size.Time.nCount) &&
           file.Read("bytes", size.nBytes);
  }
  return good;
}

Json PeerJson(const PeerRun& peer) {
  Json::Object json = FieldsJson(peer);
  const bool reached = peer.ToTarget.fWall >= 0;
  json.emplace_back("to_target", reached ? Json(peer.ToTarget.fWall) : Json());
  json.emplace_back("to_target_cpu", reached ? Json(peer.ToTarget.fCpu) : Json());
  return json;
}

bool ParsePeer(const FieldReader& reader, PeerRun& peer) {
  return ReadFields(reader, peer) && reader.ReadOrNull("to_target", peer.ToTarget.fWall, -1) &&
         reader.ReadOrNull("to_target_cpu", peer.ToTarget.fCpu, -1);
}

template <class T, class Parse>
bool ParseList(const FieldReader& reader, const char* name, std::vector<T>& list, Parse&& parse) {
  if (!reader[name].IsList()) return reader.Fail(name, "a list is missing");
  const Json::List& elements = reader[name].AsList();
  for (size_t k = 0; k < elements.size(); ++k) {
    if (!parse(reader.Inside(elements[k], fmt::format("{}[{}]", name, k)), list.emplace_back())) return false;
  }
  return true;
}

template <class T>
bool ParseFields(const FieldReader& reader, T& value) {
  return ReadFields(reader, value);
}

template <class T, class Make>
Json::List ListJson(const std::vector<T>& values, Make&& make) {
  Json::List list;
  for (const T& value : values) list.emplace_back(make(value));
  return list;
}

/// "device" is the name of the device in a file of orvo_bench_device.
Json DeviceJson(const DeviceFigures& figures) {
  Json::Object json = FieldsJson(figures);
  json.emplace_back("runs", ListJson(figures.Times, FieldsJson<DeviceTime>));
  return json;
}

bool ParseDevice(const FieldReader& reader, DeviceFigures& figures) {
  return ReadFields(reader, figures) && ParseList(reader, "runs", figures.Times, ParseFields<DeviceTime>);
}

/// One entry of Google Benchmark; their mean and the like follow the repetitions and are left out.
bool TakeBenchmark(const FieldReader& reader, std::vector<KernelTime>& kernels) {
  const std::string* type = reader["run_type"].AsText();
  if (type == nullptr || *type != "iteration") return true;
  KernelTime time;
  std::string unit;
  if (!reader.Read("name", time.szName)) return false;
  if (reader["error_message"].AsText() != nullptr) return reader.Fail("error_message", "the kernel failed");
  if (!reader.Read("real_time", time.fWall) || !reader.Read("cpu_time", time.fCpu) ||
      !reader.Read("time_unit", unit))
    return false;
  const double seconds = unit == "ns"   ? 1e-9
                         : unit == "us" ? 1e-6
                         : unit == "ms" ? 1e-3
                         : unit == "s"  ? 1
                                        : 0;
  if (seconds == 0) return reader.Fail("time_unit", "no unit of time");
  time.fWall *= seconds;
  time.fCpu *= seconds;
  if (!reader.ReadOrNull("items_per_second", time.fItems, 0) ||
      !reader.ReadOrNull("bytes_per_second", time.fBytes, 0))
    return false;
  AddKernel(kernels, time);
  return true;
}

bool ParseBenchmarks(const FieldReader& reader, std::vector<KernelTime>& kernels) {
  const Json::List& entries = reader["benchmarks"].AsList();
  for (size_t k = 0; k < entries.size(); ++k) {
    if (!TakeBenchmark(reader.Inside(entries[k], fmt::format("benchmarks[{}]", k)), kernels)) return false;
  }
  return !kernels.empty() || reader.Fail("benchmarks", "no kernel in it");
}

bool ParseOwn(const FieldReader& reader, Results& results) {
  int64_t schema = 0;
  if (!reader.Read("schema", schema)) return false;
  if (schema != kSchema) return reader.Fail("schema", fmt::format("{} where {} is read", schema, kSchema));
  if (!ReadFields(reader.Inside(reader["machine"], "machine"), results.Machine)) return false;
  for (const Json& label : reader["programs"].AsList()) {
    if (label.AsText() == nullptr) return reader.Fail("programs", "a label that is no text");
    results.pPrograms.push_back(*label.AsText());
  }
  return ParseList(reader, "runs", results.Runs, ParseRun) &&
         ParseList(reader, "peer_runs", results.Peers, ParsePeer) &&
         ParseList(reader, "kernels", results.Kernels, ParseFields<KernelTime>) &&
         ParseList(reader, "devices", results.Devices, ParseDevice);
}

}  // namespace

void AddMeasurement(std::vector<Measurement>& runs, const Measurement& measurement) {
  const auto known = std::find_if(runs.begin(), runs.end(), [&](const Measurement& other) {
    return other.szCase == measurement.szCase && other.szProgram == measurement.szProgram;
  });
  if (known == runs.end()) {
    runs.push_back(measurement);
  } else if (measurement.fWall < known->fWall) {
    *known = measurement;
  }
}

void AddKernel(std::vector<KernelTime>& kernels, const KernelTime& time) {
  const auto known = std::find_if(kernels.begin(), kernels.end(),
                                  [&](const KernelTime& other) { return other.szName == time.szName; });
  if (known == kernels.end()) {
    kernels.push_back(time);
    return;
  }
  const double cpu = std::min(time.fCpu, known->fCpu);
  if (time.fWall < known->fWall) *known = time;
  known->fCpu = cpu;
}

Results Merged(std::vector<Results> results) {
  std::stable_sort(results.begin(), results.end(),
                   [](const Results& a, const Results& b) { return a.Runs.size() > b.Runs.size(); });
  Results all;
  for (const Results& one : results) {
    if (all.pPrograms.empty() && !one.pPrograms.empty()) {
      all.pPrograms = {one.pPrograms.front()};
      all.Machine = one.Machine;
    }
    for (Measurement run : one.Runs) {
      if (one.pPrograms.empty() || run.szProgram != one.pPrograms.front()) continue;
      run.szProgram = all.pPrograms.front();
      AddMeasurement(all.Runs, run);
    }
    all.Peers.insert(all.Peers.end(), one.Peers.begin(), one.Peers.end());
    for (const KernelTime& kernel : one.Kernels) AddKernel(all.Kernels, kernel);
    all.Devices.insert(all.Devices.end(), one.Devices.begin(), one.Devices.end());
  }
  return all;
}

std::string ResultsText(const Results& results) {
  Json::List programs(results.pPrograms.begin(), results.pPrograms.end());
  return Json(Json::Object{{"schema", kSchema},
                           {"machine", FieldsJson(results.Machine)},
                           {"programs", programs},
                           {"runs", ListJson(results.Runs, RunJson)},
                           {"peer_runs", ListJson(results.Peers, PeerJson)},
                           {"kernels", ListJson(results.Kernels, FieldsJson<KernelTime>)},
                           {"devices", ListJson(results.Devices, DeviceJson)}})
      .Text();
}

bool ParseResults(std::string_view text, Results& results, std::string& error) {
  results = {};
  Json json;
  if (!ParseJson(text, json, error)) {
    error = "no JSON: " + error;
    return false;
  }
  const FieldReader reader(json, "", error);
  if (!json["benchmarks"].IsNull()) return ParseBenchmarks(reader, results.Kernels);
  if (json["device"].AsText() != nullptr) return ParseDevice(reader, results.Devices.emplace_back());
  return ParseOwn(reader, results);
}

bool ReadResults(const std::string& path, Results& results, std::string& error) {
  std::error_code status;
  const uintmax_t size = std::filesystem::file_size(path, status);
  if (status || size > kMostBytes) {
    error = fmt::format("can't read {}: {}", path, status ? status.message() : "it has more than 64 MB");
    return false;
  }
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || (size > 0 && !(text << file.rdbuf()))) {
    error = fmt::format("can't read {}: {}", path, std::strerror(errno));
    return false;
  }
  if (ParseResults(text.str(), results, error)) return true;
  error = path + ": " + error;
  return false;
}

}  // namespace orvo::bench
