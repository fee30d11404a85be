// Result files, residual files and the report.
#include <algorithm>
#include <utility>

#include "normal/ThreadBuffers.h"
#include "results/CorrectionFiles.h"
#include "results/Report.h"
#include "results/ResidualFiles.h"
#include "results/ResultForm.h"
#include "results/ResultOvt.h"
#include "run/BundleAdjustment.h"
#include "run/ResultSections.h"
#include "run/RunVerdict.h"

namespace orvo {
namespace {

ResidualListing ListingOf(const AdjustmentSettings& settings, const ResidualStatistics& residuals) {
  ResidualListing listing;
  listing.fScale = settings.Image_Coor_Scale;
  listing.Figures = FiguresOf(residuals, listing.fScale);
  return listing;
}

/// Of an iteration that turned out not to be the last.
void DropResiduals(int32_t iteration, int32_t number, const FilePaths& paths, OutputLedger& outputs) {
  if (iteration >= 0) outputs.Folder.Drop(ResidualFilePath(paths, iteration, number));
}

/// Exchanges the residuals of the threads with those of the parts.
void SwapResiduals(ThreadBuffers& buffers, std::vector<ResidualPart>& parts) {
  parts.resize(buffers.pThreadPointNum.size());
  for (size_t t = 0; t < parts.size(); ++t) {
    parts[t].Residuals.swap(buffers.pThreadResiduals[t]);
    parts[t].Flags.swap(buffers.pThreadGrossFlags[t]);
    parts[t].nPointNum = buffers.pThreadPointNum[t];
  }
}

}  // namespace

int CBundleAdjustment::WriteResultFiles(const std::string& project, const std::string& gcp) {
  orvo::WriteResultFiles({project, gcp, Settings, Images, Cameras, Inputs}, Paths, Residuals, Outputs, Log);
  return 1;
}

int CBundleAdjustment::WriteResultForm(const std::string& project, const std::string& gcp, int selector) {
  const ResultListing kind = selector == 0 ? ResultListing::TiePoints : ResultListing::GroundPoints;
  return orvo::WriteResultForm({project, gcp, Settings, Images, Cameras, Inputs}, kind, Paths, Residuals,
                               Outputs, Log)
             ? 1
             : 0;
}

OvtSections SectionsOfRun(CBundleAdjustment& run) {
  OvtSections sections;
  sections.Plan = [&run](int64_t pointNum, int64_t measureNum) {
    run.PlanSections(run.Images.nImageNum, run.Cameras.nCameraNum, pointNum, measureNum, nullptr);
    run.Limits.Point_Thinned_Interval = 1;
  };
  sections.Read = [&run](int32_t section) {
    int64_t count = 0;
    run.ReadSectionPoints(section, run.Paths.szProjectPath, run.Paths.szGcpPath, count);
    return count;
  };
  sections.Intersect = [&run](int32_t section, int64_t count) {
    run.ComputeTiePointsThreaded(section);
    RunVerdict(run).JudgeSectionPoints({run.Points.pObjectPoints.data(), static_cast<size_t>(count)});
  };
  sections.Release = [&run] { run.ReleaseSectionPoints(); };
  sections.InputsHold = [&run] { return run.CheckInputs() == 1; };
  sections.nThreads = run.System.ProcessorCount();
  return sections;
}

int CBundleAdjustment::WriteResultOvt() {
  return orvo::WriteResultOvt(SectionsOfRun(*this), Paths, Points, Inputs, Outputs, Log) ? 1 : 0;
}

int CBundleAdjustment::WriteCorrections(int32_t iteration, const double* x) {
  if (x == nullptr) {
    ++Outputs.nOutputFailureNum;
    return 0;
  }
  const auto count = static_cast<size_t>(std::max(Unknowns.nUnknownNum, 0));
  return WriteCorrectionFile(iteration, {x, count}, Paths, Outputs) ? 1 : 0;
}

int CBundleAdjustment::WriteResidualsCpu(int32_t iteration, int32_t section) {
  const bool last = Limits.Residuals == ResidualExtent::Last;
  if (Limits.Residuals == ResidualExtent::None) return 1;
  const std::string path = ResidualFilePath(Paths, iteration, section);
  ResidualListing listing = ListingOf(Settings, Residuals);
  auto& parts = listing.Lines.emplace<std::vector<ResidualPart>>();
  if (Normal.pThreadBuffers) SwapResiduals(*Normal.pThreadBuffers, parts);
  // There is room for those of a single section until the next iteration wants it.
  if (last && pResidualWriter && Points.Sections.Count() <= 1) {
    pResidualWriter->Keep({path, std::move(listing)});
    return 1;
  }
  if (pResidualWriter) {
    const bool started =
        WriteResidualFileBeside(path, std::move(listing), System, *pResidualWriter, Outputs, last);
    if (last) DropResiduals(iteration - 1, section, Paths, Outputs);
    return started ? 1 : 0;
  }
  const bool created = WriteResidualFile(path, listing, System.ProcessorCount(), Outputs);
  if (Normal.pThreadBuffers) SwapResiduals(*Normal.pThreadBuffers, parts);
  return created ? 1 : 0;
}

void CBundleAdjustment::ListLastResiduals() {
  if (!pResidualWriter) return;
  if (auto kept = pResidualWriter->TakeKept())
    WriteResidualFileBeside(kept->szPath, std::move(kept->Listing), System, *pResidualWriter, Outputs);
}

void CBundleAdjustment::WriteResidualsBesideTheRun() {
  if (!pResidualWriter) pResidualWriter = std::make_unique<ResidualWriter>(&Outputs.Folder);
}

void CBundleAdjustment::FinishResidualFiles() {
  if (pResidualWriter) Outputs.nOutputFailureNum += pResidualWriter->Finish();
}

int CBundleAdjustment::WriteResidualsGpu(int32_t iteration, int32_t number,
                                         const gpu::GpuResidualTable& table) {
  const bool last = Limits.Residuals == ResidualExtent::Last;
  if (Limits.Residuals == ResidualExtent::None) return 1;
  ResidualListing listing = ListingOf(Settings, Residuals);
  listing.Lines = table;
  const std::string path = ResidualFilePath(Paths, iteration, number);
  const bool created = WriteResidualFile(path, listing, System.ProcessorCount(), Outputs, last);
  if (last) DropResiduals(iteration - 1, number, Paths, Outputs);
  return created ? 1 : 0;
}

int CBundleAdjustment::WriteReport() {
  return orvo::WriteReport({Settings, Images, Cameras, Points, Frame, Progress}, Paths, Inputs, Residuals,
                           Outputs)
             ? 1
             : 0;
}

}  // namespace orvo
