#include "results/GpsDifferences.h"

#include "base/OutputFiles.h"
#include "base/Platform.h"
#include "geometry/Similarity.h"

namespace orvo {

void WriteGpsDifferences(const ImageTable& images, const double* parameters, const FilePaths& paths,
                         OutputLedger& outputs, RunLog& log) {
  TextWriter file;
  if (!OpenOutput(outputs.Folder, file, JoinPath(paths.szOutputPath, "Test.txt"))) {
    ++outputs.nOutputFailureNum;
    return;
  }
  for (size_t i = 0; i < images.Kept().size(); ++i) {
    if (i >= images.pPos.size()) {
      log.Print("Error!=================\n");
      continue;
    }
    const Position own = {images.pEop[i].X, images.pEop[i].Y, images.pEop[i].Z};
    Position gps = {images.pPos[i].X, images.pPos[i].Y, images.pPos[i].Z};
    if (parameters != nullptr) {
      Position moved;
      TransformPoints({&own, 1}, parameters, {&moved, 1});
      gps = {moved[0] - gps[0], moved[1] - gps[1], moved[2] - gps[2]};
    }
    file.Printf("%lf\t %lf\t %lf\t %lf\t %lf\t %lf\n", own[0], own[1], own[2], gps[0], gps[1], gps[2]);
  }
  if (!CloseOutput(outputs.Folder, file)) ++outputs.nOutputFailureNum;
}

}  // namespace orvo
