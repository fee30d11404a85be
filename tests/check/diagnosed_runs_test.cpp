// Files of whole runs: sound ones of all kinds, and a real block whose files are damaged.
#include <gtest/gtest.h>

#include <sstream>

#include "check/CheckTable.h"
#include "run/RunDiagnosis.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

const Platform kMachine = MadeUpPlatform(int64_t{8} << 30, 2);

/// What is above a note, as Listed has it.
std::string AboveNotes(const RunPaths& paths, const Platform& machine = kMachine) {
  Diagnosis diagnosis;
  DiagnoseRun(paths, DiagnosisScope::Everything, machine, diagnosis);
  if (diagnosis.ErrorNum() + diagnosis.WarningNum() == 0) return {};
  return Listed(diagnosis);
}

TEST(DiagnosedRuns, SenecaInAllItsForms) {
  const std::string folder = "seneca/";
  for (const char* name : {"seneca_start.prj", "seneca_small.prj", "seneca_small.ovc", "seneca_full.ovc"}) {
    const auto project = std::string(name) == "seneca_start.prj" ? Example(folder + name)
                                                                 : SharedData(folder + name).value_or("");
    if (project.empty()) {
      std::printf("%s is not there\n", name);
      continue;
    }
    EXPECT_EQ(
        AboveNotes({project, Example(folder + "seneca_gcp.txt"), "", "", Example(folder + "AdjPara.xml")}),
        "");
    EXPECT_EQ(AboveNotes({project, Example(folder + "seneca_gcp.txt"), Example(folder + "seneca_pos.txt"), "",
                          Example(folder + "AdjPara_gps.xml")}),
              "");
  }
}

TEST(DiagnosedRuns, GeneratedBlocksOfAllKinds) {
  uint64_t seed = 1;
  for (const int strips : {1, 3}) {
    for (const int cameras : {0, 1, 2}) {
      for (const int control : {0, 3, 6}) {
        SyntheticOptions options;
        options.nSeed = seed++;
        options.nStrips = strips;
        options.nImagesPerStrip = 6;
        options.nCrossStrips = strips > 1 && control > 3 ? 2 : 0;
        options.nCameras = std::min(cameras, strips);
        options.nControlPoints = control;
        options.nCheckPoints = control / 3;
        Block block(options);
        const SyntheticPaths& files = block.Paths();
        for (const std::string& project : {files.szText, files.szOvc}) {
          for (const std::string& settings : {files.szXml, files.szIni})
            EXPECT_EQ(AboveNotes({project, files.szGcp, "", "", settings}), "") << options.nSeed;
        }
        block.Set("Apply_GPS_Data", "true");
        EXPECT_EQ(AboveNotes({files.szText, files.szGcp, files.szPos, "", files.szXml}), "") << options.nSeed;
      }
    }
  }
}

/// The text of the example, line by line, and the first line of its points.
struct Seneca {
  Seneca() {
    std::istringstream text(ReadFile(Example("seneca/seneca_start.prj")));
    for (std::string line; std::getline(text, line);) Lines.push_back(line);
    std::istringstream(Lines[0]) >> nImages >> nCameras;
    nFirstPoint = 1 + nCameras + 4 * nImages;
  }
  std::string Text() const {
    std::string text;
    for (const std::string& line : Lines) text += line + "\n";
    return text;
  }
  /// Calls change(line, ids) for each measurement line.
  template <typename Change>
  void ChangeMeasures(const Change& change) {
    for (size_t i = nFirstPoint + 1; i < Lines.size(); i += 1) {
      const int count = std::stoi(Lines[i]);
      for (int m = 0; m < count; ++m) change(Lines[++i]);
      ++i;
    }
  }
  int IdOf(size_t ordinal) const { return std::stoi(Lines[1 + nCameras + 4 * ordinal]); }

  std::vector<std::string> Lines;
  size_t nImages = 0, nCameras = 0, nFirstPoint = 0;
};

/// Codes of all findings above notes, each once.
std::string CodesOf(const std::string& text, std::string* remedy) {
  ScratchFolder folder;
  WriteFile(folder / "seneca.prj", text);
  Diagnosis diagnosis;
  DiagnoseRun(
      {folder / "seneca.prj", Example("seneca/seneca_gcp.txt"), "", "", Example("seneca/AdjPara.xml")},
      DiagnosisScope::Everything, kMachine, diagnosis);
  std::string codes;
  for (const Finding& one : diagnosis.Findings()) {
    if (one.Weight == Severity::Note || codes.find(one.szCode) != std::string::npos) continue;
    if (codes.empty() && remedy != nullptr) *remedy = one.szRemedy;
    codes += (codes.empty() ? "" : " ") + one.szCode;
  }
  EXPECT_LE(std::ssize(diagnosis.Findings()), Diagnosis::kMostOfACode + 5);
  return codes;
}

TEST(DiagnosedRuns, DamagedSenecaHasOneCode) {
  Seneca ids;
  ids.ChangeMeasures([&](std::string& line) {
    const size_t blank = line.find(' ');
    line = std::to_string(ids.IdOf(static_cast<size_t>(std::stoi(line)))) + line.substr(blank);
  });
  std::string remedy;
  EXPECT_EQ(CodesOf(ids.Text(), &remedy), "R001");
  EXPECT_NE(remedy.find("Ordinals are places in the file counted from 0"), std::string::npos) << remedy;
  EXPECT_NE(remedy.find("is the ID of image "), std::string::npos) << remedy;

  Seneca comma;
  comma.ChangeMeasures([](std::string& line) { std::ranges::replace(line, '.', ','); });
  EXPECT_EQ(CodesOf(comma.Text(), &remedy), "S006");
  EXPECT_EQ(remedy, "Write numbers with a decimal point");
  Seneca everywhere;
  for (size_t i = 1; i < everywhere.Lines.size(); ++i) {
    if (everywhere.Lines[i].find('/') == std::string::npos)
      std::ranges::replace(everywhere.Lines[i], '.', ',');
  }
  EXPECT_EQ(CodesOf(everywhere.Text(), &remedy), "S006");

  const std::string good = Seneca().Text();
  EXPECT_EQ(CodesOf(good, nullptr), "");
  // Wherever it is cut, but behind its last line end.
  for (size_t part = 1; part < 60; ++part) {
    EXPECT_EQ(CodesOf(good.substr(0, good.size() * part / 60), &remedy), "S011") << part;
    EXPECT_NE(remedy.find("copy it anew"), std::string::npos) << remedy;
  }
}

TEST(DiagnosedRuns, SettingsThatNoRunCanWorkWith) {
  SyntheticOptions options;
  options.nStrips = 2;
  Block block(options);
  const SyntheticPaths& files = block.Paths();
  const RunPaths paths{files.szText, files.szGcp, "", "", files.szXml};
  const struct {
    const char *name, *value, *back, *finding;
  } rows[] = {
      {"Image_Coor_Scale", "0", "0.001", "A010"},  {"Point_Resample_Number", "0", "6", "A012"},
      {"Apply_GPS_Data", "true", "false", "A009"}, {"Max_LM_Iteration_Num", "0", "20", "A016"},
      {"Initial_Weight", "0", "1", "A016"},        {"Initial_Weight", "-1", "1", "A016"},
      {"Image_Coor_Scale", "1", "0.001", "A017"},  {"Gross_Point_Threshold", "5,0", "5.0", "A004"},
  };
  block.Set("Resampling_Points", "true");
  EXPECT_EQ(AboveNotes(paths), "");
  for (const auto& row : rows) {
    block.Set(row.name, row.value);
    EXPECT_EQ(AboveNotes(paths).substr(0, 4), row.finding) << row.name;
    block.Set(row.name, row.back);
  }
  EXPECT_EQ(AboveNotes(paths), "");
}

TEST(DiagnosedRuns, NothingLeftToAdjust) {
  SyntheticOptions options;
  options.nStrips = 1;
  options.nImagesPerStrip = 2;
  options.nCameras = 1;
  Block block(options);
  const RunPaths paths{block.Paths().szText, "", "", "", block.Paths().szXml};
  const std::string good = ReadFile(paths.szProject);
  const size_t second = good.find('\n') + 1, third = good.find('\n', second) + 1;
  std::istringstream counts(good);
  int images = 0, cameras = 0;
  counts >> images >> cameras;
  ASSERT_EQ(cameras, 1);
  size_t points = third;
  for (int i = 0; i < 4 * images; ++i) points = good.find('\n', points) + 1;
  const std::string head = std::to_string(images) + " 1 ", camera = good.substr(second, third - second),
                    imageLines = good.substr(third, points - third);
  const struct {
    std::string text, finding;
  } rows[] = {
      {good, ""},
      {good.substr(0, second) + "0 4000 3000 0 -5000 0 0 0 0 0\n" + good.substr(third),
       "R025 0:0 every image is left out, and nothing is left to adjust"},
      {head + "0\n" + camera + imageLines,
       "R025 0:0 no tie point with 2 measurements is left, and nothing to adjust"},
      {head + "1\n" + camera + imageLines + "T1 0 0 0 0\n1\n0 1 2\n",
       "R025 0:0 no tie point with 2 measurements is left, and nothing to adjust"},
  };
  for (const auto& row : rows) {
    WriteFile(paths.szProject, row.text);
    const std::string found = AboveNotes(paths);
    EXPECT_EQ(found.substr(std::min(found.find("R025"), found.size())), row.finding) << found;
  }
  // Other modes have no unknowns.
  block.Set("Direct_Intersection", "true");
  EXPECT_EQ(AboveNotes(paths).find("R025"), std::string::npos);
}

TEST(DiagnosedRuns, MemoryAsARunPlansForIt) {
  SyntheticOptions options;
  options.nStrips = 2;
  Block block(options);
  const SyntheticPaths& files = block.Paths();
  const auto codes = [&](const std::string& project, int64_t bytes) {
    Diagnosis diagnosis;
    DiagnoseRun({project, files.szGcp, "", "", files.szXml}, DiagnosisScope::Everything,
                MadeUpPlatform(bytes, 2), diagnosis);
    return std::array{diagnosis.CountOf("M001"), diagnosis.CountOf("M002"), diagnosis.CountOf("M003")};
  };
  EXPECT_EQ(codes(files.szText, int64_t{1} << 30), (std::array<int64_t, 3>{1, 0, 0}));
  block.Set("Apply_PCG_Model", "true");
  EXPECT_EQ(codes(files.szText, 3000), (std::array<int64_t, 3>{1, 1, 0}));
  EXPECT_EQ(codes(files.szOvc, 3000), (std::array<int64_t, 3>{1, 0, 0}));
  block.Set("Apply_PCG_Model", "false");
  EXPECT_EQ(codes(files.szOvc, 3000), (std::array<int64_t, 3>{1, 0, 1}));
}

}  // namespace
}  // namespace orvo::test
