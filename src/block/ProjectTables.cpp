#include "block/ProjectTables.h"

#include <algorithm>
#include <iterator>

#include "base/MemoryPurpose.h"
#include "base/ReadingFailed.h"
#include "block/ProjectRecords.h"
#include "block/ProjectText.h"

namespace orvo {
namespace {

/// Sizes the tables for what the file holds; nothing is kept yet.
void MakeTables(const ProjectHeader& header, ImageTable& images, CameraTable& cameras) {
  images.nImageFileNum = header.nImageNum;
  cameras.nCameraFileNum = header.nCameraNum;
  const auto imageNum = static_cast<size_t>(header.nImageNum),
             cameraNum = static_cast<size_t>(header.nCameraNum);
  images.pEop.assign(imageNum, {});
  cameras.pIop.assign(cameraNum, {});
  images.pImageIndex.assign(imageNum, -1);
  cameras.pCameraIndex.assign(cameraNum, -1);
  images.pImageCamera.assign(imageNum, 0);
  images.pImageOrdinal.assign(imageNum, 0);
  images.pImageNames.assign(imageNum, {});
  images.vBareNames.clear();
}

void ReadCameras(double imageScale, CameraTable& cameras, TextReader& file) {
  for (int32_t& index : cameras.pCameraIndex) {
    if (!MakeIop(ParseCameraLine(file.Next()), imageScale,
                 cameras.pIop[static_cast<size_t>(cameras.nCameraNum)]))
      continue;
    index = cameras.nCameraNum++;
  }
}

/// False at an image of a negative number, with none kept.
bool ReadImage(const ProjectReading& reading, int32_t ordinal, std::vector<int32_t>& imagesOfCamera,
               TextReader& file) {
  ImageTable& images = reading.Images;
  const CameraTable& cameras = reading.Cameras;
  const ImageBlock image = ReadImageBlock(file);
  if (image.nId < 0) {
    reading.Log.Print("Image ID invalid!\n");
    images.nImageNum = 0;
    std::fill(images.pImageIndex.begin(), images.pImageIndex.end(), -1);
    return false;
  }
  const auto i = static_cast<size_t>(ordinal);
  std::copy(std::begin(image.szName), std::end(image.szName), images.pImageNames[i].sz);
  if (!image.szBareName.empty()) {
    images.vBareNames.resize(i + 1);
    images.vBareNames[i] = image.szBareName;
  }

  const auto camera = static_cast<size_t>(image.nCamera);
  if (!image.bComplete || image.nCamera < 0 || camera >= cameras.pCameraIndex.size() ||
      cameras.pCameraIndex[camera] < 0)
    return true;
  if (image.X == 0.0 && image.Y == 0.0 && image.Z == 0.0) return true;
  EopRecord eop;
  if (!MakeEop(image, reading.Settings.Object_Coor_Scale, eop)) return true;
  if (i < images.pImagePointCount.size() && images.pImagePointCount[i] < 1) {
    reading.Log.Print("Warning!There is no point in image %d\n", image.nId);
    reading.Log.Print("Automatically delete this image %d!\n", image.nId);
    return true;
  }
  const auto kept = static_cast<size_t>(images.nImageNum);
  images.pImageIndex[i] = images.nImageNum++;
  images.pImageOrdinal[kept] = ordinal;
  images.pImageCamera[i] = image.nCamera;
  images.pEop[kept] = eop;
  ++imagesOfCamera[camera];
  return true;
}

void DeleteImagesWithoutCamera(const CameraTable& cameras, ImageTable& images) {
  int32_t kept = 0;
  for (int32_t n = 0; n < images.nImageNum; ++n) {
    const int32_t ordinal = images.pImageOrdinal[static_cast<size_t>(n)];
    int32_t& index = images.pImageIndex[static_cast<size_t>(ordinal)];
    if (cameras.pCameraIndex[static_cast<size_t>(images.pImageCamera[static_cast<size_t>(ordinal)])] < 0) {
      index = -1;
      continue;
    }
    index = kept;
    images.pImageOrdinal[static_cast<size_t>(kept)] = ordinal;
    images.pEop[static_cast<size_t>(kept)] = images.pEop[static_cast<size_t>(n)];
    ++kept;
  }
  images.nImageNum = images.nUnknownImageNum = kept;
}

void DeleteCamerasBeyondUnknowns(const ProjectReading& reading, const std::vector<int32_t>& imagesOfCamera) {
  CameraTable& cameras = reading.Cameras;
  cameras.nCameraRowNum = cameras.nCameraNum;
  for (size_t camera = 0; camera < cameras.pCameraIndex.size(); ++camera) {
    if (cameras.pCameraIndex[camera] < cameras.nCameraNum) continue;
    cameras.pCameraIndex[camera] = -1;
    if (imagesOfCamera[camera] < 1) continue;
    reading.Log.Print("Warning!Camera %d cannot be an unknown behind a deleted camera!\n",
                      static_cast<int>(camera));
    reading.Log.Print("Automatically delete its %d images!\n", imagesOfCamera[camera]);
  }
  DeleteImagesWithoutCamera(cameras, reading.Images);
}

void DeleteCamerasWithoutImage(const ProjectReading& reading, const std::vector<int32_t>& imagesOfCamera) {
  CameraTable& cameras = reading.Cameras;
  // The walk ends at the number of kept cameras though it goes over places in the project file, and the rows
  // of pIop stay where they are: both deliberate. A camera behind such a hole may lie beyond nCameraNum.
  cameras.nCameraRowNum = cameras.nCameraNum;
  int32_t withImage = 0;
  for (int32_t camera = 0; camera < cameras.nCameraNum; ++camera) {
    if (imagesOfCamera[static_cast<size_t>(camera)] < 1) {
      reading.Log.Print("Warning!Camera %d has no corresponding image!\n", camera);
      reading.Log.Print("Automatically delete camera %d!\n", camera);
      cameras.pCameraIndex[static_cast<size_t>(camera)] = -1;
    } else {
      ++withImage;
    }
  }
  cameras.nCameraNum = withImage;
  if (withImage < cameras.nCameraRowNum && AdjustsCameras(reading.Settings, reading.Limits))
    DeleteCamerasBeyondUnknowns(reading, imagesOfCamera);
}

}  // namespace

int ReadProjectTables(const std::string& project, const ProjectReading& reading) {
  const MemoryPurpose purpose("the images and cameras of the project");
  ImageTable& images = reading.Images;
  CameraTable& cameras = reading.Cameras;
  images.nImageNum = images.nUnknownImageNum = cameras.nCameraNum = cameras.nCameraRowNum = 0;
  TextReader file(&reading.Inputs);
  if (!file.Open(project)) {
    reading.Log.Print("Can not open ovc file!\n");
    return 0;
  }
  MakeTables(ReadHeader(file), images, cameras);
  ReadCameras(reading.Settings.Image_Coor_Scale, cameras, file);
  std::vector<int32_t> imagesOfCamera(cameras.pIop.size(), 0);
  for (int32_t i = 0; i < images.nImageFileNum; ++i) {
    if (!ReadImage(reading, i, imagesOfCamera, file)) return 0;
  }
  if (ReadingFailed(reading.Inputs, reading.Log)) return 0;
  images.nUnknownImageNum = images.nImageNum;
  DeleteCamerasWithoutImage(reading, imagesOfCamera);
  if (images.nImageNum < cameras.nCameraNum) {
    reading.Log.Print("Image number is less than camera\n");
    return -1;
  }
  return 1;
}

}  // namespace orvo
