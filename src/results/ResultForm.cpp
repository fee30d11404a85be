#include "results/ResultForm.h"

#include <array>
#include <cmath>

#include "base/MemoryPurpose.h"
#include "base/NumberText.h"
#include "base/OutputFiles.h"
#include "base/Platform.h"
#include "base/PrintableName.h"
#include "base/Scan.h"
#include "block/ProjectText.h"
#include "geometry/Intersection.h"
#include "geometry/camera/Rotation.h"
#include "results/MeasuredPoint.h"
#include "results/OutputFile.h"
#include "results/ResultLines.h"

namespace orvo {
namespace {

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

FormContext MakeFormContext(const ResultSources& from, ResultListing kind) {
  FormContext context;
  context.Eop = from.Images.Kept();
  context.Iop = from.Cameras.Usable();
  context.ImageIndex = from.Images.pImageIndex;
  context.CameraIndex = from.Cameras.pCameraIndex;
  context.References = MakeImageReferences(from.Images, from.Cameras);
  context.R = RotationsOf(context.Eop);
  context.Frames = MakeImageFrames(context.Eop);
  context.fImageScale = from.Settings.Image_Coor_Scale;
  context.fObjectScale = from.Settings.Object_Coor_Scale;
  context.bTiePoints = kind == ResultListing::TiePoints;
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

/// Intersects one point and appends its lines; `placed`: its residuals where it has its place already.
void WritePoint(MeasuredPoint& point, const std::vector<ImageResidual>* placed, const FormContext& context,
                Output& listing, ResidualSums& sums) {
  if (placed == nullptr) IntersectPoints(1, &point.Record, point.Measurements, context.Frames, context.Iop);
  AppendPointLine(listing.sText, point.Record);
  AppendInt(listing.sText, point.Record.nImagePointNum);
  listing.sText += '\n';
  const double P[3] = {point.Record.X, point.Record.Y, point.Record.Z};
  for (size_t i = 0; i < point.Measurements.size(); ++i) {
    const ImagePointRecord& m = point.Measurements[i];
    ImageResidual residual;
    if (IsOnKeptImage(m, context.Eop, context.Iop)) {
      const auto image = static_cast<size_t>(m.nImage);
      residual = placed != nullptr
                     ? (*placed)[i]
                     : ComputeListingResidual(context.R[image].data(), context.Eop[image],
                                              context.Iop[static_cast<size_t>(m.nCamera)], m.x, m.y, P);
      sums.Add(residual, point.Record.nType != 0);
    }
    AppendMeasurementLine(listing.sText, point.ImageOrdinals[i], m.x, m.y, residual, context.fImageScale);
  }
  listing.Flush(kBlockBytes);
}

void WritePoints(TextReader& file, int64_t pointNum, const FormContext& context, const PointPlacing& place,
                 Output& listing, ResidualSums& sums) {
  MeasuredPoint point;
  std::vector<ImageResidual> residuals;
  for (int64_t i = 0; i < pointNum && !file.AtEnd(); ++i) {
    const int32_t measureNum = point.ReadHead(file);
    point.ReadMeasurements(file, measureNum, context.References, context.fImageScale);
    residuals.assign(point.Measurements.size(), {});
    const bool placed = place && place(i, point, residuals);
    WritePoint(point, placed ? &residuals : nullptr, context, listing, sums);
  }
}

/// The files of one call.
struct FormFiles {
  Output Ovc, Listing;
  TextReader Project, Gcp;
  bool bListed = false;

  explicit FormFiles(InputFiles& inputs) : Project(&inputs), Gcp(&inputs) {}
};

/// False, with a message, where nothing can be written.
bool OpenFiles(FormFiles& files, const std::string& project, const std::string& gcp, bool tiePoints,
               const std::string& folder, OutputLedger& outputs, RunLog& log) {
  const std::string ovc = JoinPath(folder, "OrvoResult.ovc");
  const std::string listing = JoinPath(folder, tiePoints ? "OrvoResult.rst" : "OrvoResult_gcp.rst");
  if (!OpenOutput(outputs.Folder, files.Ovc.File, ovc)) {
    ++outputs.nOutputFailureNum;
    log.Print("Create ovc file failed:%s!\n", PrintableName(ovc).c_str());
    return false;
  }
  if (!files.Project.Open(project)) {
    ++outputs.nOutputFailureNum;
    log.Print("Error!Open prj file failed:%s!\n", PrintableName(project).c_str());
    return false;
  }
  if (!files.Gcp.Open(gcp)) log.Print("Warning!Open gcp file failed!\n");
  files.bListed = OpenOutput(outputs.Folder, files.Listing.File, listing);
  if (!files.bListed) {
    // The orientations are worth having without the listing, so the .ovc is written all the same.
    ++outputs.nOutputFailureNum;
    log.Print("Error!Create rst file failed:%s!\n", PrintableName(listing).c_str());
  }
  return true;
}

/// The points of the .ovt file beside a project without points of its own; 0 with a message where it can't be
/// read.
int64_t OvtPointNum(const std::string& ovtPath, InputFiles& inputs, RunLog& log) {
  OvtReader ovt(&inputs);
  if (OpenWithHeader(ovt, ovtPath)) return ovt.HeaderPointNum();
  log.Print("Open ovt file '%s' failed!\n", PrintableName(ovtPath).c_str());
  return 0;
}

void StoreStatistics(const ResidualSums& sums, ResidualStatistics& residuals) {
  const auto n = static_cast<double>(sums.n);
  residuals.fMeanResidualX = sums.x / n;
  residuals.fMeanResidualY = sums.y / n;
  residuals.fRmsResidualX = std::sqrt(sums.xx / n);
  residuals.fRmsResidualY = std::sqrt(sums.yy / n);
}

}  // namespace

bool WriteResultForm(const ResultSources& from, ResultListing kind, FilePaths& paths,
                     ResidualStatistics& residuals, OutputLedger& outputs, RunLog& log) {
  const MemoryPurpose purpose("the result files");
  const FormContext context = MakeFormContext(from, kind);
  FormFiles files(from.Inputs);
  if (!OpenFiles(files, from.szProject, from.szGcp, context.bTiePoints, paths.szOutputPath, outputs, log))
    return false;

  const ProjectHeader header = ParseHeader(files.Project.Next());
  int64_t tiePointNum = header.nObjectPointNum;
  if (tiePointNum == 0) {
    const std::string extension = TextFromLastDot(from.szProject);
    paths.szOvtPath = from.szProject.substr(0, from.szProject.size() - extension.size()) + ".ovt";
    tiePointNum = OvtPointNum(paths.szOvtPath, from.Inputs, log);
  }
  int32_t gcpNum = 0;
  if (files.Gcp.IsOpen()) gcpNum = ParseInt(files.Gcp.Next());

  AppendHeader(files.Ovc.sText, header, header.nObjectPointNum);
  AppendHeader(files.Listing.sText, header, context.bTiePoints ? tiePointNum : gcpNum);
  WriteCameras(files.Project, header.nCameraNum, context, files.Ovc, files.Listing);
  WriteImages(files.Project, header.nImageNum, context, files.Ovc, files.Listing);
  files.Ovc.Flush();
  if (!CloseOutput(outputs.Folder, files.Ovc.File)) ++outputs.nOutputFailureNum;
  if (!files.bListed) return false;

  ResidualSums sums;
  sums.fLimitX = from.Settings.Gross_Point_Threshold * residuals.fRmsResidualX;
  sums.fLimitY = from.Settings.Gross_Point_Threshold * residuals.fRmsResidualY;
  if (context.bTiePoints) {
    WritePoints(files.Project, header.nObjectPointNum, context, {}, files.Listing, sums);
    if (sums.n > 0) StoreStatistics(sums, residuals);
  } else {
    WritePoints(files.Gcp, gcpNum, context, from.PlaceGroundPoint, files.Listing, sums);
  }
  files.Listing.Flush();
  if (!CloseOutput(outputs.Folder, files.Listing.File)) ++outputs.nOutputFailureNum;
  return true;
}

void WriteResultFiles(const ResultSources& from, FilePaths& paths, ResidualStatistics& residuals,
                      OutputLedger& outputs, RunLog& log) {
  if (!from.Settings.Direct_Intersection && from.Settings.Absolute_Orientation)
    WriteResultForm(from, ResultListing::TiePoints, paths, residuals, outputs, log);
  WriteResultForm(from, ResultListing::GroundPoints, paths, residuals, outputs, log);
}

}  // namespace orvo
