#include "block/OvtPoints.h"

#include <algorithm>
#include <cinttypes>

#include "base/LargeArray.h"
#include "base/Threads.h"
#include "block/Measurement.h"
#include "block/OvtMeasures.h"

namespace orvo {
namespace {

/// Object points of one piece of work: as many as, with their image points, stay in a cache.
constexpr int64_t kPiecePoints = 4096;

/// What one thread makes of a piece.
struct Piece {
  std::vector<char> Records;
  ObjectPointArray Points;
  ImagePointArray ImagePoints;
  bool bPlain = false;
};

int64_t PieceNum(int64_t count) { return (count + kPiecePoints - 1) / kPiecePoints; }

template <typename Array>
void Append(const Array& from, Array& to) {
  to.insert(to.end(), from.begin(), from.end());
}

void DecodePoints(const OvtReader& file, int64_t first, int64_t count, Piece& piece) {
  piece.Records.resize(static_cast<size_t>(count * kOvtPointBytes));
  const int64_t read = file.ReadPoints(first, count, piece.Records.data());
  piece.Points.clear();
  for (int64_t i = 0; i < read; ++i) {
    piece.Points.push_back(MakeObjectPoint(DecodeOvtPoint(piece.Records.data() + i * kOvtPointBytes)));
  }
}

/// The measurements of all points in memory, the first of which is `firstPoint` of the file.
int ReadMeasures(const SectionReading& reading, int64_t firstPoint, const OvtReader& file) {
  PointStore& points = reading.Points;
  const auto references = MakeImageReferences(reading.Images, reading.Cameras);
  // The cameras as they are now: a piece that has to enlarge one is taken again, in its turn.
  const std::vector<CameraHalf> halves = MakeCameraHalves(reading.Cameras.pIop);
  const int64_t pieceNum = PieceNum(std::ssize(points.pObjectPoints));
  const int threads = ParallelThreadNum(pieceNum, reading.System.ProcessorCount());
  std::vector<Piece> pieces(static_cast<size_t>(threads));
  std::vector<OvtMeasureWindow> windows(static_cast<size_t>(threads), OvtMeasureWindow(file));
  const auto pointsOf = [&](int64_t i) {
    const std::span<ObjectPointRecord> all(points.pObjectPoints);
    const auto first = static_cast<size_t>(i * kPiecePoints);
    return all.subspan(first, std::min<size_t>(kPiecePoints, all.size() - first));
  };
  int result = 1;
  bool readable = true;
  ParallelInOrder(
      pieceNum, threads,
      [&](int64_t i, int k) {
        Piece& piece = pieces[static_cast<size_t>(k)];
        piece.ImagePoints.clear();
        piece.bPlain = AppendPlainMeasures(pointsOf(i), static_cast<int32_t>(i * kPiecePoints), references,
                                           halves, reading.Settings.Image_Coor_Scale,
                                           windows[static_cast<size_t>(k)], piece.ImagePoints);
      },
      [&](int64_t i, int k) {
        const Piece& piece = pieces[static_cast<size_t>(k)];
        OvtMeasureWindow& window = windows[static_cast<size_t>(k)];
        if (readable && !piece.bPlain) {
          window.Restart();
          if (ReadOvtMeasuresOneByOne(reading, {pointsOf(i), i * kPiecePoints, firstPoint}, references,
                                      window, readable) != 1) {
            result = -1;
          }
          return;
        }
        auto first = static_cast<int64_t>(points.pImagePoints.size());
        if (readable) Append(piece.ImagePoints, points.pImagePoints);
        for (ObjectPointRecord& point : pointsOf(i)) {
          point.nFirstImagePoint = first;
          if (!readable) {
            point.nImagePointNum = 0;
            MakePositionUsable(point);
          }
          first += point.nImagePointNum;
        }
      });
  return result;
}

}  // namespace

int ReadOvtSection(const SectionReading& reading, int32_t section, int64_t& count, int64_t& imageCount,
                   OvtReader& file) {
  PointStore& points = reading.Points;
  const PointSectionTable::Range range = points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const bool withGcp = range.nLast + 1 > file.PointNum();
  const int64_t pointNum = std::clamp<int64_t>(file.PointNum() - range.nFirst, 0, range.Count());
  ReserveLarge(points.pObjectPoints, static_cast<size_t>(pointNum + (withGcp ? points.nGcpNum : 0)));

  const int64_t pieceNum = PieceNum(pointNum);
  const int threads = ParallelThreadNum(pieceNum, reading.System.ProcessorCount());
  std::vector<Piece> pieces(static_cast<size_t>(threads));
  OvtRangeCheck ranges(file.MeasureNum());
  int64_t imagePointNum = 0;
  bool readable = true;
  ParallelInOrder(
      pieceNum, threads,
      [&](int64_t i, int k) {
        const int64_t done = i * kPiecePoints;
        DecodePoints(file, range.nFirst + done, std::min(kPiecePoints, pointNum - done),
                     pieces[static_cast<size_t>(k)]);
      },
      [&](int64_t i, int k) {
        ObjectPointArray& decoded = pieces[static_cast<size_t>(k)].Points;
        if (!readable) return;
        readable = std::ssize(decoded) == std::min(kPiecePoints, pointNum - i * kPiecePoints);
        for (ObjectPointRecord& point : decoded) {
          point.nImagePointNum = ranges.Take(point.nFirstImagePoint, point.nImagePointNum);
          imagePointNum += point.nImagePointNum;
        }
        Append(decoded, points.pObjectPoints);
      });
  pieces.clear();
  ReserveLarge(points.pImagePoints,
               static_cast<size_t>(imagePointNum + (withGcp ? points.nGcpImagePointNum : 0)));
  const int result = ReadMeasures(reading, range.nFirst, file);
  count = static_cast<int64_t>(points.pObjectPoints.size());
  imageCount = static_cast<int64_t>(points.pImagePoints.size());
  return result;
}

int ReadOvtMeasuresOneByOne(const SectionReading& reading, const OvtRows& rows,
                            std::span<const ImageReference> references, OvtMeasureWindow& window,
                            bool& readable) {
  ImagePointArray& imagePoints = reading.Points.pImagePoints;
  int result = 1;
  int64_t row = rows.nFirst;
  for (ObjectPointRecord& point : rows.Points) {
    const int64_t fileIndex = point.nFirstImagePoint;
    const int32_t wanted = readable ? point.nImagePointNum : 0;
    const bool usable = MakePositionUsable(point);
    point.nFirstImagePoint = static_cast<int64_t>(imagePoints.size());
    point.nImagePointNum = 0;
    for (int32_t m = 0; m < wanted; ++m) {
      const char* record = window.At(fileIndex + m);
      readable = record != nullptr;
      if (!readable) break;
      const OvtMeasure measure = DecodeOvtMeasure(record);
      // An ordinal just behind the last image passes, deliberately, as one on a deleted image.
      if (measure.nImageOrdinal < 0 || measure.nImageOrdinal > reading.Images.nImageFileNum) {
        reading.Log.Print("Error!Image ID of the point %" PRId64 " is out of range!\n",
                          rows.nFirstPoint + row);
        result = -1;
        readable = false;
        break;
      }
      const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
      const ImageReference reference = ordinal < references.size() ? references[ordinal] : ImageReference{};
      if (reference.nImage < 0) {
        reading.Log.Print("Image ID is invalid:%" PRId64 " %d\n", fileIndex + m, measure.nImageOrdinal);
      }
      imagePoints.push_back(MakeImagePoint(usable ? reference : ImageReference{}, measure.x, measure.y,
                                           reading.Settings.Image_Coor_Scale, static_cast<int32_t>(row)));
      ++point.nImagePointNum;
      const int32_t camera = imagePoints.back().nCamera;
      if (camera >= 0) EnlargeCamera(reading.Cameras.pIop[static_cast<size_t>(camera)], measure.x, measure.y);
    }
    ++row;
  }
  return result;
}

}  // namespace orvo
