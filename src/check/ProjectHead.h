// Cameras and images of a project, read strictly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "check/StrictLines.h"

namespace orvo {

struct HeadCamera {
  bool bUsable = false;          ///< focal length and principal point are such that it is kept
  bool bDistortionLost = false;  ///< k1 or k2 is too large or missing, and taken for 0
  bool bFurtherLost = false;     ///< marked to have further terms, and they are not five finite numbers
};

struct HeadImage {
  std::string szName;        ///< as POS lines give it
  int32_t nCamera = 0;       ///< ordinal
  bool bAtOrigin = false;    ///< X, Y, Z all 0: left out
  bool bPathGoesOn = false;  ///< behind a blank, which ends the name
};

struct ProjectHead {
  int64_t nPointNum = 0;  ///< as the first line says
  std::vector<HeadCamera> Cameras;
  std::vector<HeadImage> Images;
};

/// Reads up to the last image; the first fault ends it and stays in `lines`. `withPoints`: the first line has
/// to hold a number of points.
ProjectHead ReadProjectHead(StrictLines& lines, bool withPoints);

/// By ordinal: the image is left out, for its position or its camera.
std::vector<bool> LostImages(const ProjectHead& head);

/// What a run over these cameras and images goes on without.
std::vector<Finding> NoteLosses(const ProjectHead& head, const std::string& path);

/// The whole head of a project: its faults, and where there are none, the losses. An .ovc has to end behind
/// the images.
std::vector<Finding> CheckProjectHead(const std::string& path, bool withPoints, ProjectHead& head);

}  // namespace orvo
