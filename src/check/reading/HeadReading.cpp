#include "check/reading/HeadReading.h"

#include <algorithm>

#include "base/Scan.h"
#include "block/ProjectText.h"
#include "check/StrictLines.h"
#include "check/reading/OrdinalCheck.h"

namespace orvo {
namespace {

using enum FieldKind;

constexpr FieldSpec kCountFields[] = {
    {Integer, "the number of images"}, {Integer, "the number of cameras"}, {Integer, "the number of points"}};
constexpr FieldSpec kCameraFields[] = {{Integer, "the camera ID"},
                                       {Integer, "the image width"},
                                       {Integer, "the image height"},
                                       {Real, "the reserved field 4"},
                                       {Real, "the focal length"},
                                       {Real, "x0"},
                                       {Real, "y0"},
                                       {Real, "the reserved field 8"},
                                       {Real, "k1"},
                                       {Real, "k2"},
                                       {Real, "k3"},
                                       {Real, "p1"},
                                       {Real, "p2"},
                                       {Real, "b1"},
                                       {Real, "b2"}};
/// The distortion may be missing.
constexpr size_t kCameraNeeds = 8;
/// Up to k2.
constexpr size_t kRadialFields = 10;
constexpr std::span<const FieldSpec> kAllOfCamera(kCameraFields);
constexpr FieldSpec kIdFields[] = {{Integer, "the image ID"}, {Integer, "the camera ordinal"}};
constexpr FieldSpec kMatrixFields[] = {{Real, "a1"}, {Real, "a2"}, {Real, "a3"}, {Real, "b1"}, {Real, "b2"},
                                       {Real, "b3"}, {Real, "c1"}, {Real, "c2"}, {Real, "c3"}};
constexpr FieldSpec kCentreFields[] = {{Real, "X"}, {Real, "Y"}, {Real, "Z"}};
constexpr FieldSpec kPointFields[] = {
    {Word, "the name"}, {Real, "X"}, {Real, "Y"}, {Real, "Z"}, {Integer, "the type"}};
constexpr size_t kLongestName = sizeof(ImageBlock::szName) - 1;

/// A line of these fields and no more, with faults or without.
bool HasFields(std::string_view line, std::span<const FieldSpec> specs) {
  return CountFields(line, std::ssize(specs) + 1) == std::ssize(specs) &&
         LookAtFields(line, specs, specs.size()).bUsable;
}

/// Tells that the line that came last is another one, unless it is cut off.
void TellOther(SurveyText& text, const std::string& what, const std::string& remedy) {
  if (text.IsCutLine()) return text.TellCut();
  text.Tell("S013", 1, what, remedy);
}
void TellOther(SurveyText& text, std::string_view line, const char* kind) {
  TellOther(text, Quoted(line) + " is not " + kind,
            RemedyOfLine(line, "Look for a missing or doubled line before it, or correct the counts"));
}

/// Reads the fields of a line, which are told where they are not as they should be. False where the line is
/// another one: it has so few fields that it can't be meant.
template <typename Take>
bool TakeFields(SurveyText& text, std::string_view line, std::span<const FieldSpec> specs, size_t needed,
                int64_t fewest, const char* kind, const Take& take) {
  FieldScanner fields(line);
  if (take(fields) && fields.NumbersAreWhole()) return true;
  const LineFields looked = LookAtFields(line, specs, needed);
  if (looked.nFieldNum < fewest) {
    TellOther(text, line, kind);
    return false;
  }
  text.Tell(looked);
  FieldScanner repaired(looked.szRepaired);
  take(repaired);
  return true;
}

bool ReadCounts(SurveyText& text, bool withPoints, int32_t& images, int32_t& cameras, int64_t& points) {
  const std::string remedy = withPoints ? "The first line holds the numbers of images, cameras and points"
                                        : "The first line of an .ovc holds the numbers of images and cameras";
  std::string_view line;
  if (!text.Next(line)) {
    text.TellEnd("the file is empty");
    return false;
  }
  FieldScanner fields(line);
  fields.Int(images);
  fields.Int(cameras);
  if (withPoints) fields.Int(points);
  if (!fields.NumbersAreWhole()) {
    if (text.IsCutLine()) {
      text.TellCut();
      return false;
    }
    const LineFields looked = LookAtFields(line, kCountFields, withPoints ? 3 : 2);
    text.Tell("S014", looked.Faults.empty() ? 1 : looked.Faults[0].nColumn,
              Trimmed(line).empty() ? "the first line is empty, and holds no counts"
                                    : Quoted(line) + " are not the counts of a project",
              RemedyOfLine(line, remedy.c_str()));
    return false;
  }
  if (images >= 1 && cameras >= 1 && points >= 0) return true;
  text.Tell("S014", 1,
            "the project has " + std::to_string(images) + " images, " + std::to_string(cameras) +
                " cameras and " + std::to_string(points) + " points",
            remedy + "; it needs an image and a camera");
  return false;
}

void TakeFurther(FieldScanner& fields, SurveyCamera& camera) {
  const LensTerms terms = ReadFurtherTerms(fields);
  camera.bFurtherLost = !terms.IsFinite();
  if (!camera.bFurtherLost) camera.Further = terms;
}

bool ReadCamera(SurveyText& text, int32_t ordinal, int32_t count, SurveyCamera& camera) {
  std::string_view line;
  if (!text.NextMeant(line)) {
    text.TellEnd("the file ends before camera " + std::to_string(ordinal) + " of " + std::to_string(count));
    return false;
  }
  camera.nLine = text.LineNumber();
  const auto take = [&](FieldScanner& fields) {
    double reserved = 0, mark = 0;
    const bool needed = fields.Int(camera.nId) && fields.Int(camera.nWidth) && fields.Int(camera.nHeight) &&
                        fields.Real(reserved) && fields.Real(camera.dFocal) && fields.Real(camera.dX0) &&
                        fields.Real(camera.dY0) && fields.Real(mark);
    const bool whole = needed && fields.NumbersAreWhole();
    const bool radial = fields.Real(camera.dK1) && fields.Real(camera.dK2);
    if (mark == kFurtherTerms) TakeFurther(fields, camera);
    return radial && whole;
  };
  // What stands behind k2 is looked at only where the line says that it has a meaning.
  const bool further = ParseCameraLine(line).fMark == kFurtherTerms;
  const auto specs = further ? kAllOfCamera : kAllOfCamera.first(kRadialFields);
  return TakeFields(text, line, specs, kCameraNeeds, 6, "a camera line", take);
}

/// Line of the four of an image; false at the end of the file.
bool NextOfImage(SurveyText& text, int32_t ordinal, int32_t count, std::string_view& line) {
  if (text.NextMeant(line)) return true;
  text.TellEnd("the file ends in image " + std::to_string(ordinal) + " of " + std::to_string(count));
  return false;
}

void TakePath(SurveyText& text, std::string_view line, SurveyImage& image) {
  std::string_view path;
  FieldScanner(line).Word(path);
  image.szPath = path;
  char name[sizeof(ImageBlock::szName)];
  ImageNameOfPath(path, name);
  image.szName = name;
  const size_t separator = path.find_last_of(path.find('\\') == std::string_view::npos ? '/' : '\\');
  if (separator == std::string_view::npos) return;
  const std::string_view file = path.substr(separator + 1);
  if (file.substr(0, file.rfind('.')).size() <= kLongestName) return;
  text.Tell("S005", static_cast<int64_t>(file.data() - line.data()) + 1,
            "the name of image " + Quoted(image.szName) + " is longer than " + std::to_string(kLongestName) +
                " bytes",
            "It is cut there: shorten it");
}

void TakeOrdinalOfCamera(SurveyText& text, std::string_view line, const std::vector<SurveyCamera>& cameras,
                         const SurveyImage& image) {
  if (image.nId < 0)
    text.Tell("S016", 1, "the image ID " + std::to_string(image.nId) + " is negative, which ends a run",
              "Number images from 0 or above");
  if (image.nCamera >= 0 && image.nCamera < std::ssize(cameras)) return;
  if (CountFields(line, 2) < 2) return;  // told as such
  OrdinalFault fault = MissingCamera(image.nCamera, cameras);
  const std::string_view fields = Trimmed(line);
  const size_t second = fields.find_first_not_of(" \t", fields.find_first_of(" \t"));
  const auto start = static_cast<size_t>(fields.data() - line.data());
  text.Tell("R002", static_cast<int64_t>(start + (second == fields.npos ? 0 : second)) + 1,
            std::move(fault.szWhat), std::move(fault.szRemedy));
}

/// A line that is no first line of an image, but that of a path, a position, a camera or a point.
bool IsNoIdLine(std::string_view line, size_t cameraNum) {
  FieldScanner fields(line);
  int32_t id = 0, camera = -1;
  const bool whole = fields.Int(id) && fields.Int(camera) && fields.NumbersAreWhole();
  const int64_t count = CountFields(line, 3);
  if (count < 3) return count == 1 && !LookAtFields(line, kIdFields, 1).bUsable;
  if (!whole) return true;
  const bool known = camera >= 0 && static_cast<size_t>(camera) < cameraNum;
  return !known && LookAtFields(line, kCentreFields, 3).bUsable;
}

void TellNoIdLine(SurveyText& text, std::string_view line, int32_t ordinal, int32_t count) {
  if (!HasFields(line, kPointFields)) return TellOther(text, line, "the first line of an image");
  TellOther(text,
            Quoted(line) + " is the line of a point, where image " + std::to_string(ordinal) + " of " +
                std::to_string(count) + " should begin",
            "Correct the number of images in the first line, which says " + std::to_string(count) +
                ", or look for a missing image");
}

/// A line in the place of a position that is a matrix, or the first line of the next image.
bool IsNoCentre(const SurveyText& text, std::string_view line) {
  if (HasFields(line, kMatrixFields)) return true;
  if (!HasFields(line, kIdFields)) return false;
  const std::vector<std::string> next = text.Following(2);
  return next.size() == 2 && HasFields(next[1], kMatrixFields);
}

/// Whether another image stands behind the last one, which is told: nothing behind it is in step.
bool TellImageBehindLast(SurveyText& text, int32_t count) {
  const std::vector<std::string> next = text.Following(4);
  if (next.size() < 4 || !HasFields(next[0], kIdFields) || !HasFields(next[2], kMatrixFields) ||
      !HasFields(next[3], kCentreFields))
    return false;
  text.Found().Add("S013", {text.Path(), 1, 1},
                   "the first line says " + CountOf(count, "image", {}) + ", and line " +
                       std::to_string(text.LineNumber() + 1) + " begins one more",
                   "Correct the number of images, or look for an image that stands there twice");
  return true;
}

bool ReadImage(SurveyText& text, int32_t ordinal, int32_t count, const std::vector<SurveyCamera>& cameras,
               SurveyImage& image) {
  std::string_view line;
  if (!NextOfImage(text, ordinal, count, line)) return false;
  image.nLine = text.LineNumber();
  if (IsNoIdLine(line, cameras.size())) {
    TellNoIdLine(text, line, ordinal, count);
    return false;
  }
  const auto takeIds = [&](FieldScanner& f) { return f.Int(image.nId) && f.Int(image.nCamera); };
  if (!TakeFields(text, line, kIdFields, 2, 1, "the first line of an image", takeIds)) return false;
  TakeOrdinalOfCamera(text, line, cameras, image);
  if (!NextOfImage(text, ordinal, count, line)) return false;
  TakePath(text, line, image);
  if (!NextOfImage(text, ordinal, count, line)) return false;
  const auto takeMatrix = [&](FieldScanner& f) {
    return std::ranges::all_of(image.R, [&](double& value) { return f.Real(value); });
  };
  if (!TakeFields(text, line, kMatrixFields, 9, 7, "the rotation matrix of an image", takeMatrix))
    return false;
  if (!NextOfImage(text, ordinal, count, line)) return false;
  if (IsNoCentre(text, line)) {
    TellOther(text, line, "the position of an image");
    return false;
  }
  const auto takeCentre = [&](FieldScanner& f) {
    return std::ranges::all_of(image.S, [&](double& value) { return f.Real(value); });
  };
  return TakeFields(text, line, kCentreFields, 3, 2, "the position of an image", takeCentre);
}

/// No camera, no image takes fewer bytes of a text.
constexpr int64_t kLeastCameraBytes = 16, kLeastImageBytes = 28;

/// How many records a file of that size may hold, as far as one is ever made at once.
size_t RoomFor(int64_t count, int64_t bytes, int64_t bytesOfOne) {
  return static_cast<size_t>(std::min(count, bytes / bytesOfOne + 1));
}

}  // namespace

bool ReadSurveyHead(SurveyText& text, bool withPoints, SurveyBlock& block, SurveyHead& head) {
  int32_t images = 0, cameras = 0;
  if (!ReadCounts(text, withPoints, images, cameras, head.nPointNum)) return false;
  block.Cameras.reserve(RoomFor(cameras, text.FileBytes(), kLeastCameraBytes));
  for (int32_t c = 0; c < cameras; ++c) {
    SurveyCamera camera;
    if (!ReadCamera(text, c, cameras, camera)) return false;
    block.Cameras.push_back(camera);
  }
  block.Images.reserve(RoomFor(images, text.FileBytes(), kLeastImageBytes));
  for (int32_t i = 0; i < images; ++i) {
    SurveyImage image;
    if (!ReadImage(text, i, images, block.Cameras, image)) return false;
    block.Images.push_back(std::move(image));
  }
  return !withPoints || !TellImageBehindLast(text, images);
}

}  // namespace orvo
