#include "whole/Cases.h"

#include <fmt/format.h>
#include <fnmatch.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <variant>

#include "synthetic/GenerateBlock.h"

namespace orvo::bench {
namespace {

/// Strips and overlaps that give the number of images, some of them in cross strips, and the mean number of
/// rays.
struct Flight {
  int32_t nImages, nRays;
  int32_t nStrips, nImagesPerStrip, nCrossStrips;
  double fForwardOverlap, fSideOverlap;
  int32_t nControlPoints;
};

constexpr Flight kFlights[] = {
    {100, 4, 5, 18, 1, 60, 41.33, 12},      {100, 7, 5, 17, 1, 74.9, 43.1, 12},
    {1000, 4, 20, 48, 1, 58, 42.6, 40},     {1000, 7, 20, 47, 1, 73.7, 45.65, 40},
    {10000, 4, 50, 190, 5, 58, 43.44, 100}, {10000, 7, 50, 188, 4, 73.4, 46.3, 100},
};

using Settings = std::vector<std::pair<std::string, std::string>>;

/// A variant of every size.
struct Variant {
  const char* szName;
  const char* szBlock;  ///< the base block where empty
  void (*fChange)(SyntheticOptions&);
  Settings pSettings;
  bool bText = false;
  int nProcessors = 0;
  int nRays = 4;
  int32_t nMostImages = 10000;
};

const std::vector<Variant>& Variants() {
  const auto same = [](SyntheticOptions&) {};
  const std::pair<std::string, std::string> dense{"Apply_PCG_Model", "false"};
  static const std::vector<Variant> variants = {
      {"eopiop", "", same, {}},
      {"dense", "", same, {dense}, false, 0, 4, 1000},
      {"eop", "", same, {{"Set_IOP_Unknown", "false"}}},
      // Without unknown images only the cameras are off at the start.
      {"iop",
       "-iop",
       [](SyntheticOptions& o) {
         o.fStartPosition = o.fStartAngle = 0;
         o.fStartFocal = 20;
       },
       {{"Set_EOP_Unknown", "false"}, dense}},
      {"merged", "-percam", [](SyntheticOptions& o) { o.nCameras = 0; }, {{"Damping_Coefficient", "1e-4"}}},
      {"4cam", "-4cam", [](SyntheticOptions& o) { o.nCameras = 4; }, {}},
      {"rays7", "-rays7", same, {}, false, 0, 7},
      {"random", "-random", [](SyntheticOptions& o) { o.bRandomOrder = true; }, {}},
      {"outliers", "-outliers", [](SyntheticOptions& o) { o.fOutlierFraction = 0.005; }, {}},
      {"text", "-text", same, {}, true},
      {"thin", "", same, {{"Resampling_Points", "true"}}},
      {"2threads", "", same, {}, false, 3},
  };
  return variants;
}

SyntheticOptions OptionsOf(const Flight& flight) {
  SyntheticOptions options;
  options.nStrips = flight.nStrips;
  options.nImagesPerStrip = flight.nImagesPerStrip;
  options.nCrossStrips = flight.nCrossStrips;
  options.fForwardOverlap = flight.fForwardOverlap;
  options.fSideOverlap = flight.fSideOverlap;
  options.nControlPoints = flight.nControlPoints;
  options.fMeasurementsPerImage = 600;
  options.fStartAngle = 0.13;
  return options;
}

const Flight& FlightOf(int32_t images, int32_t rays) {
  for (const Flight& flight : kFlights) {
    if (flight.nImages == images && flight.nRays == rays) return flight;
  }
  return kFlights[0];
}

BenchCase GeneratedCase(int32_t images, const Variant& variant) {
  BenchCase bench;
  bench.szName = fmt::format("{}/{}", images, variant.szName);
  bench.szBlock = fmt::format("block-{}{}", images, variant.szBlock);
  bench.Options = OptionsOf(FlightOf(images, variant.nRays));
  variant.fChange(bench.Options);
  bench.bText = variant.bText;
  bench.bHasOutliers = bench.Options.fOutlierFraction > 0;
  bench.nProcessors = variant.nProcessors;
  // Damping and schedule that end at the least squares solution in 6 to 8 iterations.
  bench.pSettings = {{"Apply_PCG_Model", "true"},
                     {"Damping_Coefficient", "1e-6"},
                     {"LM_Converge_Threshold", "1e-3"},
                     {"Free_LM_Iteration_Num", "6"},
                     {"GCP_LM_Iteration_Num", "6"}};
  for (const auto& [element, value] : variant.pSettings) {
    bool known = false;
    for (auto& setting : bench.pSettings) {
      if (setting.first == element) setting.second = value, known = true;
    }
    if (!known) bench.pSettings.emplace_back(element, value);
  }
  return bench;
}

void AddRealCase(std::vector<BenchCase>& cases, const std::string& folder, const char* name,
                 const char* project, Settings settings) {
  BenchCase bench;
  bench.szName = name;
  bench.szFolder = folder;
  bench.szProject = project;
  bench.szGcp = "seneca_gcp.txt";
  bench.szSettings = "AdjPara.xml";
  bench.bText = bench.szProject.ends_with(".prj");
  bench.bHasOutliers = true;
  bench.pSettings = std::move(settings);
  if (std::filesystem::exists(folder + "/" + project)) cases.push_back(std::move(bench));
}

std::optional<std::string> ReadWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// A name that no other process uses meanwhile.
std::string PrivateName(const std::string& path) { return fmt::format("{}.{}", path, ::getpid()); }

/// The whole file or none, also for those who read it at this moment.
bool WriteWhole(const std::string& path, const std::string& text) {
  const std::string unfinished = PrivateName(path);
  std::ofstream file(unfinished, std::ios::binary);
  file << text;
  file.close();
  std::error_code error;
  if (file.good()) std::filesystem::rename(unfinished, path, error);
  return file.good() && !error;
}

/// Tells two sets of options apart.
std::string Describe(const SyntheticOptions& options) {
  std::string text;
  for (const SyntheticOption& option : SyntheticOptionTable()) {
    std::visit([&](auto field) { text += fmt::format("{}={}\n", option.szName, options.*field); },
               option.field);
  }
  return text;
}

/// In a process of its own: the memory of the generator would count for the runs that follow.
bool Generate(const BenchCase& bench, const std::string& folder) {
  SyntheticForms forms;
  forms.bText = bench.bText;
  forms.bBinary = !bench.bText;
  forms.bPos = forms.bTruth = false;
  std::fflush(nullptr);
  const pid_t process = ::fork();
  if (process == 0) {
    const SyntheticBlock block = GenerateBlock(bench.Options, folder, "block", forms);
    if (!block.bDone) std::fprintf(stderr, "orvo_bench: %s\n", block.szError.c_str());
    ::_exit(block.bDone ? 0 : 1);
  }
  int status = 0;
  return process > 0 && ::waitpid(process, &status, 0) == process && status == 0;
}

bool MakeBlock(const BenchCase& bench, const std::string& folder) {
  const std::string stamp = folder + "/options.txt", wanted = Describe(bench.Options);
  if (ReadWhole(stamp) == wanted) return true;
  std::fprintf(stderr, "Making %s\n", folder.c_str());
  // Another bench may be making the same block: each makes its own, and the last one stays.
  const std::string unfinished = PrivateName(folder);
  std::error_code error;
  std::filesystem::create_directories(unfinished, error);
  if (!Generate(bench, unfinished) || !WriteWhole(unfinished + "/options.txt", wanted)) return false;
  std::filesystem::remove_all(folder, error);
  std::filesystem::rename(unfinished, folder, error);
  return !error;
}

}  // namespace

std::vector<BenchCase> AllCases(const std::string& sourceFolder) {
  std::vector<BenchCase> cases;
  AddRealCase(cases, sourceFolder + "/examples/seneca", "seneca/small", "seneca_start.prj", {});
  const std::string shared = sourceFolder + "/../shared/data/seneca";
  AddRealCase(cases, shared, "seneca/full", "seneca_full.ovc", {});
  AddRealCase(cases, shared, "seneca/full-sparse", "seneca_full.ovc", {{"Apply_PCG_Model", "true"}});
  for (const int32_t images : {100, 1000, 10000}) {
    for (const Variant& variant : Variants()) {
      if (images <= variant.nMostImages) cases.push_back(GeneratedCase(images, variant));
    }
  }
  return cases;
}

std::vector<BenchCase> MatchingCases(const std::vector<BenchCase>& cases,
                                     const std::vector<std::string>& patterns) {
  std::vector<BenchCase> matching;
  for (const BenchCase& bench : cases) {
    for (const std::string& pattern : patterns) {
      if (::fnmatch(pattern.c_str(), bench.szName.c_str(), FNM_PATHNAME) != 0) continue;
      matching.push_back(bench);
      break;
    }
  }
  return matching;
}

std::optional<std::string> ReplaceSettings(std::string xml, const Settings& settings) {
  for (const auto& [element, value] : settings) {
    const std::string head = "<" + element + ">", tail = "</" + element + ">";
    const size_t begin = xml.find(head);
    const size_t end = begin == std::string::npos ? begin : xml.find(tail, begin);
    if (end == std::string::npos) return std::nullopt;
    xml.replace(begin + head.size(), end - begin - head.size(), value);
  }
  return xml;
}

std::string DefaultWorkFolder() {
  std::error_code error;
  constexpr uintmax_t kEnough = 8ull << 30;
  const auto space = std::filesystem::space("/dev/shm", error);
  const bool roomy = !error && space.available > kEnough && ::access("/dev/shm", W_OK) == 0;
  const char* temporary = std::getenv("TMPDIR");
  return (roomy                  ? std::string("/dev/shm")
          : temporary != nullptr ? temporary
                                 : "/tmp") +
         fmt::format("/orvo-bench-{}", ::getuid());
}

std::optional<CaseFiles> PrepareCase(const BenchCase& bench, const std::string& workFolder) {
  CaseFiles files;
  std::string settings;
  if (bench.szBlock.empty()) {
    files.szProject = bench.szFolder + "/" + bench.szProject;
    files.szGcp = bench.szFolder + "/" + bench.szGcp;
    settings = bench.szFolder + "/" + bench.szSettings;
  } else {
    const std::string folder = workFolder + "/" + bench.szBlock;
    if (!MakeBlock(bench, folder)) {
      std::fprintf(stderr, "orvo_bench: %s can't be made\n", folder.c_str());
      return std::nullopt;
    }
    files.szProject = folder + (bench.bText ? "/block.prj" : "/block.ovc");
    files.szGcp = folder + "/block_gcp.txt";
    settings = folder + "/AdjPara.xml";
  }
  const std::optional<std::string> xml = ReadWhole(settings);
  const auto changed = xml ? ReplaceSettings(*xml, bench.pSettings) : std::nullopt;
  std::string name = bench.szName;
  for (char& c : name) c = c == '/' ? '-' : c;
  files.szSettings = workFolder + "/settings-" + name + ".xml";
  if (!changed || !WriteWhole(files.szSettings, *changed)) {
    std::fprintf(stderr, "orvo_bench: the settings of %s can't be made of %s\n", bench.szName.c_str(),
                 settings.c_str());
    return std::nullopt;
  }
  // A real block without control points has no GCP file worth the name.
  if (!std::filesystem::exists(files.szGcp)) files.szGcp.clear();
  return files;
}

}  // namespace orvo::bench
