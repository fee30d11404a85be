// The one object of a run: its parts, and the operations of the system by their names.
#pragma once

#include <memory>
#include <string>

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "records/AdjustMethod.h"
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
#include "settings/SettingSources.h"

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
class RunWatch;
/// Operations return 1 when done and 0 when not, after a message, unless told otherwise; R and W name the
/// parts that they read and write. Functions over these parts do their work, in the room of each group.
class CBundleAdjustment {
 public:
  using Path = const std::string&;
  using Numbers = std::vector<int32_t>;
  using ObjectPoints = ObjectPointArray;
  using ImagePoints = ImagePointArray;
  using Blocks = std::vector<SubMatrix>;
  using BlockSpan = std::span<const SubMatrix>;
  using Flags = std::vector<uint8_t>;
  using Tasks = std::vector<SubTask>;
  using Values = const double*;
  /// `console` receives every message besides the log file; null keeps the run silent.
  explicit CBundleAdjustment(Platform platform = NativePlatform(), std::FILE* console = stdout);
  ~CBundleAdjustment();
  AdjustmentSettings Settings;            ///< written by the readers of settings alone
  MethodChoice Chosen;                    ///< and what the rigorous method is asked for
  RunLimits Limits = LimitsOf(Settings);  ///< the settings in force
  SettingSources Sources;                 ///< where Settings come from
  FilePaths Paths;
  Platform System;
  InputFiles Inputs{System.Files};  ///< every file that the run reads, and the first fault among them
  OutputLedger Outputs;
  RunLog Log;
  RunProgress Progress;
  RunGuard Guard;
  std::unique_ptr<RunWatch> pWatch;  ///< the course of a guarded run; null in a classic one
  std::unique_ptr<RunTrack> pTrack;  ///< what a guarded run remembers for its verdict; null in a classic one
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  ObjectFrame Frame;
  UnknownCounts Unknowns;
  NormalEquations Normal;
  ResidualStatistics Residuals;

  // ==== run/ ==========================================================================================
  int SetApplyGpu(bool flag);                                                   ///< W Limits
  int SetStartTick(double value);                                               ///< milliseconds; W Progress
  int SetEndTick(double value);                                                 ///< the same
  int SetLmIterationDone(int32_t count);                                        ///< W Progress
  int SetResidualStatistics(float meanX, float meanY, float rmsX, float rmsY);  ///< W Residuals
  int ReleaseSectionPoints();                 ///< W Points, and the orders of points in Normal
  int ReleaseSectionTable();                  ///< W Points
  int ReleaseSubMatrixIndex();                ///< W Normal
  int ReleaseNormalEquation();                ///< W Normal
  int ReleasePosData();                       ///< W Images, Normal
  int ReleaseThreadBuffers();                 ///< W Normal
  int ClearSubMatrices(Blocks& subMatrices);  ///< zeroes the data of every block in place
  int OpenLogFile(std::string& path);  ///< log.txt, appended to, with the header of a run. R Paths; W Log
  int CloseLogFile();                  ///< W Log, Outputs
  /// The formatted text, verbatim, to console and log file.
  void LogPrintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int CheckInputs();  ///< 0 when a file failed that the run reads; says so, once. R Inputs
  InputGate Gate() { return {Guard, Log, Paths, Images, Points}; }  ///< of a guarded run
  int ReadSettings(Path path);     ///< 0 when the defaults stand. W Settings, Limits, Sources
  int ReadSettingsXml(Path path);  ///< the same
  int SetOutputPath(Path project, std::string& output);  ///< makes it; empty: beside the project. W Paths
  int RunCpuAdjustment(Path project, Path gcp, Path pos, std::string& output);
  int RunGpuAdjustment(Path project, Path gcp, Path pos, std::string& output);
  int GenerateResults(Path project, Path gcp, Path output);

  // ==== block/ ========================================================================================
  int PreReadData(Path project, Path gcp);  ///< counts points and measurements. W Paths, Points, Images
  int ReadProject(Path project, Path gcp);  ///< -1 with too few images. R Settings, Limits; W Images, Cameras
  int ReadGcpList(ObjectPoints& objects, ImagePoints& rays, TextReader& file);  ///< 1 or -1. W Points
  int PlanSections(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum, int64_t imagePointNum,
                   const Numbers* counts);  ///< by tie point, or null. R System; W Points
  /// One section in the frame of the block. R Settings, Paths, Images; W Points, Frame, Cameras
  int ReadSectionPoints(int32_t section, Path project, Path gcp, int64_t& count);
  int ReadSectionPoints(int32_t section);
  // Its readers for one kind of file; 1, or -1 at a reference to an image that can't be.
  int ReadTextPoints(int32_t section, ObjectPoints& objects, ImagePoints& rays, TextReader& file);
  int ReadOvtPoints(int32_t section, int64_t& count, int64_t& imageCount, OvtReader& file);
  int ReadGcpPoints(int32_t section, int64_t& count, int64_t& imageCount, TextReader& file);
  int ReadPosData(Path pos);  ///< 0 without a file, with POS data off. R Settings; W Images, Limits
  int ResamplePoints(Path ovt, Path gcp, Path newOvt);  ///< R Settings, Images; W Points, Cameras, Paths
  // Kept points to `newFile` or to memory, the GCP file behind them. R Settings, Images, Cameras; W Points
  int FilterOvtPoints(int64_t total, const Flags& keep, int64_t newPointCount, int64_t& imagePointSum,
                      Numbers& counts, TextWriter* newFile, OvtReader& source);
  int FilterTextPoints(int64_t total, const Flags& keep, int64_t& sum, Numbers& counts, TextReader& file);
  int ReadGcpForResample(int64_t& objectCount, int64_t& imageCount, TextReader& file);

  // ==== geometry/ =====================================================================================
  int ComputeTiePoints(int32_t section);  ///< in memory. R Images, Cameras, Frame; W Points, Residuals
  int ComputeTiePointsThreaded(int32_t section);  ///< the same without statistics
  /// Lays out the unknowns, transforms the orientations onto control points or GPS positions (-1 where that
  /// fails). R Settings, Cameras, Points; W Limits, Unknowns, Normal, Images, Frame
  int PrepareAdjustment();
  int ComputeNormalization();           ///< R Images; W Frame
  int NormalizeData();                  ///< 0 where it stays as it is. R Limits; W Images, Points, Frame
  int RestoreData();                    ///< 0 when Coor_Normalization is off. R Frame; W Images
  int ComputeSevenParametersFromGps();  ///< R Images; W Frame, Test.txt
  int ComputeSevenParametersFromGcp(Path gcp);  ///< -1 without such a file. R Images, Cameras; W Frame
  int ApplySevenParameters();                   ///< R Frame; W Images

  // ==== normal/ =======================================================================================
  int ComputeSubMatrixPosition();  ///< the block pattern, reading every section. R Images; W Points, Normal
  int AddSubMatrixPosition(int32_t a, int32_t b);          ///< 0 outside of the matrix. W Normal
  int32_t GetSubMatrixId(int32_t row, int32_t col) const;  ///< -1 where there is none. R Normal
  /// Scalar positions of a block row and column. R Unknowns, Images, Cameras
  void GetUnknownPosition(int32_t row, int32_t col, int32_t& rowPosition, int32_t& colPosition) const;
  // Sums of one block, see normal/Accumulate.h. R Unknowns, Normal; W `to`, `target`
  int AddToSubMatrix(Values from, int32_t rows, int32_t cols, int32_t row, int32_t col, Blocks& to);
  int SubtractFromSubMatrix(Values from, int32_t rows, int32_t cols, int32_t row, int32_t col, Blocks& to);
  int AddToDenseMatrix(Values source, int32_t rows, int32_t cols, int32_t rowStart, int32_t colStart,
                       double* target, int32_t targetRows, int32_t targetCols);
  int SubtractFromDenseMatrix(Values source, int32_t rows, int32_t cols, int32_t rowStart, int32_t colStart,
                              double* target, int32_t targetRows, int32_t targetCols);
  /// 1 when the thread number stands, 0 when it was reduced, -1 when none fits. R Points, Normal; W Limits
  int ComputeMultithreadMemory(int32_t section);
  int SplitSubTasks(int32_t section, Tasks& tasks);  ///< R Points, Limits, System; W `tasks`
  /// Adds a section's equations and writes its residual file; -1 without a plan. `threadNumCache`: by
  /// section, 0 until it is planned. R Points, Images, Cameras, Settings; W Limits, Normal, Residuals
  int BuildNormalEquation(int32_t iteration, int32_t section, Numbers& threadNumCache);
  int AllocateThreadBuffers(Tasks& tasks);  ///< R Points, Images, Cameras; W Normal
  int BuildNormalEquationTask(int32_t thread, int32_t first, int32_t last);  ///< R Points; W Normal
  int BuildPosNormalEquation(int32_t iteration);                             ///< R Images, Limits; W Normal
  int AddDampingCoefficients(int32_t iteration);  ///< R Settings, Frame; W Limits, Normal
  UnknownLayout Layout() const;                   ///< R Unknowns, Images, Cameras

  // ==== solver/ =======================================================================================
  /// Solves, writes the side files, updates the unknowns. R Settings, Limits; W Normal, Progress, Images,
  /// Cameras
  int SolveAndUpdate(int32_t iteration);
  int UpdateUnknowns(const double* x);  ///< R Settings, Limits, Unknowns; W Images, Cameras, Normal
  int SolveByPcg(double* x);            ///< from the start in `x`. R Limits, Unknowns, Normal
  // out = N v; out = M^-1 r for M the block diagonal of N. See solver/SparseSolve.h. R Unknowns
  int MultiplyNormalMatrix(int32_t num, BlockSpan blocks, int32_t n, Values v, double* out) const;
  int ApplyPreconditioner(int32_t rowNum, BlockSpan blocks, int32_t n, Values r, double* out);

  // ==== gpu/ ==========================================================================================
  gpu::GpuState& Gpu();     ///< what the device path keeps; made when it is first asked for
  int DetectCudaDevices();  ///< non-zero when a usable device exists; tells the console alone. W Gpu()
  int ComputeGpuSections(int32_t section);         ///< R Points, Unknowns; W Gpu()
  int AllocFixedDeviceMemory();                    ///< R Images, Cameras, Unknowns, Residuals; W Gpu()
  int AllocPointDeviceMemory(int32_t gpuSection);  ///< R Settings, Points, Images, Cameras; W Gpu()
  int RefreshObjectArray(int32_t gpuSection);      ///< R Points; W Gpu()
  int RefreshOrientationArrays();                  ///< R Images, Cameras, Residuals; W Gpu()
  int FreeFixedDeviceMemory();                     ///< W Gpu()
  int RunGpuBundle(Path project, Path gcp, std::string& output);  ///< R and W all parts
  // Shares of POS data; 0 without. R Settings, Limits, Images, Cameras, Normal; W the argument
  int UpdatePosPreconditioner(std::vector<double>& M);
  int UpdatePosConstVector(std::vector<double>& r);
  int UpdatePosNormalEquation(const std::vector<float>& d, std::vector<double>& Ad);

  // ==== results/ ====================================================== a file that fails counts in Outputs
  int WriteResultFiles(Path project, Path gcp);               ///< the listings that the run mode calls for
  int WriteResultForm(Path project, Path gcp, int selector);  ///< 0: OrvoResult.ovc, .rst; 1: _gcp.rst
  int WriteResultOvt();  ///< the last step of a run. R Images, Cameras; W Points, Limits
  int WriteCorrections(int32_t iteration, const double* x);   ///< nUnknownNum values
  int WriteResidualsCpu(int32_t iteration, int32_t section);  ///< into file units. R Residuals; W Normal
  void WriteResidualsBesideTheRun();  ///< from here on it takes them out of the buffers and does not wait
  void ListLastResiduals();           ///< behind the last iteration: those that wait for it
  void FinishResidualFiles();         ///< waits for the last one
  int WriteResidualsGpu(int32_t iteration, int32_t number, const gpu::GpuResidualTable& table);
  int WriteReport();  ///< R Settings, Images, Cameras, Points, Frame, Progress; W Residuals

 private:
  std::unique_ptr<gpu::GpuState> pGpu;
  std::unique_ptr<ResidualWriter> pResidualWriter;
};

}  // namespace orvo
