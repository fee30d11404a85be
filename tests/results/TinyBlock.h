// A block small enough to be written out: four images of which one is dropped, three cameras of which one is
// dropped, tie points, control and check points. Nothing is read to set it up: the tables are filled by hand
// and the files that the writers read again are texts that a test may change first.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "base/RunLog.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunProgress.h"
#include "results/Report.h"
#include "results/ResultForm.h"
#include "support/TestFiles.h"

namespace orvo::test {

class TinyBlock {
 public:
  static constexpr int kDroppedImage = 2, kDroppedCamera = 1;

  struct Measurement {
    int32_t nImageOrdinal;
    double x, y;  ///< file units
  };
  struct Point {
    std::string sName;
    double X, Y, Z;  ///< as in the file
    int32_t nType;
    std::vector<Measurement> Measurements;
  };

  /// The parts of a run that results are made from.
  struct Parts {
    AdjustmentSettings Settings;
    FilePaths Paths;
    InputFiles Inputs;
    OutputLedger Outputs;
    RunLog Log;
    RunProgress Progress;
    ImageTable Images;
    CameraTable Cameras;
    PointStore Points;
    ObjectFrame Frame;
    ResidualStatistics Residuals;

    explicit Parts(std::FILE* console) : Log(console, Outputs.Folder) {}

    bool WriteResultForm(const std::string& project, const std::string& gcp, ResultListing kind) {
      return orvo::WriteResultForm({project, gcp, Settings, Images, Cameras, Inputs}, kind, Paths, Residuals,
                                   Outputs, Log);
    }
    void WriteResultFiles(const std::string& project, const std::string& gcp) {
      orvo::WriteResultFiles({project, gcp, Settings, Images, Cameras, Inputs}, Paths, Residuals, Outputs,
                             Log);
    }
    bool WriteReport() {
      return orvo::WriteReport({Settings, Images, Cameras, Points, Frame, Progress}, Paths, Inputs, Residuals,
                               Outputs);
    }
  };

  explicit TinyBlock(double imageScale = 0.001, double objectScale = 1.0);

  /// A point seen from kept images, with residuals of some tenths of a file unit.
  Point MakePoint(const std::string& name, int32_t type, double X, double Y, double Z,
                  const std::vector<int32_t>& imageOrdinals) const;

  std::string ProjectText() const;
  std::string GcpText() const;
  /// The tie points as the bytes of an .ovt file; reserved fields differ from 0.
  std::string OvtBytes() const;
  /// Writes project, GCP file and (for a project without points in its text) tie-point file, and sets the
  /// paths.
  void WriteFiles(const std::string& projectName);

  /// The measurements of a point as they stand in memory; only for points on kept images.
  std::vector<ImagePointRecord> Rays(const Point& point) const;

  std::string Output(const std::string& name) const { return ReadFile(folder / ("out/" + name)); }
  /// Everything that was logged so far.
  std::string Log();

  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  ScratchFolder folder;
  std::unique_ptr<std::FILE, Closer> fConsole;
  Parts Run;
  bool bTextPoints = true;  ///< tie points stand in the project's text
  std::vector<std::string> CameraLines;
  std::vector<std::vector<std::string>> ImageLines;  ///< four a image
  std::vector<Point> TiePoints, Gcp;
  std::string szProject, szGcp;
};

}  // namespace orvo::test
