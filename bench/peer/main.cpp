// orvo_peer: the same least squares problem, given to Ceres Solver.
//
// It reads the same files, through the same readers, transforms and normalises as the adjustment does, and
// starts from the same orientations and intersected points. Images, cameras, or both are unknown as the
// settings say, in the same parameters; the points always are. Control points are fixed, and their
// measurements weigh GCP_Weight.
//
// The rule for gross measurements makes the adjustment robust by leaving out what is off by more than five
// times the RMSE. With --gross the peer has the same rule as its loss function, with the limit renewed after
// each step from the RMSE of what counts; the limit is a circle here and a square there. Other losses would
// be another problem. Where no measurement is gross the rule would cost the peer time for nothing, so it has
// none then.
//
// What helps it: exact analytic derivatives, rotation matrices once for each image and evaluation, cost
// functions in one array, no safety checks, and no result files to write.
#include <ceres/ceres.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "peer/CollinearityCost.h"
#include "peer/RigorousPeer.h"
#include "peer/Times.h"
#include "prepared/PreparedBlock.h"

namespace orvo::peer {
namespace {

struct Arguments {
  std::string szProject, szGcp, szSettings, szSolver = "sparse";
  int nThreads = 1;
  double fTarget = 0;  ///< pixels
  double fTolerance = 1e-6;
  bool bGross = false, bProgress = false;
};

/// The parameters in the solver's form. Images and cameras of a merged layout share a block of 11.
struct Parameters {
  std::vector<double> Images, Cameras, Points;  ///< 6 (or 11), 5 and 3 each
  int nImageStride = 6;

  double* Image(int32_t i) { return Images.data() + static_cast<ptrdiff_t>(i) * nImageStride; }
  double* Camera(int32_t i) { return Cameras.data() + static_cast<ptrdiff_t>(i) * 5; }
  double* Point(size_t i) { return Points.data() + 3 * i; }
};

Parameters TakeParameters(const CBundleAdjustment& block) {
  Parameters p;
  const bool merged = block.Unknowns.nLayoutMode == LayoutMergedEopIop;
  p.nImageStride = merged ? 11 : 6;
  for (const IopRecord& iop : block.Cameras.Usable())
    p.Cameras.insert(p.Cameras.end(), {iop.fFocal, iop.fPrincipalX, iop.fPrincipalY, iop.fK1, iop.fK2});
  for (size_t i = 0; i < block.Images.Kept().size(); ++i) {
    const EopRecord& eop = block.Images.Kept()[i];
    p.Images.insert(p.Images.end(), {eop.X, eop.Y, eop.Z, eop.fPhi, eop.fOmega, eop.fKappa});
    if (merged)
      p.Images.insert(p.Images.end(), p.Camera(static_cast<int32_t>(i)),
                      p.Camera(static_cast<int32_t>(i)) + 5);
  }
  for (const ObjectPointRecord& point : block.Points.pObjectPoints)
    p.Points.insert(p.Points.end(), {point.X, point.Y, point.Z});
  return p;
}

/// A measurement that takes part, with the index of its point.
struct Observation {
  const ImagePointRecord* pMeasure;
  size_t nPoint;
  bool bControl;
};

std::vector<Observation> TakeObservations(const CBundleAdjustment& block) {
  const UnknownLayout layout = block.Layout();
  std::vector<Observation> observations;
  for (size_t p = 0; p < block.Points.pObjectPoints.size(); ++p) {
    const ObjectPointRecord& point = block.Points.pObjectPoints[p];
    for (const ImagePointRecord& measure : MeasurementsOf(point, block.Points.pImagePoints)) {
      if (layout.Holds(measure)) observations.push_back({&measure, p, point.nType == 1});
    }
  }
  return observations;
}

/// Cost functions of one kind, in large pieces.
template <int... kSizes>
using CostArray = std::deque<CollinearityCost<kSizes...>>;

class Peer {
 public:
  Peer(const CBundleAdjustment& adjustment, const Arguments& arguments)
      : block(adjustment),
        parameters(TakeParameters(adjustment)),
        observations(TakeObservations(adjustment)),
        frames(ImagePointers()),
        bGross(arguments.bGross) {}

  /// Makes the problem; times are from here on.
  void Build() {
    ceres::Problem::Options options;
    options.cost_function_ownership = ceres::DO_NOT_TAKE_OWNERSHIP;
    options.loss_function_ownership = ceres::DO_NOT_TAKE_OWNERSHIP;
    options.disable_all_safety_checks = true;
    options.evaluation_callback = &frames;
    problem = std::make_unique<ceres::Problem>(options);
    switch (block.Unknowns.nLayoutMode) {
      case LayoutEop:
        return AddAll<6>(0, -1);
      case LayoutIop:
        return AddAll<5>(-1, 0);
      case LayoutMergedEopIop:
        return AddAll<11>(0, 0);
      default:
        return AddAll<6, 5>(0, 1);
    }
  }

  ceres::Solver::Options Options(const Arguments& arguments) {
    ceres::Solver::Options options;
    const std::map<std::string, ceres::LinearSolverType> solvers = {{"dense", ceres::DENSE_SCHUR},
                                                                    {"sparse", ceres::SPARSE_SCHUR},
                                                                    {"iterative", ceres::ITERATIVE_SCHUR}};
    options.linear_solver_type = solvers.at(arguments.szSolver);
    options.preconditioner_type = ceres::SCHUR_JACOBI;
    options.use_explicit_schur_complement = true;
    if (ceres::IsDenseLinearAlgebraLibraryTypeAvailable(ceres::LAPACK))
      options.dense_linear_algebra_library_type = ceres::LAPACK;
    options.num_threads = arguments.nThreads;
    options.function_tolerance = arguments.fTolerance;
    options.max_num_iterations = 100;
    options.minimizer_progress_to_stdout = arguments.bProgress;
    options.logging_type = arguments.bProgress ? ceres::PER_MINIMIZER_ITERATION : ceres::SILENT;
    auto ordering = std::make_shared<ceres::ParameterBlockOrdering>();
    for (size_t p = 0; p < block.Points.pObjectPoints.size(); ++p) {
      if (problem->HasParameterBlock(parameters.Point(p)))
        ordering->AddElementToGroup(parameters.Point(p), 0);
    }
    std::vector<double*> all;
    problem->GetParameterBlocks(&all);
    for (double* parameter : all) {
      if (!ordering->IsMember(parameter)) ordering->AddElementToGroup(parameter, 1);
    }
    options.linear_solver_ordering = ordering;
    return options;
  }

  /// RMSE over x and y of what is not gross, pixels, for the parameters as they stand. Renews the limit.
  double Rms() {
    double sum = 0;
    int64_t count = 0;
    std::vector<Frame> current(block.Images.Kept().size());
    for (size_t i = 0; i < current.size(); ++i)
      current[i] = MakeFrame(parameters.Image(static_cast<int32_t>(i)));
    for (const Observation& observation : observations) {
      const ImagePointRecord& m = *observation.pMeasure;
      const double* c = CameraOf(m);
      double r[2];
      EvaluateCollinearity(current[static_cast<size_t>(m.nImage)], parameters.Image(m.nImage),
                           {c[0], c[1], c[2], c[3], c[4]}, parameters.Point(observation.nPoint), m.x, m.y, 1,
                           r, nullptr, 6, nullptr, 5, nullptr);
      const double square = r[0] * r[0] + r[1] * r[1];
      if (bGross && !observation.bControl && rule.IsGross(square)) continue;
      sum += square;
      ++count;
    }
    const double rms = std::sqrt(sum / (2.0 * static_cast<double>(count)));
    if (bGross) rule.SetLimit(block.Settings.Gross_Point_Threshold * rms);
    return rms / block.Settings.Image_Coor_Scale;
  }

  ceres::Problem* Problem() { return problem.get(); }
  size_t ObservationNum() const { return observations.size(); }

  /// Largest difference between a derivative and its central difference, relative to the largest of its
  /// column, over some measurements.
  double CheckDerivatives();

 private:
  std::vector<const double*> ImagePointers() {
    std::vector<const double*> pointers;
    for (size_t i = 0; i < block.Images.Kept().size(); ++i)
      pointers.push_back(parameters.Image(static_cast<int32_t>(i)));
    return pointers;
  }

  double* CameraOf(const ImagePointRecord& m) {
    return block.Unknowns.nLayoutMode == LayoutMergedEopIop ? parameters.Image(m.nImage) + 6
                                                            : parameters.Camera(m.nCamera);
  }

  CostInput InputOf(const Observation& observation) {
    const ImagePointRecord& m = *observation.pMeasure;
    return {frames[static_cast<size_t>(m.nImage)],
            parameters.Image(m.nImage),
            CameraOf(m),
            parameters.Point(observation.nPoint),
            m.x,
            m.y,
            observation.bControl ? std::sqrt(block.Settings.GCP_Weight) : 1};
  }

  /// `image` and `camera`: their place among the unknowns whose sizes are kSizes, -1 where they are known.
  template <int... kSizes>
  void AddAll(int image, int camera) {
    auto ties = std::make_shared<CostArray<kSizes..., 3>>();
    for (const Observation& observation : observations) {
      const ImagePointRecord& m = *observation.pMeasure;
      std::vector<double*> unknowns(sizeof...(kSizes));
      if (camera >= 0) unknowns[static_cast<size_t>(camera)] = parameters.Camera(m.nCamera);
      if (image >= 0) unknowns[static_cast<size_t>(image)] = parameters.Image(m.nImage);
      if (observation.bControl) {
        auto owned = std::make_unique<CollinearityCost<kSizes...>>(InputOf(observation), image, camera, -1);
        problem->AddResidualBlock(owned.get(), nullptr, unknowns);
        others.push_back(std::move(owned));
        continue;
      }
      unknowns.push_back(parameters.Point(observation.nPoint));
      ties->emplace_back(InputOf(observation), image, camera, static_cast<int>(sizeof...(kSizes)));
      problem->AddResidualBlock(&ties->back(), bGross ? &rule : nullptr, unknowns);
    }
    costs = ties;
  }

  const CBundleAdjustment& block;
  Parameters parameters;
  std::vector<Observation> observations;
  FrameTable frames;
  bool bGross;
  GrossRule rule;
  std::shared_ptr<void> costs;
  std::vector<std::unique_ptr<ceres::CostFunction>> others;
  std::unique_ptr<ceres::Problem> problem;
};

double Peer::CheckDerivatives() {
  double worst = 0;
  constexpr double kSteps[14] = {1e-4, 1e-4, 1e-4, 1e-6, 1e-6, 1e-6, 1e-4,
                                 1e-4, 1e-4, 1e-2, 1e-2, 1e-4, 1e-4, 1e-4};
  for (size_t o = 0; o < observations.size(); o += observations.size() / 50 + 1) {
    const ImagePointRecord& m = *observations[o].pMeasure;
    double p[14];  // image, camera, point
    std::copy_n(parameters.Image(m.nImage), 6, p);
    std::copy_n(CameraOf(m), 5, p + 6);
    std::copy_n(parameters.Point(observations[o].nPoint), 3, p + 11);
    const auto residual = [&](double* r, double* byImage, double* byCamera, double* byPoint) {
      EvaluateCollinearity(MakeFrame(p), p, {p[6], p[7], p[8], p[9], p[10]}, p + 11, m.x, m.y, 1, r, byImage,
                           6, byCamera, 5, byPoint);
    };
    double r[2], byImage[12], byCamera[10], byPoint[6];
    residual(r, byImage, byCamera, byPoint);
    for (int k = 0; k < 14; ++k) {
      const double kept = p[k];
      double up[2], down[2];
      p[k] = kept + kSteps[k];
      residual(up, nullptr, nullptr, nullptr);
      p[k] = kept - kSteps[k];
      residual(down, nullptr, nullptr, nullptr);
      p[k] = kept;
      double exact[2], largest = 1e-9;
      for (int row = 0; row < 2; ++row) {
        exact[row] = k < 6    ? byImage[6 * row + k]
                     : k < 11 ? byCamera[5 * row + k - 6]
                              : byPoint[3 * row + k - 11];
        largest = std::max(largest, std::fabs(exact[row]));
      }
      for (int row = 0; row < 2; ++row)
        worst = std::max(worst, std::fabs(exact[row] - (up[row] - down[row]) / (2 * kSteps[k])) / largest);
    }
  }
  return worst;
}

/// Takes the RMSE after each step, and the time that this took, which is no part of the solution.
class RmsRecorder : public ceres::IterationCallback {
 public:
  explicit RmsRecorder(Peer& observed) : peer(observed) {}

  ceres::CallbackReturnType operator()(const ceres::IterationSummary& summary) override {
    const Times begin = Now();
    Steps.push_back({begin - Start - Own,
                     summary.step_is_successful || summary.iteration == 0 ? peer.Rms() : Steps.back().fRms});
    Own = Own + (Now() - begin);
    return ceres::SOLVER_CONTINUE;
  }

  struct Step {
    Times Time;
    double fRms;
  };
  std::vector<Step> Steps;
  Times Start, Own;

 private:
  Peer& peer;
};

int Solve(const Arguments& arguments, const Times& start) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  if (!bench::PrepareBlock(block, arguments.szProject, arguments.szGcp, arguments.szSettings)) return 1;
  const Times read = Now();
  Peer peer(block, arguments);
  if (const double worst = peer.CheckDerivatives(); !(worst < 1e-5)) {
    std::fprintf(stderr, "orvo_peer: a derivative is off by %g of its size\n", worst);
    return 1;
  }
  peer.Build();
  ceres::Solver::Options options = peer.Options(arguments);
  RmsRecorder recorder(peer);
  options.callbacks.push_back(&recorder);
  options.update_state_every_iteration = true;
  const Times built = Now();
  ceres::Solver::Summary summary;
  recorder.Start = built;
  ceres::Solve(options, peer.Problem(), &summary);
  const Times solved = Now();
  if (arguments.bProgress) std::printf("%s\n", summary.FullReport().c_str());
  if (!summary.IsSolutionUsable()) {
    std::fprintf(stderr, "orvo_peer: %s\n", summary.message.c_str());
    return 1;
  }

  // The target has six decimals.
  Times toTarget{-1, -1};
  for (const RmsRecorder::Step& step : recorder.Steps) {
    if (toTarget.fWall < 0 && step.fRms <= arguments.fTarget + 1e-6) toTarget = step.Time;
    if (arguments.bProgress) std::printf("%9.3f s  RMSE %.6f px\n", step.Time.fWall, step.fRms);
  }
  const Times solution = solved - built - recorder.Own;
  std::printf("PEER {\n");
  const auto print = [](const char* name, const Times& times) {
    std::printf("%s %.9f\n%s_cpu %.9f\n", name, times.fWall, name, times.fCpu);
  };
  print("read", read - start);
  print("build", built - read);
  print("solve", solution);
  print("to_target", toTarget);
  std::printf("observations %zu\nsteps %zu\nrms %.9f\nconverged %d\n}\n", peer.ObservationNum(),
              recorder.Steps.size() - 1, recorder.Steps.back().fRms,
              summary.termination_type == ceres::CONVERGENCE ? 1 : 0);
  std::fflush(stdout);
  // Taking the problem apart piece by piece would count as its time.
  std::_Exit(0);
}

int Main(int argc, char** argv) {
  const Times start = Now();
  CLI::App app("Solves a block with Ceres Solver, from the same files and the same start as orvo adjust.");
  Arguments arguments;
  app.add_option("PROJECT", arguments.szProject, "text project, or .ovc with its .ovt")->required();
  app.add_option("--gcp", arguments.szGcp, "control and check points");
  app.add_option("--settings", arguments.szSettings, "AdjPara.xml")->required();
  app.add_option("--solver", arguments.szSolver,
                 "dense: DENSE_SCHUR; sparse: SPARSE_SCHUR; iterative: ITERATIVE_SCHUR, SCHUR_JACOBI, "
                 "explicit complement")
      ->capture_default_str()
      ->check(CLI::IsMember({"dense", "sparse", "iterative"}));
  app.add_option("--threads", arguments.nThreads, "threads of the solver")
      ->capture_default_str()
      ->check(CLI::Range(1, 256));
  app.add_option("--target", arguments.fTarget, "RMSE in pixels whose time is taken too");
  app.add_option("--tolerance", arguments.fTolerance, "relative change of the cost that ends it")
      ->capture_default_str();
  app.add_flag("--gross", arguments.bGross, "the rule for gross measurements");
  app.add_flag("--progress", arguments.bProgress, "print each step");
  RigorousArguments rigorous;
  bool isRigorous = false;
  app.add_flag("--rigorous", isRigorous, "the problem of the rigorous method; tells of it in JSON");
  AddRigorousOptions(app, rigorous);
  CLI11_PARSE(app, argc, argv);
  if (!isRigorous) return Solve(arguments, start);
  rigorous.szProject = arguments.szProject;
  rigorous.szGcp = arguments.szGcp;
  rigorous.szSettings = arguments.szSettings;
  rigorous.szSolver = arguments.szSolver;
  rigorous.nThreads = arguments.nThreads;
  rigorous.fTolerance = arguments.fTolerance;
  rigorous.bProgress = arguments.bProgress;
  return SolveRigorous(rigorous, start);
}

}  // namespace
}  // namespace orvo::peer

int main(int argc, char** argv) { return orvo::peer::Main(argc, argv); }
