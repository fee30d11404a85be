// The files of a generated block. Every writer returns false when its file could not be written whole.
#pragma once

#include <string>

#include "synthetic/SyntheticTruth.h"
#include "synthetic/TiePointField.h"

namespace orvo {

/// Text project with tie points, or, without a field, the .ovc that has none.
bool WriteSyntheticProject(const std::string& path, const SyntheticTruth& truth, const TiePointField* field);
/// Binary tie points, little-endian.
bool WriteSyntheticOvt(const std::string& path, const SyntheticTruth& truth, const TiePointField& field);
bool WriteSyntheticGcp(const std::string& path, const SyntheticTruth& truth);
/// One line for each image: name, X Y Z, omega phi kappa in degrees, strip ID from 1.
bool WriteSyntheticPos(const std::string& path, const SyntheticTruth& truth);
/// Settings that fit the block. The colon form can't switch the thinning of tie points off.
bool WriteSyntheticXml(const std::string& path, const SyntheticTruth& truth);
bool WriteSyntheticIni(const std::string& path, const SyntheticTruth& truth);
bool WriteSyntheticTruth(const std::string& path, const SyntheticTruth& truth);

}  // namespace orvo
