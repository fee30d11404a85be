#include "block/ProjectText.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "base/Scan.h"

namespace orvo {
namespace {

/// What a record takes at least: as lines of any kind, and with all its fields. In a block of more than
/// kAlwaysTaken images, cameras or control points, their numbers and coordinates are not of one digit each.
struct RecordBytes {
  int64_t nEmpty, nWhole;
};
constexpr RecordBytes kCameraBytes{1, 20}, kImageBytes{4, 44}, kPointBytes{2, 12}, kGcpBytes{2, 28};
/// Up to so many records the lines may be empty.
constexpr int64_t kAlwaysTaken = 32768;

template <typename T>
T Cut(T count, int64_t emptyBytes, int64_t wholeBytes, const RecordBytes& record) {
  const int64_t whole = std::max<int64_t>(wholeBytes / record.nWhole, kAlwaysTaken);
  const int64_t atMost = std::clamp<int64_t>(emptyBytes / record.nEmpty, 0, whole);
  return static_cast<T>(std::clamp<int64_t>(count, 0, atMost));
}

/// As much of the text as fits with its end mark, up to a NUL.
template <size_t N>
void CopyText(std::string_view text, char (&target)[N]) {
  const size_t length = std::min({text.size(), N - 1, text.find('\0')});
  std::copy_n(text.begin(), length, target);
  target[length] = '\0';
}

/// A backslash anywhere outranks every slash.
size_t LastSeparator(std::string_view path) {
  const size_t backslash = path.rfind('\\');
  return backslash == std::string_view::npos ? path.rfind('/') : backslash;
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
  int64_t left = fileBytes + 1;  // the last line may have no end
  header.nCameraNum = Cut(header.nCameraNum, fileBytes, left, kCameraBytes);
  left -= header.nCameraNum * kCameraBytes.nWhole;
  header.nImageNum = Cut(header.nImageNum, fileBytes, left, kImageBytes);
  left -= header.nImageNum * kImageBytes.nWhole;
  header.nObjectPointNum = Cut(header.nObjectPointNum, fileBytes, left, kPointBytes);
  return header;
}

ProjectHeader ReadHeader(TextReader& file) { return CutToFile(ParseHeader(file.Next()), file.Size()); }

int32_t CutGcpCount(int32_t count, int64_t fileBytes) {
  return Cut(count, fileBytes, fileBytes + 1, kGcpBytes);
}

int32_t ReadGcpCount(TextReader& file) { return CutGcpCount(ParseInt(file.Next()), file.Size()); }

LensTerms ReadFurtherTerms(FieldScanner& fields) {
  LensTerms terms;
  for (double* term : {&terms.fK3, &terms.fP1, &terms.fP2, &terms.fB1, &terms.fB2}) {
    if (!fields.Real(*term)) *term = std::numeric_limits<double>::quiet_NaN();
  }
  return terms;
}

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
  fields.Real(camera.fMark);
  fields.Real(camera.fK1);
  fields.Real(camera.fK2);
  if (camera.fMark == kFurtherTerms) camera.Further = ReadFurtherTerms(fields);
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
  if (image.szName[0] == '\0') image.szBareName = BareNameOfPath(path);

  FieldScanner rotation(file.Next());
  for (double& element : image.dRotation) image.bComplete &= rotation.Real(element);

  FieldScanner position(file.Next());
  for (double* coordinate : {&image.X, &image.Y, &image.Z}) image.bComplete &= position.Real(*coordinate);
  return image;
}

void ImageNameOfPath(std::string_view path, char (&name)[128]) {
  const size_t separator = LastSeparator(path);
  name[0] = '\0';
  if (separator == std::string_view::npos) return;
  const std::string_view fileName = path.substr(separator + 1);
  CopyText(fileName.substr(0, fileName.rfind('.')), name);
}

std::string BareNameOfPath(std::string_view path) {
  const size_t separator = LastSeparator(path);
  const std::string_view fileName = separator == std::string_view::npos ? path : path.substr(separator + 1);
  const size_t dot = fileName.rfind('.');
  constexpr size_t kMost = sizeof(ImageBlock::szName) - 1;
  return std::string(fileName.substr(0, std::min(kMost, dot == 0 ? kMost : dot)));
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

bool NextMeasure(TextReader& file, int64_t before, std::string_view& line) {
  if (!file.Next(line)) return false;
  if (before < kMostMeasures) return true;
  file.Refuse("a point has more than " + std::to_string(kMostMeasures) + " measurements");
  line = {};
  return false;
}

int32_t SkipMeasures(TextReader& file) {
  const int32_t count = ReadMeasureCount(file);
  std::string_view line;
  int32_t passed = 0;
  while (passed < count && NextMeasure(file, passed, line)) ++passed;
  return passed;
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
