// Blocks to thin: their files in both forms, all but the points read, and what is to remain.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "base/ReadingFailed.h"
#include "block/BlockFiles.h"
#include "block/OvtFile.h"
#include "block/ResampleReference.h"
#include "block/Resampling.h"

namespace orvo::test {

/// A tie point as both file forms hold it. Coordinates in file units.
struct FilePoint {
  std::string szName;
  double X = 0, Y = 0, Z = 0;
  int32_t nType = 0;
  std::vector<MeasureText> vMeasures;
};

struct FileBlock {
  std::string szHead;  ///< header without the point count, cameras, images
  int32_t nImageNum = 0, nCameraNum = 0;
  std::vector<FilePoint> vPoints;
  std::string szGcp = "0\n";

  std::string Text() const {
    std::string text = std::to_string(nImageNum) + " " + std::to_string(nCameraNum) + " " +
                       std::to_string(vPoints.size()) + "\n" + szHead;
    char position[200];
    for (const FilePoint& p : vPoints) {
      std::snprintf(position, sizeof position, "%.17g %.17g %.17g", p.X, p.Y, p.Z);
      text += PointText(p.szName, p.nType, p.vMeasures, position);
    }
    return text;
  }
  std::string Ovc() const {
    return std::to_string(nImageNum) + " " + std::to_string(nCameraNum) + " 0\n" + szHead;
  }
  std::string Ovt() const {
    std::vector<OvtPoint> points;
    std::vector<OvtMeasure> measures;
    for (const FilePoint& p : vPoints) {
      points.push_back(MakeOvtPoint(p.szName.c_str(), p.nType, static_cast<int>(p.vMeasures.size()),
                                    static_cast<int>(measures.size())));
      points.back().X = p.X;
      points.back().Y = p.Y;
      points.back().Z = p.Z;
      for (const MeasureText& m : p.vMeasures) {
        measures.push_back({m.image, static_cast<float>(m.x), static_cast<float>(m.y),
                            static_cast<int32_t>(1000 + measures.size())});
      }
    }
    return OvtBytes(points, measures);
  }
};

inline constexpr double kFlyingHeight = 500.0;

/// Nadir images in rows over flat ground and two cameras, points measured with noise, some of them outliers,
/// some repeated exactly. `deletedImage` gets the position that deletes an image, -1 for none.
inline FileBlock MakeRandomBlock(uint32_t seed, int32_t imageNum, int32_t pointNum,
                                 int32_t deletedImage = -1) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  FileBlock block;
  block.nImageNum = imageNum;
  block.nCameraNum = 2;
  block.szHead = "0 4000 3000 0 5000 10 -20 0 1e-9 0\n1 3001 2001 0 4000 -5 7 0 0 0\n";
  std::vector<std::pair<double, double>> centres;
  for (int32_t i = 0; i < imageNum; ++i) {
    centres.push_back({100.0 + i % 5 * 80.0, 100.0 + i / 5 * 90.0});
    const std::string position = i == deletedImage ? "0 0 0"
                                                   : std::to_string(centres.back().first) + " " +
                                                         std::to_string(centres.back().second) + " " +
                                                         std::to_string(kFlyingHeight);
    block.szHead += ImageText(i, i % 2, position);
  }
  for (int32_t p = 0; p < pointNum; ++p) {
    if (p % 10 == 9) {
      // The same again under another name: equal in every cell.
      block.vPoints.push_back(block.vPoints[random() % block.vPoints.size()]);
      block.vPoints.back().szName = std::to_string(p) + "P";
      continue;
    }
    FilePoint point{
        std::to_string(p) + "P", 50 + 500 * unit(random), 50 + 300 * unit(random), 10 * unit(random), 0, {}};
    for (int32_t i = 0; i < imageNum; ++i) {
      const double focal = i % 2 == 0 ? 5000 : 4000;
      const double scale = focal / (kFlyingHeight - point.Z);
      const double noise = p % 17 == 0 ? 30.0 : 1.0;
      // Rounded to a quarter of a pixel, so that equal scores turn up by themselves too.
      const auto rounded = [](double value) { return std::floor(4.0 * value) / 4.0; };
      const double x = rounded((point.X - centres[static_cast<size_t>(i)].first) * scale +
                               noise * (unit(random) - 0.5) + (i % 2 == 0 ? 10 : -5));
      const double y = rounded((point.Y - centres[static_cast<size_t>(i)].second) * scale +
                               noise * (unit(random) - 0.5) + (i % 2 == 0 ? -20 : 7));
      const bool sees =
          std::fabs(x) < (i % 2 == 0 ? 2000 : 1500) && std::fabs(y) < (i % 2 == 0 ? 1500 : 1000);
      if (sees && unit(random) < 0.8) point.vMeasures.push_back({i, x, y});
    }
    block.vPoints.push_back(point);
  }
  return block;
}

struct Form {
  bool bText;
  std::string szName;
};
inline const Form kForms[] = {{true, "text"}, {false, "ovt"}};

inline Thinning ThinningOf(BlockParts& block) {
  return {block.Settings, block.Paths,   block.Images, block.Cameras, block.Points,
          block.Inputs,   block.Outputs, block.System, block.Log};
}

/// The files of a block of which all but the points has been read.
struct ResamplingRun {
  ProjectFiles files;
  LoggedBlock block;
  bool bText;

  ResamplingRun(const FileBlock& content, bool text, int64_t freeBytes = int64_t{1} << 40)
      : block(freeBytes), bText(text) {
    WriteFile(files.szText, content.Text());
    WriteFile(files.szOvc, content.Ovc());
    WriteFile(files.szOvt, content.Ovt());
    WriteFile(files.szGcp, content.szGcp);
    block->Count(bText ? files.szText : files.szOvc, files.szGcp);
    block->ReadTables(bText ? files.szText : files.szOvc);
    block.Log();
  }
  std::string NewOvt() const { return files.folder / "Resampled.ovt"; }
  bool Resample() { return Resample(NewOvt()); }
  bool Resample(const std::string& newOvt) {
    const Thinning thinning = ThinningOf(*block);
    const auto readSection = [this](int32_t section) {
      int64_t count = 0;
      block->Read(section, count);
      return !ReadingFailed(block->Inputs, block->Log);
    };
    const std::string ovt = block->Paths.szOvtPath;
    std::vector<uint8_t> keep;
    return MarkBestPoints(thinning, ovt, readSection, keep) &&
           KeepMarkedPoints(thinning, ovt, files.szGcp, newOvt, keep);
  }
};

/// What the slow form keeps of the points that the form's reader accepts.
inline std::vector<FilePoint> ReferenceKept(const FileBlock& content, BlockParts& block, bool text) {
  std::vector<ReferencePoint> points;
  std::vector<const FilePoint*> accepted;
  std::vector<IopRecord> iop = block.Cameras.pIop;
  for (const FilePoint& p : content.vPoints) {
    ReferencePoint point{p.X, p.Y, p.Z, {}};
    bool complete = true;
    for (const MeasureText& m : p.vMeasures) {
      ReferenceMeasure measure;
      measure.nImage = block.Images.pImageIndex[static_cast<size_t>(m.image)];
      complete = complete && measure.nImage >= 0;
      if (measure.nImage >= 0) {
        measure.nCamera =
            block.Cameras
                .pCameraIndex[static_cast<size_t>(block.Images.pImageCamera[static_cast<size_t>(m.image)])];
        IopRecord& camera = iop[static_cast<size_t>(measure.nCamera)];
        if (std::fabs(m.x) > camera.nImageWidth / 2) {
          camera.nImageWidth = (static_cast<int32_t>(std::fabs(m.x)) + 1) * 2;
        }
        if (std::fabs(m.y) > camera.nImageHeight / 2) {
          camera.nImageHeight = (static_cast<int32_t>(std::fabs(m.y)) + 1) * 2;
        }
      }
      measure.x = static_cast<float>(m.x * block.Settings.Image_Coor_Scale);
      measure.y = static_cast<float>(m.y * block.Settings.Image_Coor_Scale);
      point.vMeasures.push_back(measure);
    }
    if (text && !complete) continue;
    points.push_back(point);
    accepted.push_back(&p);
  }
  const auto keep = ReferenceThinning(
      points, {block.Images.pEop.begin(), block.Images.pEop.begin() + block.Images.nImageNum}, iop,
      block.Settings.Point_Resample_Number, block.Settings.Image_Coor_Scale);
  EXPECT_TRUE(keep.has_value());
  std::vector<FilePoint> kept;
  for (size_t p = 0; keep && p < points.size(); ++p) {
    if ((*keep)[p]) kept.push_back(*accepted[p]);
  }
  return kept;
}

inline int64_t MeasureNum(const std::vector<FilePoint>& points) {
  int64_t sum = 0;
  for (const FilePoint& point : points) sum += static_cast<int64_t>(point.vMeasures.size());
  return sum;
}

/// The block holds these tie points, whole and in order, and nothing between them.
inline void ExpectInMemory(BlockParts& block, const std::vector<FilePoint>& kept) {
  ASSERT_GE(block.Points.pObjectPoints.size(), kept.size());
  int64_t next = 0;
  for (size_t p = 0; p < kept.size(); ++p) {
    const ObjectPointRecord& point = block.Points.pObjectPoints[p];
    ASSERT_EQ(point.szName, kept[p].szName);
    EXPECT_EQ(point.X, kept[p].X);
    EXPECT_EQ(point.nType, kept[p].nType);
    EXPECT_EQ(point.nFirstImagePoint, next);
    ASSERT_EQ(point.nImagePointNum, static_cast<int32_t>(kept[p].vMeasures.size()));
    EXPECT_EQ(block.Points.pPointImageCount[p], point.nImagePointNum);
    for (const MeasureText& m : kept[p].vMeasures) {
      const ImagePointRecord& measure = block.Points.pImagePoints[static_cast<size_t>(next++)];
      EXPECT_EQ(measure.nImage, block.Images.pImageIndex[static_cast<size_t>(m.image)]);
      EXPECT_EQ(measure.nObjectPoint, static_cast<int32_t>(p));
      EXPECT_EQ(measure.x, static_cast<float>(static_cast<double>(static_cast<float>(m.x)) *
                                              block.Settings.Image_Coor_Scale));
      EXPECT_EQ(measure.y, static_cast<float>(static_cast<double>(static_cast<float>(m.y)) *
                                              block.Settings.Image_Coor_Scale));
    }
  }
}

inline bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

/// One image, one cell, points that differ in what the row says.
inline FileBlock OneCellBlock(const std::vector<FilePoint>& points) {
  FileBlock content;
  content.nImageNum = content.nCameraNum = 1;
  content.szHead = "0 4000 3000 0 5000 0 0 0 0 0\n" + ImageText(0, 0, "0 0 500");
  content.vPoints = points;
  return content;
}

}  // namespace orvo::test
