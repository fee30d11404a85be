#include "exchange/ResultReading.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

#include "base/PrintableName.h"
#include "block/ProjectForm.h"
#include "check/SurveyReading.h"
#include "check/reading/HeadReading.h"
#include "exchange/ExchangeFault.h"
#include "exchange/StrictResiduals.h"

namespace orvo::exchange {
namespace {

namespace fs = std::filesystem;

constexpr char kResultOvc[] = "OrvoResult.ovc", kResultOvt[] = "OrvoResult.ovt";

void ThrowFirstError(const Diagnosis& diagnosis) {
  for (const Finding& finding : diagnosis.Findings()) {
    if (finding.Weight == Severity::Error) throw ExchangeFault(finding);
  }
}

SurveyBlock ReadWhole(SurveyFiles& files) {
  SurveyBlock block;
  Diagnosis diagnosis;
  const bool usable = ReadSurvey(files, block, diagnosis);
  ThrowFirstError(diagnosis);
  if (!usable) Refuse(files.szProject, 0, "the block can't be read", "Run orvo check on it");
  return block;
}

/// Text projects beside the result folder that have its images.
std::vector<std::string> ProjectsOf(const fs::path& folder, const SurveyBlock& result) {
  std::vector<std::string> projects;
  std::error_code error;
  const fs::path parent = fs::absolute(folder, error).lexically_normal().parent_path();
  fs::directory_iterator entries(error ? folder : parent, error);
  for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
    const fs::path& file = entries->path();
    if (file.extension() != ".prj" || !entries->is_regular_file(error)) continue;
    try {
      if (HaveSameImages(ReadHeadOnly(file.string()), result)) projects.push_back(file.string());
    } catch (const ExchangeFault&) {
      // A project that can't be read is not the one.
    }
  }
  std::sort(projects.begin(), projects.end());
  return projects;
}

std::string ProjectOfResult(const fs::path& folder, const SurveyBlock& result) {
  const std::vector<std::string> projects = ProjectsOf(folder, result);
  if (projects.size() == 1) return projects.front();
  const std::string remedy = "Name the project that it comes from with --project";
  if (projects.empty()) {
    Refuse(folder.string(), 0,
           "the result has no OrvoResult.ovt, and no .prj beside the folder has its images", remedy);
  }
  Refuse(folder.string(), 0,
         "the result has no OrvoResult.ovt, and several projects have its images: " +
             PrintableName(projects[0]) + ", " + PrintableName(projects[1]),
         remedy);
}

void IntersectAnew(SurveyBlock& block) {
  for (SurveyPoint& point : block.Tie.Points) IntersectStrictly(block, block.Tie.Of(point), point.P);
}

void RefuseForeign(const std::string& path, const SurveyBlock& project, const SurveyBlock& result,
                   const std::string& ovc) {
  if (HaveSameImages(project, result) && project.Cameras.size() == result.Cameras.size()) return;
  Refuse(path, 0, "the project has other images than the result " + PrintableName(ovc),
         "Name the project that the result comes from with --project");
}

ResultBlock ReadFolder(const fs::path& folder, const std::string& project, const std::string& gcp,
                       const std::string& pos) {
  ResultBlock result;
  result.bResult = true;
  const std::string ovc = (folder / kResultOvc).string();
  if (!fs::exists(ovc)) {
    Refuse(folder.string(), 0, "the folder has no OrvoResult.ovc",
           "Name an output folder of orvo adjust, or a project");
  }
  result.Files.szGcp = gcp;
  result.Files.szPos = pos;
  result.szOrigin = project;
  const bool binary = fs::exists(folder / kResultOvt);
  if (binary) {
    result.Files.szProject = ovc;
    result.Block = ReadWhole(result.Files);
    if (!project.empty()) RefuseForeign(project, ReadHeadOnly(project), result.Block, ovc);
  } else {
    SurveyBlock head = ReadHeadOnly(ovc);
    if (project.empty()) result.szOrigin = ProjectOfResult(folder, head);
    result.Files.szProject = result.szOrigin;
    result.Block = ReadWhole(result.Files);
    RefuseForeign(result.szOrigin, result.Block, head, ovc);
    result.Block.Cameras = std::move(head.Cameras);
    result.Block.Images = std::move(head.Images);
  }
  result.Left = LeaveOut(result.Block, binary ? BlockOrigin::BinaryResult : BlockOrigin::TextResult);
  IntersectAnew(result.Block);
  return result;
}

}  // namespace

SurveyBlock ReadHeadOnly(const std::string& path) {
  SurveyBlock block;
  SurveyHead head;
  Diagnosis diagnosis;
  bool whole = false;
  {
    SurveyText text(path, diagnosis);
    whole = text.IsReadable() && ReadSurveyHead(text, OvtPathOfProject(path).empty(), block, head);
  }
  ThrowFirstError(diagnosis);
  if (!whole) Refuse(path, 0, "cameras and images can't be read", "Run orvo check on it");
  return block;
}

bool HaveSameImages(const SurveyBlock& one, const SurveyBlock& other) {
  return std::ranges::equal(one.Images, other.Images, {}, &SurveyImage::szPath, &SurveyImage::szPath);
}

ResultBlock ReadResult(const std::string& path, const std::string& project, const std::string& gcp,
                       const std::string& pos) {
  const fs::path given(path);
  std::error_code error;
  if (fs::is_directory(given, error)) return ReadFolder(given, project, gcp, pos);
  if (given.filename() == kResultOvc) {
    return ReadFolder(given.has_parent_path() ? given.parent_path() : fs::path("."), project, gcp, pos);
  }
  ResultBlock result;
  result.Files.szProject = result.szOrigin = path;
  result.Files.szGcp = gcp;
  result.Files.szPos = pos;
  result.Block = ReadWhole(result.Files);
  result.Left = LeaveOut(result.Block, BlockOrigin::Project);
  return result;
}

int64_t IntersectStale(ResultBlock& result) {
  constexpr double kTimesWorse = 2, kWorse = 0.5;  // RMS, pixels
  SurveyBlock& block = result.Block;
  std::vector<ImageVector> residuals;
  const auto rms = [&](const SurveyPoint& point, const std::array<double, 3>& P) {
    StrictResidualsAt(block, block.Tie.Of(point), P, residuals);
    double squares = 0;
    for (const ImageVector& v : residuals) squares += v.x * v.x + v.y * v.y;
    return std::sqrt(squares / static_cast<double>(residuals.size()));
  };
  int64_t count = 0;
  for (SurveyPoint& point : block.Tie.Points) {
    std::array<double, 3> P = point.P;
    if (!IntersectStrictly(block, block.Tie.Of(point), P)) continue;
    const double given = rms(point, point.P);
    if (given <= kTimesWorse * rms(point, P) + kWorse) continue;
    point.P = P;
    ++count;
  }
  return count;
}

}  // namespace orvo::exchange
