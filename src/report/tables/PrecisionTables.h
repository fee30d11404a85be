// Tables of the precision of a rigorous run and of the measurements that it left out: precision.csv,
// blunders.csv. Names are fields as AppendCsvName makes them; a number that is none is empty.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace orvo::report {

inline constexpr char kPrecisionName[] = "precision.csv";
inline constexpr char kBlundersName[] = "blunders.csv";

inline constexpr char kPrecisionHeading[] = "kind,name,quantity,value,standard_deviation,unit,note\n";
inline constexpr char kBlundersHeading[] = "image,point,x,y,vx,vy,test_value\n";

struct PrecisionRow {
  const char* szKind = "";  ///< image, camera, control, check, tie
  std::string_view Name;
  std::string_view Quantity;
  double fValue = 0;
  double fDeviation = std::numeric_limits<double>::quiet_NaN();
  std::string_view Unit;
  std::string_view Note;
};

/// Pixels.
struct BlunderRow {
  std::string_view Image, Point;
  double x = 0, y = 0;    ///< as measured
  double vx = 0, vy = 0;  ///< against the other measurements of its point
  double fTest = 0;       ///< see rigorous/BlunderSearch.h
};

/// Append a line with its end.
void AppendPrecisionRow(std::string& out, const PrecisionRow& row);
void AppendBlunderRow(std::string& out, const BlunderRow& row);

}  // namespace orvo::report
