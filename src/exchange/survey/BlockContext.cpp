#include "exchange/survey/BlockContext.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ProjectCameras.h"
#include "exchange/ResultReading.h"

namespace orvo::exchange {
namespace {

constexpr int32_t kNone = -1, kSeveral = -2;

std::string WithoutFolder(const std::string& name) {
  const size_t separator = name.find_last_of("/\\");
  return separator == std::string::npos ? name : name.substr(separator + 1);
}

std::string WithoutExtension(const std::string& name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string InSmallLetters(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

/// The ways in which names are alike, from the closest on.
std::string NameAt(size_t stage, const std::string& name) {
  if (stage == 0) return name;
  std::string file = WithoutFolder(name);
  if (stage == 1) return file;
  return stage == 2 ? WithoutExtension(file) : InSmallLetters(WithoutExtension(file));
}

}  // namespace

BlockContext::BlockContext(const std::string& project) : szProject(project) {
  if (project.empty()) return;
  Survey = ReadHeadOnly(project);
  Kept = ReadSidecar(SidecarPathOf(project));
  if (Kept &&
      (Kept->Images.size() != Survey.Images.size() || Kept->Cameras.size() != Survey.Cameras.size())) {
    Refuse(SidecarPathOf(project), 0, "it is not that of the project: it has other images or cameras",
           "Import the block again, or take the file away");
  }
  for (size_t i = 0; i < Survey.Images.size(); ++i) {
    for (size_t stage = 0; stage < Names.size(); ++stage) {
      AddName(stage, NameAt(stage, Survey.Images[i].szPath), static_cast<int32_t>(i));
      if (Kept) AddName(stage, NameAt(stage, Kept->Images[i].szName), static_cast<int32_t>(i));
    }
  }
}

void BlockContext::AddName(size_t stage, const std::string& name, int32_t image) {
  if (name.empty()) return;
  const auto [place, isNew] = Names[stage].emplace(name, image);
  if (!isNew && place->second != image) place->second = kSeveral;
}

int32_t BlockContext::FindImage(const std::string& name) const {
  for (size_t stage = 0; stage < Names.size(); ++stage) {
    const auto found = Names[stage].find(NameAt(stage, name));
    if (found != Names[stage].end()) return found->second;
  }
  return kNone;
}

std::string BlockContext::PosName(int32_t image) const {
  return Survey.Images[static_cast<size_t>(image)].szName;
}

std::optional<std::array<double, 2>> BlockContext::Measurement(int32_t image, double px, double py) const {
  const int32_t ordinal = Survey.Images[static_cast<size_t>(image)].nCamera;
  if (ordinal < 0 || static_cast<size_t>(ordinal) >= Survey.Cameras.size()) return std::nullopt;
  const auto index = static_cast<size_t>(ordinal);
  const SurveyCamera& camera = Survey.Cameras[index];
  const double width = Kept ? Kept->Cameras[index].nWidth : camera.nWidth,
               height = Kept ? Kept->Cameras[index].nHeight : camera.nHeight;
  if (!(px >= 0 && px <= width && py >= 0 && py <= height)) return std::nullopt;
  ImageVector measured{px - width / 2, height / 2 - py};
  if (Kept) {
    ProjectCamera original;
    original.Foreign = Kept->Cameras[index];
    original.Ours = Kept->Written[index];
    original.Mode = Kept->Distortion;
    const auto ready = original.FromMeasured(measured);
    if (!ready) return std::nullopt;
    measured = *ready;
  }
  return std::array<double, 2>{measured.x, measured.y};
}

}  // namespace orvo::exchange
