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
  for (const std::string_view text : {std::string_view(row.szKind), row.Image, row.Point, row.File})
    AppendName(out, text);
  if (row.nLine > 0) out += std::to_string(row.nLine);
  out += ',';
  for (const auto& three : {row.Given, row.Size}) {
    for (int k = 0; k < 3; ++k) {
      AppendFixed(out, three[k], kPixelDigits);
      out += ',';
    }
  }
  AppendName(out, row.szUnit);
  AppendFixed(out, row.fTest, kTestDigits);
  out += '\n';
}

}  // namespace orvo::report
