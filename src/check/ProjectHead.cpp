#include "check/ProjectHead.h"

#include <algorithm>
#include <cmath>

#include "base/Scan.h"
#include "block/ProjectText.h"
#include "records/ReadingFacts.h"

namespace orvo {
namespace {

constexpr const char* kHeader = "The first line holds the numbers of images, cameras and points";
constexpr const char* kCounts = "Look for a missing line, or correct the counts in the first line";

/// The reals of a line; false where one is not there, not whole or not finite.
bool TakeReals(FieldScanner& fields, double* values, int count) {
  for (int i = 0; i < count; ++i) fields.Real(values[i]);
  return fields.NumbersAreWhole() &&
         std::all_of(values, values + count, [](double v) { return std::isfinite(v); });
}

bool ReadCounts(StrictLines& lines, bool withPoints, int32_t& images, int32_t& cameras, int64_t& points) {
  std::string_view line;
  if (!lines.Next(line)) {
    lines.Refuse("the file is empty", kHeader, true);
    return false;
  }
  FieldScanner fields(line);
  fields.Int(images);
  fields.Int(cameras);
  if (withPoints) fields.Int(points);
  if (!fields.NumbersAreWhole() || points < 0) {
    lines.Refuse(Quoted(line) + " are not the counts of a project", RemedyOfLine(line, kHeader));
  } else if (images < 1 || cameras < 1) {
    lines.Refuse(
        "the project has " + std::to_string(images) + " images and " + std::to_string(cameras) + " cameras",
        std::string(kHeader) + "; it needs an image and a camera");
  }
  const ProjectHeader held = CutToFile({images, cameras, points}, lines.FileBytes());
  // Every camera takes a byte and more, every image four, and more where there are many.
  if (int64_t{cameras} + int64_t{4} * images > lines.FileBytes() || held.nImageNum < images ||
      held.nCameraNum < cameras) {
    lines.Refuse("the file is too short for " + std::to_string(images) + " images and " +
                     std::to_string(cameras) + " cameras",
                 kCounts);
  }
  return !lines.Fault();
}

bool ReadCamera(StrictLines& lines, int32_t ordinal, int32_t count, HeadCamera& camera) {
  std::string_view line, more;
  if (!lines.Next(line)) {
    lines.Refuse("the file ends before camera " + std::to_string(ordinal) + " of " + std::to_string(count),
                 kCounts, true);
    return false;
  }
  FieldScanner fields(line);
  int32_t ids[3] = {};
  double values[5] = {}, k[2] = {};
  for (int32_t& id : ids) fields.Int(id);
  if (!TakeReals(fields, values, 5)) {
    lines.Refuse(
        Quoted(line) + " is no camera line",
        RemedyOfLine(line,
                     "It holds three integers, ID, width and height, and then 0, f, x0, y0, 0, k1 and "
                     "k2. Look for a missing line before it, too"));
    return false;
  }
  // The distortion may be missing as a whole.
  FieldScanner rest = fields;
  const bool distorted = rest.Word(more);
  if (distorted && !TakeReals(fields, k, 1)) {
    lines.Refuse("the k1 of a camera is no number", RemedyOfLine(line, "Write it as a plain number"));
    return false;
  }
  rest = fields;
  const bool both = distorted && rest.Word(more);
  if (both && !TakeReals(fields, k + 1, 1)) {
    lines.Refuse("the k2 of a camera is no number", RemedyOfLine(line, "Write it as a plain number"));
    return false;
  }
  camera.bUsable = values[1] > 0.0 && values[1] <= 1e6;
  camera.bDistortionLost = !both || !(std::abs(k[0]) <= 1e-5) || !(std::abs(k[1]) <= 1e-11);
  camera.bFurtherLost = !ParseCameraLine(line).Further.IsFinite();
  return true;
}

/// Line `place` of the four of an image; false at the end of the file.
bool NextOfImage(StrictLines& lines, int32_t ordinal, int32_t count, std::string_view& line) {
  if (lines.Next(line)) return true;
  lines.Refuse("the file ends in image " + std::to_string(ordinal) + " of " + std::to_string(count), kCounts,
               true);
  return false;
}

bool ReadImage(StrictLines& lines, int32_t ordinal, int32_t count, int32_t cameras, HeadImage& image) {
  std::string_view line, path;
  if (!NextOfImage(lines, ordinal, count, line)) return false;
  FieldScanner ids(line);
  int32_t id = 0;
  ids.Int(id);
  ids.Int(image.nCamera);
  if (!ids.NumbersAreWhole()) {
    lines.Refuse(
        Quoted(line) + " is not the first line of an image",
        RemedyOfLine(line,
                     "It holds the image ID and the camera ordinal. Look for a missing line before it, "
                     "too"));
  } else if (id < 0) {
    lines.Refuse("the image ID " + std::to_string(id) + " is negative", "Number images from 0 or above");
  } else if (image.nCamera < 0 || image.nCamera >= cameras) {
    lines.Refuse(
        "there is no camera " + std::to_string(image.nCamera),
        "Cameras are referred to by their place in the project, from 0 to " + std::to_string(cameras - 1));
  }
  if (!NextOfImage(lines, ordinal, count, line)) return false;
  FieldScanner words(line);
  words.Word(path);
  char name[128];
  ImageNameOfPath(path, name);
  image.szName = name;
  image.bPathGoesOn = words.Word(path);
  double R[9] = {}, position[3] = {};
  if (!NextOfImage(lines, ordinal, count, line)) return false;
  FieldScanner rotation(line);
  if (!TakeReals(rotation, R, 9))
    lines.Refuse(Quoted(line) + " is no rotation matrix",
                 RemedyOfLine(line,
                              "The third line of an image holds nine numbers. Look for a missing line before "
                              "it, too"));
  if (!NextOfImage(lines, ordinal, count, line)) return false;
  FieldScanner coordinates(line);
  if (!TakeReals(coordinates, position, 3))
    lines.Refuse(
        Quoted(line) + " is no position",
        RemedyOfLine(line,
                     "The fourth line of an image holds X, Y and Z. Look for a missing line before it, "
                     "too"));
  image.bAtOrigin = position[0] == 0.0 && position[1] == 0.0 && position[2] == 0.0;
  return !lines.Fault();
}

Finding NoteOf(const std::string& path, std::string what, std::string remedy) {
  return {Severity::Note, path, 0, -1, std::move(what), std::move(remedy)};
}

std::string NameOf(const HeadImage& image, size_t ordinal) {
  return image.szName.empty() ? "image " + std::to_string(ordinal) : image.szName;
}

}  // namespace

ProjectHead ReadProjectHead(StrictLines& lines, bool withPoints) {
  ProjectHead head;
  int32_t images = 0, cameras = 0;
  if (!ReadCounts(lines, withPoints, images, cameras, head.nPointNum)) return head;
  HeadCamera camera;
  while (std::ssize(head.Cameras) < cameras &&
         ReadCamera(lines, static_cast<int32_t>(head.Cameras.size()), cameras, camera))
    head.Cameras.push_back(camera);
  HeadImage image;
  while (!lines.Fault() && std::ssize(head.Images) < images &&
         ReadImage(lines, static_cast<int32_t>(head.Images.size()), images, cameras, image))
    head.Images.push_back(image);
  return head;
}

std::vector<bool> LostImages(const ProjectHead& head) {
  std::vector<bool> lost;
  for (const HeadImage& image : head.Images)
    lost.push_back(image.bAtOrigin || !head.Cameras[static_cast<size_t>(image.nCamera)].bUsable);
  return lost;
}

std::vector<Finding> NoteLosses(const ProjectHead& head, const std::string& path) {
  NamedCount cameras, undistorted, further, atOrigin, withoutCamera, goesOn;
  for (size_t i = 0; i < head.Cameras.size(); ++i) {
    const std::string name = "ordinal " + std::to_string(i);
    if (!head.Cameras[i].bUsable) cameras.Add(name.c_str());
    if (head.Cameras[i].bUsable && head.Cameras[i].bDistortionLost) undistorted.Add(name.c_str());
    if (head.Cameras[i].bUsable && head.Cameras[i].bFurtherLost) further.Add(name.c_str());
  }
  for (size_t i = 0; i < head.Images.size(); ++i) {
    const HeadImage& image = head.Images[i];
    const std::string name = NameOf(image, i);
    if (image.bPathGoesOn) goesOn.Add(name.c_str());
    if (!head.Cameras[static_cast<size_t>(image.nCamera)].bUsable) {
      withoutCamera.Add(name.c_str());
    } else if (image.bAtOrigin) {
      atOrigin.Add(name.c_str());
    }
  }
  std::vector<Finding> notes;
  const auto note = [&](const NamedCount& lost, const char* kind, const char* what, const char* remedy) {
    if (lost.nCount > 0)
      notes.push_back(NoteOf(path, CountOf(lost.nCount, kind, lost.Names) + ": " + what, remedy));
  };
  note(cameras, "camera", "left out, for the focal length is not above 0 and at most 1e6",
       "Give it in image units, such as pixels");
  note(withoutCamera, "image", "left out with the camera", "Correct the camera");
  note(undistorted, "camera", "k1 or k2 is missing or too large, and taken for 0",
       "They are given per squared and per fourth power of an image unit, at most 1e-5 and 1e-11");
  note(further, "camera", "k3, p1, p2, b1 and b2 are not all there, and taken for 0",
       "A line with 1 in its field 8 holds all five behind k2");
  note(atOrigin, "image", "left out, for the position is 0 0 0", "Give the image a start position");
  note(goesOn, "image", "the path holds a blank, which ends the name",
       "A POS file can't name the image then: take the blank out");
  return notes;
}

std::vector<Finding> CheckProjectHead(const std::string& path, bool withPoints, ProjectHead& head) {
  StrictLines lines(path);
  head = ReadProjectHead(lines, withPoints);
  if (!lines.Fault() && !withPoints) {
    std::string_view line;
    if (lines.NextFilled(line))
      lines.Refuse(
          Quoted(line) + " stands behind the last image",
          "An .ovc ends with its images: look for a doubled line, or correct the counts in the first line");
  }
  if (lines.Fault()) return {*lines.Fault()};
  return NoteLosses(head, path);
}

}  // namespace orvo
