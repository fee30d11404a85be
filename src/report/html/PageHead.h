// What stands above the sections: the block's name, the figures that matter most, the contents.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// How the run is called in a word or two: "good", "doubtful", "unusable", "not judged", "failed".
std::string GradeWord(const RunFigures& figures);
/// The class of the style sheet that goes with it: "good", "doubtful", "unusable" or "".
const char* GradeStyle(const RunFigures& figures);
/// A sign that tells grades apart without colour.
const char* GradeSign(const RunFigures& figures);

/// The block by its project's name, without folders and ending.
std::string BlockName(const RunFigures& figures);

/// <h1> and the tiles. Where nothing was computed, only those that are known.
std::string PageHead(const RunFigures& figures);

}  // namespace orvo::report
