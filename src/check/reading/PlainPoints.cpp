#include "check/reading/PlainPoints.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "base/InputFile.h"
#include "base/Platform.h"
#include "base/Scan.h"
#include "base/TextReader.h"
#include "base/Threads.h"
#include "block/ProjectText.h"
#include "check/StrictLines.h"

namespace orvo {
namespace {

constexpr int64_t kPieceBytes = int64_t{1} << 20;
/// More threads than this wait for the memory.
constexpr int kMostThreads = 8;

/// A part of the file in memory, that is read on where a point goes on.
class Window {
 public:
  explicit Window(const InputFile& file) : File(file) {}

  void Start(int64_t offset, int64_t bytes) {
    nOffset = offset;
    nAt = 0;
    Text.clear();
    ReadOn(bytes);
  }
  /// The next line without its end; false at the end of the file, and at a line that is none of this form.
  bool Next(std::string_view& line) {
    while (true) {
      const char* begin = Text.data() + nAt;
      const size_t left = Text.size() - nAt;
      const size_t found = std::string_view(begin, left).find('\n');
      if (found != std::string_view::npos) {
        size_t length = found;
        nAt += length + 1;
        if (length > 0 && begin[length - 1] == '\r') --length;
        line = {begin, length};
        return length < TextReader::kMaxLine;
      }
      if (left >= TextReader::kMaxLine || !ReadOn(kPieceBytes / 4)) return false;
    }
  }
  /// Of what Next hands out next.
  int64_t Place() const { return nOffset + static_cast<int64_t>(nAt); }
  void Seek(int64_t offset) { nAt = static_cast<size_t>(offset - nOffset); }
  bool HoldsZero() const { return std::memchr(Text.data(), 0, Text.size()) != nullptr; }
  /// What comes next can't be the line of a point.
  bool IsAtBlanks() const { return nAt >= Text.size() || Text[nAt] == '\n' || Text[nAt] == '\r'; }
  /// Nothing but white space follows up to the end of the file.
  bool OnlyBlanksFollow() {
    while (Trimmed(std::string_view(Text).substr(nAt)).empty()) {
      nAt = Text.size();
      if (!ReadOn(kPieceBytes)) return true;
    }
    return false;
  }

 private:
  bool ReadOn(int64_t bytes) {
    const size_t have = Text.size();
    const int64_t from = nOffset + static_cast<int64_t>(have);
    bytes = std::min(bytes, File.Size() - from);
    if (bytes <= 0) return false;
    Text.resize(have + static_cast<size_t>(bytes));
    const int64_t got = File.ReadAt(from, Text.data() + have, bytes);
    Text.resize(have + static_cast<size_t>(got));
    return got > 0;
  }

  const InputFile& File;
  std::string Text;
  int64_t nOffset = 0;
  size_t nAt = 0;
};

bool TakePoint(std::string_view line, SurveyPoint& point) {
  FieldScanner fields(line);
  std::string_view name;
  if (!fields.Word(name) || name.size() >= point.szName.size()) return false;
  std::ranges::copy(name, point.szName.begin());
  for (double& value : point.P) {
    if (!fields.Real(value) || !std::isfinite(value)) return false;
  }
  return fields.Int(point.nType) && fields.NumbersAreWhole() && point.nType >= 0;
}

bool TakeCount(std::string_view line, int32_t& count) {
  FieldScanner fields(line);
  std::string_view more;
  return fields.Int(count) && fields.NumbersAreWhole() && count >= 0 && count <= kMostMeasures &&
         !fields.Word(more);
}

/// What one thread makes of a piece.
struct Piece {
  explicit Piece(const InputFile& file, int64_t imageNum)
      : Text(file), LastPoint(static_cast<size_t>(imageNum), 0) {}

  Window Text;
  std::vector<int64_t> LastPoint;  ///< by image, the number of the point that was measured there last
  int64_t nPointNumber = 0;
  SurveyPoints Points;  ///< indices and lines count from the piece's beginning
  int64_t nBegin = 0, nEnd = 0, nLines = 0;
  bool bPlain = false;

  void Read(int64_t begin, int64_t end, bool first);

 private:
  bool FindBegin();
  bool ReadPoint();
};

/// Goes to the first line that can be a point's, with one behind it that can be its count.
bool Piece::FindBegin() {
  std::string_view line;
  int64_t place = Text.Place(), before = -1;
  while (Text.Next(line)) {
    int32_t count = 0;
    if (before >= 0 && TakeCount(line, count)) {
      Text.Seek(before);
      return true;
    }
    SurveyPoint point;
    before = TakePoint(line, point) ? place : -1;
    place = Text.Place();
  }
  return false;
}

bool Piece::ReadPoint() {
  std::string_view line;
  SurveyPoint point;
  int32_t count = 0;
  point.nPlace = nLines + 1;
  if (!Text.Next(line) || !TakePoint(line, point) || !Text.Next(line) || !TakeCount(line, count))
    return false;
  point.nMeasurementNum = count;
  point.nFirstMeasurement = std::ssize(Points.Measurements);
  ++nPointNumber;
  for (int32_t m = 0; m < count; ++m) {
    if (!Text.Next(line)) return false;
    FieldScanner fields(line);
    SurveyMeasurement one;
    if (!fields.Int(one.nImage) || !fields.Real(one.x) || !fields.Real(one.y) || !fields.NumbersAreWhole())
      return false;
    if (!std::isfinite(one.x) || !std::isfinite(one.y)) return false;
    if (one.nImage < 0 || one.nImage >= std::ssize(LastPoint)) return false;
    if (std::exchange(LastPoint[static_cast<size_t>(one.nImage)], nPointNumber) == nPointNumber) return false;
    Points.Measurements.push_back(one);
  }
  Points.Points.push_back(point);
  nLines += 2 + count;
  return true;
}

/// Reads the points that begin from `begin` to before `end`; those of the first piece begin with it.
void Piece::Read(int64_t begin, int64_t end, bool first) {
  Points.Points.clear();
  Points.Measurements.clear();
  nLines = 0;
  nBegin = nEnd = -1;
  bPlain = false;
  // From one byte before on, so that a line that begins with the piece is seen as one.
  Text.Start(first ? begin : begin - 1, end - begin + kPieceBytes / 16);
  std::string_view line;
  if (!first && !Text.Next(line)) return;
  bPlain = true;
  // Without a point in it, the piece is the inside of one.
  if (!first && !FindBegin()) return;
  nBegin = Text.Place();
  while (bPlain && Text.Place() < end && !Text.IsAtBlanks()) bPlain = ReadPoint();
  nEnd = Text.Place();
  bPlain = bPlain && !Text.HoldsZero();
}

/// All pieces, one behind the other.
class PieceJoin {
 public:
  PieceJoin(int64_t pointNum, const PointsPlace& place, int64_t fileBytes, SurveyPoints& points)
      : nPointNum(pointNum), nFileBytes(fileBytes), End(place), Points(points) {}

  void Take(const Piece& piece) {
    if (!bPlain) return;
    bPlain = piece.bPlain;
    if (!bPlain || piece.nBegin < 0) return;
    bPlain =
        piece.nBegin == End.nByte && std::ssize(Points.Points) + std::ssize(piece.Points.Points) <= nPointNum;
    if (!bPlain) return;
    if (Points.Points.empty()) MakeRoom(piece);
    const int64_t measures = std::ssize(Points.Measurements);
    for (SurveyPoint point : piece.Points.Points) {
      point.nFirstMeasurement += measures;
      point.nPlace += End.nLine;
      Points.Points.push_back(point);
    }
    Points.Measurements.insert(Points.Measurements.end(), piece.Points.Measurements.begin(),
                               piece.Points.Measurements.end());
    End = {piece.nEnd, End.nLine + piece.nLines};
  }
  bool IsWhole() const { return bPlain && std::ssize(Points.Points) == nPointNum; }
  const PointsPlace& Place() const { return End; }

 private:
  /// For as many as there will be when all pieces are like the first.
  void MakeRoom(const Piece& first) {
    const double times = 1.05 * static_cast<double>(nFileBytes - first.nBegin) /
                         static_cast<double>(std::max<int64_t>(first.nEnd - first.nBegin, 1));
    const auto room = [&](size_t count) {
      return static_cast<size_t>(static_cast<double>(count) * times) + 1;
    };
    Points.Points.reserve(room(first.Points.Points.size()));
    Points.Measurements.reserve(room(first.Points.Measurements.size()));
  }

  int64_t nPointNum, nFileBytes;
  PointsPlace End;
  SurveyPoints& Points;
  bool bPlain = true;
};

}  // namespace

bool ReadPlainPoints(const std::string& path, int64_t pointNum, int64_t imageNum, PointsPlace& place,
                     SurveyPoints& points) {
  InputFile file;
  if (!file.Open(path)) return false;
  const int64_t bytes = file.Size() - place.nByte;
  const int64_t pieceNum = (bytes + kPieceBytes - 1) / kPieceBytes;
  const int threads = ParallelThreadNum(pieceNum, std::min(NativePlatform().ProcessorCount(), kMostThreads));
  std::vector<Piece> pieces;
  pieces.reserve(static_cast<size_t>(threads));
  for (int k = 0; k < threads; ++k) pieces.emplace_back(file, imageNum);
  PieceJoin join(pointNum, place, file.Size(), points);
  ParallelInOrder(
      pieceNum, threads,
      [&](int64_t i, int k) {
        const int64_t begin = place.nByte + i * kPieceBytes;
        pieces[static_cast<size_t>(k)].Read(begin, std::min(begin + kPieceBytes, file.Size()), i == 0);
      },
      [&](int64_t, int k) { join.Take(pieces[static_cast<size_t>(k)]); });
  Window rest(file);
  rest.Start(join.Place().nByte, kPieceBytes);
  if (join.IsWhole() && !file.Failed() && rest.OnlyBlanksFollow()) {
    place = join.Place();
    return true;
  }
  points = {};
  return false;
}

}  // namespace orvo
