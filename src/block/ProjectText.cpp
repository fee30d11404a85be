#include "block/ProjectText.h"

#include <algorithm>
#include <cmath>

#include "block/Scan.h"

namespace orvo {
namespace {

constexpr int64_t kLeastImageBytes = 4, kLeastPointBytes = 2;

template <typename T>
T Cut(T count, int64_t atMost) {
  return static_cast<T>(std::clamp<int64_t>(count, 0, std::max<int64_t>(atMost, 0)));
}

/// As much of the text as fits with its end mark, up to a NUL.
template <size_t N>
void CopyText(std::string_view text, char (&target)[N]) {
  const size_t length = std::min({text.size(), N - 1, text.find('\0')});
  std::copy_n(text.begin(), length, target);
  target[length] = '\0';
}

}  // namespace

ProjectHeader ParseHeader(std::string_view line) {
  ProjectHeader header;
  FieldScanner fields(line);
  fields.Int(header.nImageNum);
  fields.Int(header.nCameraNum);
  fields.Int(header.nObjectPointNum);
  return header;
}

ProjectHeader CutToFile(ProjectHeader header, int64_t fileBytes) {
  header.nImageNum = Cut(header.nImageNum, fileBytes / kLeastImageBytes);
  header.nCameraNum = Cut(header.nCameraNum, fileBytes);
  header.nObjectPointNum = Cut(header.nObjectPointNum, fileBytes / kLeastPointBytes);
  return header;
}

ProjectHeader ReadHeader(TextReader& file) { return CutToFile(ParseHeader(file.Next()), file.Size()); }

int32_t ReadGcpCount(TextReader& file) { return Cut(ParseInt(file.Next()), file.Size() / kLeastPointBytes); }

CameraLine ParseCameraLine(std::string_view line) {
  CameraLine camera;
  FieldScanner fields(line);
  fields.SkipInt();
  fields.Int(camera.nImageWidth);
  fields.Int(camera.nImageHeight);
  fields.Real(camera.fReserved);
  fields.Real(camera.fFocal);
  fields.Real(camera.fPrincipalX);
  fields.Real(camera.fPrincipalY);
  fields.SkipReal();
  fields.Real(camera.fK1);
  fields.Real(camera.fK2);
  return camera;
}

ImageBlock ReadImageBlock(TextReader& file) {
  ImageBlock image;
  FieldScanner ids(file.Next());
  ids.Int(image.nId);
  image.bComplete = ids.Int(image.nCamera);

  std::string_view path;
  FieldScanner(file.Next()).Word(path);
  ImageNameOfPath(path, image.szName);

  FieldScanner rotation(file.Next());
  for (double& element : image.dRotation) image.bComplete &= rotation.Real(element);

  FieldScanner position(file.Next());
  for (double* coordinate : {&image.X, &image.Y, &image.Z}) image.bComplete &= position.Real(*coordinate);
  return image;
}

void ImageNameOfPath(std::string_view path, char (&name)[128]) {
  // A backslash anywhere outranks every slash.
  size_t separator = path.rfind('\\');
  if (separator == std::string_view::npos) separator = path.rfind('/');
  name[0] = '\0';
  if (separator == std::string_view::npos) return;
  const std::string_view fileName = path.substr(separator + 1);
  CopyText(fileName.substr(0, fileName.rfind('.')), name);
}

ObjectPointRecord ParsePointLine(std::string_view line) {
  bool whole = false;
  return ParsePointLine(line, whole);
}

ObjectPointRecord ParsePointLine(std::string_view line, bool& whole) {
  ObjectPointRecord point;
  FieldScanner fields(line);
  std::string_view name;
  fields.Word(name);
  CopyText(name, point.szName);
  fields.Real(point.X);
  fields.Real(point.Y);
  fields.Real(point.Z);
  fields.Int(point.nType);
  whole = fields.NumbersAreWhole() && std::isfinite(point.X) && std::isfinite(point.Y) &&
          std::isfinite(point.Z) && point.nType >= 0;
  return point;
}

int32_t ReadMeasureCount(TextReader& file) {
  bool whole = false;
  return ReadMeasureCount(file, whole);
}

int32_t ReadMeasureCount(TextReader& file, bool& whole) {
  std::string_view more;
  FieldScanner fields(file.Next());
  int32_t count = 0;
  fields.Int(count);
  whole = fields.NumbersAreWhole() && count >= 0 && !fields.Word(more);
  return std::max(count, 0);
}

bool ParseMeasure(std::string_view line, MeasureLine& measure) {
  FieldScanner fields(line);
  const bool complete = fields.Int(measure.nImageOrdinal) && fields.Real(measure.x) && fields.Real(measure.y);
  measure.bWhole =
      fields.NumbersAreWhole() && complete && std::isfinite(measure.x) && std::isfinite(measure.y);
  return complete;
}

void SkipCamerasAndImages(TextReader& file, const ProjectHeader& header) {
  file.Skip(header.nCameraNum + int64_t{4} * header.nImageNum);
}

}  // namespace orvo
