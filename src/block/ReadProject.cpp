// Cameras and images of a project, and the rules by which they are deleted.
#include <algorithm>

#include "base/MemoryPurpose.h"
#include "block/ProjectRecords.h"
#include "block/ProjectText.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ReadProject(const std::string& project, const std::string& /*gcp*/) {
  const MemoryPurpose purpose("the images and cameras of the project");
  nImageNum = nUnknownImageNum = nCameraNum = nCameraRowNum = 0;
  TextReader file(&Inputs);
  if (!file.Open(project)) {
    LogPrintf("Can not open ovc file!\n");
    return 0;
  }
  const ProjectHeader header = ReadHeader(file);
  nImageFileNum = header.nImageNum;
  nCameraFileNum = header.nCameraNum;
  const auto images = static_cast<size_t>(nImageFileNum), cameras = static_cast<size_t>(nCameraFileNum);
  pEop.assign(images, {});
  pIop.assign(cameras, {});
  pImageIndex.assign(images, -1);
  pCameraIndex.assign(cameras, -1);
  pImageCamera.assign(images, 0);
  pImageOrdinal.assign(images, 0);
  pImageNames.assign(images, {});

  for (size_t camera = 0; camera < cameras; ++camera) {
    if (!MakeIop(ParseCameraLine(file.Next()), Image_Coor_Scale, pIop[static_cast<size_t>(nCameraNum)]))
      continue;
    pCameraIndex[camera] = nCameraNum++;
  }
  std::vector<int32_t> imagesOfCamera(cameras, 0);
  for (int32_t i = 0; i < nImageFileNum; ++i) {
    if (ReadImage(i, imagesOfCamera, file) == 0) return 0;
  }
  if (CheckInputs() == 0) return 0;
  nUnknownImageNum = nImageNum;
  DeleteCamerasWithoutImage(imagesOfCamera);
  if (nImageNum < nCameraNum) {
    LogPrintf("Image number is less than camera\n");
    return -1;
  }
  return 1;
}

int CBundleAdjustment::ReadImage(int32_t ordinal, std::vector<int32_t>& imagesOfCamera, TextReader& file) {
  const ImageBlock image = ReadImageBlock(file);
  if (image.nId < 0) {
    LogPrintf("Image ID invalid!\n");
    nImageNum = 0;
    std::fill(pImageIndex.begin(), pImageIndex.end(), -1);
    return 0;
  }
  const auto i = static_cast<size_t>(ordinal);
  std::copy(std::begin(image.szName), std::end(image.szName), pImageNames[i].sz);

  const auto camera = static_cast<size_t>(image.nCamera);
  if (!image.bComplete || image.nCamera < 0 || camera >= pCameraIndex.size() || pCameraIndex[camera] < 0)
    return 1;
  if (image.X == 0.0 && image.Y == 0.0 && image.Z == 0.0) return 1;
  EopRecord eop;
  if (!MakeEop(image, Object_Coor_Scale, eop)) return 1;
  if (i < pImagePointCount.size() && pImagePointCount[i] < 1) {
    LogPrintf("Warning!There is no point in image %d\n", image.nId);
    LogPrintf("Automatically delete this image %d!\n", image.nId);
    return 1;
  }
  const auto kept = static_cast<size_t>(nImageNum);
  pImageIndex[i] = nImageNum++;
  pImageOrdinal[kept] = ordinal;
  pImageCamera[i] = image.nCamera;
  pEop[kept] = eop;
  ++imagesOfCamera[camera];
  return 1;
}

void CBundleAdjustment::DeleteCamerasWithoutImage(const std::vector<int32_t>& imagesOfCamera) {
  // The walk ends at the number of kept cameras though it goes over places in the project file, and the rows
  // of pIop stay where they are: both deliberate. A camera behind such a hole may lie beyond nCameraNum.
  nCameraRowNum = nCameraNum;
  int32_t withImage = 0;
  for (int32_t camera = 0; camera < nCameraNum; ++camera) {
    if (imagesOfCamera[static_cast<size_t>(camera)] < 1) {
      LogPrintf("Warning!Camera %d has no corresponding image!\n", camera);
      LogPrintf("Automatically delete camera %d!\n", camera);
      pCameraIndex[static_cast<size_t>(camera)] = -1;
    } else {
      ++withImage;
    }
  }
  nCameraNum = withImage;
  if (withImage < nCameraRowNum && AdjustsCameras()) DeleteCamerasBeyondUnknowns(imagesOfCamera);
}

void CBundleAdjustment::DeleteCamerasBeyondUnknowns(const std::vector<int32_t>& imagesOfCamera) {
  nCameraRowNum = nCameraNum;
  for (size_t camera = 0; camera < pCameraIndex.size(); ++camera) {
    if (pCameraIndex[camera] < nCameraNum) continue;
    pCameraIndex[camera] = -1;
    if (imagesOfCamera[camera] < 1) continue;
    LogPrintf("Warning!Camera %d cannot be an unknown behind a deleted camera!\n", static_cast<int>(camera));
    LogPrintf("Automatically delete its %d images!\n", imagesOfCamera[camera]);
  }
  DeleteImagesWithoutCamera();
}

void CBundleAdjustment::DeleteImagesWithoutCamera() {
  int32_t kept = 0;
  for (int32_t n = 0; n < nImageNum; ++n) {
    const int32_t ordinal = pImageOrdinal[static_cast<size_t>(n)];
    int32_t& index = pImageIndex[static_cast<size_t>(ordinal)];
    if (pCameraIndex[static_cast<size_t>(pImageCamera[static_cast<size_t>(ordinal)])] < 0) {
      index = -1;
      continue;
    }
    index = kept;
    pImageOrdinal[static_cast<size_t>(kept)] = ordinal;
    pEop[static_cast<size_t>(kept)] = pEop[static_cast<size_t>(n)];
    ++kept;
  }
  nImageNum = nUnknownImageNum = kept;
}

}  // namespace orvo
