#include "results/Report.h"

#include <cmath>
#include <limits>

#include "base/MemoryPurpose.h"
#include "base/NumberText.h"
#include "base/OutputFiles.h"
#include "base/Platform.h"
#include "base/Scan.h"
#include "geometry/Intersection.h"
#include "results/MeasuredPoint.h"
#include "results/ResidualPieces.h"

namespace orvo {
namespace {

/// Differences intersection minus given coordinates over the points of one kind.
struct PointResiduals {
  double dSum[3] = {}, dSquareSum[3] = {};
  double dMax[3] = {};  ///< of the largest magnitude, with its sign
  int64_t nCount = 0;

  void Add(const double* d) {
    for (int i = 0; i < 3; ++i) {
      dSum[i] += d[i];
      dSquareSum[i] += d[i] * d[i];
      if (std::abs(d[i]) > std::abs(dMax[i])) dMax[i] = d[i];
    }
    ++nCount;
  }
  /// Mean X, Y, Z and RMSE X, Y, Z; nothing without a point.
  void Store(double* six) const {
    if (nCount == 0) return;
    for (int i = 0; i < 3; ++i) {
      six[i] = dSum[i] / static_cast<double>(nCount);
      six[3 + i] = std::sqrt(dSquareSum[i] / static_cast<double>(nCount));
    }
  }
};

/// What the points are intersected from.
struct ReportContext {
  std::vector<ImageFrame> Frames;  ///< kept images
  std::span<const IopRecord> Iop;  ///< kept cameras
  std::vector<ImageReference> References;
  double fImageScale = 1, fObjectScale = 1;
};

/// The intersection less the given coordinates, in file object units; false where the rays don't meet in one
/// point.
bool IntersectionDifference(const MeasuredPoint& point, const ReportContext& context, double* d) {
  ObjectPointRecord copy = point.Record;
  // Without a solution the coordinates stay as they are, which no solution can be mistaken for.
  copy.X = std::numeric_limits<double>::quiet_NaN();
  IntersectPoints(1, &copy, point.Measurements, context.Frames, context.Iop);
  if (std::isnan(copy.X)) return false;
  // The given coordinates are deliberately not scaled first: the report compares what stands in the two
  // places.
  d[0] = (copy.X - point.Record.X) / context.fObjectScale;
  d[1] = (copy.Y - point.Record.Y) / context.fObjectScale;
  d[2] = (copy.Z - point.Record.Z) / context.fObjectScale;
  return true;
}

void AppendReals(std::string& out, const double* values, const char* lastEnd) {
  for (int i = 0; i < 3; ++i) {
    AppendFixed(out, values[i]);
    out += i < 2 ? "\t" : lastEnd;
  }
}

/// Lists the control points (type 1) or the check points (type 2 and above) of the GCP file, from its start.
PointResiduals ListPoints(TextReader& gcp, bool control, const ReportContext& context, TextWriter& report,
                          TextWriter& errors) {
  PointResiduals residuals;
  if (!gcp.IsOpen()) return residuals;
  gcp.Rewind();
  const int32_t count = ParseInt(gcp.Next());
  MeasuredPoint point;
  std::string line;
  for (int32_t i = 0; i < count && !gcp.AtEnd(); ++i) {
    const int32_t measureNum = point.ReadHead(gcp);
    const ObjectPointRecord& record = point.Record;
    if (control ? record.nType != 1 : record.nType < 2) {
      gcp.Skip(measureNum);
      continue;
    }
    point.ReadMeasurements(gcp, measureNum, context.References, context.fImageScale);
    // A point that can't be intersected is listed with zeros and stays out of the figures.
    double d[3] = {};
    if (IntersectionDifference(point, context, d)) residuals.Add(d);

    const double given[3] = {record.X, record.Y, record.Z};
    line.assign(record.szName);
    line += '\t';
    AppendReals(line, given, "\t");
    AppendReals(line, d, "\n");
    report.Write(line);
    line.clear();
    AppendReals(line, given, "\t");
    AppendReals(line, d, "\t");
    AppendInt(line, record.nType, 8);
    line += '\n';
    errors.Write(line);
  }
  return residuals;
}

void WriteFigures(TextWriter& report, const double* six, const double* max) {
  report.Printf("MEAN:%12.6lf\t%12.6lf\t%12.6lf\n", six[0], six[1], six[2]);
  report.Printf("RMSE:%12.6lf\t%12.6lf\t%12.6lf\n", six[3], six[4], six[5]);
  report.Printf("MAX:%12.6lf\t%12.6lf\t%12.6lf\n", max[0], max[1], max[2]);
}

ReportContext MakeReportContext(const ReportSources& from) {
  ReportContext context;
  context.Frames = MakeImageFrames(from.Images.Kept());
  context.Iop = from.Cameras.Usable();
  context.References = MakeImageReferences(from.Images, from.Cameras);
  context.fImageScale = from.Settings.Image_Coor_Scale;
  context.fObjectScale = from.Settings.Object_Coor_Scale;
  return context;
}

void WriteHead(TextWriter& report, const ReportSources& from, const ResidualStatistics& residuals) {
  const ResidualFigures figures = FiguresOf(residuals, from.Settings.Image_Coor_Scale);
  report.Printf("###Adjustment information\n");
  report.Printf("Total run time:%.3lfs\n", (from.Progress.fEndTick - from.Progress.fStartTick) / 1000.0);
  report.Printf("Image point reprojection error:\n");
  report.Printf("MEAN:%12.6lf\t%12.6lf\n", figures.fMeanX, figures.fMeanY);
  report.Printf("RMSE:%12.6lf\t%12.6lf\n", figures.fRmsX, figures.fRmsY);
  report.Printf("GSD:%12.6lf\n\n", static_cast<double>(from.Frame.fGsd));
}

}  // namespace

bool WriteReport(const ReportSources& from, const FilePaths& paths, InputFiles& inputs,
                 ResidualStatistics& residuals, OutputLedger& outputs) {
  const MemoryPurpose purpose("the report");
  TextWriter report, errors;
  const bool opened =
      OpenOutput(outputs.Folder, report, JoinPath(paths.szOutputPath, "OrvoAdjustReport.txt")) &&
      OpenOutput(outputs.Folder, errors, JoinPath(paths.szOutputPath, "ObjectPointError.xyz"));
  if (!opened) {
    ++outputs.nOutputFailureNum;
    return false;
  }
  TextReader gcp(&inputs);
  gcp.Open(paths.szGcpPath);
  WriteHead(report, from, residuals);

  const ReportContext context = MakeReportContext(from);
  report.Printf("Control point number:%d\n", from.Points.nControlPointNum);
  report.Printf("Control point residuals:\n");
  const PointResiduals control = ListPoints(gcp, true, context, report, errors);
  control.Store(residuals.dControlResidual);
  WriteFigures(report, residuals.dControlResidual, control.dMax);

  report.Printf("\n");
  report.Printf("Check point number:%d\n", from.Points.nCheckPointNum);
  report.Printf("Check point residuals:\n");
  const PointResiduals check = ListPoints(gcp, false, context, report, errors);
  check.Store(residuals.dCheckResidual);
  WriteFigures(report, residuals.dCheckResidual, check.dMax);

  const bool reportWhole = CloseOutput(outputs.Folder, report),
             errorsWhole = CloseOutput(outputs.Folder, errors);
  outputs.nOutputFailureNum += (reportWhole ? 0 : 1) + (errorsWhole ? 0 : 1);
  return true;
}

}  // namespace orvo
