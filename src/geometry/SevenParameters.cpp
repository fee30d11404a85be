// Seven parameters of the block: from control points, from GPS positions, and their application to the
// images.
#include <algorithm>
#include <cmath>

#include "base/MemoryPurpose.h"
#include "base/OutputFiles.h"
#include "base/TextReader.h"
#include "geometry/Intersection.h"
#include "geometry/Similarity.h"
#include "run/BundleAdjustment.h"
#include "verdict/VerdictOfRun.h"

namespace orvo {
namespace {

constexpr size_t kLeastGcpNum = 3;

template <typename Record>
Position PositionOf(const Record& record) {
  return {record.X, record.Y, record.Z};
}

bool IsFinite(const Position& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

/// The matched sets, target[i] for source[i].
struct PositionPairs {
  std::vector<Position> vSource, vTarget;

  void Add(const Position& source, const Position& target) {
    if (!IsFinite(source) || !IsFinite(target)) return;
    vSource.push_back(source);
    vTarget.push_back(target);
  }
};

/// Rays of one image alone meet anywhere along their length, wherever rounding errors put it.
bool IsSeenFromTwoImages(const ObjectPointRecord& point, std::span<const ImagePointRecord> imagePoints,
                         std::span<const EopRecord> eop, std::span<const IopRecord> iop) {
  int32_t first = -1;
  for (int32_t m = 0; m < point.nImagePointNum; ++m) {
    const ImagePointRecord& measurement = imagePoints[static_cast<size_t>(point.nFirstImagePoint + m)];
    if (!IsOnKeptImage(measurement, eop, iop)) continue;
    if (first >= 0 && measurement.nImage != first) return true;
    first = measurement.nImage;
  }
  return false;
}

void WriteGpsLine(TextWriter& file, const Position& own, const Position& gps) {
  file.Printf("%lf\t %lf\t %lf\t %lf\t %lf\t %lf\n", own[0], own[1], own[2], gps[0], gps[1], gps[2]);
}

}  // namespace

int CBundleAdjustment::ComputeSevenParametersFromGps() {
  PositionPairs pairs;
  for (size_t i = 0; i < Images.Kept().size(); ++i) {
    if (i >= Images.pPos.size()) {
      LogPrintf("Error!=================\n");
      continue;
    }
    // All zero: an image without a line in the POS file.
    if (Images.pPos[i].X == 0 && Images.pPos[i].Y == 0 && Images.pPos[i].Z == 0) continue;
    pairs.Add(PositionOf(Images.pEop[i]), PositionOf(Images.pPos[i]));
  }

  NoteSimilarity(*this, true, pairs.vSource, pairs.vTarget, {});
  double parameters[SevenParameterNum];
  const int solved = SolveSevenParametersFromAnyKappa(pairs.vSource, pairs.vTarget, parameters);
  if (solved == 1) {
    std::copy_n(parameters, SevenParameterNum, Frame.fSevenParam);
  } else {
    LogPrintf("Calculate seven parameters from GPS data failed!%d\n", 0);
  }

  TextWriter file;
  if (!OpenOutput(Outputs.Folder, file, JoinPath(Paths.szOutputPath, "Test.txt"))) {
    ++Outputs.nOutputFailureNum;
    return solved;
  }
  for (size_t i = 0; i < Images.Kept().size(); ++i) {
    if (i >= Images.pPos.size()) {
      LogPrintf("Error!=================\n");
      continue;
    }
    const Position own = PositionOf(Images.pEop[i]);
    Position gps = PositionOf(Images.pPos[i]);
    if (solved == 1) {
      Position moved;
      TransformPoints({&own, 1}, parameters, {&moved, 1});
      gps = {moved[0] - gps[0], moved[1] - gps[1], moved[2] - gps[2]};
    }
    WriteGpsLine(file, own, gps);
  }
  if (!CloseOutput(Outputs.Folder, file)) ++Outputs.nOutputFailureNum;
  return solved;
}

int CBundleAdjustment::ComputeSevenParametersFromGcp(const std::string& gcp) {
  const MemoryPurpose purpose("the similarity onto the control points");
  LogPrintf("Read Gcp file...\n");
  TextReader file(&Inputs);
  if (!file.Open(gcp)) {
    LogPrintf("Error!Open gcp file falied!\n");
    return -1;
  }
  std::vector<ObjectPointRecord> objectList;
  std::vector<ImagePointRecord> imagePointList;
  if (ReadGcpList(objectList, imagePointList, file) != 1 || CheckInputs() == 0) return -1;
  if (objectList.size() < kLeastGcpNum) {
    LogPrintf("Gcp number less than %d\n", static_cast<int>(kLeastGcpNum));
    return 0;
  }
  LogPrintf("Gcp number:%d\n", static_cast<int>(objectList.size()));

  PositionPairs pairs;
  std::vector<std::string> names;
  for (const ObjectPointRecord& given : objectList) {
    if (given.nType != 1) continue;
    if (!IsSeenFromTwoImages(given, imagePointList, Images.Kept(), Cameras.Usable())) continue;
    ObjectPointRecord point = given;
    // A point that can't be intersected keeps its coordinates; these make sure that it gives no pair.
    point.X = point.Y = point.Z = std::nan("");
    IntersectPoints(1, &point, imagePointList, Images.Kept(), Cameras.Usable());
    pairs.Add(PositionOf(point), PositionOf(given));
    if (names.size() < pairs.vSource.size()) names.emplace_back(given.szName);
  }
  NoteSimilarity(*this, false, pairs.vSource, pairs.vTarget, std::move(names));
  if (SolveSevenParametersFromAnyKappa(pairs.vSource, pairs.vTarget, Frame.fSevenParam) != 1) {
    LogPrintf("Calculate seven parameters failed!%d\n", Points.nControlPointNum);
    std::fill_n(Frame.fSevenParam, SevenParameterNum, 0.0);
    return 0;
  }
  LogPrintf("Calculate seven parameters successed!%d\n", Points.nControlPointNum);
  return 1;
}

int CBundleAdjustment::ApplySevenParameters() {
  // After failed starts there is nothing to apply; all-zero parameters would turn every position into
  // not-a-number.
  if (!HoldsTransform(Frame.fSevenParam)) return 1;
  NoteViews(*this, false);
  for (size_t i = 0; i < Images.Kept().size(); ++i) {
    EopRecord& image = Images.pEop[i];
    Position position = PositionOf(image);
    TransformPoints({&position, 1}, Frame.fSevenParam, {&position, 1});
    image.X = position[0];
    image.Y = position[1];
    image.Z = position[2];
    RotateEop(Frame.fSevenParam, image.fPhi, image.fOmega, image.fKappa);
  }
  NoteViews(*this, true);
  return 1;
}

}  // namespace orvo
