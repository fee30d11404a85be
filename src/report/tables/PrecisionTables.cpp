#include "report/tables/PrecisionTables.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

#include "report/tables/CsvName.h"

namespace orvo::report {
namespace {

/// Millimetres of coordinates of ten thousand kilometres.
constexpr int kValueDigits = 12;
constexpr int kDeviationDigits = 4;
constexpr int kPixelDigits = 4, kTestDigits = 3;

void AppendName(std::string& out, std::string_view name) {
  AppendCsvName(out, name);
  out += ',';
}

void AppendNumber(std::string& out, double value, int digits) {
  if (std::isfinite(value)) fmt::format_to(std::back_inserter(out), "{:.{}g}", value, digits);
  out += ',';
}

void AppendFixed(std::string& out, double value, int digits) {
  if (std::isfinite(value)) fmt::format_to(std::back_inserter(out), "{:.{}f}", value, digits);
}

}  // namespace

void AppendPrecisionRow(std::string& out, const PrecisionRow& row) {
  AppendName(out, row.szKind);
  AppendName(out, row.Name);
  AppendName(out, row.Quantity);
  AppendNumber(out, row.fValue, kValueDigits);
  AppendNumber(out, row.fDeviation, kDeviationDigits);
  AppendName(out, row.Unit);
  AppendCsvName(out, row.Note);
  out += '\n';
}

void AppendBlunderRow(std::string& out, const BlunderRow& row) {
  AppendName(out, row.Image);
  AppendName(out, row.Point);
  for (const double value : {row.x, row.y, row.vx, row.vy}) {
    AppendFixed(out, value, kPixelDigits);
    out += ',';
  }
  AppendFixed(out, row.fTest, kTestDigits);
  out += '\n';
}

}  // namespace orvo::report
