#include "report/tables/PointTables.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <string_view>

#include "base/LittleEndian.h"
#include "base/Threads.h"
#include "records/UnknownLayout.h"
#include "report/FileFrame.h"
#include "report/PassedPoint.h"
#include "report/tables/CsvName.h"

namespace orvo::report {
namespace {

/// Points of one piece of work: some hundred kilobytes of text.
constexpr int64_t kPiecePoints = 1000;
constexpr int kPixelDigits = 4, kObjectDigits = 6, kAngleDigits = 3;
constexpr const char* kTypes[] = {"tie", "control", "check"};

int32_t TypeOf(const ObjectPointRecord& point) { return std::clamp(point.nType, 0, 2); }

std::string_view NameOf(const ObjectPointRecord& point) {
  const std::string_view all(point.szName, sizeof point.szName);
  return all.substr(0, all.find('\0'));
}

/// With a comma in front. A zero has no sign.
void AppendFixed(std::string& out, double value, int digits) {
  const size_t begin = out.size();
  fmt::format_to(std::back_inserter(out), ",{:.{}f}", value, digits);
  if (out[begin + 1] == '-' && out.find_first_not_of("-0.,", begin) == std::string::npos)
    out.erase(begin + 1, 1);
}

/// A point of the tables: what all of them have in common.
struct TablePoint {
  PassedPoint Passed;
  bool bPlaced = false;
  double P[3] = {};  ///< working units
  int64_t nKept = 0;
  double fRmse = 0;  ///< working units

  void Take(const ObjectPointRecord& point, std::span<const ImagePointRecord> rays, const PassViews& views) {
    Passed.Take(point, rays, views);
    bPlaced = false;
    nKept = 0;
    fRmse = 0;
    if (!Passed.bSolved) {
      Passed.vGross.assign(Passed.vRays.size(), 0);
      nKept = std::ssize(Passed.vRays);
      return;
    }
    if (point.nType != 0) TakeGround();
    nKept = std::ssize(Passed.vKept);
    bPlaced = point.nType == 0 ? Passed.bKept : bPlaced;
    if (!bPlaced) return;
    if (point.nType == 0) std::copy_n(Passed.Kept, 3, P);
    double squares = 0;
    for (const StrictRay& ray : Passed.vKept) {
      const ImageCoordinates v = StrictResidual(ray, P);
      squares += v.x * v.x + v.y * v.y;
    }
    fRmse = std::sqrt(squares / static_cast<double>(nKept));
  }

 private:
  /// The pass leaves control points where they are given.
  void TakeGround() {
    Passed.vKept.clear();
    for (size_t i = 0; i < Passed.vRays.size(); ++i) {
      if (Passed.vGross[i] == 0) Passed.vKept.push_back(Passed.vRays[i]);
    }
    std::copy_n(Passed.P, 3, P);
    bPlaced = IntersectStrictly(Passed.vKept, P);
  }
};

/// What one piece of work gives to each file.
struct Piece {
  TablePoint Point;
  std::string szResiduals, szPoints, szCloud;
  int64_t nCloud = 0;

  void Clear() {
    szResiduals.clear();
    szPoints.clear();
    szCloud.clear();
    nCloud = 0;
  }
};

/// The number of points is known at the end, and has its room in the beginning.
std::string CloudHead(int64_t points) {
  constexpr size_t kCountRoom = 40;
  std::string count = fmt::format("element vertex {}\ncomment ", points);
  count.append(kCountRoom - count.size(), '.');
  return "ply\n"
         "format binary_little_endian 1.0\n"
         "comment Orvo: points by least squares; rmse in pixels; type 0 tie, 1 control, 2 check\n" +
         count +
         "\n"
         "property double x\nproperty double y\nproperty double z\n"
         "property float rmse\nproperty ushort rays\nproperty uchar type\n"
         "end_header\n";
}

}  // namespace

struct PointTables::State {
  TableFiles Files;
  std::vector<ImageFrame> vFrames;
  std::vector<IopRecord> Iop;
  PassViews Views;
  std::span<const uint8_t> LeftOut;
  ObjectFrame Frame;
  double fPerUnit = 1;                   ///< pixels of a working unit
  std::vector<std::string> vImageNames;  ///< as fields
  int nThreads = 1;
  int64_t nCloud = 0;

  void Make(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
            Piece& piece) const;
  void AddResiduals(const ObjectPointRecord& record, Piece& piece) const;
  void AddPoint(const ObjectPointRecord& record, Piece& piece) const;
  void AddToCloud(const ObjectPointRecord& record, Piece& piece) const;
  void Take(const Piece& piece);
};

PointTables::PointTables(const TableSources& sources, const TableFiles& files)
    : pState(std::make_unique<State>()) {
  State& state = *pState;
  state.Files = files;
  state.vFrames = MakeImageFrames(sources.Pass.Eop);
  state.Iop.assign(sources.Pass.Iop.begin(), sources.Pass.Iop.end());
  state.Views = {state.vFrames, state.Iop, sources.Pass.fGrossX, sources.Pass.fGrossY};
  state.LeftOut = sources.Pass.LeftOut;
  state.Frame = sources.Frame;
  state.fPerUnit = 1 / sources.fImageScale;
  state.nThreads = std::max(sources.nThreads, 1);
  for (const std::string& name : sources.vImageNames) AppendCsvName(state.vImageNames.emplace_back(), name);
  state.vImageNames.resize(state.vFrames.size());
}

PointTables::~PointTables() = default;

void PointTables::Begin() {
  if (pState->Files.pResiduals != nullptr)
    pState->Files.pResiduals->Write("image,point,x,y,vx,vy,kept,against\n");
  if (pState->Files.pPoints != nullptr)
    pState->Files.pPoints->Write("point,X,Y,Z,type,rays,kept_rays,rmse,largest_angle\n");
  if (pState->Files.pCloud != nullptr) pState->Files.pCloud->Write(CloudHead(0));
}

void PointTables::Add(std::span<const ObjectPointRecord> points,
                      std::span<const ImagePointRecord> imagePoints) {
  pState->Views.Show(pState->LeftOut, imagePoints);
  const auto count = static_cast<int64_t>(points.size());
  const int64_t pieceNum = (count + kPiecePoints - 1) / kPiecePoints;
  std::vector<Piece> pieces(static_cast<size_t>(ParallelThreadNum(pieceNum, pState->nThreads)));
  ParallelInOrder(
      pieceNum, static_cast<int>(pieces.size()),
      [&](int64_t i, int thread) {
        const int64_t first = i * kPiecePoints, end = std::min(first + kPiecePoints, count);
        pState->Make(points.subspan(static_cast<size_t>(first), static_cast<size_t>(end - first)),
                     imagePoints, pieces[static_cast<size_t>(thread)]);
      },
      [&](int64_t, int thread) { pState->Take(pieces[static_cast<size_t>(thread)]); });
}

void PointTables::End() {
  if (pState->Files.pCloud != nullptr) pState->Files.pCloud->Overwrite(0, CloudHead(pState->nCloud));
}

void PointTables::State::Make(std::span<const ObjectPointRecord> points,
                              std::span<const ImagePointRecord> imagePoints, Piece& piece) const {
  piece.Clear();
  for (const ObjectPointRecord& record : points) {
    piece.Point.Take(record, MeasurementsOf(record, imagePoints), Views);
    if (Files.pResiduals != nullptr) AddResiduals(record, piece);
    if (Files.pPoints != nullptr) AddPoint(record, piece);
    if (Files.pCloud != nullptr && piece.Point.bPlaced) AddToCloud(record, piece);
  }
}

void PointTables::State::AddResiduals(const ObjectPointRecord& record, Piece& piece) const {
  const TablePoint& point = piece.Point;
  std::string& out = piece.szResiduals;
  std::string name;
  AppendCsvName(name, NameOf(record));
  const double* place = point.bPlaced ? point.P : point.Passed.bAll ? point.Passed.All : nullptr;
  for (size_t i = 0; i < point.Passed.vRays.size(); ++i) {
    const ImagePointRecord& measurement = *point.Passed.vMeasurements[i];
    out += vImageNames[static_cast<size_t>(measurement.nImage)];
    out += ',';
    out += name;
    AppendFixed(out, static_cast<double>(measurement.x) * fPerUnit, kPixelDigits);
    AppendFixed(out, static_cast<double>(measurement.y) * fPerUnit, kPixelDigits);
    const ImageCoordinates v =
        place != nullptr ? StrictResidual(point.Passed.vRays[i], place) : ImageCoordinates{NAN, NAN};
    const bool told = std::isfinite(v.x + v.y);
    if (told) {
      AppendFixed(out, v.x * fPerUnit, kPixelDigits);
      AppendFixed(out, v.y * fPerUnit, kPixelDigits);
    } else {
      out += ",,";
    }
    out += point.Passed.vGross[i] == 0 ? ",1," : ",0,";
    if (told) out += point.bPlaced ? "kept" : "all";
    out += '\n';
  }
}

void PointTables::State::AddPoint(const ObjectPointRecord& record, Piece& piece) const {
  const TablePoint& point = piece.Point;
  std::string& out = piece.szPoints;
  AppendCsvName(out, NameOf(record));
  if (point.bPlaced) {
    const Triple place = InFileFrame(Frame, point.P[0], point.P[1], point.P[2]);
    for (const double value : {place.X, place.Y, place.Z}) AppendFixed(out, value, kObjectDigits);
  } else {
    out += ",,,";
  }
  fmt::format_to(std::back_inserter(out), ",{},{},{}", kTypes[TypeOf(record)], point.Passed.vRays.size(),
                 point.nKept);
  if (point.bPlaced) {
    AppendFixed(out, point.fRmse * fPerUnit, kPixelDigits);
    AppendFixed(out, point.Passed.LargestAngle(), kAngleDigits);
  } else {
    out += ",,";
  }
  out += '\n';
}

void PointTables::State::AddToCloud(const ObjectPointRecord& record, Piece& piece) const {
  const TablePoint& point = piece.Point;
  const Triple place = InFileFrame(Frame, point.P[0], point.P[1], point.P[2]);
  for (const double value : {place.X, place.Y, place.Z}) AppendLittle(piece.szCloud, value);
  AppendLittle(piece.szCloud, static_cast<float>(point.fRmse * fPerUnit));
  AppendLittle(piece.szCloud,
               static_cast<uint16_t>(std::min<int64_t>(point.nKept, std::numeric_limits<uint16_t>::max())));
  AppendLittle(piece.szCloud, static_cast<uint8_t>(TypeOf(record)));
  ++piece.nCloud;
}

void PointTables::State::Take(const Piece& piece) {
  if (Files.pResiduals != nullptr) Files.pResiduals->Write(piece.szResiduals);
  if (Files.pPoints != nullptr) Files.pPoints->Write(piece.szPoints);
  if (Files.pCloud != nullptr) Files.pCloud->Write(piece.szCloud);
  nCloud += piece.nCloud;
}

}  // namespace orvo::report
