#include "verdict/Judge.h"

#include <algorithm>
#include <cmath>

#include "base/PrintableName.h"
#include "verdict/JudgementTexts.h"
#include "verdict/PrecisionJudgement.h"

namespace orvo {
namespace {

/// Of fewer, one wrong point is told by itself.
constexpr int64_t kFewestCheckPoints = 3;

double Percent(int64_t part, int64_t whole) {
  return whole > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

/// The median of all values but number `without`; 0 where there is none.
double MedianOfOthers(std::vector<double> values, size_t without) {
  values.erase(values.begin() + static_cast<ptrdiff_t>(without));
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

class Judgement {
 public:
  Judgement(const VerdictFigures& figures, const VerdictLimits& limits) : F(figures), L(limits) {}

  Verdict Finish() {
    Finiteness();
    if (F.bAdjusted) Iteration();
    Points();
    if (F.bAdjusted) Cameras();
    JudgePrecision(F, L, Result.vReasons);
    Groups();
    Ground();
    Positions();
    Frame();
    Images();
    std::ranges::stable_sort(Result.vReasons, std::greater<>(), &VerdictReason::Weight);
    if (!Result.vReasons.empty()) Result.Result = Result.vReasons.front().Weight;
    Result.bJudged = true;
    return std::move(Result);
  }

 private:
  void Add(Grade weight, std::string what, std::string limit, std::string remedy) {
    Result.vReasons.push_back({weight, std::move(what), std::move(limit), std::move(remedy)});
  }
  void Doubt(std::string what, std::string limit, std::string remedy) {
    Add(Grade::Doubtful, std::move(what), std::move(limit), std::move(remedy));
  }
  void Reject(std::string what, std::string limit, std::string remedy) {
    Add(Grade::Unusable, std::move(what), std::move(limit), std::move(remedy));
  }
  /// At least the floor of an RMSE, which is also taken for one that is no number, so that no limit is none.
  double Floor(double rmse) const { return std::fmax(rmse, L.fRmseFloor); }

  void Finiteness();
  void Iteration();
  void Convergence();
  void Points();
  void Means();
  void Cameras();
  void Groups();
  void GroupList(const char* kind, const std::vector<GroupFigure>& groups);
  void Ground();
  void GroundList(const std::vector<GroundFigure>& points);
  void CheckPoints(const std::vector<GroundFigure>& points);
  void Positions();
  void Frame();
  void Similarity();
  void Images();

  const VerdictFigures& F;
  const VerdictLimits& L;
  Verdict Result;
};

void Judgement::Finiteness() {
  if (!F.bFinite) {
    Reject("an orientation or camera is not a number: " + PrintableName(F.szNotFinite), "",
           "Look at its start values, and at a larger Damping_Coefficient");
  }
  if (F.bHasPoints && F.nUsed > 0 && !std::isfinite(F.fEndRmse)) {
    Reject("the RMSE is not a number", "", "Look at the start values of images and cameras");
  }
}

void Judgement::Iteration() {
  if (F.bHasPoints && std::isfinite(F.fEndRmse)) {
    const double ratio = Floor(F.fEndRmse) / Floor(F.fStartRmse);
    const std::string what =
        Format("RMSE %.3g px at the end, %.3g px at the start", F.fEndRmse, F.fStartRmse);
    const char* remedy =
        "The iteration ran away: look at the start values and the control, or give a larger "
        "Damping_Coefficient";
    if (!(ratio <= L.fRmseGrowth)) {
      Reject(what, Format("%.4g times", L.fRmseGrowth), remedy);
    } else if (ratio > L.fRmseRise) {
      Doubt(what, Format("%.4g times", L.fRmseRise), remedy);
    }
  }
  Convergence();
}

void Judgement::Convergence() {
  if (F.bSingular) {
    Doubt("the last equations could not be solved", "",
          "Something in the block is not determined: look at images with few points, and give a larger "
          "Damping_Coefficient");
    return;
  }
  if (F.bReachedEnd) {
    if (!*F.bReachedEnd)
      Doubt(Format("not converged after %d iterations", F.nIterations), "",
            "Give a larger Max_Iterations, or start from the result");
    return;
  }
  const char* remedy = "Give larger Free_LM_Iteration_Num and Max_LM_Iteration_Num, or start from the result";
  const double change = 100 * std::fabs(Floor(F.fEndRmse) / Floor(F.fLastRmse) - 1);
  const double decreaseLimit = DecreaseLimit(F.Decrease, L);
  if (F.bPredicted && !(100 * F.fPredictedShare <= decreaseLimit)) {
    Doubt(Format("not converged after %d iterations: the sum of squares would fall by %.2g %%", F.nIterations,
                 100 * F.fPredictedShare),
          Format("%.3g %%", decreaseLimit), remedy);
  } else if (F.bHasPoints && !(change <= L.fLastChange)) {
    Doubt(Format("%s: the last step changed the RMSE from %.4g px to %.4g px",
                 F.bLastAllowed ? "the iteration ended at its last allowed step" : "not converged",
                 F.fLastRmse, F.fEndRmse),
          Format("%.4g %%", L.fLastChange), remedy);
  }
}

void Judgement::Points() {
  if (!F.bHasPoints) return;
  const double used = Percent(F.nUsed, F.nMeasurements), behind = Percent(F.nPointsNotInFront, F.nPoints);
  if (F.nMeasurements > 0 && used < L.fLeastUsed) {
    Reject(Format("%.3g %% of the measurements are in the solution", used), Format("%.4g %%", L.fLeastUsed),
           "Look at the start values, the units of the measurements and Gross_Point_Threshold");
  }
  if (behind > L.fNotInFront) {
    Reject(Format("%.3g %% of the points are not in front of their cameras", behind),
           Format("%.4g %%", L.fNotInFront),
           "Look at the sense of the image axes (y is up), the rotation matrices, and the control");
  }
  if ((F.bHasControl || F.bHasGps) && Percent(F.nCentresBelow, F.nCentres) > L.fCentresBelow) {
    Reject(Format("%.3g %% of the projection centres are below the points",
                  Percent(F.nCentresBelow, F.nCentres)),
           Format("%.4g %%", L.fCentresBelow),
           "Look at the order of the axes in the GCP and POS files (east, north, up)");
  }
  const double gross = Percent(F.nGross, F.nMeasurements);
  if (gross > L.fGross) {
    Doubt(Format("%.3g %% of the measurements are gross", gross), Format("%.4g %%", L.fGross),
          "Look at the gross measurements by image in report.html, or --residuals-csv, at wrong matches, and "
          "at "
          "the "
          "control");
  }
  Means();
}

void Judgement::Means() {
  if (F.nUsed < 2) return;
  const auto judge = [&](const char* axis, double mean, double rmse) {
    const double limit =
        std::max(L.fMeanErrors * rmse / std::sqrt(static_cast<double>(F.nUsed)), L.fMeanFloor * Floor(rmse));
    if (!(std::fabs(mean) > limit)) return;
    Doubt(Format("mean residual in %s %.3g px", axis, mean), Format("%.3g px", limit),
          "Something pulls all images one way: look at the control, the cameras and the convergence");
  };
  judge("x", F.fMeanX, F.fRmseX);
  judge("y", F.fMeanY, F.fRmseY);
}

void Judgement::Cameras() {
  for (const CameraFigure& camera : F.vCameras) {
    const std::string name = PrintableName(camera.szName);
    if (camera.fStartFocal == 0 || !std::isfinite(camera.fEndFocal)) continue;
    if (camera.fEndFocal / camera.fStartFocal <= 0) {
      Reject(Format("the focal length of camera %s went from %.6g to %.6g", name.c_str(), camera.fStartFocal,
                    camera.fEndFocal),
             "", "Look at the start values and the control, or keep the camera with Set_IOP_Unknown false");
      continue;
    }
    const double change = 100 * std::fabs(camera.fEndFocal / camera.fStartFocal - 1);
    if (!(change > L.fFocalChange)) continue;
    Doubt(
        Format("the focal length of camera %s moved from %.6g to %.6g, by %.3g %%", name.c_str(),
               camera.fStartFocal, camera.fEndFocal, change),
        Format("%.4g %%", L.fFocalChange),
        "Look at the camera's start value and the control; with flat ground and one height it takes control "
        "to tell focal length from height");
  }
}

void Judgement::GroupList(const char* kind, const std::vector<GroupFigure>& groups) {
  const double limit = L.fGroupRatio * Floor(F.fEndRmse);
  for (const GroupFigure& group : groups) {
    const bool mostGross = group.nGross > group.nMeasurements;
    if (!mostGross && !(group.nMeasurements > 0 && !(group.fRmse <= limit))) continue;
    const std::string name = PrintableName(group.szName);
    const char* remedy = "Look at its measurements, its start values and its camera, or leave it out";
    if (mostGross) {
      Doubt(Format("%s %s: %lld of %lld measurements are gross", kind, name.c_str(),
                   static_cast<long long>(group.nGross),
                   static_cast<long long>(group.nGross) + static_cast<long long>(group.nMeasurements)),
            "half of them", remedy);
    } else {
      Doubt(Format("%s %s: RMSE %.3g px, where the block has %.3g px", kind, name.c_str(), group.fRmse,
                   F.fEndRmse),
            Format("%.3g px", limit), remedy);
    }
  }
}

void Judgement::Groups() {
  GroupList("image", F.vImages);
  if (F.vCameraResiduals.size() > 1) GroupList("camera", F.vCameraResiduals);
}

void Judgement::GroundList(const std::vector<GroundFigure>& points) {
  std::vector<double> residuals, differences;
  std::vector<size_t> places;
  for (const GroundFigure& point : points) residuals.push_back(point.fRmse);
  for (size_t i = 0; i < points.size(); ++i) {
    if (!points[i].bIntersected) continue;
    differences.push_back(points[i].fDifference);
    places.push_back(i);
  }
  const double pixels = std::fmax(L.fGroundPixels * F.fEndRmse, L.fGroundFloor);
  const char* remedy =
      "Look at its name, its coordinates and its measurements; give it type 2 to see what the others "
      "say of it";
  std::vector<bool> told(points.size(), false);
  for (size_t i = 0; i < points.size(); ++i) {
    const double limit = std::max(pixels, L.fGroundRatio * MedianOfOthers(residuals, i));
    if (points[i].nImages < 1 || points[i].fWorst <= limit) continue;
    told[i] = true;
    Doubt(Format("%s point %s: image residual %.3g px in image %s, RMSE %.3g px",
                 points[i].bControl ? "control" : "check", PrintableName(points[i].szName).c_str(),
                 points[i].fWorst, PrintableName(points[i].szWorstImage).c_str(), points[i].fRmse),
          Format("%.3g px", limit), remedy);
  }
  for (size_t k = 0; k < places.size(); ++k) {
    const GroundFigure& point = points[places[k]];
    const double limit =
        std::max(L.fGroundDepth * pixels * F.fGsd, L.fGroundRatio * MedianOfOthers(differences, k));
    if (told[places[k]] || point.fDifference <= limit) continue;
    Doubt(Format("%s point %s: off by %.3g", point.bControl ? "control" : "check",
                 PrintableName(point.szName).c_str(), point.fDifference),
          Format("%.3g object units", limit), remedy);
  }
}

/// Check points that are all off are no worse than each other; only the size of a pixel tells that of them.
/// Without control, a block lies where its start or GPS took it, and that is no fault of it.
void Judgement::CheckPoints(const std::vector<GroundFigure>& points) {
  double squares = 0;
  int64_t count = 0;
  for (const GroundFigure& point : points) {
    if (!point.bIntersected) continue;
    squares += point.fDifference * point.fDifference;
    ++count;
  }
  if (!F.bHasControl || count < kFewestCheckPoints || !(F.fGsd > 0)) return;
  const double difference = std::sqrt(squares / static_cast<double>(count));
  const double limit = L.fGroundTogether * F.fGsd;
  if (difference <= limit) return;
  Doubt(Format("%lld check points are off by %.3g, root mean square: %.3g times the ground size of a pixel",
               static_cast<long long>(count), difference, difference / F.fGsd),
        Format("%.3g object units", limit),
        "The block bends between its control points: look at their number, at the frame and heights of both "
        "kinds, and at the camera; a smaller Damping_Coefficient, GPS positions or strips across hold it "
        "better");
}

void Judgement::Ground() {
  std::vector<GroundFigure> control, check;
  std::vector<std::string> fewImages;
  for (const GroundFigure& point : F.vGround) {
    if (point.bControl && IsLeftOut(point.szName, F)) continue;
    (point.bControl ? control : check).push_back(point);
    if (point.bControl && static_cast<double>(point.nImages) < L.fLeastImages)
      fewImages.push_back(point.szName);
  }
  if (!fewImages.empty()) {
    Doubt("control points in fewer than 2 images: " + NameList(fewImages),
          Format("%.4g images", L.fLeastImages), "Measure them in more images, or leave them out");
  }
  GroundList(control);
  GroundList(check);
  CheckPoints(check);
}

void Judgement::Positions() {
  std::vector<double> all;
  for (const PosFigure& pos : F.vPos) all.push_back(pos.fMisclosure);
  if (!all.empty()) {
    std::vector<double> sorted = all;
    const auto middle = sorted.begin() + static_cast<ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    const double pixels = std::fmax(L.fGroundPixels * F.fEndRmse, L.fGroundFloor);
    const double limit = std::max(L.fPosRatio * *middle, pixels * F.fGsd);
    std::vector<std::string> names;
    double largest = 0;
    for (const PosFigure& pos : F.vPos) {
      if (!(pos.fMisclosure > limit)) continue;
      names.push_back(pos.szImage);
      largest = std::max(largest, pos.fMisclosure);
    }
    if (!names.empty()) {
      Doubt(Format("GPS positions of %s off by up to %.3g", NameList(names).c_str(), largest),
            Format("%.3g object units", limit), "Look at their lines in " + PrintableName(F.szPosFile));
    }
  }
  if (F.bPosAnglesInRadians) {
    Doubt("the angles of " + PrintableName(F.szPosFile) + " look like radians", "", "Write them in degrees");
  }
}

void Judgement::Similarity() {
  const SimilarityFigures& s = F.Similarity;
  if (!s.bApplied) return;
  const std::string file = PrintableName(s.bFromGps ? F.szPosFile : F.szGcpFile);
  if (100 * s.fWidth < L.fLeastWidth) {
    Doubt(Format("the points of the similarity transform lie nearly on a line: width %.2g %% of the length",
                 100 * s.fWidth),
          Format("%.4g %%", L.fLeastWidth),
          s.bFromGps ? "A single strip does not hold the block about its axis: add control, or a strip across"
                     : "Add control points beside the line");
  }
  if (s.bViewsAgree && s.fTilt > L.fTilt && s.fTurn > L.fTilt) {
    Doubt(
        Format(
            "the similarity transform turned the block so that its images look %.3g degrees off the vertical",
            s.fTilt),
        Format("%.4g degrees", L.fTilt),
        "Look at names, coordinates and order of axes in " + file + ", and whether its points lie on a line");
  }
  const double foot = 3.2808, window = L.fScaleWindow / 100;
  if (std::fabs(s.fScale / foot - 1) < window || std::fabs(s.fScale * foot - 1) < window) {
    Doubt(Format("the similarity transform scales by %.4g: feet for metres?", s.fScale),
          Format("3.2808 or its reciprocal within %.4g %%", L.fScaleWindow),
          "Look at the units of " + file + " and of the project's start");
  }
  std::vector<double> misfits;
  for (const GroundFigure& point : s.vMisfits) misfits.push_back(point.fDifference);
  for (size_t i = 0; i < misfits.size(); ++i) {
    const double limit =
        std::max(L.fMisfitRatio * MedianOfOthers(misfits, i), L.fMisfitFloor / 100 * s.fExtent);
    if (misfits[i] <= limit || IsLeftOut(s.vMisfits[i].szName, F)) continue;
    Doubt(Format("control point %s does not fit the others before the adjustment: off by %.3g",
                 PrintableName(s.vMisfits[i].szName).c_str(), misfits[i]),
          Format("%.3g object units", limit), "Look at its name and coordinates in " + file);
  }
}

void Judgement::Frame() {
  Similarity();
  if (!F.bStartInFrame) {
    Doubt(
        Format("three or fewer control points, and a start that is not in their frame: off by %.3g %% of the "
               "distance from the camera",
               100 * F.fStartMiss),
        Format("%.4g %%", L.fStartMiss),
        "Add control points until there are 4, or bring the start into the frame of " +
            PrintableName(F.szGcpFile));
  }
}

void Judgement::Images() {
  if (!F.vLostImages.empty()) {
    Doubt(Format("%zu of %d images were left out: %s", F.vLostImages.size(), F.nImagesInFile,
                 NameList(F.vLostImages).c_str()),
          "",
          "Give them a position, measurements and a camera in " + PrintableName(F.szProjectFile) +
              ", or take them out of it");
  }
  if (!F.vLooseImages.empty()) {
    Doubt("images that share fewer than 3 points with the rest: " + NameList(F.vLooseImages),
          Format("%.4g points", L.fLeastShared), "Measure more points in them, or take them out");
  }
  for (const std::vector<std::string>& part : F.vLooseParts) {
    Doubt(
        Format("%zu images share fewer than 3 points with the rest: %s", part.size(), NameList(part).c_str()),
        Format("%.4g points", L.fLeastShared), "Measure points that join the parts of the block");
  }
}

}  // namespace

const char* GradeName(Grade grade) {
  return grade == Grade::Good ? "good" : grade == Grade::Doubtful ? "doubtful" : "unusable";
}

Verdict Judge(const VerdictFigures& figures, const VerdictLimits& limits) {
  return Judgement(figures, limits).Finish();
}

}  // namespace orvo
