// POS records matched to the images by name, and the strip groups that follow from them.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/MemoryPurpose.h"
#include "base/PrintableName.h"
#include "base/TextReader.h"
#include "block/ImageNameIndex.h"
#include "block/PosLine.h"
#include "block/StripGroups.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

/// Strip IDs up to here are listed in the log whether they occur or not; beyond, a single large ID would fill
/// the disk, and only those that occur are listed.
constexpr int32_t kLargestListedStrip = 100000;

std::vector<std::string_view> NamesOf(const std::vector<ImageName>& table) {
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

void MatchPosLines(CBundleAdjustment& block, TextReader& file, std::vector<int32_t>& stripOfImage) {
  const double startTick = block.System.TickMilliseconds();
  const std::vector<std::string_view> names = NamesOf(block.Images.pImageNames);
  const ImageNameIndex index(names);
  PosLine line;
  std::string_view text;
  while (file.Next(text)) {
    if (!ReadPosLine(text, line)) continue;
    const int32_t ordinal = index.Find(line.szName);
    if (ordinal < 0 || static_cast<size_t>(ordinal) >= stripOfImage.size()) {
      block.LogPrintf("Can not find this image name in the project file:%s\n",
                      PrintableName(line.szName).c_str());
      continue;
    }
    if (!IsUsable(line, block.Limits.Apply_GPS_Data, block.Limits.Apply_IMU_Data)) continue;
    stripOfImage[static_cast<size_t>(ordinal)] = line.nStrip;
    const int32_t image = block.Images.pImageIndex[static_cast<size_t>(ordinal)];
    if (image >= 0 && static_cast<size_t>(image) < block.Images.pPos.size()) {
      block.Images.pPos[static_cast<size_t>(image)] = RecordOf(line);
    }
  }
  block.LogPrintf("Find image name elapsed time:%lfs\n",
                  (block.System.TickMilliseconds() - startTick) / 1000.0);
}

void LogStrips(CBundleAdjustment& block, const std::vector<StripCount>& strips) {
  const int64_t largest = strips.back().nStrip;
  block.LogPrintf("Total group number:%lld\n", static_cast<long long>(largest) + 1);
  int64_t next = 0;
  for (const StripCount& strip : strips) {
    for (; largest <= kLargestListedStrip && next < strip.nStrip; ++next) {
      block.LogPrintf("Strip ID and image number:%d %d\n", static_cast<int32_t>(next), 0);
    }
    block.LogPrintf("Strip ID and image number:%d %d\n", strip.nStrip, strip.nImageNum);
    next = int64_t{strip.nStrip} + 1;
  }
}

/// Fills pImageGroup from the strips and warns of images without.
void AssignGroups(CBundleAdjustment& block, const std::vector<StripCount>& strips,
                  const std::vector<int32_t>& stripOfImage) {
  int32_t assigned = 0;
  for (size_t ordinal = 0; ordinal < stripOfImage.size(); ++ordinal) {
    const int32_t image = block.Images.pImageIndex[ordinal];
    if (image < 0) continue;
    const int32_t group = GroupOfStrip(strips, stripOfImage[ordinal]);
    if (image >= block.Images.nImageNum) {
      block.LogPrintf("==========================Error!\n");
      if (group >= 0) block.LogPrintf("Image ID invalid!\n");
      continue;
    }
    block.Images.pImageGroup[static_cast<size_t>(image)] = group;
    if (group >= 0) ++assigned;
  }
  if (assigned < block.Images.nImageNum) block.LogPrintf("Warning!Part of images have no strip ID!\n");
}

}  // namespace

int CBundleAdjustment::ReadPosData(const std::string& pos) {
  const MemoryPurpose purpose("the POS records");
  TextReader file(&Inputs);
  if (pos.empty() || !file.Open(pos, kReadOnce)) {
    LogPrintf(pos.empty() ? "POS file is NULL!\n" : "Open POS file failed!\n");
    Limits.Apply_GPS_Data = Limits.Apply_IMU_Data = false;
    return 0;
  }
  PosRecord none;
  none.nStatus = kPosNotObserved;
  Images.pPos.assign(Images.pImageIndex.size(), none);
  Images.pImageGroup.resize(static_cast<size_t>(Images.nImageNum), 0);
  std::vector<int32_t> stripOfImage(Images.pImageIndex.size(), -1);
  MatchPosLines(*this, file, stripOfImage);

  const std::vector<StripCount> strips = FormStripGroups(stripOfImage, Images.pImageIndex);
  if (strips.empty() || strips.back().nStrip < 1) {
    Images.nGroupNum = 1;
    return 1;
  }
  LogStrips(*this, strips);
  Images.nGroupNum = CountGroups(strips);
  LogPrintf("New group number:%d\n", Images.nGroupNum);
  AssignGroups(*this, strips, stripOfImage);
  for (int32_t image = 0; image < Images.nImageNum; ++image) {
    if (Images.pImageGroup[static_cast<size_t>(image)] < 0)
      LogPrintf("Warning!Image %d have no strip ID!\n", image);
  }
  ComputeStripTimes(Images.pImageGroup, Images.nGroupNum, Settings.Aircraft_Speed,
                    {Images.pEop.data(), static_cast<size_t>(Images.nImageNum)});
  return 1;
}

}  // namespace orvo
