#include "run/InputGate.h"

#include "check/OvtCheck.h"
#include "check/PointLines.h"

namespace orvo {
namespace {

std::optional<Finding> FindFault(const CBundleAdjustment& block) {
  if (block.Paths.szOvtPath.empty()) return FindFaultOfTextProject(block.Paths.szProjectPath);
  return FindFaultOfOvt(block.Paths.szOvtPath, block.Images.nImageFileNum);
}

/// Ends the run for it. The console has it from whoever asked for the run.
bool Keep(CBundleAdjustment& block, const Finding& refusal) {
  block.Guard.Refusals.push_back(refusal);
  block.Log.WriteToFile(TextOf(refusal) + "\n");
  return false;
}

/// Looks for what was noticed on the way: where it is, and what it is.
bool Refuse(CBundleAdjustment& block) {
  std::optional<Finding> fault = FindFault(block);
  if (!fault) {
    const std::string& path =
        block.Paths.szOvtPath.empty() ? block.Paths.szProjectPath : block.Paths.szOvtPath;
    fault = Finding{
        Severity::Error, path, 0, -1, "the file changed while it was read", "Run again when it is complete"};
  }
  return Keep(block, *fault);
}

void TellLostImages(CBundleAdjustment& block) {
  if (block.Guard.bToldImages) return;
  block.Guard.bToldImages = true;
  NamedCount images;
  int64_t measures = 0;
  for (size_t i = 0; i < block.Images.pImageIndex.size() && i < block.Images.pImagePointCount.size(); ++i) {
    if (block.Images.pImageIndex[i] >= 0) continue;
    measures += block.Images.pImagePointCount[i];
    if (block.Images.pImagePointCount[i] < 1) images.Add(block.Images.pImageNames[i].sz);
  }
  if (images.nCount > 0) {
    TellNote(block, {Severity::Note,
                     block.Paths.szProjectPath,
                     0,
                     -1,
                     CountOf(images.nCount, "image", images.Names) +
                         ": left out, for no tie point is measured there",
                     {}});
  }
  if (measures > 0) {
    TellNote(block, {Severity::Note,
                     block.Paths.szProjectPath,
                     0,
                     -1,
                     CountOf(measures, "measurement", {}) + " on images that are left out",
                     {}});
  }
  if (block.Points.Facts.nFewRays > 0) {
    TellNote(block, {Severity::Note,
                     block.Paths.szProjectPath,
                     0,
                     -1,
                     CountOf(block.Points.Facts.nFewRays, "tie point", {}) +
                         " with fewer than 2 measurements, which determine nothing",
                     {}});
  }
}

void TellLostPoints(CBundleAdjustment& block) {
  if (block.Guard.bToldPoints) return;
  block.Guard.bToldPoints = true;
  const NamedCount& rejected = block.Points.Facts.Points.Rejected;
  if (rejected.nCount < 1) return;
  TellNote(block, {Severity::Note,
                   block.Paths.szProjectPath,
                   0,
                   -1,
                   CountOf(rejected.nCount, "tie point", rejected.Names) +
                       ": left out whole, for a measurement is on an image that is left out",
                   {}});
}

}  // namespace

bool CountsHold(CBundleAdjustment& block) {
  if (!block.Guard.bGuarded) return true;
  if (!block.Guard.Refusals.empty()) return false;
  if (block.Points.Facts.nBrokenCounted > 0) return Refuse(block);
  return true;
}

bool PointsHold(CBundleAdjustment& block) {
  if (!CountsHold(block)) return false;
  if (!block.Guard.bGuarded) return true;
  TellLostImages(block);
  if (!block.Paths.szOvtPath.empty()) return true;
  if (block.Points.Sections.Count() > 1) {
    return Keep(block, {Severity::Error, block.Paths.szProjectPath, 0, -1,
                        "the text project does not fit into the memory at once, and its later "
                        "sections would be read out of step",
                        "Count on more with --memory, or convert the project to .ovc and .ovt"});
  }
  if (block.Points.Facts.Points.nBroken > 0) return Refuse(block);
  TellLostPoints(block);
  return true;
}

bool WholeProjectHolds(CBundleAdjustment& block) {
  if (!block.Guard.bGuarded) return true;
  if (!block.Guard.Refusals.empty()) return false;
  const std::optional<Finding> fault = FindFault(block);
  return !fault || Keep(block, *fault);
}

void TellNote(CBundleAdjustment& block, const Finding& note) {
  block.Guard.Notes.push_back(note);
  block.LogPrintf("%s\n", TextOf(note).c_str());
}

}  // namespace orvo
