// The one object of a run. Every subsystem is a group of its operations, defined in the subsystem's folder.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunLimits.h"
#include "records/RunProgress.h"
#include "records/UnknownLayout.h"
#include "run/InputGate.h"
#include "run/RunGuard.h"

namespace orvo {

namespace gpu {
struct GpuResidualTable;
struct GpuState;
}  // namespace gpu
class OvtReader;
class ResidualWriter;
class TextReader;
class TextWriter;
struct RunTrack;

class CBundleAdjustment {
 public:
  /// `console` receives every message besides the log file; null keeps the run silent.
  explicit CBundleAdjustment(Platform platform = NativePlatform(), std::FILE* console = stdout);
  ~CBundleAdjustment();
  CBundleAdjustment(const CBundleAdjustment&) = delete;
  CBundleAdjustment& operator=(const CBundleAdjustment&) = delete;

  // ---- The parts of a run ----------------------------------------------------------------------------
  AdjustmentSettings Settings;            ///< written by the readers of settings alone
  RunLimits Limits = LimitsOf(Settings);  ///< the settings in force
  FilePaths Paths;
  Platform System;
  InputFiles Inputs{System.Files};  ///< every file that the run reads, and the first fault among them
  OutputLedger Outputs;
  RunLog Log;
  RunProgress Progress;
  RunGuard Guard;
  std::unique_ptr<RunTrack> pTrack;  ///< what a guarded run remembers for its verdict; null in a classic one

  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  ObjectFrame Frame;
  UnknownCounts Unknowns;
  NormalEquations Normal;
  ResidualStatistics Residuals;

  // ==== run/ ==========================================================================================
  int SetApplyGpu(bool flag);
  int SetStartTick(double value);
  int SetEndTick(double value);
  int SetResidualStatistics(float meanX, float meanY, float rmsX, float rmsY);
  int SetLmIterationDone(int32_t count);

  int ReleaseSectionPoints();
  int ReleaseSectionTable();
  int ReleaseSubMatrixIndex();
  int ReleaseNormalEquation();
  int ReleasePosData();
  int ReleaseThreadBuffers();
  /// Zeroes the data of every block in place.
  int ClearSubMatrices(std::vector<SubMatrix>& subMatrices);

  /// Opens log.txt in szOutputPath for appending and writes the run's header; 0 when it can't be opened.
  int OpenLogFile(std::string& path);
  /// The formatted text, verbatim, to console and log file.
  void LogPrintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// The same to the console alone.
  void ConsolePrintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int CloseLogFile();

  /// What a guarded run asks behind each reading.
  InputGate Gate() { return {Guard, Log, Paths, Images, Points}; }
  /// 1, or 0 when a file that the run reads failed: the run has to end. Says so, once. Not for threads beside
  /// that of the run.
  int CheckInputs();

  /// 1, or 0 when the defaults stand. Never stops a run.
  int ReadSettings(const std::string& path);
  int ReadSettingsXml(const std::string& path);

  /// Makes the output folder (an empty `output` becomes OrvoBundleResult beside the project); 1 or 0.
  int SetOutputPath(const std::string& project, std::string& output);
  int RunCpuAdjustment(const std::string& project, const std::string& gcp, const std::string& pos,
                       std::string& output);
  int RunGpuAdjustment(const std::string& project, const std::string& gcp, const std::string& pos,
                       std::string& output);
  int GenerateResults(const std::string& project, const std::string& gcp, const std::string& output);

  // ==== block/ ========================================================================================
  /// Counts points and measurements; 1, or 0 after a message. Writes Paths, Points, pImagePointCount.
  int PreReadData(const std::string& project, const std::string& gcp);
  /// 1, 0, or -1 with too few images. Reads Settings, Limits; writes Images, Cameras.
  int ReadProject(const std::string& project, const std::string& gcp);
  /// A whole GCP file, without sections; 1 or -1. Reads Settings, Images, Cameras; writes nControlPointNum.
  int ReadGcpList(std::vector<ObjectPointRecord>& objectList, std::vector<ImagePointRecord>& imagePointList,
                  TextReader& file);
  /// `counts`: measurements by tie point, or null; 1. Reads the free memory; writes Points.Sections.
  int PlanSections(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum, int64_t imagePointNum,
                   const std::vector<int32_t>* counts);
  /// One section in the frame of the block; 1, or 0 for none and where reading failed. `count`: object points
  /// read. Reads Settings, Paths, Images; writes Points, fGsd, the extents of Cameras.
  int ReadSectionPoints(int32_t section, const std::string& project, const std::string& gcp, int64_t& count);
  int ReadSectionPoints(int32_t section);
  /// Its readers for one kind of file; 1, or -1 at a reference to an image that can't be.
  int ReadTextPoints(int32_t section, std::vector<ObjectPointRecord>& objectList,
                     std::vector<ImagePointRecord>& imagePointList, TextReader& file);
  int ReadOvtPoints(int32_t section, int64_t& count, int64_t& imageCount, OvtReader& file);
  int ReadGcpPoints(int32_t section, int64_t& count, int64_t& imageCount, TextReader& file);
  /// 1, or 0 without a file, with both POS switches of Limits cleared. Reads Settings; writes Images.
  int ReadPosData(const std::string& pos);
  /// Thins the tie points; 1 or 0. Reads Settings, Images; writes Points, Cameras, szOvtPath, Outputs.
  int ResamplePoints(const std::string& ovt, const std::string& gcp, const std::string& newOvt);
  /// The kept points to `newFile`, or to memory; 1 or 0. Read Settings, Images, Cameras; write Points.
  int FilterOvtPoints(int64_t total, const std::vector<uint8_t>& keep, int64_t newPointCount,
                      int64_t& imagePointSum, std::vector<int32_t>& counts, TextWriter* newFile,
                      OvtReader& source);
  int FilterTextPoints(int64_t total, const std::vector<uint8_t>& keep, int64_t& imagePointSum,
                       std::vector<int32_t>& counts, TextReader& file);
  /// The GCP file behind them; 1. Reads Settings, Images, Cameras; writes Points.
  int ReadGcpForResample(int64_t& objectCount, int64_t& imageCount, TextReader& file);

  // ==== geometry/ =====================================================================================
  /// Intersects the points of the section in memory on all processors; 1. Reads Images, Cameras, Frame;
  /// writes Points and, in object units, dCheckResidual and dControlResidual of Residuals.
  int ComputeTiePoints(int32_t section);
  /// The same without statistics, in one task less than there are processors, as told in the log; 1.
  int ComputeTiePointsThreaded(int32_t section);
  /// Lays out and counts the unknowns, allocates their tables, and transforms the orientations onto control
  /// points or GPS positions; 1, or 0 and -1 with a message where the run ends. Reads Settings, Cameras,
  /// Points; writes Limits (POS), Unknowns, Normal, Images, Frame.
  int PrepareAdjustment();
  /// Takes shift and scale of Frame from the projection centres of Images; 1.
  int ComputeNormalization();
  /// Images and control and check points of Points into the frame of Frame; 0 where they stay as they are.
  int NormalizeData();
  /// Images back from it; 0 when Coor_Normalization is off.
  int RestoreData();
  /// Reads Images; writes fSevenParam of Frame, and Test.txt. 1 or 0.
  int ComputeSevenParametersFromGps();
  /// Reads the GCP file, Images, Cameras; writes fSevenParam of Frame. 1, 0, or -1 without such a file.
  int ComputeSevenParametersFromGcp(const std::string& gcp);
  /// Takes the orientations of Images to the frame of fSevenParam; 1.
  int ApplySevenParameters();

  // ==== normal/ =======================================================================================
  /// Finds the block pattern by one walk over all points, reading every section. Reads Points, Images,
  /// Unknowns; writes Normal. 1 or 0.
  int ComputeSubMatrixPosition();
  /// Adds one block to the pattern in Normal; 1, or 0 outside of the matrix.
  int AddSubMatrixPosition(int32_t a, int32_t b);
  /// Reads Normal: the ID of a block, -1 where there is none.
  int32_t GetSubMatrixId(int32_t row, int32_t col) const;
  /// Reads the layout of the unknowns: scalar positions of a block row and column.
  void GetUnknownPosition(int32_t row, int32_t col, int32_t& rowPosition, int32_t& colPosition) const;
  // Sums of one block. Read Unknowns and Normal's pattern, write `target` alone; see normal/Accumulate.h.
  int AddToSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col,
                     std::vector<SubMatrix>& target);
  int SubtractFromSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col,
                            std::vector<SubMatrix>& target);
  int AddToDenseMatrix(const double* source, int32_t rows, int32_t cols, int32_t rowStart, int32_t colStart,
                       double* target, int32_t targetRows, int32_t targetCols);
  int SubtractFromDenseMatrix(const double* source, int32_t rows, int32_t cols, int32_t rowStart,
                              int32_t colStart, double* target, int32_t targetRows, int32_t targetCols);
  /// Reads Points, Normal; writes Limits.nThreadNum. 1 when it stands, 0 when it was reduced, -1 when none
  /// fits.
  int ComputeMultithreadMemory(int32_t section);
  /// Reads Points, Limits; writes `tasks`. 1.
  int SplitSubTasks(int32_t section, std::vector<SubTask>& tasks);
  /// Adds the section's reduced equations in threads and writes its residual file. Reads Points, Images,
  /// Cameras, Settings; writes Limits.nThreadNum, Normal, Residuals. 1, 0, or -1 without a plan.
  /// `threadNumCache`: one thread number per section, 0 until it is planned.
  int BuildNormalEquation(int32_t iteration, int32_t section, std::vector<int32_t>& threadNumCache);
  /// Reads what BuildNormalEquation reads; writes Normal's thread buffers. 1.
  int AllocateThreadBuffers(std::vector<SubTask>& tasks);
  /// Reads Points; writes the buffers of one thread. 1.
  int BuildNormalEquationTask(int32_t thread, int32_t first, int32_t last);
  /// Adds the GPS and IMU observations. Reads Images, Limits; writes Normal. 1.
  int BuildPosNormalEquation(int32_t iteration);
  /// Reads Settings, Frame; writes Limits, Normal. 1, or 0 after a message.
  int AddDampingCoefficients(int32_t iteration);
  /// The numbering of the unknowns as it stands.
  UnknownLayout Layout() const {
    return {Unknowns.nLayoutMode, Images.nUnknownImageNum, Cameras.nCameraNum, Unknowns.nPosSize,
            Cameras.UsableNum()};
  }

  // ==== solver/ =======================================================================================
  /// Solves, writes the side files, updates the unknowns and decides convergence. Reads Settings, Limits,
  /// Residuals, Normal (the dense form is cleared); writes Progress and what UpdateUnknowns writes. Always 1.
  int SolveAndUpdate(int32_t iteration);
  /// Reads Unknowns, Limits; writes Images, Cameras, Normal.pPosParams. 1, or 0 after a message without `x`.
  int UpdateUnknowns(const double* x);
  /// Solves the sparse form from the start in `x`. Reads Limits, Unknowns, Normal. Always 1.
  int SolveByPcg(double* x);
  /// out = N v, and out = M^-1 r for M the block diagonal of N, vectors of `n` elements. Read the layout of
  /// the unknowns. 1; 0 without blocks or a vector, ApplyPreconditioner also, after a message, at a diagonal
  /// block that is not square.
  int MultiplyNormalMatrix(int32_t subMatrixNum, std::span<const SubMatrix> subMatrices, int32_t n,
                           const double* v, double* out) const;
  int ApplyPreconditioner(int32_t blockRowNum, std::span<const SubMatrix> subMatrices, int32_t n,
                          const double* r, double* out);
  /// True when nothing ties the block to a frame. Reads Points, Limits.
  bool IsFree() const;

  // ==== gpu/ ==========================================================================================
  /// What the device path keeps; made when it is first asked for.
  gpu::GpuState& Gpu();
  /// Non-zero when a usable device exists. Writes Gpu(); tells the console alone.
  int DetectCudaDevices();
  /// Divides the points in memory of one point section into GPU sections; 1, or 0 after a message. Reads
  /// Points, Unknowns; writes Gpu().
  int ComputeGpuSections(int32_t section);
  /// Allocates and fills the arrays of the run, or of one GPU section; 1, or 0 after a message. Both read
  /// Images, Cameras, Unknowns, the first Residuals, the second Settings and Points; write Gpu().
  int AllocFixedDeviceMemory();
  int AllocPointDeviceMemory(int32_t gpuSection);
  /// Uploads the object points of a GPU section that is on the device already; 1, or 0 where it is not.
  /// Reads Points.
  int RefreshObjectArray(int32_t gpuSection);
  /// Uploads thresholds and orientations after a step; 1. Reads Images, Cameras, Residuals; writes Gpu().
  int RefreshOrientationArrays();
  int FreeFixedDeviceMemory();
  /// The whole iteration on the device, and the results; 1, or 0 after a message. Reads and writes all parts.
  int RunGpuBundle(const std::string& project, const std::string& gcp, std::string& output);
  // Shares of POS data in the packed preconditioner, the constant vector and the product; 1, and the last
  // one 0 without POS data. Read Limits, Images, Normal.
  int UpdatePosPreconditioner(std::vector<double>& M);
  int UpdatePosConstVector(std::vector<double>& r);
  int UpdatePosNormalEquation(const std::vector<float>& d, std::vector<double>& Ad);

  // ==== results/ ======================================================================================
  // All count a file that fails in Outputs.
  /// The listings that the run mode calls for. As WriteResultForm; 1.
  int WriteResultFiles(const std::string& project, const std::string& gcp);
  /// OrvoResult.ovc and OrvoResult.rst (selector 0, tie points) or OrvoResult_gcp.rst (1, control and check
  /// points); 1, or 0 after a message. Reads Settings, Images, Cameras; writes Residuals (selector 0) and,
  /// for a project without points, szOvtPath.
  int WriteResultForm(const std::string& project, const std::string& gcp, int selector);
  /// OrvoResult.ovt section by section, the last step of a run; 1, or 0 without a tie-point file or after a
  /// message. Reads Images, Cameras; plans, reads and releases the sections of Points, which are not thinned
  /// any more.
  int WriteResultOvt();
  /// Corrections_<iteration>.txt from nUnknownNum values; 1, or 0 when it can't be opened.
  int WriteCorrections(int32_t iteration, const double* x);
  /// Residuals_<iteration>_<section>.res; 1, or 0 when it can't be opened. Reads Residuals; turns the
  /// residuals in the thread buffers of Normal into file image units.
  int WriteResidualsCpu(int32_t iteration, int32_t section);
  /// From here on WriteResidualsCpu takes the residuals out of the thread buffers, creates the file and
  /// returns while it is being written.
  void WriteResidualsBesideTheRun();
  /// Waits until the last residual file is whole and its memory free, and counts what failed.
  void FinishResidualFiles();
  /// The same from the device's residuals of one GPU section; `number` stands for the section in the name.
  int WriteResidualsGpu(int32_t iteration, int32_t number, const gpu::GpuResidualTable& table);
  /// OrvoAdjustReport.txt and ObjectPointError.xyz; 1, or 0 when one can't be opened. Reads Settings, Images,
  /// Cameras, Points, Frame, Progress; renews control and check points in Residuals.
  int WriteReport();

 private:
  std::unique_ptr<gpu::GpuState> pGpu;
  std::unique_ptr<ResidualWriter> pResidualWriter;
};

}  // namespace orvo
