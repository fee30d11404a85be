// OrvoResult.ovc and the listings OrvoResult.rst and OrvoResult_gcp.rst.
#include <array>
#include <cmath>

#include "base/MemoryPurpose.h"
#include "base/NumberText.h"
#include "base/OutputFiles.h"
#include "base/PrintableName.h"
#include "base/Scan.h"
#include "block/ProjectText.h"
#include "geometry/Intersection.h"
#include "geometry/Rotation.h"
#include "results/MeasuredPoint.h"
#include "results/OutputFile.h"
#include "results/ResultLines.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr int kTiePointListing = 0;
constexpr size_t kBlockBytes = size_t{1} << 18;

using Rotations = std::vector<std::array<double, 9>>;

/// Text on its way to a file; without a file it goes nowhere.
struct Output {
  TextWriter File;
  std::string sText;

  void Flush(size_t atLeast = 0) {
    if (sText.size() < atLeast) return;
    if (File.IsOpen()) File.Write(sText);
    sText.clear();
  }
};

int32_t KeptRow(std::span<const int32_t> table, int32_t ordinal, size_t rows) {
  const auto place = static_cast<size_t>(ordinal);
  const int32_t row = place < table.size() ? table[place] : -1;
  return row >= 0 && static_cast<size_t>(row) < rows ? row : -1;
}

/// What a whole form shares: tables, scales, and the rotation of each kept image.
struct FormContext {
  std::span<const EopRecord> Eop;  ///< kept images
  std::span<const IopRecord> Iop;  ///< kept cameras
  std::span<const int32_t> ImageIndex, CameraIndex;
  std::vector<ImageReference> References;
  Rotations R;
  std::vector<ImageFrame> Frames;
  double fImageScale = 1, fObjectScale = 1;
  bool bTiePoints = false;  ///< the listing of tie points instead of control and check points

  /// Rows of Eop and Iop; -1 for what was dropped.
  int32_t KeptImage(int32_t ordinal) const { return KeptRow(ImageIndex, ordinal, Eop.size()); }
  int32_t KeptCamera(int32_t ordinal) const { return KeptRow(CameraIndex, ordinal, Iop.size()); }
};

/// True behind both the file and the table: what only the header promises.
bool IsBeyond(std::span<const int32_t> table, int32_t ordinal, TextReader& project) {
  return static_cast<size_t>(ordinal) >= table.size() && project.AtEnd();
}

Rotations RotationsOf(std::span<const EopRecord> images) {
  Rotations all(images.size());
  for (size_t i = 0; i < images.size(); ++i) {
    ComputeRotationMatrix(images[i].fPhi, images[i].fOmega, images[i].fKappa, all[i].data());
  }
  return all;
}

FormContext MakeFormContext(const CBundleAdjustment& run, bool tiePoints) {
  FormContext context;
  context.Eop = run.Images.Kept();
  context.Iop = run.Cameras.Usable();
  context.ImageIndex = run.Images.pImageIndex;
  context.CameraIndex = run.Cameras.pCameraIndex;
  context.References =
      MakeImageReferences(run.Images.pImageIndex, run.Images.pImageCamera, run.Cameras.pCameraIndex,
                          run.Images.nImageNum, run.Cameras.UsableNum());
  context.R = RotationsOf(context.Eop);
  context.Frames = MakeImageFrames(context.Eop);
  context.fImageScale = run.Settings.Image_Coor_Scale;
  context.fObjectScale = run.Settings.Object_Coor_Scale;
  context.bTiePoints = tiePoints;
  return context;
}

void AppendHeader(std::string& out, const ProjectHeader& header, int64_t pointNum) {
  for (const int32_t count : {header.nImageNum, header.nCameraNum}) {
    AppendInt(out, count);
    out += ' ';
  }
  AppendInt(out, pointNum);
  out += '\n';
}

void WriteCameras(TextReader& project, int32_t count, const FormContext& context, Output& ovc,
                  Output& listing) {
  for (int32_t ordinal = 0; ordinal < count; ++ordinal) {
    if (IsBeyond(context.CameraIndex, ordinal, project)) return;
    const int32_t row = context.KeptCamera(ordinal);
    const std::string input = TakeLine(project);
    std::string line = input;
    if (row >= 0) {
      line.clear();
      AppendCameraLine(line, ordinal, ParseCameraLine(input), context.Iop[static_cast<size_t>(row)],
                       context.fImageScale);
    }
    ovc.sText += line;
    listing.sText += line;
    ovc.Flush(kBlockBytes);
    listing.Flush(kBlockBytes);
  }
}

void WriteImages(TextReader& project, int32_t count, const FormContext& context, Output& ovc,
                 Output& listing) {
  for (int32_t ordinal = 0; ordinal < count; ++ordinal) {
    if (IsBeyond(context.ImageIndex, ordinal, project)) return;
    const int32_t row = context.KeptImage(ordinal);
    for (int i = 0; i < 2; ++i) {
      const std::string line = TakeLine(project);
      ovc.sText += line;
      if (!context.bTiePoints) listing.sText += line;
    }
    if (row < 0) {
      for (int i = 0; i < 2; ++i) {
        const std::string line = TakeLine(project);
        ovc.sText += line;
        listing.sText += line;
      }
    } else {
      project.Skip(2);
      const EopRecord& image = context.Eop[static_cast<size_t>(row)];
      const double* R = context.R[static_cast<size_t>(row)].data();
      AppendRotationLine(ovc.sText, R);
      AppendPositionLine(ovc.sText, image, context.fObjectScale);
      if (!context.bTiePoints) AppendRotationLine(listing.sText, R);
      AppendOrientationLine(listing.sText, image, context.fObjectScale);
    }
    ovc.Flush(kBlockBytes);
    listing.Flush(kBlockBytes);
  }
}

/// Sums over the measurements that count.
struct ResidualSums {
  double x = 0, y = 0, xx = 0, yy = 0;
  int64_t n = 0;
  double fLimitX = 0, fLimitY = 0;  ///< a tie point's residual counts below them

  void Add(const ImageResidual& v, bool always) {
    if (!always && !(fLimitX > std::abs(v.x) && fLimitY > std::abs(v.y))) return;
    x += v.x;
    y += v.y;
    xx += v.x * v.x;
    yy += v.y * v.y;
    ++n;
  }
};

/// Intersects one point and appends its lines.
void WritePoint(MeasuredPoint& point, const FormContext& context, Output& listing, ResidualSums& sums) {
  IntersectPoints(1, &point.Record, point.Measurements, context.Frames, context.Iop);
  AppendPointLine(listing.sText, point.Record);
  AppendInt(listing.sText, point.Record.nImagePointNum);
  listing.sText += '\n';
  const double P[3] = {point.Record.X, point.Record.Y, point.Record.Z};
  for (size_t i = 0; i < point.Measurements.size(); ++i) {
    const ImagePointRecord& m = point.Measurements[i];
    ImageResidual residual;
    if (IsOnKeptImage(m, context.Eop, context.Iop)) {
      const auto image = static_cast<size_t>(m.nImage);
      residual = ComputeListingResidual(context.R[image].data(), context.Eop[image],
                                        context.Iop[static_cast<size_t>(m.nCamera)], m.x, m.y, P);
      sums.Add(residual, point.Record.nType != 0);
    }
    AppendMeasurementLine(listing.sText, point.ImageOrdinals[i], m.x, m.y, residual, context.fImageScale);
  }
  listing.Flush(kBlockBytes);
}

void WritePoints(TextReader& file, int64_t pointNum, const FormContext& context, Output& listing,
                 ResidualSums& sums) {
  MeasuredPoint point;
  for (int64_t i = 0; i < pointNum && !file.AtEnd(); ++i) {
    const int32_t measureNum = point.ReadHead(file);
    point.ReadMeasurements(file, measureNum, context.References, context.fImageScale);
    WritePoint(point, context, listing, sums);
  }
}

}  // namespace

int CBundleAdjustment::WriteResultFiles(const std::string& project, const std::string& gcp) {
  if (!Settings.Direct_Intersection && Settings.Absolute_Orientation)
    WriteResultForm(project, gcp, kTiePointListing);
  WriteResultForm(project, gcp, 1);
  return 1;
}

int CBundleAdjustment::WriteResultForm(const std::string& project, const std::string& gcp, int selector) {
  const MemoryPurpose purpose("the result files");
  const FormContext context = MakeFormContext(*this, selector == kTiePointListing);
  const std::string ovcPath = JoinPath(Paths.szOutputPath, "OrvoResult.ovc");
  const std::string listingPath =
      JoinPath(Paths.szOutputPath, context.bTiePoints ? "OrvoResult.rst" : "OrvoResult_gcp.rst");
  Output ovc, listing;
  TextReader projectFile(&Inputs), gcpFile(&Inputs);
  if (!OpenOutput(Outputs.Folder, ovc.File, ovcPath)) {
    ++Outputs.nOutputFailureNum;
    LogPrintf("Create ovc file failed:%s!\n", PrintableName(ovcPath).c_str());
    return 0;
  }
  if (!projectFile.Open(project)) {
    ++Outputs.nOutputFailureNum;
    LogPrintf("Error!Open prj file failed:%s!\n", PrintableName(project).c_str());
    return 0;
  }
  if (!gcpFile.Open(gcp)) LogPrintf("Warning!Open gcp file failed!\n");
  const bool listed = OpenOutput(Outputs.Folder, listing.File, listingPath);
  if (!listed) {
    // The orientations are worth having without the listing, so the .ovc is written all the same.
    ++Outputs.nOutputFailureNum;
    LogPrintf("Error!Create rst file failed:%s!\n", PrintableName(listingPath).c_str());
  }

  const ProjectHeader header = ParseHeader(projectFile.Next());
  int64_t tiePointNum = header.nObjectPointNum;
  if (tiePointNum == 0) {
    const std::string extension = TextFromLastDot(project);
    Paths.szOvtPath = project.substr(0, project.size() - extension.size()) + ".ovt";
    OvtReader ovt(&Inputs);
    if (OpenWithHeader(ovt, Paths.szOvtPath)) {
      tiePointNum = ovt.HeaderPointNum();
    } else {
      LogPrintf("Open ovt file '%s' failed!\n", PrintableName(Paths.szOvtPath).c_str());
    }
  }
  int32_t gcpNum = 0;
  if (gcpFile.IsOpen()) gcpNum = ParseInt(gcpFile.Next());

  AppendHeader(ovc.sText, header, header.nObjectPointNum);
  AppendHeader(listing.sText, header, context.bTiePoints ? tiePointNum : gcpNum);
  WriteCameras(projectFile, header.nCameraNum, context, ovc, listing);
  WriteImages(projectFile, header.nImageNum, context, ovc, listing);
  ovc.Flush();
  if (!CloseOutput(Outputs.Folder, ovc.File)) ++Outputs.nOutputFailureNum;
  if (!listed) return 0;

  TextReader& points = context.bTiePoints ? projectFile : gcpFile;
  const int64_t pointNum = context.bTiePoints ? header.nObjectPointNum : gcpNum;
  ResidualSums sums;
  sums.fLimitX = Settings.Gross_Point_Threshold * Residuals.fRmsResidualX;
  sums.fLimitY = Settings.Gross_Point_Threshold * Residuals.fRmsResidualY;
  WritePoints(points, pointNum, context, listing, sums);
  if (sums.n > 0 && context.bTiePoints) {
    const auto n = static_cast<double>(sums.n);
    Residuals.fMeanResidualX = sums.x / n;
    Residuals.fMeanResidualY = sums.y / n;
    Residuals.fRmsResidualX = std::sqrt(sums.xx / n);
    Residuals.fRmsResidualY = std::sqrt(sums.yy / n);
  }
  listing.Flush();
  if (!CloseOutput(Outputs.Folder, listing.File)) ++Outputs.nOutputFailureNum;
  return 1;
}

}  // namespace orvo
