#include "exchange/views/Las.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/LittleEndian.h"

namespace orvo::exchange {
namespace {

constexpr uint16_t kHeaderBytes = 375, kExtraFieldBytes = 192;
constexpr uint16_t kPointBytes = 30 + 4 + 2;  ///< format 6, rms, rays
constexpr uint16_t kWktBit = 1 << 4;
constexpr size_t kPieceBytes = 1 << 16;

struct Box {
  std::array<double, 3> Least, Most;
  int64_t nPoints = 0;
};

void Enlarge(Box& box, const std::vector<StrictPoint>& points) {
  for (const StrictPoint& point : points) {
    if (!point.bSolved) continue;
    for (size_t k = 0; k < 3; ++k) {
      box.Least[k] = box.nPoints == 0 ? point.P[k] : std::min(box.Least[k], point.P[k]);
      box.Most[k] = box.nPoints == 0 ? point.P[k] : std::max(box.Most[k], point.P[k]);
    }
    ++box.nPoints;
  }
}

/// One field of the extra bytes: 9 is a float, 3 an unsigned short.
void AppendExtraField(std::string& out, uint8_t type, const char* name, const char* description) {
  out.append(2, '\0');
  AppendLittle(out, type);
  AppendLittle(out, uint8_t{0});
  AppendFilled(out, name, 32);
  // No-data value, least, most, scale and offset: none of them is said to be there.
  out.append(4 + 5 * 24, '\0');
  AppendFilled(out, description, 32);
}

void AppendRecordHead(std::string& out, const char* user, uint16_t id, size_t bytes,
                      const char* description) {
  AppendLittle(out, uint16_t{0});
  AppendFilled(out, user, 16);
  AppendLittle(out, id);
  AppendLittle(out, static_cast<uint16_t>(bytes));
  AppendFilled(out, description, 32);
}

/// The variable length records; their number is told.
std::string RecordsOf(const LasHead& head, uint32_t& count) {
  std::string out;
  AppendRecordHead(out, "LASF_Spec", 4, 2 * kExtraFieldBytes, "Extra bytes");
  AppendExtraField(out, 9, "rms", "RMS of residuals, pixels");
  AppendExtraField(out, 3, "rays", "Number of measurements");
  count = 1;
  if (head.szWkt.empty()) return out;
  AppendRecordHead(out, "LASF_Projection", 2112, head.szWkt.size() + 1, "OGC WKT");
  out.append(head.szWkt).push_back('\0');
  ++count;
  return out;
}

double Rounded(double value, double scale, double offset) {
  return std::round((value - offset) / scale) * scale + offset;
}

std::string HeaderOf(const Box& box, const LasGrid& grid, const LasHead& head, size_t recordBytes,
                     uint32_t recordNum) {
  std::string out("LASF");
  AppendLittle(out, uint16_t{0});  // file source
  AppendLittle(out, kWktBit);      // global encoding
  out.append(16, '\0');            // project
  AppendLittle(out, uint8_t{1});
  AppendLittle(out, uint8_t{4});
  AppendFilled(out, "OTHER", 32);
  AppendFilled(out, "Orvo", 32);
  AppendLittle(out, static_cast<uint16_t>(head.nDayOfYear));
  AppendLittle(out, static_cast<uint16_t>(head.nYear));
  AppendLittle(out, kHeaderBytes);
  AppendLittle(out, static_cast<uint32_t>(kHeaderBytes + recordBytes));
  AppendLittle(out, recordNum);
  AppendLittle(out, uint8_t{6});
  AppendLittle(out, kPointBytes);
  out.append(4 + 5 * 4, '\0');  // counts of older versions: 0 for this format
  for (const double value : grid.Scale) AppendLittle(out, value);
  for (const double value : grid.Offset) AppendLittle(out, value);
  for (size_t k = 0; k < 3; ++k) {
    AppendLittle(out, Rounded(box.Most[k], grid.Scale[k], grid.Offset[k]));
    AppendLittle(out, Rounded(box.Least[k], grid.Scale[k], grid.Offset[k]));
  }
  out.append(8 + 8 + 4, '\0');  // waveforms, extended records
  AppendLittle(out, static_cast<uint64_t>(box.nPoints));
  AppendLittle(out, static_cast<uint64_t>(box.nPoints));  // all of them first returns
  out.append(14 * 8, '\0');
  return out;
}

void AppendPoint(std::string& out, const StrictPoint& point, bool key, const LasGrid& grid) {
  for (size_t k = 0; k < 3; ++k) {
    AppendLittle(out, static_cast<int32_t>(std::lround((point.P[k] - grid.Offset[k]) / grid.Scale[k])));
  }
  AppendLittle(out, uint16_t{0});                        // intensity
  AppendLittle(out, uint8_t{0x11});                      // return 1 of 1
  AppendLittle(out, static_cast<uint8_t>(key ? 2 : 0));  // flags: key point
  AppendLittle(out, uint8_t{1});                         // class: unclassified
  AppendLittle(out, uint8_t{0});                         // user data
  AppendLittle(out, int16_t{0});                         // scan angle
  AppendLittle(out, uint16_t{0});                        // point source
  AppendLittle(out, 0.0);                                // time
  AppendLittle(out, static_cast<float>(point.Rms()));
  AppendLittle(out,
               static_cast<uint16_t>(std::min<int32_t>(point.nRays, std::numeric_limits<uint16_t>::max())));
}

void WritePoints(const SurveyPoints& points, const std::vector<StrictPoint>& solved, const LasGrid& grid,
                 TextWriter& file) {
  std::string piece;
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    AppendPoint(piece, solved[k], points.Points[k].nType != 0, grid);
    if (piece.size() < kPieceBytes) continue;
    file.Write(piece);
    piece.clear();
  }
  file.Write(piece);
}

}  // namespace

std::optional<LasGrid> GridOf(const std::array<double, 3>& least, const std::array<double, 3>& most,
                              bool degrees) {
  // Half of what 32 bits hold, which leaves the offset free.
  constexpr double kMost = 1e9;
  LasGrid grid;
  for (size_t k = 0; k < 3; ++k) {
    const double middle = least[k] + (most[k] - least[k]) / 2;
    if (!std::isfinite(middle)) return {};
    const bool degree = degrees && k < 2;
    const double step = degree ? 1 : 1000;
    const double offset = std::round(middle / step) * step;
    const double reach = std::max(most[k] - offset, offset - least[k]);
    double units = degree ? 1e9 : 1e4;
    while (reach * units > kMost && units > 1e-6) units /= 10;
    if (!(reach * units <= kMost) || !(std::abs(offset) < 1e15)) return {};
    grid.Scale[k] = 1 / units;
    grid.Offset[k] = offset + 0.0;
  }
  return grid;
}

bool WriteLas(const ViewBlock& view, const LasHead& head, TextWriter& file) {
  Box box{};
  Enlarge(box, view.Tie);
  Enlarge(box, view.Control);
  const auto grid = GridOf(box.Least, box.Most, head.bDegrees);
  if (!grid || head.szWkt.size() + 1 > std::numeric_limits<uint16_t>::max()) return false;
  uint32_t recordNum = 0;
  const std::string records = RecordsOf(head, recordNum);
  file.Write(HeaderOf(box, *grid, head, records.size(), recordNum));
  file.Write(records);
  WritePoints(view.Block.Tie, view.Tie, *grid, file);
  WritePoints(view.Block.Control, view.Control, *grid, file);
  return true;
}

}  // namespace orvo::exchange
