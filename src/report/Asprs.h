// What the check points say by the ASPRS Positional Accuracy Standards for Digital Geospatial Data, edition 2
// (2023, version 2 of 2024).
//
// Its rules, as far as they concern a bundle block:
//   - at least 30 independent check points;
//   - horizontal: RMSE_H1 = sqrt(RMSE_x^2 + RMSE_y^2) against the check points, vertical: RMSE_V1 = RMSE_z;
//   - the survey's own error belongs to the accuracy: RMSE = sqrt(RMSE_1^2 + RMSE_2^2);
//   - the survey is at least twice as accurate as the class that is stated;
//   - a mean above a quarter of the class, and a difference above three times the class, have to be looked
//     into;
//   - a class is any number of centimetres, and figures at 95 % are no part of it any more.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "report/RunFigures.h"

namespace orvo::report {

inline constexpr int64_t kAsprsCheckPoints = 30;

/// Accuracy in one direction, object units (metres).
struct AsprsAccuracy {
  double fFit = 0;                  ///< RMSE against the check points
  std::optional<double> fSurvey;    ///< of the check points; none where it is not known
  std::optional<double> fAccuracy;  ///< both together; none without fSurvey
  /// Smallest class of two digits in centimetres that fAccuracy meets, and that the survey is good enough
  /// for.
  std::optional<double> fClass;
};

struct AsprsStatement {
  int64_t nCheckPoints = 0;
  AsprsAccuracy Horizontal, Vertical;
  std::vector<std::string> vSentences;  ///< the standard's, in centimetres; empty where its rules don't hold
  std::vector<std::string> vMissing;    ///< why a sentence is left out, and what helps
  std::vector<std::string> vRemarks;    ///< what the standard asks to be looked into
};

/// From the check points' statistics and differences. Lengths are taken for metres.
AsprsStatement StateByAsprs(const GroundFigures& ground);

}  // namespace orvo::report
