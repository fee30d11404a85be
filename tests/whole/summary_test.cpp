// summary.json of runs of every form: as its schema says, readable, and in step with the other outputs.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <set>

#include "report/json/SchemaCheck.h"
#include "report/json/SummaryReading.h"
#include "support/TestFiles.h"
#include "verdict/VerdictText.h"
#include "whole/DeviceRuns.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

json Schema() { return json::parse(ReadFile(SourceFolder() + "/docs/summary.schema.json")); }

/// "crc32:" and eight digits, bit by bit.
std::string ChecksumOf(const std::string& bytes) {
  uint32_t crc = ~0U;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xedb88320U : crc >> 1;
  }
  std::array<char, 20> text{};
  std::snprintf(text.data(), text.size(), "crc32:%08x", ~crc);
  return text.data();
}

struct Form {
  const char* szName;
  const char* szSolver;
  std::function<void(SyntheticOptions&)> Plan = [](SyntheticOptions&) {};
  std::function<void(Block&, BlockRun&)> Change = [](Block&, BlockRun&) {};
  bool bAdjusted = true;
};

void PrintTo(const Form& form, std::ostream* out) { *out << form.szName; }

void StartAtTruth(SyntheticOptions& options) {
  options.fStartPosition = options.fStartAngle = options.fStartFocal = options.fStartPrincipal = 0;
}

std::function<void(Block&, BlockRun&)> With(const char* element, const char* value) {
  return [=](Block& block, BlockRun&) { block.Set(element, value); };
}

const Form kForms[] = {
    {"Dense", "dense"},
    {"Sparse", "sparse", [](auto&) {}, With("Apply_PCG_Model", "true")},
    {"Device", "device", [](auto&) {}, [](Block&, BlockRun& run) { run.Options = device::HostOptions(); }},
    {"Intersection", "dense", StartAtTruth, With("Direct_Intersection", "true"), false},
    {"Orientation", "dense", StartAtTruth, With("Absolute_Orientation", "true"), false},
    {"Binary", "dense", [](auto&) {}, [](Block&, BlockRun& run) { run.bBinary = true; }},
    {"ColonSettings", "dense", [](auto&) {}, [](Block&, BlockRun& run) { run.bColonForm = true; }},
    {"Thinned", "dense", [](auto&) {}, With("Resampling_Points", "true")},
    {"Sections", "dense", [](auto&) {},
     [](Block&, BlockRun& run) {
       run.bBinary = true;
       run.Machine = MadeUpPlatform(200 << 10, 2);
     }},
    {"CameraKnown", "dense", [](auto&) {}, With("Set_IOP_Unknown", "false")},
    {"CameraFree", "dense", [](auto&) {}, With("Set_IOP_Unknown", "true")},
    {"ImagesKnown", "dense", StartAtTruth, With("Set_EOP_Unknown", "false")},
    {"ACameraAnImage", "dense", [](auto& options) { options.nCameras = 0; }},
    {"Free", "dense", [](auto& options) { options.nControlPoints = options.nCheckPoints = 0; }},
    {"NoGcpFile", "dense", [](auto&) {}, [](Block&, BlockRun& run) { run.bGcp = false; }},
    {"Pos", "dense", [](auto&) {},
     [](Block& block, BlockRun& run) {
       block.Set("Apply_GPS_Data", "true");
       run.bPos = true;
     }},
    {"PosAndAngles", "dense", [](auto&) {},
     [](Block& block, BlockRun& run) {
       block.Set("Apply_GPS_Data", "true");
       block.Set("Apply_IMU_Data", "true");
       run.bPos = true;
     }},
    {"Outliers", "dense", [](auto& options) { options.fOutlierFraction = 0.05; }},
    {"Unusable", "dense", [](auto& options) { options.nControlPoints = 3; },
     [](Block& block, BlockRun&) {
       // East and north exchanged.
       std::string gcp = ReadFile(block.Paths().szGcp), text;
       for (size_t at = 0, end = 0; (end = gcp.find('\n', at)) != std::string::npos; at = end + 1) {
         std::array<char, 64> name{};
         double X = 0, Y = 0, Z = 0;
         int type = 0;
         const std::string line = gcp.substr(at, end - at);
         if (std::sscanf(line.c_str(), "%63s %lf %lf %lf %d", name.data(), &X, &Y, &Z, &type) == 5)
           text += std::string(name.data()) + " " + std::to_string(Y) + " " + std::to_string(X) + " " +
                   std::to_string(Z) + " " + std::to_string(type) + "\n";
         else
           text += line + "\n";
       }
       WriteFile(block.Paths().szGcp, text);
     }},
};

class SummaryForms : public ::testing::TestWithParam<Form> {
 protected:
  SummaryForms() : Made(Planned()) {
    Run.Options.Rules = RunRules::Guarded;
    GetParam().Change(Made, Run);
    Run.Options.Rules = RunRules::Guarded;
    Run.Options.Report.bPage = false;
    Outcome = Made.Run(Run);
    EXPECT_TRUE(Outcome.bDone) << Made.Log();
    szFolder = SummaryFolder(Made.Output(""));
    Summary = SummaryIn(szFolder);
  }
  static SyntheticOptions Planned() {
    SyntheticOptions options;
    GetParam().Plan(options);
    return options;
  }
  bool Is(const char* name) const { return std::string(GetParam().szName) == name; }
  int64_t Count(const char* key) const { return Summary["counts"][key].get<int64_t>(); }

  Block Made;
  BlockRun Run;
  RunOutcome Outcome;
  std::string szFolder;
  json Summary;
};

TEST_P(SummaryForms, FitsTheSchemaAndReadsBack) {
  EXPECT_EQ(FirstMisfit(Schema(), Summary), "");
  InputFiles inputs;
  const report::SummaryOrFault read = report::ReadSummary(szFolder + "/summary.json", inputs);
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read)) << std::get<std::string>(read);
  const auto& figures = std::get<report::RunFigures>(read);
  EXPECT_EQ(figures.Counts.nImages, Count("images"));
  EXPECT_EQ(figures.vImages.size(), Summary["images"].size());
  EXPECT_EQ(figures.Residuals.StrictKept.Rmse.x, Summary["residuals"]["strict_kept"]["rmse"][0]);
  EXPECT_EQ(figures.Pos.has_value(), !Summary["pos"].is_null());
}

TEST_P(SummaryForms, CountsAreThoseOfTheBlock) {
  const SyntheticCounts& truth = Made.Truth().Counts;
  EXPECT_EQ(Count("images_in_file"), truth.nImages);
  EXPECT_EQ(Count("images"), truth.nImages);
  EXPECT_EQ(Summary["images"].size(), static_cast<size_t>(truth.nImages));
  EXPECT_EQ(Count("cameras"), truth.nCameras);
  EXPECT_EQ(Count("tie_points_in_file"), truth.nTiePoints);
  const bool gcp = !Is("NoGcpFile");
  EXPECT_EQ(Count("control"), gcp ? truth.nControlPoints : 0);
  EXPECT_EQ(Count("check"), gcp ? truth.nCheckPoints : 0);
  EXPECT_EQ(Summary["ground"]["points"].size(), static_cast<size_t>(Count("control") + Count("check")));
  if (Is("Thinned") || Is("ColonSettings")) {
    EXPECT_LT(Count("tie_points"), truth.nTiePoints);
    EXPECT_GT(Count("tie_points"), truth.nTiePoints / 10);
  } else {
    EXPECT_EQ(Count("tie_points"), truth.nTiePoints);
    EXPECT_EQ(Count("measurements"), truth.nTieMeasurements + (gcp ? truth.nGroundMeasurements : 0));
  }
  EXPECT_EQ(Count("sections") > 1, Is("Sections"));
  const bool pos = Is("Pos") || Is("PosAndAngles");
  EXPECT_EQ(Count("pos_images"), pos ? truth.nImages : 0);
  EXPECT_EQ(Count("strips"), pos ? truth.nStrips : 0);
  EXPECT_EQ(Summary["pos"].is_null(), !pos);
  int64_t used = 0, gross = 0, ofCameras = 0;
  for (const json& image : Summary["images"]) {
    used += image["used"].get<int64_t>();
    gross += image["gross"].get<int64_t>();
  }
  for (const json& camera : Summary["cameras"]) ofCameras += camera["images"].get<int64_t>();
  EXPECT_EQ(ofCameras, truth.nImages);
  EXPECT_LE(used + gross, Count("measurements"));
  EXPECT_GE(used + gross, Count("measurements") * 98 / 100);
  EXPECT_EQ(gross > 100, Is("Outliers") || Is("Unusable")) << gross;
}

TEST_P(SummaryForms, FiguresAreThoseOfTheReportAndTheVerdict) {
  EXPECT_EQ(Summary["solver"], GetParam().szSolver);
  EXPECT_EQ(Summary["adjusted"], GetParam().bAdjusted);
  EXPECT_EQ(Summary["iterations"].empty(), !GetParam().bAdjusted);
  EXPECT_TRUE(Summary["done"]);
  const Report report = ReadReport(szFolder + "/OrvoAdjustReport.txt");
  ASSERT_TRUE(report.bRead);
  const json& listed = Summary["residuals"]["listed"];
  for (size_t axis = 0; axis < 2; ++axis) {
    if (!GetParam().bAdjusted) {
      // What the report prints then is what the statistics begin with.
      EXPECT_TRUE(listed["rmse"][axis].is_null() && listed["mean"][axis].is_null());
      continue;
    }
    EXPECT_NEAR(listed["rmse"][axis].get<double>(), report.Rmse[axis], 1e-6 + 1e-6 * report.Rmse[axis]);
    EXPECT_NEAR(listed["mean"][axis].get<double>(), report.Mean[axis], 1e-6 + 1e-6 * report.Rmse[axis]);
  }
  EXPECT_EQ(report.Control.nNumber, Summary["ground"]["listed_control"]["count"]);
  EXPECT_EQ(report.Check.nNumber, Summary["ground"]["listed_check"]["count"]);
  for (size_t axis = 0; axis < 3; ++axis) {
    const json& rmse = Summary["ground"]["listed_check"]["rmse"][axis];
    // Without an adjustment the report counts none, and lists the differences of all.
    EXPECT_EQ(rmse.is_null(), GetParam().bAdjusted && report.Check.nNumber == 0);
    if (rmse.is_null()) continue;
    EXPECT_NEAR(rmse.get<double>(), report.Check.Rmse[axis], 1e-6 + 1e-6 * report.Check.Rmse[axis]);
  }
  // The listing has that of the block as it was read, which bad settings can shrink.
  if (Outcome.Judgement.Result == Grade::Good) {
    EXPECT_NEAR(Summary["points"]["gsd"].get<double>(), report.fGsd, 0.02 * report.fGsd);
  }
  EXPECT_EQ(Summary["verdict"]["result"], GradeName(Outcome.Judgement.Result));
  EXPECT_EQ(Summary["verdict"]["reasons"].size(), Outcome.Judgement.vReasons.size());
  EXPECT_EQ(ReadFile(szFolder + "/verdict.txt"), VerdictText(Outcome.Judgement));
  EXPECT_EQ(szFolder.ends_with("/unusable"), Is("Unusable"));
  EXPECT_EQ(Outcome.Judgement.Result == Grade::Unusable, Is("Unusable"));
}

TEST_P(SummaryForms, TimesInputsAndSettingsAreToldAsTheyAre) {
  double sum = 0;
  for (const json& phase : Summary["phases"]) sum += phase["seconds"].get<double>();
  const double total = Summary["seconds"];
  EXPECT_NEAR(sum, total, 0.02 + 0.05 * total);
  EXPECT_GT(Summary["memory"]["peak_bytes"], 1 << 20);
  std::set<std::string> roles;
  for (const json& input : Summary["inputs"]) {
    const std::string bytes = ReadFile(input["path"]);
    EXPECT_EQ(input["bytes"], bytes.size()) << input;
    EXPECT_EQ(input["checksum"], ChecksumOf(bytes)) << input;
    roles.insert(input["role"]);
  }
  EXPECT_EQ(roles.contains("tie points"), Run.bBinary);
  EXPECT_EQ(roles.contains("gcp"), Run.bGcp);
  EXPECT_EQ(roles.contains("pos"), Run.bPos);
  EXPECT_TRUE(roles.contains("project") && roles.contains("settings"));
  EXPECT_GT(Summary["settings"].size(), 20U);
}

INSTANTIATE_TEST_SUITE_P(All, SummaryForms, ::testing::ValuesIn(kForms),
                         [](const auto& row) { return std::string(row.param.szName); });

TEST(Summary, ChecksumIsTheCommonOne) { EXPECT_EQ(ChecksumOf("123456789"), "crc32:cbf43926"); }

using Origins = std::map<std::string, std::string>;

/// "value, origin" of every setting.
Origins OriginsOf(const json& summary) {
  Origins origins;
  for (const json& setting : summary["settings"])
    origins[setting["key"]] =
        setting["value"].get<std::string>() + ", " + setting["origin"].get<std::string>();
  return origins;
}

TEST(Summary, SettingsHaveTheirOrigins) {
  Block block;
  block.Set("Apply_GPS_Data", "true");
  block.Set("Correct_Const_Error", "false");
  block.Set("Correct_LinearError", "false");
  BlockRun run;
  run.bPos = true;
  ASSERT_EQ(ParseOverride("Gross_Point_Threshold=6", run.Options.Overrides.emplace_back()), "");
  Origins told = OriginsOf(SummaryOfRun(block, run));
  EXPECT_EQ(told["Apply_GPS_Data"], "true, file");
  EXPECT_EQ(told["Gross_Point_Threshold"], "6, command line");
  EXPECT_EQ(told["Correct_Const_Error"], "true, run");
  EXPECT_EQ(told["Correct_LinearError"], "false, file");
}

TEST(Summary, WhatTheSettingsFileLacksIsADefault) {
  Block block;
  std::string settings = ReadFile(block.Paths().szIni);
  const size_t at = settings.find("Gross_Point_Threshold");
  ASSERT_NE(at, std::string::npos);
  BlockRun run;
  run.bColonForm = true;
  EXPECT_EQ(OriginsOf(SummaryOfRun(block, run))["Gross_Point_Threshold"], "5, file");
  settings.erase(at, settings.find('\n', at) + 1 - at);
  WriteFile(block.Paths().szIni, settings);
  EXPECT_EQ(OriginsOf(SummaryOfRun(block, run))["Gross_Point_Threshold"], "5, default");
}

TEST(Summary, AFailedRunHasOneToo) {
  Block block;
  WriteFile(block.Paths().szText, "");
  BlockRun run;
  run.Options.Rules = RunRules::Guarded;
  EXPECT_FALSE(block.Run(run).bDone);
  const std::string folder = SummaryFolder(block.Output(""));
  EXPECT_TRUE(folder.ends_with("/failed")) << folder;
  const json summary = SummaryIn(folder);
  EXPECT_EQ(FirstMisfit(Schema(), summary), "");
  EXPECT_FALSE(summary["done"]);
  EXPECT_FALSE(summary["converged"]);
  EXPECT_FALSE(summary["verdict"]["judged"]);
  EXPECT_NE(summary["failure"], "");
  EXPECT_TRUE(summary["images"].empty());
  const json& project = summary["inputs"][0];
  EXPECT_EQ(project["role"], "project");
  EXPECT_EQ(project["path"], block.Paths().szText);
  EXPECT_EQ(project["checksum"], ChecksumOf(""));
}

}  // namespace
}  // namespace orvo::test
