// What must hold of a block after any reader, whatever the files held.
#pragma once

#include <cmath>
#include <cstring>
#include <string>

#include "block/BlockParts.h"

namespace orvo::test {

/// The maps between project ordinals and kept images and cameras. Empty when all is well, else what is wrong.
inline std::string WhatIsWrongWithImages(const BlockParts& block) {
  const auto images = static_cast<size_t>(block.Images.nImageFileNum),
             cameras = static_cast<size_t>(block.Cameras.nCameraFileNum);
  if (block.Images.pEop.size() != images || block.Images.pImageIndex.size() != images ||
      block.Images.pImageCamera.size() != images || block.Images.pImageOrdinal.size() != images ||
      block.Images.pImageNames.size() != images) {
    return "an image table has not the size of the image count";
  }
  if (block.Cameras.pIop.size() != cameras || block.Cameras.pCameraIndex.size() != cameras) {
    return "a camera table has not the size of the camera count";
  }
  if (block.Images.nImageNum < 0 || block.Images.nImageNum > block.Images.nImageFileNum) return "nImageNum";
  if (block.Cameras.nCameraNum < 0 || block.Cameras.nCameraNum > block.Cameras.nCameraFileNum)
    return "nCameraNum";
  if (block.Cameras.UsableNum() > block.Cameras.nCameraFileNum) return "nCameraRowNum";
  if (AdjustsCameras(block.Settings, block.Limits) && block.Cameras.UsableNum() != block.Cameras.nCameraNum) {
    return "cameras that are no unknowns in an adjustment of cameras";
  }
  if (block.Images.nUnknownImageNum != block.Images.nImageNum) return "nUnknownImageNum";
  for (int32_t index : block.Cameras.pCameraIndex) {
    if (index < -1 || index >= block.Cameras.UsableNum()) return "a camera index leaves the kept cameras";
  }
  int32_t kept = 0;
  for (size_t i = 0; i < images; ++i) {
    if (std::memchr(block.Images.pImageNames[i].sz, 0, sizeof block.Images.pImageNames[i].sz) == nullptr)
      return "open image name";
    const int32_t index = block.Images.pImageIndex[i];
    if (index == -1) continue;
    if (index != kept++) return "kept images are not numbered in file order";
    if (block.Images.pImageOrdinal[static_cast<size_t>(index)] != static_cast<int32_t>(i))
      return "pImageOrdinal";
    const int32_t camera = block.Images.pImageCamera[i];
    if (camera < 0 || camera >= block.Cameras.nCameraFileNum) return "camera ordinal of a kept image";
    if (block.Cameras.pCameraIndex[static_cast<size_t>(camera)] < 0) return "kept image on a deleted camera";
    const EopRecord& eop = block.Images.pEop[static_cast<size_t>(index)];
    for (double value : {eop.X, eop.Y, eop.Z, eop.fPhi, eop.fOmega, eop.fKappa}) {
      if (!std::isfinite(value)) return "orientation of a kept image is not finite";
    }
  }
  if (kept != block.Images.nImageNum) return "number of kept images";
  for (int32_t c = 0; c < block.Cameras.UsableNum(); ++c) {
    const IopRecord& iop = block.Cameras.pIop[static_cast<size_t>(c)];
    for (double value : {iop.fFocal, iop.fPrincipalX, iop.fPrincipalY, iop.fK1, iop.fK2}) {
      if (!std::isfinite(value)) return "a kept camera is not finite";
    }
  }
  return {};
}

/// Points and measurements against each other and against the kept images.
inline std::string WhatIsWrongWithPoints(const ImageTable& images, const CameraTable& cameras,
                                         const ObjectPointArray& objectPoints,
                                         const ImagePointArray& imagePoints) {
  const auto imagePointNum = static_cast<int64_t>(imagePoints.size());
  for (const ObjectPointRecord& point : objectPoints) {
    if (std::memchr(point.szName, 0, sizeof point.szName) == nullptr) return "open point name";
    if (point.nImagePointNum < 0 || point.nFirstImagePoint < 0) return "negative range of image points";
    if (point.nFirstImagePoint + point.nImagePointNum > imagePointNum) return "image points behind the end";
    for (int32_t m = 0; m < point.nImagePointNum; ++m) {
      const ImagePointRecord& image = imagePoints[static_cast<size_t>(point.nFirstImagePoint + m)];
      if (&objectPoints[0] + image.nObjectPoint != &point)
        return "an image point does not know its object point";
    }
  }
  for (const ImagePointRecord& image : imagePoints) {
    if (image.nObjectPoint < 0 || static_cast<size_t>(image.nObjectPoint) >= objectPoints.size()) {
      return "nObjectPoint";
    }
    if (image.nImage < -1 || image.nImage >= images.nImageNum) return "nImage";
    if (image.nImage >= 0 && (image.nCamera < 0 || image.nCamera >= cameras.UsableNum())) return "nCamera";
    if (!std::isfinite(image.x) || !std::isfinite(image.y)) return "measurement is not finite";
  }
  return {};
}

/// The section table over `objectPointNum` points.
inline std::string WhatIsWrongWithSections(const PointSectionTable& sections, int64_t objectPointNum) {
  if (sections.Count() < 1) return "no section";
  if (sections.Count() > 1 && sections.Count() > objectPointNum) return "more sections than points";
  int64_t next = 0;
  for (const PointSectionTable::Range& range : sections.ObjectPoints) {
    if (range.nFirst != next) return "gap or overlap between sections";
    if (range.nLast < range.nFirst - 1) return "range runs backwards";
    next = range.nLast + 1;
  }
  return next == objectPointNum ? std::string() : "the sections do not end with the last point";
}

}  // namespace orvo::test
