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
#include "run/RunGuard.h"

namespace orvo {

namespace gpu {
struct GpuResidualTable;
struct GpuState;
struct PosTerm;
struct SectionPoints;
}  // namespace gpu
struct DenseSystem;
class OvtMeasureWindow;
class OvtReader;
class ResampleCells;
class ResidualWriter;
class TextReader;
class TextWriter;
struct ImageReference;
struct ProjectHeader;
struct ResampleView;
struct RunTrack;
struct TextPointContext;

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
  // Stages of the CPU flow; 1, or 0 where the run ends.
  int PrepareCpuPoints(const std::string& gcp);
  void ReadCpuPosData(const std::string& pos);
  int RunCpuIterations();
  int AddSectionToNormalEquation(int32_t iteration, int32_t section, std::vector<int32_t>& threadNumCache);
  /// Zeroed storage for one iteration, in the form that Apply_PCG_Model asks for.
  void MakeNormalEquation();

  // ==== block/ ========================================================================================
  /// Counts points and measurements, before anything big is read; 1, or 0 after a message.
  int PreReadData(const std::string& project, const std::string& gcp);
  /// Reads cameras and images and applies the deletion rules; 1, 0, or -1 with too few images.
  int ReadProject(const std::string& project, const std::string& gcp);
  /// Reads a whole GCP file, without sections; 1 or -1.
  int ReadGcpList(std::vector<ObjectPointRecord>& objectList, std::vector<ImagePointRecord>& imagePointList,
                  TextReader& file);
  /// Divides the points under 80 % of the free memory. `counts`: measurements by tie point, or null.
  int PlanSections(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum, int64_t imagePointNum,
                   const std::vector<int32_t>* counts);
  /// Reads one section into pObjectPoints and pImagePoints; 1, whatever the files hold, or 0 for a section
  /// that does not exist and where reading failed. `count`: object points read; an empty section leaves the
  /// arrays empty.
  int ReadSectionPoints(int32_t section, const std::string& project, const std::string& gcp, int64_t& count);
  /// The same with the paths of the object.
  int ReadSectionPoints(int32_t section);
  // Readers of ReadSectionPoints for one kind of file; 1, or -1 at a reference to an image that can't be.
  // What was read before stays, in a state where every reference holds.
  int ReadTextPoints(int32_t section, std::vector<ObjectPointRecord>& objectList,
                     std::vector<ImagePointRecord>& imagePointList, TextReader& file);
  // Parts of ReadTextPoints: in pieces, with a thread for each of `files`, from the places that PreReadData
  // remembers, or the points from ordinal `first` to `end` in the order of the file.
  int ReadTextPieces(int64_t pieceNum, int64_t end, std::span<TextReader> files,
                     const TextPointContext& context, std::vector<ObjectPointRecord>& objectList,
                     std::vector<ImagePointRecord>& imagePointList, TextReader& file);
  int ReadTextPointsOneByOne(int64_t first, int64_t end, const TextPointContext& context,
                             std::vector<ObjectPointRecord>& objectList,
                             std::vector<ImagePointRecord>& imagePointList, TextReader& file);
  int ReadOvtPoints(int32_t section, int64_t& count, int64_t& imageCount, OvtReader& file);
  /// At such a reference the counts stay as they were, too.
  int ReadGcpPoints(int32_t section, int64_t& count, int64_t& imageCount, TextReader& file);
  /// Makes pGcpTable from the whole GCP file where it does not exist yet; 1, or 0 where reading failed.
  int ReadGcpTable(const std::string& gcp);
  // Stages of PreReadData, ReadProject and ReadSectionPoints; 1, or 0 where the operation ends.
  int PreReadTextPoints(const ProjectHeader& header, TextReader& file);
  int PreReadOvt();
  void PreReadGcp(const std::string& gcp);
  int ReadImage(int32_t ordinal, std::vector<int32_t>& imagesOfCamera, TextReader& file);
  void DeleteCamerasWithoutImage(const std::vector<int32_t>& imagesOfCamera);
  void DeleteCamerasBeyondUnknowns(const std::vector<int32_t>& imagesOfCamera);
  void DeleteImagesWithoutCamera();
  void ReadSectionTiePoints(int32_t section, const std::string& project, int64_t& count, int64_t& imageCount);
  void ReserveSectionPoints(int32_t section);
  int ReadOvtMeasures(int64_t firstPoint, const OvtReader& file);
  /// The same for the points from row `firstRow` on, in the order of the file; -1 at an image that can't be.
  int ReadOvtMeasuresOneByOne(int64_t firstRow, std::span<ObjectPointRecord> points, int64_t firstPoint,
                              std::span<const ImageReference> references, OvtMeasureWindow& window,
                              bool& readable);
  /// Adds a control or check point among the tie points of a text project to the counts, once.
  void CountTextPoint(int64_t ordinal, int32_t type);
  /// Matches GPS/IMU records to images and forms strip groups; 0 with both POS switches cleared without a
  /// file.
  int ReadPosData(const std::string& pos);
  /// Thins the tie points through a grid on each image; 1 or 0.
  int ResamplePoints(const std::string& ovt, const std::string& gcp, const std::string& newOvt);
  // Stages of ResamplePoints; 1, or 0 where it ends.
  int MarkResampledPoints(int64_t total, int64_t imageTotal, std::vector<uint8_t>& keep);
  int OfferSectionPoints(int32_t section, const std::vector<ResampleView>& views, ResampleCells& cells);
  void FilterPoints(const std::string& ovt, int64_t total, const std::vector<uint8_t>& keep,
                    int64_t newPointCount, int64_t& imagePointSum, TextWriter* newFile);
  int MakeResampledSection(const std::string& gcp, int64_t imagePointSum);
  /// Copies the kept points with all their measurements to `newFile`, or to memory where that is null.
  /// `counts`: their numbers of measurements.
  int FilterOvtPoints(int64_t total, const std::vector<uint8_t>& keep, int64_t newPointCount,
                      int64_t& imagePointSum, std::vector<int32_t>& counts, TextWriter* newFile,
                      OvtReader& source);
  void CopyKeptMeasures(const std::vector<int32_t>& fileFirst, int64_t imagePointSum,
                        const std::vector<int32_t>& counts, TextWriter& newFile, OvtReader& source);
  void ReadKeptMeasures(const std::vector<int32_t>& fileFirst, std::vector<int32_t>& counts,
                        OvtReader& source);
  int FilterTextPoints(int64_t total, const std::vector<uint8_t>& keep, int64_t& imagePointSum,
                       std::vector<int32_t>& counts, TextReader& file);
  /// Appends the whole GCP file; the counts become the numbers of points and measurement lines in it.
  int ReadGcpForResample(int64_t& objectCount, int64_t& imageCount, TextReader& file);

  /// False where cameras stay as they were read.
  bool AdjustsCameras() const {
    return Settings.Set_IOP_Unknown && !Settings.Direct_Intersection &&
           (Limits.Apply_GPU || !Settings.Absolute_Orientation);
  }

  // ==== geometry/ =====================================================================================
  /// Intersects the points of the section in memory on all processors; 1. Reads Images, Cameras, Frame;
  /// writes Points and, in object units, dCheckResidual and dControlResidual of Residuals.
  int ComputeTiePoints(int32_t section);
  /// The same without statistics, in one task less than there are processors, as told in the log; 1.
  int ComputeTiePointsThreaded(int32_t section);
  /// Points of the section that are in memory.
  int64_t SectionPointCount(int32_t section) const;
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
  /// Control and check points among the tie points in memory, just read: takes them into the frame.
  void NormalizeProjectControl();
  /// Reads Images; writes fSevenParam of Frame, and Test.txt. 1 or 0.
  int ComputeSevenParametersFromGps();
  /// Reads the GCP file, Images, Cameras; writes fSevenParam of Frame. 1, 0, or -1 without such a file.
  int ComputeSevenParametersFromGcp(const std::string& gcp);
  /// Takes the orientations of Images to the frame of fSevenParam; 1.
  int ApplySevenParameters();

  // ==== normal/ =======================================================================================
  /// Finds the block pattern by one walk over all points; 1 or 0.
  int ComputeSubMatrixPosition();
  int AddSubMatrixPosition(int32_t a, int32_t b);
  int32_t GetSubMatrixId(int32_t row, int32_t col) const;
  void GetUnknownPosition(int32_t row, int32_t col, int32_t& rowPosition, int32_t& colPosition) const;
  int AddToSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col,
                     std::vector<SubMatrix>& target);
  int SubtractFromSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row, int32_t col,
                            std::vector<SubMatrix>& target);
  int AddToDenseMatrix(const double* source, int32_t rows, int32_t cols, int32_t rowStart, int32_t colStart,
                       double* target, int32_t targetRows, int32_t targetCols);
  int SubtractFromDenseMatrix(const double* source, int32_t rows, int32_t cols, int32_t rowStart,
                              int32_t colStart, double* target, int32_t targetRows, int32_t targetCols);
  /// 1 when the thread number stands, 0 when it was reduced, -1 when none fits.
  int ComputeMultithreadMemory(int32_t section);
  int SplitSubTasks(int32_t section, std::vector<SubTask>& tasks);
  /// Adds the section's reduced equations in threads and writes its residual file; 1, 0, or -1 without a
  /// plan. `threadNumCache`: one thread number per section, 0 until it is planned.
  int BuildNormalEquation(int32_t iteration, int32_t section, std::vector<int32_t>& threadNumCache);
  int AllocateThreadBuffers(std::vector<SubTask>& tasks);
  bool PlanThreads(int32_t section, std::vector<int32_t>& threadNumCache);
  int BuildNormalEquationTask(int32_t thread, int32_t first, int32_t last);
  /// The order in which a thread takes its points; empty: as they come.
  const std::vector<int32_t>& OrderOfSlice(int32_t thread, int32_t first, int32_t last);
  /// The numbering of the unknowns as it stands.
  UnknownLayout Layout() const {
    return {Unknowns.nLayoutMode, Images.nUnknownImageNum, Cameras.nCameraNum, Unknowns.nPosSize,
            Cameras.UsableNum()};
  }
  /// The section's points that are in memory, never more than the section has.
  std::span<const ObjectPointRecord> PointsOfSection(int32_t section) const;
  void AddPosPattern();
  void MergeThread(int32_t thread);
  void ReportMissingBlocks(int32_t thread);
  int FinishBlocks();
  int BuildPosNormalEquation(int32_t iteration);
  int AddDampingCoefficients(int32_t iteration);
  int DampSparse(double mu);
  int DampDense(double mu);

  // ==== solver/ =======================================================================================
  /// Solves, writes the side files, updates the unknowns and decides convergence; always 1.
  int SolveAndUpdate(int32_t iteration);
  int UpdateUnknowns(const double* x);
  void WriteRemainder(int32_t iteration, const std::vector<double>& remainder);
  int SolveByPcg(double* x);
  /// For the verdict: what one more step without damping would gain behind the step x, as a share of the sum
  /// of squares. PredictSparse takes the damping off the matrix.
  void PredictSparse(const double* x);
  void PredictDense(const DenseSystem& system, const double* x);
  /// True when nothing ties the block to a frame, and when the iteration ends behind the step x.
  bool IsFree() const;
  bool IsLastStep(int32_t iteration, const double* x) const;

  // ==== gpu/ ==========================================================================================
  /// What the device path keeps; made when it is first asked for.
  gpu::GpuState& Gpu();
  /// Non-zero when a usable device exists. Tells the console alone. Without a device platform in Gpu() it
  /// takes that of CUDA.
  int DetectCudaDevices();
  /// Divides the points in memory of one point section into GPU sections; 1, or 0 after a message.
  int ComputeGpuSections(int32_t section);
  gpu::SectionPoints PointsOfGpuSection(int32_t gpuSection);
  /// Allocates and fills the arrays of the run; 1, or 0 after a message.
  int AllocFixedDeviceMemory();
  /// Allocates and fills the arrays of a GPU section, and the thresholds; 1, or 0 after a message.
  int AllocPointDeviceMemory(int32_t gpuSection);
  /// Uploads the object points of a GPU section that is on the device already.
  int RefreshObjectArray(int32_t gpuSection);
  /// Uploads thresholds and orientations after a step; 1.
  int RefreshOrientationArrays();
  int FreePointDeviceMemory();
  int FreeFixedDeviceMemory();
  /// The whole iteration on the device, and the results; 1, or 0 after a message.
  int RunGpuBundle(const std::string& project, const std::string& gcp, std::string& output);
  /// The factor of the iteration's damping; sets the limits of the iterative solution, too.
  double ChoosePackedDamping(int32_t iteration);
  /// The POS observations that take part, with a message for each index that fails.
  std::vector<gpu::PosTerm> GatherPosTerms();
  // Shares of POS data in the packed preconditioner, the constant vector and the product; 1, and the last
  // one 0 without POS data.
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
