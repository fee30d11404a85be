#include "run/RunCourse.h"

#include <algorithm>
#include <cmath>

#include "base/Crc32.h"
#include "base/InputFile.h"
#include "base/OutputFiles.h"
#include "base/OutputNames.h"
#include "gpu/GpuState.h"
#include "normal/Damping.h"
#include "report/FiguresOfRun.h"
#include "report/html/ReportPage.h"
#include "report/json/SummaryJson.h"
#include "rigorous/Adjust.h"
#include "run/BundleAdjustment.h"
#include "run/EntryPoint.h"
#include "run/ProgramFacts.h"
#include "run/RunVerdict.h"
#include "run/RunWatch.h"
#include "run/SettingFigures.h"
#include "verdict/RunNames.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

report::FigureSources SourcesOf(const CBundleAdjustment& run) {
  return {run.Settings, run.Limits, run.Images,    run.Cameras,           run.Points,
          run.Unknowns, run.Frame,  run.Residuals, run.Normal.pPosParams, *run.pTrack};
}

std::string TextOf(const LocalTime& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.nYear, time.nMonth, time.nDay,
                time.nHour, time.nMinute, time.nSecond);
  return text;
}

/// Empty where the file can't be read whole, which the run is told.
std::string ChecksumOf(const std::string& path, InputFiles& inputs, int64_t& bytes) {
  InputFile file(&inputs);
  if (!file.Open(path, kReadOnce)) return {};
  std::vector<unsigned char> buffer(size_t{1} << 20);
  Crc32 sum;
  while (true) {
    const int64_t got = file.ReadAt(bytes, buffer.data(), std::ssize(buffer));
    if (got <= 0) break;
    sum.Add(buffer.data(), static_cast<size_t>(got));
    bytes += got;
  }
  return file.Failed() ? std::string() : sum.Text();
}

std::string DeviceNameOf(CBundleAdjustment& run) {
  if (!run.Limits.Apply_GPU) return "cpu";
  const gpu::GpuState& state = run.Gpu();
  const auto used = static_cast<size_t>(state.vEnabledDevices.empty() ? 0 : state.vEnabledDevices[0]);
  return used < state.pDeviceProps.size() ? state.pDeviceProps[used].szName : "device";
}

report::RunPlan ClassicPlanOf(const CBundleAdjustment& run) {
  const DampingSchedule schedule = ScheduleOf(run.Settings, run.Frame.bSevenParamApplied);
  report::RunPlan plan;
  plan.nMost = IterationsAtMost(schedule, run.Settings.Max_LM_Iteration_Num);
  plan.nHeld = FirstHeldIteration(schedule, plan.nMost);
  plan.fThreshold = run.Settings.LM_Converge_Threshold;
  return plan;
}

report::RunPlan RigorousPlanOf(const CBundleAdjustment& run) {
  report::RunPlan plan;
  plan.nMost = run.Chosen.Settings.Max_Iterations;
  plan.fThreshold = rigorous::AdjustOptions().fStop;
  return plan;
}

template <typename Writer>
void WriteFile(const std::string& name, CBundleAdjustment& run, const Writer& writer) {
  TextWriter file;
  if (!OpenOutput(run.Outputs.Folder, file, JoinPath(run.Paths.szOutputPath, name))) {
    ++run.Outputs.nOutputFailureNum;
    return;
  }
  writer(file);
  if (!CloseOutput(run.Outputs.Folder, file)) ++run.Outputs.nOutputFailureNum;
}

}  // namespace

void RunCourse::Begin() {
  if (run.pWatch) run.pWatch->Figures.szBegin = TextOf(run.System.Now());
}

void RunCourse::BeginPhase(report::RunPhase phase) {
  if (run.pWatch) run.pWatch->Begin(phase);
}

void RunCourse::NoteFileCounts() {
  if (run.pWatch) run.pWatch->Figures.Counts.nTiePointsInFile = run.Points.nTiePointNum;
}

void RunCourse::NoteCounts() {
  if (!run.pWatch) return;
  report::BlockCounts& counts = run.pWatch->Figures.Counts;
  report::FillCounts(SourcesOf(run), counts);
  report::RunPlan plan = run.Chosen.IsRigorous() ? RigorousPlanOf(run) : ClassicPlanOf(run);
  plan.bWritesPoints = !run.Paths.szOvtPath.empty();
  plan.bDrawsPage = run.pWatch->Choice.bPage;
  run.pWatch->NoteCounts(counts, plan);
}

void RunCourse::NoteRedundancy(int64_t redundancy) {
  if (run.pWatch) run.pWatch->Figures.Counts.nRedundancy = redundancy;
}

void RunCourse::BeginIteration() {
  if (run.pWatch) run.pWatch->BeginIteration();
}

void RunCourse::Advance(double share) {
  if (run.pWatch) run.pWatch->Advance(share);
}

void RunCourse::EndIteration(double largest, int32_t solverSteps, double mu) {
  if (!run.pWatch) return;
  const double scale = run.Settings.Image_Coor_Scale;
  report::IterationFigure figure;
  figure.Rmse = {run.Residuals.fRmsResidualX / scale, run.Residuals.fRmsResidualY / scale};
  figure.fLargest = largest;
  // The kernels leave gross measurements out without counting them.
  const bool counted = !run.Limits.Apply_GPU && std::isfinite(figure.Rmse.x + figure.Rmse.y);
  figure.nUsed = counted ? run.Residuals.nValidImagePointNum : report::kUnknownCount;
  figure.nGross = counted ? run.Residuals.nGrossImagePointNum : report::kUnknownCount;
  figure.nSolverSteps = solverSteps;
  figure.fDamping = mu;
  run.pWatch->EndIteration(figure);
}

void RunCourse::BeginPass(double unit) {
  if (!run.pWatch || !run.pTrack) return;
  report::FigurePassInput input = report::FigurePassInputOf(SourcesOf(run), unit);
  input.Pass.LeftOut = run.pTrack->vLeftOut;
  const TableChoice& tables = run.pWatch->Choice.Tables;
  if (tables.Any()) {
    report::TableSources sources{input.Pass, input.Frame, input.fImageScale, {}, run.System.ProcessorCount()};
    for (int32_t image = 0; image < run.Images.nImageNum; ++image)
      sources.vImageNames.push_back(ImageNameOf(run.Images, image));
    run.pWatch->pTables = std::make_unique<TableOutput>(tables, sources, run.Paths.szOutputPath, run.Outputs);
  }
  run.pWatch->Pass.emplace(input, run.System.ProcessorCount());
}

void RunCourse::PassOver(std::span<const ObjectPointRecord> points,
                         std::span<const ImagePointRecord> imagePoints) {
  if (!run.pWatch || !run.pWatch->Pass) return;
  run.pWatch->Pass->Add(points, imagePoints);
  if (run.pWatch->pTables) run.pWatch->pTables->Add(points, imagePoints);
}

void RunCourse::EndPass() {
  if (!run.pWatch || !run.pWatch->Pass) return;
  report::FillFromPass(SourcesOf(run), *run.pWatch->Pass, run.pWatch->Figures);
  run.pWatch->Pass.reset();
  run.pWatch->pTables.reset();
}

void RunCourse::FillInputs() {
  const auto add = [&](const char* role, const std::string& path) {
    if (path.empty()) return;
    report::InputFigure input{role, path, 0, {}};
    input.szChecksum = ChecksumOf(path, run.Inputs, input.nBytes);
    run.pWatch->Figures.vInputs.push_back(std::move(input));
  };
  const RunPaths& files = run.pWatch->Read;
  add("project", files.szProject);
  add("tie points", run.Paths.szOvtPath);
  add("gcp", files.szGcp);
  add("pos", files.szPos);
  add("settings", files.szSettings);
}

void RunCourse::FillRun() {
  report::RunFigures& figures = run.pWatch->Figures;
  figures.szMethod = NameOf(run.Chosen.Method);
  figures.szSolver = run.Limits.Apply_GPU ? "device" : run.Limits.Apply_PCG_Model ? "sparse" : "dense";
  figures.bAdjusted = !run.Settings.Direct_Intersection && !run.Settings.Absolute_Orientation;
  const std::string& project = run.pWatch->Read.szProject;
  figures.szProject = project.substr(project.find_last_of("/\\") + 1);
  figures.vFindings = run.Guard.Notes;
  figures.vIterations = run.pWatch->Iterations();
  figures.bConverged = run.Progress.bConverged && report::HasSettled(figures.vIterations);
  if (run.pTrack) figures.Judgement = run.pTrack->Judgement;
  figures.Program = ProgramFigureOf(run.System, DeviceNameOf(run));
  figures.vSettings = SettingFiguresOf(run.Settings, run.Limits, run.Sources, run.pWatch->At);
  figures.vSettings.insert(figures.vSettings.end(), run.pWatch->vMethodSettings.begin(),
                           run.pWatch->vMethodSettings.end());
  figures.Ground.fSurveySigmaH = run.pWatch->Choice.fSurveySigmaH;
  figures.Ground.fSurveySigmaV = run.pWatch->Choice.fSurveySigmaV;
}

void RunCourse::Write() {
  report::RunFigures& figures = run.pWatch->Figures;
  figures.vPhases = run.pWatch->Phases();
  figures.fSeconds = run.pWatch->Seconds();
  figures.Memory = {run.System.PeakBytes(), run.System.FreePhysicalBytes()};
  WriteFile(kSummaryName, run, [&](TextWriter& file) { report::WriteSummary(figures, file); });
  if (!run.pWatch->Choice.bPage) return;
  WriteFile(kReportPageName, run, [&](TextWriter& file) { report::WriteReportPage(figures, file); });
}

void RunCourse::Report() {
  if (!run.pWatch || !run.pTrack) return;
  BeginPhase(report::RunPhase::Reporting);
  EndPass();
  report::RunFigures& figures = run.pWatch->Figures;
  report::FillFromEnd(SourcesOf(run), RunVerdict(run).ReadGroundPoints(), figures);
  FillRun();
  // Without an adjustment nothing is counted before the points are written.
  if (!figures.bAdjusted) run.pWatch->NoteCounts(figures.Counts, {});
  FillInputs();
  figures.bDone = true;
  Write();
}

void RunCourse::ReportFailure(const RunOutcome& outcome) {
  if (!run.pWatch) return;
  BeginPhase(report::RunPhase::Reporting);
  FillRun();
  report::RunFigures& figures = run.pWatch->Figures;
  // What had been read by then.
  if (figures.Counts.nImages < 1 && run.pTrack) report::FillCounts(SourcesOf(run), figures.Counts);
  FillInputs();
  figures.bDone = false;
  figures.szFailure = outcome.szFault;
  for (const Finding& refusal : outcome.Refusals) figures.vFindings.push_back(refusal);
  if (figures.szFailure.empty() && !outcome.Refusals.empty()) figures.szFailure = outcome.Refusals[0].szWhat;
  if (figures.szFailure.empty()) figures.szFailure = run.Log.LastError();
  Write();
}

void RunCourse::End() {
  if (run.pWatch) run.pWatch->End(run.pWatch->Figures);
}

}  // namespace orvo
