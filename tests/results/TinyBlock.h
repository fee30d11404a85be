// A block small enough to be written out: four images of which one is dropped, three cameras of which one is
// dropped, tie points, control and check points. Nothing is read to set it up: the object's tables are filled
// by hand and the files that the writers read again are texts that a test may change first.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "run/BundleAdjustment.h"
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

  explicit TinyBlock(double imageScale = 0.001, double objectScale = 1.0,
                     Platform platform = NativePlatform());

  /// A point seen from kept images, with residuals of some tenths of a file unit.
  Point MakePoint(const std::string& name, int32_t type, double X, double Y, double Z,
                  const std::vector<int32_t>& imageOrdinals) const;

  std::string ProjectText() const;
  std::string GcpText() const;
  /// The tie points as the bytes of an .ovt file; reserved fields differ from 0.
  std::string OvtBytes() const;
  /// Writes project, GCP file and (for a project without points in its text) tie-point file, and sets the
  /// paths of the object.
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
  CBundleAdjustment Run;
  bool bTextPoints = true;  ///< tie points stand in the project's text
  std::vector<std::string> CameraLines;
  std::vector<std::vector<std::string>> ImageLines;  ///< four a image
  std::vector<Point> TiePoints, Gcp;
  std::string szProject, szGcp;
};

}  // namespace orvo::test
