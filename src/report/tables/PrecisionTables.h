// Tables of the precision of a rigorous run and of what it left out: precision.csv, blunders.csv. Names are
// fields as AppendCsvName makes them; a number that is none is empty.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace orvo::report {

inline constexpr char kPrecisionName[] = "precision.csv";
inline constexpr char kBlundersName[] = "blunders.csv";

inline constexpr char kPrecisionHeading[] = "kind,name,quantity,value,standard_deviation,unit,note\n";
inline constexpr char kBlundersHeading[] = "kind,image,point,file,line,x,y,z,vx,vy,vz,unit,test_value\n";

inline constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

struct PrecisionRow {
  const char* szKind = "";  ///< image, camera, control, check, tie
  std::string_view Name;
  std::string_view Quantity;
  double fValue = 0;
  double fDeviation = kNoNumber;
  std::string_view Unit;
  std::string_view Note;
};

/// Something that was left out. x and y of a measurement are pixels, those of a control point object units.
struct BlunderRow {
  const char* szKind = "";  ///< measurement, control
  std::string_view Image, Point, File;
  int64_t nLine = 0;                                    ///< of the file; 0: it has none
  double Given[3] = {kNoNumber, kNoNumber, kNoNumber};  ///< as measured, or as in the file
  /// What was given against what the others say.
  double Size[3] = {kNoNumber, kNoNumber, kNoNumber};
  const char* szUnit = "";
  double fTest = kNoNumber;  ///< see rigorous/BlunderSearch.h
};

/// Append a line with its end.
void AppendPrecisionRow(std::string& out, const PrecisionRow& row);
void AppendBlunderRow(std::string& out, const BlunderRow& row);

}  // namespace orvo::report
