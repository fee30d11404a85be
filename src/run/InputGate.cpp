#include "run/InputGate.h"

#include "check/OvtCheck.h"
#include "check/PointLines.h"
#include "verdict/RunNames.h"

namespace orvo {

std::optional<Finding> InputGate::FindFault() const {
  if (Paths.szOvtPath.empty()) return FindFaultOfTextProject(Paths.szProjectPath);
  return FindFaultOfOvt(Paths.szOvtPath, Images.nImageFileNum);
}

/// Ends the run for it. The console has it from whoever asked for the run.
bool InputGate::Keep(const Finding& refusal) {
  Guard.Refusals.push_back(refusal);
  Log.WriteToFile(TextOf(refusal) + "\n");
  return false;
}

/// Looks for what was noticed on the way: where it is, and what it is.
bool InputGate::Refuse() {
  std::optional<Finding> fault = FindFault();
  if (!fault) {
    const std::string& path = Paths.szOvtPath.empty() ? Paths.szProjectPath : Paths.szOvtPath;
    fault = Finding{
        Severity::Error, path, 0, -1, "the file changed while it was read", "Run again when it is complete"};
  }
  return Keep(*fault);
}

void InputGate::Tell(std::string text) {
  TellNote({Severity::Note, Paths.szProjectPath, 0, -1, std::move(text), {}}, Guard, Log);
}

void InputGate::TellLostImages() {
  if (Guard.bToldImages) return;
  Guard.bToldImages = true;
  NamedCount images;
  int64_t measures = 0;
  for (size_t i = 0; i < Images.pImageIndex.size() && i < Images.pImagePointCount.size(); ++i) {
    if (Images.pImageIndex[i] >= 0) continue;
    measures += Images.pImagePointCount[i];
    if (Images.pImagePointCount[i] < 1) images.Add(ImageNameAt(Images, i).c_str());
  }
  if (images.nCount > 0) {
    Tell(CountOf(images.nCount, "image", images.Names) + ": left out, for no tie point is measured there");
  }
  if (measures > 0) Tell(CountOf(measures, "measurement", {}) + " on images that are left out");
  if (Points.Facts.nFewRays > 0) {
    Tell(CountOf(Points.Facts.nFewRays, "tie point", {}) +
         " with fewer than 2 measurements, which determine nothing");
  }
}

void InputGate::TellLostPoints() {
  if (Guard.bToldPoints) return;
  Guard.bToldPoints = true;
  const NamedCount& rejected = Points.Facts.Points.Rejected;
  if (rejected.nCount < 1) return;
  Tell(CountOf(rejected.nCount, "tie point", rejected.Names) +
       ": left out whole, for a measurement is on an image that is left out");
}

bool InputGate::CountsHold() {
  if (!Guard.bGuarded) return true;
  if (!Guard.Refusals.empty()) return false;
  return Points.Facts.nBrokenCounted == 0 || Refuse();
}

bool InputGate::PointsHold() {
  if (!CountsHold()) return false;
  if (!Guard.bGuarded) return true;
  TellLostImages();
  if (!Paths.szOvtPath.empty()) return true;
  if (Points.Sections.Count() > 1) {
    return Keep({Severity::Error, Paths.szProjectPath, 0, -1,
                 "the text project does not fit into the memory at once, and its later "
                 "sections would be read out of step",
                 "Count on more with --memory, or convert the project to .ovc and .ovt"});
  }
  if (Points.Facts.Points.nBroken > 0) return Refuse();
  TellLostPoints();
  return true;
}

bool InputGate::WholeProjectHolds() {
  if (!Guard.bGuarded) return true;
  if (!Guard.Refusals.empty()) return false;
  const std::optional<Finding> fault = FindFault();
  return !fault || Keep(*fault);
}

void TellFurtherTerms(const CameraTable& cameras, const std::string& project, RunGuard& guard, RunLog& log) {
  if (!guard.bGuarded) return;
  NamedCount further;
  for (size_t i = 0; i < cameras.pCameraIndex.size(); ++i) {
    const int32_t row = cameras.pCameraIndex[i];
    if (row >= 0 && !cameras.pIop[static_cast<size_t>(row)].Further.IsNone())
      further.Add(("ordinal " + std::to_string(i)).c_str());
  }
  if (further.nCount < 1) return;
  TellNote({Severity::Note, project, 0, -1,
            CountOf(further.nCount, "camera", further.Names) +
                ": k3, p1, p2, b1 and b2 are taken for 0 by the classic method",
            "Adjust with --method rigorous"},
           guard, log);
}

void TellNote(const Finding& note, RunGuard& guard, RunLog& log) {
  guard.Notes.push_back(note);
  if (guard.OnNote) guard.OnNote(note);
  log.Print("%s\n", TextOf(note).c_str());
}

}  // namespace orvo
