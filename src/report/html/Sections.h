// The sections of the page. Each is whole HTML from <section> to </section>, and empty where the run has
// nothing for it. Its id is the name of the function without "Section", in small letters.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

std::string VerdictSection(const RunFigures& figures);    ///< with rules and remedies
std::string PlanSection(const RunFigures& figures);       ///< centres by strip, footprints, control
std::string CoverageSection(const RunFigures& figures);   ///< rays a ground cell
std::string IterationSection(const RunFigures& figures);  ///< RMSE and corrections
std::string ResidualSection(const RunFigures& figures);   ///< histogram, fields, radius, worst images
std::string GrossSection(const RunFigures& figures);      ///< gross measurements by image
std::string GroundSection(const RunFigures& figures);     ///< control and check points
std::string PosSection(const RunFigures& figures);        ///< GPS differences and drift
std::string CameraSection(const RunFigures& figures);     ///< parameters and distortion
std::string PrecisionSection(const RunFigures& figures);  ///< sigma0, standard deviations, tests
std::string PointSection(const RunFigures& figures);      ///< rays, angles, sparse map
std::string RunSection(const RunFigures& figures);        ///< inputs, settings, times, memory

}  // namespace orvo::report
