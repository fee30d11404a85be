#include "report/html/PageChecks.h"

#include <algorithm>
#include <array>

#include "report/html/ReportPage.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

using namespace report;

constexpr std::array<std::string_view, 4> kVoid = {"meta", "link", "br", "hr"};

/// The end of the tag that begins at `at`, behind its attributes; npos where it has none.
size_t EndOfTag(std::string_view page, size_t at) {
  for (size_t i = at + 1; i < page.size(); ++i) {
    if (page[i] == '"') {
      i = page.find('"', i + 1);
      if (i == std::string_view::npos) return i;
    } else if (page[i] == '<') {
      return std::string_view::npos;
    } else if (page[i] == '>') {
      return i;
    }
  }
  return std::string_view::npos;
}

std::string At(std::string_view page, size_t at) { return std::string(page.substr(at, 60)); }

void SetAll(Pair& p, double value) { p = {value, value}; }
void SetAll(Triple& t, double value) { t = {value, value, value}; }
void SetAll(GroundStatistics& s, double value) {
  for (Triple* t : {&s.Mean, &s.Deviation, &s.Rmse}) SetAll(*t, value);
  s.fHorizontal = value;
}
void SetAll(ResidualFigure& r, double value) {
  SetAll(r.Rmse, value);
  SetAll(r.Mean, value);
}

void SetImages(RunFigures& figures, double value) {
  for (ImageFigure& image : figures.vImages) {
    SetAll(image.Centre, value);
    SetAll(image.Mean, value);
    SetAll(image.Rmse, value);
    for (Pair& corner : image.Footprint) SetAll(corner, value);
  }
  for (report::CameraFigure& camera : figures.vCameras) {
    camera.Start = camera.End = {value, value, value, value, value};
    SetAll(camera.Rmse, value);
    for (ResidualCell& cell : camera.vField) SetAll(cell.Mean, value);
    for (auto& ring : camera.vRings) {
      SetAll(ring.Rmse, value);
      SetAll(ring.Mean, value);
    }
    camera.fRingWidth = value;
  }
}

void SetGround(RunFigures& figures, double value) {
  for (GroundPointFigure& point : figures.Ground.vPoints) {
    SetAll(point.Given, value);
    SetAll(point.Difference, value);
    point.fRmse = point.fWorst = value;
  }
  GroundFigures& ground = figures.Ground;
  for (GroundStatistics* s : {&ground.Control, &ground.Check, &ground.ListedControl, &ground.ListedCheck}) {
    SetAll(*s, value);
  }
  if (!figures.Pos) return;
  PosFigures& pos = *figures.Pos;
  pos.fWeightXY = pos.fWeightZ = pos.fSigmaXY = pos.fSigmaZ = value;
  SetAll(pos.Rmse, value);
  for (DriftFigure& strip : pos.vStrips) {
    for (Triple* t : {&strip.Constant, &strip.Rate, &strip.Rmse}) SetAll(*t, value);
  }
  for (PosImageFigure& image : pos.vImages) {
    image.fTime = value;
    SetAll(image.Difference, value);
  }
}

void SetPoints(RunFigures& figures, double value) {
  PointFigures& points = figures.Points;
  for (Histogram* histogram : {&points.Rays, &points.Angles, &figures.Residuals.X, &figures.Residuals.Y}) {
    histogram->fFirst = histogram->fStep = value;
  }
  for (double* number : {&points.fMeanRays, &points.fMedianAngle, &points.fShareBelow3, &points.fCellSize,
                         &points.fCellX0, &points.fCellY0, &points.fCellsBelow3, &points.fGsd}) {
    *number = value;
  }
  for (GroundCell& cell : points.vCells) cell.fMeanZ = value;
  SetAll(points.Low, value);
  SetAll(points.High, value);
}

void SetPrecision(report::PrecisionFigures& precision, double value) {
  precision.fSigma0 = precision.fSquares = precision.fLow = precision.fHigh = value;
  for (DeviationRange* range : {&precision.Centres, &precision.Angles}) {
    for (Triple* t : {&range->Least, &range->Median, &range->Largest}) SetAll(*t, value);
  }
  for (CameraPrecisionFigure& camera : precision.vCameras) {
    for (CameraQuantityFigure& quantity : camera.vQuantities) quantity.fValue = quantity.fDeviation = value;
    for (CorrelationFigure& pair : camera.vCorrelations) pair.fCorrelation = value;
  }
  for (GroundPrecisionFigure& point : precision.vGround) {
    for (Triple* t : {&point.Deviation, &point.Test, &point.Redundancy, &point.Smallest, &point.Effect})
      SetAll(*t, value);
  }
  for (SuspectFigure& suspect : precision.vSuspects) {
    suspect.fSize = suspect.fTest = value;
    suspect.fRedundancy = suspect.fSmallest = suspect.fEffect = value;
  }
  for (VarianceFigure& variance : precision.vVariances)
    variance.fRedundancy = variance.fFactor = variance.fDeviation = value;
}

void NamePrecision(report::PrecisionFigures& precision, const std::string& text) {
  precision.szTest = precision.szRefusal = text;
  for (std::string& words : precision.vFree) words = text;
  for (CameraPrecisionFigure& camera : precision.vCameras) {
    camera.szCamera = text;
    for (CameraQuantityFigure& quantity : camera.vQuantities) quantity.szName = quantity.szUnit = text;
    for (CorrelationFigure& pair : camera.vCorrelations) pair.szFirst = pair.szSecond = text;
  }
  for (GroundPrecisionFigure& point : precision.vGround) point.szPoint = text;
  for (SuspectFigure& suspect : precision.vSuspects) {
    suspect.szKind = suspect.szImage = suspect.szPoint = text;
    suspect.szComponent = suspect.szUnit = text;
  }
  for (VarianceFigure& variance : precision.vVariances) variance.szGroup = variance.szCamera = text;
}

}  // namespace

std::string PageOf(const RunFigures& figures) {
  const ScratchFolder folder;
  TextWriter file;
  if (!file.Open(folder / "report.html")) return {};
  WriteReportPage(figures, file);
  return file.Close() ? ReadFile(folder / "report.html") : std::string();
}

std::string TagFault(std::string_view page) {
  std::vector<std::string> open;
  const size_t style = page.find("<style>"), styleEnd = page.find("</style>");
  for (size_t at = page.find('<'); at != std::string_view::npos; at = page.find('<', at + 1)) {
    if (at > style && at < styleEnd) return "a tag in the style sheet: " + At(page, at);
    const size_t end = EndOfTag(page, at);
    if (end == std::string_view::npos) return "no end: " + At(page, at);
    std::string_view tag = page.substr(at + 1, end - at - 1);
    const bool closing = tag.starts_with('/');
    if (closing) tag.remove_prefix(1);
    const std::string name(tag.substr(0, tag.find_first_of(" \n/")));
    if (name == "!DOCTYPE" || tag.ends_with('/') || std::ranges::find(kVoid, name) != kVoid.end()) continue;
    if (name.empty() || !std::ranges::all_of(name, [](char c) { return std::isalnum(c) != 0; })) {
      return "no tag: " + At(page, at);
    }
    if (!closing) {
      open.push_back(name);
    } else if (open.empty() || open.back() != name) {
      return "closes what is not open: " + At(page, at);
    } else {
      open.pop_back();
    }
  }
  return open.empty() ? std::string() : "left open: " + open.back();
}

std::vector<std::string> AllBetween(std::string_view page, std::string_view begin, std::string_view end) {
  std::vector<std::string> found;
  for (size_t at = page.find(begin); at != std::string_view::npos; at = page.find(begin, at + 1)) {
    const size_t from = at + begin.size(), to = page.find(end, from);
    found.emplace_back(page.substr(from, to == std::string_view::npos ? to : to - from));
  }
  return found;
}

size_t CountOf(std::string_view page, std::string_view text) {
  size_t count = 0;
  for (size_t at = page.find(text); at != std::string_view::npos; at = page.find(text, at + text.size()))
    ++count;
  return count;
}

RunFigures WithTexts(RunFigures figures, const std::string& text) {
  figures.szProject = figures.szFailure = figures.szBegin = figures.szMethod = figures.szSolver = text;
  figures.Program.szVersion = figures.Program.szBuild = text;
  figures.Program.szInstructionSet = figures.Program.szDevice = text;
  for (InputFigure& input : figures.vInputs) input.szRole = input.szPath = input.szChecksum = text;
  for (SettingFigure& setting : figures.vSettings) setting.szKey = setting.szValue = text;
  for (Finding& finding : figures.vFindings) {
    finding.szFile = finding.szWhat = finding.szRemedy = finding.szCode = text;
  }
  for (ImageFigure& image : figures.vImages) image.szName = text;
  for (report::CameraFigure& camera : figures.vCameras) camera.szName = text;
  for (GroundPointFigure& point : figures.Ground.vPoints) point.szName = point.szWorstImage = text;
  for (VerdictReason& reason : figures.Judgement.vReasons) {
    reason.szWhat = reason.szLimit = reason.szRemedy = text;
  }
  if (figures.Precision) NamePrecision(*figures.Precision, text);
  return figures;
}

RunFigures WithNumbers(RunFigures figures, double value) {
  for (IterationFigure& it : figures.vIterations) {
    SetAll(it.Rmse, value);
    it.fLargest = it.fDamping = it.fSeconds = value;
  }
  for (PhaseFigure& phase : figures.vPhases) phase.fSeconds = value;
  figures.fSeconds = value;
  for (ResidualFigure* r :
       {&figures.Residuals.Listed, &figures.Residuals.StrictAll, &figures.Residuals.StrictKept}) {
    SetAll(*r, value);
  }
  SetImages(figures, value);
  SetGround(figures, value);
  SetPoints(figures, value);
  if (figures.Precision) SetPrecision(*figures.Precision, value);
  return figures;
}

}  // namespace orvo::test
