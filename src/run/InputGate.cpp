#include "run/InputGate.h"

#include "check/OvtCheck.h"
#include "check/PointLines.h"

namespace orvo {
namespace {

std::optional<Finding> FindFault(const CBundleAdjustment& block) {
  if (block.szOvtPath.empty()) return FindFaultOfTextProject(block.szProjectPath);
  return FindFaultOfOvt(block.szOvtPath, block.nImageFileNum);
}

/// Ends the run for it. The console has it from whoever asked for the run.
bool Keep(CBundleAdjustment& block, const Finding& refusal) {
  block.Guard.Refusals.push_back(refusal);
  if (block.fLogFile != nullptr) std::fprintf(block.fLogFile, "%s\n", TextOf(refusal).c_str());
  return false;
}

/// Looks for what was noticed on the way: where it is, and what it is.
bool Refuse(CBundleAdjustment& block) {
  std::optional<Finding> fault = FindFault(block);
  if (!fault) {
    const std::string& path = block.szOvtPath.empty() ? block.szProjectPath : block.szOvtPath;
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
  for (size_t i = 0; i < block.pImageIndex.size() && i < block.pImagePointCount.size(); ++i) {
    if (block.pImageIndex[i] >= 0) continue;
    measures += block.pImagePointCount[i];
    if (block.pImagePointCount[i] < 1) images.Add(block.pImageNames[i].sz);
  }
  if (images.nCount > 0) {
    TellNote(block, {Severity::Note,
                     block.szProjectPath,
                     0,
                     -1,
                     CountOf(images.nCount, "image", images.Names) +
                         ": left out, for no tie point is measured there",
                     {}});
  }
  if (measures > 0) {
    TellNote(block, {Severity::Note,
                     block.szProjectPath,
                     0,
                     -1,
                     CountOf(measures, "measurement", {}) + " on images that are left out",
                     {}});
  }
  if (block.Facts.nFewRays > 0) {
    TellNote(block, {Severity::Note,
                     block.szProjectPath,
                     0,
                     -1,
                     CountOf(block.Facts.nFewRays, "tie point", {}) +
                         " with fewer than 2 measurements, which determine nothing",
                     {}});
  }
}

void TellLostPoints(CBundleAdjustment& block) {
  if (block.Guard.bToldPoints) return;
  block.Guard.bToldPoints = true;
  const NamedCount& rejected = block.Facts.Points.Rejected;
  if (rejected.nCount < 1) return;
  TellNote(block, {Severity::Note,
                   block.szProjectPath,
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
  if (block.Facts.nBrokenCounted > 0) return Refuse(block);
  return true;
}

bool PointsHold(CBundleAdjustment& block) {
  if (!CountsHold(block)) return false;
  if (!block.Guard.bGuarded) return true;
  TellLostImages(block);
  if (!block.szOvtPath.empty()) return true;
  if (block.Sections.Count() > 1) {
    return Keep(block, {Severity::Error, block.szProjectPath, 0, -1,
                        "the text project does not fit into the memory at once, and its later "
                        "sections would be read out of step",
                        "Count on more with --memory, or convert the project to .ovc and .ovt"});
  }
  if (block.Facts.Points.nBroken > 0) return Refuse(block);
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
