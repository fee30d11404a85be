#include "run/TableOutput.h"

#include "base/OutputFiles.h"
#include "base/Platform.h"

namespace orvo {

TableOutput::TableOutput(const TableChoice& choice, const report::TableSources& sources,
                         const std::string& folder, OutputLedger& outputs)
    : Outputs(outputs),
      Tables(sources, {Open(choice.bResiduals, folder, report::kResidualsName, Residuals),
                       Open(choice.bPoints, folder, report::kPointsName, Points),
                       Open(choice.bPoints, folder, report::kCloudName, Cloud)}) {
  Tables.Begin();
}

TableOutput::~TableOutput() {
  Tables.End();
  for (TextWriter* file : {&Residuals, &Points, &Cloud}) Close(*file);
}

TextWriter* TableOutput::Open(bool wanted, const std::string& folder, const char* name, TextWriter& file) {
  if (!wanted) return nullptr;
  if (OpenOutput(Outputs.Folder, file, JoinPath(folder, name))) return &file;
  ++Outputs.nOutputFailureNum;
  return nullptr;
}

void TableOutput::Close(TextWriter& file) {
  if (file.IsOpen() && !CloseOutput(Outputs.Folder, file)) ++Outputs.nOutputFailureNum;
}

void TableOutput::Add(std::span<const ObjectPointRecord> points,
                      std::span<const ImagePointRecord> imagePoints) {
  Tables.Add(points, imagePoints);
}

}  // namespace orvo
