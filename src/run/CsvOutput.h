// A table as an output of a run.
#pragma once

#include <string>

#include "base/OutputFiles.h"
#include "base/Platform.h"
#include "base/TextWriter.h"
#include "run/BundleAdjustment.h"

namespace orvo {

/// `Append` adds a row to a text. What can't be written counts as a failure of the run's outputs.
template <class Row, void (*Append)(std::string&, const Row&)>
class CsvOutput {
 public:
  CsvOutput(const char* name, const char* heading, CBundleAdjustment& run) : Run(run), szText(heading) {
    bOpen = OpenOutput(Run.Outputs.Folder, File, JoinPath(Run.Paths.szOutputPath, name));
    if (!bOpen) ++Run.Outputs.nOutputFailureNum;
  }
  ~CsvOutput() {
    Flush(0);
    if (bOpen && !CloseOutput(Run.Outputs.Folder, File)) ++Run.Outputs.nOutputFailureNum;
  }
  CsvOutput(const CsvOutput&) = delete;
  CsvOutput& operator=(const CsvOutput&) = delete;

  void Add(const Row& row) {
    Append(szText, row);
    Flush(kPiece);
  }

 private:
  /// Text that is gathered before it goes to the file.
  static constexpr size_t kPiece = 1 << 16;

  void Flush(size_t least) {
    if (szText.size() < least) return;
    if (bOpen) File.Write(szText);
    szText.clear();
  }

  CBundleAdjustment& Run;
  TextWriter File;
  bool bOpen = false;
  std::string szText;
};

}  // namespace orvo
