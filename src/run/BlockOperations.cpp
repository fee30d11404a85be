// Reading of a block, its sections and POS data; thinning.
#include "base/MemoryPurpose.h"
#include "block/GcpPoints.h"
#include "block/OvtPoints.h"
#include "block/PosData.h"
#include "block/ProjectCount.h"
#include "block/ProjectForm.h"
#include "block/ProjectTables.h"
#include "block/Resampling.h"
#include "block/SectionPlan.h"
#include "block/SectionPoints.h"
#include "block/TextPoints.h"
#include "geometry/Normalization.h"
#include "run/BundleAdjustment.h"
#include "run/InputGate.h"

namespace orvo {

int CBundleAdjustment::PreReadData(const std::string& project, const std::string& gcp) {
  NameProjectFiles(project, gcp, Paths);
  return CountProject({Paths, Images, Points, Inputs, System, Log}) ? 1 : 0;
}

int CBundleAdjustment::ReadProject(const std::string& project, const std::string& /*gcp*/) {
  const int read = ReadProjectTables(project, {Settings, Limits, Images, Cameras, Inputs, Log});
  if (read != 0 && !Chosen.IsRigorous()) TellFurtherTerms(Cameras, project, Guard, Log);
  return read;
}

int CBundleAdjustment::ReadGcpList(ObjectPointArray& objectList, ImagePointArray& imagePointList,
                                   TextReader& file) {
  return ReadGcpFile({Settings, Images, Cameras, Points, Log}, objectList, imagePointList, file);
}

int CBundleAdjustment::PlanSections(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum,
                                    int64_t imagePointNum, const std::vector<int32_t>* counts) {
  Points.Sections = PlanPointSections({imageNum, cameraNum, objectPointNum, imagePointNum}, counts,
                                      System.FreePhysicalBytes(), Log);
  return 1;
}

int CBundleAdjustment::ReadSectionPoints(int32_t section) {
  int64_t count = 0;
  return ReadSectionPoints(section, Paths.szProjectPath, Paths.szGcpPath, count);
}

int CBundleAdjustment::ReadSectionPoints(int32_t section, const std::string& project, const std::string& gcp,
                                         int64_t& count) {
  const SectionReading reading{Settings, Paths, Images, Cameras, Points, Inputs, System, Log};
  // The table of control points is normalised already.
  const auto tiePointsRead = [this] { orvo::NormalizeProjectControl(Frame, Points); };
  return ReadSection(reading, section, {project, gcp}, tiePointsRead, Frame.fGsd, count) ? 1 : 0;
}

int CBundleAdjustment::ReadTextPoints(int32_t section, ObjectPointArray& objectList,
                                      ImagePointArray& imagePointList, TextReader& file) {
  return ReadTextSection({Settings, Paths, Images, Cameras, Points, Inputs, System, Log}, section, objectList,
                         imagePointList, file);
}

int CBundleAdjustment::ReadOvtPoints(int32_t section, int64_t& count, int64_t& imageCount, OvtReader& file) {
  return ReadOvtSection({Settings, Paths, Images, Cameras, Points, Inputs, System, Log}, section, count,
                        imageCount, file);
}

int CBundleAdjustment::ReadGcpPoints(int32_t section, int64_t& count, int64_t& imageCount, TextReader& file) {
  return ReadGcpSection({Settings, Images, Cameras, Points, Log}, section, count, imageCount, file);
}

int CBundleAdjustment::ReadPosData(const std::string& pos) {
  return MatchPosData(pos, {Settings, Limits, Images, Inputs, System, Log}) ? 1 : 0;
}

int CBundleAdjustment::ResamplePoints(const std::string& ovt, const std::string& gcp,
                                      const std::string& newOvt) {
  const MemoryPurpose purpose("the thinned points");
  const Thinning thinning{Settings, Paths, Images, Cameras, Points, Inputs, Outputs, System, Log};
  const auto readSection = [this](int32_t section) {
    ReadSectionPoints(section);
    return CheckInputs() == 1;
  };
  std::vector<uint8_t> keep;
  if (!MarkBestPoints(thinning, ovt, readSection, keep) || !Gate().PointsHold()) return 0;
  return KeepMarkedPoints(thinning, ovt, gcp, newOvt, keep) ? 1 : 0;
}

int CBundleAdjustment::FilterOvtPoints(int64_t total, const std::vector<uint8_t>& keep, int64_t newPointCount,
                                       int64_t& imagePointSum, std::vector<int32_t>& counts,
                                       TextWriter* newFile, OvtReader& source) {
  return KeepOvtPoints({Settings, Images, Cameras, Points, Log}, {total, keep, newPointCount}, imagePointSum,
                       counts, newFile, source)
             ? 1
             : 0;
}

int CBundleAdjustment::FilterTextPoints(int64_t total, const std::vector<uint8_t>& keep,
                                        int64_t& imagePointSum, std::vector<int32_t>& counts,
                                        TextReader& file) {
  return KeepTextPoints({Settings, Images, Cameras, Points, Log}, {total, keep}, imagePointSum, counts, file)
             ? 1
             : 0;
}

int CBundleAdjustment::ReadGcpForResample(int64_t& objectCount, int64_t& imageCount, TextReader& file) {
  AppendGcpFile({Settings, Images, Cameras, Points, Log}, objectCount, imageCount, file);
  return 1;
}

}  // namespace orvo
