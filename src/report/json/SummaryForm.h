// The keys of summary.json: one table for the writing and for the reading.
//
// Describe names the members of each part to a visitor:
//   visit("key", member)               a value, or an array of such
//   visit("key", member, least)        an integer that may be `least` and more; 0 and more without it
//   visit.If("key", has, member)       null where `has` is false
//   visit.Count("key", member)         an integer; null for kUnknownCount
//   visit.Enum("key", member, values)  by NameOf, one of `values`
//   visit.EnumIf("key", has, member, values)  the same, null where `has` is false; `has` is read before
//   visit.Group("key", part)           an object that holds lists
//   visit.Maybe("key", optional)       the same, or null
//   visit.Later("key", optional)       the same; files of the versions before do not have it
//   visit.List("key", members)         an array that may be long: a line an element
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "report/RunFigures.h"
#include "report/json/FormPart.h"
#include "report/json/PrecisionForm.h"

namespace orvo::report {

/// Written as arrays of their values, without keys.
template <class Part>
inline constexpr bool kIsRow =
    std::same_as<Part, Pair> || std::same_as<Part, Triple> || std::same_as<Part, ResidualCell>;

inline const char* NameOf(Grade grade) { return GradeName(grade); }

inline constexpr Severity kSeverities[] = {Severity::Error, Severity::Warning, Severity::Note};
inline constexpr Grade kGrades[] = {Grade::Good, Grade::Doubtful, Grade::Unusable};
inline constexpr SettingOrigin kOrigins[] = {SettingOrigin::Default, SettingOrigin::File,
                                             SettingOrigin::CommandLine, SettingOrigin::Run};
inline constexpr RunPhase kPhases[] = {RunPhase::Reading, RunPhase::Preparing, RunPhase::Iterating,
                                       RunPhase::Judging, RunPhase::Writing,   RunPhase::Reporting};

inline constexpr int64_t kNoPlace = -1;  ///< of a place in a table that may be none
inline constexpr int64_t kAnyId = std::numeric_limits<int32_t>::min();

template <class V, Of<Pair> P>
void Describe(V& visit, P& pair) {
  visit("x", pair.x);
  visit("y", pair.y);
}

template <class V, Of<Triple> P>
void Describe(V& visit, P& triple) {
  visit("X", triple.X);
  visit("Y", triple.Y);
  visit("Z", triple.Z);
}

template <class V, Of<ResidualCell> P>
void Describe(V& visit, P& cell) {
  visit("count", cell.nNum);
  visit("mean_x", cell.Mean.x);
  visit("mean_y", cell.Mean.y);
}

template <class V, Of<ProgramFigure> P>
void Describe(V& visit, P& program) {
  visit("version", program.szVersion);
  visit("build", program.szBuild);
  visit("instruction_set", program.szInstructionSet);
  visit("device", program.szDevice);
  visit("processors", program.nProcessors);
}

template <class V, Of<InputFigure> P>
void Describe(V& visit, P& input) {
  visit("role", input.szRole);
  visit("path", input.szPath);
  visit("bytes", input.nBytes);
  visit("checksum", input.szChecksum);
}

template <class V, Of<SettingFigure> P>
void Describe(V& visit, P& setting) {
  visit("key", setting.szKey);
  visit("value", setting.szValue);
  visit.Enum("origin", setting.Origin, kOrigins);
}

template <class V, Of<BlockCounts> P>
void Describe(V& visit, P& counts) {
  visit("images", counts.nImages);
  visit("images_in_file", counts.nImagesInFile);
  visit("cameras", counts.nCameras);
  visit("cameras_in_file", counts.nCamerasInFile);
  visit("strips", counts.nStrips);
  visit("tie_points", counts.nTiePoints);
  visit("tie_points_in_file", counts.nTiePointsInFile);
  visit("measurements", counts.nMeasurements);
  visit("control", counts.nControl);
  visit("check", counts.nCheck);
  visit("pos_images", counts.nPosImages);
  visit("unknowns", counts.nUnknowns);
  visit("redundancy", counts.nRedundancy, std::numeric_limits<int64_t>::min());
  visit("sections", counts.nSections);
  visit("images_unknown", counts.bImagesUnknown);
  visit("cameras_unknown", counts.bCamerasUnknown);
}

template <class V, Of<Finding> P>
void Describe(V& visit, P& finding) {
  visit.Enum("severity", finding.Weight, kSeverities);
  visit("code", finding.szCode);
  visit("file", finding.szFile);
  visit("line", finding.nLine);
  visit("column", finding.nColumn);
  visit("offset", finding.nByte, -1);
  visit("what", finding.szWhat);
  visit("remedy", finding.szRemedy);
}

template <class V, Of<IterationFigure> P>
void Describe(V& visit, P& iteration) {
  visit("number", iteration.nNumber);
  visit("rmse", iteration.Rmse);
  visit("largest_correction", iteration.fLargest);
  visit.Count("used", iteration.nUsed);
  visit.Count("gross", iteration.nGross);
  visit("solver_steps", iteration.nSolverSteps);
  visit("damping", iteration.fDamping);
  visit("seconds", iteration.fSeconds);
}

template <class V, Of<PhaseFigure> P>
void Describe(V& visit, P& phase) {
  visit.Enum("phase", phase.Phase, kPhases);
  visit("seconds", phase.fSeconds);
}

template <class V, Of<ResidualFigure> P>
void Describe(V& visit, P& residuals) {
  visit.Count("measurements", residuals.nMeasurements);
  visit("rmse", residuals.Rmse);
  visit("mean", residuals.Mean);
}

template <class V, Of<Histogram> P>
void Describe(V& visit, P& histogram) {
  visit("first", histogram.fFirst);
  visit("step", histogram.fStep);
  visit("counts", histogram.vCounts);
  visit("below", histogram.nBelow);
  visit("above", histogram.nAbove);
}

template <class V, Of<ResidualFigures> P>
void Describe(V& visit, P& residuals) {
  visit("listed", residuals.Listed);
  visit("strict_all", residuals.StrictAll);
  visit("strict_kept", residuals.StrictKept);
  visit.Count("gross", residuals.nGross);
  visit("measurements", residuals.nMeasurements);
  visit("histogram_x", residuals.X);
  visit("histogram_y", residuals.Y);
}

template <class V, Of<ImageFigure> P>
void Describe(V& visit, P& image) {
  visit("name", image.szName);
  visit("camera", image.nCamera, kNoPlace);
  visit("strip", image.nStrip, kNoPlace);
  visit("centre", image.Centre);
  visit.If("footprint", image.bHasFootprint, image.Footprint);
  visit("used", image.nUsed);
  visit("gross", image.nGross);
  visit("mean", image.Mean);
  visit("rmse", image.Rmse);
}

template <class V, Of<LensTerms> P>
void Describe(V& visit, P& terms) {
  visit("k3", terms.fK3);
  visit("p1", terms.fP1);
  visit("p2", terms.fP2);
  visit("b1", terms.fB1);
  visit("b2", terms.fB2);
}

template <class V, Of<CameraParameters> P>
void Describe(V& visit, P& camera) {
  visit("f", camera.f);
  visit("x0", camera.x0);
  visit("y0", camera.y0);
  visit("k1", camera.k1);
  visit("k2", camera.k2);
  visit.If("further", camera.bFurther, camera.Further);
}

template <class V, Of<CameraFigure::Ring> P>
void Describe(V& visit, P& ring) {
  visit("count", ring.nNum);
  visit("rmse", ring.Rmse);
  visit("mean", ring.Mean);
}

template <class V, Of<CameraFigure> P>
void Describe(V& visit, P& camera) {
  visit("name", camera.szName);
  visit("id", camera.nId, kAnyId);
  visit("width", camera.nWidth);
  visit("height", camera.nHeight);
  visit("unknown", camera.bUnknown);
  visit("start", camera.Start);
  visit("end", camera.End);
  visit("images", camera.nImages);
  visit("used", camera.nUsed);
  visit("gross", camera.nGross);
  visit("rmse", camera.Rmse);
  visit("field", camera.vField);
  visit("rings", camera.vRings);
  visit("ring_width", camera.fRingWidth);
}

template <class V, Of<GroundPointFigure> P>
void Describe(V& visit, P& point) {
  visit("name", point.szName);
  visit("control", point.bControl);
  visit("given", point.Given);
  visit.If("difference", point.bIntersected, point.Difference);
  visit("rays", point.nRays);
  visit("rmse", point.fRmse);
  visit("worst", point.fWorst);
  visit("worst_image", point.szWorstImage);
}

template <class V, Of<GroundStatistics> P>
void Describe(V& visit, P& statistics) {
  visit("count", statistics.nNum);
  visit("mean", statistics.Mean);
  visit("deviation", statistics.Deviation);
  visit("rmse", statistics.Rmse);
  visit("rmse_horizontal", statistics.fHorizontal);
}

template <class V, Of<GroundFigures> P>
void Describe(V& visit, P& ground) {
  visit("control", ground.Control);
  visit("check", ground.Check);
  visit("listed_control", ground.ListedControl);
  visit("listed_check", ground.ListedCheck);
  visit("survey_sigma_horizontal", ground.fSurveySigmaH);
  visit("survey_sigma_vertical", ground.fSurveySigmaV);
  visit.List("points", ground.vPoints);
}

template <class V, Of<DriftFigure> P>
void Describe(V& visit, P& drift) {
  visit("strip", drift.nStrip, kNoPlace);
  visit("images", drift.nImages);
  visit("constant", drift.Constant);
  visit("rate", drift.Rate);
  visit("rmse", drift.Rmse);
}

template <class V, Of<PosImageFigure> P>
void Describe(V& visit, P& image) {
  visit("image", image.nImage);
  visit("strip", image.nStrip, kNoPlace);
  visit("time", image.fTime);
  visit("difference", image.Difference);
}

template <class V, Of<PosFigures> P>
void Describe(V& visit, P& pos) {
  visit("gps", pos.bGps);
  visit("imu", pos.bImu);
  visit("constant_drift", pos.bConstant);
  visit("linear_drift", pos.bLinear);
  visit("weight_xy", pos.fWeightXY);
  visit("weight_z", pos.fWeightZ);
  visit("sigma_xy", pos.fSigmaXY);
  visit("sigma_z", pos.fSigmaZ);
  visit("rmse", pos.Rmse);
  visit.List("strips", pos.vStrips);
  visit.List("images", pos.vImages);
}

template <class V, Of<GroundCell> P>
void Describe(V& visit, P& cell) {
  visit("column", cell.nColumn);
  visit("row", cell.nRow);
  visit("points", cell.nPoints);
  visit("rays", cell.nRays);
  visit("mean_z", cell.fMeanZ);
}

template <class V, Of<PointFigures> P>
void Describe(V& visit, P& points) {
  visit("count", points.nPoints);
  visit("not_intersected", points.nNotIntersected);
  visit("not_in_front", points.nNotInFront);
  visit("rays", points.Rays);
  visit("angles", points.Angles);
  visit("rays_mean", points.fMeanRays);
  visit("angle_median", points.fMedianAngle);
  visit("share_below_3", points.fShareBelow3);
  visit("cell_size", points.fCellSize);
  visit("cell_x0", points.fCellX0);
  visit("cell_y0", points.fCellY0);
  visit("cells_below_3", points.fCellsBelow3);
  visit("gsd", points.fGsd);
  visit("low", points.Low);
  visit("high", points.High);
  visit.List("cells", points.vCells);
}

template <class V, Of<VerdictReason> P>
void Describe(V& visit, P& reason) {
  visit.Enum("weight", reason.Weight, kGrades);
  visit("what", reason.szWhat);
  visit("limit", reason.szLimit);
  visit("remedy", reason.szRemedy);
}

template <class V, Of<Verdict> P>
void Describe(V& visit, P& verdict) {
  visit("judged", verdict.bJudged);
  visit.EnumIf("result", verdict.bJudged, verdict.Result, kGrades);
  visit.List("reasons", verdict.vReasons);
}

template <class V, Of<MemoryFigure> P>
void Describe(V& visit, P& memory) {
  visit("peak_bytes", memory.nPeakBytes);
  visit("available_bytes", memory.nAvailableBytes);
}

template <class V, Of<RunFigures> P>
void Describe(V& visit, P& run) {
  visit("program", run.Program);
  visit("begin", run.szBegin);
  visit("method", run.szMethod);
  visit("solver", run.szSolver);
  visit("adjusted", run.bAdjusted);
  visit("done", run.bDone);
  visit("converged", run.bConverged);
  visit("failure", run.szFailure);
  visit("project", run.szProject);
  visit("counts", run.Counts);
  visit("residuals", run.Residuals);
  visit("seconds", run.fSeconds);
  visit("memory", run.Memory);
  visit.Group("verdict", run.Judgement);
  visit.List("phases", run.vPhases);
  visit.List("inputs", run.vInputs);
  visit.List("settings", run.vSettings);
  visit.List("findings", run.vFindings);
  visit.List("iterations", run.vIterations);
  visit.List("cameras", run.vCameras);
  visit.Group("ground", run.Ground);
  visit.Maybe("pos", run.Pos);
  visit.Later("precision", run.Precision);
  visit.Group("points", run.Points);
  visit.List("images", run.vImages);
}

}  // namespace orvo::report
