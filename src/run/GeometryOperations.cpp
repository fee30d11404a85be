// Preparation, tie points, normalisation, seven parameters.
#include "base/MemoryPurpose.h"
#include "base/TextReader.h"
#include "geometry/Normalization.h"
#include "geometry/Preparation.h"
#include "geometry/SevenParameters.h"
#include "geometry/TiePoints.h"
#include "normal/UnknownStorage.h"
#include "results/GpsDifferences.h"
#include "run/BundleAdjustment.h"
#include "run/RunVerdict.h"

namespace orvo {

int CBundleAdjustment::ComputeTiePoints(int32_t section) {
  orvo::ComputeTiePoints(section, {Images, Cameras, System.ProcessorCount()}, Frame.dCoorScale, Points,
                         Residuals);
  return 1;
}

int CBundleAdjustment::ComputeTiePointsThreaded(int32_t section) {
  orvo::ComputeTiePointsThreaded(section, {Images, Cameras, System.ProcessorCount()}, Points, Log);
  return 1;
}

int CBundleAdjustment::PrepareAdjustment() {
  const MemoryPurpose purpose("the unknowns");
  LayoutFault fault = LayOutUnknowns(Settings, Images, Cameras, Limits, Unknowns);
  if (fault == LayoutFault::None) {
    const bool dense = !Limits.Apply_GPU && !Limits.Apply_PCG_Model;
    const int64_t freeBytes = dense ? System.FreePhysicalBytes() : 0;
    if (!AllocateUnknowns(Unknowns, Images.nGroupNum, dense, freeBytes, Normal)) {
      fault = LayoutFault::TooLarge;
    } else if (Images.nUnknownImageNum < 1 || Unknowns.nUnknownNum == 0) {
      // A project that lost all of its images has nothing to adjust, and must not replace the results of one
      // that had.
      fault = LayoutFault::NoUnknown;
    }
  }
  if (fault != LayoutFault::None) {
    Log.Print("%s", MessageOf(fault));
    return 0;
  }
  if (Points.nControlPointNum >= kControlPointsForTransform) {
    if (ComputeSevenParametersFromGcp(Paths.szGcpPath) != 1) {
      Log.Print("Error! Compute Seven Parameters with GCP failed!\n");
      return -1;
    }
    ApplySevenParameters();
    Frame.bSevenParamApplied = true;
  } else if (Limits.Apply_GPS_Data) {
    ComputeSevenParametersFromGps();
    ApplySevenParameters();
  }
  return 1;
}

int CBundleAdjustment::ComputeNormalization() {
  orvo::ComputeNormalization(Images, Frame);
  return 1;
}

int CBundleAdjustment::NormalizeData() { return orvo::NormalizeData(Limits, Images, Points, Frame) ? 1 : 0; }

int CBundleAdjustment::RestoreData() { return orvo::RestoreData(Limits, Images, Frame, Log) ? 1 : 0; }

int CBundleAdjustment::ComputeSevenParametersFromGps() {
  PositionPairs pairs;
  const bool solved = orvo::ComputeSevenParametersFromGps(Images, Frame, pairs, Log);
  RunVerdict(*this).NoteSimilarity(true, pairs.vSource, pairs.vTarget, {});
  WriteGpsDifferences(Images, solved ? Frame.fSevenParam : nullptr, Paths, Outputs, Log);
  return solved ? 1 : 0;
}

int CBundleAdjustment::ComputeSevenParametersFromGcp(const std::string& gcp) {
  const MemoryPurpose purpose("the similarity onto the control points");
  Log.Print("Read Gcp file...\n");
  TextReader file(&Inputs);
  if (!file.Open(gcp)) {
    Log.Print("Error!Open gcp file falied!\n");
    return -1;
  }
  ObjectPointArray points;
  ImagePointArray measurements;
  if (ReadGcpList(points, measurements, file) != 1 || CheckInputs() == 0) return -1;
  PositionPairs pairs;
  const bool solved = orvo::ComputeSevenParametersFromGcp({points, measurements, Points.nControlPointNum},
                                                          Images, Cameras, Frame, pairs, Log);
  RunVerdict(*this).NoteSimilarity(false, pairs.vSource, pairs.vTarget, std::move(pairs.vNames));
  return solved ? 1 : 0;
}

int CBundleAdjustment::ApplySevenParameters() {
  if (!HoldsTransform(Frame.fSevenParam)) return 1;
  RunVerdict(*this).NoteViews(false);
  orvo::ApplySevenParameters(Frame, Images);
  RunVerdict(*this).NoteViews(true);
  return 1;
}

}  // namespace orvo
