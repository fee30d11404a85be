// Tie points of a text project.
#include <algorithm>
#include <cinttypes>

#include "base/ParallelFor.h"
#include "block/ProjectText.h"
#include "block/TextPiece.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

/// Appends a piece behind what was read before it.
void AppendPiece(const TextPiece& piece, std::vector<ObjectPointRecord>& points,
                 std::vector<ImagePointRecord>& imagePoints) {
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

}  // namespace

int CBundleAdjustment::ReadTextPoints(int32_t section, std::vector<ObjectPointRecord>& objectList,
                                      std::vector<ImagePointRecord>& imagePointList, TextReader& file) {
  const PointSectionTable::Range range = Points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const TextPointContext context{
      MakeImageReferences(Images.pImageIndex, Images.pImageCamera, Cameras.pCameraIndex, Images.nImageNum,
                          Cameras.UsableNum()),
      Settings.Image_Coor_Scale, Settings.Object_Coor_Scale};
  const ProjectHeader header = ReadHeader(file);
  if (range.nFirst == 0) Points.Facts.Points = {};
  const int64_t end = std::min(header.nObjectPointNum, range.nLast + 1);
  // The places are those of a walk from the first point on, and of that file only.
  const bool placesKnown =
      range.nFirst == 0 && Points.nTextPlaceFileSize == file.Size() && Paths.szProjectPath == file.Path();
  const int64_t pieceNum =
      std::min((end + kTextPiecePoints - 1) / kTextPiecePoints, std::ssize(Points.vTextPlaces));
  const int threads = ParallelThreadNum(pieceNum, System.ProcessorCount());
  if (placesKnown && threads > 1) {
    std::vector<TextReader> files;
    for (int k = 0; k < threads; ++k) files.emplace_back(&Inputs);
    if (std::ranges::all_of(files, [&](TextReader& own) { return own.Open(file.Path()); })) {
      return ReadTextPieces(pieceNum, end, files, context, objectList, imagePointList, file);
    }
  }
  SkipCamerasAndImages(file, header);
  std::string_view line;
  for (int64_t i = 0; i < std::min(end, range.nFirst) && file.Next(line); ++i) {
    // Deliberate: the second line is the first measurement, and its image ordinal is taken for a count.
    file.Skip(1);
    file.Skip(ReadMeasureCount(file));
  }
  return ReadTextPointsOneByOne(range.nFirst, end, context, objectList, imagePointList, file);
}

int CBundleAdjustment::ReadTextPieces(int64_t pieceNum, int64_t end, std::span<TextReader> files,
                                      const TextPointContext& context,
                                      std::vector<ObjectPointRecord>& objectList,
                                      std::vector<ImagePointRecord>& imagePointList, TextReader& file) {
  std::vector<TextPiece> pieces(files.size());
  // A copy: reading one by one enlarges the cameras, in its turn.
  const std::vector<IopRecord> cameras = Cameras.pIop;
  const auto countOf = [&](int64_t i) { return std::min(kTextPiecePoints, end - i * kTextPiecePoints); };
  int result = 1;
  ParallelInOrder(
      pieceNum, static_cast<int>(files.size()),
      [&](int64_t i, int k) {
        TextReader& own = files[static_cast<size_t>(k)];
        own.Seek(Points.vTextPlaces[static_cast<size_t>(i)]);
        ReadTextPiece(own, i * kTextPiecePoints, countOf(i), context, cameras,
                      pieces[static_cast<size_t>(k)]);
      },
      [&](int64_t i, int k) {
        const TextPiece& piece = pieces[static_cast<size_t>(k)];
        if (result != 1) return;
        if (piece.bPlain) {
          for (const TextPiece::Counted& type : piece.Types) CountTextPoint(type.nOrdinal, type.nType);
          Points.Facts.Points.Add(piece.Facts);
          AppendPiece(piece, objectList, imagePointList);
          return;
        }
        file.Seek(Points.vTextPlaces[static_cast<size_t>(i)]);
        const int64_t first = i * kTextPiecePoints;
        result = ReadTextPointsOneByOne(first, first + countOf(i), context, objectList, imagePointList, file);
      });
  return result;
}

int CBundleAdjustment::ReadTextPointsOneByOne(int64_t first, int64_t end, const TextPointContext& context,
                                              std::vector<ObjectPointRecord>& objectList,
                                              std::vector<ImagePointRecord>& imagePointList,
                                              TextReader& file) {
  std::string_view line;
  for (int64_t i = first; i < end && file.Next(line); ++i) {
    ObjectPointRecord point = MakeTextPoint(line, context, Points.Facts.Points);
    CountTextPoint(i, point.nType);
    int32_t measureNum = 0;
    switch (AppendTextMeasures(file, context, static_cast<int32_t>(objectList.size()), point, imagePointList,
                               Cameras.pIop, measureNum, Points.Facts.Points)) {
      case TextPointOutcome::Accepted:
        objectList.push_back(point);
        break;
      case TextPointOutcome::Rejected:
        break;
      case TextPointOutcome::WrongOrdinal:
        LogPrintf("Error!Image ID is invalid:%d %" PRId64 "\n", measureNum, i);
        return -1;
    }
  }
  return 1;
}

void CBundleAdjustment::CountTextPoint(int64_t ordinal, int32_t type) {
  if (type != 1 && type != 2) return;
  const auto i = static_cast<size_t>(ordinal);
  if (i >= Points.bTextPointCounted.size()) Points.bTextPointCounted.resize(i + 1, false);
  if (Points.bTextPointCounted[i]) return;
  Points.bTextPointCounted[i] = true;
  ++(type == 1 ? Points.nControlPointNum : Points.nCheckPointNum);
}

}  // namespace orvo
