#include "block/TextPoints.h"

#include <algorithm>
#include <cinttypes>
#include <span>

#include "base/Threads.h"
#include "block/ProjectText.h"
#include "block/TextPiece.h"
#include "records/ImageReference.h"

namespace orvo {
namespace {

/// Appends a piece behind what was read before it.
void AppendPiece(const TextPiece& piece, ObjectPointArray& points, ImagePointArray& imagePoints) {
  const auto firstPoint = static_cast<int32_t>(points.size());
  const auto firstImagePoint = static_cast<int64_t>(imagePoints.size());
  for (ObjectPointRecord point : piece.Points) {
    point.nFirstImagePoint += firstImagePoint;
    points.push_back(point);
  }
  for (ImagePointRecord imagePoint : piece.ImagePoints) {
    imagePoint.nObjectPoint += firstPoint;
    imagePoints.push_back(imagePoint);
  }
}

/// One reading of a section, and where its points go.
struct TextReading {
  TextPointContext Context;
  const SectionReading& Section;
  ObjectPointArray& ObjectList;
  ImagePointArray& ImagePointList;
};

/// Adds a control or check point among the tie points to the counts, once.
void CountTextPoint(PointStore& points, int64_t ordinal, int32_t type) {
  if (type != 1 && type != 2) return;
  const auto i = static_cast<size_t>(ordinal);
  if (i >= points.bTextPointCounted.size()) points.bTextPointCounted.resize(i + 1, false);
  if (points.bTextPointCounted[i]) return;
  points.bTextPointCounted[i] = true;
  ++(type == 1 ? points.nControlPointNum : points.nCheckPointNum);
}

/// Points from ordinal `first` to `end` in the order of the file.
int ReadOneByOne(const TextReading& text, int64_t first, int64_t end, TextReader& file) {
  const SectionReading& reading = text.Section;
  std::string_view line;
  for (int64_t i = first; i < end && file.Next(line); ++i) {
    ObjectPointRecord point = MakeTextPoint(line, text.Context, reading.Points.Facts.Points);
    CountTextPoint(reading.Points, i, point.nType);
    int32_t measureNum = 0;
    switch (AppendTextMeasures(file, text.Context, static_cast<int32_t>(text.ObjectList.size()), point,
                               text.ImagePointList, reading.Cameras.pIop, measureNum,
                               reading.Points.Facts.Points)) {
      case TextPointOutcome::Accepted:
        text.ObjectList.push_back(point);
        break;
      case TextPointOutcome::Rejected:
        break;
      case TextPointOutcome::WrongOrdinal:
        reading.Log.Print("Error!Image ID is invalid:%d %" PRId64 "\n", measureNum, i);
        return -1;
    }
  }
  return 1;
}

/// All pieces up to ordinal `end`, with a thread for each of `files`, from the places that are remembered.
int ReadPieces(const TextReading& text, int64_t pieceNum, int64_t end, std::span<TextReader> files,
               TextReader& file) {
  const SectionReading& reading = text.Section;
  std::vector<TextPiece> pieces(files.size());
  // A copy: reading one by one enlarges the cameras, in its turn.
  const std::vector<IopRecord> cameras = reading.Cameras.pIop;
  const auto countOf = [&](int64_t i) { return std::min(kTextPiecePoints, end - i * kTextPiecePoints); };
  int result = 1;
  ParallelInOrder(
      pieceNum, static_cast<int>(files.size()),
      [&](int64_t i, int k) {
        TextReader& own = files[static_cast<size_t>(k)];
        own.Seek(reading.Points.vTextPlaces[static_cast<size_t>(i)]);
        ReadTextPiece(own, i * kTextPiecePoints, countOf(i), text.Context, cameras,
                      pieces[static_cast<size_t>(k)]);
      },
      [&](int64_t i, int k) {
        const TextPiece& piece = pieces[static_cast<size_t>(k)];
        if (result != 1) return;
        if (piece.bPlain) {
          for (const TextPiece::Counted& type : piece.Types)
            CountTextPoint(reading.Points, type.nOrdinal, type.nType);
          reading.Points.Facts.Points.Add(piece.Facts);
          AppendPiece(piece, text.ObjectList, text.ImagePointList);
          return;
        }
        file.Seek(reading.Points.vTextPlaces[static_cast<size_t>(i)]);
        const int64_t first = i * kTextPiecePoints;
        result = ReadOneByOne(text, first, first + countOf(i), file);
      });
  return result;
}

}  // namespace

int ReadTextSection(const SectionReading& reading, int32_t section, ObjectPointArray& objectList,
                    ImagePointArray& imagePointList, TextReader& file) {
  PointStore& points = reading.Points;
  const PointSectionTable::Range range = points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const TextReading text{{MakeImageReferences(reading.Images, reading.Cameras),
                          reading.Settings.Image_Coor_Scale, reading.Settings.Object_Coor_Scale},
                         reading,
                         objectList,
                         imagePointList};
  const ProjectHeader header = ReadHeader(file);
  if (range.nFirst == 0) points.Facts.Points = {};
  const int64_t end = std::min(header.nObjectPointNum, range.nLast + 1);
  // The places are those of a walk from the first point on, and of that file only.
  const bool placesKnown = range.nFirst == 0 && points.nTextPlaceFileSize == file.Size() &&
                           reading.Paths.szProjectPath == file.Path();
  const int64_t pieceNum =
      std::min((end + kTextPiecePoints - 1) / kTextPiecePoints, std::ssize(points.vTextPlaces));
  const int threads = ParallelThreadNum(pieceNum, reading.System.ProcessorCount());
  if (placesKnown && threads > 1) {
    std::vector<TextReader> files;
    files.reserve(static_cast<size_t>(threads));
    for (int k = 0; k < threads; ++k) files.emplace_back(&reading.Inputs);
    if (std::ranges::all_of(files, [&](TextReader& own) { return own.Open(file.Path()); })) {
      return ReadPieces(text, pieceNum, end, files, file);
    }
  }
  SkipCamerasAndImages(file, header);
  std::string_view line;
  for (int64_t i = 0; i < std::min(end, range.nFirst) && file.Next(line); ++i) {
    // Deliberate: the second line is the first measurement, and its image ordinal is taken for a count.
    file.Skip(1);
    file.Skip(ReadMeasureCount(file));
  }
  return ReadOneByOne(text, range.nFirst, end, file);
}

}  // namespace orvo
