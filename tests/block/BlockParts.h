// The parts of a block that readers work on, without the object of a run.
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "base/OutputLedger.h"
#include "block/GcpPoints.h"
#include "block/ProjectCount.h"
#include "block/ProjectForm.h"
#include "block/ProjectTables.h"
#include "block/SectionPlan.h"
#include "block/SectionPoints.h"
#include "records/ObjectFrame.h"

namespace orvo::test {

struct BlockParts {
  explicit BlockParts(Platform platform, std::FILE* console = nullptr)
      : System(std::move(platform)), Log(console, Outputs.Folder) {}

  AdjustmentSettings Settings;
  RunLimits Limits = LimitsOf(Settings);
  FilePaths Paths;
  Platform System;
  InputFiles Inputs{System.Files};
  OutputLedger Outputs;
  RunLog Log;
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  ObjectFrame Frame;

  bool Count(const std::string& project, const std::string& gcp) {
    NameProjectFiles(project, gcp, Paths);
    return CountProject({Paths, Images, Points, Inputs, System, Log});
  }
  int ReadTables(const std::string& project) {
    return ReadProjectTables(project, {Settings, Limits, Images, Cameras, Inputs, Log});
  }
  /// Divides what was counted.
  void Plan() {
    Points.Sections = PlanPointSections(
        {Images.nImageNum, Cameras.nCameraNum, Points.nObjectPointNum, Points.nImagePointNum},
        &Points.pPointImageCount, System.FreePhysicalBytes(), Log);
  }
  SectionReading Section() { return {Settings, Paths, Images, Cameras, Points, Inputs, System, Log}; }
  GcpReading Gcp() { return {Settings, Images, Cameras, Points, Log}; }
  bool Read(int32_t section, int64_t& count) {
    return ReadSection(
        Section(), section, {Paths.szProjectPath, Paths.szGcpPath}, [] {}, Frame.fGsd, count);
  }
};

}  // namespace orvo::test
