#include "block/Resampling.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <span>

#include "base/OutputFiles.h"
#include "base/PrintableName.h"
#include "base/ReadingFailed.h"
#include "base/TextReader.h"
#include "base/Threads.h"
#include "block/GcpPoints.h"
#include "block/OvtFile.h"
#include "block/ResampleOffers.h"
#include "block/SectionPlan.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

/// Object points of one piece of work.
constexpr int64_t kPiecePoints = 4096;

// Grids of this size are taken for sensible whatever the free memory is said to be.
constexpr double kAlwaysAllowedBytes = 1073741824.0;

bool CellsFitMemory(int32_t cellsPerSide, int32_t imageNum, int64_t freeBytes) {
  const double bytes =
      static_cast<double>(ResampleCells::kBytesPerCell) * cellsPerSide * cellsPerSide * imageNum;
  return bytes <= std::max(kAlwaysAllowedBytes, 0.8 * static_cast<double>(freeBytes));
}

std::vector<ResampleView> MakeViews(std::span<const EopRecord> eop) {
  std::vector<ResampleView> views(eop.size());
  for (size_t i = 0; i < eop.size(); ++i) {
    views[i].X = eop[i].X;
    views[i].Y = eop[i].Y;
    views[i].Z = eop[i].Z;
    ComputeRotationMatrix(eop[i].fPhi, eop[i].fOmega, eop[i].fKappa, views[i].R);
  }
  return views;
}

/// Marks the points that hold a cell, those of `cellsPerImage` cells in each image.
void MarkWinners(const ResampleCells& cells, int64_t cellsPerImage, std::vector<uint8_t>& keep, RunLog& log) {
  const auto total = static_cast<int64_t>(keep.size());
  for (int64_t cell = 0; cell < cells.CellNum(); ++cell) {
    const int32_t number = cells.Number(cell);
    if (number <= 0) continue;
    if (number > total) {
      log.Print("Error!Object point ID out of range!%d %" PRId64 " %" PRId64 "\n", number,
                cell / cellsPerImage, cell % cellsPerImage);
      continue;
    }
    keep[static_cast<size_t>(number) - 1] = 1;
  }
}

/// One section of the points in memory and those of the GCP file. False, with a message, where their numbers
/// are not those that were counted.
bool MakeResampledSection(const Thinning& thinning, const std::string& gcp, int64_t imagePointSum) {
  PointStore& points = thinning.Points;
  thinning.Log.Print(">>>>Reading gcp file...\n");
  TextReader file(&thinning.Inputs);
  if (!file.Open(gcp)) thinning.Log.Print("Open gcp file falied!\n");
  auto objectCount = static_cast<int64_t>(points.pObjectPoints.size());
  const int64_t keptInMemory = objectCount;
  int64_t imageCount = imagePointSum;
  AppendGcpFile({thinning.Settings, thinning.Images, thinning.Cameras, points, thinning.Log}, objectCount,
                imageCount, file);
  if (ReadingFailed(thinning.Inputs, thinning.Log)) return false;
  if (keptInMemory + objectCount != points.nObjectPointNum) {
    thinning.Log.Print("Error!GCP number is unexpected!\n");
    return false;
  }
  if (imagePointSum + imageCount != points.nImagePointNum) {
    thinning.Log.Print("Error!GCP image point number is unexpected!\n");
    return false;
  }
  // Lines that hold no measurement were counted and are not there.
  points.nImagePointNum = static_cast<int64_t>(points.pImagePoints.size());
  points.Sections.ObjectPoints.assign(1, {0, points.nObjectPointNum - 1});
  points.Sections.ImagePoints.assign(1, {0, points.nImagePointNum - 1});
  points.nCurrentSection = 0;
  return true;
}

}  // namespace

bool OfferSectionPoints(const Thinning& thinning, int32_t section, const std::vector<ResampleView>& views,
                        ResampleCells& cells) {
  const PointStore& points = thinning.Points;
  // Only now: reading the section has made the cameras hold its measurements.
  std::vector<ResampleGrid> grids;
  for (const IopRecord& camera : thinning.Cameras.Usable()) {
    grids.emplace_back(camera, thinning.Settings.Point_Resample_Number, thinning.Settings.Image_Coor_Scale);
  }
  const std::span<const ObjectPointRecord> all(points.pObjectPoints);
  const int64_t firstNumber = points.Sections.ObjectPoints[static_cast<size_t>(section)].nFirst + 1;
  const int64_t pieceNum = (std::ssize(all) + kPiecePoints - 1) / kPiecePoints;
  const int threads = ParallelThreadNum(pieceNum, thinning.System.ProcessorCount());
  std::vector<ResampleOffers> offers(static_cast<size_t>(threads));
  bool result = true;
  // The cells are filled in the order of the points, on which the winner among equal scores depends.
  ParallelInOrder(
      pieceNum, threads,
      [&](int64_t i, int k) {
        const int64_t first = i * kPiecePoints, count = std::min(kPiecePoints, std::ssize(all) - first);
        ScorePoints(all.subspan(static_cast<size_t>(first), static_cast<size_t>(count)), firstNumber + first,
                    points.pImagePoints, views, grids, cells, offers[static_cast<size_t>(k)]);
      },
      [&](int64_t, int k) {
        const ResampleOffers& made = offers[static_cast<size_t>(k)];
        if (!result) return;
        for (const ResampleOffer& offer : made.Offers) cells.Offer(offer.nCell, offer.fScore, offer.nNumber);
        if (made.Fault == ResampleFault::None) return;
        result = false;
        if (made.Fault == ResampleFault::OutOfRange) {
          thinning.Log.Print("Image point coordinates out of range!\n");
        } else {
          thinning.Log.Print("Error!Grid ID is invalid! %" PRId64 " %" PRId64 "\n", made.nFaultCell,
                             cells.CellNum());
        }
      });
  return result;
}

bool MarkBestPoints(const Thinning& thinning, const std::string& ovt,
                    const std::function<bool(int32_t section)>& readSection, std::vector<uint8_t>& keep) {
  PointStore& points = thinning.Points;
  int64_t total = points.nTiePointNum, imageTotal = points.nTieImagePointNum;
  if (!ovt.empty()) {
    OvtReader file(&thinning.Inputs);
    if (!file.Open(ovt)) {
      thinning.Log.Print("Can not open ovt file!\n");
      return false;
    }
    total = file.PointNum();
    imageTotal = file.MeasureNum();
  }
  keep.assign(static_cast<size_t>(total), 0);
  const int32_t N = thinning.Settings.Point_Resample_Number, imageNum = thinning.Images.nImageNum;
  if (N < 1 || !CellsFitMemory(N, imageNum, thinning.System.FreePhysicalBytes())) {
    thinning.Log.Print("Error!Point_Resample_Number %d cannot be used!\n", N);
    return false;
  }
  ResampleCells cells(N, imageNum);
  points.Sections =
      PlanPointSections({imageNum, thinning.Cameras.nCameraNum, total, imageTotal}, &points.pPointImageCount,
                        thinning.System.FreePhysicalBytes(), thinning.Log);
  const std::vector<ResampleView> views = MakeViews(thinning.Images.Kept());
  for (int32_t section = 0; section < points.Sections.Count(); ++section) {
    if (!readSection(section)) return false;
    const bool offered = OfferSectionPoints(thinning, section, views, cells);
    ObjectPointArray().swap(points.pObjectPoints);
    ImagePointArray().swap(points.pImagePoints);
    if (!offered) return false;
  }
  MarkWinners(cells, int64_t{N} * N, keep, thinning.Log);
  return true;
}

void KeepPoints(const Thinning& thinning, const PointSelection& selection, const std::string& ovt,
                int64_t& imagePointSum, TextWriter* newFile) {
  PointStore& points = thinning.Points;
  const PointFiltering filtering{thinning.Settings, thinning.Images, thinning.Cameras, points, thinning.Log};
  points.pPointImageCount.assign(static_cast<size_t>(points.nObjectPointNum), 0);
  if (!ovt.empty()) {
    OvtReader source(&thinning.Inputs);
    if (source.Open(ovt)) {
      KeepOvtPoints(filtering, selection, imagePointSum, points.pPointImageCount, newFile, source);
    } else {
      thinning.Log.Print("Open pts file failed:%s\n", PrintableName(ovt).c_str());
    }
    return;
  }
  TextReader source(&thinning.Inputs);
  if (source.Open(thinning.Paths.szProjectPath)) {
    KeepTextPoints(filtering, selection, imagePointSum, points.pPointImageCount, source);
  } else {
    thinning.Log.Print("Open prj file failed:%d\n", errno);
  }
}

bool KeepMarkedPoints(const Thinning& thinning, const std::string& ovt, const std::string& gcp,
                      const std::string& newOvt, const std::vector<uint8_t>& keep) {
  PointStore& points = thinning.Points;
  const auto total = static_cast<int64_t>(keep.size());
  const int64_t kept = std::count(keep.begin(), keep.end(), 1);
  points.nTiePointNum = kept;
  points.bResampledToFile = kept > points.nResampleFileLimit;

  TextWriter newFile;
  if (points.bResampledToFile) {
    if (!OpenOutput(thinning.Outputs.Folder, newFile, newOvt)) {
      ++thinning.Outputs.nOutputFailureNum;
      thinning.Log.Print("Create new ovt file failed!\n");
      return false;
    }
    char header[kOvtHeaderBytes];
    EncodeOvtHeader(static_cast<int32_t>(kept), 0, header);
    newFile.Write(header, sizeof header);
    // The points of a text project deliberately stay in memory, however many there are; of the file only the
    // header is written, and the run goes on as without it.
    if (ovt.empty()) points.bResampledToFile = false;
  }
  points.nObjectPointNum = points.nGcpNum + kept;
  thinning.Log.Print("Sampling object points %" PRId64 " from %" PRId64 "\n", kept, total);
  int64_t imagePointSum = 0;
  KeepPoints(thinning, {total, keep, kept}, ovt, imagePointSum, points.bResampledToFile ? &newFile : nullptr);
  const bool written = CloseOutput(thinning.Outputs.Folder, newFile);
  if (!written) ++thinning.Outputs.nOutputFailureNum;
  if (ReadingFailed(thinning.Inputs, thinning.Log)) return false;
  if (!points.bResampledToFile) return MakeResampledSection(thinning, gcp, imagePointSum);
  if (!written) {
    thinning.Log.Print("Create new ovt file failed!\n");
    return false;
  }
  thinning.Paths.szOvtPath = newFile.Path();
  return true;
}

}  // namespace orvo
