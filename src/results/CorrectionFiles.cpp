#include "results/CorrectionFiles.h"

#include <string>

#include "base/NumberText.h"
#include "base/OutputFiles.h"
#include "base/Platform.h"

namespace orvo {

bool WriteCorrectionFile(int32_t iteration, std::span<const double> corrections, const FilePaths& paths,
                         OutputLedger& outputs) {
  TextWriter file;
  if (!OpenOutput(outputs.Folder, file,
                  JoinPath(paths.szOutputPath, "Corrections_" + std::to_string(iteration) + ".txt"))) {
    ++outputs.nOutputFailureNum;
    return false;
  }
  constexpr size_t kBlockBytes = size_t{1} << 16;
  std::string text;
  for (const double correction : corrections) {
    AppendScientific(text, correction, 20, 9);
    text += '\n';
    if (text.size() >= kBlockBytes) {
      file.Write(text);
      text.clear();
    }
  }
  file.Write(text);
  if (!CloseOutput(outputs.Folder, file)) ++outputs.nOutputFailureNum;
  return true;
}

bool WriteRemainderFile(int32_t iteration, std::span<const double> remainder, const FilePaths& paths,
                        OutputLedger& outputs) {
  TextWriter file;
  if (!OpenOutput(outputs.Folder, file,
                  JoinPath(paths.szOutputPath, "LM_R_Vector_" + std::to_string(iteration) + ".txt"))) {
    ++outputs.nOutputFailureNum;
    return false;
  }
  for (const double element : remainder) file.Printf("%12.3lf\t\n", element);
  if (!CloseOutput(outputs.Folder, file)) ++outputs.nOutputFailureNum;
  return true;
}

}  // namespace orvo
