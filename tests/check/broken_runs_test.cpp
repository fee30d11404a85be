// Every input of a small block cut, flipped, with lines dropped and doubled: what becomes of the run.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <random>

#include "check/FindingTable.h"
#include "run/InputCheck.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

/// Places at which each file is broken in each way.
int PlaceNum() {
#ifdef ORVO_SANITIZED
  constexpr int kShort = 8;
#else
  constexpr int kShort = 40;
#endif
  return std::getenv("ORVO_LONG_TESTS") != nullptr ? 400 : kShort;
}

enum class Way { Cut, Flipped, LineDropped, LineDoubled };
const std::map<Way, const char*> kNameOfWay = {{Way::Cut, "cut"},
                                               {Way::Flipped, "byte flipped"},
                                               {Way::LineDropped, "line dropped"},
                                               {Way::LineDoubled, "line doubled"}};

enum class Fate {
  Refused,   ///< a finding says why
  Failed,    ///< the run ended by itself, without a report
  Same,      ///< the result of the sound files
  Told,      ///< another result, with a note
  Different  ///< another result without a word
};
const std::map<Fate, const char*> kNameOfFate = {{Fate::Refused, "refused"},
                                                 {Fate::Failed, "failed"},
                                                 {Fate::Same, "same result"},
                                                 {Fate::Told, "another result, told"},
                                                 {Fate::Different, "another result, not told"}};

struct Broken {
  std::string szText;
  std::string szWhere;
};

Broken Break(const std::string& good, Way way, int place, int places, std::mt19937& random) {
  const auto at = [&](size_t size) {
    return static_cast<size_t>((static_cast<double>(place) + 0.5) / places * static_cast<double>(size));
  };
  const auto line = static_cast<int>(at(static_cast<size_t>(LineNum(good)))) + 1;
  Broken broken;
  switch (way) {
    case Way::Cut:
      broken = {good.substr(0, at(good.size())), "at byte " + std::to_string(at(good.size()))};
      break;
    case Way::Flipped: {
      const size_t byte = random() % good.size();
      broken = {good, "byte " + std::to_string(byte)};
      broken.szText[byte] = static_cast<char>(broken.szText[byte] ^ (1 << random() % 8));
      broken.szWhere += std::string(", '") + good[byte] + "' to '" + broken.szText[byte] + "'";
      break;
    }
    case Way::LineDropped:
      broken = {DropLine(good, line), "line " + std::to_string(line)};
      break;
    case Way::LineDoubled:
      broken = {DoubleLine(good, line), "line " + std::to_string(line)};
      break;
  }
  return broken;
}

/// A run as `orvo adjust` does it, and what it leaves.
class GuardedRuns {
 public:
  GuardedRuns(const RunPaths& paths) : Paths(paths) {
    const Fate fate = Run(nullptr);
    EXPECT_EQ(fate, Fate::Different) << "there is nothing to compare with yet";
    Expected = ReadProjectFile(JoinPath(Paths.szOutput, "OrvoResult.ovc"));
    EXPECT_FALSE(Expected.pImages.empty());
  }

  double fPositionOff = 0, fFocalOff = 0;  ///< metres and pixels, of the latest run that was done

  /// The fate of a run now, and its findings. The same result is one within 1 cm and 0.1 pixel.
  Fate Run(std::string* findings) {
    std::filesystem::remove_all(Paths.szOutput);
    RunOptions options;
    options.Rules = RunRules::Guarded;
    options.Notes = CheckRunInputs(Paths, false);
    if (findings != nullptr) *findings = Brief(options.Notes);
    if (HasError(options.Notes)) return Fate::Refused;
    const RunOutcome outcome = RunAdjustment(Paths, MadeUpPlatform(int64_t{1} << 30, 2), nullptr, options);
    if (findings != nullptr) *findings = Brief(outcome.Notes) + Brief(outcome.Refusals);
    if (!outcome.Refusals.empty()) {
      EXPECT_FALSE(outcome.bDone);
      EXPECT_FALSE(Exists(JoinPath(Paths.szOutput, "OrvoResult.ovc")));
      return Fate::Refused;
    }
    if (!outcome.bDone) return Fate::Failed;
    Compare(ReadProjectFile(JoinPath(Paths.szOutput, "OrvoResult.ovc")));
    if (fPositionOff < 0.01 && fFocalOff < 0.1) return Fate::Same;
    return outcome.Notes.empty() ? Fate::Different : Fate::Told;
  }

 private:
  /// The largest differences of positions and focal lengths; infinite where the results don't match.
  void Compare(const ProjectFile& result) {
    fPositionOff = fFocalOff = HUGE_VAL;
    if (result.pImages.size() != Expected.pImages.size() ||
        result.pCameras.size() != Expected.pCameras.size())
      return;
    double focal = 0, position = 0;
    // A difference that is no number counts as infinite.
    const auto take = [](double& largest, double off) {
      if (!(std::abs(off) <= largest)) largest = std::isfinite(off) ? std::abs(off) : HUGE_VAL;
    };
    for (size_t i = 0; i < result.pCameras.size(); ++i)
      take(focal, result.pCameras[i].fFocal - Expected.pCameras[i].fFocal);
    for (size_t i = 0; i < result.pImages.size(); ++i) {
      for (size_t axis = 0; axis < 3; ++axis)
        take(position, result.pImages[i].Position[axis] - Expected.pImages[i].Position[axis]);
    }
    fPositionOff = position;
    fFocalOff = focal;
  }

  RunPaths Paths;
  ProjectFile Expected;
};

SyntheticOptions Tiny() {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 3;
  options.nControlPoints = 5;
  options.nCheckPoints = 1;
  options.fMeasurementsPerImage = 20;
  return options;
}

struct BrokenFile {
  const char* szKind;
  bool bText;  ///< it has lines
  std::string szPath;
  RunPaths Paths;  ///< of the run that reads it
};

std::vector<BrokenFile> FilesOf(const SyntheticPaths& files, const std::string& out) {
  const RunPaths text{files.szText, files.szGcp, "", out, files.szXml};
  RunPaths binary = text, colon = text;
  binary.szProject = files.szOvc;
  colon.szSettings = files.szIni;
  return {{"text project", true, files.szText, text}, {".ovc", true, files.szOvc, binary},
          {".ovt", false, files.szOvt, binary},       {"GCP", true, files.szGcp, text},
          {"XML settings", true, files.szXml, text},  {"colon settings", true, files.szIni, colon}};
}

/// Breaks one file in every way, counts the fates, and lists what nobody told of.
void BreakInEveryWay(const BrokenFile& file, std::map<std::pair<Way, Fate>, int>& counts) {
  const std::string good = ReadFile(file.szPath);
  GuardedRuns runs(file.Paths);
  std::mt19937 random(7);
  for (const auto& [way, name] : kNameOfWay) {
    const bool byLine = way == Way::LineDropped || way == Way::LineDoubled;
    if (byLine && !file.bText) continue;
    for (int place = 0; place < PlaceNum(); ++place) {
      const Broken broken = Break(good, way, place, PlaceNum(), random);
      WriteFile(file.szPath, broken.szText);
      std::string findings;
      const Fate fate = runs.Run(&findings);
      ++counts[{way, fate}];
      const std::string what = std::string(file.szKind) + ", " + name + ", " + broken.szWhere;
      if (fate == Fate::Different || fate == Fate::Told)
        std::printf("%s: %s, off by %.3g m and %.3g pixels in f%s\n", kNameOfFate.at(fate), what.c_str(),
                    runs.fPositionOff, runs.fFocalOff, findings.c_str());
      // A flipped digit is another number; nothing but the residuals can tell.
      if (way != Way::Flipped) {
        EXPECT_NE(fate, Fate::Different) << what;
      }
      const bool points = file.szPath.ends_with(".prj") || file.szPath.ends_with("_gcp.txt");
      if (byLine && points) {
        EXPECT_EQ(fate, Fate::Refused) << what << findings;
        EXPECT_EQ(findings[0], ':') << "a line is named: " << findings;
      }
    }
  }
  WriteFile(file.szPath, good);
}

void PrintCounts(const char* kind, const std::map<std::pair<Way, Fate>, int>& counts) {
  for (const auto& [key, count] : counts)
    std::printf("%-15s %-13s %-25s %d\n", kind, kNameOfWay.at(key.first), kNameOfFate.at(key.second), count);
}

TEST(BrokenRuns, NoBrokenInputPassesWithoutAWord) {
  Block block(Tiny());
  for (const BrokenFile& file : FilesOf(block.Paths(), block / "out")) {
    std::map<std::pair<Way, Fate>, int> counts;
    BreakInEveryWay(file, counts);
    PrintCounts(file.szKind, counts);
  }
}

TEST(BrokenRuns, NorDoPosFiles) {
  Block block(Tiny());
  block.Set("Apply_GPS_Data", "true");
  const SyntheticPaths& files = block.Paths();
  const BrokenFile file{
      "POS", true, files.szPos, {files.szText, "", files.szPos, block / "out", files.szXml}};
  std::map<std::pair<Way, Fate>, int> counts;
  BreakInEveryWay(file, counts);
  PrintCounts(file.szKind, counts);
}

}  // namespace
}  // namespace orvo::test
