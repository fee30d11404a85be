#include "support/ResultFiles.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "support/TestFiles.h"

namespace orvo::test {
namespace {

bool ReadPoints(std::istream& in, int64_t count, std::vector<FilePoint>& points) {
  for (int64_t i = 0; i < count; ++i) {
    FilePoint point;
    size_t measurements = 0;
    in >> point.szName >> point.Position[0] >> point.Position[1] >> point.Position[2] >> point.nType >>
        measurements;
    for (size_t j = 0; in && j < measurements; ++j) {
      FileMeasurement measurement;
      in >> measurement.nImage >> measurement.x >> measurement.y;
      point.pMeasurements.push_back(measurement);
    }
    if (!in) return false;
    points.push_back(std::move(point));
  }
  return true;
}

/// The numbers of a line such as "RMSE:    0.1\t  0.2", behind its colon.
template <size_t N>
bool ReadNumbers(const std::string& line, const std::string& head, std::array<double, N>& values) {
  if (line.rfind(head, 0) != 0) return false;
  std::istringstream in(line.substr(head.size()));
  for (double& value : values) in >> value;
  return static_cast<bool>(in);
}

bool ReadReportPoints(std::istream& in, const std::string& kind, ReportPoints& points) {
  std::string line;
  const std::string head = kind + " point number:";
  while (std::getline(in, line) && line.rfind(head, 0) != 0) {
  }
  if (!in) return false;
  points.nNumber = std::stoi(line.substr(head.size()));
  if (!std::getline(in, line) || line != kind + " point residuals:") return false;
  while (std::getline(in, line) && !ReadNumbers(line, "MEAN:", points.Mean)) {
    ReportPoint point;
    std::istringstream fields(line);
    fields >> point.szName;
    for (double& value : point.Given) fields >> value;
    for (double& value : point.Residual) fields >> value;
    if (!fields) return false;
    points.pPoints.push_back(point);
  }
  return std::getline(in, line) && ReadNumbers(line, "RMSE:", points.Rmse) && std::getline(in, line) &&
         ReadNumbers(line, "MAX:", points.Max);
}

template <typename T>
T Take(const std::string& bytes, size_t& position) {
  T value{};
  if (position + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + position, sizeof value);
  position += sizeof value;
  return value;
}

}  // namespace

ProjectFile ReadProjectFile(const std::string& path) {
  std::ifstream in(path);
  ProjectFile project;
  size_t images = 0, cameras = 0;
  std::string line;
  in >> images >> cameras >> project.nHeaderPoints;
  std::getline(in, line);
  for (size_t i = 0; in && i < cameras; ++i) {
    std::getline(in, line);
    std::istringstream fields(line);
    FileCamera camera;
    double reserved;
    fields >> camera.nId >> camera.nWidth >> camera.nHeight >> reserved >> camera.fFocal >>
        camera.fPrincipalX >> camera.fPrincipalY >> reserved >> camera.fK1 >> camera.fK2;
    if (!fields) return {};
    project.pCameras.push_back(camera);
  }
  for (size_t i = 0; in && i < images; ++i) {
    FileImage image;
    in >> image.nId >> image.nCamera >> image.szPath;
    for (double& value : image.R) in >> value;
    for (double& value : image.Position) in >> value;
    if (in) project.pImages.push_back(image);
  }
  if (!in) return {};
  // OrvoResult.ovc keeps the header's point count and holds no points.
  if (in >> std::ws && !in.eof() && !ReadPoints(in, project.nHeaderPoints, project.pPoints)) return {};
  return project;
}

std::vector<FilePoint> ReadGcpFile(const std::string& path) {
  std::ifstream in(path);
  int64_t count = 0;
  std::vector<FilePoint> points;
  if (!(in >> count) || !ReadPoints(in, count, points)) return {};
  return points;
}

std::vector<FilePoint> ReadOvtFile(const std::string& path) {
  const std::string bytes = ReadFile(path);
  size_t position = 0;
  const auto pointNum = Take<int32_t>(bytes, position);
  const auto measurementNum = Take<int32_t>(bytes, position);
  if (pointNum < 0 || measurementNum < 0 ||
      bytes.size() != 8 + 68 * static_cast<size_t>(pointNum) + 16 * static_cast<size_t>(measurementNum)) {
    return {};
  }
  std::vector<FilePoint> points(static_cast<size_t>(pointNum));
  for (FilePoint& point : points) {
    point.szName = bytes.data() + position;
    position += 32;
    for (double& value : point.Position) value = Take<double>(bytes, position);
    point.nType = Take<int32_t>(bytes, position);
    const auto count = Take<int32_t>(bytes, position), first = Take<int32_t>(bytes, position);
    if (count < 0 || first < 0 || int64_t{first} + count > measurementNum) return {};
    for (int32_t i = first; i < first + count; ++i) {
      size_t at = 8 + 68 * static_cast<size_t>(pointNum) + 16 * static_cast<size_t>(i);
      FileMeasurement measurement;
      measurement.nImage = Take<int32_t>(bytes, at);
      measurement.x = Take<float>(bytes, at);
      measurement.y = Take<float>(bytes, at);
      point.pMeasurements.push_back(measurement);
    }
  }
  return points;
}

OrientationError CompareOrientations(const SyntheticTruth& truth, const ProjectFile& project) {
  OrientationError error;
  if (truth.pImages.size() != project.pImages.size()) return {HUGE_VAL, HUGE_VAL};
  for (size_t i = 0; i < truth.pImages.size(); ++i) {
    const SyntheticImage& image = truth.pImages[i];
    const FileImage& found = project.pImages[i];
    error.fPosition = std::max(
        error.fPosition,
        std::hypot(found.Position[0] - image.X, found.Position[1] - image.Y, found.Position[2] - image.Z));
    // Norm of the difference of two rotation matrices: 2 sqrt(2) sin(angle / 2).
    double sum = 0;
    for (size_t k = 0; k < 9; ++k) sum += (found.R[k] - image.R[k]) * (found.R[k] - image.R[k]);
    const double angle = 2 * std::asin(std::min(1.0, std::sqrt(sum / 8)));
    error.fAngle = std::max(error.fAngle, angle);
  }
  return error;
}

Report ReadReport(const std::string& path) {
  std::ifstream in(path);
  Report report;
  std::string line;
  while (std::getline(in, line) && line != "Image point reprojection error:") {
  }
  std::array<double, 1> gsd{};
  report.bRead =
      std::getline(in, line) && ReadNumbers(line, "MEAN:", report.Mean) && std::getline(in, line) &&
      ReadNumbers(line, "RMSE:", report.Rmse) && std::getline(in, line) && ReadNumbers(line, "GSD:", gsd) &&
      ReadReportPoints(in, "Control", report.Control) && ReadReportPoints(in, "Check", report.Check);
  report.fGsd = gsd[0];
  return report;
}

std::string MaskClocks(const std::string& text) {
  std::string masked;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    for (const char* clock : {"Adjustment begin:", "elapsed time:", "Elapsed time:", "Total run time:"}) {
      if (const size_t at = line.find(clock); at != std::string::npos) {
        line.replace(at + std::strlen(clock), std::string::npos, "<clock>");
      }
    }
    masked += line + "\n";
  }
  return masked;
}

std::string ReadMaskedLog(const std::string& path) { return MaskClocks(ReadFile(path)); }

}  // namespace orvo::test
