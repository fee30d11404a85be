#include "block/PosData.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/MemoryPurpose.h"
#include "base/PrintableName.h"
#include "base/TextReader.h"
#include "block/ImageNameIndex.h"
#include "block/PosLine.h"
#include "block/StripGroups.h"

namespace orvo {
namespace {

/// Strip IDs up to here are listed in the log whether they occur or not; beyond, a single large ID would fill
/// the disk, and only those that occur are listed.
constexpr int32_t kLargestListedStrip = 100000;

std::vector<std::string_view> NamesOf(const std::vector<ImageShortName>& table) {
  std::vector<std::string_view> names;
  names.reserve(table.size());
  for (const auto& name : table) names.emplace_back(name.sz, strnlen(name.sz, sizeof(name.sz)));
  return names;
}

/// The values that the run takes from the line are numbers.
bool IsUsable(const PosLine& line, bool gps, bool imu) {
  const bool position = std::isfinite(line.X) && std::isfinite(line.Y) && std::isfinite(line.Z);
  const bool angles = std::isfinite(line.fOmega) && std::isfinite(line.fPhi) && std::isfinite(line.fKappa);
  return (position || !gps) && (angles || !imu);
}

double FiniteOr0(double value) { return std::isfinite(value) ? value : 0; }

PosRecord RecordOf(const PosLine& line) {
  PosRecord record;
  record.X = FiniteOr0(line.X);
  record.Y = FiniteOr0(line.Y);
  record.Z = FiniteOr0(line.Z);
  record.fPhi = FiniteOr0(PosRadians(line.fPhi));
  record.fOmega = FiniteOr0(PosRadians(line.fOmega));
  record.fKappa = FiniteOr0(PosRadians(line.fKappa));
  return record;
}

void MatchPosLines(const PosReading& reading, TextReader& file, std::vector<int32_t>& stripOfImage) {
  const double startTick = reading.System.TickMilliseconds();
  const std::vector<std::string_view> names = NamesOf(reading.Images.pImageNames);
  const ImageNameIndex index(names);
  PosLine line;
  std::string_view text;
  while (file.Next(text)) {
    if (!ReadPosLine(text, line)) continue;
    const int32_t ordinal = index.Find(line.szName);
    if (ordinal < 0 || static_cast<size_t>(ordinal) >= stripOfImage.size()) {
      reading.Log.Print("Can not find this image name in the project file:%s\n",
                        PrintableName(line.szName).c_str());
      continue;
    }
    if (!IsUsable(line, reading.Limits.Apply_GPS_Data, reading.Limits.Apply_IMU_Data)) continue;
    stripOfImage[static_cast<size_t>(ordinal)] = line.nStrip;
    const int32_t image = reading.Images.pImageIndex[static_cast<size_t>(ordinal)];
    if (image >= 0 && static_cast<size_t>(image) < reading.Images.pPos.size()) {
      reading.Images.pPos[static_cast<size_t>(image)] = RecordOf(line);
    }
  }
  reading.Log.Print("Find image name elapsed time:%lfs\n",
                    (reading.System.TickMilliseconds() - startTick) / 1000.0);
}

void LogStrips(RunLog& log, const std::vector<StripCount>& strips) {
  const int64_t largest = strips.back().nStrip;
  log.Print("Total group number:%lld\n", static_cast<long long>(largest) + 1);
  int64_t next = 0;
  for (const StripCount& strip : strips) {
    for (; largest <= kLargestListedStrip && next < strip.nStrip; ++next) {
      log.Print("Strip ID and image number:%d %d\n", static_cast<int32_t>(next), 0);
    }
    log.Print("Strip ID and image number:%d %d\n", strip.nStrip, strip.nImageNum);
    next = int64_t{strip.nStrip} + 1;
  }
}

/// Fills pImageGroup from the strips and warns of images without.
void AssignGroups(const PosReading& reading, const std::vector<StripCount>& strips,
                  const std::vector<int32_t>& stripOfImage) {
  int32_t assigned = 0;
  for (size_t ordinal = 0; ordinal < stripOfImage.size(); ++ordinal) {
    const int32_t image = reading.Images.pImageIndex[ordinal];
    if (image < 0) continue;
    const int32_t group = GroupOfStrip(strips, stripOfImage[ordinal]);
    if (image >= reading.Images.nImageNum) {
      reading.Log.Print("==========================Error!\n");
      if (group >= 0) reading.Log.Print("Image ID invalid!\n");
      continue;
    }
    reading.Images.pImageGroup[static_cast<size_t>(image)] = group;
    if (group >= 0) ++assigned;
  }
  if (assigned < reading.Images.nImageNum) reading.Log.Print("Warning!Part of images have no strip ID!\n");
}

}  // namespace

bool MatchPosData(const std::string& pos, const PosReading& reading) {
  const MemoryPurpose purpose("the POS records");
  ImageTable& images = reading.Images;
  TextReader file(&reading.Inputs);
  if (pos.empty() || !file.Open(pos, kReadOnce)) {
    reading.Log.Print("%s\n", pos.empty() ? "POS file is NULL!" : "Open POS file failed!");
    reading.Limits.Apply_GPS_Data = reading.Limits.Apply_IMU_Data = false;
    return false;
  }
  PosRecord none;
  none.nStatus = kPosNotObserved;
  images.pPos.assign(images.pImageIndex.size(), none);
  images.pImageGroup.resize(static_cast<size_t>(images.nImageNum), 0);
  std::vector<int32_t> stripOfImage(images.pImageIndex.size(), -1);
  MatchPosLines(reading, file, stripOfImage);

  const std::vector<StripCount> strips = FormStripGroups(stripOfImage, images.pImageIndex);
  if (strips.empty() || strips.back().nStrip < 1) {
    images.nGroupNum = 1;
    return true;
  }
  LogStrips(reading.Log, strips);
  images.nGroupNum = CountGroups(strips);
  reading.Log.Print("New group number:%d\n", images.nGroupNum);
  AssignGroups(reading, strips, stripOfImage);
  for (int32_t image = 0; image < images.nImageNum; ++image) {
    if (images.pImageGroup[static_cast<size_t>(image)] < 0)
      reading.Log.Print("Warning!Image %d have no strip ID!\n", image);
  }
  ComputeStripTimes(images.pImageGroup, images.nGroupNum, reading.Settings.Aircraft_Speed,
                    {images.pEop.data(), static_cast<size_t>(images.nImageNum)});
  return true;
}

}  // namespace orvo
