// Thinning of the tie points through a grid on every image.
#include <algorithm>
#include <cinttypes>
#include <new>

#include "base/MemoryPurpose.h"
#include "base/OutputFiles.h"
#include "base/ParallelFor.h"
#include "base/TextReader.h"
#include "block/Measurement.h"
#include "block/OvtFile.h"
#include "block/ResampleOffers.h"
#include "geometry/Rotation.h"
#include "run/BundleAdjustment.h"

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

}  // namespace

int CBundleAdjustment::ResamplePoints(const std::string& ovt, const std::string& gcp,
                                      const std::string& newOvt) {
  const MemoryPurpose purpose("the thinned points");
  int64_t total = Points.nTiePointNum, imageTotal = Points.nTieImagePointNum;
  if (!ovt.empty()) {
    OvtReader file(&Inputs);
    if (!file.Open(ovt)) {
      LogPrintf("Can not open ovt file!\n");
      return 0;
    }
    total = file.PointNum();
    imageTotal = file.MeasureNum();
  }
  std::vector<uint8_t> keep(static_cast<size_t>(total), 0);
  if (MarkResampledPoints(total, imageTotal, keep) == 0 || !Gate().PointsHold()) return 0;
  const int64_t kept = std::count(keep.begin(), keep.end(), 1);
  Points.nTiePointNum = kept;
  Points.bResampledToFile = kept > Points.nResampleFileLimit;

  TextWriter newFile;
  if (Points.bResampledToFile) {
    if (!OpenOutput(Outputs.Folder, newFile, newOvt)) {
      ++Outputs.nOutputFailureNum;
      LogPrintf("Create new ovt file failed!\n");
      return 0;
    }
    char header[kOvtHeaderBytes];
    EncodeOvtHeader(static_cast<int32_t>(kept), 0, header);
    newFile.Write(header, sizeof header);
    // The points of a text project deliberately stay in memory, however many there are; of the file only the
    // header is written, and the run goes on as without it.
    if (ovt.empty()) Points.bResampledToFile = false;
  }
  Points.nObjectPointNum = Points.nGcpNum + kept;
  LogPrintf("Sampling object points %" PRId64 " from %" PRId64 "\n", kept, total);
  int64_t imagePointSum = 0;
  FilterPoints(ovt, total, keep, kept, imagePointSum, Points.bResampledToFile ? &newFile : nullptr);
  const bool written = CloseOutput(Outputs.Folder, newFile);
  if (!written) ++Outputs.nOutputFailureNum;
  if (CheckInputs() == 0) return 0;
  if (!Points.bResampledToFile) return MakeResampledSection(gcp, imagePointSum);
  if (!written) {
    LogPrintf("Create new ovt file failed!\n");
    return 0;
  }
  Paths.szOvtPath = newFile.Path();
  return 1;
}

int CBundleAdjustment::MarkResampledPoints(int64_t total, int64_t imageTotal, std::vector<uint8_t>& keep) {
  const int32_t N = Settings.Point_Resample_Number;
  if (N < 1 || !CellsFitMemory(N, Images.nImageNum, System.FreePhysicalBytes())) {
    LogPrintf("Error!Point_Resample_Number %d cannot be used!\n", N);
    return 0;
  }
  ResampleCells cells(N, Images.nImageNum);
  if (PlanSections(Images.nImageNum, Cameras.nCameraNum, total, imageTotal, &Points.pPointImageCount) == 0)
    return 0;
  const std::vector<ResampleView> views = MakeViews(Images.Kept());
  for (int32_t section = 0; section < Points.Sections.Count(); ++section) {
    int64_t count = 0;
    ReadSectionPoints(section, Paths.szProjectPath, Paths.szGcpPath, count);
    if (CheckInputs() == 0) return 0;
    const int offered = OfferSectionPoints(section, views, cells);
    ReleaseSectionPoints();
    if (offered == 0) return 0;
  }
  const int64_t cellsPerImage = int64_t{N} * N;
  for (int64_t cell = 0; cell < cells.CellNum(); ++cell) {
    const int32_t number = cells.Number(cell);
    if (number <= 0) continue;
    if (number > total) {
      LogPrintf("Error!Object point ID out of range!%d %" PRId64 " %" PRId64 "\n", number,
                cell / cellsPerImage, cell % cellsPerImage);
      continue;
    }
    keep[static_cast<size_t>(number) - 1] = 1;
  }
  return 1;
}

int CBundleAdjustment::OfferSectionPoints(int32_t section, const std::vector<ResampleView>& views,
                                          ResampleCells& cells) {
  // Only now: reading the section has made the cameras hold its measurements.
  std::vector<ResampleGrid> grids;
  for (const IopRecord& camera : Cameras.Usable()) {
    grids.emplace_back(camera, Settings.Point_Resample_Number, Settings.Image_Coor_Scale);
  }
  const std::span<const ObjectPointRecord> points(Points.pObjectPoints);
  const int64_t firstNumber = Points.Sections.ObjectPoints[static_cast<size_t>(section)].nFirst + 1;
  const int64_t pieceNum = (std::ssize(points) + kPiecePoints - 1) / kPiecePoints;
  const int threads = ParallelThreadNum(pieceNum, System.ProcessorCount());
  std::vector<ResampleOffers> offers(static_cast<size_t>(threads));
  int result = 1;
  // The cells are filled in the order of the points, on which the winner among equal scores depends.
  ParallelInOrder(
      pieceNum, threads,
      [&](int64_t i, int k) {
        const int64_t first = i * kPiecePoints, count = std::min(kPiecePoints, std::ssize(points) - first);
        ScorePoints(points.subspan(static_cast<size_t>(first), static_cast<size_t>(count)),
                    firstNumber + first, Points.pImagePoints, views, grids, cells,
                    offers[static_cast<size_t>(k)]);
      },
      [&](int64_t, int k) {
        const ResampleOffers& made = offers[static_cast<size_t>(k)];
        if (result == 0) return;
        for (const ResampleOffer& offer : made.Offers) cells.Offer(offer.nCell, offer.fScore, offer.nNumber);
        if (made.Fault == ResampleFault::None) return;
        result = 0;
        if (made.Fault == ResampleFault::OutOfRange) {
          LogPrintf("Image point coordinates out of range!\n");
        } else {
          LogPrintf("Error!Grid ID is invalid! %" PRId64 " %" PRId64 "\n", made.nFaultCell, cells.CellNum());
        }
      });
  return result;
}

int CBundleAdjustment::MakeResampledSection(const std::string& gcp, int64_t imagePointSum) {
  LogPrintf(">>>>Reading gcp file...\n");
  TextReader file(&Inputs);
  if (!file.Open(gcp)) LogPrintf("Open gcp file falied!\n");
  auto objectCount = static_cast<int64_t>(Points.pObjectPoints.size());
  const int64_t keptInMemory = objectCount;
  int64_t imageCount = imagePointSum;
  ReadGcpForResample(objectCount, imageCount, file);
  if (CheckInputs() == 0) return 0;
  if (keptInMemory + objectCount != Points.nObjectPointNum) {
    LogPrintf("Error!GCP number is unexpected!\n");
    return 0;
  }
  if (imagePointSum + imageCount != Points.nImagePointNum) {
    LogPrintf("Error!GCP image point number is unexpected!\n");
    return 0;
  }
  // Lines that hold no measurement were counted and are not there.
  Points.nImagePointNum = static_cast<int64_t>(Points.pImagePoints.size());
  Points.Sections.ObjectPoints.assign(1, {0, Points.nObjectPointNum - 1});
  Points.Sections.ImagePoints.assign(1, {0, Points.nImagePointNum - 1});
  Points.nCurrentSection = 0;
  return 1;
}

}  // namespace orvo
