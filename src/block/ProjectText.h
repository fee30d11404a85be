// The lines of the text forms: project, .ovc and GCP file. What a line does not hold stays 0.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/Scan.h"
#include "base/TextReader.h"
#include "records/Records.h"

namespace orvo {

struct ProjectHeader {
  int32_t nImageNum = 0, nCameraNum = 0;
  int64_t nObjectPointNum = 0;  ///< 0 in an .ovc file
};

/// The counts as the line says them.
ProjectHeader ParseHeader(std::string_view line);
/// The counts made such that tables of their size can be filled from a file of `fileBytes`: never negative, a
/// camera takes at least 1 byte, an image 4, an object point 2. Above 32,768 of a kind, as many as fit with
/// all their fields side by side: a camera takes 20 bytes then, an image 44, an object point 12.
ProjectHeader CutToFile(ProjectHeader header, int64_t fileBytes);
/// The next line of the file, its counts cut to what the file can hold.
ProjectHeader ReadHeader(TextReader& file);
/// The same for the points of a GCP file; above 32,768 of them, each takes at least 28 bytes.
int32_t CutGcpCount(int32_t count, int64_t fileBytes);
/// The count line of a GCP file, cut to what the file can hold.
int32_t ReadGcpCount(TextReader& file);

/// A camera in file units.
struct CameraLine {
  int32_t nImageWidth = 0, nImageHeight = 0;
  double fReserved = 0;  ///< the real before the focal length, carried along by the writers
  double fFocal = 0, fPrincipalX = 0, fPrincipalY = 0;
  double fK1 = 0, fK2 = 0;
  double fMark = 0;        ///< before k1: kFurtherTerms where terms of the distortion follow k2
  LensTerms Further = {};  ///< in the order of the line: k3, p1, p2, b1, b2; without the mark none
};
inline constexpr double kFurtherTerms = 1;
/// What is missing is no number.
LensTerms ReadFurtherTerms(FieldScanner& fields);

CameraLine ParseCameraLine(std::string_view line);

/// The four lines of an image, in file units.
struct ImageBlock {
  int32_t nId = 0;
  int32_t nCamera = -1;      ///< camera ordinal, -1 where the line holds none
  char szName[128] = {};     ///< file name without folder and extension
  std::string szBareName;    ///< what stands for it where it is empty
  double dRotation[9] = {};  ///< a1 a2 a3 b1 b2 b3 c1 c2 c3
  double X = 0, Y = 0, Z = 0;
  bool bComplete = false;  ///< camera ordinal, nine reals and three coordinates were all there
};
ImageBlock ReadImageBlock(TextReader& file);

/// Copies the name of an image path: what stands behind the last backslash, or where there is none behind the
/// last slash, without the last dot and what follows. A path without a separator has no name.
void ImageNameOfPath(std::string_view path, char (&name)[128]);
/// The name of a path that has none by ImageNameOfPath: its file name, without the extension where something
/// is left then; cut to what a name may have. Empty for a path that ends in a separator.
std::string BareNameOfPath(std::string_view path);

/// Name, coordinates in file units and type; no image points yet.
ObjectPointRecord ParsePointLine(std::string_view line);
/// The same; `whole` says whether all five fields are there, whole and finite, and the type not negative.
ObjectPointRecord ParsePointLine(std::string_view line, bool& whole);
/// The number of measurements in the next line, at least 0.
int32_t ReadMeasureCount(TextReader& file);
/// The same; `whole` says whether the line holds such a number and nothing else.
int32_t ReadMeasureCount(TextReader& file, bool& whole);

/// A point is measured at most so often: each thread of an assembly has room for all of a point at once.
inline constexpr int32_t kMostMeasures = 16384;
/// The line of a point's next measurement; `before`: those read of it. False at the end of the file, and at a
/// line beyond kMostMeasures, which is a fault of the file.
bool NextMeasure(TextReader& file, int64_t before, std::string_view& line);
/// Passes over a count line and its measurements; the number of those that are there.
int32_t SkipMeasures(TextReader& file);

/// A measurement in file units.
struct MeasureLine {
  int32_t nImageOrdinal = 0;
  double x = 0, y = 0;
  bool bWhole = false;  ///< the three fields are there, whole and finite
};
/// False when one of the three fields is missing.
bool ParseMeasure(std::string_view line, MeasureLine& measure);

/// Passes over the camera and image lines of a header already read.
void SkipCamerasAndImages(TextReader& file, const ProjectHeader& header);

}  // namespace orvo
