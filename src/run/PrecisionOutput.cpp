#include "run/PrecisionOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/PrintableName.h"
#include "report/tables/PrecisionTables.h"
#include "rigorous/RotationVector.h"
#include "run/BundleAdjustment.h"
#include "run/CsvOutput.h"
#include "run/RunWatch.h"
#include "verdict/RunNames.h"
#include "verdict/RunTrack.h"

namespace orvo {

using report::PrecisionRow;
using rigorous::operator+;
using rigorous::BlockProblem;
using rigorous::CameraPrecision;
using rigorous::CameraQuantity;
using rigorous::Estimate;
using rigorous::GroundPrecision;
using rigorous::ImagePrecision;
using rigorous::PrecisionFigures;
using rigorous::Vector3;

namespace {

using PrecisionTable = CsvOutput<PrecisionRow, report::AppendPrecisionRow>;

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr const char* kAxes[] = {"X", "Y", "Z"};
constexpr const char* kAngles[] = {"phi", "omega", "kappa"};
constexpr const char* kKinds[] = {"tie", "control", "check"};

std::string_view NameOf(const ObjectPointRecord& point) {
  return {point.szName, strnlen(point.szName, sizeof point.szName)};
}

const ObjectPointRecord& RecordOf(const BlockProblem& problem, int64_t point, const PointStore& points) {
  return points.pObjectPoints[static_cast<size_t>(problem.vPoint[static_cast<size_t>(point)])];
}

std::string NoteOf(const CameraPrecision& camera, size_t quantity) {
  std::string note;
  for (const rigorous::CorrelatedPair& pair : camera.vPairs) {
    if (pair.nFirst != quantity && pair.nSecond != quantity) continue;
    const size_t other = pair.nFirst == quantity ? pair.nSecond : pair.nFirst;
    note += fmt::format("{}correlated with {} ({:.3f})", note.empty() ? "" : "; ",
                        camera.vQuantities[other].szName, pair.fCorrelation);
  }
  return note;
}

void AddCamera(const CameraPrecision& camera, const CameraTable& cameras, PrecisionTable& file) {
  const std::string name = CameraNameOf(cameras, static_cast<size_t>(camera.nCamera));
  for (size_t k = 0; k < camera.vQuantities.size(); ++k) {
    const CameraQuantity& quantity = camera.vQuantities[k];
    const std::string note = NoteOf(camera, k);
    file.Add(PrecisionRow{"camera", name, quantity.szName, quantity.fValue, quantity.fDeviation,
                          quantity.szUnit, note});
  }
}

void AddImage(const ImagePrecision& image, const Vector3& centre, const Vector3& angles,
              const std::string& name, PrecisionTable& file) {
  for (size_t k = 0; k < 3; ++k)
    file.Add(PrecisionRow{"image", name, kAxes[k], centre[k], image.Centre[k], "object units", ""});
  for (size_t k = 0; k < 3; ++k)
    file.Add(PrecisionRow{"image", name, kAngles[k], kDegrees * angles[k], image.Angles[k], "degrees", ""});
}

void AddPoint(const GroundPrecision& point, const Vector3& place, std::string_view name,
              PrecisionTable& file) {
  std::string note = fmt::format("{} rays", point.nRays);
  if (!point.bDetermined) note += "; not determined";
  for (size_t k = 0; k < 3; ++k) {
    const double deviation = point.bDetermined ? point.Deviation[k] : std::nan("");
    file.Add(PrecisionRow{kKinds[static_cast<size_t>(point.Kind)], name, kAxes[k], place[k], deviation,
                          "object units", note});
  }
}

const char* TextOf(rigorous::TestOutcome outcome) {
  using rigorous::TestOutcome;
  switch (outcome) {
    case TestOutcome::Passed:
      return "passed";
    case TestOutcome::TooLarge:
      return "too large";
    case TestOutcome::TooSmall:
      return "too small";
    case TestOutcome::NotPossible:
      return "not possible";
  }
  return "";
}

void TellTest(const PrecisionFigures& figures, CBundleAdjustment& run) {
  using rigorous::TestOutcome;
  const rigorous::GlobalTest& test = figures.Test;
  if (test.Outcome == TestOutcome::NotPossible) {
    run.LogPrintf(">>Test of sigma0: nothing is redundant\n");
    return;
  }
  run.LogPrintf(">>Test of sigma0: v'Pv %.6g, between %.6g and %.6g where the standard deviations hold: %s\n",
                test.fSquares, test.fLow, test.fHigh, TextOf(test.Outcome));
}

std::string WordsOfRefusal(const rigorous::PrecisionRefusal& refusal, const CBundleAdjustment& run) {
  using rigorous::UnknownOwner;
  switch (refusal.Owner) {
    case UnknownOwner::Image:
      return refusal.szUnknown + " of image " + PrintableName(ImageNameOf(run.Images, refusal.nOwner)) +
             " is not determined";
    case UnknownOwner::Camera:
      return refusal.szUnknown + " of camera " +
             PrintableName(CameraNameOf(run.Cameras, static_cast<size_t>(refusal.nOwner))) +
             " is not determined";
    case UnknownOwner::Strip:
      return fmt::format("{} of strip {} is not determined", refusal.szUnknown, refusal.nOwner + 1);
    case UnknownOwner::None:
      return refusal.szUnknown;
  }
  return {};
}

/// The quantity of least value over standard deviation.
void TellWeakest(const PrecisionFigures& figures, CBundleAdjustment& run) {
  const CameraPrecision* camera = nullptr;
  const CameraQuantity* weakest = nullptr;
  for (const CameraPrecision& one : figures.vCameras) {
    for (const CameraQuantity& quantity : one.vQuantities) {
      if (weakest != nullptr && !(std::abs(quantity.T()) < std::abs(weakest->T()))) continue;
      camera = &one;
      weakest = &quantity;
    }
  }
  if (weakest == nullptr) return;
  run.LogPrintf(">>Weakest camera parameter: %s of camera %s, %.6g %s, standard deviation %.3g\n",
                weakest->szName,
                PrintableName(CameraNameOf(run.Cameras, static_cast<size_t>(camera->nCamera))).c_str(),
                weakest->fValue, weakest->szUnit, weakest->fDeviation);
}

PrecisionFigure JudgedOf(const PrecisionFigures& figures, const CBundleAdjustment& run) {
  using rigorous::TestOutcome;
  PrecisionFigure judged;
  judged.fSigma0 = figures.fSigma0;
  judged.bTestFailed =
      figures.Test.Outcome == TestOutcome::TooLarge || figures.Test.Outcome == TestOutcome::TooSmall;
  judged.fSigmaImage = run.Chosen.Settings.Sigma_Image;
  // Who asks for inner constraints knows that nothing holds the block.
  if (run.Chosen.Settings.Datum != DatumChoice::Inner) judged.vFree = figures.vFree;
  for (const CameraPrecision& camera : figures.vCameras) {
    for (const CameraQuantity& quantity : camera.vQuantities) {
      if (std::strcmp(quantity.szName, "f") != 0) continue;
      judged.vFocals.push_back({CameraNameOf(run.Cameras, static_cast<size_t>(camera.nCamera)),
                                quantity.fValue, quantity.fDeviation});
    }
  }
  if (figures.Refusal) judged.szRefusal = WordsOfRefusal(*figures.Refusal, run);
  for (const ImagePrecision& image : figures.vImages) {
    judged.vImages.push_back({ImageNameOf(run.Images, image.nImage),
                              std::max({image.Centre[0], image.Centre[1], image.Centre[2]})});
  }
  return judged;
}

/// Least, median and largest of each of the three, over all images.
report::DeviationRange RangeOf(const PrecisionFigures& figures, Vector3 ImagePrecision::*of) {
  report::DeviationRange range;
  std::vector<double> values(figures.vImages.size());
  if (values.empty()) return range;
  double report::Triple::*const axes[] = {&report::Triple::X, &report::Triple::Y, &report::Triple::Z};
  for (size_t k = 0; k < 3; ++k) {
    for (size_t i = 0; i < values.size(); ++i) values[i] = (figures.vImages[i].*of)[k];
    // What is no number has no place in an order.
    std::ranges::replace_if(
        values, [](double value) { return std::isnan(value); }, HUGE_VAL);
    std::ranges::sort(values);
    range.Least.*axes[k] = values.front();
    range.Median.*axes[k] = values[values.size() / 2];
    range.Largest.*axes[k] = values.back();
  }
  return range;
}

report::CameraPrecisionFigure SummaryOf(const CameraPrecision& camera, const CBundleAdjustment& run) {
  report::CameraPrecisionFigure made;
  made.szCamera = CameraNameOf(run.Cameras, static_cast<size_t>(camera.nCamera));
  for (const CameraQuantity& one : camera.vQuantities)
    made.vQuantities.push_back({one.szName, one.szUnit, one.fValue, one.fDeviation});
  for (const rigorous::CorrelatedPair& pair : camera.vPairs) {
    made.vCorrelations.push_back(
        {camera.vQuantities[pair.nFirst].szName, camera.vQuantities[pair.nSecond].szName, pair.fCorrelation});
  }
  return made;
}

report::PrecisionFigures SummaryOf(const PrecisionFigures& figures, int64_t blunders,
                                   const CBundleAdjustment& run) {
  report::PrecisionFigures made;
  made.fSigma0 = figures.fSigma0;
  made.nRedundancy = figures.Test.nRedundancy;
  made.fSquares = figures.Test.fSquares;
  made.fLow = figures.Test.fLow;
  made.fHigh = figures.Test.fHigh;
  made.szTest = TextOf(figures.Test.Outcome);
  made.nDatumDefect = figures.nDatumDefect;
  made.vFree = figures.vFree;
  if (figures.Refusal) made.szRefusal = WordsOfRefusal(*figures.Refusal, run);
  made.nBlunders = blunders;
  made.nImages = std::ssize(figures.vImages);
  made.Centres = RangeOf(figures, &ImagePrecision::Centre);
  made.Angles = RangeOf(figures, &ImagePrecision::Angles);
  for (const CameraPrecision& camera : figures.vCameras) made.vCameras.push_back(SummaryOf(camera, run));
  return made;
}

}  // namespace

PrecisionFigures PrecisionOfRun(const BlockProblem& problem, const Estimate& estimate,
                                const rigorous::AdjustResult& result,
                                std::vector<rigorous::CheckPoint> checkPoints, const CBundleAdjustment& run) {
  rigorous::PrecisionInput input{problem.Task, estimate, result};
  input.Extent = run.Chosen.Settings.Precision;
  input.fImageScale = run.Settings.Image_Coor_Scale;
  input.nThreads = run.System.ProcessorCount();
  input.fCritical = run.Chosen.Settings.Snooping_Critical;
  input.vCheckPoints = std::move(checkPoints);
  return PrecisionFiguresOf(input);
}

void TellPrecision(const PrecisionFigures& figures, int64_t blunders, CBundleAdjustment& run) {
  TellTest(figures, run);
  for (const std::string& words : figures.vFree) run.LogPrintf(">>No observation holds: %s\n", words.c_str());
  if (figures.Refusal)
    run.LogPrintf(">>No standard deviations: %s\n", WordsOfRefusal(*figures.Refusal, run).c_str());
  TellWeakest(figures, run);
  if (run.pTrack) run.pTrack->Precision = JudgedOf(figures, run);
  if (run.pWatch) run.pWatch->Figures.Precision = SummaryOf(figures, blunders, run);
}

void WritePrecisionTable(const BlockProblem& problem, const Estimate& estimate,
                         const PrecisionFigures& figures, CBundleAdjustment& run) {
  PrecisionTable file(report::kPrecisionName, report::kPrecisionHeading, run);
  for (const CameraPrecision& camera : figures.vCameras) AddCamera(camera, run.Cameras, file);
  for (const ImagePrecision& image : figures.vImages) {
    const rigorous::ImagePose& pose = estimate.vPoses[static_cast<size_t>(image.nImage)];
    AddImage(image, pose.Centre + problem.Origin, rigorous::AnglesOfRotation(pose.R),
             ImageNameOf(run.Images, image.nImage), file);
  }
  for (const auto kind :
       {rigorous::PointKind::Control, rigorous::PointKind::Check, rigorous::PointKind::Tie}) {
    for (const GroundPrecision& point : figures.vPoints) {
      if (point.Kind != kind) continue;
      AddPoint(point, estimate.vPoints[static_cast<size_t>(point.nPoint)] + problem.Origin,
               NameOf(RecordOf(problem, point.nPoint, run.Points)), file);
    }
  }
}

}  // namespace orvo
