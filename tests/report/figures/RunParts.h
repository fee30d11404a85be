// The parts of a run over a FigureBlock.
#pragma once

#include <cstring>
#include <string>

#include "FigureBlock.h"
#include "report/FiguresOfRun.h"

namespace orvo::report::test {

struct RunParts {
  explicit RunParts(const FigureBlock& block) {
    Images.pEop = block.Eop;
    Images.nImageNum = Images.nImageFileNum = Images.nUnknownImageNum =
        static_cast<int32_t>(block.Eop.size());
    for (int32_t i = 0; i < Images.nImageNum; ++i) {
      Images.pImageIndex.push_back(i);
      Images.pImageOrdinal.push_back(i);
      Images.pImageNames.emplace_back();
      std::strcpy(Images.pImageNames.back().sz, ("IMG" + std::to_string(i)).c_str());
    }
    Images.pImageCamera = block.CameraOf;
    Cameras.pIop = block.Iop;
    Cameras.nCameraNum = Cameras.nCameraRowNum = Cameras.nCameraFileNum =
        static_cast<int32_t>(block.Iop.size());
    for (int32_t i = 0; i < Cameras.nCameraNum; ++i) Cameras.pCameraIndex.push_back(i);
    Points.nTiePointNum = Points.nObjectPointNum = std::ssize(block.Points);
    Points.nImagePointNum = std::ssize(block.Rays);
    Residuals.fRmsResidualX = Residuals.fRmsResidualY = 0.5 * kScale;
    Residuals.fMeanResidualX = 0.125 * kScale;
    Residuals.nValidImagePointNum = 17;
  }

  /// GPS positions where the images are, in strips of so many, and drift parameters of 0.
  void AddPos(int32_t perStrip) {
    Limits.Apply_GPS_Data = true;
    Unknowns.nPosSize = (Limits.Correct_Const_Error ? 3 : 0) + (Limits.Correct_LinearError ? 3 : 0);
    for (int32_t i = 0; i < Images.nImageNum; ++i) {
      const auto at = static_cast<size_t>(i);
      Images.pEop[at].fTime = 2.0 * (i % perStrip);
      Images.pPos.push_back(Images.pEop[at]);
      Images.pPos.back().nStatus = 0;
      Images.pImageGroup.push_back(i / perStrip);
    }
    Images.nGroupNum = Images.pImageGroup.back() + 1;
    PosParams.assign(static_cast<size_t>(Images.nGroupNum * Unknowns.nPosSize), 0);
  }

  FigureSources Sources() const {
    return {Settings, Limits, Images, Cameras, Points, Unknowns, Frame, Residuals, PosParams, Track};
  }

  RunFigures FromPass(const FigureBlock& block) const {
    FigurePass pass(FigurePassInputOf(Sources()), 2);
    pass.Add(block.Points, block.Rays);
    RunFigures figures;
    FillFromPass(Sources(), pass, figures);
    return figures;
  }

  AdjustmentSettings Settings;
  RunLimits Limits;
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  UnknownCounts Unknowns;
  ObjectFrame Frame;
  ResidualStatistics Residuals;
  std::vector<double> PosParams;
  RunTrack Track;
};

}  // namespace orvo::report::test
