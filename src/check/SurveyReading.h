// A block read from its files, with everything that is wrong with them.
#pragma once

#include <string>

#include "check/BlockCheck.h"
#include "check/Diagnosis.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Reads a project (text, or .ovc with its .ovt), a GCP file and a POS file, each in one pass, and notes what
/// is wrong with their form and their references (codes S and R). Empty paths are left out; szOvt is filled
/// in for an .ovc.
///
/// False where the block can't be used for anything further: a file can't be read, or ends before its counts.
/// Otherwise what is at fault is left out of the measurements, and numbers of cameras and images are as in
/// the file. A measurement takes at most 64 bytes of memory.
bool ReadSurvey(SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis);

/// Reads a GCP and a POS file whose project is not at hand, in the same way: their ordinals and names are
/// held to no images. Empty paths are left out, and so is the project. False where a file can't be read, or
/// ends before its counts.
bool ReadSurveyAlone(const SurveyFiles& files, SurveyBlock& block, Diagnosis& diagnosis);

}  // namespace orvo
