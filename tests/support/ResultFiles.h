// What tests read back from the files of a block and of a run, by plain code of their own.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "synthetic/SyntheticTruth.h"

namespace orvo::test {

struct FileCamera {
  int64_t nId = 0, nWidth = 0, nHeight = 0;
  double fFocal = 0, fPrincipalX = 0, fPrincipalY = 0, fK1 = 0, fK2 = 0;
};

struct FileImage {
  int64_t nId = 0;
  int32_t nCamera = 0;
  std::string szPath;
  std::array<double, 9> R{};
  std::array<double, 3> Position{};
};

struct FileMeasurement {
  int32_t nImage = 0;
  double x = 0, y = 0;
};

struct FilePoint {
  std::string szName;
  std::array<double, 3> Position{};
  int32_t nType = 0;
  std::vector<FileMeasurement> pMeasurements;
};

/// A text project, an .ovc, or an OrvoResult.ovc. The points are those of a text project.
struct ProjectFile {
  int64_t nHeaderPoints = 0;
  std::vector<FileCamera> pCameras;
  std::vector<FileImage> pImages;
  std::vector<FilePoint> pPoints;
};

/// Empty where the file is absent or breaks off.
ProjectFile ReadProjectFile(const std::string& path);
std::vector<FilePoint> ReadGcpFile(const std::string& path);
std::vector<FilePoint> ReadOvtFile(const std::string& path);

/// Largest deviation of the orientations from the truth, image by image.
struct OrientationError {
  double fPosition = 0;  ///< metres
  double fAngle = 0;     ///< radians, of the rotation between the two
};
OrientationError CompareOrientations(const SyntheticTruth& truth, const ProjectFile& project);

struct ReportPoint {
  std::string szName;
  std::array<double, 3> Given{}, Residual{};
};

struct ReportPoints {
  int32_t nNumber = -1;
  std::vector<ReportPoint> pPoints;
  std::array<double, 3> Mean{}, Rmse{}, Max{};
};

/// OrvoAdjustReport.txt. Image residuals in pixels.
struct Report {
  bool bRead = false;  ///< the file is there and has all of its parts
  std::array<double, 2> Mean{}, Rmse{};
  double fGsd = 0;
  ReportPoints Control, Check;
};
Report ReadReport(const std::string& path);

/// The text with the values of its clock lines (begin of the run, elapsed times) replaced by "<clock>".
std::string MaskClocks(const std::string& text);
/// A log file, masked.
std::string ReadMaskedLog(const std::string& path);

}  // namespace orvo::test
