// Corrections_%d.txt and Residuals_%d_%d.res: what an iteration leaves behind.
#include <algorithm>

#include <utility>

#include "base/NumberText.h"
#include "base/OutputFiles.h"
#include "normal/ThreadBuffers.h"
#include "results/ResidualWriter.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr int64_t kSmallListing = 1 << 20;

void MoveResiduals(ThreadBuffers& buffers, ResidualListing& listing) {
  listing.Parts.resize(buffers.pThreadPointNum.size());
  for (size_t t = 0; t < listing.Parts.size(); ++t) {
    ResidualListing::Part& part = listing.Parts[t];
    part.Residuals.swap(buffers.pThreadResiduals[t]);
    part.Flags.swap(buffers.pThreadGrossFlags[t]);
    part.nPointNum = static_cast<size_t>(std::max(buffers.pThreadPointNum[t], 0));
  }
}

void MoveResidualsBack(ResidualListing& listing, ThreadBuffers& buffers) {
  for (size_t t = 0; t < listing.Parts.size(); ++t) {
    listing.Parts[t].Residuals.swap(buffers.pThreadResiduals[t]);
    listing.Parts[t].Flags.swap(buffers.pThreadGrossFlags[t]);
  }
}

}  // namespace

int CBundleAdjustment::WriteCorrections(int32_t iteration, const double* x) {
  TextWriter file;
  if (x == nullptr ||
      !OpenOutput(Outputs.Folder, file,
                  JoinPath(Paths.szOutputPath, "Corrections_" + std::to_string(iteration) + ".txt"))) {
    ++Outputs.nOutputFailureNum;
    return 0;
  }
  constexpr size_t kBlockBytes = size_t{1} << 16;
  std::string text;
  for (int32_t i = 0; i < Unknowns.nUnknownNum; ++i) {
    AppendScientific(text, x[i], 20, 9);
    text += '\n';
    if (text.size() >= kBlockBytes) {
      file.Write(text);
      text.clear();
    }
  }
  file.Write(text);
  if (!CloseOutput(Outputs.Folder, file)) ++Outputs.nOutputFailureNum;
  return 1;
}

int CBundleAdjustment::WriteResidualsCpu(int32_t iteration, int32_t section) {
  const std::string path = JoinPath(
      Paths.szOutputPath, "Residuals_" + std::to_string(iteration) + "_" + std::to_string(section) + ".res");
  const double s = Settings.Image_Coor_Scale;
  ResidualListing listing;
  listing.fScale = s;
  listing.fMeanX = Residuals.fMeanResidualX / s;
  listing.fMeanY = Residuals.fMeanResidualY / s;
  listing.fRmsX = Residuals.fRmsResidualX / s;
  listing.fRmsY = Residuals.fRmsResidualY / s;
  std::ranges::copy(Residuals.dControlResidual, listing.Control.begin());
  std::ranges::copy(Residuals.dCheckResidual, listing.Check.begin());
  if (Normal.pThreadBuffers) MoveResiduals(*Normal.pThreadBuffers, listing);
  const int processors = System.ProcessorCount();
  bool created;
  if (pResidualWriter) {
    const int64_t bytes = listing.Bytes();
    // A few threads keep up with any assembly, and the solver wants the others.
    created = pResidualWriter->Start(path, std::move(listing), std::clamp(processors / 2, 1, 4));
    // What comes next may need all that is left of a small memory.
    if (bytes > kSmallListing && bytes > System.FreePhysicalBytes() / 8) FinishResidualFiles();
  } else {
    TextWriter file;
    created = OpenOutput(Outputs.Folder, file, path);
    if (created) WriteResidualFile(file, listing, processors);
    if (created && !CloseOutput(Outputs.Folder, file)) ++Outputs.nOutputFailureNum;
    if (Normal.pThreadBuffers) MoveResidualsBack(listing, *Normal.pThreadBuffers);
  }
  if (!created) ++Outputs.nOutputFailureNum;
  return created ? 1 : 0;
}

void CBundleAdjustment::WriteResidualsBesideTheRun() {
  if (!pResidualWriter) pResidualWriter = std::make_unique<ResidualWriter>(&Outputs.Folder);
}

void CBundleAdjustment::FinishResidualFiles() {
  if (pResidualWriter) Outputs.nOutputFailureNum += pResidualWriter->Finish();
}

}  // namespace orvo
