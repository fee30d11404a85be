#include "check/reading/LossCheck.h"

#include <algorithm>
#include <cmath>

#include "check/StrictLines.h"
#include "check/reading/OrdinalCheck.h"
#include "check/reading/RunLosses.h"
#include "records/ReadingFacts.h"

namespace orvo {
namespace {

bool IsLost(const SurveyBlock& block, const SurveyImage& image) {
  return !RunTakesCamera(block.Cameras[static_cast<size_t>(image.nCamera)]) || IsAtOrigin(image) ||
         !HasFiniteOrientation(image);
}

class LossChecker {
 public:
  LossChecker(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis)
      : Files(files),
        Block(block),
        Result(diagnosis),
        bCameraLost(block.Cameras.size()),
        bImageLost(block.Images.size()) {}

  void CheckCameras();
  void CheckImages();
  void CheckTiePoints();
  void CheckControl();

 private:
  void Add(const char* code, int64_t line, std::string what, std::string remedy) {
    Result.Add(code, {Files.szProject, line}, std::move(what), std::move(remedy));
  }
  FindingPlace PlaceOf(const SurveyPoint& point) const {
    return Files.szOvt.empty() ? FindingPlace{Files.szProject, point.nPlace}
                               : FindingPlace{Files.szOvt, 0, 0, point.nPlace};
  }
  /// The first measurement of the point on an image that is left out, null for none.
  const SurveyMeasurement* FirstLost(std::span<const SurveyMeasurement> measures) const {
    for (const SurveyMeasurement& one : measures) {
      if (bImageLost[static_cast<size_t>(one.nImage)]) return &one;
    }
    return nullptr;
  }
  void TellUnmeasured(const std::vector<int64_t>& measuresOfImage);

  const SurveyFiles& Files;
  const SurveyBlock& Block;
  Diagnosis& Result;
  std::vector<bool> bCameraLost, bImageLost;
};

void LossChecker::CheckCameras() {
  std::vector<int64_t> imagesOf(Block.Cameras.size(), 0);
  for (const SurveyImage& image : Block.Images) ++imagesOf[static_cast<size_t>(image.nCamera)];
  const bool several = Block.Cameras.size() > 1;
  for (size_t c = 0; c < Block.Cameras.size(); ++c) {
    const SurveyCamera& camera = Block.Cameras[c];
    const std::string name = "camera " + std::to_string(c);
    if (!RunTakesCamera(camera)) {
      bCameraLost[c] = true;
      Add("R013", camera.nLine,
          name + " is left out with its " + CountOf(imagesOf[c], "image", {}) +
              ", for f is not above 0 and at most 1e6, or x0 or y0 is not finite",
          "Give f, x0 and y0 in image units, such as pixels");
      continue;
    }
    if (!(std::abs(camera.dK1) <= 1e-5) || !(std::abs(camera.dK2) <= 1e-11))
      Add("R016", camera.nLine, "k1 or k2 of " + name + " is too large, and taken for 0",
          "They are given per squared and per fourth power of an image unit, at most 1e-5 and 1e-11");
    if (camera.bFurtherLost) {
      Add("R016", camera.nLine, "further terms of the distortion of " + name + " are taken for 0",
          "A line with 1 in its field 8 holds k3, p1, p2, b1 and b2 behind k2: write all five");
    } else if (!camera.Further.IsNone()) {
      Add("R026", camera.nLine, name + " has terms of distortion beyond k1 and k2",
          "Adjust with --method rigorous: the classic method takes them for 0");
    }
    if (imagesOf[c] == 0 && several)
      Add("R017", camera.nLine,
          name + " has no image, and cameras behind it may be left out with their images",
          "Take it out of the project, and renumber the cameras behind it in the image blocks");
  }
}

void LossChecker::CheckImages() {
  for (size_t i = 0; i < Block.Images.size(); ++i) {
    const SurveyImage& image = Block.Images[i];
    const std::string name = "image " + NameOfImage(Block.Images, static_cast<int32_t>(i));
    if (bCameraLost[static_cast<size_t>(image.nCamera)]) {
      bImageLost[i] = true;
    } else if (IsAtOrigin(image)) {
      bImageLost[i] = true;
      Add("R014", image.nLine + 3, name + " is left out, for its position is 0 0 0",
          "Give the image a start position");
    } else if (!HasFiniteOrientation(image)) {
      bImageLost[i] = true;
      Add("R014", image.nLine + 2, name + " is left out, for its position or its angles are not finite",
          "Give the image a rotation matrix and a position");
    }
  }
}

void LossChecker::TellUnmeasured(const std::vector<int64_t>& measuresOfImage) {
  for (size_t i = 0; i < Block.Images.size(); ++i) {
    if (bImageLost[i] || measuresOfImage[i] > 0) continue;
    Add("R015", Block.Images[i].nLine,
        "image " + NameOfImage(Block.Images, static_cast<int32_t>(i)) +
            " has no tie point, and is left out of an adjustment",
        "Match it with its neighbours, or take it out of the project");
  }
}

void LossChecker::CheckTiePoints() {
  std::vector<int64_t> measuresOfImage(Block.Images.size(), 0);
  for (const SurveyMeasurement& one : Block.Tie.Measurements)
    ++measuresOfImage[static_cast<size_t>(one.nImage)];
  TellUnmeasured(measuresOfImage);
  const bool anyLost = std::ranges::find(bImageLost, true) != bImageLost.end();
  NamedCount few, typed;
  for (const SurveyPoint& point : Block.Tie.Points) {
    const SurveyMeasurement* lost = anyLost ? FirstLost(Block.Tie.Of(point)) : nullptr;
    if (lost != nullptr && Files.szOvt.empty()) {
      Result.Add("R018", PlaceOf(point),
                 "point " + Quoted(point.szName.data()) +
                     " is left out whole, for its measurement in image " +
                     NameOfImage(Block.Images, lost->nImage) + ", which is left out",
                 "Correct the image, or take its measurements out");
    }
    if (point.nMeasurementNum < 2) few.Add(point.szName.data());
    if (point.nType != 0) typed.Add(point.szName.data());
  }
  for (size_t i = 0; i < Block.Images.size() && !Files.szOvt.empty(); ++i) {
    if (!bImageLost[i] || measuresOfImage[i] == 0) continue;
    Add("R019", Block.Images[i].nLine,
        CountOf(measuresOfImage[i], "measurement", {}) + " in image " +
            NameOfImage(Block.Images, static_cast<int32_t>(i)) + " are set aside with it",
        "Correct the image, or take its measurements out");
  }
  const std::string& file = Files.szOvt.empty() ? Files.szProject : Files.szOvt;
  if (few.nCount > 0)
    Result.Add(
        "R020", {file},
        CountOf(few.nCount, "tie point", few.Names) + ": fewer than 2 measurements, which determine nothing",
        "Leave such points out");
  if (typed.nCount > 0)
    Result.Add("R024", {file},
               CountOf(typed.nCount, "point", typed.Names) + ": of a type other than 0 among the tie points",
               "Control and check points belong in the GCP file");
}

void LossChecker::CheckControl() {
  NamedCount untyped, onLost;
  for (const SurveyPoint& point : Block.Control.Points) {
    if (point.nType == 0) untyped.Add(point.szName.data());
    if (FirstLost(Block.Control.Of(point)) != nullptr) onLost.Add(point.szName.data());
  }
  if (untyped.nCount > 0)
    Result.Add("R022", {Files.szGcp},
               CountOf(untyped.nCount, "point", untyped.Names) + ": of type 0, neither control nor check",
               "Control points have type 1, check points type 2");
  if (onLost.nCount > 0)
    Result.Add("R023", {Files.szGcp},
               CountOf(onLost.nCount, "point", onLost.Names) +
                   ": with a measurement on an image that is left out, which does not count",
               "Correct the image");
}

}  // namespace

void CheckLosses(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis) {
  LossChecker checker(files, block, diagnosis);
  checker.CheckCameras();
  checker.CheckImages();
  checker.CheckTiePoints();
  checker.CheckControl();
}

bool CheckRemainder(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis) {
  std::vector<bool> lost;
  for (const SurveyImage& image : block.Images) lost.push_back(IsLost(block, image));
  // A text project loses a point whole, an .ovt the measurement only.
  const auto isLeft = [&](const SurveyPoint& point) {
    const auto measures = block.Tie.Of(point);
    const auto gone = std::ranges::count_if(
        measures, [&](const SurveyMeasurement& one) { return lost[static_cast<size_t>(one.nImage)]; });
    return std::ssize(measures) - gone >= 2 && (gone == 0 || !files.szOvt.empty());
  };
  if (std::ranges::any_of(block.Tie.Points, isLeft)) return true;
  const auto images = std::ranges::count(lost, false);
  diagnosis.Add("R025", {files.szProject},
                images == 0 ? "every image is left out, and nothing is left to adjust"
                            : "no tie point with 2 measurements is left, and nothing to adjust",
                images == 0 ? "Look at the warnings about cameras and images"
                            : "Match the images, and look at the number of points in the file");
  return false;
}

}  // namespace orvo
