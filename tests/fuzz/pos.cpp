// A file of POS records beside a small project.
#include <cmath>

#include "block/BlockParts.h"
#include "block/PosData.h"
#include "fuzz/Target.h"

namespace {

using orvo::test::BlockParts;

const char kProject[] =
    "6 1 0\n0 4000 3000 0 50000 0 0 0 0 0\n"
    "0 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "1 0\nd/b.tif\n1 0 0 0 1 0 0 0 1\n100 2 3\n"
    "2 0\nd/deleted.tif\n1 0 0 0 1 0 0 0 1\n0 0 0\n"
    "3 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n200 2 3\n"
    "4 0\nd/c.tif\n1 0 0 0 1 0 0 0 1\n200 100 3\n"
    "5 0\nd/d.tif\n1 0 0 0 1 0 0 0 1\n100 100 3\n";

std::string WhatIsWrong(const BlockParts& block) {
  if (block.Images.pPos.size() != static_cast<size_t>(block.Images.nImageFileNum)) return "pPos";
  if (block.Images.pImageGroup.size() != static_cast<size_t>(block.Images.nImageNum)) return "pImageGroup";
  if (block.Images.nGroupNum < 0 || block.Images.nGroupNum > block.Images.nImageNum) return "nGroupNum";
  for (const orvo::PosRecord& pos : block.Images.pPos) {
    for (const double value : {pos.X, pos.Y, pos.Z, pos.fPhi, pos.fOmega, pos.fKappa}) {
      if (!std::isfinite(value)) return "a POS record is not finite";
      if (pos.nStatus == orvo::kPosNotObserved && value != 0) return "a record without a line is not zero";
    }
  }
  std::vector<int32_t> members(static_cast<size_t>(block.Images.nGroupNum), 0);
  for (const int32_t group : block.Images.pImageGroup) {
    if (group < -1 || group >= block.Images.nGroupNum) return "group of an image";
    if (group >= 0) ++members[static_cast<size_t>(group)];
  }
  for (const int32_t count : members) {
    if (count < 2) return "a group of fewer than two images";
  }
  for (const orvo::EopRecord& image : block.Images.Kept()) {
    if (!std::isfinite(image.fTime)) return "fTime";
  }
  return {};
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  static const std::string project = Folder().Write("block.prj", kProject);
  const std::string pos = Folder().Write("pos.txt", {reinterpret_cast<const char*>(data), size});
  for (const bool gps : {true, false}) {
    for (const bool imu : {true, false}) {
      BlockParts block(SmallMachine(int64_t{1} << 40));
      block.Limits.Apply_GPS_Data = gps;
      block.Limits.Apply_IMU_Data = imu;
      if (block.ReadTables(project) != 1) Require("project not read");
      const orvo::PosReading reading{block.Settings, block.Limits, block.Images,
                                     block.Inputs,   block.System, block.Log};
      if (!MatchPosData(pos, reading)) Require("result");
      Require(WhatIsWrong(block));
    }
  }
  return 0;
}
