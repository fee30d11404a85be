// Cameras and images of a project, and the rules by which they are deleted.
#include <algorithm>

#include "base/MemoryPurpose.h"
#include "block/ProjectRecords.h"
#include "block/ProjectText.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ReadProject(const std::string& project, const std::string& /*gcp*/) {
  const MemoryPurpose purpose("the images and cameras of the project");
  Images.nImageNum = Images.nUnknownImageNum = Cameras.nCameraNum = Cameras.nCameraRowNum = 0;
  TextReader file(&Inputs);
  if (!file.Open(project)) {
    LogPrintf("Can not open ovc file!\n");
    return 0;
  }
  const ProjectHeader header = ReadHeader(file);
  Images.nImageFileNum = header.nImageNum;
  Cameras.nCameraFileNum = header.nCameraNum;
  const auto images = static_cast<size_t>(Images.nImageFileNum),
             cameras = static_cast<size_t>(Cameras.nCameraFileNum);
  Images.pEop.assign(images, {});
  Cameras.pIop.assign(cameras, {});
  Images.pImageIndex.assign(images, -1);
  Cameras.pCameraIndex.assign(cameras, -1);
  Images.pImageCamera.assign(images, 0);
  Images.pImageOrdinal.assign(images, 0);
  Images.pImageNames.assign(images, {});

  for (size_t camera = 0; camera < cameras; ++camera) {
    if (!MakeIop(ParseCameraLine(file.Next()), Settings.Image_Coor_Scale,
                 Cameras.pIop[static_cast<size_t>(Cameras.nCameraNum)]))
      continue;
    Cameras.pCameraIndex[camera] = Cameras.nCameraNum++;
  }
  std::vector<int32_t> imagesOfCamera(cameras, 0);
  for (int32_t i = 0; i < Images.nImageFileNum; ++i) {
    if (ReadImage(i, imagesOfCamera, file) == 0) return 0;
  }
  if (CheckInputs() == 0) return 0;
  Images.nUnknownImageNum = Images.nImageNum;
  DeleteCamerasWithoutImage(imagesOfCamera);
  if (Images.nImageNum < Cameras.nCameraNum) {
    LogPrintf("Image number is less than camera\n");
    return -1;
  }
  return 1;
}

int CBundleAdjustment::ReadImage(int32_t ordinal, std::vector<int32_t>& imagesOfCamera, TextReader& file) {
  const ImageBlock image = ReadImageBlock(file);
  if (image.nId < 0) {
    LogPrintf("Image ID invalid!\n");
    Images.nImageNum = 0;
    std::fill(Images.pImageIndex.begin(), Images.pImageIndex.end(), -1);
    return 0;
  }
  const auto i = static_cast<size_t>(ordinal);
  std::copy(std::begin(image.szName), std::end(image.szName), Images.pImageNames[i].sz);

  const auto camera = static_cast<size_t>(image.nCamera);
  if (!image.bComplete || image.nCamera < 0 || camera >= Cameras.pCameraIndex.size() ||
      Cameras.pCameraIndex[camera] < 0)
    return 1;
  if (image.X == 0.0 && image.Y == 0.0 && image.Z == 0.0) return 1;
  EopRecord eop;
  if (!MakeEop(image, Settings.Object_Coor_Scale, eop)) return 1;
  if (i < Images.pImagePointCount.size() && Images.pImagePointCount[i] < 1) {
    LogPrintf("Warning!There is no point in image %d\n", image.nId);
    LogPrintf("Automatically delete this image %d!\n", image.nId);
    return 1;
  }
  const auto kept = static_cast<size_t>(Images.nImageNum);
  Images.pImageIndex[i] = Images.nImageNum++;
  Images.pImageOrdinal[kept] = ordinal;
  Images.pImageCamera[i] = image.nCamera;
  Images.pEop[kept] = eop;
  ++imagesOfCamera[camera];
  return 1;
}

void CBundleAdjustment::DeleteCamerasWithoutImage(const std::vector<int32_t>& imagesOfCamera) {
  // The walk ends at the number of kept cameras though it goes over places in the project file, and the rows
  // of pIop stay where they are: both deliberate. A camera behind such a hole may lie beyond nCameraNum.
  Cameras.nCameraRowNum = Cameras.nCameraNum;
  int32_t withImage = 0;
  for (int32_t camera = 0; camera < Cameras.nCameraNum; ++camera) {
    if (imagesOfCamera[static_cast<size_t>(camera)] < 1) {
      LogPrintf("Warning!Camera %d has no corresponding image!\n", camera);
      LogPrintf("Automatically delete camera %d!\n", camera);
      Cameras.pCameraIndex[static_cast<size_t>(camera)] = -1;
    } else {
      ++withImage;
    }
  }
  Cameras.nCameraNum = withImage;
  if (withImage < Cameras.nCameraRowNum && AdjustsCameras()) DeleteCamerasBeyondUnknowns(imagesOfCamera);
}

void CBundleAdjustment::DeleteCamerasBeyondUnknowns(const std::vector<int32_t>& imagesOfCamera) {
  Cameras.nCameraRowNum = Cameras.nCameraNum;
  for (size_t camera = 0; camera < Cameras.pCameraIndex.size(); ++camera) {
    if (Cameras.pCameraIndex[camera] < Cameras.nCameraNum) continue;
    Cameras.pCameraIndex[camera] = -1;
    if (imagesOfCamera[camera] < 1) continue;
    LogPrintf("Warning!Camera %d cannot be an unknown behind a deleted camera!\n", static_cast<int>(camera));
    LogPrintf("Automatically delete its %d images!\n", imagesOfCamera[camera]);
  }
  DeleteImagesWithoutCamera();
}

void CBundleAdjustment::DeleteImagesWithoutCamera() {
  int32_t kept = 0;
  for (int32_t n = 0; n < Images.nImageNum; ++n) {
    const int32_t ordinal = Images.pImageOrdinal[static_cast<size_t>(n)];
    int32_t& index = Images.pImageIndex[static_cast<size_t>(ordinal)];
    if (Cameras.pCameraIndex[static_cast<size_t>(Images.pImageCamera[static_cast<size_t>(ordinal)])] < 0) {
      index = -1;
      continue;
    }
    index = kept;
    Images.pImageOrdinal[static_cast<size_t>(kept)] = ordinal;
    Images.pEop[static_cast<size_t>(kept)] = Images.pEop[static_cast<size_t>(n)];
    ++kept;
  }
  Images.nImageNum = Images.nUnknownImageNum = kept;
}

}  // namespace orvo
