// All figures of one run. They are computed once, and every form for people and for programs is written from
// them: console, summary.json, report.html, tables.
//
// Units are those of the files: pixels for whatever is measured in images, object units ("metres") for
// coordinates, degrees, seconds, bytes. No view of the block.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "verdict/Judge.h"

namespace orvo::report {

/// Of a figure that there is none of.
inline constexpr double kNoFigure = std::numeric_limits<double>::quiet_NaN();

/// A count that is not known, null in summary.json. What is no number of the others is NaN.
inline constexpr int64_t kUnknownCount = -1;

struct Pair {
  double x = 0, y = 0;
};

/// Object coordinates or a difference of such.
struct Triple {
  double X = 0, Y = 0, Z = 0;
};

struct InputFigure {
  std::string szRole;  ///< "project", "tie points", "gcp", "pos", "settings"
  std::string szPath;  ///< as named by the user
  int64_t nBytes = 0;
  std::string szChecksum;  ///< "crc32:" and eight digits; empty where it was not taken
};

/// Where the value of a setting comes from.
enum class SettingOrigin { Default, File, CommandLine, Run };
/// "default", "file", "command line", "run".
const char* NameOf(SettingOrigin origin);

struct SettingFigure {
  std::string szKey;
  std::string szValue;  ///< "true", "false" or a number, as the run took it
  SettingOrigin Origin = SettingOrigin::Default;
};

struct ProgramFigure {
  std::string szVersion;
  std::string szBuild;           ///< compiler and kind of build
  std::string szInstructionSet;  ///< that the run chose
  std::string szDevice;          ///< "cpu", "host", or the device's name
  int32_t nProcessors = 0;
};

/// What was read, and what of it takes part.
struct BlockCounts {
  int32_t nImages = 0, nImagesInFile = 0;
  int32_t nCameras = 0, nCamerasInFile = 0;
  int32_t nStrips = 0;                           ///< of the POS file; 0 without
  int64_t nTiePoints = 0, nTiePointsInFile = 0;  ///< fewer than in the file where points are thinned
  int64_t nMeasurements = 0;                     ///< of those that take part, control among them
  int32_t nControl = 0, nCheck = 0;
  int32_t nPosImages = 0;   ///< images with an observed position or attitude
  int64_t nUnknowns = 0;    ///< of the reduced normal equations; points are not among them
  int64_t nRedundancy = 0;  ///< equations less unknowns, coordinates of points among them
  int32_t nSections = 0;    ///< runs of points that fit in memory
  bool bImagesUnknown = false, bCamerasUnknown = false;
};

/// What one iteration found and did. Residuals are those before its step.
struct IterationFigure {
  int32_t nNumber = 0;  ///< from 1
  Pair Rmse;
  double fLargest = 0;  ///< largest correction, whatever its unit; not finite where there was no step
  /// Measurements; nUsed + nGross may be fewer than all. kUnknownCount on a device, which counts none, and
  /// where residuals are no numbers.
  int64_t nUsed = 0, nGross = 0;
  int32_t nSolverSteps = 0;  ///< of the iterative solver; 0 with the direct one
  double fDamping = 0;
  double fSeconds = 0;
};

/// True where the damping outweighs the equations: the size of the correction says nothing then of how far
/// off the solution is.
bool IsHeld(const IterationFigure& figure);
/// True where the last of them tells how far off the solution is: its correction and RMSE are numbers, and it
/// is not held.
bool HasSettled(std::span<const IterationFigure> iterations);

/// The phases of a run in their order.
enum class RunPhase { Reading, Preparing, Iterating, Judging, Writing, Reporting };
/// "reading", "preparing", "iterating", "judging", "writing", "reporting".
const char* NameOf(RunPhase phase);

struct PhaseFigure {
  RunPhase Phase = RunPhase::Reading;
  double fSeconds = 0;
};

/// Residuals of one set of measurements, pixels.
struct ResidualFigure {
  int64_t nMeasurements = 0;  ///< kUnknownCount where only the others are known, as on a device
  Pair Rmse, Mean;            ///< NaN where the report lists none
};

/// Counts over equal steps from fFirst on; what lies outside is counted at the ends.
struct Histogram {
  double fFirst = 0, fStep = 1;
  std::vector<int64_t> vCounts;
  int64_t nBelow = 0, nAbove = 0;
};

/// The same residuals by three rules.
struct ResidualFigures {
  ResidualFigure Listed;  ///< as in OrvoAdjustReport.txt
  /// Tie points by unweighted least squares over all their measurements.
  ResidualFigure StrictAll;
  ResidualFigure StrictKept;  ///< the same over those that the run did not take for gross
  /// Of all points, in the pass behind the last step; nGross is kUnknownCount where that could judge none.
  int64_t nGross = 0, nMeasurements = 0;
  Histogram X, Y;  ///< of StrictKept, over four times the listed RMSE to both sides
};

struct ImageFigure {
  std::string szName;
  int32_t nCamera = -1;  ///< place in vCameras
  int32_t nStrip = -1;   ///< of the POS file; -1 without
  Triple Centre;
  std::array<Pair, 4> Footprint{};  ///< corners on the mean height of its points, object units; all 0 without
  bool bHasFootprint = false;
  int64_t nUsed = 0, nGross = 0;  ///< control and check points among them
  Pair Mean, Rmse;                ///< of StrictKept: of tie points alone; NaN without any
};

inline constexpr int32_t kGridColumns = 20, kGridRows = 15;  ///< of the field of mean residuals
inline constexpr int32_t kRadialBins = 20;

struct CameraParameters {
  double f = 0, x0 = 0, y0 = 0, k1 = 0, k2 = 0;  ///< pixels, 1/pixel^2, 1/pixel^4
  bool bFurther = false;                         ///< there are more terms of the distortion
  LensTerms Further = {};                        ///< pixels
};

struct ResidualCell {
  int64_t nNum = 0;
  Pair Mean;  ///< pixels
};

struct CameraFigure {
  std::string szName;               ///< "camera 0" and so on, by its place in the project
  int32_t nId = 0;                  ///< that place
  int32_t nWidth = 0, nHeight = 0;  ///< pixels
  bool bUnknown = false;
  CameraParameters Start, End;
  int64_t nImages = 0, nUsed = 0, nGross = 0;
  Pair Rmse;
  /// Mean residuals of StrictKept over the image, kGridRows rows of kGridColumns from the upper left corner.
  /// Empty, as the rings, where there are very many cameras and others have more images, or without an
  /// extent.
  std::vector<ResidualCell> vField;
  /// By distance from the principal point, kRadialBins rings of equal width out to the corner: RMSE along the
  /// radius (x) and across it (y), and their means.
  struct Ring {
    int64_t nNum = 0;
    Pair Rmse, Mean;
  };
  std::vector<Ring> vRings;
  double fRingWidth = 0;  ///< pixels
};

struct GroundPointFigure {
  std::string szName;
  bool bControl = false;
  Triple Given;
  bool bIntersected = false;  ///< without it there is no difference
  Triple Difference;          ///< unweighted intersection less given coordinates
  int32_t nRays = 0;
  double fRmse = 0, fWorst = 0;  ///< pixels, lengths; of control against its given place
  std::string szWorstImage;
};

/// Differences of several points. What is not known of them is NaN.
struct GroundStatistics {
  int64_t nNum = 0;
  Triple Mean, Deviation, Rmse;  ///< Deviation: standard deviation about the mean, n - 1
  double fHorizontal = 0;        ///< sqrt(RmseX^2 + RmseY^2)
};

struct GroundFigures {
  std::vector<GroundPointFigure> vPoints;
  GroundStatistics Control, Check;
  /// Mean and Rmse as in OrvoAdjustReport.txt, which has no deviations.
  GroundStatistics ListedControl, ListedCheck;
  /// Error of the check points' own survey, object units: horizontal (both coordinates together, as
  /// fHorizontal is) and of heights. Only the user can know it.
  std::optional<double> fSurveySigmaH, fSurveySigmaV;
};

struct DriftFigure {
  int32_t nStrip = 0;
  int32_t nImages = 0;
  Triple Constant, Rate;  ///< object units, object units a second
  Triple Rmse;            ///< of the differences after drift
};

struct PosImageFigure {
  int32_t nImage = 0;  ///< place in vImages
  int32_t nStrip = 0;
  double fTime = 0;   ///< seconds along its strip
  Triple Difference;  ///< observed less computed position, drift taken off
};

struct PosFigures {
  bool bGps = false, bImu = false, bConstant = false, bLinear = false;
  double fWeightXY = 0, fWeightZ = 0;
  /// Standard deviation that the weights stand for, object units, a measurement taken to have the strict
  /// RMSE.
  double fSigmaXY = 0, fSigmaZ = 0;
  std::vector<DriftFigure> vStrips;
  std::vector<PosImageFigure> vImages;
  Triple Rmse;
};

/// A square of the ground.
struct GroundCell {
  int32_t nColumn = 0, nRow = 0;  ///< from fCellX0, fCellY0 on, to the east and to the north
  int64_t nPoints = 0, nRays = 0;
  double fMeanZ = 0;
};

/// Of tie points.
struct PointFigures {
  int64_t nPoints = 0, nNotIntersected = 0, nNotInFront = 0;
  Histogram Rays;    ///< rays a point that were kept, by one from 2 to 20
  Histogram Angles;  ///< largest angle between two kept rays of a point, degrees
  double fMeanRays = 0, fMedianAngle = 0;
  double fShareBelow3 = 0;  ///< of the points that were intersected, percent: fewer than 3 kept rays
  double fCellSize = 0, fCellX0 = 0, fCellY0 = 0;
  std::vector<GroundCell> vCells;  ///< those with points, by row, then column; without what lies far off
  double fCellsBelow3 = 0;         ///< of vCells, percent: fewer than 3 rays a point in the mean
  double fGsd = 0;                 ///< object units of a pixel
  Triple Low, High;                ///< corners of the block, without its outermost points where they stray
};

/// An unknown of a camera, in the unit that it names.
struct CameraQuantityFigure {
  std::string szName, szUnit;
  double fValue = 0, fDeviation = 0;  ///< standard deviation
};

struct CorrelationFigure {
  std::string szFirst, szSecond;
  double fCorrelation = 0;
};

struct CameraPrecisionFigure {
  std::string szCamera;  ///< its place in the project
  std::vector<CameraQuantityFigure> vQuantities;
  std::vector<CorrelationFigure> vCorrelations;  ///< beyond 0.95 either way
};

/// Of standard deviations; without images 0.
struct DeviationRange {
  Triple Least, Median, Largest;
};

/// A control or check point that was adjusted. What is not observed or can't be tested is no number.
struct GroundPrecisionFigure {
  std::string szPoint;
  bool bControl = false;
  int32_t nRays = 0;  ///< that are in use
  Triple Deviation;   ///< standard deviations of the adjusted coordinates, object units
  /// Of control: residual by its standard deviation. Of check points: difference by that of the difference,
  /// which comes from the adjusted point and from the survey.
  Triple Test;
  Triple Redundancy;  ///< of control: 0 nothing controls it, 1 everything does
  Triple Smallest;    ///< of control: gross error that is found with 80 %, object units
  Triple Effect;      ///< of control: what one that is not found moves, in standard deviations of that
};

/// An observation that the others contradict.
struct SuspectFigure {
  std::string szKind;       ///< "measurement", "control", "gps", "imu"
  bool bLeftOut = false;    ///< of the adjustment
  std::string szImage;      ///< empty of control
  std::string szPoint;      ///< empty of GPS and IMU
  std::string szComponent;  ///< "x", "y", "x y", "X", "phi", ...
  double fSize = 0;         ///< of the gross error, as far as the others tell it
  std::string szUnit;       ///< of the size: "px", "object units", "degrees"
  double fTest = 0;         ///< w; above 3.29 of one in 1,000 that is sound
  /// Of what takes part; no numbers else. Smallest: gross error that is found with 80 %, in the unit of the
  /// size. Effect: what one that is not found moves, in standard deviations of that.
  double fRedundancy = kNoFigure, fSmallest = kNoFigure, fEffect = kNoFigure;
};

/// A group of observations, and how large its errors are against what was stated of them.
struct VarianceFigure {
  std::string szGroup;   ///< "measurements", "control X Y", "control Z", "GPS X Y", "GPS Z", "IMU", "priors"
  std::string szCamera;  ///< of measurements; else empty
  int64_t nObservations = 0;
  double fRedundancy = 0;
  double fFactor = 1;     ///< of the stated standard deviations; 1 where it is not known
  double fDeviation = 0;  ///< of the factor; no number where it is not known
  bool bApplied = false;  ///< the adjustment took the standard deviations times the factor
};

/// Of a rigorous run.
struct PrecisionFigures {
  double fSigma0 = 0;
  int64_t nRedundancy = 0;
  double fSquares = 0, fLow = 0, fHigh = 0;  ///< v'Pv, and between what it may be
  std::string szTest;                        ///< "passed", "too large", "too small", "not possible"
  int32_t nDatumDefect = 0;
  std::vector<std::string> vFree;  ///< motions of the block that nothing holds
  std::string szRefusal;           ///< why there are no standard deviations; empty where there are
  int64_t nBlunders = 0;           ///< measurements left out
  int64_t nImages = 0;             ///< with standard deviations
  DeviationRange Centres;          ///< object units
  DeviationRange Angles;           ///< phi, omega, kappa, degrees
  std::vector<CameraPrecisionFigure> vCameras;
  std::vector<GroundPrecisionFigure> vGround;  ///< control, then check points
  std::vector<SuspectFigure> vSuspects;        ///< the largest test values first, at most 100
  int64_t nSuspects = 0;                       ///< all there are, with the measurements left out
  std::vector<VarianceFigure> vVariances;      ///< empty where they were not estimated
};

struct MemoryFigure {
  int64_t nPeakBytes = 0;       ///< of the process
  int64_t nAvailableBytes = 0;  ///< that the run planned with
};

struct RunFigures {
  ProgramFigure Program;
  std::string szBegin;     ///< local time, "2026-11-22 16:30:00"
  std::string szMethod;    ///< "classic", "rigorous"
  std::string szSolver;    ///< "dense", "sparse", "device"
  bool bAdjusted = false;  ///< false: only intersected or transformed
  bool bDone = false;      ///< the run came to its end
  /// The last correction was small, and not because damping held it; it and the last RMSE are numbers.
  bool bConverged = false;
  std::string szFailure;  ///< why it did not; empty where it did
  std::string szProject;  ///< name of the project's file
  std::vector<InputFigure> vInputs;
  std::vector<SettingFigure> vSettings;
  BlockCounts Counts;
  std::vector<Finding> vFindings;
  std::vector<IterationFigure> vIterations;
  ResidualFigures Residuals;
  std::vector<ImageFigure> vImages;
  std::vector<CameraFigure> vCameras;
  GroundFigures Ground;
  std::optional<PosFigures> Pos;
  std::optional<PrecisionFigures> Precision;  ///< of the rigorous method
  PointFigures Points;
  Verdict Judgement;
  std::vector<PhaseFigure> vPhases;
  double fSeconds = 0;
  MemoryFigure Memory;
};

}  // namespace orvo::report
