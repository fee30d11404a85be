#include "verdict/VerdictOfRun.h"

#include <algorithm>
#include <cmath>

#include "base/OutputFiles.h"
#include "base/Platform.h"
#include "base/PrintableName.h"
#include "geometry/Intersection.h"
#include "geometry/camera/Rotation.h"
#include "verdict/RunNames.h"
#include "verdict/VerdictText.h"

namespace orvo {
namespace {

constexpr double kViewsAgree = 0.9;  ///< nearly all images within some 25 degrees of the mean

bool IsFinite(const EopRecord& e) {
  return std::isfinite(e.X + e.Y + e.Z) && std::isfinite(e.fPhi + e.fOmega + e.fKappa);
}
bool IsFinite(const IopRecord& c) {
  return std::isfinite(c.fFocal + c.fPrincipalX + c.fPrincipalY) && std::isfinite(c.fK1 + c.fK2);
}

void FillUnknowns(const JudgedRun& run, VerdictFigures& figures) {
  const auto images = run.Images.Kept();
  for (size_t i = 0; i < images.size() && figures.bFinite; ++i) {
    if (IsFinite(images[i])) continue;
    figures.bFinite = false;
    figures.szNotFinite = "image " + ImageNameOf(run.Images, static_cast<int32_t>(i));
  }
  const auto cameras = run.Cameras.Usable();
  const std::vector<IopRecord>& start = run.Track.vStartCameras;
  for (size_t i = 0; i < cameras.size(); ++i) {
    const std::string name = CameraNameOf(run.Cameras, i);
    if (!IsFinite(cameras[i]) && figures.bFinite) {
      figures.bFinite = false;
      figures.szNotFinite = "camera " + name;
    }
    if (i >= start.size()) continue;
    figures.vCameras.push_back({name, start[i].fFocal / run.Settings.Image_Coor_Scale,
                                cameras[i].fFocal / run.Settings.Image_Coor_Scale});
  }
  if (figures.bFinite && !std::ranges::all_of(run.PosParams, [](double p) { return std::isfinite(p); })) {
    figures.bFinite = false;
    figures.szNotFinite = "drift of the POS data";
  }
}

void FillIteration(const JudgedRun& run, VerdictFigures& figures) {
  const RunTrack& track = run.Track;
  figures.nIterations = track.nIterations;
  figures.bLastAllowed = track.nIterations >= run.Settings.Max_LM_Iteration_Num;
  figures.bSingular = track.bSingular;
  figures.fStartRmse = std::sqrt(track.fStartSquares) / run.Settings.Image_Coor_Scale;
  double last = track.fLastSquares;
  // The device path divides by all measurements, gross ones included.
  if (run.Limits.Apply_GPU && track.Pass && track.Pass->Sums().nUsed > 0) {
    last *= static_cast<double>(run.Points.nImagePointNum) / static_cast<double>(track.Pass->Sums().nUsed);
  }
  figures.fLastRmse = std::sqrt(last) / run.Settings.Image_Coor_Scale;
  figures.bReachedEnd = track.bReachedEnd;
  figures.Precision = track.Precision;
  figures.vControlOut = track.vControlOut;
  figures.bControlContradictory = track.bControlContradictory;
  figures.bPredicted = track.fPredictedShare.has_value();
  figures.fPredictedShare = track.fPredictedShare.value_or(0);
  figures.Decrease = DecreaseBasisOf(run.Limits, run.Unknowns, run.Images, run.Points);
}

GroupFigure GroupOf(std::string name, int64_t used, int64_t gross, double squares, double scale) {
  return {std::move(name), used, gross,
          used > 0 ? std::sqrt(squares / static_cast<double>(used)) / scale : 0};
}

/// Groups of images that hang together by themselves, and images that hardly hang together with any other.
void FillParts(const JudgedRun& run, VerdictFigures& figures) {
  const RunTrack& track = run.Track;
  const auto& images = track.Pass->Sums().vImages;
  const auto least = static_cast<int64_t>(VerdictLimits().fLeastShared);
  for (size_t i = 0; i < images.size(); ++i) {
    if (images[i].nShared < least)
      figures.vLooseImages.push_back(ImageNameOf(run.Images, static_cast<int32_t>(i)));
  }
  for (size_t part = 1; part < track.vParts.size(); ++part) {
    std::vector<std::string> names;
    for (const int32_t image : track.vParts[part]) names.push_back(ImageNameOf(run.Images, image));
    // Told already as an image without enough points.
    if (names.size() == 1 &&
        std::ranges::find(figures.vLooseImages, names[0]) != figures.vLooseImages.end()) {
      continue;
    }
    figures.vLooseParts.push_back(std::move(names));
  }
}

void FillPoints(const JudgedRun& run, VerdictFigures& figures) {
  if (!run.Track.Pass) return;
  const PointPassSums& sums = run.Track.Pass->Sums();
  const double scale = run.Settings.Image_Coor_Scale, n = static_cast<double>(sums.nUsed);
  figures.bHasPoints = sums.nMeasurements > 0;
  figures.nPoints = sums.nPoints - sums.nNotSolved;
  figures.nPointsNotInFront = sums.nNotInFront;
  figures.nPointsNotSolved = sums.nNotSolved;
  figures.nMeasurements = sums.nMeasurements;
  figures.nUsed = sums.nUsed;
  figures.nGross = sums.nGross;
  figures.fMeanX = sums.fSumX / n / scale;
  figures.fMeanY = sums.fSumY / n / scale;
  figures.fRmseX = std::sqrt(sums.fSquaresX / n) / scale;
  figures.fRmseY = std::sqrt(sums.fSquaresY / n) / scale;
  figures.fEndRmse = std::sqrt((sums.fSquaresX + sums.fSquaresY) / n) / scale;
  for (size_t i = 0; i < sums.vImages.size(); ++i) {
    const ImageSums& image = sums.vImages[i];
    figures.vImages.push_back(GroupOf(ImageNameOf(run.Images, static_cast<int32_t>(i)), image.nUsed,
                                      image.nGross, image.fSquares, scale));
  }
  for (size_t i = 0; i < sums.vCameras.size(); ++i) {
    const CameraSums& camera = sums.vCameras[i];
    figures.vCameraResiduals.push_back(
        GroupOf(CameraNameOf(run.Cameras, i), camera.nUsed, camera.nGross, camera.fSquares, scale));
  }
  figures.nCentres = run.Track.nCentres;
  figures.nCentresBelow = run.Track.nCentresBelow;
  figures.fGsd = run.Track.fGsd;
  if (run.Settings.Set_EOP_Unknown) FillParts(run, figures);
}

GroundFigure GroundOf(const JudgedRun& run, const ObjectPointRecord& given, const GroundPoints& ground,
                      std::span<const ImageFrame> frames) {
  GroundFigure figure;
  figure.szName = given.szName;
  figure.bControl = given.nType == 1;
  ObjectPointRecord point = given;
  point.X = std::nan("");
  IntersectPoints(1, &point, ground.Measurements, frames, run.Cameras.Usable());
  figure.bIntersected = std::isfinite(point.X);
  if (figure.bIntersected) {
    figure.fDifference = std::hypot(point.X - given.X, point.Y - given.Y, point.Z - given.Z);
  }
  const ObjectPointRecord& place = figure.bControl || !figure.bIntersected ? given : point;
  const double P[3] = {place.X, place.Y, place.Z};
  std::vector<int32_t> images;
  double squares = 0;
  int64_t count = 0;
  for (const ImagePointRecord& ray : MeasurementsOf(given, ground.Measurements)) {
    if (!IsOnKeptImage(ray, run.Images.Kept(), run.Cameras.Usable())) continue;
    images.push_back(ray.nImage);
    const ImageCoordinates v = RayResidualOf(frames[static_cast<size_t>(ray.nImage)],
                                             run.Cameras.Usable()[static_cast<size_t>(ray.nCamera)], ray, P);
    const double length = std::hypot(v.x, v.y) / run.Settings.Image_Coor_Scale;
    squares += length * length;
    ++count;
    if (count > 1 && length <= figure.fWorst) continue;
    figure.fWorst = length;
    figure.szWorstImage = ImageNameOf(run.Images, ray.nImage);
  }
  std::ranges::sort(images);
  figure.nImages = static_cast<int32_t>(std::unique(images.begin(), images.end()) - images.begin());
  if (count > 0) figure.fRmse = std::sqrt(squares / static_cast<double>(count));
  return figure;
}

void FillGround(const JudgedRun& run, const GroundPoints& ground, VerdictFigures& figures) {
  const std::vector<ImageFrame> frames = MakeImageFrames(run.Images.Kept());
  for (const ObjectPointRecord& given : ground.Points) {
    if (given.nType != 0) figures.vGround.push_back(GroundOf(run, given, ground, frames));
  }
  const auto controlNum = std::ranges::count_if(figures.vGround, &GroundFigure::bControl);
  figures.bHasControl = controlNum > 0;
  figures.fStartMiss = run.Track.fStartMiss;
  figures.bStartInFrame = !(100 * figures.fStartMiss > VerdictLimits().fStartMiss);
}

void FillSimilarity(const RunTrack& track, VerdictFigures& figures) {
  SimilarityFigures& similarity = figures.Similarity;
  similarity.bApplied = track.bTransformApplied;
  if (!similarity.bApplied) return;
  similarity.bFromGps = track.bFromGps;
  similarity.fWidth = WidthOverLength(track.vTarget);
  similarity.fScale = track.fTransformScale;
  similarity.fExtent = track.fTargetSize;
  similarity.bViewsAgree = track.After.fAgreement > kViewsAgree;
  similarity.fTilt = AngleBetween(track.After.Up, {0, 0, 1});
  similarity.fTurn = AngleBetween(track.Before.Up, track.After.Up);
  if (track.bFromGps) return;
  const std::vector<double> misfits = RobustMisfits(track.vSource, track.vTarget);
  for (size_t i = 0; i < std::min(misfits.size(), track.vPairNames.size()); ++i) {
    GroundFigure misfit;
    misfit.szName = track.vPairNames[i];
    misfit.fDifference = misfits[i];
    similarity.vMisfits.push_back(std::move(misfit));
  }
}

void FillImages(const JudgedRun& run, VerdictFigures& figures) {
  figures.nImagesInFile = run.Images.nImageFileNum;
  for (size_t ordinal = 0; ordinal < run.Images.pImageIndex.size(); ++ordinal) {
    if (run.Images.pImageIndex[ordinal] >= 0) continue;
    const std::string name = ImageNameAt(run.Images, ordinal);
    figures.vLostImages.push_back(name.empty() ? "number " + std::to_string(ordinal) : name);
  }
}

}  // namespace

Verdict JudgeFailure(const RunTrack& track, const std::string& gcpPath) {
  VerdictFigures figures;
  figures.szGcpFile = gcpPath;
  figures.szPosFile = track.szPosFile;
  FillSimilarity(track, figures);
  Verdict verdict = Judge(figures);
  if (!verdict.vReasons.empty()) return verdict;
  verdict.Result = Grade::Doubtful;
  verdict.vReasons.push_back(
      {Grade::Doubtful,
       "no similarity transform leads from the block to the " + std::to_string(track.vSource.size()) +
           " control points of " + PrintableName(gcpPath),
       "",
       "Look for the order east, north, up, exchanged names, image ordinals that are IDs, and "
       "points on one line"});
  return verdict;
}

Verdict JudgeRun(const JudgedRun& run, const GroundPoints& ground) {
  VerdictFigures figures;
  figures.bAdjusted = !run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation;
  figures.szProjectFile = run.Paths.szProjectPath;
  figures.szGcpFile = run.Paths.szGcpPath;
  figures.szPosFile = run.Track.szPosFile;
  figures.bHasGps = run.Limits.Apply_GPS_Data && figures.bAdjusted;
  figures.vPos = run.Track.vPos;
  figures.bPosAnglesInRadians = run.Track.bPosAnglesInRadians;
  FillUnknowns(run, figures);
  FillIteration(run, figures);
  FillPoints(run, figures);
  FillGround(run, ground, figures);
  FillSimilarity(run.Track, figures);
  FillImages(run, figures);
  return Judge(figures);
}

void WriteVerdictFile(const Verdict& verdict, const FilePaths& paths, OutputLedger& outputs) {
  TextWriter file;
  if (!OpenOutput(outputs.Folder, file, JoinPath(paths.szOutputPath, "verdict.txt"))) {
    ++outputs.nOutputFailureNum;
    return;
  }
  file.Write(VerdictText(verdict));
  if (!CloseOutput(outputs.Folder, file)) ++outputs.nOutputFailureNum;
}

}  // namespace orvo
